#include "numora/transforms/weighting.h"

#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/support.h"

using namespace qv::math;
using numora_test::FillSentinel;
using numora_test::HoldsSentinel;
using numora_test::RandomFloats;
using numora_test::SameBits;

namespace {

QV_ACOUSTIC_WEIGHT W(int value) { return static_cast<QV_ACOUSTIC_WEIGHT>(value); }

// Curve gains from the squared pole frequencies 20.6, 107.7, 158.5, 737.9, 12200 Hz.
double RefGain(int weight, double f)
{
    if (f <= 0.001)
        return 0.0;
    const double v = f * f, k = v / ((v + 424.36) * (v + 148840000.0));
    const double k0 = 251320.0 / ((251320.0 + 424.36) * (251320.0 + 148840000.0));
    const double curves[3] = {
        k * v / std::sqrt((v + 544496.41) * (v + 11599.29)) / 5.336915e-9,
        k * f / std::sqrt(v + 25122.25) / (6.670954484817289e-6 / std::sqrt(1025122.25)),
        k / k0};
    if (weight > 6)
        return 1.0;
    return weight > 3 ? 1.0 / curves[weight - 4] : curves[weight - 1];
}

double GainDb(int weight, float f)
{
    float s[2] = {1.0f, 1.0f};
    Weight_LinearSpec(W(weight), s, s, 2, f);
    return 20.0 * std::log10(static_cast<double>(s[1]));
}

TEST(Weighting, CurvesMatchReferenceLevels)
{
    const double rows[5][4] = {{31.5, -39.529, -17.126, -3.063}, {100, -19.145, -5.648, -0.332},
                               {1000, 0.0, 0.0, -0.033},         {4000, 0.964, -0.724, -0.858},
                               {10000, -2.488, -4.296, -4.435}};
    for (const auto& r : rows) {
        for (int c = 1; c <= 3; ++c) {
            EXPECT_NEAR(r[c], GainDb(c, static_cast<float>(r[0])), 6e-4) << r[0] << " " << c;
            EXPECT_NEAR(-r[c], GainDb(c + 3, static_cast<float>(r[0])), 6e-4) << r[0];
        }
    }
    EXPECT_NEAR(0.0, GainDb(3, std::sqrt(251320.0f)), 1e-5);  // C's normalisation point
}

TEST(Weighting, AllFormsMatchCurveFormulasBitForBit)
{
    const int n = 300;
    const float df = 7.3f;
    const std::vector<float> in = RandomFloats(n, 11u);
    for (int weight = 1; weight <= 9; ++weight) {
        std::vector<float> lin(n), pow(in);
        std::vector<complex> fft(n);
        std::vector<complex_d> fftd(n);
        for (int i = 0; i < n; ++i) {
            fft[i] = {in[i], -in[i]};
            fftd[i] = {static_cast<double>(in[i]), -static_cast<double>(in[i])};
        }
        EXPECT_EQ(0, Weight_LinearSpec(W(weight), lin.data(), pow.data(), n, df));
        EXPECT_EQ(0, Weight_PowerSpec(W(weight), pow.data(), pow.data(), n, df));  // in place
        EXPECT_EQ(0, Weight_FFT(W(weight), fft.data(), n, df));
        EXPECT_EQ(0, Weight_FFT(W(weight), fftd.data(), n, 7.3));
        for (int i = 0; i < n; ++i) {
            const double x = static_cast<double>(in[i]), g = RefGain(weight, i * double{df});
            const double gd = RefGain(weight, i * 7.3);
            const float l = static_cast<float>(x * g);
            EXPECT_TRUE(SameBits(l, lin[i]) && SameBits(l, fft[i].re) && SameBits(-l, fft[i].im));
            EXPECT_TRUE(SameBits(static_cast<float>(x * (g * g)), pow[i])) << weight << " " << i;
            EXPECT_TRUE(SameBits(x * gd, fftd[i].re) && SameBits(-x * gd, fftd[i].im));
        }
    }
}

TEST(Weighting, GuardWritesNothingAndLowLinesAreCut)
{
    float in[4] = {2.0f, 2.0f, 2.0f, 2.0f}, out[4];
    const struct { int weight; float df; int lines; } calls[] = {
        {0, 10.0f, 4}, {-1, 10.0f, 4}, {1, 0.0f, 4}, {4, -1.0f, 4}, {7, 10.0f, 0}};
    for (const auto& c : calls) {
        FillSentinel(out, 4);
        EXPECT_EQ(0, Weight_LinearSpec(W(c.weight), out, in, c.lines, c.df));
        EXPECT_EQ(0, Weight_PowerSpec(W(c.weight), out, in, c.lines, c.df));
        Weight_FFT(W(c.weight), reinterpret_cast<complex*>(out), c.lines / 2, c.df);
        EXPECT_TRUE(HoldsSentinel(out, 4));
    }
    // 0.0004 and 0.0008 Hz are cut along with line 0; 0.0012 Hz is not.
    for (int weight : {4, 7}) {
        float s[4] = {1.0f, 1.0f, 1.0f, 1.0f};
        Weight_LinearSpec(W(weight), s, s, 4, 0.0004f);
        EXPECT_TRUE(s[0] == 0.0f && s[1] == 0.0f && s[2] == 0.0f && s[3] != 0.0f);
    }
    // The cut tests the widened spacing: 0.001f lies just above 0.001 Hz.
    complex f[2] = {{1.0f, 1.0f}, {1.0f, 1.0f}};
    complex_d d[2] = {{1.0, 1.0}, {1.0, 1.0}};
    Weight_FFT(W(7), f, 2, 0.001f);
    Weight_FFT(W(7), d, 2, 0.001);
    EXPECT_TRUE(f[1].re == 1.0f && d[1].re == 0.0 && f[0].im == 0.0f);
}

}  // namespace
