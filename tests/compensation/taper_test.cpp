#include "numora/compensation/taper.h"

#include <cmath>
#include <vector>

#include "tests/support/support.h"

namespace {

using namespace qv::math;
using numora_test::BitEqual;
using Floats = std::vector<float>;

complex* L(Floats& v) { return reinterpret_cast<complex*>(v.data()); }

// The taper fuzz target checks the rest: rotating twice is the identity,
// the centre lies in [0, n], the walks keep their from end (also for from =
// to), shrink towards zero and leave everything else, a rate <= 0 or a fade
// of n <= 0 does nothing, and the impulse response without work is the one
// with work before its rotation.
TEST(Centring, CircularEnergyCentreAcrossTheWrapAndHalfFrameRotation)
{
    Floats x(64, 0.0f);
    EXPECT_TRUE(ms_delay(x.data(), 64) == 0.0f && ms_delay(x.data(), 0) == 0.0f);
    x[61] = 2.0f;  // four times the energy at 61 as at 1: the centre lies across the wrap, not near 31
    x[1] = 1.0f;
    const double a = 2 * M_PI / 64, c = 4 * std::cos(61 * a) + std::cos(a), s = 4 * std::sin(61 * a) + std::sin(a);
    EXPECT_NEAR(std::atan2(s, c) / a + 64, ms_delay(x.data(), 64), 1e-4);
    Floats y = numora_test::RandomFloats(16, 1u), once(16);
    EXPECT_TRUE(centerPAB(y.data(), once.data(), 16) == 8 && BitEqual(y.data(), once.data() + 8, 8) &&
                BitEqual(y.data() + 8, once.data(), 8) && centerPAB(y.data(), once.data(), 0) == 0);
}

TEST(BinAverage, RunningAverageGoesLeftToRightWithAFloatThird)
{
    Floats s = {0.3f, 0.2f, 0.1f, 0.4f, 0.7f, 0.1f, 0.8f, 0.1f, 0.6f, 0.9f};
    BinAverage(L(s), 5);  // lines 1 and 2; line 2 from the sum taken left to right
    EXPECT_TRUE(s[2] == 0.1f * 1.5f && s[3] == 0.4f * 1.5f);
    EXPECT_EQ((0.1f * 1.5f + 0.7f + 0.8f) * 0.33333334f * 1.5f, s[4]);
    EXPECT_EQ((0.4f * 1.5f + 0.1f + 0.1f) * 0.33333334f * 1.5f, s[5]);
}

TEST(Tapers, CosineSquaredAndCubedAndExponentialWeightsRoundOnce)
{
    // Each weight is applied in double and rounded once: at 0.375 (and 0.625 for
    // the decay) rounding the weight to float first, or forming the decay's
    // exponent in double, gives another float.
    Floats x(24, 0.375f), lines(10, 0.375f), decay(40, 0.625f);
    TaperReal(x.data(), 10, 20);  // sample 10 stays, 15 is halved, 20 is zeroed
    const double c = std::cos(2 * (1.5707963267948966 / 10));
    EXPECT_TRUE(x[10] == 0.375f && x[12] == static_cast<float>(c * c * 0.375) && x[15] == 0.1875f && x[20] < 1e-30f);
    TaperComplex(L(lines), 4, 0);  // lines 4 down to 0, cubed: 0.35355339 in the middle against 0.5
    const double d = std::cos(1.5707963267948966 / 4);
    EXPECT_TRUE(lines[8] == 0.375f && lines[7] == static_cast<float>(d * d * d * 0.375) && lines[0] < 1e-30f);
    EXPECT_FLOAT_EQ(0.375f * 0.35355339f, lines[4]);
    RealExp_taper(decay.data(), 0.1f, 19, 10);    // sample 10 is step 9
    ComplexExp_taper(L(decay) + 10, 0.1f, 0, 9);  // both parts of line 9 (samples 38 and 39)
    const float nine = static_cast<float>(std::exp(static_cast<double>(-9.0f * 0.1f)) * 0.625);
    EXPECT_TRUE(decay[10] == nine && decay[38] == nine && decay[39] == nine);
    Floats y(4, 2.0f);
    TaperSineSq(y.data(), 2);  // weights 0 and sin^2(pi / 4), just short of 1
    EXPECT_TRUE(y[0] == 0.0f && y[1] == 1.0f && y[2] == 2.0f && y[3] == 2.0f);
}

TEST(GenerateImpulseResponse, LowQuarterOfTheLinesToAResponse)
{
    const int n = 32;
    const float scale = 0.70710678f;
    Floats spectrum(n, 0.0f), plain(n, 9.0f), untouched(n, 9.0f);
    spectrum[6] = 0.5f;  // line 3 = (0.5, -0.25); lines from n / 4 on are ignored
    spectrum[7] = -0.25f;
    spectrum[20] = 3.0f;
    EXPECT_EQ(0, generate_impulseResponse(L(spectrum), plain.data(), nullptr, n, scale, true));
    for (int m = 0; m < n; ++m) {
        const double w = 2 * M_PI * 3 * m / n;
        EXPECT_NEAR((0.5 * std::cos(w) + 0.25 * std::sin(w)) / static_cast<double>(scale), plain[m], 1e-6);
    }
    EXPECT_EQ(0, generate_impulseResponse(nullptr, untouched.data(), plain.data(), n, scale, false));
    EXPECT_EQ(0, generate_impulseResponse(L(spectrum), untouched.data(), nullptr, 0, scale, false));
    EXPECT_EQ(Floats(n, 9.0f), untouched);
}

}  // namespace
