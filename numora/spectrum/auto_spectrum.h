#pragma once

#include "numora/foundation/export.h"
#include "numora/foundation/records.h"

// Auto power spectrum. One complex spectrum frame updates an array of line
// powers P[i] = re^2 + im^2 that the caller owns and hands back on every frame;
// that array (plus one held measure for the whole-frame holds) is the whole
// averaging state. No factor of 2, 1/N or bandwidth enters: the scaling of the
// result is the scaling of the frame. Every overload exists for the pairs
// (complex, float), (complex_d, float) and (complex_d, double); fft and aps
// must not overlap.

namespace qv {
namespace math {

// Averages one frame into aps by mode; frameNumber <= 1 starts a new average.
// Modes 0, 1, 7: running mean with weight 1/frameNumber. Mode 2: the first
// frame replaces, later ones blend with weight 1/expFrames. Mode 3: peak hold
// per line. Modes 4, 5, 6: keep the whole frame scoring highest on
// FFTPowerMax, FFTPowerSum, FFTPowerMaxZMOD, with its score in *heldMeasure.
// A mode outside 0..7 (read as unsigned) changes nothing. Only modes 4-6 read
// or write heldMeasure, so it may be null for the others.
NUMORA_API void FFTtoAPS(complex* fft, float* aps, int lines, QV_ACQFRAME_AVGMODE mode,
                         int frameNumber, int expFrames, float* heldMeasure);
NUMORA_API void FFTtoAPS(complex_d* fft, float* aps, int lines, QV_ACQFRAME_AVGMODE mode,
                         int frameNumber, int expFrames, float* heldMeasure);
NUMORA_API void FFTtoAPS(complex_d* fft, double* aps, int lines, QV_ACQFRAME_AVGMODE mode,
                         int frameNumber, int expFrames, double* heldMeasure);

// Blends the frame's line powers into aps: aps = a*P + b*aps with a = 1/frames,
// b = 1 - a (both double, once per call). frames <= 1 replaces aps with P
// without reading it, so a first frame may land on garbage or NaN.
// precision: (complex, float): P in float, a rounded to float once, a*P in
// float, then widened a*P + widened aps*b in double, rounded to float at the store.
NUMORA_API void FFTtoAPS(complex* fft, float* aps, int lines, int frames);
// precision: P, a*P and the blend with widened aps in double; rounded to float at the store.
NUMORA_API void FFTtoAPS(complex_d* fft, float* aps, int lines, int frames);
// precision: double throughout.
NUMORA_API void FFTtoAPS(complex_d* fft, double* aps, int lines, int frames);

// Line-by-line peak hold: frameNumber <= 1 sets aps to P, later frames raise a
// line only where P > aps strictly (a NaN power never wins).
// precision: compared at the precision of P (float for complex; double power
// against the widened stored value for complex_d into float, rounded at the store).
NUMORA_API void FFTtoAPS_PK(complex* fft, float* aps, int lines, int frameNumber);
NUMORA_API void FFTtoAPS_PK(complex_d* fft, float* aps, int lines, int frameNumber);
NUMORA_API void FFTtoAPS_PK(complex_d* fft, double* aps, int lines, int frameNumber);

// Whole-frame holds: the frame's measure m replaces held, and its powers P
// replace every line of aps, when frameNumber <= 1 or m > held; otherwise
// (a tie or a NaN on either side) aps stays and held is returned unchanged.
// Returns the new held measure. Lines of different frames are never mixed.
// precision: P as in the peak hold; for (complex_d, float) the double measure
// is compared against the widened held value and rounded to float on return.
// Measure FFTPowerMax:
NUMORA_API float FFTtoAPS_Line(complex* fft, float* aps, int lines, int frameNumber, float held);
NUMORA_API float FFTtoAPS_Line(complex_d* fft, float* aps, int lines, int frameNumber, float held);
NUMORA_API double FFTtoAPS_Line(complex_d* fft, double* aps, int lines, int frameNumber, double held);
// Measure FFTPowerSum:
NUMORA_API float FFTtoAPS_PWR(complex* fft, float* aps, int lines, int frameNumber, float held);
NUMORA_API float FFTtoAPS_PWR(complex_d* fft, float* aps, int lines, int frameNumber, float held);
NUMORA_API double FFTtoAPS_PWR(complex_d* fft, double* aps, int lines, int frameNumber, double held);
// Measure FFTPowerMaxZMOD (an amplitude, not a power: never mix with the others in one average):
NUMORA_API float FFTtoAPS_LineZ(complex* fft, float* aps, int lines, int frameNumber, float held);
NUMORA_API float FFTtoAPS_LineZ(complex_d* fft, float* aps, int lines, int frameNumber, float held);
NUMORA_API double FFTtoAPS_LineZ(complex_d* fft, double* aps, int lines, int frameNumber, double held);

// Sum of the line powers of lines 0 to lines - 2 (the last line is left out);
// 0 when lines < 2.
// precision: float overload: powers im^2 + re^2 and the running sum in float.
NUMORA_API float FFTPowerSum(complex* fft, int lines);
NUMORA_API double FFTPowerSum(complex_d* fft, int lines);

// Largest line power among lines 0 to lines - 2, starting from 0 so never
// negative and never NaN; 0 when lines < 2.
// precision: float overload: powers in float.
NUMORA_API float FFTPowerMax(complex* fft, int lines);
NUMORA_API double FFTPowerMax(complex_d* fft, int lines);

// Largest amplitude over line 1, every band of three adjacent lines i..i+2
// (i = 1 to lines - 3, amplitude sqrt of the summed powers) and line lines - 1.
// Line 0 takes no part.
// precision: powers and band sums in the element's precision; square roots in
// double, rounded to float before each comparison in the float overload.
// choice: lines < 2 returns 0 without reading the frame.
// choice: a candidate replaces the running value only when strictly larger, so
// a NaN band never wins, while a NaN amplitude of line 1 stays the result.
NUMORA_API float FFTPowerMaxZMOD(complex* fft, int lines);
NUMORA_API double FFTPowerMaxZMOD(complex_d* fft, int lines);

}  // namespace math
}  // namespace qv
