#pragma once

#include <cstdint>

#include "numora/foundation/export.h"
#include "numora/foundation/records.h"

// Integration of time signals: acceleration to velocity, velocity to
// displacement, block by block from rest or with carried state, and the
// limits of all three quantities over a run.
//
// The rule is fourth-order Adams-Moulton. For each input sample x, with x1,
// x2, x3 the three samples before it and acc the running sum,
//     acc += (9 x + 19 x1 - 5 x2 + x3) * (scale / 24),
// the terms added left to right in double on the widened samples, and the
// output sample is float(acc). `scale` carries the sample interval: 1/r times
// the unit factor, with r the sample rate in samples per second.
//
// Scales by unit set (acceleration -> velocity, velocity -> displacement):
//     UnitSysSI       m/s^2 in:  1/r,                  1000/r  (m/s, mm)
//     UnitSysEnglish  g in:      386.088582283355/r,   1/r     (in/s, in)
//     UnitSysMetric   g in:      9.80665/r,            1000/r  (m/s, mm)
//     any other:                 0,                    0       (all-zero output)
// Each is one double division of the constant by r.
//
// `out` and `in` may be the same array everywhere. n < 1 writes nothing.

namespace qv {
namespace math {

// One run of ScanUnitLimits, owned by the caller and kept between blocks.
// Zeroing frameCount and the two state groups starts a new run; frameCount 0
// alone restarts the limits and accelRms but keeps the integrators' state.
struct SCAN_UNIT_LIMITS {
    float* accel;         // block of acceleration; changed in place
    float* vel;           // output block of velocity
    float* disp;          // output block of displacement
    float* scratch;       // work block
    int count;            // samples in each of the four blocks
    qv::UnitSys unitSys;  // unit set
    double sampleRate;    // samples per second
    double scale;         // factor applied to accel unless it is 1 or 0
    bool computeRms;      // whether accelRms is wanted
    double offset;        // value subtracted from accel unless it is 0
    uint32_t frameCount;  // blocks processed in this run
    float accelRms;       // largest block RMS of the acceleration
    float accelMin, accelMax, accelPeak;  // acceleration limits; peak = larger magnitude
    float velMin, velMax, velPeak;        // velocity limits
    float dispMin, dispMax, dispPeak;     // displacement limits
    double velState[4];   // first integrator: acc, last, second last, third last input
    double dispState[4];  // second integrator, likewise
};

// Integrates one block from rest with the given scale (acc and history 0, so
// the first output is 9 x scale / 24). With removeMean the block's mean is
// taken off first and the rounded, mean-free samples are integrated.
// precision: the mean sums in double, ascending, divided by n; out[i] =
// float(in[i] - mean) in double before the rule reads it back.
// in place: out may be in.
NUMORA_API void intg(float* const out, float* const in, int n, double scale, bool removeMean);

// intg with the acceleration -> velocity scale of `units` at sampleRate.
// Note the order: the rate comes before the count.
// in place: out may be in.
NUMORA_API void accel_to_vel(float* const out, float* const in, double sampleRate, int n,
                             qv::UnitSys units, bool removeMean);

// intg with the velocity -> displacement scale of `units` at sampleRate.
// Note the order: the rate comes before the count.
// in place: out may be in.
NUMORA_API void vel_to_disp(float* const out, float* const in, double sampleRate, int n,
                            qv::UnitSys units, bool removeMean);

// Integrates one block from the caller's state and leaves the state for the
// next block: one long block gives the same bits as the same samples in any
// split. No mean is removed.
// in place: out may be in.
NUMORA_API void intg_continuous(float* const out, float* const in, int n, double& acc, double& x1,
                                double& x2, double& x3, double scale);

// Drift filter: takes off a moving mean of w samples. With h = w / 2 (cut),
// for i = h .. n-h-1, m(i) = (src[i-h] + ... + src[i+h-1]) * (1/w), so for an
// odd w only w - 1 samples enter; dst[i] = float(src[i] - m(i)). The first h
// samples use m(h), the last h use m(n-h-1). If n <= 2h, dst is a copy of src.
// With an odd w a constant offset c keeps c/w of itself, which a following
// integration turns into a ramp.
// precision: each window is summed in double in ascending order from its first
// sample; 1/w is one double division. Several windows are summed side by side
// in vector lanes (AVX2 where the processor has it), each lane in that same
// order, so every path gives the same bits as the plain loop.
// choice: a NaN result is the default quiet NaN, since which of a window's
// NaNs a sum passes on depends on how the compiler orders the operands.
// w = 0 and w = -1 have h = 0 and an empty window: the factor 1/w is +inf or
// -1, so every mean is NaN (0 * inf) or -0, as the rule gives.
// choice: w < -1, whose h is negative, filters nothing (dst is a copy of src):
// its windows would reach outside the block.
// src and dst must be distinct.
NUMORA_API void RemoveMovingMean(float* dst, const float* src, int n, int w);

// One block of a run: scales and offsets accel in place, takes its RMS and
// limits, takes the drift off it, integrates it to vel and vel to disp with
// the drift taken off each, widens the limits and counts the block.
// The drift window is w = cut(Round(sampleRate * 0.1)) - 1, a tenth of a second
// less one sample; below 15 samples per second w is 0 or less (see
// RemoveMovingMean). accel comes back drift-filtered; its limits and RMS are
// taken before the filter.
// precision: scale is applied in float (ArrayScale), offset as float(-offset)
// added in float (ArraySum); the RMS is RMS_TIM's; each peak is the larger of
// |min| and |max| of the run.
// choice: count < 1 leaves the record and the blocks alone, frameCount too.
// choice: a sampleRate whose window has no int (NaN, out of range) takes the
// widest window, w = INT_MAX: a block of fewer than INT_MAX samples is left
// unfiltered.
NUMORA_API void ScanUnitLimits(SCAN_UNIT_LIMITS& limits);

}  // namespace math
}  // namespace qv
