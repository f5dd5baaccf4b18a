#include "numora/drive/profiles.h"

#include <cmath>
#include <cstring>
#include <vector>

#include "tests/support/support.h"

using namespace qv::math;
using numora_test::BitEqual;
using numora_test::FillSentinel;
using numora_test::HoldsSentinel;

namespace {

// Gain of a skirt at k octaves-ratio k / c: 10^(octaves * slope / 20), rounded to float.
float Gain(int k, int c, double slope)
{
    return static_cast<float>(std::pow(10.0, std::log10(double(k) / c) / 0.3010299956639812 * slope / 20.0));
}

}  // namespace

TEST(APSCreateFlat, ZeroAtDcLevelUpToMaxLineZeroAbove)
{
    float a[10];
    FillSentinel(a, 10);
    APSCreateFlat(a, 8, 5, 2.5f);
    const float expected[8] = {0, 2.5f, 2.5f, 2.5f, 2.5f, 2.5f, 0, 0};
    EXPECT_TRUE(BitEqual(expected, a, 8));
    EXPECT_TRUE(HoldsSentinel(a + 8, 2));

    FillSentinel(a, 10);
    APSCreateFlat(a, 4, 7, 1.0f);  // maxLine beyond n - 1: the levels go on, no tail
    EXPECT_TRUE(a[0] == 0.0f && a[7] == 1.0f && HoldsSentinel(a + 8, 2));
    APSCreateFlat(a, 6, -1, 1.0f);  // no line in the test: all zero
    EXPECT_TRUE(a[0] == 0.0f && a[1] == 0.0f && a[5] == 0.0f && a[6] == 1.0f);
}

TEST(APSCreateFall, FallsSixDbPerOctaveInTheAmplitudeSenseUpToAndWithMaxLine)
{
    std::vector<float> a(120);
    FillSentinel(a.data(), 120);
    APSCreateFall(a.data(), 110, 100, 1.0f, 10, -6.0f);
    EXPECT_EQ(1.0f, a[9]);
    EXPECT_EQ(1.0f, a[10]);                  // the corner itself: gain exactly 1
    EXPECT_NEAR(0.501187, a[20], 1e-6);      // 10^(-6/20): the divisor is 20
    EXPECT_NEAR(0.251189, a[40], 1e-6);
    for (int k = 10; k <= 100; ++k)          // the skirt includes maxLine
        ASSERT_EQ(Gain(k, 10, -6.0), a[k]) << k;
    EXPECT_TRUE(a[101] == 0.0f && a[109] == 0.0f && HoldsSentinel(&a[110], 10));

    // A corner of 0 counts as 1; a positive slope rises.
    APSCreateFall(a.data(), 110, 100, 2.0f, 0, 3.0f);
    EXPECT_EQ(2.0f, a[1]);
    EXPECT_EQ(2.0f * Gain(64, 1, 3.0), a[64]);
    EXPECT_NEAR(2.0 * std::pow(10.0, 18.0 / 20.0), a[64], 1e-5);
}

TEST(APSCreateRise, AttenuatesBelowTheCornerAndLeavesTheRestAlone)
{
    float a[40];
    APSCreateRise(a, 40, 30, 4.0f, 16, -6.0f);
    EXPECT_EQ(0.0f, a[0]);
    EXPECT_EQ(4.0f * Gain(8, 16, 6.0), a[8]);  // one octave below: -6 dB as the fall's +6 at 2c
    EXPECT_NEAR(4.0 * std::pow(10.0, -6.0 / 20.0), a[8], 1e-6);
    EXPECT_NEAR(4.0 * std::pow(10.0, -24.0 / 20.0), a[1], 1e-6);
    EXPECT_TRUE(a[16] == 4.0f && a[17] == 4.0f && a[30] == 4.0f && a[31] == 0.0f);

    APSCreateRise(a, 40, 30, 4.0f, 0, -6.0f);  // corner 0 is line 1, multiplied by exactly 1
    for (int k = 1; k <= 30; ++k)
        ASSERT_EQ(4.0f, a[k]);
    APSAddRise(a, 40, 30, -3, -6.0);           // a negative corner does nothing
    APSAddFall(a, 40, 30, -3, -6.0);
    EXPECT_EQ(4.0f, a[1]);
}

TEST(APSCreateRiseFall, OverlappingSkirtsMultiplyRiseFirst)
{
    float a[64];
    APSCreateRiseFall(a, 64, 60, 3.0f, 32, -3.0f, 8, -9.0f);
    EXPECT_EQ(3.0f * Gain(4, 32, 3.0), a[4]);                        // rise only
    EXPECT_EQ(3.0f * Gain(16, 32, 3.0) * Gain(16, 8, -9.0), a[16]);  // both, rise first
    EXPECT_EQ(3.0f * Gain(50, 8, -9.0), a[50]);                      // fall only
}

TEST(APSCreateFlatBand, EdgesRoundOutwardAndStayWithinLinesOneToMaxLine)
{
    float a[12];
    FillSentinel(a, 12);
    APSCreateFlatBand(a, 10, 8, 10.0f, 2.0f, 25.0f, 44.0f);  // lines 2 (floor 2.5) to 5 (ceil 4.4)
    const float band[10] = {0, 0, 2, 2, 2, 2, 0, 0, 0, 0};
    EXPECT_TRUE(BitEqual(band, a, 10));
    EXPECT_TRUE(HoldsSentinel(a + 10, 2));

    APSCreateFlatBand(a, 10, 8, 10.0f, 2.0f, 0.0f, 500.0f);  // never line 0, never past maxLine
    const float wide[10] = {0, 2, 2, 2, 2, 2, 2, 2, 2, 0};
    EXPECT_TRUE(BitEqual(wide, a, 10));

    // Outside level is level * 10^(dB / 10), line 0 included; a reversed band is all outside.
    const float outside = 2.0f * static_cast<float>(std::pow(10.0, -2.0));
    APSCreateFlatBand(a, 10, 8, 10.0f, 2.0f, 25.0f, 44.0f, -20.0f);
    const float skirt[10] = {outside, outside, 2, 2, 2, 2, outside, outside, outside, outside};
    EXPECT_TRUE(BitEqual(skirt, a, 10));
    APSCreateFlatBand(a, 10, 8, 10.0f, 2.0f, 60.0f, 40.0f, -20.0f);
    for (int k = 0; k < 10; ++k)
        ASSERT_EQ(outside, a[k]);
    APSCreateFlatBand(a, 10, 0, 10.0f, 2.0f, 0.0f, 40.0f);  // maxLine 0: no line for a band
    for (int k = 0; k < 10; ++k)
        ASSERT_EQ(0.0f, a[k]);
}

TEST(APSCreateShape, InterpolatesBetweenCornersAtAccumulatedLineFrequencies)
{
    QV_CORNER corners[3] = {{10.0f, 1.0f}, {50.0f, 5.0f}, {70.0f, 1.0f}};
    float a[12];
    FillSentinel(a, 12);
    APSCreateShape(a, 10, 8, 10.0f, corners, 2);
    const float two[10] = {0, 1, 2, 3, 4, 5, 0, 0, 0, 0};  // on the last corner: L1; above it: 0
    EXPECT_TRUE(BitEqual(two, a, 10));
    EXPECT_TRUE(HoldsSentinel(a + 10, 2));
    APSCreateShape(a, 10, 8, 10.0f, corners, 3);
    const float three[10] = {0, 1, 2, 3, 4, 5, 3, 1, 0, 0};
    EXPECT_TRUE(BitEqual(three, a, 10));

    // 0.1 Hz lines: frequencies are the running float sum, not k * 0.1f.
    QV_CORNER ramp[2] = {{0.0f, 0.0f}, {100.0f, 100.0f}};
    std::vector<float> b(1001);
    APSCreateShape(b.data(), 1001, 1000, 0.1f, ramp, 2);
    float f = 0.0f;
    int differing = 0;
    for (int k = 1; k <= 1000; ++k) {
        f += 0.1f;
        const float expected = f <= 100.0f ? f / 100.0f * 100.0f : 0.0f;
        ASSERT_EQ(expected, b[k]) << k;
        differing += static_cast<float>(k) * 0.1f != f;
    }
    EXPECT_GT(differing, 0);

    APSCreateShape(a, 10, 8, 10.0f, corners, 1);  // one corner: flat at its level
    EXPECT_TRUE(a[0] == 0.0f && a[1] == 1.0f && a[8] == 1.0f && a[9] == 0.0f);
    APSCreateShape(a, 10, 8, 10.0f, corners, 0);  // none: all zero
    for (int k = 0; k < 10; ++k)
        ASSERT_EQ(0.0f, a[k]);
}

TEST(APSCreateBand, LinearBandsRampThenHoldAndStopOneLinePastLastLine)
{
    // (10 - 2) / 2 + 1 = 5 lines per band; ramps of 2 (first band) and 5 * 0.5.
    float levels[2] = {4.0f, 8.0f};
    float a[14];
    FillSentinel(a, 14);
    APSCreateBand(a, 0, 2, 10, 10.0f, 0.0f, QV_DAC_BAND_LINEAR, levels, 2, 0.5f);
    const float third = 4.0f / 3.0f;
    const float expected[12] = {0, 0, third, 2.0f * third, 4, 4, 4, third + 4.0f, 2.0f * third + 4.0f, 8, 8, 8};
    EXPECT_TRUE(BitEqual(expected, a, 12));  // counter 11 = lastLine + 1 is the last written
    EXPECT_TRUE(HoldsSentinel(a + 12, 2));

    // firstLine <= 0: ramp from aps[0] as the caller left it, writing from position 1.
    float b[7] = {3.0f};
    FillSentinel(b + 1, 6);
    float one[1] = {6.0f};
    APSCreateBand(b, 0, 0, 3, 10.0f, 0.0f, QV_DAC_BAND_LINEAR, one, 1, 0.5f);
    const float fromCaller[5] = {3, 4, 5, 6, 6};
    EXPECT_TRUE(BitEqual(fromCaller, b, 5));
    EXPECT_TRUE(HoldsSentinel(b + 5, 2));
}

TEST(APSCreateBand, OctaveBandsHalveDownToZeroAndTheLastLevelHolds)
{
    // Bands 0-20, 20-40, 40-80 Hz at 10 Hz lines: 3, 3 and 5 lines; ramps 2
    // (first band), 1 (3 * 0.5) and 2 (5 * 0.5); then level 12 up to lastLine - 1.
    float levels[3] = {3.0f, 6.0f, 12.0f};
    float a[18];
    FillSentinel(a, 18);
    APSCreateBand(a, 0, 1, 16, 10.0f, 80.0f, QV_DAC_BAND_OCTAVE, levels, 3, 0.5f);
    const float expected[16] = {0, 1, 2, 3, 4.5f, 6, 6, 8, 10, 12, 12, 12, 12, 12, 12, 12};
    EXPECT_TRUE(BitEqual(expected, a, 16));
    EXPECT_TRUE(HoldsSentinel(a + 16, 2));

    // rampFraction 0.25: band 1 would ramp 0 lines and takes 2; band 2 ramps 1.
    FillSentinel(a, 18);
    APSCreateBand(a, 0, 1, 9, 10.0f, 80.0f, static_cast<QV_DAC_OUTPUT_BANDTYPE>(7), levels, 3, 0.25f);
    const float quarter[11] = {0, 1, 2, 3, 4, 5, 6, 9, 12, 12, 12};
    EXPECT_TRUE(BitEqual(quarter, a, 11));  // counter 10 = lastLine + 1 written, then the stop
    EXPECT_TRUE(HoldsSentinel(a + 11, 7));
}

TEST(APSCreateBand, FailedScratchAllocationZeroesOnlyBelowFirstLine)
{
    float levels[2] = {4.0f, 8.0f};
    for (std::size_t failing = 0; failing < 2; ++failing) {
        float a[14];
        FillSentinel(a, 14);
        numora_test::FailAllocation(failing);
        APSCreateBand(a, 0, 3, 10, 10.0f, 0.0f, QV_DAC_BAND_LINEAR, levels, 2, 0.5f);
        EXPECT_TRUE(a[0] == 0.0f && a[2] == 0.0f && HoldsSentinel(a + 3, 11)) << failing;
    }
}

TEST(APSScarifyMin, KeepsTheLowerEnvelopeOfEachWindowAndZeroesTheRest)
{
    float a[5] = {5, 3, 4, 1, 2};
    APSScarifyMin(a, 5, 1);
    APSScarifyMin(a, 0, 2);
    const float same[5] = {5, 3, 4, 1, 2};
    EXPECT_TRUE(BitEqual(same, a, 5));
    APSScarifyMin(a, 5, 2);  // windows 0-1, 1-3, 3-4 of the original values
    const float halved[5] = {3, 1, 1, 0, 0};
    EXPECT_TRUE(BitEqual(halved, a, 5));

    float b[8] = {9, 8, 7, 6, 5, 4, 3, 2};
    APSScarifyMin(b, 8, 4);  // h = 2: windows 0-2, 2-6
    const float quartered[8] = {7, 3, 0, 0, 0, 0, 0, 0};
    EXPECT_TRUE(BitEqual(quartered, b, 8));
}

namespace {

ref_tag MakeTable()
{
    ref_tag t;
    std::memset(&t, 0xA5, sizeof t);  // unread fields hold junk
    t.numPoints = 3;
    const float f[3] = {10.0f, 100.0f, 200.0f}, l[3] = {1.0f, 100.0f, 300.0f};
    const float l1[3] = {0.0f, 6.0f, 6.5f}, l2[3] = {0.0f, -1.0f, 20.0f};
    const int type[3] = {12345, 1, 0};  // entry 0 is not read
    for (int i = 0; i < 3; ++i) {
        t.frequency[i] = f[i];
        t.level[i] = l[i];
        t.limit1Db[i] = l1[i];
        t.limit2Db[i] = l2[i];
        t.segmentType[i] = type[i];
    }
    return t;
}

}  // namespace

TEST(Calc_Table_Curves, LinearSpacingInterpolatesLinearAndLogLogSegments)
{
    ref_tag t = MakeTable();
    float freq[20], level[20], lim1[20], lim2[20];
    Calc_Table_Curves(&t, level, lim1, lim2, freq, 20, 2);  // 2 is linear too
    const float step = 190.0f / 19.0f;
    for (int j = 0; j < 20; ++j)
        ASSERT_EQ(j == 0 ? 10.0f : static_cast<float>(j) * step + 10.0f, freq[j]);
    // 10 to 100 Hz, level 1 to 100: straight on log-log axes, so (f / 10)^2.
    for (int j = 0; j < 10; ++j)
        EXPECT_NEAR(static_cast<double>(freq[j]) * static_cast<double>(freq[j]) / 100.0, level[j], 3e-6 * static_cast<double>(level[j])) << j;
    // 100 to 200 Hz, linear: 100 + 2 (f - 100); at 200 the point itself.
    for (int j = 10; j < 20; ++j)
        EXPECT_EQ((freq[j] - 100.0f) * (200.0f / 100.0f) + 100.0f, level[j]) << j;
    EXPECT_EQ(300.0f, level[19]);

    // Limits: the segment's upper point rules inside it (no interpolation);
    // limit1 needs dB > 0, limit2 dB >= 0; otherwise the floor.
    EXPECT_EQ(1e-30f, lim1[0]);                                   // point 0: 0 dB switches limit 1 off
    EXPECT_EQ(level[0], lim2[0]);                                 // and limit 2 on, at v itself
    const float up6 = static_cast<float>(std::pow(10.0, static_cast<double>(6.0f / 20.0f)));
    EXPECT_EQ(up6 * level[5], lim1[5]);                           // inside segment 1: point 1's 6 dB
    EXPECT_EQ(1e-30f, lim2[5]);
    const float up65 = static_cast<float>(std::pow(10.0, static_cast<double>(6.5f / 20.0f)));  // dB / 20 in float
    EXPECT_EQ(up65 * level[15], lim1[15]);
    EXPECT_EQ(up65 * 300.0f, lim1[19]);
    EXPECT_EQ(10.0f * level[15], lim2[15]);
}

TEST(Calc_Table_Curves, LogarithmicSpacingEndsExactlyOnTheLastPoint)
{
    ref_tag t = MakeTable();
    t.numPoints = 2;
    t.frequency[1] = 9.0f;
    t.frequency[0] = 1.0f;
    t.segmentType[1] = 0;
    float freq[4], level[4], lim1[4], lim2[4];
    Calc_Table_Curves(&t, level, lim1, lim2, freq, 4, 1);
    // step = log2(9) / 3; 2^(3 * step) overshoots 9 in float, the limit pulls it back.
    const float step = static_cast<float>(std::log(9.0) / std::log(2.0)) / 3.0f;
    ASSERT_GT(static_cast<float>(std::pow(2.0, static_cast<double>(3.0f * step))), 9.0f);
    EXPECT_EQ(1.0f, freq[0]);
    EXPECT_EQ(static_cast<float>(std::pow(2.0, static_cast<double>(step))), freq[1]);
    EXPECT_NEAR(std::cbrt(81.0), freq[2], 1e-5);
    EXPECT_EQ(9.0f, freq[3]);
    EXPECT_EQ(100.0f, level[3]);  // on the last point: its level
    for (int spacing : {3, 4, 6})  // any bit other than bit 1 is logarithmic
    {
        float f2[4];
        Calc_Table_Curves(&t, level, lim1, lim2, f2, 4, spacing);
        EXPECT_TRUE(BitEqual(freq, f2, 4)) << spacing;
    }
}

TEST(Calc_Table_Curves, OutsideTheTableEverythingIsTheFloor)
{
    ref_tag t = MakeTable();
    float freq[3] = {5.0f, 0.0f, 0.0f}, level[3], lim1[3], lim2[3];
    Calc_Table_Curves(&t, level, lim1, lim2, freq, 1, 0);  // one frequency, read from freq[0]
    EXPECT_TRUE(freq[0] == 5.0f && level[0] == 1e-30f && lim1[0] == 1e-30f && lim2[0] == 1e-30f);
    freq[0] = 200.5f;
    Calc_Table_Curves(&t, level, lim1, lim2, freq, 1, 0);
    EXPECT_EQ(1e-30f, level[0]);
    freq[0] = 200.0f;
    Calc_Table_Curves(&t, level, lim1, lim2, freq, 1, 0);
    EXPECT_EQ(300.0f, level[0]);

    t.numPoints = 1;  // a single point is no table: floor everywhere, frequencies still written
    FillSentinel(freq, 3);
    Calc_Table_Curves(&t, level, lim1, lim2, freq, 3, 0);
    for (int j = 0; j < 3; ++j)
        EXPECT_TRUE(freq[j] == 10.0f && level[j] == 1e-30f && lim1[j] == 1e-30f && lim2[j] == 1e-30f);

    FillSentinel(freq, 3);
    Calc_Table_Curves(&t, level, lim1, lim2, freq, 0, 0);  // no count: nothing
    EXPECT_TRUE(HoldsSentinel(freq, 3));
}
