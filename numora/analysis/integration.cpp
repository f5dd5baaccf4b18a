#include "numora/analysis/integration.h"

#include "numora/analysis/integration_detail.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>

#include "numora/foundation/array.h"
#include "numora/foundation/array_scan.h"
#include "numora/foundation/cut_detail.h"
#include "numora/foundation/scalar.h"
#include "numora/foundation/simd_detail.h"
#include "numora/spectrum/rms.h"

namespace qv {
namespace math {

namespace {

// Acceleration -> velocity scale of a unit set at sample rate r.
double VelocityScale(qv::UnitSys units, double r)
{
    switch (units) {
    case qv::UnitSysSI:
        return 1.0 / r;
    case qv::UnitSysEnglish:
        return 386.088582283355 / r;
    case qv::UnitSysMetric:
        return 9.80665 / r;
    }
    return 0.0;
}

// Velocity -> displacement scale of a unit set at sample rate r.
double DisplacementScale(qv::UnitSys units, double r)
{
    switch (units) {
    case qv::UnitSysSI:
    case qv::UnitSysMetric:
        return 1000.0 / r;
    case qv::UnitSysEnglish:
        return 1.0 / r;
    }
    return 0.0;
}

// The Adams-Moulton rule over n samples from the given state, which it
// leaves behind. Each sample is read before its output is written, so out
// may be in.
void Integrate(float* out, const float* in, int n, double& acc, double& x1, double& x2, double& x3,
               double scale)
{
    const double k = scale / 24.0;
    for (int i = 0; i < n; ++i) {
        const double x = static_cast<double>(in[i]);
        acc += (9.0 * x + 19.0 * x1 - 5.0 * x2 + x3) * k;
        out[i] = static_cast<float>(acc);
        x3 = x2;
        x2 = x1;
        x1 = x;
    }
}

// Sum of the 2h samples src[i-h] .. src[i+h-1], in double, ascending.
double WindowSum(const float* src, int i, int h)
{
    double sum = 0.0;
    for (int j = i - h; j < i + h; ++j)
        sum += static_cast<double>(src[j]);
    return sum;
}

// float(x - m), with a NaN given as the default quiet NaN. Which of two NaNs
// an addition passes on depends on the order in which the compiler puts its
// operands, which differs between the scalar and the vector code; so without
// this the paths could disagree in a NaN's sign and payload.
NUMORA_SIMD_INLINE float LessMean(float x, double m)
{
    const float d = static_cast<float>(static_cast<double>(x) - m);
    return std::isnan(d) ? std::numeric_limits<float>::quiet_NaN() : d;
}

// dst[i] = float(src[i] - m(i)) for i = from .. last, one window at a time.
void DriftScalar(float* dst, const float* src, int h, double factor, int from, int last)
{
    for (int i = from; i <= last; ++i)
        dst[i] = LessMean(src[i], WindowSum(src, i, h) * factor);
}

// Samples widened to double per stretch of a window, so that the lanes add
// without converting: a fixed 2 KB on the stack, however long the window.
constexpr int kStretch = 256;

// The same for K * W outputs at a time from i on while they end by last:
// lane l of sum[k] holds the window of output i + k W + l, summed from its
// first sample upward exactly as WindowSum sums it (widening is exact), then
// scaled and subtracted lane by lane as DriftScalar does. D is a vector of W
// doubles. Leaves i at the first output not done.
template <typename D, int K>
NUMORA_SIMD_INLINE void DriftLanes(float* dst, const float* src, int h, double factor, int& i, int last)
{
    constexpr int W = simd::LaneCount<D>;
    double wide[kStretch + K * W];
    for (; last - i >= K * W - 1; i += K * W) {
        D sum[K];
        for (int k = 0; k < K; ++k)
            sum[k] = simd::Splat<D>(0.0);
        const float* p = src + (i - h);
        for (int from = 0; from < 2 * h; from += kStretch) {
            const int steps = std::min(kStretch, 2 * h - from);
            for (int t = 0; t < steps + K * W - 1; ++t)
                wide[t] = static_cast<double>(p[from + t]);
            for (int j = 0; j < steps; ++j)
                for (int k = 0; k < K; ++k)
                    sum[k] += simd::Load<D>(wide + j + k * W);
        }
        for (int k = 0; k < K; ++k)
            for (int l = 0; l < W; ++l) {
                const int o = i + k * W + l;
                dst[o] = LessMean(src[o], sum[k][l] * factor);
            }
    }
}

void DriftSse2(float* dst, const float* src, int h, double factor, int& i, int last)
{
    DriftLanes<simd::D2, 8>(dst, src, h, factor, i, last);
    DriftLanes<simd::D2, 1>(dst, src, h, factor, i, last);
}

NUMORA_SIMD_AVX2 void DriftAvx2(float* dst, const float* src, int h, double factor, int& i, int last)
{
    DriftLanes<simd::D4, 4>(dst, src, h, factor, i, last);
    DriftLanes<simd::D4, 1>(dst, src, h, factor, i, last);
}

// Limits of one quantity over a run: the first block of a run sets them,
// later blocks widen them; the peak is the larger magnitude of the two.
void WidenLimits(const float* a, int n, bool first, float& min, float& max, float& peak)
{
    ArrayMinMax(a, n, min, max, first);
    const float low = std::fabs(min);
    const float high = std::fabs(max);
    peak = low > high ? low : high;
}

}  // namespace

void intg(float* const out, float* const in, int n, double scale, bool removeMean)
{
    if (n < 1)
        return;
    const float* src = in;
    if (removeMean) {
        double sum = 0.0;
        for (int i = 0; i < n; ++i)
            sum += static_cast<double>(in[i]);
        const double mean = sum / static_cast<double>(n);
        for (int i = 0; i < n; ++i)
            out[i] = static_cast<float>(static_cast<double>(in[i]) - mean);
        src = out;
    }
    double acc = 0.0, x1 = 0.0, x2 = 0.0, x3 = 0.0;
    Integrate(out, src, n, acc, x1, x2, x3, scale);
}

void accel_to_vel(float* const out, float* const in, double sampleRate, int n, qv::UnitSys units,
                  bool removeMean)
{
    intg(out, in, n, VelocityScale(units, sampleRate), removeMean);
}

void vel_to_disp(float* const out, float* const in, double sampleRate, int n, qv::UnitSys units,
                 bool removeMean)
{
    intg(out, in, n, DisplacementScale(units, sampleRate), removeMean);
}

void intg_continuous(float* const out, float* const in, int n, double& acc, double& x1, double& x2,
                     double& x3, double scale)
{
    if (n < 1)
        return;
    Integrate(out, in, n, acc, x1, x2, x3, scale);
}

namespace detail {

bool DriftPathAvailable(DriftPath path)
{
    return path == DriftPath::Sse2 || simd::Avx2PathRuns();
}

void RemoveMovingMeanOnPath(DriftPath path, float* dst, const float* src, int n, int w)
{
    if (n < 1)
        return;
    const int h = w / 2;
    if (h < 0 || n <= 2 * h) {
        for (int i = 0; i < n; ++i)
            dst[i] = src[i];
        return;
    }
    const double factor = 1.0 / static_cast<double>(w);
    const int last = n - h - 1;
    int i = h;
    if (path == DriftPath::Avx2)
        DriftAvx2(dst, src, h, factor, i, last);
    else
        DriftSse2(dst, src, h, factor, i, last);
    DriftScalar(dst, src, h, factor, i, last);

    // The edges take the mean of the nearest full window.
    const double head = WindowSum(src, h, h) * factor;
    for (int k = 0; k < h; ++k)
        dst[k] = LessMean(src[k], head);
    const double tail = WindowSum(src, last, h) * factor;
    for (int k = last + 1; k < n; ++k)
        dst[k] = LessMean(src[k], tail);
}

}  // namespace detail

void RemoveMovingMean(float* dst, const float* src, int n, int w)
{
    const bool wide = detail::DriftPathAvailable(detail::DriftPath::Avx2);
    detail::RemoveMovingMeanOnPath(wide ? detail::DriftPath::Avx2 : detail::DriftPath::Sse2, dst, src, n, w);
}

void ScanUnitLimits(SCAN_UNIT_LIMITS& limits)
{
    const int n = limits.count;
    if (n < 1)
        return;
    const double a = VelocityScale(limits.unitSys, limits.sampleRate);
    const double v = DisplacementScale(limits.unitSys, limits.sampleRate);
    const bool first = limits.frameCount == 0;

    if (limits.scale != 1.0 && limits.scale != 0.0)
        ArrayScale(limits.accel, n, static_cast<float>(limits.scale));
    if (limits.offset != 0.0)
        ArraySum(limits.accel, static_cast<float>(-limits.offset), n);
    if (limits.computeRms) {
        const double b = RMS_TIM(limits.accel, n);
        if (first || b > static_cast<double>(limits.accelRms))
            limits.accelRms = static_cast<float>(b);
    }
    WidenLimits(limits.accel, n, first, limits.accelMin, limits.accelMax, limits.accelPeak);

    // A tenth of a second of samples, less one; a rate whose window has no int
    // gets the widest window, INT_MAX, which is what INT_MIN less one wraps to.
    const int cut = detail::CutToInt(Round(limits.sampleRate * 0.1));
    const int w = cut > INT_MIN ? cut - 1 : INT_MAX;
    ArrayCopy(limits.scratch, limits.accel, n);
    RemoveMovingMean(limits.accel, limits.scratch, n, w);

    double* vs = limits.velState;
    intg_continuous(limits.scratch, limits.accel, n, vs[0], vs[1], vs[2], vs[3], a);
    RemoveMovingMean(limits.vel, limits.scratch, n, w);
    WidenLimits(limits.vel, n, first, limits.velMin, limits.velMax, limits.velPeak);

    double* ds = limits.dispState;
    intg_continuous(limits.scratch, limits.vel, n, ds[0], ds[1], ds[2], ds[3], v);
    RemoveMovingMean(limits.disp, limits.scratch, n, w);
    WidenLimits(limits.disp, n, first, limits.dispMin, limits.dispMax, limits.dispPeak);

    ++limits.frameCount;
}

}  // namespace math
}  // namespace qv
