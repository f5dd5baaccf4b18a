#include "numora/compensation/taper.h"

#include <cmath>
#include <vector>

#include "tests/support/support.h"

namespace {

using namespace qv::math;
using numora_test::BitEqual;
using Floats = std::vector<float>;

complex* L(Floats& v) { return reinterpret_cast<complex*>(v.data()); }

TEST(Centring, CircularEnergyCentreAcrossTheWrapAndHalfFrameRotation)
{
    Floats x(64, 0.0f);
    EXPECT_TRUE(ms_delay(x.data(), 64) == 0.0f && ms_delay(x.data(), 0) == 0.0f);
    x[0] = 3.0f;
    EXPECT_TRUE(ms_delay(x.data(), 64) == 0.0f && CompCenter(x.data(), 64) == -32);
    x[0] = 0.0f;
    x[61] = 2.0f;  // four times the energy at 61 as at 1: the centre lies across the wrap, not near 31
    x[1] = 1.0f;
    const double a = 2 * M_PI / 64, c = 4 * std::cos(61 * a) + std::cos(a), s = 4 * std::sin(61 * a) + std::sin(a);
    EXPECT_NEAR(std::atan2(s, c) / a + 64, ms_delay(x.data(), 64), 1e-4);
    EXPECT_EQ(62 - 32, CompCenter(x.data(), 64));  // 61.8 + 0.5 cuts to 62

    Floats y = numora_test::RandomFloats(16, 1u), once(16), twice(16);
    EXPECT_TRUE(centerPAB(y.data(), once.data(), 16) == 8 && CompShifttoCenter(once.data(), twice.data(), 16) == 8);
    EXPECT_TRUE(BitEqual(y.data(), once.data() + 8, 8) && BitEqual(y.data(), twice.data(), 16));
    // Length 3: i - 1 wraps to 2^32 - 1 before the remainder, so in[0] and in[1] both land on out[0].
    numora_test::FillSentinel(once.data(), 16);
    EXPECT_TRUE(centerPAB(y.data(), once.data(), 0) == 0 && centerPAB(y.data(), once.data(), 3) == 1);
    EXPECT_TRUE(once[0] == y[1] && once[1] == y[2] && numora_test::HoldsSentinel(&once[2], 14));
}

TEST(BinAverage, RunningAverageGoesLeftToRightAndKeepsTheEnds)
{
    Floats s = {0.3f, 0.2f, 0.1f, 0.4f, 0.7f, 0.1f, 0.8f, 0.1f, 0.6f, 0.9f}, before = s;
    BinAverage(L(s), 4);  // line 1 only
    EXPECT_TRUE(s[2] == 0.1f * 1.5f && s[3] == 0.4f * 1.5f);
    EXPECT_TRUE(BitEqual(before.data(), s.data(), 2) && BitEqual(&before[4], &s[4], 6));
    s = before;
    BinAverage(L(s), 5);  // lines 1 and 2; line 2 from the sum taken left to right and a float third
    EXPECT_TRUE(BitEqual(before.data(), s.data(), 2) && BitEqual(&before[6], &s[6], 4) && s[2] == 0.1f * 1.5f);
    EXPECT_EQ((0.1f * 1.5f + 0.7f + 0.8f) * 0.33333334f * 1.5f, s[4]);
    EXPECT_EQ((0.4f * 1.5f + 0.1f + 0.1f) * 0.33333334f * 1.5f, s[5]);
}

// A value times a weight in double, rounded to float once.
float Weighed(double weight, float value) { return static_cast<float>(weight * static_cast<double>(value)); }

TEST(Tapers, WalksKeepTheFromEndAndWeighInDouble)
{
    Floats x = numora_test::RandomFloats(40, 2u), ref = x;
    TaperReal(x.data(), 10, 20);  // sample 10 stays, 15 is halved, 20 is zeroed
    for (int i = 0; i < 24; ++i) {
        const double c = i < 10 || i > 20 ? 1.0 : std::cos((i - 10) * (M_PI / 20));
        EXPECT_EQ(Weighed(c * c, ref[i]), x[i]) << i;
    }
    x = ref;
    TaperReal(x.data(), 20, 10);  // the direction says which end stays
    EXPECT_TRUE(x[20] == ref[20] && std::fabs(x[10]) < 1e-30f && x[15] == ref[15] * 0.5f);
    x = ref;
    TaperReal(x.data(), 7, 7);
    TaperComplex(L(x), 7, 7);
    RealExp_taper(x.data(), 0.0f, 0, 39);
    RealExp_taper(x.data(), 0.1f, 5, 5);
    EXPECT_TRUE(BitEqual(ref.data(), x.data(), 40));
    TaperComplex(L(x), 4, 0);  // both parts of lines 4 down to 0, cubed
    for (int i = 0; i < 10; ++i) {
        const double c = std::cos((4 - i / 2) * (M_PI / 8));
        EXPECT_EQ(Weighed(c * c * c, ref[i]), x[i]) << i;
    }
    x = ref;
    RealExp_taper(x.data(), 0.1f, 39, 10);  // (float)(-j) * 0.1f differs from -j * 0.1 in double
    ComplexExp_taper(L(x), 0.1f, 1, 4);     // floats 2 .. 9
    for (int i = 0; i < 40; ++i) {
        const int j = i >= 10 ? 39 - i : (i >= 2 ? i / 2 - 1 : 0);
        EXPECT_EQ(Weighed(std::exp(static_cast<double>(static_cast<float>(-j) * 0.1f)), ref[i]), x[i]) << i;
    }
    Floats y(4, 2.0f);
    TaperSineSq(y.data(), -3);
    TaperSineSq(y.data(), 2);  // weights 0 and sin^2(pi / 4), just short of 1
    EXPECT_TRUE(y[0] == 0.0f && y[1] == 1.0f && y[2] == 2.0f && y[3] == 2.0f);
}

TEST(GenerateImpulseResponse, LowQuarterOfTheLinesToACentredResponse)
{
    const int n = 32;
    const float scale = 0.70710678f;
    Floats spectrum = numora_test::RandomFloats(n, 4u), work(n, 9.0f), out(n), plain(n, 9.0f);
    for (int i = 0; i < n / 2; ++i)
        spectrum[i] = 0.0f;
    spectrum[6] = 0.5f;  // line 3 = (0.5, -0.25); lines from n / 4 on are ignored
    spectrum[7] = -0.25f;
    EXPECT_EQ(n / 2, generate_impulseResponse(L(spectrum), out.data(), work.data(), n, scale, false));
    EXPECT_EQ(0, generate_impulseResponse(L(spectrum), plain.data(), nullptr, n, scale, true));
    EXPECT_TRUE(BitEqual(work.data(), plain.data(), n));
    for (int m = 0; m < n; ++m) {
        const double w = 2 * M_PI * 3 * m / n;
        EXPECT_NEAR((0.5 * std::cos(w) + 0.25 * std::sin(w)) / static_cast<double>(scale), plain[m], 1e-6);
        EXPECT_EQ(plain[m], out[(m + n / 2) % n]);
    }
    Floats untouched(n, 9.0f);
    EXPECT_EQ(0, generate_impulseResponse(nullptr, untouched.data(), work.data(), n, scale, false));
    EXPECT_EQ(0, generate_impulseResponse(L(spectrum), untouched.data(), nullptr, 0, scale, false));
    EXPECT_EQ(Floats(n, 9.0f), untouched);
}

}  // namespace
