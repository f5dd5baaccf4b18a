#include "numora/spectrum/cross_spectrum.h"

#include <cmath>
#include <limits>
#include <vector>

#include "numora/spectrum/auto_spectrum.h"
#include "tests/support/support.h"

namespace {

using namespace qv::math;
using numora_test::BitEqual;
using Floats = std::vector<float>;
using Lines = std::vector<complex>;

float* F(Lines& v) { return reinterpret_cast<float*>(v.data()); }
complex* L(Floats& v) { return reinterpret_cast<complex*>(v.data()); }

// a * conj(b) with each product and sum in float.
complex RefCross(complex a, complex b)
{
    const float rr = a.re * b.re, ii = a.im * b.im, ir = a.im * b.re, ri = a.re * b.im;
    return {rr + ii, ir - ri};
}

// One part of the weighted update: widened X times 1/k plus widened old times the rest, rounded once.
float RefBlend(float x, float old, int k)
{
    const double w = 1.0 / k;
    return static_cast<float>(static_cast<double>(x) * w + static_cast<double>(old) * (1.0 - w));
}

TEST(FFTtoCPS, ModesFollowTheirReferenceFrameByFrame)
{
    const int n = 24;
    for (int mode : {0, 1, 7, 2, 3, 4, 5, 6, 8, -1}) {
        Lines cps(n), ref(n);
        numora_test::FillSentinel(F(cps), 2 * n);  // a first frame does not read cps
        numora_test::FillSentinel(F(ref), 2 * n);
        for (int k = 1; k <= 5; ++k) {
            Floats a = numora_test::RandomFloats(2 * n, 10u + k), b = numora_test::RandomFloats(2 * n, 20u + k);
            for (int i = 0; i < n && ((mode >= 0 && mode <= 3) || mode == 7); ++i) {
                const complex x = RefCross(L(a)[i], L(b)[i]), old = ref[i];
                const double xr = x.re, xi = x.im;
                if (k == 1 || (mode == 3 && static_cast<float>(xr * xr + xi * xi) > old.re * old.re + old.im * old.im))
                    ref[i] = x;
                else if (mode != 3)
                    ref[i] = {RefBlend(x.re, old.re, mode == 2 ? 3 : k), RefBlend(x.im, old.im, mode == 2 ? 3 : k)};
            }
            FFTtoCPS(L(a), L(b), cps.data(), n, static_cast<QV_ACQFRAME_AVGMODE>(mode), k, 3);
            ASSERT_TRUE(BitEqual(F(ref), F(cps), 2 * n)) << "mode " << mode << ", frame " << k;
        }
    }
    complex one = {1, 0}, held = {3, 4};
    for (complex a : {complex{0, 5}, complex{std::numeric_limits<float>::quiet_NaN(), 0}})
        FFTtoCPS_PK(&a, &one, &held, 1, 2);
    EXPECT_TRUE(held.re == 3.0f && held.im == 4.0f);  // neither a tie nor a NaN replaces
}

TEST(TIMtoCPS, ScaledDelayedChannelGivesItsGainDelayAndUnitCoherence)
{
    const int n = 64, lines = 32, delay = 3;
    const float df = 10.0f;
    const double step = -360.0 * delay / n;  // degrees per line
    QV_WIND_SETUP wind{};
    Lines cps(lines), frf(lines);
    Floats apsA(lines), apsB(lines), coh(lines), phase(lines), mag(lines), frameA(n), frameB, corr(n, 0.0f);
    for (int i = 1; i < n; i += 2)
        corr[i] = 2.0f;  // a drive correction of magnitude 2 at every line
    for (int pass = 0; pass < 3; ++pass) {  // plain, then channel A corrected, then channel B corrected
        for (int k = 1; k <= 4; ++k) {
            frameB = numora_test::RandomFloats(n, 70u + k);
            for (int i = 0; i < n; ++i)
                frameA[i] = 2.5f * frameB[(i - delay + n) % n];
            if (pass == 0)
                TIMtoCPS(frameA.data(), frameB.data(), cps.data(), df, QV_AVG_LINEAR, QV_WIN_NONE,
                         QV_WINDOWSCALE_POWER, 0.0f, 0, QV_WEIGHT_NONE, n, lines, k, 1, 1.0f, &wind);
            else
                TIMtoCPS_WithDriveCorr(frameA.data(), frameB.data(), cps.data(), df, QV_AVG_LINEAR, QV_WIN_NONE,
                                       QV_WINDOWSCALE_POWER, 0.0f, 0, QV_WEIGHT_NONE, n, lines, k, 1, 1.0f, &wind,
                                       corr.data(), pass == 1, pass == 2);
            FFTtoAPS(L(frameA), apsA.data(), lines, QV_AVG_LINEAR, k, 1, nullptr);
            FFTtoAPS(L(frameB), apsB.data(), lines, QV_AVG_LINEAR, k, 1, nullptr);
        }
        CPStoFRF(cps.data(), apsB.data(), frf.data(), lines);
        CPStoCOH(cps.data(), apsA.data(), apsB.data(), coh.data(), lines);
        const double g = pass == 1 ? 5.0 : pass == 2 ? 1.25 : 2.5;  // gain, twice it, half of it
        for (int i = 0; i < lines; ++i) {
            const double rad = step * i * M_PI / 180.0;
            EXPECT_NEAR(g * std::cos(rad), frf[i].re, 2e-5) << i;
            EXPECT_NEAR(g * std::sin(rad), frf[i].im, 2e-5) << i;
            EXPECT_NEAR(1.0, coh[i], 2e-5) << i;
        }
    }
    // The frames now hold spectra, channel B corrected: A * conj(B) = 1.25 |B|^2.
    FFTtoCPSPhase(L(frameA), L(frameB), phase.data(), lines, true);
    FFTtoCPSMag(L(frameA), L(frameB), mag.data(), lines);
    for (int i = 0; i < lines; ++i) {
        const double br = L(frameB)[i].re, bim = L(frameB)[i].im, pb = br * br + bim * bim;
        EXPECT_NEAR(step * i, phase[i], 2e-3) << i;
        EXPECT_NEAR(1.25 * pb, mag[i], 2e-5 * pb + 1e-6) << i;
    }
    EXPECT_NEAR(step * 5, FFTtoCPSPhase(L(frameA), L(frameB), 5.4f * df, df, lines), 2e-3);
    EXPECT_EQ(0.0f, FFTtoCPSPhase(L(frameA), L(frameB), 31.5f * df, df, lines));  // rounds to line 32
    WindowReset(&wind);
}

TEST(CPStoFRF, OnlyAnExactZeroPowerGivesZero)
{
    Lines cps = {{1, 2}, {3, -4}, {5, 6}, {1, 1}}, frf(4);
    Floats aps = {0.0f, -0.0f, 1e-40f, 2.0f}, apsA = {0, 1, 2, 1e-20f}, apsB = {1, 0, 2, 1e-20f}, coh(4);
    CPStoFRF(cps.data(), aps.data(), frf.data(), 4);
    const Floats expected = {0, 0, 0, 0, INFINITY, INFINITY, 0.5f, 0.5f};  // no floor below a tiny power
    EXPECT_TRUE(BitEqual(expected.data(), F(frf), 8));
    CPStoCOH(cps.data(), apsA.data(), apsB.data(), coh.data(), 4);
    const Floats cohExpected = {0.0f, 0.0f, 15.25f, INFINITY};  // not limited to 1, no floor
    EXPECT_TRUE(BitEqual(cohExpected.data(), coh.data(), 4));
    CPStoFRF(cps.data(), aps.data(), cps.data(), 4);
    EXPECT_TRUE(BitEqual(expected.data(), F(cps), 8));
}

// Line 0 holds data that the update must clear, line 1 the case under test.
struct Gated {
    Lines a, b, cps, frf{{9, 9}, {9, 9}};
    Floats apsB, apsA, ref{1.0f, 1.0f};
    int accepted[2] = {-7, -7};
    Gated(complex a1, complex b1, complex cps1, float p)
        : a{{4, 4}, a1}, b{{3, 1}, b1}, cps{{0, 0}, cps1}, apsB{0.0f, p}, apsA{0.0f, p} {}
    int Run(float factor, float alpha, int lines = 2)
    {
        return FFTtoFRF_GatedUpdate(a.data(), b.data(), cps.data(), apsB.data(), apsA.data(), ref.data(),
                                    frf.data(), lines, factor, alpha, accepted);
    }
    // {frf, cps, apsB, apsA} of one line.
    Floats Line(int i) const { return {frf[i].re, frf[i].im, cps[i].re, cps[i].im, apsB[i], apsA[i]}; }
};

TEST(FFTtoFRF_GatedUpdate, AcceptsRejectsAndResetsByUpdatedCoherence)
{
    Gated g({2, 0}, {2, 0}, {2, 0}, 2.0f);  // G = (3, 0), Pa = Pb = 3, H = (1, 0), coherence 1
    EXPECT_EQ(1, g.Run(0.0f, 0.5f));
    EXPECT_EQ((Floats{1, 0, 3, 0, 3, 3}), g.Line(1));
    EXPECT_EQ((Floats{1, 0, 1, 0, 1, 0}), g.Line(0));  // cleared inputs: reset, not counted
    EXPECT_TRUE(g.a[0].re == 0 && g.a[0].im == 0 && g.b[0].re == 0 && g.b[0].im == 0);
    EXPECT_TRUE(g.accepted[0] == -7 && g.accepted[1] == 1);

    Gated r({2, 0}, {2, 0}, {2, 0}, 2.0f);
    r.accepted[1] = 1;  // an older mark stays but is not counted
    EXPECT_EQ(0, r.Run(1.5f, 0.5f));
    EXPECT_EQ((Floats{9, 9, 2, 0, 2, 2}), r.Line(1));

    // X = (0, -1), G = (0, -0.5), Pa = Pb = 1.5: coherence 1/9 against thresholds 0.12 and 0.1.
    Gated high({1, 0}, {0, 1}, {0, 0}, 2.0f), low = high;
    EXPECT_EQ(0, high.Run(0.12f, 0.5f));
    EXPECT_EQ(1, low.Run(0.1f, 0.5f));
    EXPECT_EQ((Floats{0, -0.5f / 1.5f, 0, -0.5f, 1.5f, 1.5f}), low.Line(1));

    for (float factor : {0.01f, 0.0f, -1.0f}) {  // G = (5.5, 0) over Pa = Pb = 1: coherence above 1 counts as 0
        Gated over({1, 0}, {1, 0}, {10, 0}, 1.0f);
        EXPECT_EQ(factor <= 0.0f ? 1 : 0, over.Run(factor, 0.5f)) << factor;
    }

    Gated none({1, 0}, {1, 0}, {2, 0}, 2.0f);
    EXPECT_EQ(0, none.Run(0.0f, 0.5f, 0));
    EXPECT_TRUE(none.a[0].re == 0 && none.frf[0].re == 9 && none.Line(1) == (Floats{9, 9, 2, 0, 2, 2}));
}

}  // namespace
