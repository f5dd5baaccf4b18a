#include "numora/foundation/scalar.h"

#include <climits>
#include <cmath>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "numora/foundation/platform.h"
#include "tests/support/support.h"

using namespace qv::math;
using numora_test::RandomDoubles;
using numora_test::RandomFloats;
using numora_test::SameBits;

namespace {

TEST(Round, HalvesAwayFromZeroByFloorOfXPlusHalfAndUnknownMethodsPassThrough)
{
    EXPECT_EQ(-3.0f, Round(-2.5f));
    EXPECT_TRUE(SameBits(-0.0, Round(-0.4)));  // ceil(-0.9)
    EXPECT_EQ(1.0, Round(0.49999999999999994));  // the sum rounds up to 1
    // The float twin adds 0.5f in float, where 0.49999997f + 0.5f is already 1.
    EXPECT_EQ(1.0f, Round(0.49999997f));
    EXPECT_EQ(3.0, Round(2.9999999, qv::RoundMethodFloorEps));
    EXPECT_EQ(2.0, Round(2.999998, qv::RoundMethodFloorEps));
    EXPECT_EQ(-1.7f, Round(-1.7f, static_cast<qv::RoundMethod>(-1)));
    // Whole-number results round half away from zero, then cut.
    EXPECT_EQ(-3, S2MSn(-0.0025));
    EXPECT_EQ(0xFFFFFFFFu, S2MSu(-0.001));  // negative wraps
}

TEST(Round, SignificantDigitsAndPowersOfTwo)
{
    EXPECT_EQ(-1200.0, RoundUp(-1234.0, 2));
    EXPECT_EQ(-1300.0, RoundDown(-1234.0, 2));
    // 0.3 / 0.1 is a hair below 3: the 0.0001 keeps RoundDown from giving 0.2.
    EXPECT_EQ(3.0 * 0.1, RoundDown(0.3, 1));

    const int in[] = {1, 2, 3, 1024, 1025, 1 << 30, 0, -5, INT_MIN, (1 << 30) + 1};
    const int out[] = {1, 2, 4, 1024, 2048, 1 << 30, 0, 0, 0, INT_MIN};
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(out[i], RoundUpPOW2(in[i])) << in[i];
    EXPECT_EQ(1024, RoundUpPOW2(1024.999));  // floors first
    EXPECT_EQ(0, RoundUpPOW2(-0.5));
}

TEST(ScaleFactors, UseTheirOwnConstantsAndFloatTwinsStayInFloat)
{
    EXPECT_EQ(0.707106781, Peak2RMS(1.0));  // not sqrt(0.5)
    EXPECT_TRUE(std::isnan(StandardDeviation(Variance(1.0, 2.0))));

    bool differs = false;
    for (float x : RandomFloats(200, 7u)) {
        const float v = x * 1000.0f;
        EXPECT_TRUE(SameBits(v * 0.001f, MV2V(v)));
        differs |= static_cast<float>(static_cast<double>(v) * 0.001) != MV2V(v);
    }
    EXPECT_TRUE(differs);
}

TEST(Timing, PartialSampleDropsPartialBlockCountsHighRatesAreWhole)
{
    EXPECT_EQ(10ull, Duration2Samples(1.0, 10.5));
    EXPECT_EQ(0ull, Duration2Samples(-1.0, 10.0));
    EXPECT_EQ(4u, Duration2Blocks(1.0, 1000.0, 256u, qv::RoundMethodFloor));
    EXPECT_EQ(512u, OverlapFactor2SampleDelay(0.5, 1023u));

    EXPECT_EQ(0.0, DeltaT2SampleRate(0.0));
    ASSERT_NE(25603.0, 1.0 / (1.0 / 25603.0));
    EXPECT_EQ(25603.0, DeltaT2SampleRate(1.0 / 25603.0));
    EXPECT_EQ(25600.0, DeltaT2SampleRate(1.0 / 25600.3));
    EXPECT_EQ(1.0 / (1.0 / 25599.7), DeltaT2SampleRate(1.0 / 25599.7));  // keeps its fraction
}

TEST(FrameSizes, StandardRatiosSnapUpWithASinglePrecisionThresholdForLines)
{
    EXPECT_EQ(2048, Resolution2FrameSize(800, 2.56));
    EXPECT_EQ(400, FrameSize2Resolution(1024, 1.0));
    EXPECT_EQ(1562500000u, FrameSize2ResolutionU(4000000000u, 2.56));
    EXPECT_EQ(20000.0, SampleRate2Bandwidth(51200.0, 1.0));
    EXPECT_EQ(0u, SampleRate2MaxBandwidthU(51200.0, 0.0));
    EXPECT_EQ(3, SampleRate2MaxBandwidthN(0.3, 0.1));  // 2.9999999999999996 keeps its line

    // 1e9 / 5.12 = 195312500; a ratio used as it is gives more lines.
    const double ratioF = static_cast<double>(5.12f);  // 5.119999885559082
    const double between = 5.1199999;                   // above ratioF, below 5.12
    EXPECT_EQ(195312500, FrameSize2Resolution(1000000000, ratioF));
    EXPECT_EQ(195312503, FrameSize2Resolution(1000000000, between));
    EXPECT_EQ(195312500, SampleRate2BandwidthN(1e9, between));
    EXPECT_EQ(1e9 / 5.12000001, SampleRate2Bandwidth(1e9, 5.12000001));
}

TEST(Freq2Index, RoundsByMethodInTheTwinsPrecisionAndClamps)
{
    EXPECT_EQ(0, Freq2Index(-25.0, 10.0, 100, qv::RoundMethodNearest));
    EXPECT_EQ(99, Freq2Index(2000.0f, 10.0f, 100, qv::RoundMethodNearest));
    EXPECT_EQ(0, Freq2Index(-25.0f, 10.0f, 0, qv::RoundMethodNearest));  // bottom first
    // 0.5f / 0.1f is 5 in float but 4.99999992... in double.
    EXPECT_EQ(5, Freq2Index(0.5f, 0.1f, qv::RoundMethodFloor));
    EXPECT_EQ(4, Freq2Index(static_cast<double>(0.5f), static_cast<double>(0.1f),
                            qv::RoundMethodFloor));
    int i1 = -7, i2 = -7;
    FreqRange2Index(15.0f, 25.0f, 10.0f, i1, i2);
    EXPECT_TRUE(i1 == 1 && i2 == 3);
}

template <typename T>
std::pair<bool, T> Limited(T value, T low, T high)
{
    const bool inside = LimitRange(value, low, high);
    return {inside, value};
}

TEST(Ranges, LimitTestsLowFirstAndOverlapIncludesTouching)
{
    EXPECT_EQ(std::make_pair(true, 5), Limited(5, 0, 10));
    EXPECT_EQ(std::make_pair(false, 10), Limited(11, 0, 10));
    EXPECT_EQ(std::make_pair(false, 5), Limited(1, 5, 3));  // below low and above high
    EXPECT_EQ(std::make_pair(false, 1.0), Limited(2.5, 0.0, 1.0));
    EXPECT_TRUE(Limited(NAN, 0.0f, 1.0f).first);
    int ten = 10;
    float nan = NAN;
    double half = 0.5;  // int bounds: only the double overload takes a double lvalue
    EXPECT_TRUE(InRange(ten, 0, 10) && InRange(half, 0, 1));
    EXPECT_FALSE(InRange(nan, 0.0f, 1.0f));

    EXPECT_TRUE(IsRangeOverlap(1.0f, 2.0f, 2.0f, 3.0f));
    EXPECT_TRUE(IsRangeOverlap(2.0f, 1.0f, 3.0f, 2.0f));
    EXPECT_FALSE(IsRangeOverlap(3.0f, 2.5f, 2.0f, 1.0f));

    float wa = 0.0f, wb = 0.0f;
    GetDistanceRatio(2.25f, 2.0f, 3.0f, wa, wb);
    EXPECT_TRUE(wa == 0.75f && wb == 0.25f);
}

using Rounded = std::vector<float>;  // low, high, digits of low, digits of high

Rounded RoundRange(float low, float high, int anchorZero)
{
    int lowDigits = -1, highDigits = -1;
    RangeRoundLinear(low, high, 0.1f, anchorZero, &lowDigits, &highDigits);
    return {low, high, static_cast<float>(lowDigits), static_cast<float>(highDigits)};
}

TEST(RangeRoundLinear, AddsDigitsUntilTheSpanFits)
{
    EXPECT_EQ((Rounded{0.0f, 1.0f, 1, 1}), RoundRange(0.0f, 0.0f, 0));
    EXPECT_EQ((Rounded{0.0f, 5.0f, 1, 1}), RoundRange(5.0f, 5.0f, 0));
    EXPECT_EQ((Rounded{3.0f, 100.0f, 1, 1}), RoundRange(3.2f, 97.0f, 0));
    EXPECT_EQ((Rounded{0.0f, 100.0f, 0, 1}), RoundRange(3.2f, 97.0f, 1));
    EXPECT_EQ((Rounded{-100.0f, 0.0f, 1, 0}), RoundRange(-97.0f, -3.2f, 1));
    // Passes: (1, 2): high side further off, dHigh 2; (1, 1.3): both up;
    // (1.2, 1.27): both up; (1.23, 1.27) spans 0.04 < 0.044.
    EXPECT_EQ((Rounded{static_cast<float>(123.0 * 0.01), static_cast<float>(1270.0 * 0.001), 3, 4}),
              RoundRange(1.23f, 1.27f, 0));

    float lo = -5.0f, hi = -5.0f;
    int dh = 42;
    RangeRoundLinear(lo, hi, 0.1f, 0, nullptr, &dh);
    EXPECT_TRUE(lo == -5.0f && hi == 0.0f);
    EXPECT_EQ(42, dh);  // lowDigits null: no digits written
}

TEST(Decibels, MinusNinetySixOnlyWhereTheLogarithmIsUndefinedByRule)
{
    EXPECT_EQ(-96.0f, DB20log(-1.0f));
    EXPECT_EQ(-96.0f, DB10log(-0.0f));
    EXPECT_EQ(-96.0f, SFtoDB(0.0f, 20.0f));
    EXPECT_EQ(-96.0, SFtoDB(-0.0, 20.0));
    EXPECT_TRUE(std::isnan(SFtoDB(-1.0f, 20.0f)));
    EXPECT_EQ(-INFINITY, RMSTargetToDB(0.0f, 1.0f));
    // s = 0.1f and 0.1f * 10 rounds to exactly 1 in float.
    EXPECT_EQ(0.0f, RMSTargetToDBAdj(10.0f, 1.0f, 20.0f));
}

TEST(Decibels, FloatTwinsRoundWhereTheyShould)
{
    bool quotientMatters = false, productMatters = false;
    const std::vector<float> xs = RandomFloats(500, 11u);
    for (size_t i = 0; i + 1 < xs.size(); ++i) {
        const float x = std::fabs(xs[i]) * 100.0f + 1e-3f;
        const float db = xs[i + 1] * 60.0f;
        const double lg = std::log10(static_cast<double>(x));
        EXPECT_TRUE(SameBits(static_cast<float>(20.0 * lg), DB20log(x)));

        const float sf = static_cast<float>(std::pow(10.0, static_cast<double>(db / 3.0f)));
        EXPECT_TRUE(SameBits(sf, DBtoSF(db, 3.0f)));
        quotientMatters |=
            sf != static_cast<float>(std::pow(10.0, static_cast<double>(db) / 3.0));
        EXPECT_TRUE(SameBits(sf * x, ScaleByDB(x, db, 3.0f)));
        productMatters |= sf * x != static_cast<float>(
                                        std::pow(10.0, static_cast<double>(db / 3.0f)) *
                                        static_cast<double>(x));
    }
    EXPECT_TRUE(quotientMatters);
    EXPECT_TRUE(productMatters);
}

TEST(MotionConversions, DisplacementIsPeakToPeakAndThePairInvertsExactly)
{
    const double pi = 3.141592653589793;
    EXPECT_EQ(50.0, VtoEUMult(10.0, 0.0, 2.0));
    EXPECT_EQ(100.0, VtoEUMult(10.0, 2.0, 2.0));

    // A sine of peak displacement X: velocity 2 pi f X, acceleration (2 pi f)^2 X, 2X peak to peak.
    const double f = 12.5, x = 0.003, w = 2.0 * pi * f, tol = 1e-12;
    EXPECT_NEAR(2.0 * x, AccelToDisp(w * w * x, f, 1.0), tol);
    EXPECT_NEAR(w * x, DispToVel(2.0 * x, f, 1.0), tol);
    EXPECT_NEAR(w * x, AccelToVel(w * w * x, f, 1.0), tol);

    const std::vector<double> r = RandomDoubles(300, 5u);
    for (size_t i = 0; i + 2 < r.size(); i += 3) {
        // Both use one and the same factor: the one DispToAccel multiplies by.
        const double a = r[i] * 100.0, k = std::fabs(r[i + 2]) * 10.0 + 0.1;
        const double fi = std::fabs(r[i + 1]) * 2000.0 + 1.0;
        EXPECT_TRUE(SameBits(a / DispToAccel(1.0, fi, k), AccelToDisp(a, fi, k)));
    }
}

// The first seed from 0 on whose first draw is `value`.
unsigned int SeedGivingFirstDraw(int value)
{
    for (unsigned int seed = 0;; ++seed) {
        SRand(seed);
        if (Rand() == value)
            return seed;
    }
}

TEST(GetRandomValue, SpansBothEndsAndFollowsTheDraw)
{
    const double pi = 3.141592653589793;
    SRand(SeedGivingFirstDraw(32767));  // the divisor is 32767, not 32768
    EXPECT_EQ(pi, GetRandomValue(-pi, pi));
    SRand(SeedGivingFirstDraw(32767));
    EXPECT_EQ(7, GetRandomValue(-3, 7));
    SRand(SeedGivingFirstDraw(0));
    EXPECT_EQ(-3, GetRandomValue(-3, 7));

    for (unsigned int seed = 0; seed < 100; ++seed) {
        SRand(seed);
        const double r = static_cast<double>(Rand());
        const int next = Rand();
        SRand(seed);
        EXPECT_TRUE(SameBits(r / 32767.0 * 8.0 + -3.0, GetRandomValue(-3.0, 5.0)));
        EXPECT_EQ(next, Rand());  // one draw per value
        SRand(seed);
        const double v = r / 32767.0 * 5.0 + -3.0;
        EXPECT_EQ(static_cast<int>(v >= 0.0 ? std::floor(v + 0.5) : std::ceil(v - 0.5)),
                  GetRandomValue(-3, 2));
    }
}

// Timer whose start can be moved into the past, to stand for a long run.
class AgedTimer : public CTimer {
public:
    void Age(unsigned long long ms) { startTick_ -= ms; }
};

TEST(CTimer, ShortFormSaturatesInsteadOfWrapping)
{
    AgedTimer t;
    t.Age(0xFFFFFFFFull - 100000ull);
    const uint32_t below = t.GetElapsedTimeDW();
    EXPECT_GE(below, 0xFFFFFFFFu - 100000u);
    EXPECT_LT(below, 0xFFFFFFFFu);

    t.Age(200000ull);  // now past 49.7 days
    CTimer copy;
    copy = t;
    EXPECT_GT(copy.GetElapsedTime(), 0x100000000ull);
    EXPECT_EQ(0xFFFFFFFFu, copy.GetElapsedTimeDW());
    t.Reset();
    EXPECT_LT(t.GetElapsedTime(), 1000ull);
}

}  // namespace
