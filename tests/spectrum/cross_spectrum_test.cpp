#include "numora/spectrum/cross_spectrum.h"

#include <cmath>
#include <complex>
#include <vector>

#include "tests/support/support.h"

namespace {

using namespace qv::math;
using numora_test::BitEqual;
using Floats = std::vector<float>;
using Lines = std::vector<complex>;

float* F(Lines& v) { return reinterpret_cast<float*>(v.data()); }
complex* L(Floats& v) { return reinterpret_cast<complex*>(v.data()); }

TEST(FFTtoCPS, ModesFollowTheirReferenceFrameByFrame)
{
    const int n = 24;
    for (int mode : {0, 1, 7, 2, 4, 5, 6, 8, -1}) {
        Lines cps(n);
        numora_test::FillSentinel(F(cps), 2 * n);  // a first frame does not read cps
        Lines ref = cps;
        for (int k = 1; k <= 5; ++k) {
            Floats a = numora_test::RandomFloats(2 * n, 10u + k), b = numora_test::RandomFloats(2 * n, 20u + k);
            const double w = 1.0 / (mode == 2 ? 3 : k);  // widened parts times w, old parts times 1 - w
            auto blend = [w](float x, float old) {
                return static_cast<float>(static_cast<double>(x) * w + static_cast<double>(old) * (1.0 - w));
            };
            for (int i = 0; i < n && (mode <= 2 || mode == 7) && mode >= 0; ++i) {
                const complex p = L(a)[i], q = L(b)[i];
                const float rr = p.re * q.re, ii = p.im * q.im, ir = p.im * q.re, ri = p.re * q.im;
                // a * conj(b), each product and the sum in float
                ref[i] = k == 1 ? complex{rr + ii, ir - ri}
                                : complex{blend(rr + ii, ref[i].re), blend(ir - ri, ref[i].im)};
            }
            FFTtoCPS(L(a), L(b), cps.data(), n, static_cast<QV_ACQFRAME_AVGMODE>(mode), k, 3);
            ASSERT_TRUE(BitEqual(F(ref), F(cps), 2 * n)) << "mode " << mode << ", frame " << k;
        }
    }
    // Peak hold by magnitude, both parts together; neither a tie nor a NaN replaces.
    complex one = {1, 0}, held = {3, 4};
    for (complex a : {complex{0, 6}, complex{6, 0}, complex{NAN, 0}})
        FFTtoCPS(&a, &one, &held, 1, QV_AVG_PEAK_HOLD, 2, 0);
    EXPECT_TRUE(held.re == 0.0f && held.im == 6.0f);
    // The frame count passes through float: 2^24 + 1 frames weigh as 2^24.
    complex x = {1, 0}, avg = {0, 0};
    FFTtoCPS(&x, &one, &avg, 1, QV_AVG_LINEAR, 16777217, 0);
    EXPECT_EQ(0x1p-24f, avg.re);
}

TEST(TIMtoCPS, ScaledDelayedChannelGivesItsGainAndDelayAfterTheDriveCorrectionOfChannelB)
{
    const int n = 64, lines = 32, delay = 3;
    const double step = -360.0 * delay / n;  // degrees per line
    QV_WIND_SETUP wind{};
    Lines cps(lines);
    Floats frameA(n), frameB = numora_test::RandomFloats(n, 70u), corr(n, 2.0f);  // |corr| = sqrt 8
    for (int i = 0; i < n; ++i)
        frameA[i] = 2.5f * frameB[(i - delay + n) % n];
    TIMtoCPS_WithDriveCorr(frameA.data(), frameB.data(), cps.data(), 10.0f, QV_AVG_LINEAR, QV_WIN_NONE,
                           QV_WINDOWSCALE_POWER, 0.0f, 0, QV_WEIGHT_NONE, n, lines, 1, 1, 1.0f, &wind, corr.data(),
                           false, true);
    // The frames now hold spectra: cps = 2.5 / sqrt 8 |B|^2 at the phase of the delay.
    for (int i = 0; i < lines; ++i) {
        const std::complex<double> b(static_cast<double>(L(frameB)[i].re), static_cast<double>(L(frameB)[i].im));
        const double pb = std::norm(b);
        const std::complex<double> expected = std::polar(2.5 / std::sqrt(8.0) * pb, step * i * M_PI / 180);
        const std::complex<double> actual(static_cast<double>(cps[i].re), static_cast<double>(cps[i].im));
        EXPECT_LT(std::abs(actual - expected), 3e-5 * pb + 1e-6) << i;
    }
    EXPECT_NEAR(step * 5, FFTtoCPSPhase(L(frameA), L(frameB), 54.0f, 10.0f, lines), 2e-3);
    EXPECT_EQ(0.0f, FFTtoCPSPhase(L(frameA), L(frameB), 315.0f, 10.0f, lines));  // rounds to line 32
    WindowReset(&wind);
}

TEST(CPStoFRF, OnlyAnExactZeroPowerGivesZeroWithNoFloorAndNoLimit)
{
    Lines cps = {{1, 2}, {3, -4}, {5, 6}, {1, 1}};
    Floats aps = {0.0f, -0.0f, 1e-40f, 2.0f}, apsA = {0, 1, 2, 1e-20f}, apsB = {1, 0, 2, 1e-20f}, coh(4);
    const Floats expected = {0, 0, 0, 0, INFINITY, INFINITY, 0.5f, 0.5f}, cohExpected = {0, 0, 15.25f, INFINITY};
    CPStoCOH(cps.data(), apsA.data(), apsB.data(), coh.data(), 4);
    CPStoFRF(cps.data(), aps.data(), cps.data(), 4);  // in place
    EXPECT_TRUE(BitEqual(expected.data(), F(cps), 8) && BitEqual(cohExpected.data(), coh.data(), 4));
}

TEST(FFTtoFRF_GatedUpdate, AcceptsRejectsAndResetsByUpdatedCoherence)
{
    // Line 1 of a, b, cps and both powers; the gate factor; the result and line 1 after the update as
    // {frf, cps, apsB, apsA}. alpha is 0.5: G = (X + cps) / 2, P = (|x|^2 + P) / 2.
    const struct Case { complex a, b, cps; float pb, pa, factor; int lines, result; float line[6]; } cases[] = {
        {{2, 0}, {2, 0}, {2, 0}, 2, 2, 0.0f, 2, 1, {1, 0, 3, 0, 3, 3}},  // G = (3, 0), Pa = Pb = 3: coherence 1
        // X = (0, -1), G = (0, -0.5), Pa = Pb = 1.5: coherence 1/9, not the 1 of X alone, is below 0.12...
        {{1, 0}, {0, 1}, {0, 0}, 2, 2, 0.12f, 2, 0, {9, 9, 0, 0, 2, 2}},
        // ... and a coherence exactly at the threshold passes.
        {{1, 0}, {0, 1}, {0, 0}, 2, 2, 0.25f / 2.25f, 2, 1, {0, -0.5f / 1.5f, 0, -0.5f, 1.5f, 1.5f}},
        // Each power blends its own spectrum: Pb = (1 + 1) / 2, Pa = (4 + 4) / 2.
        {{2, 0}, {1, 0}, {2, 0}, 1, 4, 0.5f, 2, 1, {2, 0, 2, 0, 1, 4}},
        {{1, 0}, {1, 0}, {10, 0}, 1, 1, 0.01f, 2, 0, {9, 9, 10, 0, 1, 1}},  // coherence 30.25 counts as 0
        {{1, 0}, {1, 0}, {10, 0}, 1, 1, 0.0f, 0, 0, {9, 9, 10, 0, 1, 1}}};  // no lines: only a and b cleared
    // Line 0 of a and b is cleared, which leaves no power: that line is reset, not counted.
    const float reset[] = {1, 0, 1, 0, 1, 0, 0, 0}, untouched[] = {9, 9, 0, 0, 0, 0, 0, 0};
    for (const auto& c : cases) {
        complex a[] = {{4, 4}, c.a}, b[] = {{3, 1}, c.b}, cps[] = {{0, 0}, c.cps}, frf[] = {{9, 9}, {9, 9}};
        float apsB[] = {0, c.pb}, apsA[] = {0, c.pa}, ref[] = {1, 1};
        int accepted[] = {-7, -7};
        EXPECT_EQ(c.result, FFTtoFRF_GatedUpdate(a, b, cps, apsB, apsA, ref, frf, c.lines, c.factor, 0.5f, accepted));
        const float line1[] = {frf[1].re, frf[1].im, cps[1].re, cps[1].im, apsB[1], apsA[1]};
        const float line0[] = {frf[0].re, frf[0].im, cps[0].re, cps[0].im, apsB[0], apsA[0], a[0].re, b[0].re};
        EXPECT_TRUE(BitEqual(c.line, line1, 6) && BitEqual(c.lines ? reset : untouched, line0, 8)) << c.factor;
        EXPECT_TRUE(accepted[0] == -7 && accepted[1] == (c.result ? 1 : -7));
    }
}

TEST(TIMtoCPS, FramesTooShortToTransformLeaveEverythingAlone)
{
    Floats a = {1, 2, 3, 4, 5, 6, 7, 8}, b = a, before = a;
    Lines cps(4);
    numora_test::FillSentinel(F(cps), 8);
    for (int frameSize : {0, 1, -5}) {
        TIMtoCPS(a.data(), b.data(), cps.data(), 1.0f, QV_AVG_LINEAR, QV_WIN_NONE, QV_WINDOWSCALE_POWER, 0.0f, 0,
                 QV_WEIGHT_NONE, frameSize, 4, 1, 0, 1.0f, nullptr);
        TIMtoCPS_WithDriveCorr(a.data(), b.data(), cps.data(), 1.0f, QV_AVG_LINEAR, QV_WIN_NONE,
                               QV_WINDOWSCALE_POWER, 0.0f, 0, QV_WEIGHT_NONE, frameSize, 4, 1, 0, 1.0f, nullptr,
                               before.data(), true, true);
    }
    EXPECT_TRUE(numora_test::HoldsSentinel(F(cps), 8) && a == before && b == before);
}

}  // namespace
