#include "numora/analysis/integration.h"
#include "numora/analysis/integration_detail.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "numora/foundation/array.h"
#include "numora/foundation/array_scan.h"
#include "tests/support/support.h"

using namespace qv::math;
using numora_test::BitEqual;
using numora_test::RandomFloats;
using Block = std::vector<float>;

namespace {

const double kPi = 3.141592653589793;

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
// window fits, the window summed in double from its start and divided by w.
Block RefDrift(const Block& s, int w)
{
    const int n = static_cast<int>(s.size()), h = w / 2;
    if (n <= 2 * h)
        return s;
    Block out(n);
    for (int i = 0; i < n; ++i) {
        const int c = std::min(std::max(i, h), n - h - 1);
        double sum = 0.0;
        for (int j = c - h; j < c + h; ++j)
            sum += static_cast<double>(s[j]);
        out[i] = static_cast<float>(static_cast<double>(s[i]) - sum * (1.0 / w));
    }
    return out;
}

TEST(Intg, FollowsTheRuleToTheBitFromRestWithTheMeanInDouble)
{
    // A constant c with scale T: 9/24, 28/24 and 23/24 of cT, then cT per step.
    Block c(6, 0.75f), out(6);
    intg(out.data(), c.data(), 6, 2.0, false);
    const double cumulative[6] = {9, 37, 60, 84, 108, 132};
    for (int i = 0; i < 6; ++i)
        EXPECT_NEAR(0.75 * 2.0 * cumulative[i] / 24.0, out[i], 1e-6) << i;
    intg(out.data(), c.data(), 6, 2.0, true);
    EXPECT_TRUE(BitEqual(Block(6, 0.0f).data(), out.data(), 6));

    // Samples near 1000: a mean rounded to float would shift every difference.
    const double scale = 9.80665 / 51200.0;
    Block x = RandomFloats(1000, 3), centred(1000), inPlace(1000);
    double acc = 0.0, accRef = 0.0, x1 = 0.0, x2 = 0.0, x3 = 0.0, sum = 0.0;
    out.resize(1000);
    intg_continuous(out.data(), x.data(), 1000, acc, x1, x2, x3, scale);
    RefIntegrate(x, scale, &accRef);
    EXPECT_EQ(accRef, acc);
    for (float& v : x)
        sum += static_cast<double>(v += 1000.0f);
    for (int i = 0; i < 1000; ++i)
        centred[i] = static_cast<float>(static_cast<double>(x[i]) - sum / 1000.0);
    intg(out.data(), x.data(), 1000, scale, false);
    EXPECT_TRUE(BitEqual(RefIntegrate(x, scale).data(), out.data(), 1000));
    inPlace = x;
    intg(inPlace.data(), inPlace.data(), 1000, scale, true);
    EXPECT_TRUE(BitEqual(RefIntegrate(centred, scale).data(), inPlace.data(), 1000));

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
    Block x = RandomFloats(64, 5), out(64);
    const double vel[] = {1.0, 386.088582283355, 9.80665}, disp[] = {1000.0, 1.0, 1000.0};
    for (int u = 0; u < 3; ++u) {
        accel_to_vel(out.data(), x.data(), 5120.0, 64, static_cast<qv::UnitSys>(u), false);
        EXPECT_TRUE(BitEqual(RefIntegrate(x, vel[u] / 5120.0).data(), out.data(), 64)) << u;
        vel_to_disp(out.data(), x.data(), 2560.0, 64, static_cast<qv::UnitSys>(u), false);
        EXPECT_TRUE(BitEqual(RefIntegrate(x, disp[u] / 2560.0).data(), out.data(), 64)) << u;
    }
    vel_to_disp(out.data(), x.data(), 1000.0, 64, static_cast<qv::UnitSys>(3), false);
    EXPECT_TRUE(BitEqual(Block(64, 0.0f).data(), out.data(), 64));
}

TEST(IntgContinuous, ShortBlocksGiveTheBitsOfOneLongBlockWhereIntgRestarts)
{
    Block x = RandomFloats(1000, 11), whole(1000), pieces(1000);
    double s1[4] = {0.5, 0.25, -0.125, 2.0}, s2[4] = {0.5, 0.25, -0.125, 2.0};
    intg_continuous(whole.data(), x.data(), 1000, s1[0], s1[1], s1[2], s1[3], 0.01);
    int at = 0;
    for (int len : {1, 2, 3, 7, 500, 487}) {
        intg_continuous(pieces.data() + at, x.data() + at, len, s2[0], s2[1], s2[2], s2[3], 0.01);
        at += len;
    }
    EXPECT_TRUE(BitEqual(whole.data(), pieces.data(), 1000));
    EXPECT_TRUE(BitEqual(s1, s2, 4));
    EXPECT_EQ(static_cast<double>(x[997]), s1[3]);
    intg(pieces.data() + 500, x.data() + 500, 500, 0.01, false);
    EXPECT_NE(whole[999], pieces[999]);
}

TEST(IntgContinuous, SineAccelerationToAnalyticVelocityAndDisplacement)
{
    // Displacement D sin(wt), 256 samples a cycle, m/s^2 to m/s to mm; both
    // integrators start from the exact state at t = 0.
    const double r = 25600.0, w = 2.0 * kPi * 100.0, D = 0.5e-3;
    // Samples as the block holds them: rounded to float.
    auto sample = [](double v) { return static_cast<double>(static_cast<float>(v)); };
    auto accel = [&](int i) { return sample(-D * w * w * std::sin(w * i / r)); };
    auto speed = [&](int i) { return sample(D * w * std::cos(w * i / r)); };
    Block a(1024), v(1024), d(1024);
    for (int i = 0; i < 1024; ++i)
        a[i] = static_cast<float>(accel(i + 1));
    double sv[4] = {D * w, accel(0), accel(-1), accel(-2)}, sd[4] = {0.0, speed(0), speed(-1), speed(-2)};
    intg_continuous(v.data(), a.data(), 1024, sv[0], sv[1], sv[2], sv[3], 1.0 / r);
    intg_continuous(d.data(), v.data(), 1024, sd[0], sd[1], sd[2], sd[3], 1000.0 / r);
    for (int i = 0; i < 1024; ++i) {
        ASSERT_NEAR(D * w * std::cos(w * (i + 1) / r), v[i], 1e-6 * D * w) << i;
        ASSERT_NEAR(1000.0 * D * std::sin(w * (i + 1) / r), d[i], 1e-6 * 1000.0 * D) << i;
    }
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
    // the body; below one sample no window: a copy, never a NaN. Spikes of
    // +-2^40 make each window's rounding depend on the order of its sum.
    Block x = RandomFloats(700, 13);
    for (int i = 0; i < 700; i += 7)
        x[i + 3 * (i % 2)] = i % 2 ? -0x1p40f : 0x1p40f;
    for (auto path : {detail::DriftPath::Sse2, detail::DriftPath::Avx2})
        for (int n : {700, 531, 37})
            for (int w = detail::DriftPathAvailable(path) ? -7 : 702; w <= 701; w += w < 16 ? 1 : 67) {
                const Block s(x.begin(), x.begin() + n);
                Block y(n);
                detail::RemoveMovingMeanOnPath(path, y.data(), s.data(), n, w);
                ASSERT_TRUE(BitEqual(RefDrift(s, std::max(w, 1)).data(), y.data(), n)) << n << " " << w;
            }
}

// A run over caller-owned blocks of n samples.
struct ScanRun {
    Block accel, vel, disp, scratch;
    SCAN_UNIT_LIMITS rec{};
    ScanRun(int n, double rate, qv::UnitSys units, double scale)
        : accel(n), vel(n), disp(n), scratch(n)
    {
        rec.accel = accel.data();
        rec.vel = vel.data();
        rec.disp = disp.data();
        rec.scratch = scratch.data();
        rec.count = n;
        rec.unitSys = units;
        rec.sampleRate = rate;
        rec.scale = scale;
        rec.computeRms = true;
    }
    void Scan(const Block& a)
    {
        std::copy(a.begin(), a.begin() + rec.count, accel.begin());
        ScanUnitLimits(rec);
    }
};

TEST(ScanUnitLimits, BlocksOfARunMatchTheComposedStepsToTheBit)
{
    // At 5120 samples per second the window is w = 511: 300 samples are too
    // few for it, and a scale of 0 is no factor.
    const double vel[] = {1.0, 386.088582283355, 9.80665}, disp[] = {1000.0, 1.0, 1000.0};
    const int counts[] = {1500, 300, 1500};
    const double scales[] = {2.5, 0.0, 1.0};
    for (int u = 0; u < 3; ++u) {
        const int n = counts[u];
        ScanRun run(n, 5120.0, static_cast<qv::UnitSys>(u), scales[u]);
        run.rec.offset = 0.125 * u;
        Block sv(n), sd(n);
        double vs[4] = {}, ds[4] = {};
        float lo = 0, hi = 0;
        for (int b = 0; b < 2; ++b) {
            Block x = RandomFloats(n, 17 + b);
            const std::size_t allocations = numora_test::AllocationCount();
            run.Scan(x);
            EXPECT_EQ(allocations, numora_test::AllocationCount());
            if (u == 0)
                ArrayScale(x.data(), n, 2.5f);
            ArraySum(x.data(), static_cast<float>(-0.125 * u), n);
            ArrayMinMax(x.data(), n, lo, hi, b == 0);
            EXPECT_EQ(lo, run.rec.accelMin);
            EXPECT_EQ(std::max(-lo, hi), run.rec.accelPeak);
            const Block ax = RefDrift(x, 511);
            intg_continuous(sv.data(), const_cast<float*>(ax.data()), n, vs[0], vs[1], vs[2], vs[3], vel[u] / 5120.0);
            const Block vx = RefDrift(sv, 511);
            intg_continuous(sd.data(), const_cast<float*>(vx.data()), n, ds[0], ds[1], ds[2], ds[3], disp[u] / 5120.0);
            EXPECT_TRUE(BitEqual(ax.data(), run.accel.data(), n));
            EXPECT_TRUE(BitEqual(vx.data(), run.vel.data(), n));
            EXPECT_TRUE(BitEqual(RefDrift(sd, 511).data(), run.disp.data(), n));
        }
        EXPECT_TRUE(BitEqual(vs, run.rec.velState, 4)) << u;
        EXPECT_TRUE(BitEqual(ds, run.rec.dispState, 4)) << u;
        EXPECT_EQ(2u, run.rec.frameCount);
    }
}

TEST(ScanUnitLimits, KnownSineLimitsOnlyWidenOverARunAndRestartAtFrameZero)
{
    // Displacement D cos(wt) at 80.3 Hz, 5120 samples per second: eight cycles
    // in the 510 samples of the drift window. From rest the velocity then starts
    // at its mean; an offset would keep 1/511 of itself through the filter (it
    // sums 510 samples over 511) and ramp the displacement.
    const double r = 5120.0, w = 2.0 * kPi * r * 8.0 / 510.0, D = 0.5e-3;
    ScanRun run(2048, r, qv::UnitSysSI, 1.0);
    Block loud(2048), quiet(2048);
    for (int blk = 0; blk < 4; ++blk) {
        for (int i = 0; i < 2048; ++i)
            loud[i] = static_cast<float>(-D * w * w * std::cos(w * (blk * 2048 + i) / r));
        run.Scan(loud);
    }
    EXPECT_NEAR(D * w * w, run.rec.accelPeak, 1e-4 * D * w * w);
    EXPECT_NEAR(D * w * w / std::sqrt(2.0), run.rec.accelRms, 1e-3 * D * w * w);
    EXPECT_NEAR(D * w, run.rec.velPeak, 0.01 * D * w);
    EXPECT_NEAR(1000.0 * D, run.rec.dispPeak, 0.01 * 1000.0 * D);

    const SCAN_UNIT_LIMITS before = run.rec;
    for (int i = 0; i < 2048; ++i)
        quiet[i] = 0.1f * loud[i];
    run.Scan(quiet);
    EXPECT_EQ(before.accelPeak, run.rec.accelPeak);
    EXPECT_EQ(before.accelRms, run.rec.accelRms);
    EXPECT_EQ(before.velMax, run.rec.velMax);
    EXPECT_EQ(before.dispMin, run.rec.dispMin);
    run.rec.count = 0;  // a count below 1 touches nothing
    ScanUnitLimits(run.rec);
    EXPECT_EQ(5u, run.rec.frameCount);

    run.rec.count = 2048;
    run.rec.frameCount = 0;
    run.Scan(quiet);
    EXPECT_NEAR(0.1 * D * w * w, run.rec.accelPeak, 1e-3 * D * w * w);
    EXPECT_LT(run.rec.accelRms, 0.2f * before.accelRms);

    ScanRun slow(300, 10.0, qv::UnitSysSI, 1.0);  // a window of 0 samples: no NaN
    slow.Scan(quiet);
    EXPECT_TRUE(BitEqual(quiet.data(), slow.accel.data(), 300));
}

}  // namespace
