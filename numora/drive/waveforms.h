#pragma once

#include "numora/foundation/export.h"

// Small generators for the drive side: a trapezoid pulse written into a
// buffer, a sine added to a buffer, and the overshoot curve that the clipping
// routines can apply to a clip limit.

namespace qv {
namespace math {

// Writes a trapezoid (rise, hold, fall; times in milliseconds) into out from
// index start and returns the index behind it, so pulses can be strung
// together. Whole sample counts are the truncations of sampleRate * ms / 1000;
// the rise runs 0, step, 2 step ... with step = amplitude / exact rise count
// and stops one step short of amplitude; the fall starts at amplitude and stops
// one step short of 0. With fallMs <= 0 a closing 0 is written at the returned
// index, which the next pulse overwrites. out must hold r + h + f + 1 samples
// behind start.
// precision: counts, steps and ramp values in double, each sample rounded to
// float once.
// choice: a count with no int (too large, NaN) counts as none, as a count
// below 1 does.
NUMORA_API int GenTrapezoid(float* out, int start, double sampleRate, double riseMs, double holdMs,
                            double fallMs, double amplitude);

// Adds amplitude * sin(2 pi p) to a[0..n-1], the phase p in cycles being
// stepped by frequency / sampleRate and wrapped (modf) at every sample.
// Sample 0 already has phase one step; every call starts from phase 0.
// in place: a is read and written.
// precision: phase and sine in double; the term is rounded to float and added
// in float.
NUMORA_API void AddSineWave(float* a, int n, double frequency, double amplitude, double sampleRate);

// Overshoot factor at x: 1 / (1.27^|2.8 - x| * 1.14), the denominator further
// divided by 2^(x - 3.8) above 3.8, and 1 above 4.8.
// precision: the differences from x in float, widened; the powers in double
// with the float constants 1.27f and 1.14f widened; the denominator rounded to
// float after each step; the reciprocal in float.
NUMORA_API float InterpOvershoot(float x);

}  // namespace math
}  // namespace qv
