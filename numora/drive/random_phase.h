#pragma once

#include "numora/foundation/export.h"

// Random phases for drive synthesis: a real amplitude or power profile becomes
// a packed complex spectrum whose lines carry uniformly random phases, or an
// array of plain phase angles is filled or disturbed.
//
// Profiles are line-indexed (index k is line k). The packed result puts line k
// at indices 2k (real) and 2k + 1 (imaginary), so the array must hold
// 2 * maxLine + 2 values (n + 2 at maxLine = n / 2); this is not checked.
// maxLine is the highest line processed; lineCount counts lines including
// line 0. Either above n / 2 leaves the array untouched.
//
// The phase step draws one Rand() per line and quantises it to one of 2048
// phases read from a quarter-sine table (sin(i * 3.1415927 / 1024) to nine
// decimals), with no trigonometric call.
//
// A positive seed restarts the random sequence with SRand(seed) before
// anything else, also when the array is then left untouched; a seed of 0 or
// below continues the running sequence.

namespace qv {
namespace math {

// Power profile to packed spectrum with random phases, amplitude sqrt(power);
// lines maxLine down to 1, then indices 0 and 1 (DC) cleared. Never seeds.
// in place: the profile is overwritten by the spectrum.
// precision: the draw is quantised in float (p = trunc(min(1, r / 32767) * 2048));
// sqrt of a positive power in double, rounded to float; table value times
// sign in double, rounded to float, then times the amplitude in float. A
// power of zero or below is used as it stands (a negative amplitude).
NUMORA_API void APSAddRandomPhase(float* spectrum, int n, int maxLine);
// precision: double throughout.
NUMORA_API void APSAddRandomPhase(double* spectrum, int n, int maxLine);

// Amplitude profile to packed spectrum with random phases, amplitude unchanged.
// in place: the profile is overwritten by the spectrum.
// precision: as APSAddRandomPhase(float*), without the square root.
NUMORA_API void FRQAddRandomPhase(float* spectrum, int n, int maxLine, int seed);
// precision: double throughout.
NUMORA_API void FRQAddRandomPhase(double* spectrum, int n, int maxLine, int seed);

// phase[k] = GetRandomValue(-pi, pi) for k = 1 .. lineCount - 1 in ascending
// order, then phase[0] = 0.
// precision: each value drawn in double, rounded to float.
NUMORA_API void LoadRandomPhase(float* phase, int n, int lineCount, int seed);
NUMORA_API void LoadRandomPhase(double* phase, int n, int lineCount, int seed);

// phase[k] += GetRandomValue(-d, d) with d = |percent / 100 * phase[k]| for
// k = 1 .. lineCount - 1, then phase[0] = 0. A zero phase stays zero and the
// result is not wrapped; every line draws once, also for percent = 0.
// reserved is ignored.
// precision: percent / 100 and its product with the phase in float, widened
// for the draw; the draw is rounded to float before the addition.
NUMORA_API void DitherRandomPhase(float* phase, int n, int lineCount, int reserved, float percent,
                                  int seed);
// precision: double throughout.
NUMORA_API void DitherRandomPhase(double* phase, int n, int lineCount, int reserved,
                                  double percent, int seed);

}  // namespace math
}  // namespace qv
