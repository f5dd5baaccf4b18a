#include "numora/transforms/window.h"

#include <climits>
#include <cmath>
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
        Floats table(n);
        WindowHan(table.data(), n);
        for (int i = 0; i < n; ++i) {  // the window value is rounded to float
            const double s = n == 1 ? 1.0 : std::sin(i * 3.14159265358979323846 / (n - 1));
            EXPECT_TRUE(SameBits(static_cast<float>(s * s), table[i]));
        }
    }
    float t[8];
    FillSentinel(t, 8);
    WindowCorrel(t, 7);  // three values sqrt 2, three zeros; the odd last one is left alone
    EXPECT_TRUE(t[2] == 1.41421354f && t[3] == 0.0f && t[5] == 0.0f && HoldsSentinel(t + 6, 2));
    Floats table(50);
    WindowExpDecay(table.data(), 7, 50, 5);  // five flat ones, then the decay over the other 45
    EXPECT_TRUE(table[4] == 1.0f && table[5] == 1.0f);
    EXPECT_EQ(static_cast<float>(std::exp(static_cast<double>(9.0f * -7.0f / 45.0f))), table[14]);
}

TEST(TableApply, CopyingFormPassesValuesBelowStartAndAllWithoutATable)
{
    Floats table = RandomFloats(16, 1), in = RandomFloats(16, 2), f = in, out(16), c(16);
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
    WindowReset(&s);
    EXPECT_EQ(0, WindowValid(0, nullptr));
}

TEST(WindowExpDecay, ExponentialInDoubleAndDecaysWithoutAnIntSaturate)
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
    // Decays without an int saturate (NaN gives ones).
    const struct { float decay; float last; } big[] = {{3e9f, 0.0f}, {1e30f, 0.0f}, {INFINITY, 0.0f},
                                                     {NAN, 1.0f}, {-INFINITY, INFINITY}};
    for (const auto& b : big) {
        WindowReset(&s);
        WindowSetupCoeff(QV_WIN_EXPDECAY, QV_WINDOWSCALE_POWER, b.decay, 8, 0, &s);
        EXPECT_TRUE(s.coeff[0] == 1.0f && s.coeff[2] == b.last && s.coeff[7] == b.last) << b.decay;
    }
    WindowReset(&s);
    // Counts of INT_MIN: the factors are written, the table is not touched.
    Floats fall(4);
    double rms = 0.0, ampf = 0.0;
    FillSentinel(fall.data(), 4);
    WindowHan(fall.data(), INT_MIN, QV_WINDOWSCALE_POWER, &rms, &ampf);
    WindowHan(fall.data(), INT_MIN);
    EXPECT_TRUE(HoldsSentinel(fall.data(), 4) && ampf == 1.224747);
}

TEST(CWindow, AssignmentsFreeTheirOwnTableAndMovesHandOwnershipOver)
{
    CWindow w, assigned;
    w.Setup(QV_WIN_FLATTOP, QV_WINDOWSCALE_POWER, 0.0f, 32, 7);
    assigned.Setup(QV_WIN_HANN, QV_WINDOWSCALE_POWER, 0.0f, 16, 0);
    assigned = w;  // frees its own table, copies into a new one
    EXPECT_TRUE(assigned.coeff != w.coeff && BitEqual(w.coeff, assigned.coeff, 32));
    const float* owned = w.coeff;
    assigned = std::move(w);
    EXPECT_TRUE(owned == assigned.coeff && assigned.ampFactor == 1.8515);
    // The source of a move is left as default-constructed.
    EXPECT_EQ(0.0, w.valid + w.size + w.rmsFactor + w.ampFactor + (w.coeff != nullptr));
}

}  // namespace
