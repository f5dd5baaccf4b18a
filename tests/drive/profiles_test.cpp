#include "numora/drive/profiles.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "tests/support/support.h"

using namespace qv::math;
using numora_test::BitEqual;
using numora_test::FillSentinel;
using numora_test::HoldsSentinel;

namespace {

// Skirt gain at line k with corner c: 10^(octaves * slope / 20), rounded to float.
float Gain(int k, int c, double slope)
{
    return static_cast<float>(std::pow(10.0, std::log10(double(k) / c) / 0.3010299956639812 * slope / 20.0));
}

}  // namespace

TEST(APSCreateFlat, SkirtsFallToAndWithMaxLineRiseBelowTheCornerAndMultiplyWhereTheyMeet)
{
    std::vector<float> a(112);
    FillSentinel(a.data(), 112);
    APSCreateFall(a.data(), 110, 100, 1.0f, 10, -6.0f);
    EXPECT_NEAR(0.501187, a[20], 1e-6);  // one octave: 10^(-6/20), the divisor is 20
    for (int k = 10; k <= 100; ++k)
        ASSERT_EQ(Gain(k, 10, -6.0), a[k]) << k;
    EXPECT_TRUE(a[0] == 0.0f && a[9] == 1.0f && a[101] == 0.0f && HoldsSentinel(&a[110], 2));
    APSCreateRise(a.data(), 110, 30, 4.0f, 16, -6.0f);  // the same sign attenuates below the corner
    EXPECT_NEAR(4.0 * std::pow(10.0, -24.0 / 20.0), a[1], 1e-6);
    EXPECT_TRUE(a[0] == 0.0f && a[16] == 4.0f && a[30] == 4.0f && a[31] == 0.0f);
    APSCreateRiseFall(a.data(), 64, 60, 3.0f, 32, -3.0f, 8, -9.0f);
    EXPECT_EQ(3.0f * Gain(16, 32, 3.0) * Gain(16, 8, -9.0), a[16]);  // rise first, then fall
    const float beyond = a[8];
    APSCreateRise(a.data(), 4, 7, 1.0f, 0, -6.0f);  // corner 0 is line 1; maxLine past n - 1: no tail
    EXPECT_TRUE(a[1] == 1.0f && a[7] == 1.0f && a[8] == beyond);
    a[0] = 2.0f;
    APSAddRise(a.data(), 0, 7, 3, -6.0);  // the rise stops at line 1
    EXPECT_EQ(2.0f, a[0]);
}

TEST(APSCreateFlatBand, EdgesRoundOutwardWithinLinesOneToMaxLine)
{
    float a[10];
    APSCreateFlatBand(a, 10, 8, 10.0f, 2.0f, 25.0f, 44.0f);  // floor 2.5 to ceil 4.4
    const float band[10] = {0, 0, 2, 2, 2, 2, 0, 0, 0, 0};
    EXPECT_TRUE(BitEqual(band, a, 10));
    APSCreateFlatBand(a, 10, 8, 10.0f, 2.0f, 0.0f, 500.0f);  // never line 0, never past maxLine
    EXPECT_TRUE(a[0] == 0.0f && a[1] == 2.0f && a[8] == 2.0f && a[9] == 0.0f);
    const float outside = 2.0f * static_cast<float>(std::pow(10.0, -2.0));  // -20 dB of power, line 0 too
    APSCreateFlatBand(a, 10, 8, 10.0f, 2.0f, 60.0f, 40.0f, -20.0f);         // a reversed band is empty
    EXPECT_TRUE(a[0] == outside && a[5] == outside && a[9] == outside);
    APSCreateFlatBand(a, 10, 0, 10.0f, 2.0f, 0.0f, 40.0f);  // maxLine 0: no line for a band
    EXPECT_TRUE(a[0] == 0.0f && a[1] == 0.0f && a[9] == 0.0f);
}

TEST(APSCreateShape, InterpolatesBetweenCornersAtAccumulatedLineFrequencies)
{
    QV_CORNER corners[3] = {{10.0f, 1.0f}, {50.0f, 5.0f}, {70.0f, 1.0f}};
    float a[10];
    APSCreateShape(a, 10, 8, 10.0f, corners, 3);
    const float three[10] = {0, 1, 2, 3, 4, 5, 3, 1, 0, 0};  // on a corner its level; past the last 0
    EXPECT_TRUE(BitEqual(three, a, 10));
    APSCreateShape(a, 10, 8, 10.0f, corners + 1, 1);  // one corner: flat at its level
    const float one[10] = {0, 5, 5, 5, 5, 5, 5, 5, 5, 0};
    EXPECT_TRUE(BitEqual(one, a, 10));
    const float zero[10] = {};
    FillSentinel(a, 10);
    APSCreateShape(a, 10, 8, 10.0f, corners, 0);  // none: the whole array is zero
    EXPECT_TRUE(BitEqual(zero, a, 10));
    QV_CORNER ramp[2] = {{0.0f, 0.0f}, {100.0f, 100.0f}};
    std::vector<float> b(1001);
    APSCreateShape(b.data(), 1001, 1000, 0.1f, ramp, 2);
    float f = 0.0f;
    for (int k = 1; k <= 1000; ++k) {  // the running sum, which drifts from k * 0.1f
        f += 0.1f;
        ASSERT_EQ(f <= 100.0f ? f / 100.0f * 100.0f : 0.0f, b[k]) << k;
    }
}

TEST(APSCreateBand, RampsThenHoldsAndStopsOneLinePastLastLine)
{
    // Linear: (10 - 2) / 2 + 1 = 5 lines a band, ramps 2 and 5 * 0.5; counter 11 is the last written.
    float levels[2] = {4.0f, 8.0f}, a[18];
    FillSentinel(a, 18);
    APSCreateBand(a, 0, 2, 10, 10.0f, 0.0f, QV_DAC_BAND_LINEAR, levels, 2, 0.5f);
    const float t = 4.0f / 3.0f;
    const float linear[12] = {0, 0, t, 2.0f * t, 4, 4, 4, t + 4.0f, 2.0f * t + 4.0f, 8, 8, 8};
    EXPECT_TRUE(BitEqual(linear, a, 12) && HoldsSentinel(a + 12, 6));
    // (10 - 1) / 2 + 1 = 5 lines again; a later linear ramp may be 0 lines (5 * 0.1).
    FillSentinel(a, 18);
    APSCreateBand(a, 0, 1, 10, 10.0f, 0.0f, QV_DAC_BAND_LINEAR, levels, 2, 0.1f);
    const float noRamp[11] = {0, t, 2.0f * t, 4, 4, 4, 8, 8, 8, 8, 8};
    EXPECT_TRUE(BitEqual(noRamp, a, 11) && HoldsSentinel(a + 11, 7));
    // Octave: 0-20, 20-40, 40-80 Hz at 10 Hz lines give 3, 3 and 5 lines with
    // ramps 2, 1 and 2; the last level holds up to lastLine - 1. With firstLine
    // 0 the first ramp starts from aps[0] as the caller left it.
    float octave[3] = {3.0f, 6.0f, 12.0f};
    FillSentinel(a, 18);
    a[0] = 0.0f;
    APSCreateBand(a, 0, 0, 15, 10.0f, 80.0f, QV_DAC_BAND_OCTAVE, octave, 3, 0.5f);
    const float expected[16] = {0, 1, 2, 3, 4.5f, 6, 6, 8, 10, 12, 12, 12, 12, 12, 12, 12};
    EXPECT_TRUE(BitEqual(expected, a, 16) && HoldsSentinel(a + 16, 2));
    FillSentinel(a, 18);  // an octave ramp below 1 line is 2 lines (3 * 0.2 in the first two bands)
    a[0] = 0.0f;
    APSCreateBand(a, 0, 0, 12, 10.0f, 80.0f, QV_DAC_BAND_OCTAVE, octave, 3, 0.2f);
    const float shortRamps[13] = {0, 1, 2, 3, 4, 5, 6, 9, 12, 12, 12, 12, 12};
    EXPECT_TRUE(BitEqual(shortRamps, a, 13) && HoldsSentinel(a + 13, 5));
    FillSentinel(a, 18);
    numora_test::FailAllocation(1);  // no scratch: only the lines below firstLine are written
    APSCreateBand(a, 0, 3, 10, 10.0f, 0.0f, QV_DAC_BAND_LINEAR, levels, 2, 0.5f);
    EXPECT_TRUE(a[0] == 0.0f && a[2] == 0.0f && HoldsSentinel(a + 3, 15));
    a[0] = 5.0f;
    APSCreateBand(a, 0, 0, 3, 10.0f, 0.0f, QV_DAC_BAND_LINEAR, levels, 0, 0.5f);  // no bands: the hold only
    EXPECT_TRUE(a[1] == 5.0f && a[3] == 5.0f && HoldsSentinel(a + 4, 14));
}

TEST(APSScarifyMin, KeepsTheLowerEnvelopeOfEachWindowAndZeroesTheRest)
{
    float a[7] = {5, 3, 4, 1, 2, 9, 6};
    APSScarifyMin(a, 5, 1);
    APSScarifyMin(a, 5, 2);  // windows 0-1, 1-3, 3-4 of the original values
    const float halved[7] = {3, 1, 1, 0, 0, 9, 6};
    EXPECT_TRUE(BitEqual(halved, a, 7));
    float b[7] = {5, 2, 9, 7, 8, 4, 6};
    APSScarifyMin(b, 7, 3);  // half a window is 3 / 2 = 1 line: windows 0-1, 2-4, 5-6
    const float thirds[7] = {2, 7, 4, 0, 0, 0, 0};
    EXPECT_TRUE(BitEqual(thirds, b, 7));
}

TEST(Calc_Table_Curves, InterpolatesSegmentsTakesLimitsFromTheUpperPointAndEndsOnTheLast)
{
    ref_tag t;
    std::memset(&t, 0xA5, sizeof t);  // unread fields hold junk
    t.numPoints = 3;
    const float f[3] = {3, 10, 149}, l[3] = {1.5f, 16, 7}, l1[3] = {0, 6, 6.5f}, l2[3] = {0, -1, 20};
    for (int i = 0; i < 3; ++i) {
        t.frequency[i] = f[i], t.level[i] = l[i], t.limit1Db[i] = l1[i], t.limit2Db[i] = l2[i];
        t.segmentType[i] = i % 2;  // 3-10 Hz log-log, 10-149 Hz linear
    }
    // Linear spacing (2): F0 + m * step. Logarithmic (any bit but bit 1):
    // F0 * 2^(m * step), whose last value overshoots 149 in float and is held there.
    const float linearStep = 146.0f / 19.0f;
    const float octaves = static_cast<float>(std::log(static_cast<double>(149.0f / 3.0f)) / std::log(2.0));
    const float logStep = octaves / 7.0f;
    const auto logFreq = [&](int m) {
        return static_cast<float>(std::pow(2.0, static_cast<double>(static_cast<float>(m) * logStep))) * 3.0f;
    };
    ASSERT_GT(logFreq(7), 149.0f);
    // The table's level: its own on the end points, straight on log-log axes below
    // 10 Hz (slope in dB per octave rounded to float), linear above.
    const auto tableLevel = [](float x) {
        if (x == 3.0f || x == 149.0f)
            return x == 3.0f ? 1.5f : 7.0f;
        if (x >= 10.0f)
            return (x - 10.0f) * ((7.0f - 16.0f) / 139.0f) + 16.0f;
        const double octave = std::log10(2.0);
        const float slope = static_cast<float>(20.0 * std::log10(static_cast<double>(16.0f / 1.5f)) /
                                               (std::log10(static_cast<double>(10.0f / 3.0f)) / octave));
        const double power = static_cast<double>(slope) / (20.0 * octave);
        return static_cast<float>(std::pow(static_cast<double>(x) / 3.0, power) * 1.5);
    };
    float freq[20], level[20], lim1[20], lim2[20];
    for (int spacing : {2, 5}) {
        const int count = spacing == 2 ? 20 : 8;
        Calc_Table_Curves(&t, level, lim1, lim2, freq, count, spacing);
        for (int j = 0; j < count; ++j) {
            const float fj = spacing == 2 ? static_cast<float>(j) * linearStep + 3.0f : logFreq(j);
            ASSERT_EQ(std::min(fj, 149.0f), freq[j]) << spacing << ", " << j;
            ASSERT_EQ(tableLevel(freq[j]), level[j]) << spacing << ", " << j;
        }
    }
    // 0 dB switches limit 1 off and limit 2 on; inside a segment the upper point's dB hold.
    // dB / 20 is taken in float.
    const float up6 = static_cast<float>(std::pow(10.0, static_cast<double>(6.0f / 20.0f)));
    const float up65 = static_cast<float>(std::pow(10.0, static_cast<double>(6.5f / 20.0f)));
    EXPECT_TRUE(lim1[0] == 1e-30f && lim2[0] == 1.5f && lim1[2] == up6 * level[2] && lim2[2] == 1e-30f);
    EXPECT_TRUE(lim1[7] == up65 * 7.0f && lim2[7] == 70.0f && lim2[5] == 10.0f * level[5]);
    for (float outside : {149.5f, std::nanf("")}) {  // count 1 reads its frequency; outside: the floor
        freq[0] = outside;
        Calc_Table_Curves(&t, level, lim1, lim2, freq, 1, 0);
        EXPECT_TRUE(level[0] == 1e-30f && lim1[0] == 1e-30f && lim2[0] == 1e-30f);
    }
    freq[0] = 10.0f;  // an inner point starts the segment above it, limits and all
    Calc_Table_Curves(&t, level, lim1, lim2, freq, 1, 0);
    EXPECT_TRUE(level[0] == 16.0f && lim1[0] == up65 * 16.0f && lim2[0] == 160.0f);
    t.numPoints = 1;  // no segment: the floor everywhere, the frequencies still written
    Calc_Table_Curves(&t, level, lim1, lim2, freq, 2, 0);
    EXPECT_TRUE(freq[1] == 3.0f && level[1] == 1e-30f && lim1[1] == 1e-30f && lim2[1] == 1e-30f);
}
