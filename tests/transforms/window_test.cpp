#include "numora/transforms/window.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>
#include <vector>

#include "tests/support/support.h"

using namespace qv::math;
using namespace numora_test;

namespace {

struct Scaled {
    QV_ACQFRAME_WINTYPE type;
    int (*fn)(float*, int, QV_WINDOWSCALE, double*, double*);
    double ampScale, powScale, rmsUnderAmp, ampUnderPow;
};
const Scaled kScaled[] = {
    {QV_WIN_HANN, WindowHan, 2.0, 1.63299, 0.816495, 1.224747},
    {QV_WIN_HAMMING, WindowHam, 1.8519, 1.5863, 0.8566, 1.1674},
    {QV_WIN_BLACKMAN, WindowBlack, 2.381, 1.8119, 0.761, 1.3141},
    {QV_WIN_HARRIS, WindowHarris, 2.7875, 1.9691, 0.7064, 1.4156},
    {QV_WIN_FLATTOP, WindowFlatTop, 4.175365, 2.255, 0.5401, 1.8515},
};

// The window before scaling, each formula in its documented order of evaluation.
double Shape(QV_ACQFRAME_WINTYPE type, int i, int n)
{
    const double step = 8.0 * std::atan(1.0) / (n - 1), x = i * step;
    switch (type) {
    case QV_WIN_HANN: return 0.5 - std::cos(x) * 0.5;
    case QV_WIN_HAMMING: return 0.54 - std::cos(x) * 0.46;
    case QV_WIN_BLACKMAN: return (0.42 - std::cos(x) * 0.5) + std::cos(i * (step + step)) * 0.08;
    case QV_WIN_HARRIS: return (std::cos(x + x) * 0.14128 + (0.35875 - std::cos(x) * 0.48829)) - std::cos(x * 3.0) * 0.01168;
    default: return (std::cos(x + x) * 0.2585 + (0.2395 - std::cos(x) * 0.4581)) - std::cos(x * 3.0) * 0.0439;
    }
}

TEST(ScaledWindows, MatchFormulasAndFactorsBitForBit)
{
    for (const Scaled& w : kScaled)
        for (int n : {2, 7, 1001})
            for (QV_WINDOWSCALE scale : {QV_WINDOWSCALE_POWER, QV_WINDOWSCALE_AMPLITUDE, QV_WINDOWSCALE(5)}) {
                const bool amp = scale != QV_WINDOWSCALE_POWER;
                std::vector<float> expected(n), table(n);
                for (int i = 0; i < n; ++i)
                    expected[i] = static_cast<float>(Shape(w.type, i, n) * (amp ? w.ampScale : w.powScale));
                double rms = 0.0, ampf = 0.0;
                EXPECT_EQ(0, w.fn(table.data(), n, scale, &rms, &ampf));
                EXPECT_TRUE(BitEqual(expected.data(), table.data(), n)) << w.type << " n=" << n;
                EXPECT_EQ(amp ? w.rmsUnderAmp : 1.0, rms);
                EXPECT_EQ(amp ? 1.0 : w.ampUnderPow, ampf);
            }
    float t[5];
    double rms = 0.0, ampf = 0.0;
    WindowHan(t, 5, QV_WINDOWSCALE_AMPLITUDE, &rms, &ampf);
    const float hann5[] = {0.0f, 1.0f, 2.0f, 1.0f, 0.0f};
    EXPECT_TRUE(BitEqual(hann5, t, 5));
    WindowHarris(t, 5, QV_WINDOWSCALE_POWER);   // the factors are thrown away
    EXPECT_EQ(static_cast<float>(Shape(QV_WIN_HARRIS, 1, 5) * 1.9691), t[1]);
    WindowHarris(t + 1, 1, QV_WINDOWSCALE_POWER, &rms, &ampf);
    EXPECT_EQ(1.9691f, t[1]);   // one sample: the peak, 1 times the scale
    FillSentinel(t, 5);
    WindowFlatTop(t, 0, QV_WINDOWSCALE_AMPLITUDE, &rms, &ampf);
    EXPECT_TRUE(HoldsSentinel(t, 5));
    EXPECT_EQ(0.5401, rms);   // factors are written even for an empty table
}

TEST(PlainHann, SineFormTableAndApplyAgree)
{
    const int n = 129;
    std::vector<float> table(n), data = RandomFloats(n, 7), expected(n);
    WindowHan(table.data(), n);
    for (int i = 0; i < n; ++i) {
        const double s = std::sin(i * 3.14159265358979323846 / (n - 1));
        EXPECT_TRUE(SameBits(static_cast<float>(s * s), table[i])) << i;
        expected[i] = data[i] * table[i];
    }
    ApplyHann(data.data(), n);
    EXPECT_TRUE(BitEqual(expected.data(), data.data(), n));
    WindowHan(table.data(), 1);
    ApplyHann(data.data(), 1);
    EXPECT_EQ(1.0f, table[0]);
    EXPECT_EQ(expected[0], data[0]);
}

TEST(CorrelAndExpDecay, FillAsDescribed)
{
    float t[8];
    FillSentinel(t, 8);
    WindowCorrel(t, 7);
    const float r2 = 1.41421354f, e15 = static_cast<float>(std::exp(-1.5));
    const float correl[] = {r2, r2, r2, 0.0f, 0.0f, 0.0f};
    EXPECT_TRUE(BitEqual(correl, t, 6));
    EXPECT_TRUE(HoldsSentinel(t + 6, 2));   // an odd size leaves the last value alone
    const float decay[] = {1.0f, static_cast<float>(std::exp(-0.75)), e15, static_cast<float>(std::exp(-2.25))};
    WindowExpDecay(t, 3, 4, -2);   // a negative flat counts as 0
    EXPECT_TRUE(BitEqual(decay, t, 4));
    FillSentinel(t, 8);
    WindowExpDecay(t, 3, 1, 6);   // a flat part longer than the table stops at its end
    EXPECT_TRUE(t[0] == 1.0f && HoldsSentinel(t + 1, 7));
    std::vector<float> table(50);
    WindowExpDecay(table.data(), 7, 50, 5);
    for (int k = 0; k < 45; ++k) {   // the quotient is rounded to float before exp
        const float q = static_cast<float>(-k * 7) / 45.0f;
        EXPECT_TRUE(SameBits(static_cast<float>(std::exp(static_cast<double>(q))), table[5 + k])) << k;
    }
}

TEST(TableApply, MultipliesFromStartInFloatOrDouble)
{
    const int n = 16;
    std::vector<float> table = RandomFloats(n, 1), in = RandomFloats(n, 2), f = in, out(n);
    std::vector<double> ind = RandomDoubles(n, 3), d = ind, outd(n);
    WindowApply(f.data(), table.data(), n, 5);
    WindowApply(d.data(), table.data(), n, 5);
    for (int i = 0; i < n; ++i) {
        EXPECT_TRUE(SameBits(i < 5 ? in[i] : in[i] * table[i], f[i]));
        EXPECT_TRUE(SameBits(i < 5 ? ind[i] : ind[i] * static_cast<double>(table[i]), d[i]));
    }
    WindowApply(outd.data(), ind.data(), table.data(), n, 5);
    WindowApply(in.data(), in.data(), table.data(), n, 5);   // in place
    EXPECT_TRUE(BitEqual(f.data(), in.data(), n) && BitEqual(d.data(), outd.data(), n));
    WindowApply(out.data(), table.data(), nullptr, n, 9);   // no table: a copy of all values
    WindowApply(f.data(), table.data(), n, n);              // start == size: nothing
    WindowApply(nullptr, f.data(), table.data(), n, 0);
    WindowApply(f.data(), nullptr, table.data(), n, 0);
    EXPECT_TRUE(BitEqual(table.data(), out.data(), n) && BitEqual(in.data(), f.data(), n));
    WindowApply(out.data(), table.data(), table.data(), n, -2);   // a negative start counts as 0
    EXPECT_EQ(table[0] * table[0], out[0]);
}

TEST(WindowSetup, BuildsOnceUntilTypeSizeOrScaleChange)
{
    QV_WIND_SETUP s{};
    std::vector<float> expected(64);
    double rms = 0.0, ampf = 0.0;
    WindowBlack(expected.data(), 64, QV_WINDOWSCALE_AMPLITUDE, &rms, &ampf);
    WindowSetupCoeff(QV_WIN_BLACKMAN, QV_WINDOWSCALE_AMPLITUDE, 0.0f, 64, 99, &s);
    EXPECT_TRUE(BitEqual(expected.data(), s.coeff, 64));
    EXPECT_EQ(rms, s.rmsFactor);
    WindowSetupCoeff(QV_WIN_BLACKMAN, QV_WINDOWSCALE_POWER, 0.0f, 64, 0, &s);   // a new scale rebuilds
    EXPECT_EQ(1.3141, s.ampFactor);
    WindowExpDecay(expected.data(), 3, 8, 0);
    WindowSetupCoeff(QV_WIN_EXPDECAY, QV_WINDOWSCALE_POWER, 2.6f, 8, 0, &s);
    const std::size_t allocs = AllocationCount();
    WindowSetupCoeff(QV_WIN_EXPDECAY, QV_WINDOWSCALE_POWER, 0.4f, 8, 0, &s);   // decay is not compared
    EXPECT_EQ(allocs, AllocationCount());
    EXPECT_TRUE(BitEqual(expected.data(), s.coeff, 8));
    WindowSetupCoeff(QV_WIN_EXPDECAY, QV_WINDOWSCALE_POWER, 0.4f, 4, 0, &s);   // a new size rebuilds, decay 0
    EXPECT_EQ(1.0f, s.coeff[3]);
    WindowReset(&s);
    EXPECT_EQ(0, s.valid + s.size + s.type + s.scale + (s.coeff != nullptr));
    EXPECT_EQ(1.0, s.rmsFactor * s.ampFactor);

    // Just below one half, decay + 0.5 in double truncates to 0: a table of ones.
    WindowSetupCoeff(QV_WIN_EXPDECAY, QV_WINDOWSCALE_POWER, std::nextafter(0.5f, 0.0f), 8, 0, &s);
    EXPECT_EQ(1.0f, *std::min_element(s.coeff, s.coeff + 8));
    {   // leave a recognisable pattern in memory the next table may reuse
        std::unique_ptr<float[]> junk(new float[5]);
        FillSentinel(junk.get(), 5);
    }
    WindowSetupCoeff(QV_WIN_CORREL, QV_WINDOWSCALE_POWER, 0.0f, 5, 0, &s);
    EXPECT_EQ(0.0f, s.coeff[4]);   // the unpaired last sample of an odd table is zero
    WindowSetupCoeff(QV_WIN_HANN, QV_WINDOWSCALE_POWER, 0.0f, -4, 0, &s);
    EXPECT_EQ(0, s.valid + (s.coeff != nullptr));
    WindowSetupCoeff(QV_WIN_HANN, QV_WINDOWSCALE_POWER, 0.0f, 8, 0, nullptr);
}

TEST(WindowSetup, ValidityGatesApply)
{
    QV_WIND_SETUP s{};
    std::vector<float> f = RandomFloats(8, 4), before = f, expected(8);
    std::vector<double> d = RandomDoubles(8, 5), expectedD(8);
    WindowSetupCoeff(QV_WIN_NONE, QV_WINDOWSCALE_POWER, 0.0f, 0, 0, &s);   // matches a zeroed record
    EXPECT_EQ(1, s.valid);
    EXPECT_EQ(0, WindowValid(0, &s) + WindowApply(f.data(), 0, &s, 0) + WindowValid(8, nullptr));
    WindowSetupCoeff(QV_WIN_HAMMING, QV_WINDOWSCALE_POWER, 0.0f, 8, 0, &s);
    EXPECT_EQ(0, WindowApply(f.data(), 7, &s, 0));   // size mismatch
    EXPECT_TRUE(BitEqual(before.data(), f.data(), 8));
    s.valid = 0;   // not consulted
    WindowApply(expected.data(), f.data(), s.coeff, 8, 2);
    WindowApply(expectedD.data(), d.data(), s.coeff, 8, 2);
    const std::size_t allocs = AllocationCount();
    EXPECT_EQ(2, WindowApply(f.data(), 8, &s, 2) + WindowApply(d.data(), 8, &s, 2));
    EXPECT_EQ(allocs, AllocationCount());
    EXPECT_TRUE(BitEqual(expected.data(), f.data(), 8) && BitEqual(expectedD.data(), d.data(), 8));
    WindowReset(&s);
}

TEST(CWindow, CopiesDeeplyAndMovesOwnership)
{
    QV_WIND_SETUP s{};
    WindowSetupCoeff(QV_WIN_FLATTOP, QV_WINDOWSCALE_POWER, 0.0f, 32, 0, &s);
    auto w = std::make_unique<CWindow>();
    w->Setup(QV_WIN_FLATTOP, QV_WINDOWSCALE_POWER, 0.0f, 32, 7);
    CWindow copy(*w), assigned;
    assigned.Setup(QV_WIN_HANN, QV_WINDOWSCALE_POWER, 0.0f, 16, 0);
    assigned = *w;   // frees its own table
    w.reset();       // the copies outlive the original
    EXPECT_TRUE(BitEqual(s.coeff, copy.coeff, 32) && BitEqual(s.coeff, assigned.coeff, 32));
    EXPECT_EQ(s.ampFactor, assigned.ampFactor);

    const float* table = copy.coeff;
    CWindow moved(std::move(copy));
    assigned = std::move(moved);
    EXPECT_EQ(table, assigned.coeff);
    EXPECT_EQ(nullptr, copy.coeff);
    EXPECT_EQ(0, moved.valid + moved.size + (moved.coeff != nullptr));
    EXPECT_EQ(0.0, moved.rmsFactor + moved.ampFactor);  // as default-constructed
    std::vector<float> data = RandomFloats(32, 9), expected = data;
    WindowApply(expected.data(), 32, &s, 0);
    assigned.Apply(data.data(), 32);
    EXPECT_TRUE(BitEqual(expected.data(), data.data(), 32));
    WindowReset(&s);
}

}  // namespace
