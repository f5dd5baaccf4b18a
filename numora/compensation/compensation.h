#pragma once

#include <cstdint>

#include "numora/foundation/export.h"
#include "numora/foundation/records.h"

// Compensation filters: a transfer function built from a measured response,
// inverted or used as it is, shaped at the band edges, taken to an impulse
// response, optionally centred and placed in a longer frame, and brought back
// to N lines; a block stream run through such a filter by overlap-add; and
// the delay that a compensation's phase stands for.
//
// Builders. M = inLines, N = outLines, M2 = 2M and N2 = 2N are transform sizes
// (2 to 32768). out is N lines and, read as reals, the time buffer of the
// build: it must hold max(M2, N2) floats. impulse, when given, receives the
// impulse response: M2 floats, N2 when the frame grows. scale is the factor s
// of CorrDFT and CorrIFT. reserved is not used. With df = lineSpacing, halved
// when N2 > M2, and ratio = (float)N2 / (float)M2, in this order:
//  1. out = 1 / in (a zero line gives zero) or a copy of in, M lines.
//  2. df > 0: TaperComplex(out, k, 0) when k = (int)(lowTaperFreq / df) > 1,
//     then line 0 = 0. df < 0: lines 0 and 1 = 0. df = 0: neither.
//  3. shapeMode 2: TaperComplex(out, topLine + 1, N - 1); shapeMode 3: that,
//     then TaperComplex(out, 4, 0).
//  4. M2 = N2 and shapeMode neither 1 nor >= 4: out keeps this spectrum;
//     impulse, if given, gets its impulse response (DFT(-1), CorrIFT); the
//     result is 0 and steps 5 to 9 are skipped (topMode and lowCutFreq unused).
//  5. out becomes the impulse response of M2 samples (DFT(-1), CorrIFT).
//     With impulse given: shapeMode 1 or >= 4 centres it (CompShifttoCenter
//     into impulse, copied back to out; its result is the build's result),
//     other modes copy it to impulse. Without impulse nothing is centred.
//  6. N2 > M2 with impulse given: the response is placed in N2 samples, at
//     h = M2 / 2 .. h + M2 - 1 (or at 0 .. M2 - 1 for CompensationNoInvert
//     with keepAtStart), all else zero; for shapeMode >= 4, with
//     c = shapeMode - 3, RealExp_taper(rate 0.08f) from N2 - h - c up to
//     N2 - h and from c + h down to h, at these positions for both
//     placements; then all N2 samples are copied to impulse. Without impulse
//     out[M2 .. N2 - 1] enter the next step as they stand.
//  7. DFT(out, N2, 1) and CorrDFT(out, N, ratio * scale): N lines again, whose
//     amplitude the ratio keeps across the change of frame length. With
//     N2 < M2 the first N2 samples of the response are used.
//  8. topMode 1 clears lines topLine + 2 .. N - 1; topMode 2 applies
//     ComplexExp_taper(out, 0.05f, topLine + 1, N - 1); others do nothing.
//  9. lowCutFreq > 0: c = (int)(lowCutFreq / df + 0.5f); c > 2 gives c - 2;
//     lines 0 to c are cleared (none for c < 0).
// The caller keeps 0 <= topLine <= N - 2 and the taper spans inside the
// arrays. Every quotient and sum above is in float.
// choice: topLine + 1 = N - 1 in shapeMode 2 or 3 leaves line N - 1 as it is,
// the empty span of TaperComplex.
// choice: a quotient without an int (lineSpacing 0 with a low cut, say) cuts
// to INT_MIN, as the x86 conversion gives, and so tapers or clears nothing.
//
// Filter of the overlap-add: 2n floats, a builder's output read as reals:
// real part of line k at 2k, imaginary part at 2k + 1; line 0 is not used.

namespace qv {
namespace math {

// Compensation filter from the inverse of the measured response in.
// Returns the shift of the centring if one was made, else 0.
// in place: out may be in.
// choice: inLines or outLines below 1 does nothing and gives 0.
// choice: a low cut reaching past line N - 1 clears all N lines and no more.
NUMORA_API int CompensationInvert(complex* out, int outLines, int topLine, complex* in, int inLines,
                                  int reserved, float scale, float* impulse, int shapeMode, int topMode,
                                  float lowCutFreq, float lineSpacing, float lowTaperFreq);

// Compensation filter from the response in as it is; keepAtStart places the
// response at the start of a longer frame instead of after h samples.
// Returns the shift of the centring if one was made, else 0.
// in place: out may be in.
// choice: inLines or outLines below 1 does nothing and gives 0.
// choice: a low cut reaching past line N - 1 clears all N lines and no more.
NUMORA_API int CompensationNoInvert(complex* out, int outLines, int topLine, complex* in, int inLines,
                                    int reserved, float scale, float* impulse, int shapeMode, int topMode,
                                    float lowCutFreq, float lineSpacing, float lowTaperFreq,
                                    bool keepAtStart);

// One overlap-add step on n new samples. block holds 2n floats: the new
// samples below, the tail that the previous call left above (zeros to start a
// stream). In this order: the upper half goes to tail and is cleared; DFT
// forward of 2n and CorrDFT(block, n, scale); line k = 1 .. n - 1 becomes
// ((c*a - b*d) * gain, (c*b + a*d) * gain) with (a, b) the block's line and
// (c, d) the filter's, line 0 becomes 0; DFT inverse and CorrIFT(2n, scale);
// tail[i] is added to block[i], i < n. Afterwards the lower half is the
// output and the upper half the tail of this block, so the caller overwrites
// only the lower half between calls. tail (n floats) is scratch. A stream so
// run equals its linear convolution with the filter's impulse response except
// that each 2n-sample frame loses its line 0 and its Nyquist line.
// Nothing is done when block, filter or tail is null, or for n = 0; 2n must
// be a transform size. Allocates nothing.
// precision: all in float, in the order given.
NUMORA_API void ApplyCompensation(float* block, float* filter, float* tail, float gain, uint32_t n,
                                  float scale);

// The overlap-add on a frame of size samples as two half-frame steps: for the
// lower, then the upper half of frame, the h = size / 2 samples go to work
// over h zeros, work runs through the transform steps of ApplyCompensation
// (2n = size), the half of frame becomes work[i] + tail[i], and tail takes
// work[h .. size - 1]. tail (h floats) carries the stream from call to call;
// clear it to start one. filter has the layout of a frame of size samples;
// work holds size floats and is not checked. Nothing is done when frame,
// filter or tail is null. Allocates nothing.
// precision: all in float, in the order given.
// choice: the two halves are h samples each, so an odd size runs as
// size - 1 and leaves the last sample of frame alone; a size below 2 (no
// half) does nothing.
NUMORA_API void ApplyCompensationSingle(float* frame, float* filter, float* tail, float* work, float gain,
                                        uint32_t size, float scale);

// Delay in samples that the phase of a compensation stands for. phase
// receives the phase of each line in degrees, unwrapped in degrees; the
// largest phase from line 1 on, at its first line p, gives
// (max * sampleRate) / (((float)p * lineSpacing) * 360.0f). 0 for lines <= 1
// (phase[0] is still written for lines = 1).
// precision: the phases and the result in float.
NUMORA_API float GetCompPhaseSampleOffset(complex* response, float* phase, int lines, float sampleRate,
                                          float lineSpacing);

}  // namespace math
}  // namespace qv
