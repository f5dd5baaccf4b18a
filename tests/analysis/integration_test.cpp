#include "numora/analysis/integration.h"
#include "numora/analysis/integration_detail.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "numora/foundation/array.h"
#include "numora/foundation/array_scan.h"
#include "numora/spectrum/rms.h"
#include "tests/support/support.h"

using namespace qv::math;
using numora_test::BitEqual;
using numora_test::RandomFloats;
using Block = std::vector<float>;

namespace {

// The rule written by index, the samples before the block taken as 0:
// acc += (9 x[i] + 19 x[i-1] - 5 x[i-2] + x[i-3]) * (scale / 24).
Block RefIntegrate(const Block& x, double scale, double* end = nullptr)
{
    auto at = [&](int i) { return i < 0 ? 0.0 : static_cast<double>(x[i]); };
    Block out(x.size());
    double acc = 0.0;
    for (int i = 0; i < static_cast<int>(x.size()); ++i) {
        acc += (9.0 * at(i) + 19.0 * at(i - 1) - 5.0 * at(i - 2) + at(i - 3)) * (scale / 24.0);
        out[i] = static_cast<float>(acc);
    }
    if (end != nullptr)
        *end = acc;
    return out;
}

// Each sample less the mean of the 2h samples around the nearest sample whose
// window fits, the window summed in double from its start and divided by w; a
// NaN is the default one.
Block RefDrift(const Block& s, int w)
{
    const int n = static_cast<int>(s.size()), h = w / 2;
    if (h < 0 || n <= 2 * h)
        return s;
    Block out(n);
    for (int i = 0; i < n; ++i) {
        const int c = std::min(std::max(i, h), n - h - 1);
        double sum = 0.0;
        for (int j = c - h; j < c + h; ++j)
            sum += static_cast<double>(s[j]);
        out[i] = static_cast<float>(static_cast<double>(s[i]) - sum * (1.0 / w));
        if (std::isnan(out[i]))
            out[i] = std::numeric_limits<float>::quiet_NaN();
    }
    return out;
}

TEST(Intg, FollowsTheRuleToTheBitFromRestWithTheMeanInDouble)
{
    // A constant 1 with scale 24 adds 9, 28 and 23, then 24 per step.
    Block c(5, 1.0f), out(5);
    intg(out.data(), c.data(), 5, 24.0, false);
    const float steps[] = {9, 37, 60, 84, 108};
    EXPECT_TRUE(BitEqual(steps, out.data(), 5));
    intg(out.data(), c.data(), 5, 24.0, true);
    EXPECT_TRUE(BitEqual(Block(5, 0.0f).data(), out.data(), 5));

    // Samples near 1000, the mean taken in place: a mean rounded to float
    // would shift every difference.
    const double scale = 9.80665 / 5014.0;
    Block x = RandomFloats(1000, 3), centred(1000);
    double sum = 0.0;
    for (float& v : x)
        sum += static_cast<double>(v += 1000.0f);
    for (int i = 0; i < 1000; ++i)
        centred[i] = static_cast<float>(static_cast<double>(x[i]) - sum / 1000.0);
    intg(x.data(), x.data(), 1000, scale, true);
    EXPECT_TRUE(BitEqual(RefIntegrate(centred, scale).data(), x.data(), 1000));

    // Left to right: 9 x - 5 x2 cancel before x3 comes in, which another order
    // would lose against 45 * 2^56.
    double s[4] = {0.0, 0.0, 9.0 * 0x1p56, 1.0};
    float big = 5.0f * 0x1p56f;
    intg_continuous(out.data(), &big, 1, s[0], s[1], s[2], s[3], 24.0);
    EXPECT_EQ(1.0f, out[0]);

    numora_test::FillSentinel(out.data(), 4);
    intg(out.data(), x.data(), 0, scale, true);
    intg_continuous(out.data(), x.data(), -1, sum, sum, sum, sum, scale);
    accel_to_vel(out.data(), x.data(), 1000.0, 0, qv::UnitSysSI, false);
    EXPECT_TRUE(numora_test::HoldsSentinel(out.data(), 4));
}

TEST(Intg, UnitSetsDivideTheirTabledConstantsByTheRateAndOthersGiveZero)
{
    Block x = RandomFloats(64, 5), out(64), ref(64);
    const double vel[] = {1.0, 386.088582283355, 9.80665, 0.0}, disp[] = {1000.0, 1.0, 1000.0, 0.0};
    for (int u = 0; u < 4; ++u) {
        accel_to_vel(out.data(), x.data(), 5014.0, 64, static_cast<qv::UnitSys>(u), u == 1);
        intg(ref.data(), x.data(), 64, vel[u] / 5014.0, u == 1);
        EXPECT_TRUE(BitEqual(ref.data(), out.data(), 64)) << u;
        vel_to_disp(out.data(), x.data(), 5014.0, 64, static_cast<qv::UnitSys>(u), u == 2);
        intg(ref.data(), x.data(), 64, disp[u] / 5014.0, u == 2);
        EXPECT_TRUE(BitEqual(ref.data(), out.data(), 64)) << u;
    }
    EXPECT_TRUE(BitEqual(Block(64, 0.0f).data(), out.data(), 64));
}

TEST(IntgContinuous, ShortBlocksGiveTheBitsOfOneLongBlockWhereIntgRestarts)
{
    // The scale over 24 differs from the scale times 1/24, which the
    // accumulator shows.
    const double scale = 9.80665 / 5014.0;
    Block x = RandomFloats(1000, 11), whole(1000), pieces(1000);
    double s1[4] = {}, s2[4] = {}, end = 0.0;
    intg_continuous(whole.data(), x.data(), 1000, s1[0], s1[1], s1[2], s1[3], scale);
    EXPECT_TRUE(BitEqual(RefIntegrate(x, scale, &end).data(), whole.data(), 1000));
    EXPECT_EQ(end, s1[0]);
    int at = 0;
    for (int len : {1, 2, 3, 7, 500, 487}) {
        intg_continuous(pieces.data() + at, x.data() + at, len, s2[0], s2[1], s2[2], s2[3], scale);
        at += len;
    }
    EXPECT_TRUE(BitEqual(whole.data(), pieces.data(), 1000));
    EXPECT_TRUE(BitEqual(s1, s2, 4));
    EXPECT_EQ(static_cast<double>(x[997]), s1[3]);
    intg(pieces.data() + 500, x.data() + 500, 500, scale, false);
    EXPECT_NE(whole[999], pieces[999]);
}

TEST(RemoveMovingMean, OddWindowDividesByWAndEdgesTakeTheNearestFullWindow)
{
    // w = 3: h = 1, windows of two samples, factor 1/3.
    const Block s = {1, 2, 3, 4, 5};
    Block out(5);
    RemoveMovingMean(out.data(), s.data(), 5, 3);
    const float hand[] = {0.0f, 1.0f, static_cast<float>(3 - 5.0 / 3), static_cast<float>(4 - 7.0 / 3),
                          static_cast<float>(5 - 7.0 / 3)};
    EXPECT_TRUE(BitEqual(hand, out.data(), 5));

    // Every path against the plain loop, with lanes left over at the end of
    // the body. w = 0 and -1 have an empty window and a factor of 1/0 or -1,
    // so every mean is NaN or -0; below that h < 0 and dst is a copy. Spikes
    // of +-2^40 make each window's rounding depend on the order of its sum.
    // A second block has infinities and NaNs of many payloads and both signs:
    // whichever NaN an addition passes on, a NaN mean gives the default NaN.
    Block x = RandomFloats(700, 13), z = RandomFloats(700, 14);
    for (int i = 0; i < 700; i += 7)
        x[i + 3 * (i % 2)] = i % 2 ? -0x1p40f : 0x1p40f;
    for (uint32_t i = 0; i < 700; i += 37) {
        const uint32_t bits = (i % 2 ? 0xffc00000u : 0x7fc00000u) | (i * 977u);
        std::memcpy(&z[i], &bits, sizeof bits);
        z[i + 17] = i % 2 ? -INFINITY : INFINITY;
        z[i + 3] = -0.0f;
    }
    for (auto path : {detail::DriftPath::Sse2, detail::DriftPath::Avx2})
        for (const Block* in : {&x, &z})
            for (int n : {700, 531, 37})
                for (int w = detail::DriftPathAvailable(path) ? -7 : 702; w <= 701; w += w < 16 ? 1 : 67) {
                    const Block s(in->begin(), in->begin() + n);
                    Block y(n);
                    detail::RemoveMovingMeanOnPath(path, y.data(), s.data(), n, w);
                    ASSERT_TRUE(BitEqual(RefDrift(s, w).data(), y.data(), n)) << n << " " << w;
                }
}

// A run over caller-owned blocks of n samples, the record's fields in order.
struct ScanRun {
    Block accel, vel, disp, scratch;
    SCAN_UNIT_LIMITS rec;
    ScanRun(int n, double rate, qv::UnitSys units, double scale)
        : accel(n), vel(n), disp(n), scratch(n),
          rec{accel.data(), vel.data(), disp.data(), scratch.data(), n, units, rate, scale, true, 0.0, 0u,
              0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, {}, {}}
    {
    }
    void Scan(const Block& a)
    {
        std::copy(a.begin(), a.begin() + rec.count, accel.begin());
        ScanUnitLimits(rec);
    }
};

TEST(ScanUnitLimits, BlocksOfARunMatchTheComposedStepsToTheBit)
{
    // At 5014 samples per second w = 500, and each tabled constant over the
    // rate, and each scale over 24, differ from the same times a reciprocal;
    // at 1000, w = 99 and the English scale is 386.088582283355 / 1000, one
    // ulp below 0.386088582283355. 300 samples are too few for w = 500, and
    // a scale of 0 is no factor.
    const int units[] = {0, 1, 2, 1}, counts[] = {1500, 300, 1500, 1500};
    const double rates[] = {5014.0, 5014.0, 5014.0, 1000.0}, scales[] = {2.5, 0.0, 1.0, 1.0};
    const double vel[] = {1.0, 386.088582283355, 9.80665, 386.088582283355}, disp[] = {1000.0, 1.0, 1000.0, 1.0};
    for (int u = 0; u < 4; ++u) {
        const int n = counts[u], w = rates[u] == 1000.0 ? 99 : 500;
        ScanRun run(n, rates[u], static_cast<qv::UnitSys>(units[u]), scales[u]);
        run.rec.offset = 0.125 * u;
        double vs[4] = {}, ds[4] = {};
        float lim[9] = {}, rms = 0.0f;
        // Quieter blocks keep the limits and the RMS; frameCount 0 restarts
        // them for the third block, while the integrators carry on.
        for (int b = 0; b < 3; ++b) {
            Block x = RandomFloats(n, 17 + b), sv(n), sd(n);
            for (float& v : x)
                v *= 1.0f / static_cast<float>(1 << b);
            if (b == 2)
                run.rec.frameCount = 0;
            const std::size_t allocations = numora_test::AllocationCount();
            run.Scan(x);
            EXPECT_EQ(allocations, numora_test::AllocationCount());

            if (u == 0)
                ArrayScale(x.data(), n, 2.5f);
            ArraySum(x.data(), static_cast<float>(-0.125 * u), n);
            const float blockRms = static_cast<float>(RMS_TIM(x.data(), n));
            rms = b == 1 ? std::max(rms, blockRms) : blockRms;
            const Block ax = RefDrift(x, w);
            intg_continuous(sv.data(), const_cast<float*>(ax.data()), n, vs[0], vs[1], vs[2], vs[3], vel[u] / rates[u]);
            const Block vx = RefDrift(sv, w);
            intg_continuous(sd.data(), const_cast<float*>(vx.data()), n, ds[0], ds[1], ds[2], ds[3], disp[u] / rates[u]);
            const Block dx = RefDrift(sd, w);
            const Block* q[3] = {&x, &vx, &dx};
            for (int k = 0; k < 3; ++k) {
                ArrayMinMax(q[k]->data(), n, lim[3 * k], lim[3 * k + 1], b != 1);
                lim[3 * k + 2] = std::max(std::fabs(lim[3 * k]), std::fabs(lim[3 * k + 1]));
            }
            const SCAN_UNIT_LIMITS& r = run.rec;
            const float got[] = {r.accelMin, r.accelMax, r.accelPeak, r.velMin, r.velMax,
                                 r.velPeak,  r.dispMin,  r.dispMax,   r.dispPeak};
            EXPECT_TRUE(BitEqual(lim, got, 9)) << u << " " << b;
            EXPECT_EQ(rms, r.accelRms);
            EXPECT_TRUE(BitEqual(ax.data(), run.accel.data(), n));
            EXPECT_TRUE(BitEqual(vx.data(), run.vel.data(), n));
            EXPECT_TRUE(BitEqual(dx.data(), run.disp.data(), n));
        }
        EXPECT_TRUE(BitEqual(vs, run.rec.velState, 4)) << u;
        EXPECT_TRUE(BitEqual(ds, run.rec.dispState, 4)) << u;
        run.rec.count = 0;  // a count below 1 touches nothing
        ScanUnitLimits(run.rec);
        EXPECT_EQ(1u, run.rec.frameCount);
    }

    ScanRun slow(300, 10.0, qv::UnitSysSI, 1.0);  // w = 0: every mean is 0 * (1/0)
    Block x = RandomFloats(300, 23);
    slow.Scan(x);
    EXPECT_TRUE(std::isnan(slow.accel[0]) && std::isnan(slow.accel[299]));
    ScanRun odd(300, std::numeric_limits<double>::quiet_NaN(), qv::UnitSysSI, 1.0);
    odd.Scan(x);  // a window with no int filters nothing
    EXPECT_TRUE(BitEqual(x.data(), odd.accel.data(), 300));
}

}  // namespace
