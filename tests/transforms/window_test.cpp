#include "numora/transforms/window.h"

#include <climits>
#include <cmath>
#include <memory>
#include <utility>
#include <vector>

#include "tests/support/support.h"

using namespace qv::math;
using namespace numora_test;

namespace {

using Floats = std::vector<float>;

// A scaled window: the terms of a0 - a1 cos x + a2 cos 2x - a3 cos 3x, the table
// scale under amplitude and under power scale, the rms factor under amplitude
// scale and the amplitude factor under power scale.
struct Scaled {
    int (*fn)(float*, int, QV_WINDOWSCALE, double*, double*);
    double a0, a1, a2, a3, ampScale, powScale, rmsUnderAmp, ampUnderPow;
};
const Scaled kScaled[] = {
    {WindowHan, 0.5, 0.5, 0.0, 0.0, 2.0, 1.63299, 0.816495, 1.224747},
    {WindowHam, 0.54, 0.46, 0.0, 0.0, 1.8519, 1.5863, 0.8566, 1.1674},
    {WindowBlack, 0.42, 0.5, 0.08, 0.0, 2.381, 1.8119, 0.761, 1.3141},
    {WindowHarris, 0.35875, 0.48829, 0.14128, 0.01168, 2.7875, 1.9691, 0.7064, 1.4156},
    {WindowFlatTop, 0.2395, 0.4581, 0.2585, 0.0439, 4.175365, 2.255, 0.5401, 1.8515},
};

TEST(ScaledWindows, MatchFormulasAndFactorsBitForBit)
{
    for (const Scaled& w : kScaled)
        for (int n : {0, 1, 2, 7, 1001})
            for (bool amp : {false, true}) {  // any scale but power is amplitude
                Floats table(n);
                double rms = 0.0, ampf = 0.0;  // written also for an empty table
                EXPECT_EQ(0, w.fn(table.data(), n, amp ? QV_WINDOWSCALE(5) : QV_WINDOWSCALE_POWER, &rms, &ampf));
                EXPECT_TRUE(rms == (amp ? w.rmsUnderAmp : 1.0) && ampf == (amp ? 1.0 : w.ampUnderPow));
                for (int i = 0; i < n; ++i) {  // one sample is the peak, 1; the product with the scale in double
                    const double x = i * (8.0 * std::atan(1.0) / (n - 1)), c = std::cos(x + x) * w.a2;
                    const double v = n == 1 ? 1.0 : (c + (w.a0 - std::cos(x) * w.a1)) - std::cos(x * 3.0) * w.a3;
                    ASSERT_TRUE(SameBits(static_cast<float>(v * (amp ? w.ampScale : w.powScale)), table[i])) << n;
                }
            }
}

TEST(PlainWindows, HannCorrelAndDecayFillAsDescribed)
{
    for (int n : {1, 129}) {  // a single sample has the window value 1
        Floats table(n), data = RandomFloats(n, 7), before = data;
        WindowHan(table.data(), n);
        ApplyHann(data.data(), n);
        for (int i = 0; i < n; ++i) {  // the window value is rounded to float, the product taken in float
            const double s = n == 1 ? 1.0 : std::sin(i * 3.14159265358979323846 / (n - 1));
            EXPECT_TRUE(SameBits(static_cast<float>(s * s), table[i]) && SameBits(before[i] * table[i], data[i]));
        }
    }
    float t[8];
    FillSentinel(t, 8);
    WindowCorrel(t, 7);  // three values sqrt 2, three zeros; the odd last one is left alone
    EXPECT_TRUE(t[2] == 1.41421354f && t[3] == 0.0f && t[5] == 0.0f && HoldsSentinel(t + 6, 2));
    WindowExpDecay(t, 3, 1, 6);       // a flat part longer than the table fills the table only
    WindowExpDecay(t + 4, 3, 4, -2);  // a negative flat counts as 0
    EXPECT_TRUE(t[0] == 1.0f && t[1] == 1.41421354f && t[4] == 1.0f && t[5] == static_cast<float>(std::exp(-0.75)));
    Floats table(50);
    WindowExpDecay(table.data(), 7, 50, 5);
    for (int k = -5; k < 45; ++k) {  // five flat ones, then a quotient rounded to float before exp
        const float exponent = k < 0 ? 0.0f : k * -7.0f / 45.0f;
        EXPECT_EQ(static_cast<float>(std::exp(static_cast<double>(exponent))), table[5 + k]) << k;
    }
}

TEST(TableApply, MultipliesFromStartInFloatOrDouble)
{
    Floats table = RandomFloats(16, 1), in = RandomFloats(16, 2), f = in, out(16), c(16);
    std::vector<double> d = RandomDoubles(16, 3), ind = d;
    WindowApply(d.data(), table.data(), 16, 5);  // the table value is widened, the product taken in double
    EXPECT_TRUE(SameBits(ind[4], d[4]) && SameBits(ind[5] * static_cast<double>(table[5]), d[5]) && d[15] != ind[15]);
    WindowApply(f.data(), table.data(), 16, -2);  // a negative start counts as 0
    WindowApply(out.data(), in.data(), table.data(), 16, -2);
    WindowApply(c.data(), in.data(), nullptr, 16, 9);        // no table: a copy of all values
    WindowApply(c.data(), c.data(), table.data(), 16, -2);  // in place
    EXPECT_TRUE(BitEqual(f.data(), out.data(), 16) && BitEqual(f.data(), c.data(), 16) && f[0] == in[0] * table[0]);
}

TEST(WindowSetup, BuildsOnceUntilTypeSizeOrScaleChangeAndGatesApply)
{
    QV_WIND_SETUP s{};
    Floats f = RandomFloats(8, 4), before = f;
    WindowSetupCoeff(QV_WIN_HARRIS, QV_WINDOWSCALE_AMPLITUDE, 0.0f, 8, 99, &s);
    WindowSetupCoeff(QV_WIN_HARRIS, QV_WINDOWSCALE_POWER, 0.0f, 8, 0, &s);  // a new scale rebuilds
    EXPECT_EQ(1.4156, s.ampFactor);
    WindowSetupCoeff(QV_WIN_EXPDECAY, QV_WINDOWSCALE_POWER, 2.6f, 8, 0, &s);
    const std::size_t allocs = AllocationCount();
    WindowSetupCoeff(QV_WIN_EXPDECAY, QV_WINDOWSCALE_POWER, 0.4f, 8, 0, &s);  // decay is not compared
    s.valid = 0;                                                               // not consulted
    EXPECT_TRUE(WindowApply(f.data(), 7, &s, 0) == 0 && f == before && WindowApply(f.data(), 8, &s, 2) == 1 &&
                f[1] == before[1] && f[2] != before[2] && allocs == AllocationCount());  // sizes must match
    // Just below one half, decay + 0.5 in double truncates to 0: a new size, a table of ones.
    WindowSetupCoeff(QV_WIN_EXPDECAY, QV_WINDOWSCALE_POWER, std::nextafter(0.5f, 0.0f), 4, 0, &s);
    EXPECT_TRUE(s.coeff[1] == 1.0f && s.coeff[3] == 1.0f);
    FillSentinel(std::make_unique<float[]>(5).get(), 5);  // a pattern in memory the next table may reuse
    WindowSetupCoeff(QV_WIN_CORREL, QV_WINDOWSCALE_POWER, 0.0f, 5, 0, &s);
    EXPECT_EQ(0.0f, s.coeff[4]);  // the unpaired last sample of an odd table is zero
    WindowReset(&s);
    EXPECT_TRUE(s.valid + s.size + s.type + s.scale == 0 && !s.coeff && s.rmsFactor == 1.0 && s.ampFactor == 1.0);
    WindowSetupCoeff(QV_WIN_HANN, QV_WINDOWSCALE_POWER, 0.0f, 0, 0, &s);  // an empty table
    EXPECT_TRUE(s.valid == 1 && WindowValid(0, &s) == 1 && WindowValid(0, nullptr) == 0);
    WindowSetupCoeff(QV_WIN_HANN, QV_WINDOWSCALE_POWER, 0.0f, -4, 0, &s);  // a failed allocation
    EXPECT_EQ(0, s.valid + (s.coeff != nullptr));
}

TEST(WindowNormalisation, AmplitudeTablesAverageOnePowerTablesHaveUnitRmsAndFactorsRelateThem)
{
    // Worked from the tables alone: the published constants hold to their
    // four or five digits, and each correction factor is the ratio of scales.
    const int n = 65537;
    for (const Scaled& w : kScaled) {
        Floats amp(n), pow(n);
        double rmsFactor = 0.0, ampFactor = 0.0, unused = 0.0;
        w.fn(amp.data(), n, QV_WINDOWSCALE_AMPLITUDE, &rmsFactor, &unused);
        w.fn(pow.data(), n, QV_WINDOWSCALE_POWER, &unused, &ampFactor);
        double sum = 0.0, sumSquares = 0.0;
        for (int i = 0; i < n; ++i) {
            sum += static_cast<double>(amp[i]);
            sumSquares += static_cast<double>(pow[i]) * static_cast<double>(pow[i]);
        }
        EXPECT_NEAR(1.0, sum / n, 2e-4) << w.ampScale;
        EXPECT_NEAR(1.0, std::sqrt(sumSquares / n), 2e-4) << w.powScale;
        // Under amplitude scale a broadband level reads high by amp/pow scale.
        EXPECT_NEAR(rmsFactor, static_cast<double>(pow[n / 2]) / static_cast<double>(amp[n / 2]), 1e-4);
        EXPECT_NEAR(ampFactor, static_cast<double>(amp[n / 2]) / static_cast<double>(pow[n / 2]), 2e-4);
    }
}

TEST(WindowExpDecay, ExponentialInDoubleAndDecaysOutsideTheIntRangeStillFall)
{
    // Decay 1 over 1024 samples: at k = 103, 501 and 947 the C library's float
    // exponential rounds elsewhere.
    Floats t(1024);
    WindowExpDecay(t.data(), 1, 1024, 0);
    for (int k = 0; k < 1024; ++k)
        ASSERT_EQ(static_cast<float>(std::exp(static_cast<double>(static_cast<float>(-k) / 1024.0f))), t[k]) << k;
    // The set-up rounds a decay of 2.6 to 3.
    QV_WIND_SETUP s{};
    Floats three(8);
    WindowExpDecay(three.data(), 3, 8, 0);
    WindowSetupCoeff(QV_WIN_EXPDECAY, QV_WINDOWSCALE_POWER, 2.6f, 8, 0, &s);
    EXPECT_TRUE(BitEqual(three.data(), s.coeff, 8));
    // Decays without an int saturate (NaN gives ones); products beyond 32 bits keep falling.
    const struct { float decay; float last; } big[] = {{3e9f, 0.0f}, {1e30f, 0.0f}, {INFINITY, 0.0f},
                                                     {NAN, 1.0f}, {-INFINITY, INFINITY}};
    for (const auto& b : big) {
        WindowReset(&s);
        WindowSetupCoeff(QV_WIN_EXPDECAY, QV_WINDOWSCALE_POWER, b.decay, 8, 0, &s);
        EXPECT_TRUE(s.coeff[0] == 1.0f && s.coeff[2] == b.last && s.coeff[7] == b.last) << b.decay;
    }
    WindowReset(&s);
    Floats fall(4096);
    WindowExpDecay(fall.data(), 1000000, 4096, 0);
    EXPECT_TRUE(fall[0] == 1.0f && fall[1] == static_cast<float>(std::exp(static_cast<double>(-1e6f / 4096.0f))) &&
                fall[4095] == 0.0f);
    WindowExpDecay(fall.data(), INT_MAX, 64, 0);
    EXPECT_TRUE(fall[1] == 0.0f && fall[63] == 0.0f);
    WindowExpDecay(fall.data(), INT_MIN, 64, 0);
    EXPECT_TRUE(fall[2] == INFINITY && fall[63] == INFINITY);
    // Counts of INT_MIN: the factors are written, the table is not touched.
    double rms = 0.0, ampf = 0.0;
    FillSentinel(fall.data(), 4);
    WindowHan(fall.data(), INT_MIN, QV_WINDOWSCALE_POWER, &rms, &ampf);
    WindowHan(fall.data(), INT_MIN);
    EXPECT_TRUE(HoldsSentinel(fall.data(), 4) && ampf == 1.224747);
}

TEST(CWindow, CopiesDeeplyAndMovesOwnership)
{
    auto w = std::make_unique<CWindow>();
    w->Setup(QV_WIN_FLATTOP, QV_WINDOWSCALE_POWER, 0.0f, 32, 7);
    const Floats table(w->coeff, w->coeff + 32);
    CWindow copy(*w), assigned;
    assigned.Setup(QV_WIN_HANN, QV_WINDOWSCALE_POWER, 0.0f, 16, 0);
    assigned = *w;  // frees its own table
    w.reset();      // the copies outlive the original
    EXPECT_TRUE(BitEqual(table.data(), copy.coeff, 32) && BitEqual(table.data(), assigned.coeff, 32));
    const float* owned = copy.coeff;
    CWindow moved(std::move(copy));
    assigned = std::move(moved);
    EXPECT_TRUE(owned == assigned.coeff && copy.coeff == nullptr && assigned.ampFactor == 1.8515);
    // The source of a move is left as default-constructed.
    EXPECT_EQ(0.0, moved.valid + moved.size + moved.rmsFactor + moved.ampFactor + (moved.coeff != nullptr));
}

}  // namespace
