#include "numora/spectrum/conversions.h"

#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "numora/foundation/platform.h"
#include "tests/support/support.h"

using namespace qv::math;
using numora_test::BitEqual;
using numora_test::FillSentinel;
using numora_test::HoldsSentinel;
using numora_test::RandomFloats;
using numora_test::SameBits;

namespace {

// Positive values spanning several decades.
std::vector<float> Powers(int n, uint32_t seed)
{
    std::vector<float> v = RandomFloats(n, seed);
    for (float& x : v)
        x = std::ldexp(std::fabs(x) + 0.01f, static_cast<int>(x * 12.0f));
    return v;
}

TEST(SpectrumForms, ConversionsRoundAtDocumentedSteps)
{
    const int n = 400;
    const float df = 0.3f;  // 1/df is inexact: reciprocal and division differ
    std::vector<float> in = Powers(n, 3u), psd(n), fpsd(n), frq(n), aps(n), lin(n);
    APStoPSD(in.data(), psd.data(), n, df);
    FRQtoPSD(in.data(), fpsd.data(), n, df);
    PSDtoFRQ(in.data(), frq.data(), n, df);
    PSDtoAPS(in.data(), aps.data(), n, df);
    LINtoAPS(in.data(), lin.data(), n);
    int differs = 0;
    for (int i = 0; i < n; ++i) {
        const double x = static_cast<double>(in[i]);
        const float recip = static_cast<float>(x * (1.0 / double{df}));
        const float divided = (in[i] * in[i]) / df;
        const float root = static_cast<float>(std::sqrt(static_cast<double>(in[i] * df)));
        EXPECT_TRUE(SameBits(recip, psd[i]) && SameBits(divided, fpsd[i])) << i;
        EXPECT_TRUE(SameBits(root, frq[i]) && SameBits(in[i] * df, aps[i]));
        EXPECT_TRUE(SameBits(in[i] * in[i], lin[i]));
        differs += !SameBits(recip, static_cast<float>(x / double{df}));
        differs += !SameBits(divided, (in[i] * in[i]) * (1.0f / df));
    }
    EXPECT_GT(differs, 20);  // the data tells the two forms apart
    PSDtoFRQ(in.data(), in.data(), n, df);  // in place equals out of place
    EXPECT_TRUE(BitEqual(frq.data(), in.data(), n));

    double d[2] = {2.5, 1.25}, o[2];  // values where x * (1/3) != x / 3
    APStoPSD(d, o, 2, 3.0);
    EXPECT_TRUE(SameBits(2.5 * (1.0 / 3.0), o[0]) && SameBits(1.25 * (1.0 / 3.0), o[1]));
    FRQtoPSD(d, o, 2, 3.0);
    EXPECT_TRUE(SameBits(2.5 * 2.5 / 3.0, o[0]) && SameBits(1.25 * 1.25 / 3.0, o[1]));
    float special[4] = {0.0f, -1.0f, 4.0f, 3.0f};
    APStoFRQ(special, special, 3);
    FRQtoAPS(special + 2, special + 2, 2);
    EXPECT_TRUE(SameBits(0.0f, special[0]) && std::isnan(special[1]));
    EXPECT_TRUE(special[2] == 4.0f && special[3] == 9.0f);
}

TEST(SpectrumForms, CountBelowOneWritesNothing)
{
    float in[4] = {1.0f, 2.0f, 3.0f, 4.0f}, out[4];
    FillSentinel(out, 4);
    APStoPSD(in, out, 0, 1.0f);
    FRQtoPSD(in, out, -2, 1.0f);
    APSApplySineX_X(out, in, -1);
    FRQtoFFT(in, in, reinterpret_cast<complex*>(out), 0);
    FFTApplySineX_X(reinterpret_cast<complex*>(out), reinterpret_cast<complex*>(in), 0);
    init_sinx_x_comp(out, 1.0f, 2.0f, 4, 4);
    EXPECT_TRUE(HoldsSentinel(out, 4));
}

TEST(SpectrumForms, ComplexLinesFromPhaseOrSeededRandomPhase)
{
    const int n = 50;
    std::vector<float> mag = Powers(n, 8u), phase = RandomFloats(n, 7u);
    std::vector<complex> a(n), b(n), c(n), p(n);
    std::vector<double> magd(mag.begin(), mag.end()), phased(phase.begin(), phase.end());
    std::vector<complex_d> pd(n);
    FRQtoFFT(mag.data(), phase.data(), p.data(), n);
    FRQtoFFT(magd.data(), phased.data(), pd.data(), n);
    mag[0] = std::nanf("");
    FRQtoFFT(mag.data(), a.data(), n, 77);
    FRQtoFFT(mag.data(), c.data(), n, 0);  // continues the sequence
    SRand(77u);
    for (int i = 0; i < n; ++i) {
        const double m = magd[i], re = std::cos(phased[i]) * m, im = std::sin(phased[i]) * m;
        EXPECT_TRUE(SameBits(re, pd[i].re) && SameBits(im, pd[i].im));
        EXPECT_TRUE(SameBits(static_cast<float>(re), p[i].re));
        EXPECT_TRUE(SameBits(static_cast<float>(im), p[i].im));
        if (i > 0) {
            const double x = Rand() / 32767.0 * 6.283185307179586 + -3.141592653589793;
            EXPECT_TRUE(SameBits(static_cast<float>(std::cos(x) * m), a[i].re)) << i;
            EXPECT_TRUE(SameBits(static_cast<float>(std::sin(x) * m), a[i].im)) << i;
        }
    }
    FRQtoFFT(mag.data(), b.data(), n, 77);
    EXPECT_TRUE(BitEqual(&a[0].re, &b[0].re, 2 * n));
    EXPECT_FALSE(BitEqual(&a[0].re, &c[0].re, 2 * n));
    EXPECT_TRUE(SameBits(0.0f, a[0].re) && SameBits(0.0f, a[0].im));
    complex only = {5.0f, 5.0f};  // line 0 is written even with no lines
    FRQtoFFT(mag.data(), &only, 0, 0);
    EXPECT_TRUE(SameBits(0.0f, only.re) && SameBits(0.0f, only.im));
}

TEST(SpectrumForms, SineXCorrectionCoversLastLineAndUsesMagnitude)
{
    float corr[6] = {2.0f, 3.0f, 0.5f, 1.5f, 7.0f, 9.0f};
    for (auto apply : {APSApplySineX_X, PSDApplySineX_X}) {
        float s[6] = {1.25f, 2.25f, 3.25f, 4.25f, 5.25f, 6.25f};
        apply(s, corr, 3);
        EXPECT_TRUE(s[0] == 2.5f && s[1] == 6.75f && s[2] == 1.625f && s[3] == 6.375f);
        EXPECT_EQ(5.25f, s[4]);
        apply(s + 4, corr, 0);
        EXPECT_TRUE(s[4] == 10.5f && s[5] == 6.25f);
    }
    complex fft[5] = {{1.0f, -2.0f}, {-3.0f, 4.0f}, {-0.0f, -1.0f}, {3e38f, 1.0f}, {7.0f, 7.0f}};
    complex cor[5] = {{0.0f, 2.0f}, {-3.0f, 4.0f}, {1.0f, 0.0f}, {2.0f, 0.0f}, {9.0f, 9.0f}};
    FFTApplySineX_X(fft, cor, 4);
    EXPECT_TRUE(SameBits(2.0f, fft[0].re) && SameBits(-4.0f, fft[0].im));  // corr phase unused
    EXPECT_TRUE(SameBits(-15.0f, fft[1].re) && SameBits(20.0f, fft[1].im));
    EXPECT_TRUE(SameBits(0.0f, fft[2].re) && SameBits(-1.0f, fft[2].im));  // -0 - 0*(-1) = +0
    // The imaginary part adds 0 times the updated, here overflowed, real part.
    EXPECT_TRUE(std::isinf(fft[3].re) && std::isnan(fft[3].im));
    EXPECT_TRUE(SameBits(7.0f, fft[4].re) && SameBits(7.0f, fft[4].im));
}

}  // namespace
