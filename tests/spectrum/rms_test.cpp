#include "numora/spectrum/rms.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "tests/support/support.h"

using namespace qv::math;
using numora_test::RandomFloats;
using numora_test::SameBits;

namespace {

// Entry i holds 2^i: every set of lines has its own sum, so a result pins the range summed.
std::vector<float> PowersOfTwo(int n)
{
    std::vector<float> a;
    for (int i = 0; i < n; ++i)
        a.push_back(std::ldexp(1.0f, i));
    return a;
}

std::vector<complex> RealLines(const std::vector<float>& amplitude)
{
    std::vector<complex> fft;
    for (float a : amplitude)
        fft.push_back(complex{a, 0.0f});
    return fft;
}

float Root(double power) { return static_cast<float>(std::sqrt(power)); }

TEST(RmsFft, CountsLinesFromOneAndFormsPowersInFloat)
{
    const std::vector<float> a = PowersOfTwo(9);
    const std::vector<complex> fft = RealLines(a);
    // A count of 3 sums lines 1 and 2; a last line of 3 sums 1, 2 and 3.
    EXPECT_EQ(Root(4.0 + 16.0), RMS_FFT(fft.data(), 3, 0.5f));
    EXPECT_EQ(std::sqrt(2.0 + 4.0 + 8.0), RMS_APS(a.data(), 3));
    EXPECT_EQ(0.0f, RMS_FFT(fft.data(), 1, 0.5f));
    EXPECT_EQ(1.0f, RMS_FFT_BLIM(fft.data(), 0, 0, 0.5f));
    EXPECT_EQ(0.0f, RMS_FFT_BLIM(fft.data(), 5, 4, 0.5f));
    EXPECT_EQ(0.0f, RMS_FFT(nullptr, 8, 0.5f));

    // A power formed in double would round this line to 0x1.7d5f5cp+0.
    const complex line{0x1.467c8p-4f, 0x1.7cd382p+0f};
    EXPECT_EQ(0x1.7d5f5ap+0f, RMS_FFT_BLIM(&line, 0, 0, 0.5f));

    std::vector<double> pairs = {9.0, 9.0, 3.0, 4.0, 0.0, 12.0};
    EXPECT_EQ(13.0, RMS_FFT(pairs.data(), 3));
}

TEST(RmsFft, PeakCorrectionOnlyWhenScaleIsExactlyOne)
{
    std::vector<complex> fft(4, complex{0.0f, 0.0f});
    fft[2] = complex{1.0f, 0.0f};
    const float corrected = static_cast<float>(0.707106781);
    EXPECT_EQ(corrected, RMS_FFT(fft.data(), 4, 1.0f));
    EXPECT_EQ(1.0f, RMS_FFT(fft.data(), 4, std::nextafter(1.0f, 2.0f)));
    EXPECT_EQ(corrected, RMS_FFT_BLIMF(fft.data(), 0.0f, 99.0f, 4, 1.0f, 1.0f));

    // The nine-digit constant, not the root of one half, which rounds elsewhere here.
    fft[2] = complex{1.0546875f, 0.0f};
    const double root = std::sqrt(static_cast<double>(fft[2].re * fft[2].re));
    EXPECT_NE(static_cast<float>(root * 0.707106781), static_cast<float>(root * std::sqrt(0.5)));
    EXPECT_EQ(static_cast<float>(root * 0.707106781), RMS_FFT(fft.data(), 4, 1.0f));
}

TEST(RmsOutside, SumsBelowThenAboveTheBandWithCountAsEnd)
{
    std::vector<float> psd = PowersOfTwo(9);
    EXPECT_EQ(Root(2.0 + 4.0 + 64.0 + 128.0), RMS_PSD_BLIM_Out(psd.data(), 3, 5, 8, 1.0f));
    const std::vector<complex> fft = RealLines(psd);
    EXPECT_EQ(Root(4.0 + 16.0 + 4096.0 + 16384.0), RMS_FFT_BLIM_Out(fft.data(), 3, 5, 8, 0.5f));
    EXPECT_EQ(0.0f, RMS_FFT_BLIM_Out(nullptr, 3, 5, 8, 0.5f));

    // One accumulator across both parts: the 1 survives only if the upper
    // part is added onto the lower part's sum, not summed on its own first.
    psd[1] = std::ldexp(1.0f, 60);
    psd[6] = -psd[1];
    psd[7] = 1.0f;
    EXPECT_EQ(1.0f, RMS_PSD_BLIM_Out(psd.data(), 2, 5, 8, 1.0f));
}

TEST(RmsBand, FrequencyEdgesRoundToNearestLineAndClamp)
{
    const std::vector<float> psd = PowersOfTwo(9);  // one line past each clamp
    auto psdBand = [&](int first, int last) { return RMS_PSD_BLIM(psd.data(), first, last, 1.0f); };
    EXPECT_EQ(psdBand(1, 4), RMS_PSD_BLIMF(psd.data(), 0.0f, 4.49f, 7, 1.0f));
    EXPECT_EQ(psdBand(2, 7), RMS_PSD_BLIMF(psd.data(), 1.5f, 100.0f, 7, 1.0f));
    EXPECT_EQ(0.0f, RMS_PSD_BLIMF(psd.data(), 0.0f, 0.4f, 7, 1.0f));
    // 0.49999997f + 0.5f rounds to 1 in float before the truncation.
    EXPECT_EQ(psdBand(1, 1), RMS_PSD_BLIMF(psd.data(), 0.0f, 0.49999997f, 7, 1.0f));

    const std::vector<complex> fft = RealLines(psd);
    auto fftBand = [&](int first, int last) { return RMS_FFT_BLIM(fft.data(), first, last, 0.5f); };
    EXPECT_EQ(fftBand(1, 7), RMS_FFT_BLIMF(fft.data(), -30.0f, 1e30f, 8, 1.0f, 0.5f));
    EXPECT_EQ(fftBand(2, 6), RMS_FFT_BLIMF(fft.data(), 15.0f, 64.9f, 7, 10.0f, 0.5f));

    // Power spectra round in double, halves away from zero.
    const std::vector<double> aps(psd.begin(), psd.end());
    auto apsBand = [&](int first, int last) { return RMS_APS_BLIM(aps.data(), first, last); };
    EXPECT_EQ(apsBand(1, 7), RMS_APS_BLIMF(aps.data(), 0.0, 1e9, 7, 10.0));
    EXPECT_EQ(apsBand(3, 5), RMS_APS_BLIMF(psd.data(), 25.0, 54.0, 7, 10.0));
}

TEST(RmsRealSpectra, FormLinePowersInTheArrayPrecision)
{
    const std::vector<float> frq = RandomFloats(1025, 5);
    std::vector<float> psd;
    double squares = 0.0, density = 0.0, wide = 0.0;
    for (size_t i = 0; i < frq.size(); ++i) {
        psd.push_back(frq[i] * frq[i]);
        squares += i == 0 ? 0.0 : static_cast<double>(psd[i]);
        density += i == 0 ? 0.0 : static_cast<double>(0.3f * psd[i]);
        wide += i == 0 ? 0.0 : static_cast<double>(frq[i]) * static_cast<double>(frq[i]);
    }
    EXPECT_NE(squares, wide);
    EXPECT_TRUE(SameBits(std::sqrt(squares), RMS_FRQ(frq.data(), 1024)));
    EXPECT_TRUE(SameBits(std::sqrt(squares), RMS_APS(psd.data(), 1024)));
    EXPECT_TRUE(SameBits(Root(density), RMS_PSD(psd.data(), 1024, 0.3f)));

    // df * x in double would round this line to 0x1.4bb882p-1.
    const float line = 0x1.6632ep+0f;
    EXPECT_EQ(0x1.4bb884p-1f, RMS_PSD_BLIM(&line, 0, 0, 0.3f));
}

TEST(RmsPsdComb, TakesReferenceShiftedByLevelWhereUnmeasured)
{
    const std::vector<float> p = PowersOfTwo(8);
    const std::vector<float> r = {3.0f, 5.0f, 7.0f, 9.0f, 11.0f, 13.0f, 17.0f, 19.0f};
    const std::vector<int> all(8, 1), none(8, 0), mixed = {0, 7, 0, 0, -1, 0, 0, 0};
    auto comb = [&](float levelDb, const std::vector<int>& measured) {
        return RMS_PSD_BLIM_Comb(p.data(), r.data(), levelDb, measured.data(), 1, 6, 0.5f);
    };
    EXPECT_EQ(RMS_PSD_BLIM(p.data(), 1, 6, 0.5f), comb(3.0f, all));
    EXPECT_EQ(RMS_PSD_BLIM(r.data(), 1, 6, 0.5f), comb(0.0f, none));
    EXPECT_EQ(Root(0.5 * (2.0 + 70.0 + 90.0 + 16.0 + 130.0 + 170.0)), comb(10.0f, mixed));

    // Single lines where a float gain (powf) or a double v * df would round
    // the result elsewhere (to 0x1.c11966p-3 and 0x1.4bb882p-1).
    const float one[] = {0x1.eb465ep+0f, 0x1.6632ep+0f};
    const int flags[] = {0, 1};
    EXPECT_EQ(0x1.c11964p-3f, RMS_PSD_BLIM_Comb(one, one, -0x1.3fae14p+3f, flags, 0, 0, 0.25f));
    EXPECT_EQ(0x1.4bb884p-1f, RMS_PSD_BLIM_Comb(one, one, 0.0f, flags, 1, 1, 0.3f));
}

TEST(MeanFft, DividesTheRootByTheLineCount)
{
    std::vector<complex> fft(8, complex{0.0f, 1.0f});
    fft[5] = complex{3.0f, 4.0f};
    EXPECT_EQ(0.5f, MEAN_FFT(fft.data(), 1, 4));
    EXPECT_EQ(0.0f, MEAN_FFT(fft.data(), 4, 1));
    EXPECT_EQ(0.0f, MEAN_FFT(nullptr, 1, 4));
}

TEST(RmsTim, DoubleDifferencesInRmsTimFloatDifferencesInStat)
{
    const std::vector<float> x = RandomFloats(333, 9);
    double total = 0.0, sumD = 0.0, sumF = 0.0;
    for (float v : x)
        total += static_cast<double>(v);
    const float mean = static_cast<float>(total / 333.0);
    for (float v : x) {
        const double d = static_cast<double>(v) - static_cast<double>(mean);
        sumD += d * d;
        sumF += static_cast<double>(v - mean) * static_cast<double>(v - mean);
    }
    EXPECT_NE(sumD, sumF);
    EXPECT_TRUE(SameBits(std::sqrt(sumD / 333.0), RMS_TIM(x.data(), 333)));
    const double unbiased = RMS_TIM(x.data(), 333, static_cast<double>(mean), 1);
    EXPECT_TRUE(SameBits(std::sqrt(sumD / 332.0), unbiased));
    float lo = 0.0f, hi = 0.0f, m = 0.0f, ms = 0.0f;
    EXPECT_TRUE(SameBits(std::sqrt(sumF / 333.0), RMS_TIM_Stat(x.data(), 333, lo, hi, m, ms)));
    EXPECT_EQ(*std::min_element(x.begin(), x.end()), lo);
    EXPECT_EQ(*std::max_element(x.begin(), x.end()), hi);

    // One sample: the 0 / 0 of the unbiased divisor and a zero deviation give 0.
    EXPECT_EQ(0.0, RMS_TIM(x.data(), 1, static_cast<double>(x[0]), 1));
    EXPECT_EQ(0.0, RMS_TIM_Stat(x.data(), 1, lo, hi, m, ms));
    EXPECT_TRUE(lo == x[0] && hi == x[0]);
    // No samples: zero extremes, the means left alone.
    numora_test::FillSentinel(&m, 1);
    numora_test::FillSentinel(&ms, 1);
    EXPECT_EQ(0.0, RMS_TIM_Stat(x.data(), 0, lo, hi, m, ms));
    EXPECT_TRUE(lo == 0.0f && hi == 0.0f);
    EXPECT_TRUE(numora_test::HoldsSentinel(&m, 1) && numora_test::HoldsSentinel(&ms, 1));
}

}  // namespace
