#pragma once

#include "numora/foundation/export.h"
#include "numora/foundation/records.h"
#include "numora/transforms/window.h"

// Cross spectrum of two channels and what follows from it: frequency response
// (H1 = CPS / power of the second channel), coherence, line phase and
// magnitude, and a gated adaptive FRF update.
//
// The cross product of line i is always X = a[i] * conj(b[i]):
// re = a.re*b.re + a.im*b.im, im = a.im*b.re - a.re*b.im, each product and the
// sum rounded to float; its phase is the phase of a minus the phase of b.
// cps is the caller's averaging state, lines long; it must not overlap a or b.

namespace qv {
namespace math {

// Averages one frame pair into cps by mode: 0, 1, 7 running mean with
// frames = frameNumber; 2 exponential with frames = 1 below frame 2, else
// expFrames; 3 peak hold by magnitude; any other mode leaves cps alone.
NUMORA_API void FFTtoCPS(complex* a, complex* b, complex* cps, int lines, QV_ACQFRAME_AVGMODE mode,
                         int frameNumber, int expFrames);

// Weighted update cps = X / k + (1 - 1/k) * cps with k = frames (1 when below
// 1); k = 1 replaces cps without reading it.
// precision: wNew = 1.0 / (double)(float)k; each part of X is widened, times
// wNew, plus the widened old part times (1 - wNew), rounded to float once.
NUMORA_API void FFTtoCPS(complex* a, complex* b, complex* cps, int lines, int frames);

// Peak hold: frameNumber <= 1 sets cps to X; later frames replace a line, both
// parts together, only where the new power is strictly larger, so a held line
// keeps the phase of its peak frame and a NaN never replaces.
// precision: the new power re^2 + im^2 in double from the float parts, rounded
// to float; the stored power in float.
NUMORA_API void FFTtoCPS_PK(complex* a, complex* b, complex* cps, int lines, int frameNumber);

// Transforms frameA (as channel 0) and frameB (as channel 1) in place with the
// frame pipeline of TIMtoFFT, then averages their first lines lines into cps
// by mode. Both frames hold spectra afterwards, whatever the mode.
NUMORA_API void TIMtoCPS(float* frameA, float* frameB, complex* cps, float df, QV_ACQFRAME_AVGMODE mode,
                         QV_ACQFRAME_WINTYPE winType, QV_WINDOWSCALE winScale, float winArg, int gateSamples,
                         QV_ACOUSTIC_WEIGHT weight, int frameSize, int lines, int frameNumber, int expFrames,
                         float scale, QV_WIND_SETUP* wind);

// TIMtoCPS with FFTApplySineX_X(frame, corr, frameSize / 2) on frameA when
// corrA and on frameB when corrB, before the averaging. corr holds
// frameSize / 2 (re, im) pairs of float.
NUMORA_API void TIMtoCPS_WithDriveCorr(float* frameA, float* frameB, complex* cps, float df,
                                       QV_ACQFRAME_AVGMODE mode, QV_ACQFRAME_WINTYPE winType,
                                       QV_WINDOWSCALE winScale, float winArg, int gateSamples,
                                       QV_ACOUSTIC_WEIGHT weight, int frameSize, int lines, int frameNumber,
                                       int expFrames, float scale, QV_WIND_SETUP* wind, float* corr, bool corrA,
                                       bool corrB);

// frf[i] = cps[i] / aps[i] part by part in float; an exactly zero aps[i]
// (either sign) gives (0, 0). No floor or tolerance.
// in place: frf may be cps.
NUMORA_API void CPStoFRF(complex* cps, float* aps, complex* frf, int lines);

// coh[i] = (re^2 + im^2) / (apsA[i] * apsB[i]), all in float; a zero product
// gives 0. Not limited to 0..1.
NUMORA_API void CPStoCOH(complex* cps, float* apsA, float* apsB, float* coh, int lines);

// One gated exponential update of the FRF and its spectra; returns the number
// of lines accepted in this call. Line 0 of a and b is cleared first, also
// when lines < 1. Per line, with beta = 1 - alpha, all in float:
// G = alpha*X + beta*cps, Pb = alpha*|b|^2 + beta*apsB, Pa = alpha*|a|^2 + beta*apsA.
// With Pa > 0 and Pb > 0: H = G / Pb; the gate measure gamma (0 when above 1
// or below 0) is compared with gateFactor * gateRef[i]; gamma >= threshold
// stores H, G, Pb, Pa and sets accepted[i] = 1, otherwise (NaN included) the
// line keeps all its stored values. Without power on both sides (or NaN) the
// line is reset: frf = (1, 0), cps = (1, 0), apsB = 1, apsA = 0, not counted.
// accepted is only ever set to 1, never cleared; gateRef is read only.
// choice: gamma is the coherence of the updated line, |G|^2 / (Pa * Pb): the
// sum of squares of G and the product Pa * Pb each in float, then divided.
NUMORA_API int FFTtoFRF_GatedUpdate(complex* a, complex* b, complex* cps, float* apsB, float* apsA,
                                    float* gateRef, complex* frf, int lines, float gateFactor, float alpha,
                                    int* accepted);

// Phase in degrees of X at the line nearest freq (freq / df rounded half away
// from zero); 0 when that line is below 0 or at or beyond lines.
NUMORA_API float FFTtoCPSPhase(complex* a, complex* b, float freq, float df, int lines);

// phase[i] = ComplexPhase(X[i]) in degrees, then unwrapped in degrees when
// unwrap is set.
NUMORA_API void FFTtoCPSPhase(complex* a, complex* b, float* phase, int lines, bool unwrap);

// mag[i] = ComplexMag(X[i]).
// precision: the sum of squares in float, its root in double, rounded to float.
NUMORA_API void FFTtoCPSMag(complex* a, complex* b, float* mag, int lines);

}  // namespace math
}  // namespace qv
