#include "numora/spectrum/conversions.h"

#include <cmath>
#include <vector>

#include "numora/foundation/platform.h"
#include "tests/support/support.h"

using namespace qv::math;
using numora_test::BitEqual;
using numora_test::SameBits;

namespace {

TEST(SpectrumForms, ConversionsRoundAtTheirOwnStepsAndCountsBelowOneWriteNothing)
{
    const int n = 400;
    const float df = 0.3f;  // 1/df is inexact: reciprocal and division differ
    std::vector<float> in = numora_test::RandomFloats(n, 3u), psd(n), fpsd(n), frq(n);
    for (float& x : in)  // positive values spanning several decades
        x = std::ldexp(std::fabs(x) + 0.01f, static_cast<int>(x * 12.0f));
    APStoPSD(in.data(), psd.data(), n, df);
    FRQtoPSD(in.data(), fpsd.data(), n, df);
    PSDtoFRQ(in.data(), frq.data(), n, df);
    for (int i = 0; i < n; ++i) {
        const float density = static_cast<float>(static_cast<double>(in[i]) * (1.0 / static_cast<double>(df)));
        EXPECT_TRUE(SameBits(density, psd[i]) &&
                    SameBits((in[i] * in[i]) / df, fpsd[i]) &&
                    SameBits(static_cast<float>(std::sqrt(static_cast<double>(in[i] * df))), frq[i])) << i;
    }
    PSDtoFRQ(in.data(), in.data(), n, df);  // in place equals out of place
    EXPECT_TRUE(BitEqual(frq.data(), in.data(), n));

    // Square roots (a negative power gives NaN), then back by squares and a product.
    float roots[4] = {0.0f, -1.0f, 2.25f, 6.25f}, out[4];
    APStoFRQ(roots, roots, 4);
    FRQtoAPS(roots + 2, roots + 2, 1);
    PSDtoAPS(roots + 3, roots + 3, 1, 0.5f);
    EXPECT_TRUE(SameBits(0.0f, roots[0]) && std::isnan(roots[1]) && roots[2] == 2.25f && roots[3] == 1.25f);

    // A count below 1 writes nothing.
    numora_test::FillSentinel(out, 4);
    APStoPSD(in.data(), out, 0, 1.0f);
    APSApplySineX_X(out, in.data(), -1);
    EXPECT_TRUE(numora_test::HoldsSentinel(out, 4));

    // The double twin multiplies by the reciprocal too: at df = 0.7 a plain
    // division rounds a quarter of these values elsewhere.
    std::vector<double> aps = numora_test::RandomDoubles(n, 5u), psdD(n);
    APStoPSD(aps.data(), psdD.data(), n, 0.7);
    int differ = 0;
    for (int i = 0; i < n; ++i) {
        EXPECT_TRUE(SameBits(aps[i] * (1.0 / 0.7), psdD[i])) << i;
        differ += psdD[i] != aps[i] / 0.7;
    }
    EXPECT_GT(differ, n / 10);
}

TEST(SpectrumForms, ComplexLinesFromPhaseOrSeededRandomPhase)
{
    const int n = 50;
    std::vector<float> mag = numora_test::RandomFloats(n, 8u), phase = numora_test::RandomFloats(n, 7u);
    std::vector<complex> p(n), a(n), c(n);
    FRQtoFFT(mag.data(), phase.data(), p.data(), n);
    FRQtoFFT(mag.data(), a.data(), n, 77);
    SRand(77u);
    for (int i = 0; i < n; ++i) {
        const double m = static_cast<double>(mag[i]), angle = static_cast<double>(phase[i]);
        const double re = std::cos(angle) * m, im = std::sin(angle) * m;
        EXPECT_TRUE(SameBits(static_cast<float>(re), p[i].re) && SameBits(static_cast<float>(im), p[i].im)) << i;
        // Line 0 is (0, 0); the others draw their phases in ascending order.
        const double x = i == 0 ? 0.0 : Rand() / 32767.0 * (2 * M_PI) - M_PI, mr = i == 0 ? 0.0 : m;
        EXPECT_TRUE(SameBits(static_cast<float>(std::cos(x) * mr), a[i].re) &&
                    SameBits(static_cast<float>(std::sin(x) * mr), a[i].im)) << i;
    }
    SRand(77u);
    FRQtoFFT(mag.data(), c.data(), n, 0);  // continues the sequence, here restarted by hand
    EXPECT_TRUE(BitEqual(&a[0].re, &c[0].re, 2 * n));
}

TEST(SpectrumForms, SineXCorrectionCoversLastLineAndUsesMagnitude)
{
    // Real lines 0 to 3 corrected; complex lines 0 to 2 scaled by |corr| (its phase plays no part, -0 - 0 * (-1) = +0).
    const float want[5] = {2.5f, 6.75f, 1.625f, 6.375f, 5.25f}, scaled[6] = {2, -4, -15, 20, 0, -1};
    for (auto apply : {APSApplySineX_X, PSDApplySineX_X}) {
        float s[5] = {1.25f, 2.25f, 3.25f, 4.25f, 5.25f}, corr[5] = {2.0f, 3.0f, 0.5f, 1.5f, 7.0f};
        apply(s, corr, 3);
        EXPECT_TRUE(BitEqual(want, s, 5));
    }
    complex fft[] = {{1, -2}, {-3, 4}, {-0.0f, -1}, {3e38f, 1}, {7, 7}};
    complex cor[] = {{0, 2}, {-3, 4}, {1, 0}, {2, 0}, {9, 9}};
    FFTApplySineX_X(fft, cor, 4);
    EXPECT_TRUE(BitEqual(scaled, &fft[0].re, 6));
    // The imaginary part adds 0 times the updated, here overflowed, real part; line 4 is left alone.
    EXPECT_TRUE(std::isinf(fft[3].re) && std::isnan(fft[3].im) && fft[4].re == 7.0f && fft[4].im == 7.0f);
}

}  // namespace
