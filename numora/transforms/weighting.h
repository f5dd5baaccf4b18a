#pragma once

#include "numora/foundation/export.h"
#include "numora/foundation/records.h"

// Acoustic frequency weighting of spectra: the A, B and C curves of sound
// level meters and their reciprocals, applied line by line. Line i stands at
// f = i * df Hz. Every call returns 0, also when it does nothing.
//
// Common to all functions:
// - weight < 1, df <= 0 or lines < 1: nothing is read or written.
// - A line at f <= 0.001 Hz gets the gain 0, so line 0 is always cleared,
//   also for the reciprocal curves and for weight values above 6.
// - A weight value above 6 has the gain 1 at every other line.
// precision: f = (double)i * (double)df; the gain is worked out in double and
// the line value is multiplied by it in double, rounding once at the store.

namespace qv {
namespace math {

// Multiplies both parts of each complex line by the weighting gain.
// in place: fft is read and written.
NUMORA_API int Weight_FFT(QV_ACOUSTIC_WEIGHT weight, complex* fft, int lines, float df);

// Multiplies both parts of each complex line by the weighting gain, in double.
// in place: fft is read and written.
NUMORA_API int Weight_FFT(QV_ACOUSTIC_WEIGHT weight, complex_d* fft, int lines, double df);

// Weights an amplitude spectrum: out[i] = in[i] * g(i * df).
// in place: out may be in.
NUMORA_API int Weight_LinearSpec(QV_ACOUSTIC_WEIGHT weight, float* out, float* in, int lines,
                                 float df);

// Weights a power spectrum: out[i] = in[i] * g(i * df)^2.
// in place: out may be in.
// precision: the gain is squared in double before the product.
NUMORA_API int Weight_PowerSpec(QV_ACOUSTIC_WEIGHT weight, float* out, float* in, int lines,
                                float df);

}  // namespace math
}  // namespace qv
