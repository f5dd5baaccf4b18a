#include "numora/drive/profiles.h"

#include <cmath>
#include <vector>

#include "tests/support/support.h"

using namespace qv::math;
using numora_test::BitEqual;

// Flat profiles, the lines that a band, a skirt, a shape or a staircase may
// write, the lower envelope of APSScarifyMin and the floor outside a table
// are checked by the profiles fuzz target.

TEST(APSCreateFall, SkirtsFallToAndWithMaxLineRiseBelowTheCornerAndMultiplyWhereTheyMeet)
{
    // Skirt gain at line k with corner c: 10^(octaves * slope / 20), rounded to float.
    const auto Gain = [](int k, int c, double slope) {
        return static_cast<float>(std::pow(10.0, std::log10(double(k) / c) / 0.3010299956639812 * slope / 20.0));
    };
    std::vector<float> a(112);
    APSCreateFall(a.data(), 110, 100, 3.0f, 10, -6.0f);
    EXPECT_NEAR(3.0 * 0.501187, a[20], 3e-6);  // one octave: 10^(-6/20), the divisor is 20
    // The gain is rounded to float before the product: line 12 tells.
    EXPECT_TRUE(a[10] == 3.0f && a[12] == 3.0f * Gain(12, 10, -6.0) && a[100] == 3.0f * Gain(100, 10, -6.0) &&
                a[101] == 0.0f);
    APSCreateRise(a.data(), 110, 30, 4.0f, 16, -6.0f);  // the same sign attenuates below the corner
    EXPECT_NEAR(4.0 * std::pow(10.0, -24.0 / 20.0), a[1], 1e-6);
    APSCreateRiseFall(a.data(), 64, 60, 3.0f, 32, -3.0f, 8, -9.0f);
    EXPECT_EQ(3.0f * Gain(16, 32, 3.0) * Gain(16, 8, -9.0), a[16]);  // rise first, then fall, in float
    APSCreateRise(a.data(), 4, 3, 1.0f, 0, -6.0f);  // corner 0 is line 1, multiplied by exactly 1
    EXPECT_TRUE(a[1] == 1.0f && a[3] == 1.0f);
}

TEST(APSCreateFlatBand, EdgesRoundOutwardAndTheOutsideIsAPowerRatio)
{
    float a[10];
    APSCreateFlatBand(a, 10, 8, 10.0f, 2.0f, 25.0f, 44.0f);  // floor 2.5 to ceil 4.4
    const float band[10] = {0, 0, 2, 2, 2, 2, 0, 0, 0, 0};
    EXPECT_TRUE(BitEqual(band, a, 10));
    const float outside = 2.0f * static_cast<float>(std::pow(10.0, -2.0));  // -20 dB of power, line 0 too
    APSCreateFlatBand(a, 10, 8, 10.0f, 2.0f, 60.0f, 40.0f, -20.0f);         // a reversed band is empty
    EXPECT_TRUE(a[0] == outside && a[5] == outside && a[9] == outside);
}

TEST(APSCreateShape, InterpolatesBetweenCornersAtAccumulatedLineFrequencies)
{
    QV_CORNER corners[3] = {{10.0f, 1.0f}, {50.0f, 5.0f}, {70.0f, 1.0f}};
    float a[10];
    APSCreateShape(a, 10, 8, 10.0f, corners, 3);
    const float three[10] = {0, 1, 2, 3, 4, 5, 3, 1, 0, 0};  // on a corner its level; past the last 0
    EXPECT_TRUE(BitEqual(three, a, 10));
    APSCreateShape(a, 10, 8, 10.0f, corners + 1, 1);  // one corner: flat at its level
    EXPECT_TRUE(a[0] == 0.0f && a[1] == 5.0f && a[8] == 5.0f && a[9] == 0.0f);
    // Line 1000 at a running sum of 0.1f, which has drifted from 1000 * 0.1f.
    QV_CORNER ramp[2] = {{0.0f, 0.0f}, {100.0f, 100.0f}};
    std::vector<float> b(1001);
    APSCreateShape(b.data(), 1001, 1000, 0.1f, ramp, 2);
    float f = 0.0f;
    for (int k = 1; k <= 1000; ++k)
        f += 0.1f;
    EXPECT_TRUE(f != 1000 * 0.1f && b[1000] == f / 100.0f * 100.0f);
}

TEST(APSCreateBand, RampsThenHoldsAndStopsOneLinePastLastLine)
{
    float levels[2] = {4.0f, 8.0f}, octave[3] = {3.0f, 6.0f, 12.0f}, a[18];
    // The values written from aps[0] = 0 on, and nothing behind them.
    const auto writes = [&a](std::vector<float> values, int first, int last, float top, QV_DAC_OUTPUT_BANDTYPE type,
                             float* bands, int count, float ramp) {
        numora_test::FillSentinel(a, 18);
        a[0] = 0.0f;
        APSCreateBand(a, 0, first, last, 10.0f, top, type, bands, count, ramp);
        const int n = static_cast<int>(values.size());
        return BitEqual(values.data(), a, n) && numora_test::HoldsSentinel(a + n, 18 - n);
    };
    // Linear: (10 - 2) / 2 + 1 = 5 lines a band, ramps 2 and 5 * 0.5; counter 11 is the last written.
    const float t = 4.0f / 3.0f;
    EXPECT_TRUE(writes({0, 0, t, 2.0f * t, 4, 4, 4, t + 4.0f, 2.0f * t + 4.0f, 8, 8, 8}, 2, 10, 0.0f,
                       QV_DAC_BAND_LINEAR, levels, 2, 0.5f));
    // (10 - 1) / 2 + 1 = 5 lines again; a later linear ramp may be 0 lines (5 * 0.1).
    EXPECT_TRUE(writes({0, t, 2.0f * t, 4, 4, 4, 8, 8, 8, 8, 8}, 1, 10, 0.0f, QV_DAC_BAND_LINEAR, levels, 2, 0.1f));
    // Octave: 0-20, 20-40, 40-80 Hz at 10 Hz lines give 3, 3 and 5 lines with
    // ramps 2, 1 and 2; the last level holds up to lastLine - 1. With firstLine
    // 0 the first ramp starts from aps[0]. At 0.2 the octave ramps below 1 line
    // are 2 lines (3 * 0.2 in the first two bands).
    EXPECT_TRUE(writes({0, 1, 2, 3, 4.5f, 6, 6, 8, 10, 12, 12, 12, 12, 12, 12, 12}, 0, 15, 80.0f, QV_DAC_BAND_OCTAVE,
                       octave, 3, 0.5f));
    EXPECT_TRUE(
        writes({0, 1, 2, 3, 4, 5, 6, 9, 12, 12, 12, 12, 12}, 0, 12, 80.0f, QV_DAC_BAND_OCTAVE, octave, 3, 0.2f));
    numora_test::FailAllocation(1);  // no scratch: only the lines below firstLine are written
    EXPECT_TRUE(writes({0, 0, 0}, 3, 10, 0.0f, QV_DAC_BAND_LINEAR, levels, 2, 0.5f));
    EXPECT_TRUE(writes({0, 0, 0, 0}, 0, 3, 0.0f, QV_DAC_BAND_LINEAR, levels, 0, 0.5f));  // no bands: the hold only
}

TEST(Calc_Table_Curves, InterpolatesSegmentsTakesLimitsFromTheUpperPointAndEndsOnTheLast)
{
    // Three points: 3-10 Hz straight on log-log axes, 10-149 Hz linear (segment
    // type 0 is never read); level, limit 1 and limit 2 in dB at each point.
    static ref_tag t{{7, 7, 7}, 3, {7, 7, 7, 7}, {9, 1, 0}, {3, 10, 149}, {7, 7, 7},
                     {1.5f, 16, 7}, {0, 6, 6.5f}, {7, 7, 7}, {0, -1, 20}};
    // Logarithmic spacing (any bit but bit 1): F0 * 2^(m * step), the octaves
    // from a float ratio rounded to float before the division by count - 1;
    // the last frequency overshoots 149 in float and is held there.
    float freq[20], level[20], lim1[20], lim2[20];
    Calc_Table_Curves(&t, level, lim1, lim2, freq, 8, 5);
    const float step = static_cast<float>(std::log(static_cast<double>(149.0f / 3.0f)) / std::log(2.0)) / 7.0f;
    const auto at = [step](int m) { return static_cast<float>(std::pow(2.0, double(float(m) * step))) * 3.0f; };
    EXPECT_TRUE(freq[0] == 3.0f && freq[1] == at(1) && at(7) > 149.0f && freq[7] == 149.0f);
    // Below 10 Hz the slope in dB per octave from float ratios, rounded to float.
    const double octave = std::log10(2.0);
    const float slope = static_cast<float>(20.0 * std::log10(static_cast<double>(16.0f / 1.5f)) /
                                           (std::log10(static_cast<double>(10.0f / 3.0f)) / octave));
    EXPECT_EQ(static_cast<float>(std::pow(double(freq[2]) / 3.0, double(slope) / (20.0 * octave)) * 1.5), level[2]);
    // 0 dB switches limit 1 off and limit 2 on; inside a segment the upper
    // point's dB hold; dB / 20 is taken in float.
    const float up6 = static_cast<float>(std::pow(10.0, static_cast<double>(6.0f / 20.0f)));
    const float up65 = static_cast<float>(std::pow(10.0, static_cast<double>(6.5f / 20.0f)));
    EXPECT_TRUE(lim1[0] == 1e-30f && lim2[0] == 1.5f && lim1[2] == up6 * level[2] && lim2[2] == 1e-30f);
    EXPECT_TRUE(lim1[7] == up65 * 7.0f && lim2[7] == 70.0f && lim2[5] == 10.0f * level[5]);
    // Linear spacing (2): F0 + m * step, and linear interpolation above 10 Hz.
    Calc_Table_Curves(&t, level, lim1, lim2, freq, 20, 2);
    EXPECT_EQ(7.0f * (146.0f / 19.0f) + 3.0f, freq[7]);
    EXPECT_EQ((freq[7] - 10.0f) * ((7.0f - 16.0f) / 139.0f) + 16.0f, level[7]);  // the slope first
    // count 1 reads its frequency; a NaN lies in no segment.
    freq[0] = std::nanf("");
    Calc_Table_Curves(&t, level, lim1, lim2, freq, 1, 0);
    EXPECT_TRUE(level[0] == 1e-30f && lim1[0] == 1e-30f && lim2[0] == 1e-30f);
}
