#include "numora/analysis/integration.h"
#include "numora/analysis/integration_detail.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <vector>

#include "numora/foundation/array.h"
#include "numora/foundation/array_scan.h"
#include "numora/spectrum/rms.h"
#include "tests/support/drift_model.h"
#include "tests/support/support.h"

using namespace qv::math;
using numora_test::BitEqual;
using numora_test::PlainDrift;
using numora_test::RandomFloats;
using Block = std::vector<float>;

namespace {

TEST(Intg, FollowsTheRuleFromRestWithTheMeanInDoubleAndTheScalesOfTheUnits)
{
    // A constant 1 with scale 24 adds 9, 28 and 23, then 24 per step; with the
    // mean taken off, nothing.
    Block c(5, 1.0f), out(5);
    intg(out.data(), c.data(), 5, 24.0, false);
    const float steps[] = {9, 37, 60, 84, 108};
    EXPECT_TRUE(BitEqual(steps, out.data(), 5));
    intg(out.data(), c.data(), 5, 24.0, true);
    EXPECT_TRUE(BitEqual(Block(5, 0.0f).data(), out.data(), 5));

    // The sample widened before 9 x, the scale divided by 24: 9 x in float,
    // or the scale times 1/24, would round the sum otherwise.
    const double scale = 9.80665 / 5014.0;
    double s[4] = {0.0, 0.0, 0.0, 0.0};
    float x = 0x1.000002p0f;
    intg_continuous(out.data(), &x, 1, s[0], s[1], s[2], s[3], scale);
    EXPECT_EQ((9.0 * static_cast<double>(x)) * (scale / 24.0), s[0]);
    // Left to right: 9 x - 5 x2 cancel before x3 comes in, which another order
    // would lose against 45 * 2^56.
    double big[4] = {0.0, 0.0, 9.0 * 0x1p56, 1.0};
    x = 5.0f * 0x1p56f;
    intg_continuous(out.data(), &x, 1, big[0], big[1], big[2], big[3], 24.0);
    EXPECT_EQ(1.0f, out[0]);

    // The mean taken in place in double, the samples less it rounded to
    // float, then integrated: a float mean, or the unrounded differences,
    // would change these outputs.
    float y[3] = {1004.875f, 1000.75f, 1005.125f}, centred[3], expected[3];
    for (int i = 0; i < 3; ++i)
        centred[i] = static_cast<float>(static_cast<double>(y[i]) - 3010.75 / 3.0);
    intg(expected, centred, 3, 24.0, false);
    intg(y, y, 3, 24.0, true);
    EXPECT_TRUE(BitEqual(expected, y, 3));

    // accel_to_vel and vel_to_disp take the scales of their units.
    Block z = RandomFloats(64, 5), ref(64);
    out.resize(64);
    accel_to_vel(out.data(), z.data(), 5014.0, 64, qv::UnitSysEnglish, true);
    intg(ref.data(), z.data(), 64, 386.088582283355 / 5014.0, true);
    EXPECT_TRUE(BitEqual(ref.data(), out.data(), 64));
    vel_to_disp(out.data(), z.data(), 5014.0, 64, qv::UnitSysMetric, false);
    intg(ref.data(), z.data(), 64, 1000.0 / 5014.0, false);
    EXPECT_TRUE(BitEqual(ref.data(), out.data(), 64));
}

TEST(RemoveMovingMean, EveryPathFollowsTheRuleBitForBit)
{
    // Odd windows divide by w; lanes are left over at the end of the body;
    // w = 0 and -1 have an empty window and a factor of 1/0 or -1, so every mean is NaN or -0; below
    // that dst is a copy. Spikes of +-2^40 make each window's rounding depend
    // on the order of its sum.
    Block x = RandomFloats(700, 13);
    for (int i = 0; i < 700; i += 7)
        x[i + 3 * (i % 2)] = i % 2 ? -0x1p40f : 0x1p40f;
    for (auto path : {detail::DriftPath::Sse2, detail::DriftPath::Avx2})
        for (int n : {700, 531, 37})
            for (int w = detail::DriftPathAvailable(path) ? -7 : 702; w <= 701; w += w < 16 ? 1 : 67) {
                const Block src(x.begin(), x.begin() + n);
                Block y(n);
                detail::RemoveMovingMeanOnPath(path, y.data(), src.data(), n, w);
                ASSERT_TRUE(BitEqual(PlainDrift(src, w).data(), y.data(), n)) << n << " " << w;
            }
}

TEST(ScanUnitLimits, BlocksOfARunMatchTheComposedStepsToTheBit)
{
    // At 5014 samples per second w = 500, and each tabled constant over the
    // rate, and each scale over 24, differ from the same times a reciprocal;
    // at 1000, w = 99 and the English scale is 386.088582283355 / 1000, one
    // ulp below 0.386088582283355. 300 samples are too few for w = 500, and
    // a scale of 0 is no factor. A rate whose window has no int takes the
    // widest window, which filters nothing.
    struct Case {
        qv::UnitSys units;
        int n;
        double rate, scale, vel, disp;
        int w;
    };
    const Case cases[] = {{qv::UnitSysSI, 1500, 5014.0, 2.5, 1.0, 1000.0, 500},
                          {qv::UnitSysEnglish, 300, 5014.0, 0.0, 386.088582283355, 1.0, 500},
                          {qv::UnitSysMetric, 1500, 5014.0, 1.0, 9.80665, 1000.0, 500},
                          {qv::UnitSysEnglish, 1500, 1000.0, 1.0, 386.088582283355, 1.0, 99},
                          {qv::UnitSysSI, 300, std::numeric_limits<double>::quiet_NaN(), 1.0, 1.0, 1000.0, INT_MAX}};
    for (const Case& c : cases) {
        const int n = c.n;
        Block accel(n), vel(n), disp(n), scratch(n);
        SCAN_UNIT_LIMITS r{accel.data(), vel.data(), disp.data(), scratch.data(), n, c.units, c.rate, c.scale, true,
                           0.125, 0u, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, {}, {}};
        double vs[4] = {}, ds[4] = {};
        float lim[9] = {}, rms = 0.0f;
        // Quieter blocks keep the limits and the RMS; frameCount 0 restarts
        // them for the third block, while the integrators carry on.
        for (int b = 0; b < 3; ++b) {
            Block x = RandomFloats(n, 17 + b), sv(n), sd(n);
            for (float& v : x)
                v *= 1.0f / static_cast<float>(1 << b);
            std::copy(x.begin(), x.end(), accel.begin());
            if (b == 2)
                r.frameCount = 0;
            const std::size_t allocations = numora_test::AllocationCount();
            ScanUnitLimits(r);
            EXPECT_EQ(allocations, numora_test::AllocationCount());

            if (c.scale != 0.0 && c.scale != 1.0)
                ArrayScale(x.data(), n, static_cast<float>(c.scale));
            ArraySum(x.data(), -0.125f, n);
            const float blockRms = static_cast<float>(RMS_TIM(x.data(), n));
            rms = b == 1 ? std::max(rms, blockRms) : blockRms;
            const Block ax = PlainDrift(x, c.w);
            intg_continuous(sv.data(), const_cast<float*>(ax.data()), n, vs[0], vs[1], vs[2], vs[3], c.vel / c.rate);
            const Block vx = PlainDrift(sv, c.w);
            intg_continuous(sd.data(), const_cast<float*>(vx.data()), n, ds[0], ds[1], ds[2], ds[3], c.disp / c.rate);
            const Block dx = PlainDrift(sd, c.w);
            const Block* q[3] = {&x, &vx, &dx};
            for (int k = 0; k < 3; ++k) {
                ArrayMinMax(q[k]->data(), n, lim[3 * k], lim[3 * k + 1], b != 1);
                lim[3 * k + 2] = std::max(std::fabs(lim[3 * k]), std::fabs(lim[3 * k + 1]));
            }
            const float got[] = {r.accelMin, r.accelMax, r.accelPeak, r.velMin, r.velMax,
                                 r.velPeak,  r.dispMin,  r.dispMax,   r.dispPeak};
            EXPECT_TRUE(BitEqual(lim, got, 9)) << c.units << " " << b;
            EXPECT_EQ(rms, r.accelRms);
            EXPECT_TRUE(BitEqual(ax.data(), accel.data(), n));
            EXPECT_TRUE(BitEqual(vx.data(), vel.data(), n));
            EXPECT_TRUE(BitEqual(dx.data(), disp.data(), n));
        }
    }
}

}  // namespace
