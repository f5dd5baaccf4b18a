#include "numora/spectrum/cross_spectrum.h"

#include <vector>

#include "tests/support/support.h"

namespace {

using namespace qv::math;
using numora_test::BitEqual;
using Floats = std::vector<float>;
using Lines = std::vector<complex>;

float* F(Lines& v) { return reinterpret_cast<float*>(v.data()); }
complex* L(Floats& v) { return reinterpret_cast<complex*>(v.data()); }

TEST(FFTtoCPS, WeightedUpdateBlendsTheFloatCrossProductInDouble)
{
    const int n = 24;
    Lines cps(n);
    numora_test::FillSentinel(F(cps), 2 * n);  // a first frame does not read cps
    Lines ref = cps;
    for (int k = 1; k <= 5; ++k) {
        Floats a = numora_test::RandomFloats(2 * n, 10u + k), b = numora_test::RandomFloats(2 * n, 20u + k);
        const double w = 1.0 / k;  // widened parts times w, old parts times 1 - w
        auto blend = [w](float x, float old) {
            return static_cast<float>(static_cast<double>(x) * w + static_cast<double>(old) * (1.0 - w));
        };
        for (int i = 0; i < n; ++i) {
            const complex p = L(a)[i], q = L(b)[i];
            const float rr = p.re * q.re, ii = p.im * q.im, ir = p.im * q.re, ri = p.re * q.im;
            // a * conj(b), each product and the sum in float
            ref[i] = k == 1 ? complex{rr + ii, ir - ri} : complex{blend(rr + ii, ref[i].re), blend(ir - ri, ref[i].im)};
        }
        FFTtoCPS(L(a), L(b), cps.data(), n, k);
        ASSERT_TRUE(BitEqual(F(ref), F(cps), 2 * n)) << "frame " << k;
    }
    // The frame count passes through float: 2^24 + 1 frames weigh as 2^24.
    complex one = {1, 0}, x = {1, 0}, avg = {0, 0};
    FFTtoCPS(&x, &one, &avg, 1, QV_AVG_LINEAR, 16777217, 0);
    EXPECT_EQ(0x1p-24f, avg.re);
    // Peak hold forms the new power in double: 1 + 2^-11 + 2^-23 beats the held
    // 1 + 2^-11, which float steps would only tie.
    complex held = {1 + 0x1p-12f, 0}, peak = {1 + 0x1p-12f, 0x1p-12f};
    FFTtoCPS(&peak, &one, &held, 1, QV_AVG_PEAK_HOLD, 2, 0);
    EXPECT_EQ(0x1p-12f, held.im);
}

TEST(FFTtoFRF_GatedUpdate, AcceptsFromTheThresholdOnAndBlendsEachPowerFromItsOwnSpectrum)
{
    // Line 1 of a, b, cps and both powers; the gate factor; the result and line 1 after the update as
    // {frf, cps, apsB, apsA}. alpha is 0.5: G = (X + cps) / 2, P = (|x|^2 + P) / 2.
    const struct Case { complex a, b, cps; float pb, pa, factor; int result; float line[6]; } cases[] = {
        {{2, 0}, {2, 0}, {2, 0}, 2, 2, 0.0f, 1, {1, 0, 3, 0, 3, 3}},  // G = (3, 0), Pa = Pb = 3: coherence 1
        {{2, 0}, {2, 0}, {2, 0}, 2, 2, 1.5f, 0, {9, 9, 2, 0, 2, 2}},  // ... which a threshold of 1.5 rejects
        // X = (0, -1), G = (0, -0.5), Pa = Pb = 1.5: a coherence of 1/9 exactly at the threshold passes.
        {{1, 0}, {0, 1}, {0, 0}, 2, 2, 0.25f / 2.25f, 1, {0, -0.5f / 1.5f, 0, -0.5f, 1.5f, 1.5f}},
        // Each power blends its own spectrum: Pb = (1 + 1) / 2, Pa = (4 + 4) / 2.
        {{2, 0}, {1, 0}, {2, 0}, 1, 4, 0.5f, 1, {2, 0, 2, 0, 1, 4}}};
    for (const auto& c : cases) {
        complex a[] = {{4, 4}, c.a}, b[] = {{3, 1}, c.b}, cps[] = {{0, 0}, c.cps}, frf[] = {{9, 9}, {9, 9}};
        float apsB[] = {0, c.pb}, apsA[] = {0, c.pa}, ref[] = {1, 1};
        int accepted[] = {-7, -7};
        EXPECT_EQ(c.result, FFTtoFRF_GatedUpdate(a, b, cps, apsB, apsA, ref, frf, 2, c.factor, 0.5f, accepted));
        const float line1[] = {frf[1].re, frf[1].im, cps[1].re, cps[1].im, apsB[1], apsA[1]};
        EXPECT_TRUE(BitEqual(c.line, line1, 6) && accepted[1] == (c.result ? 1 : -7)) << c.factor;
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
