#pragma once

#include "numora/foundation/export.h"
#include "numora/foundation/records.h"

// Correlation from averaged spectra, and a random-phase time frame from a
// power profile. Both run the raw inverse transform (DFT with direction -1,
// no CorrIFT), so a single line of power P gives 2 * P at lag 0 before the
// lag weights, and line 0 enters with the factor sqrt(2) of that transform.
//
// size is the transform length N and H = size / 2. work is the caller's
// scratch of size floats; on return it holds the weighted lag sequence, lag i
// at index i and lag -(k + 1) at index size - 1 - k. corr receives
// 2 * lines - 1 values with lag 0 at index lines - 1, negative lags to its
// left. The spectrum holds lines entries and 2 * lines <= size is the
// caller's to keep. An invalid size leaves the transform undone and the
// weights run on the packed spectrum.
//
// Lag weights: lag tau (0 <= tau < H) is multiplied by (H / (H - tau)) * 0.25,
// evaluated in that order in float, which undoes the triangular taper of a
// zero-padded frame and puts a sine of peak amplitude A (P = A^2) at A^2 / 2
// at lag 0.
// choice: lag -tau carries the weight of lag tau, so an autocorrelation comes
// out even; the slot of lag +-H (index H), which corr never shows, keeps its
// raw value.

namespace qv {
namespace math {

// Autocorrelation from an auto power spectrum: every line real, Nyquist 0.
// choice: lines < 1 does nothing at all (work and corr untouched).
NUMORA_API void APStoCORR(float* aps, float* work, float* corr, int size, int lines);

// Cross-correlation from a cross power spectrum (first times conjugate of
// second): a peak at lag +d means the first channel lags the second by d.
// The imaginary part of line 0 lands in the Nyquist slot (0 after CorrDFT).
// choice: lines < 1 does nothing at all (work and corr untouched).
NUMORA_API void CPStoCORR(complex* cps, float* work, float* corr, int size, int lines);

// Time frame of random phase: copies n values of aps to time, gives lines 1
// to maxLine random phases with APSAddRandomPhase (which leaves a maxLine
// above n / 2 alone) and transforms inversely with DFT, without CorrIFT.
// time must hold n values and 2 * maxLine + 2 (n + 2 at maxLine = n / 2).
// in place: time may be aps.
// choice: n < 1 does nothing.
NUMORA_API void APStoTIM(float* aps, float* time, int n, int maxLine);
// The same with APSAddRandomPhase(double*) and DFT_D.
NUMORA_API void APStoTIM(double* aps, double* time, int n, int maxLine);

}  // namespace math
}  // namespace qv
