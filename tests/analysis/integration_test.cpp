#include "numora/analysis/integration.h"

#include <algorithm>
#include <cmath>
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

const double kPi = 3.141592653589793;

// The rule written by index, with the samples before the block taken as 0:
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

// Each sample less the mean of the window of 2h samples around the nearest
// sample whose window fits, the window summed in double from its start.
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

TEST(Intg, ConstantRampsInOverThreeStepsThenGainsCTPerStepAndMeanFreeIsZero)
{
    Block x(6, 0.75f), out(6);
    intg(out.data(), x.data(), 6, 2.0, false);
    const double cumulative[6] = {9, 37, 60, 84, 108, 132};  // 9, +28, +23, then +24 each
    for (int i = 0; i < 6; ++i)
        EXPECT_NEAR(0.75 * 2.0 * cumulative[i] / 24.0, out[i], 1e-6) << i;
    intg(out.data(), x.data(), 6, 2.0, true);
    EXPECT_TRUE(BitEqual(Block(6, 0.0f).data(), out.data(), 6));
}

TEST(Intg, MatchesTheIndexedRuleToTheBitInPlaceOrNotWithAndWithoutMean)
{
    Block x = RandomFloats(1000, 3), out(1000);
    const double scale = 9.80665 / 51200.0;
    double acc = 0.0, acc_ref = 0.0, x1 = 0.0, x2 = 0.0, x3 = 0.0;
    intg_continuous(out.data(), x.data(), 1000, acc, x1, x2, x3, scale);
    RefIntegrate(x, scale, &acc_ref);
    EXPECT_EQ(acc_ref, acc);

    // Samples near 1000: a mean rounded to float would shift every difference.
    for (float& v : x)
        v += 1000.0f;
    intg(out.data(), x.data(), 1000, scale, false);
    EXPECT_TRUE(BitEqual(RefIntegrate(x, scale).data(), out.data(), 1000));

    // The mean in double, the mean-free samples rounded to float, then integrated.
    double sum = 0.0;
    for (float v : x)
        sum += static_cast<double>(v);
    Block centred(1000);
    for (int i = 0; i < 1000; ++i)
        centred[i] = static_cast<float>(static_cast<double>(x[i]) - sum / 1000.0);
    Block inPlace = x;
    intg(inPlace.data(), inPlace.data(), 1000, scale, true);
    EXPECT_TRUE(BitEqual(RefIntegrate(centred, scale).data(), inPlace.data(), 1000));

    // Left to right: 9 x - 5 x2 cancel before x3 comes in, which a sum in
    // another order would lose against 45 * 2^56.
    double s[4] = {0.0, 0.0, 9.0 * 0x1p56, 1.0};
    float big = 5.0f * 0x1p56f;
    intg_continuous(out.data(), &big, 1, s[0], s[1], s[2], s[3], 24.0);
    EXPECT_EQ(1.0f, out[0]);

    numora_test::FillSentinel(out.data(), 4);
    intg(out.data(), x.data(), 0, scale, true);
    intg_continuous(out.data(), x.data(), -1, sum, sum, sum, sum, scale);
    EXPECT_TRUE(numora_test::HoldsSentinel(out.data(), 4));
}

TEST(UnitScales, EachUnitSetDividesItsTabledConstantByTheRate)
{
    Block x = RandomFloats(64, 5), out(64);
    const qv::UnitSys units[] = {qv::UnitSysSI, qv::UnitSysEnglish, qv::UnitSysMetric};
    const double vel[] = {1.0, 386.088582283355, 9.80665}, disp[] = {1000.0, 1.0, 1000.0};
    for (int u = 0; u < 3; ++u) {
        accel_to_vel(out.data(), x.data(), 1000.0, 64, units[u], false);
        EXPECT_TRUE(BitEqual(RefIntegrate(x, vel[u] / 1000.0).data(), out.data(), 64)) << u;
        vel_to_disp(out.data(), x.data(), 2560.0, 64, units[u], false);
        EXPECT_TRUE(BitEqual(RefIntegrate(x, disp[u] / 2560.0).data(), out.data(), 64)) << u;
    }
    // g to in/s at 1000 samples per second: 0.386088582283355 in/s per g and sample.
    Block ones(8, 1.0f);
    accel_to_vel(out.data(), ones.data(), 1000.0, 8, qv::UnitSysEnglish, false);
    EXPECT_NEAR(0.386088582283355, out[7] - out[6], 1e-7);
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
    EXPECT_EQ(static_cast<double>(x[999]), s1[1]);
    EXPECT_EQ(static_cast<double>(x[997]), s1[3]);

    intg(pieces.data() + 500, x.data() + 500, 500, 0.01, false);
    EXPECT_NE(whole[999], pieces[999]);
}

TEST(IntgContinuous, SineAccelerationToAnalyticVelocityAndDisplacement)
{
    // Displacement d = D sin(wt) in mm from acceleration in m/s^2, 256 samples
    // a cycle; both integrators start from the exact state at t = 0.
    const double r = 25600.0, w = 2.0 * kPi * 100.0, D = 0.5e-3;
    auto accel = [&](int i) { return static_cast<float>(-D * w * w * std::sin(w * i / r)); };
    auto speed = [&](int i) { return static_cast<float>(D * w * std::cos(w * i / r)); };
    const int n = 1024;
    Block a(n), v(n), d(n);
    for (int i = 0; i < n; ++i)
        a[i] = accel(i + 1);
    double sv[4] = {D * w, accel(0), accel(-1), accel(-2)};
    double sd[4] = {0.0, speed(0), speed(-1), speed(-2)};
    intg_continuous(v.data(), a.data(), n, sv[0], sv[1], sv[2], sv[3], 1.0 / r);
    intg_continuous(d.data(), v.data(), n, sd[0], sd[1], sd[2], sd[3], 1000.0 / r);
    for (int i = 0; i < n; ++i) {
        const double t = (i + 1) / r;
        ASSERT_NEAR(D * w * std::cos(w * t), v[i], 1e-6 * D * w) << i;
        ASSERT_NEAR(1000.0 * D * std::sin(w * t), d[i], 1e-6 * 1000.0 * D) << i;
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

    const Block x = RandomFloats(700, 13);
    for (int w : {2, 3, 8, 63, 64, 511, 699, 700, 701}) {
        Block y(700);
        RemoveMovingMean(y.data(), x.data(), 700, w);
        EXPECT_TRUE(BitEqual(RefDrift(x, w).data(), y.data(), 700)) << w;
    }
    // No window below one sample: a copy, never a NaN.
    for (int w : {0, -1, -7}) {
        Block y(700);
        RemoveMovingMean(y.data(), x.data(), 700, w);
        EXPECT_TRUE(BitEqual(x.data(), y.data(), 700)) << w;
    }
}

// A run record over caller-owned blocks of n samples.
struct ScanRun {
    Block accel, vel, disp, scratch;
    SCAN_UNIT_LIMITS rec{};
    ScanRun(int n, double rate, qv::UnitSys units) : accel(n), vel(n), disp(n), scratch(n)
    {
        rec.accel = accel.data();
        rec.vel = vel.data();
        rec.disp = disp.data();
        rec.scratch = scratch.data();
        rec.count = n;
        rec.unitSys = units;
        rec.sampleRate = rate;
        rec.scale = 1.0;
        rec.computeRms = true;
    }
    void Scan(const Block& a)
    {
        accel = a;
        ScanUnitLimits(rec);
    }
};

TEST(ScanUnitLimits, TwoBlocksMatchTheComposedStepsToTheBitInEveryUnitSet)
{
    // At 5120 samples per second the window is w = 511; the state carries over.
    const double vel[] = {1.0, 386.088582283355, 9.80665}, disp[] = {1000.0, 1.0, 1000.0};
    const Block a = RandomFloats(3000, 17);
    for (int u = 0; u < 3; ++u) {
        ScanRun run(1500, 5120.0, static_cast<qv::UnitSys>(u));
        run.rec.scale = 2.5;
        run.rec.offset = 0.125;
        Block sv(1500), sd(1500);
        double vs[4] = {}, ds[4] = {};
        float lo = 0, hi = 0;
        for (int b = 0; b < 2; ++b) {
            Block x(a.begin() + 1500 * b, a.begin() + 1500 * (b + 1));
            run.Scan(x);
            ArrayScale(x.data(), 1500, 2.5f);
            ArraySum(x.data(), -0.125f, 1500);
            ArrayMinMax(x.data(), 1500, lo, hi, b == 0);
            EXPECT_EQ(lo, run.rec.accelMin);
            EXPECT_EQ(std::max(-lo, hi), run.rec.accelPeak);
            const Block ax = RefDrift(x, 511);
            intg_continuous(sv.data(), const_cast<float*>(ax.data()), 1500, vs[0], vs[1], vs[2],
                            vs[3], vel[u] / 5120.0);
            const Block vx = RefDrift(sv, 511);
            intg_continuous(sd.data(), const_cast<float*>(vx.data()), 1500, ds[0], ds[1], ds[2],
                            ds[3], disp[u] / 5120.0);
            EXPECT_TRUE(BitEqual(ax.data(), run.accel.data(), 1500));
            EXPECT_TRUE(BitEqual(vx.data(), run.vel.data(), 1500));
            EXPECT_TRUE(BitEqual(RefDrift(sd, 511).data(), run.disp.data(), 1500));
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
    ScanRun run(2048, r, qv::UnitSysSI);
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

    SCAN_UNIT_LIMITS before = run.rec;
    for (int i = 0; i < 2048; ++i)
        quiet[i] = 0.1f * loud[i];
    run.Scan(quiet);
    EXPECT_EQ(before.accelPeak, run.rec.accelPeak);
    EXPECT_EQ(before.accelRms, run.rec.accelRms);
    EXPECT_EQ(before.velMax, run.rec.velMax);
    EXPECT_EQ(before.dispMin, run.rec.dispMin);

    run.rec.frameCount = 0;
    run.Scan(quiet);
    EXPECT_NEAR(0.1 * D * w * w, run.rec.accelPeak, 1e-3 * D * w * w);
    EXPECT_LT(run.rec.accelRms, 0.2f * before.accelRms);
}

TEST(ScanUnitLimits, ScaleZeroIsNoFactorShortBlocksSkipTheDriftFilterAndNothingAllocates)
{
    // 300 samples at 5120 per second: shorter than the 511-sample window.
    ScanRun run(300, 5120.0, qv::UnitSysEnglish);
    run.rec.scale = 0.0;
    const Block x = RandomFloats(300, 19);
    const std::size_t before = numora_test::AllocationCount();
    run.Scan(x);
    EXPECT_EQ(before, numora_test::AllocationCount());
    EXPECT_TRUE(BitEqual(x.data(), run.accel.data(), 300));
    const Block v = RefIntegrate(x, 386.088582283355 / 5120.0);
    EXPECT_TRUE(BitEqual(v.data(), run.vel.data(), 300));
    EXPECT_TRUE(BitEqual(RefIntegrate(v, 1.0 / 5120.0).data(), run.disp.data(), 300));

    // A count below 1 touches nothing; a rate with a zero-width window is no NaN.
    SCAN_UNIT_LIMITS kept = run.rec;
    run.rec.count = 0;
    ScanUnitLimits(run.rec);
    EXPECT_EQ(kept.frameCount, run.rec.frameCount);
    ScanRun slow(300, 10.0, qv::UnitSysSI);
    slow.Scan(x);
    EXPECT_TRUE(BitEqual(x.data(), slow.accel.data(), 300));
}

}  // namespace
