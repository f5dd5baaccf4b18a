#include "numora/transforms/weighting.h"

#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/support.h"

using namespace qv::math;
using namespace numora_test;

namespace {

QV_ACOUSTIC_WEIGHT W(int value) { return static_cast<QV_ACOUSTIC_WEIGHT>(value); }

// Curve gains from the squared pole frequencies 20.6, 107.7, 158.5, 737.9, 12200 Hz.
double RefGain(int weight, double f)
{
    const double v = f * f, k = v / ((v + 424.36) * (v + 148840000.0));
    const double k0 = 251320.0 / ((251320.0 + 424.36) * (251320.0 + 148840000.0));
    const double curves[3] = {k * v / std::sqrt((v + 544496.41) * (v + 11599.29)) / 5.336915e-9,
                              k * f / std::sqrt(v + 25122.25) / (6.670954484817289e-6 / std::sqrt(1025122.25)),
                              k / k0};
    return f <= 0.001 ? 0.0 : weight > 6 ? 1.0 : weight > 3 ? 1.0 / curves[weight - 4] : curves[weight - 1];
}

TEST(Weighting, AllFormsMatchCurveFormulasBitForBit)
{
    // The reference gains meet the standard levels: A and B at 31.5 Hz, C at 10 kHz.
    EXPECT_NEAR(-39.529 - 17.126 - 4.435,
                20.0 * std::log10(RefGain(1, 31.5) * RefGain(2, 31.5) * RefGain(3, 10000.0)), 1e-3);
    const int n = 300;
    const std::vector<float> in = RandomFloats(2 * n, 11u);  // also read as n complex lines
    for (int weight = 1; weight <= 9; ++weight) {
        std::vector<float> lin(n), pow(in), fft(in);
        std::vector<double> fftd(in.begin(), in.end());
        Weight_LinearSpec(W(weight), lin.data(), pow.data(), n, 7.3f);
        Weight_PowerSpec(W(weight), pow.data(), pow.data(), n, 7.3f);  // in place
        Weight_FFT(W(weight), reinterpret_cast<complex*>(fft.data()), n, 7.3f);
        Weight_FFT(W(weight), reinterpret_cast<complex_d*>(fftd.data()), n, 7.3);
        for (int j = 0; j < 2 * n; ++j) {  // line 0 is cleared by every weight
            const double x = static_cast<double>(in[j / 2]), y = static_cast<double>(in[j]);
            const double g = RefGain(weight, j / 2 * static_cast<double>(7.3f));
            EXPECT_TRUE(SameBits(static_cast<float>(x * g), lin[j / 2]) && SameBits(static_cast<float>(y * g), fft[j]));
            EXPECT_TRUE(SameBits(static_cast<float>(x * (g * g)), pow[j / 2])) << weight << " " << j;
            EXPECT_TRUE(SameBits(y * RefGain(weight, j / 2 * 7.3), fftd[j]));
        }
    }
}

TEST(Weighting, CurvesMeetThePublishedThirdOctaveLevels)
{
    // Levels in dB relative to 1 kHz at the exact third-octave frequencies
    // 1000 * 10^(n / 10), as sound level meter standards tabulate them to
    // 0.1 dB: A and C from IEC 61672-1, B from IEC 60651. The C curve is
    // normalised at its top near 501 Hz, so it reads -0.033 dB at 1 kHz.
    const struct { int n; double a, b, c; } table[] = {
        {-15, -39.4, -17.1, -3.0}, {-12, -26.2, -9.3, -0.8}, {-9, -16.1, -4.2, -0.2}, {-6, -8.6, -1.3, 0.0},
        {-3, -3.2, -0.3, 0.0},     {0, 0.0, 0.0, 0.0},      {3, 1.2, -0.1, -0.2},   {6, 1.0, -0.7, -0.8},
        {9, -1.1, -2.9, -3.0},     {12, -6.6, -8.4, -8.5}};
    auto levelDb = [](int weight, float f) {
        float in[2] = {1.0f, 1.0f}, out[2];
        Weight_LinearSpec(W(weight), out, in, 2, f);  // line 1 stands at f
        return 20.0 * std::log10(static_cast<double>(out[1]));
    };
    EXPECT_TRUE(std::fabs(levelDb(1, 1000.0f)) < 1e-3 && std::fabs(levelDb(2, 1000.0f)) < 1e-3);
    EXPECT_NEAR(-0.033, levelDb(3, 1000.0f), 5e-4);
    for (const auto& row : table) {
        const float f = static_cast<float>(1000.0 * std::pow(10.0, row.n / 10.0));
        const double expected[] = {row.a, row.b, row.c};
        for (int weight = 1; weight <= 3; ++weight) {
            EXPECT_NEAR(expected[weight - 1], levelDb(weight, f) - levelDb(weight, 1000.0f), 0.051)
                << weight << " at " << f;
            EXPECT_NEAR(0.0, levelDb(weight, f) + levelDb(weight + 3, f), 1e-5);  // the inverse curve
        }
    }
}

TEST(Weighting, GuardWritesNothingAndLinesAtOrBelowAMilliHertzAreCut)
{
    float in[4] = {2.0f, 2.0f, 2.0f, 2.0f}, out[4];
    const struct { int w; float df; int n; } calls[] = {{0, 10, 4}, {-1, 10, 4}, {1, 0, 4}, {4, -1, 4}, {7, 10, 0}};
    for (const auto& c : calls) {
        FillSentinel(out, 4);
        EXPECT_EQ(0, Weight_LinearSpec(W(c.w), out, in, c.n, c.df) + Weight_PowerSpec(W(c.w), out, in, c.n, c.df) +
                         Weight_FFT(W(c.w), reinterpret_cast<complex*>(out), c.n / 2, c.df));
        EXPECT_TRUE(HoldsSentinel(out, 4));
    }
    // The cut tests the widened spacing: 0.001f lies just above 0.001 Hz.
    complex_d d[2] = {{1.0, 1.0}, {1.0, 1.0}};
    Weight_FFT(W(7), d, 2, 0.001);
    Weight_LinearSpec(W(7), out, in, 2, 0.001f);
    EXPECT_TRUE(out[1] == 2.0f && d[1].re == 0.0 && d[1].im == 0.0);
}

}  // namespace
