#include "numora/spectrum/rms.h"

#include <climits>
#include <cmath>
#include <vector>

#include "tests/support/support.h"

using namespace qv::math;

namespace {

// Entry i holds 2^i: every set of lines has its own sum, so a result pins the range summed.
const float kPow2[] = {1, 2, 4, 8, 16, 32, 64, 128, 256};
const complex kPow2Lines[] = {{1, 0}, {2, 0}, {4, 0}, {8, 0}, {16, 0}, {32, 0}, {64, 0}, {128, 0}, {256, 0}};

float Root(double power) { return static_cast<float>(std::sqrt(power)); }

TEST(RmsLines, EachFormSumsTheLinesItNamesInOneAccumulator)
{
    // A count of 3 sums lines 1 and 2; a last line of 3 sums 1, 2 and 3.
    EXPECT_EQ(Root(4.0 + 16.0), RMS_FFT(kPow2Lines, 3, 0.5f));
    EXPECT_EQ(std::sqrt(2.0 + 4.0 + 8.0), RMS_APS(kPow2, 3));
    EXPECT_EQ(Root(2.0 + 4.0 + 64.0 + 128.0), RMS_PSD_BLIM_Out(kPow2, 3, 5, 8, 1.0f));
    // One accumulator across both parts: the 1 survives only if the upper
    // part is added onto the lower part's sum, not summed on its own first.
    const float psd[] = {0, 0x1p60f, 0, 0, 0, 0, -0x1p60f, 1};
    EXPECT_EQ(1.0f, RMS_PSD_BLIM_Out(psd, 2, 5, 8, 1.0f));
    // The nine-digit constant corrects a peak scaling of exactly 1 only: the
    // product with the root of one half would round elsewhere here.
    const complex fft[] = {{0, 0}, {0, 0}, {1.0546875f, 0}, {0, 0}};
    EXPECT_EQ(static_cast<float>(1.0546875 * 0.707106781), RMS_FFT(fft, 4, 1.0f));
    EXPECT_EQ(1.0546875f, RMS_FFT(fft, 4, std::nextafter(1.0f, 2.0f)));
}

TEST(RmsBand, FrequencyEdgesRoundInTheirTwinsPrecisionAndStayInsideTheSpectrum)
{
    // 0.49999997f + 0.5f rounds to 1 in float before the truncation.
    EXPECT_EQ(RMS_PSD_BLIM(kPow2, 1, 1, 1.0f), RMS_PSD_BLIMF(kPow2, 0.0f, 0.49999997f, 7, 1.0f));
    // Power spectra round in double: 0 Hz starts at line 1, an edge above the
    // spectrum stops at its last line, a band below line 1 is empty.
    const std::vector<double> aps(kPow2, kPow2 + 9);
    EXPECT_EQ(RMS_APS_BLIM(aps.data(), 1, 7), RMS_APS_BLIMF(aps.data(), 0.0, 1e9, 7, 10.0));
    EXPECT_EQ(0.0, RMS_APS_BLIMF(aps.data(), 0.0, 4.0, 7, 10.0));
}

TEST(RmsBand, LineArgumentsAtTheEndsOfTheIntRangeReadNothing)
{
    // The entry before the spectrum is huge, so reading it would show.
    const float guarded[] = {1e30f, 1.0f, 2.0f, 4.0f};
    const double guardedD[] = {1e300, 1.0, 2.0, 4.0};
    for (int lastLine : {-1, -1000, INT_MIN}) {
        EXPECT_EQ(0.0, RMS_APS_BLIMF(guarded + 1, 0.0, 1e9, lastLine, 1.0));
        EXPECT_EQ(0.0, RMS_APS_BLIMF(guardedD + 1, 0.0, 1e9, lastLine, 1.0));
    }
    // Counts of INT_MIN sum nothing; bounds beyond the spectrum on the open
    // side of a band leave that part empty.
    EXPECT_EQ(0.0f, RMS_FFT(kPow2Lines, INT_MIN, 0.5f));
    EXPECT_EQ(0.0f, RMS_FFT_BLIMF(kPow2Lines, 0.0f, 1e30f, INT_MIN, 1.0f, 0.5f));
    EXPECT_EQ(0.0f, RMS_FFT_BLIM_Out(kPow2Lines, INT_MIN, INT_MAX, INT_MIN, 0.5f));
    EXPECT_EQ(0.0f, RMS_PSD_BLIM_Out(kPow2, INT_MIN, INT_MAX, 8, 1.0f));
    EXPECT_EQ(Root(2.0), RMS_PSD_BLIM_Out(kPow2, 2, INT_MAX, INT_MIN, 1.0f));
}

TEST(RmsTim, DoubleDifferencesInRmsTimFloatDifferencesInStat)
{
    // The float mean is 0.5; 2^-30 - 0.5 keeps its 2^-30 in double only.
    const float x[] = {1.0f, 0x1p-30f};
    const double sumD = 0.25 + (0.5 - 0x1p-30) * (0.5 - 0x1p-30);
    EXPECT_EQ(std::sqrt(sumD / 2.0), RMS_TIM(x, 2));
    EXPECT_EQ(std::sqrt(sumD), RMS_TIM(x, 2, 0.5, 1));
    float lo = 0.0f, hi = 0.0f, m = 0.0f, ms = 0.0f;
    EXPECT_EQ(0.5, RMS_TIM_Stat(x, 2, lo, hi, m, ms));
    EXPECT_TRUE(lo == 0x1p-30f && hi == 1.0f && m == 0.5f);
    // One sample: the unbiased 0 / 0 gives 0. No samples: zero extremes, the means left alone.
    EXPECT_EQ(0.0, RMS_TIM(x, 1, static_cast<double>(x[0]), 1));
    numora_test::FillSentinel(&m, 1);
    numora_test::FillSentinel(&ms, 1);
    EXPECT_EQ(0.0, RMS_TIM_Stat(x, 0, lo, hi, m, ms));
    EXPECT_TRUE(lo == 0.0f && hi == 0.0f && numora_test::HoldsSentinel(&m, 1) && numora_test::HoldsSentinel(&ms, 1));
}

}  // namespace
