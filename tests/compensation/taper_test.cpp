#include "numora/compensation/taper.h"

#include <cmath>
#include <vector>

#include "numora/transforms/fft.h"
#include "tests/support/support.h"

namespace {

using namespace qv::math;
using numora_test::BitEqual;
using Floats = std::vector<float>;

complex* L(Floats& v) { return reinterpret_cast<complex*>(v.data()); }

TEST(MsDelay, CircularEnergyCentreOfPulsesAcrossTheWrap)
{
    Floats x(64, 0.0f);
    EXPECT_EQ(0.0f, ms_delay(x.data(), 64));
    EXPECT_EQ(0.0f, ms_delay(x.data(), 0));
    x[0] = 3.0f;
    EXPECT_EQ(0.0f, ms_delay(x.data(), 64));
    EXPECT_EQ(-32, CompCenter(x.data(), 64));
    x[0] = 0.0f;
    x[32] = 1.0f;
    EXPECT_NEAR(32.0f, ms_delay(x.data(), 64), 1e-4);
    EXPECT_EQ(0, CompCenter(x.data(), 64));
    x[32] = 0.0f;
    x[61] = 2.0f;  // four times the energy at 61 as at 1: the centre lies across the wrap, not near 31
    x[1] = 1.0f;
    const double a = 2 * M_PI / 64, c = 4 * std::cos(61 * a) + std::cos(a), s = 4 * std::sin(61 * a) + std::sin(a);
    EXPECT_NEAR(std::atan2(s, c) / a + 64, ms_delay(x.data(), 64), 1e-4);
    EXPECT_EQ(62 - 32, CompCenter(x.data(), 64));  // 61.8 + 0.5 cuts to 62
}

TEST(CenterPAB, SwapsTheHalvesAndTwiceRestoresTheFrame)
{
    Floats x = numora_test::RandomFloats(16, 1u), once(16), twice(16), sentinel(4);
    EXPECT_EQ(8, centerPAB(x.data(), once.data(), 16));
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(x[(i + 8) % 16], once[i]);
    EXPECT_EQ(8, CompShifttoCenter(once.data(), twice.data(), 16));
    EXPECT_TRUE(BitEqual(x.data(), twice.data(), 16));
    numora_test::FillSentinel(sentinel.data(), 4);
    EXPECT_EQ(0, centerPAB(x.data(), sentinel.data(), 0));
    EXPECT_TRUE(numora_test::HoldsSentinel(sentinel.data(), 4));
}

TEST(BinAverage, ConstantSpectrumRisesTowardsTwiceItsValueAndKeepsTheEnds)
{
    Floats s(2 * 12);
    for (int k = 0; k < 12; ++k)
        L(s)[k] = {1.0f, -2.0f};
    Floats before = s;
    BinAverage(L(s), 3);
    EXPECT_TRUE(BitEqual(before.data(), s.data(), 24));
    BinAverage(L(s), 4);  // line 1 only
    EXPECT_TRUE(L(s)[1].re == 1.5f && L(s)[1].im == -3.0f && BitEqual(&before[4], &s[4], 20));
    s = before;
    BinAverage(L(s), 12);
    EXPECT_EQ((1.5f + 1.0f + 1.0f) * 0.33333334f * 1.5f, L(s)[2].re);  // the third as a float factor
    for (int k = 1; k <= 9; ++k) {
        EXPECT_NEAR(2.0 - std::ldexp(1.0, -k), L(s)[k].re, 1e-6) << k;
        EXPECT_NEAR(-2.0 * (2.0 - std::ldexp(1.0, -k)), L(s)[k].im, 2e-6) << k;
    }
    EXPECT_TRUE(BitEqual(before.data(), s.data(), 2) && BitEqual(&before[20], &s[20], 4));
}

// Weight of step j of a cosine taper over span steps, to the given power.
double CosineWeight(int j, int span, int power)
{
    const double c = std::cos(j * (M_PI / 2 / span));
    double w = c;
    for (int p = 1; p < power; ++p)
        w = w * c;
    return w;
}

TEST(Tapers, CosineWalksKeepTheFromEndAndFollowTheirWeights)
{
    Floats x = numora_test::RandomFloats(24, 2u), ref = x;
    TaperReal(x.data(), 10, 20);
    EXPECT_EQ(ref[10], x[10]);
    EXPECT_EQ(ref[15] * 0.5f, x[15]);
    EXPECT_NEAR(0.0f, x[20], 1e-30);
    for (int i = 11; i < 20; ++i)
        EXPECT_EQ(static_cast<float>(CosineWeight(i - 10, 10, 2) * static_cast<double>(ref[i])), x[i]);
    EXPECT_TRUE(BitEqual(ref.data(), x.data(), 10) && BitEqual(&ref[21], &x[21], 3));
    x = ref;
    TaperReal(x.data(), 20, 10);  // the direction says which end stays
    EXPECT_TRUE(x[20] == ref[20] && std::fabs(x[10]) < 1e-30f && x[15] == ref[15] * 0.5f);
    x = ref;
    TaperReal(x.data(), 7, 7);
    TaperComplex(L(x), 7, 7);
    EXPECT_TRUE(BitEqual(ref.data(), x.data(), 24));
    TaperComplex(L(x), 4, 0);
    for (int k = 0; k <= 4; ++k)
        for (int part = 0; part < 2; ++part)
            EXPECT_EQ(static_cast<float>(CosineWeight(4 - k, 4, 3) * static_cast<double>(ref[2 * k + part])), x[2 * k + part]);
    EXPECT_EQ(0.0f, x[0]);
}

TEST(Tapers, SineSquaredFadeInStopsShortOfOne)
{
    Floats x(4, 2.0f);
    TaperSineSq(x.data(), 0);
    TaperSineSq(x.data(), -3);
    EXPECT_EQ(Floats(4, 2.0f), x);
    TaperSineSq(x.data(), 2);  // weights 0 and sin^2(pi / 4)
    EXPECT_TRUE(x[0] == 0.0f && x[1] == 1.0f && x[2] == 2.0f);
    TaperSineSq(x.data() + 2, 1);
    EXPECT_EQ(0.0f, x[2]);
}

TEST(Tapers, ExponentialDecayFormsItsExponentInFloat)
{
    const float rate = 0.1f;  // (float)(-j) * 0.1f differs from -j * 0.1f in double
    Floats x = numora_test::RandomFloats(40, 3u), ref = x;
    RealExp_taper(x.data(), 0.0f, 0, 39);
    RealExp_taper(x.data(), rate, 5, 5);
    EXPECT_TRUE(BitEqual(ref.data(), x.data(), 40));
    RealExp_taper(x.data(), rate, 39, 10);
    ComplexExp_taper(L(x), rate, 1, 4);  // floats 2 .. 9
    for (int i = 0; i < 40; ++i) {
        const int j = i >= 10 ? 39 - i : (i >= 2 ? i / 2 - 1 : 0);
        const double w = std::exp(static_cast<double>(static_cast<float>(-j) * rate));
        EXPECT_EQ(static_cast<float>(w * static_cast<double>(ref[i])), x[i]) << i;
    }
}

TEST(GenerateImpulseResponse, LowQuarterOfTheLinesToACentredResponse)
{
    const int n = 32;
    const float scale = 0.70710678f;
    Floats spectrum = numora_test::RandomFloats(n, 4u), work(n), out(n), plain(n);
    for (int i = 0; i < n / 2; ++i)
        spectrum[i] = 0.0f;
    spectrum[6] = 0.5f;  // line 3 = (0.5, -0.25); lines from n / 4 on are ignored
    spectrum[7] = -0.25f;
    EXPECT_EQ(n / 2, generate_impulseResponse(L(spectrum), out.data(), work.data(), n, scale, false));
    EXPECT_EQ(0, generate_impulseResponse(L(spectrum), plain.data(), nullptr, n, scale, true));
    EXPECT_TRUE(BitEqual(work.data(), plain.data(), n));
    for (int m = 0; m < n; ++m) {
        const double w = 2 * M_PI * 3 * m / n, expected = 2 * (0.5 * std::cos(w) + 0.25 * std::sin(w)) / (2.0 * static_cast<double>(scale));
        EXPECT_NEAR(expected, plain[m], 1e-6);
        EXPECT_EQ(plain[m], out[(m + n / 2) % n]);
    }
    Floats untouched(n, 9.0f);
    EXPECT_EQ(0, generate_impulseResponse(nullptr, untouched.data(), work.data(), n, scale, false));
    EXPECT_EQ(0, generate_impulseResponse(L(spectrum), untouched.data(), nullptr, 0, scale, false));
    EXPECT_EQ(Floats(n, 9.0f), untouched);
}

}  // namespace
