#include "numora/spectrum/rms.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <numeric>
#include <vector>

#include "tests/support/support.h"

using namespace qv::math;

namespace {

// Entry i holds 2^i: every set of lines has its own sum, so a result pins the range summed.
const float kPow2[] = {1, 2, 4, 8, 16, 32, 64, 128, 256};
const complex kPow2Lines[] = {{1, 0}, {2, 0}, {4, 0}, {8, 0}, {16, 0}, {32, 0}, {64, 0}, {128, 0}, {256, 0}};

float Root(double power) { return static_cast<float>(std::sqrt(power)); }

TEST(RmsFft, WholeSpectrumCountsFromLineOneAndBandsTakeTheRangeAsGiven)
{
    // A count of 3 sums lines 1 and 2; a last line of 3 sums 1, 2 and 3.
    EXPECT_EQ(Root(4.0 + 16.0), RMS_FFT(kPow2Lines, 3, 0.5f));
    EXPECT_EQ(std::sqrt(2.0 + 4.0 + 8.0), RMS_APS(kPow2, 3));
    EXPECT_EQ(1.0f, RMS_FFT_BLIM(kPow2Lines, 0, 0, 0.5f));
    EXPECT_EQ(0.0f, RMS_FFT_BLIM(kPow2Lines, 5, 4, 0.5f));
    EXPECT_EQ(0.0f, RMS_FFT(nullptr, 8, 0.5f));
    const double pairs[] = {9.0, 9.0, 3.0, 4.0, 0.0, 12.0};
    EXPECT_EQ(13.0, RMS_FFT(pairs, 3));
    // The mean divides by the number of lines 1 to 4; nothing for first > last.
    EXPECT_EQ(static_cast<float>(std::sqrt(340.0) / 4.0), MEAN_FFT(kPow2Lines, 1, 4));
    EXPECT_EQ(0.0f, MEAN_FFT(kPow2Lines, 4, 1));
}

TEST(RmsPrecision, PowersInFloatSumInDoubleAndPeakCorrectionOnlyAtScaleOne)
{
    // A power formed in double would round this line to 0x1.7d5f5cp+0.
    const complex line{0x1.467c8p-4f, 0x1.7cd382p+0f};
    EXPECT_EQ(0x1.7d5f5ap+0f, RMS_FFT_BLIM(&line, 0, 0, 0.5f));
    // 1.1^2 rounded in float, plus a 2^-26 that a float sum would lose.
    const float frq[] = {9.0f, 1.1f, 0x1p-13f};
    EXPECT_EQ(std::sqrt(static_cast<double>(frq[1] * frq[1]) + 0x1p-26), RMS_FRQ(frq, 2));
    // df * x in double would round this line to 0x1.4bb882p-1.
    const float psd[] = {9.0f, 0x1.6632ep+0f};
    EXPECT_EQ(0x1.4bb884p-1f, RMS_PSD(psd, 1, 0.3f));
    // The nine-digit constant: the product with the root of one half would round elsewhere here.
    const complex fft[] = {{0, 0}, {0, 0}, {1.0546875f, 0}, {0, 0}};
    EXPECT_EQ(static_cast<float>(1.0546875 * 0.707106781), RMS_FFT(fft, 4, 1.0f));
    EXPECT_EQ(1.0546875f, RMS_FFT(fft, 4, std::nextafter(1.0f, 2.0f)));
}

TEST(RmsOutside, SumsBelowThenAboveTheBandWithCountAsEnd)
{
    EXPECT_EQ(Root(2.0 + 4.0 + 64.0 + 128.0), RMS_PSD_BLIM_Out(kPow2, 3, 5, 8, 1.0f));
    EXPECT_EQ(Root(4.0 + 16.0 + 4096.0 + 16384.0), RMS_FFT_BLIM_Out(kPow2Lines, 3, 5, 8, 0.5f));
    // One accumulator across both parts: the 1 survives only if the upper
    // part is added onto the lower part's sum, not summed on its own first.
    const float psd[] = {0, 0x1p60f, 0, 0, 0, 0, -0x1p60f, 1};
    EXPECT_EQ(1.0f, RMS_PSD_BLIM_Out(psd, 2, 5, 8, 1.0f));
}

TEST(RmsBand, FrequencyEdgesRoundToNearestLineClampSaturateAndTakeNaNAsZero)
{
    auto psdBand = [](int first, int last) { return RMS_PSD_BLIM(kPow2, first, last, 1.0f); };
    EXPECT_EQ(psdBand(1, 4), RMS_PSD_BLIMF(kPow2, 0.0f, 4.49f, 7, 1.0f));
    EXPECT_EQ(psdBand(2, 7), RMS_PSD_BLIMF(kPow2, 1.5f, 1e30f, 7, 1.0f));
    EXPECT_EQ(psdBand(1, 4), RMS_PSD_BLIMF(kPow2, NAN, 4.49f, 7, 1.0f));
    EXPECT_EQ(0.0f, RMS_PSD_BLIMF(kPow2, 0.0f, 0.4f, 7, 1.0f));
    // 0.49999997f + 0.5f rounds to 1 in float before the truncation.
    EXPECT_EQ(psdBand(1, 1), RMS_PSD_BLIMF(kPow2, 0.0f, 0.49999997f, 7, 1.0f));

    auto fftBand = [](int first, int last) { return RMS_FFT_BLIM(kPow2Lines, first, last, 0.5f); };
    EXPECT_EQ(fftBand(1, 7), RMS_FFT_BLIMF(kPow2Lines, -30.0f, 1e30f, 8, 1.0f, 0.5f));
    EXPECT_EQ(fftBand(1, 6), RMS_FFT_BLIMF(kPow2Lines, NAN, 64.9f, 7, 10.0f, 0.5f));

    // Power spectra round in double, halves away from zero.
    const std::vector<double> aps(kPow2, kPow2 + 9);
    EXPECT_EQ(RMS_APS_BLIM(aps.data(), 1, 7), RMS_APS_BLIMF(aps.data(), 0.0, 1e9, 7, 10.0));
    EXPECT_EQ(RMS_APS_BLIM(kPow2, 3, 5), RMS_APS_BLIMF(kPow2, 25.0, 54.0, 7, 10.0));
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

TEST(RmsPsdComb, TakesReferenceShiftedByLevelWhereUnmeasured)
{
    const float r[] = {3.0f, 5.0f, 7.0f, 9.0f, 11.0f, 13.0f, 17.0f, 19.0f};
    const int mixed[] = {0, 7, 0, 0, -1, 0, 0, 0};
    EXPECT_EQ(Root(0.5 * (2.0 + 70.0 + 90.0 + 16.0 + 130.0 + 170.0)),
              RMS_PSD_BLIM_Comb(kPow2, r, 10.0f, mixed, 1, 6, 0.5f));
    // Single lines where a float gain (powf) or a double v * df would round
    // the result elsewhere (to 0x1.c11966p-3 and 0x1.4bb882p-1).
    const float one[] = {0x1.eb465ep+0f, 0x1.6632ep+0f};
    const int flags[] = {0, 1};
    EXPECT_EQ(0x1.c11964p-3f, RMS_PSD_BLIM_Comb(one, one, -0x1.3fae14p+3f, flags, 0, 0, 0.25f));
    EXPECT_EQ(0x1.4bb884p-1f, RMS_PSD_BLIM_Comb(one, one, 0.0f, flags, 1, 1, 0.3f));
}

TEST(RmsTim, DoubleDifferencesInRmsTimFloatDifferencesInStat)
{
    const std::vector<float> x = numora_test::RandomFloats(333, 9);
    const float mean = static_cast<float>(std::accumulate(x.begin(), x.end(), 0.0) / 333.0);
    double sumD = 0.0, sumF = 0.0;
    for (float v : x) {
        const double d = static_cast<double>(v) - static_cast<double>(mean), f = static_cast<double>(v - mean);
        sumD += d * d;
        sumF += f * f;
    }
    EXPECT_EQ(std::sqrt(sumD / 333.0), RMS_TIM(x.data(), 333));
    EXPECT_EQ(std::sqrt(sumD / 332.0), RMS_TIM(x.data(), 333, static_cast<double>(mean), 1));
    float lo = 0.0f, hi = 0.0f, m = 0.0f, ms = 0.0f;
    EXPECT_EQ(std::sqrt(sumF / 333.0), RMS_TIM_Stat(x.data(), 333, lo, hi, m, ms));
    EXPECT_TRUE(lo == *std::min_element(x.begin(), x.end()) && hi == *std::max_element(x.begin(), x.end()));
    // One sample: the unbiased 0 / 0 gives 0. No samples: zero extremes, the means left alone.
    EXPECT_EQ(0.0, RMS_TIM(x.data(), 1, static_cast<double>(x[0]), 1));
    numora_test::FillSentinel(&m, 1);
    numora_test::FillSentinel(&ms, 1);
    EXPECT_EQ(0.0, RMS_TIM_Stat(x.data(), 0, lo, hi, m, ms));
    EXPECT_TRUE(lo == 0.0f && hi == 0.0f && numora_test::HoldsSentinel(&m, 1) && numora_test::HoldsSentinel(&ms, 1));
}

}  // namespace
