#pragma once

#include "numora/foundation/export.h"
#include "numora/foundation/records.h"

// Building blocks of the compensation filters: the energy centre of a
// periodic frame, half-frame rotation, cosine and exponential tapers of frames
// and spectra, three-point smoothing along the lines, and the impulse response
// of a spectrum. Nothing allocates.
//
// The tapers walk from index `from` to index `to` inclusive, ascending when
// from < to and descending otherwise, with a step count j = 0, 1, 2 ... from
// `from`. The weight is 1 at `from` and falls towards `to`: the direction of
// the arguments, not their order, says which end stays whole. Both indexes
// must lie inside the array.

namespace qv {
namespace math {

// Energy centre of a periodic frame in samples, 0 up to n: the circular mean
// of x[i]^2 over the period n, so energy on both sides of the wrap averages
// across it. 0 for n = 0 or a frame of zeros.
// precision: w = 2 pi / n, the squares and the sums of cos(i w) x^2 and
// sin(i w) x^2 in double; atan2(S, C) * n / (2 pi) rounded to float once, and
// a negative value becomes (float)n + d in float.
NUMORA_API float ms_delay(float* x, unsigned int n);

// Rotates in by half a frame into out: out[(i - n/2) mod n] = in[i] with
// 32-bit unsigned index arithmetic; for a power-of-two n the halves swap.
// Returns n >> 1 (0 for n = 0, nothing written). in and out must not overlap.
NUMORA_API int centerPAB(float* in, float* out, unsigned int n);

// The rotation of centerPAB under the name the compensation builders use.
NUMORA_API int CompShifttoCenter(float* in, float* out, unsigned int n);

// Distance of the energy centre from the frame's middle, in whole samples:
// (int)(ms_delay(x, n) + 0.5f) - (n >> 1).
// precision: the half is added in float, then cut toward zero.
NUMORA_API int CompCenter(float* x, unsigned int n);

// Running three-point smoothing along lines 1 to n - 3, in place: with t
// starting at line 1, for k = 2 .. n - 2: t = 1.5f * t; line k - 1 = t;
// t = (t + line k + line k+1) * 0.33333334f. Lines 0, n - 2 and n - 1 stay;
// nothing happens for n <= 3.
// precision: each part in float, in that order.
NUMORA_API void BinAverage(complex* spectrum, int n);

// Cosine-squared taper: x[index] *= cos(j * pi / (2 |to - from|))^2, weight
// 1 at from and 0 at to.
// precision: the weight in double, the product with the widened sample
// rounded to float once.
// choice: with from = to the span is empty and the one sample keeps weight 1
// (it is left as it is), as the sample at `from` does on every longer walk.
NUMORA_API void TaperReal(float* x, int from, int to);

// Sine-squared fade-in: x[i] *= sin(i * pi / (2 n))^2 for i = 0 .. n - 1;
// the weight starts at 0 and ends just short of 1. Nothing for n <= 0.
// precision: as TaperReal.
NUMORA_API void TaperSineSq(float* x, int n);

// Cosine-cubed taper of complex lines: both parts of the line are multiplied
// by cos(j * pi / (2 |to - from|))^3, weight 1 at from and 0 at to.
// precision: the weight (c * c) * c in double, each part's product rounded to
// float once.
// choice: with from = to the one line keeps weight 1 (it is left as it is),
// as the line at `from` does on every longer walk.
NUMORA_API void TaperComplex(complex* spectrum, int from, int to);

// Exponential decay: x[index] *= exp(-j * rate); the sample at from keeps
// weight 1. Nothing for rate <= 0.
// precision: (float)(-j) * rate in float, exp in double, the product with the
// widened sample rounded to float once.
NUMORA_API void RealExp_taper(float* x, float rate, int from, int to);

// The decay of RealExp_taper over complex lines, both parts by the same weight.
// precision: as RealExp_taper, each part rounded to float once.
NUMORA_API void ComplexExp_taper(complex* spectrum, float rate, int from, int to);

// Impulse response of a spectrum. The work buffer b is `work`, or `out` when
// work is null: b is cleared over n floats, the first n / 2 floats of spectrum
// (its first n / 4 lines) are copied to its head, and DFT(b, n, -1) and
// CorrIFT(b, n, scale) make the response. With work given, out receives the
// response rotated by CompShifttoCenter (work keeps it as it came) and the
// result is n >> 1; without, the response stays in out and the result is 0.
// 0 and nothing touched when spectrum or b is null. reserved is not used.
// spectrum must not overlap b, nor work overlap out.
// choice: n below 1 does nothing and gives 0.
NUMORA_API int generate_impulseResponse(complex* spectrum, float* out, float* work, int n, float scale,
                                        bool reserved);

}  // namespace math
}  // namespace qv
