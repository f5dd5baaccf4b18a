#include "numora/foundation/scalar.h"

#include <climits>
#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "numora/foundation/platform.h"
#include "tests/support/support.h"

using namespace qv::math;
using numora_test::RandomFloats;
using numora_test::SameBits;

namespace {

TEST(Round, HalvesAwayInTheOverloadsPrecisionToDigitsAndPowersOfTwo)
{
    EXPECT_EQ(-3.0f, Round(-2.5f));
    EXPECT_TRUE(SameBits(-0.0, Round(-0.4)));  // ceil(-0.9)
    // The float twin adds 0.5f in float, where 0.49999997f + 0.5f is already 1.
    EXPECT_EQ(1.0f, Round(0.49999997f));
    EXPECT_EQ(3.0, Round(2.9999999, qv::RoundMethodFloorEps));
    EXPECT_EQ(-1.7f, Round(-1.7f, static_cast<qv::RoundMethod>(-1)));
    EXPECT_EQ(-1200.0, RoundUp(-1234.0, 2));
    // 0.3 / 0.1 is a hair below 3: the 0.0001 keeps RoundDown from giving 0.2.
    EXPECT_EQ(3.0 * 0.1, RoundDown(0.3, 1));
    // ... and is small enough that 12.9995 hundredths still round down to 12.
    EXPECT_EQ(12.0 * 0.01, RoundDown(0.129995, 2));
    // A digit count of INT_MIN overflows nothing: the place is infinite.
    EXPECT_TRUE(std::isnan(RoundUp(1.5, INT_MIN)) && std::isnan(RoundDown(1.5, INT_MIN)));
    EXPECT_TRUE(RoundUpPOW2(3) == 4 && RoundUpPOW2(1024) == 1024 && RoundUpPOW2(1025) == 2048);
    EXPECT_TRUE(RoundUpPOW2(-5) == 0 && RoundUpPOW2(1024.999) == 1024);  // floors first
    EXPECT_EQ(INT_MIN, RoundUpPOW2((1 << 30) + 1));
}

TEST(Conversions, UseTheirOwnConstantsAndCutPartialSamplesButNotBlocks)
{
    EXPECT_EQ(0.707106781, Peak2RMS(1.0));              // not sqrt(0.5)
    EXPECT_TRUE(SameBits(5.0f * 0.001f, MV2V(5.0f)));  // float(5 * 0.001) differs
    EXPECT_EQ(INT_MIN, S2MSn(static_cast<double>(NAN)));         // a cut without an int
    EXPECT_EQ(0xFFFFFFFFu, S2MSu(-0.001));  // negative wraps
    EXPECT_EQ(10ull, Duration2Samples(1.0, 10.5));
    EXPECT_EQ(0ull, Duration2Samples(-1.0, 10.0));
    EXPECT_EQ(4u, Duration2Blocks(1.0, 1000.0, 256u, qv::RoundMethodFloor));
    EXPECT_EQ(0.0, DeltaT2SampleRate(0.0));
    EXPECT_EQ(25603.0, DeltaT2SampleRate(1.0 / 25603.0));
    EXPECT_EQ(1.0 / (1.0 / 25599.7), DeltaT2SampleRate(1.0 / 25599.7));  // keeps its fraction
}

TEST(FrameSizes, StandardRatiosSnapUpWithASinglePrecisionThresholdForLines)
{
    EXPECT_EQ(400, FrameSize2Resolution(1024, 1.0));
    EXPECT_EQ(3, SampleRate2MaxBandwidthN(0.3, 0.1));  // 2.9999999999999996 keeps its line
    // 1e9 / 5.12 = 195312500; 5.1199999 lies between 5.12f and 5.12.
    EXPECT_EQ(195312500, FrameSize2Resolution(1000000000, static_cast<double>(5.12f)));
    EXPECT_EQ(195312503, FrameSize2Resolution(1000000000, 5.1199999));
    EXPECT_EQ(195312500, SampleRate2BandwidthN(1e9, 5.1199999));
}

TEST(Freq2Index, RoundsByMethodInTheTwinsPrecisionAndClamps)
{
    EXPECT_EQ(99, Freq2Index(2000.0f, 10.0f, 100, qv::RoundMethodNearest));
    EXPECT_EQ(0, Freq2Index(-25.0f, 10.0f, 0, qv::RoundMethodNearest));  // bottom first
    // 0.5f / 0.1f is 5 in float but 4.99999992... in double.
    EXPECT_EQ(5, Freq2Index(0.5f, 0.1f, qv::RoundMethodFloor));
    EXPECT_EQ(4, Freq2Index(static_cast<double>(0.5f), static_cast<double>(0.1f), qv::RoundMethodFloor));
    int i1 = -7, i2 = -7;
    FreqRange2Index(15.0f, 25.0f, 10.0f, i1, i2);
    EXPECT_TRUE(i1 == 1 && i2 == 3);
}

TEST(Ranges, LimitTestsLowFirstAndOverlapIncludesTouching)
{
    int high = 11, both = 1;
    float nan = NAN;
    EXPECT_TRUE(!LimitRange(high, 0, 10) && high == 10 && InRange(high, 0, 10));
    EXPECT_TRUE(!LimitRange(both, 5, 3) && both == 5);  // below low and above high
    EXPECT_TRUE(LimitRange(nan, 0.0f, 1.0f) && !InRange(nan, 0.0f, 1.0f));
    EXPECT_TRUE(IsRangeOverlap(2.0f, 1.0f, 3.0f, 2.0f));
    EXPECT_FALSE(IsRangeOverlap(3.0f, 2.5f, 2.0f, 1.0f));
    float wa = 0.0f, wb = 0.0f;
    GetDistanceRatio(2.25f, 2.0f, 3.0f, wa, wb);
    EXPECT_TRUE(wa == 0.75f && wb == 0.25f);
}

TEST(RangeRoundLinear, AddsDigitsUntilTheSpanFits)
{
    float lo = 3.2f, hi = 97.0f;
    int dl = -1, dh = -1;
    RangeRoundLinear(lo, hi, 0.1f, 1, &dl, &dh);
    EXPECT_TRUE(lo == 0.0f && hi == 100.0f && dl == 0 && dh == 1);
    // Passes: (1, 2): high side further off, dHigh 2; (1, 1.3): both up;
    // (1.2, 1.27): both up; (1.23, 1.27) spans 0.04 < 0.044.
    lo = 1.23f, hi = 1.27f;
    RangeRoundLinear(lo, hi, 0.1f, 0, &dl, &dh);
    EXPECT_TRUE(lo == float(123.0 * 0.01) && hi == float(1270.0 * 0.001) && dl == 3 && dh == 4);
    lo = hi = -5.0f, dh = 42;
    RangeRoundLinear(lo, hi, 0.1f, 0, nullptr, &dh);
    EXPECT_TRUE(lo == -5.0f && hi == 0.0f && dh == 42);  // lowDigits null: no digits written
}

TEST(Decibels, FloorOnlyWhereRuledAndFloatTwinsRoundWhereTheyShould)
{
    EXPECT_EQ(-96.0f, DB20log(-1.0f));
    EXPECT_EQ(-96.0f, DB10log(-0.0f));
    EXPECT_EQ(-96.0, SFtoDB(-0.0, 20.0));
    EXPECT_TRUE(std::isnan(SFtoDB(-1.0f, 20.0f)));
    EXPECT_EQ(-INFINITY, RMSTargetToDB(0.0f, 1.0f));
    // s = 0.1f and 0.1f * 10 rounds to exactly 1 in float.
    EXPECT_EQ(0.0f, RMSTargetToDBAdj(10.0f, 1.0f, 20.0f));

    const std::vector<float> xs = RandomFloats(500, 11u);
    for (size_t i = 0; i + 1 < xs.size(); ++i) {
        const float x = std::fabs(xs[i]) * 100.0f + 1e-3f, db = xs[i + 1] * 60.0f;
        EXPECT_TRUE(SameBits(static_cast<float>(20.0 * std::log10(static_cast<double>(x))), DB20log(x)));
        // The quotient in float, the power in double, the product in float.
        const float sf = static_cast<float>(std::pow(10.0, static_cast<double>(db / 3.0f)));
        EXPECT_TRUE(SameBits(sf, DBtoSF(db, 3.0f)));
        EXPECT_TRUE(SameBits(sf * x, ScaleByDB(x, db, 3.0f)));
    }
}

TEST(MotionConversions, DisplacementIsPeakToPeakAndThePairInvertsExactly)
{
    EXPECT_EQ(100.0, VtoEUMult(10.0, 2.0, 2.0));
    // A sine of peak displacement X: acceleration (2 pi f)^2 X, 2X peak to peak.
    const double f = 12.5, x = 0.003, w = 2.0 * 3.141592653589793 * f;
    EXPECT_NEAR(2.0 * x, AccelToDisp(w * w * x, f, 1.0), 1e-12);
    // Both use one and the same factor: the one DispToAccel multiplies by.
    for (double fi : {1.0, 12.5, 333.3, 1999.9, 7.77, 50.1, 0.31, 81.6})
        EXPECT_TRUE(SameBits(7.3 / DispToAccel(1.0, fi, 0.7), AccelToDisp(7.3, fi, 0.7))) << fi;
}

TEST(GetRandomValue, SpansBothEndsAndRoundsHalvesAway)
{
    unsigned int top = 0;  // the first seed whose first draw is 32767
    while ((SRand(top), Rand()) != 32767)
        ++top;
    SRand(top);  // the divisor is 32767, not 32768
    EXPECT_EQ(3.141592653589793, GetRandomValue(-3.141592653589793, 3.141592653589793));
    for (unsigned int seed = 0; seed < 100; ++seed) {
        SRand(seed);
        const double r = static_cast<double>(Rand());
        SRand(seed);
        EXPECT_TRUE(SameBits(r / 32767.0 * 8.0 - 3.0, GetRandomValue(-3.0, 5.0)));
        SRand(seed);
        EXPECT_EQ(static_cast<int>(Round(r / 32767.0 * 5.0 - 3.0)), GetRandomValue(-3, 2));
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
    t.Age(0x100000000ull + 100000ull);  // past 49.7 days
    EXPECT_EQ(0xFFFFFFFFu, t.GetElapsedTimeDW());
    t.Reset();
    EXPECT_LT(t.GetElapsedTime(), 1000ull);
}

}  // namespace
