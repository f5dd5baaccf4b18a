#pragma once

#include "numora/foundation/export.h"
#include "numora/foundation/records.h"
#include "numora/transforms/window.h"

// Frame-level transforms: a time frame of N reals to its scaled spectrum and
// back, line phases, and the whole chain from a time frame to an averaged auto
// power spectrum. The frame is transformed where it lies: afterwards the same
// memory holds N/2 complex lines (line 0 real) in the packed layout of DFT.
//
// Arguments shared by the frame calls:
// - channel: 0 for the first channel of a pair, non-zero for a later one.
// - df: line spacing in Hz, for the acoustic weighting.
// - winType, winScale: the window; wind is the caller's prepared-window record,
//   written only when it is not yet prepared for this type, size and scale.
// - winArg: accepted and not read.
// - gateSamples: samples that stay when the gate applies (see TIMtoFFT).
// - weight: acoustic weighting, QV_WEIGHT_NONE for none.
// - lines, mode, frameNumber, expFrames, heldMeasure: as for FFTtoAPS.
// - scale: the amplitude factor s of CorrDFT.
// Nothing is reported: the results of the transform and window calls are not
// looked at, so a size DFT refuses leaves the frame windowed and corrected but
// untransformed.

namespace qv {
namespace math {

// ---- Plain transforms. The float TIMtoFFT takes the output first, the double
// one the input first.

// Copies size reals from in to out, transforms forward and corrects size/2 lines.
// in and out must be distinct. choice: a size below 2 does nothing (no room
// for line 0).
NUMORA_API void TIMtoFFT(float* out, float* in, int size, float scale);
// Forward transform and correction of size/2 lines in place.
// choice: a size below 2 does nothing.
NUMORA_API void TIMtoFFT(float* data, int size, float scale);
// Copies in to out when they differ, transforms forward and corrects size/2 lines.
// in place: out may be in. choice: a size below 2 does nothing.
NUMORA_API void TIMtoFFT(double* in, double* out, int size, QV_FFT_SCALING scaling);
// As above with the factor s.
// in place: out may be in. choice: a size below 2 does nothing.
NUMORA_API void TIMtoFFT(double* in, double* out, int size, double scale);

// Copies in to out when they differ, transforms all size reals inversely as
// they stand and applies CorrIFT. Unlike IFT nothing is padded and data[1] is
// not cleared, so the spectrum must have passed CorrDFT or hold 0 there.
// in place: out may be in.
NUMORA_API void FFTtoTIM(float* in, float* out, int size, QV_FFT_SCALING scaling);
// As above with the factor s.
NUMORA_API void FFTtoTIM(float* in, float* out, int size, float scale);
// As above in double.
NUMORA_API void FFTtoTIM(double* in, double* out, int size, QV_FFT_SCALING scaling);
// As above in double with the factor s.
NUMORA_API void FFTtoTIM(double* in, double* out, int size, double scale);

// Spectrum of count samples zero-padded to padded: copies count reals to out,
// tapers them with ApplyHann when hann is set (so the taper covers the real
// samples only), clears out[count..padded-1], transforms padded reals forward
// and corrects padded/2 lines. With padded below count only the first padded
// samples enter the transform.
// choice: out needs room for the larger of count and padded, since all count
// samples are copied and tapered before the transform.
// choice: a count below 1 or a padded below 2 does nothing.
NUMORA_API void TIMtoFFTWithPad(float* out, float* in, int count, int padded, float scale, bool hann);

// ---- Frame pipeline, in this order:
// 1. WindowSetupCoeff(winType, winScale, 0, frameSize, 0, wind): a record built
//    here has decay 0, so an exponential decay must be prepared by the caller.
// 2. Gate: only for channel != 0 with QV_WIN_EXPDECAY, samples gateSamples to
//    frameSize - 1 are set to 0.
// 3. WindowApply from sample 0 (nothing for QV_WIN_NONE or a null wind).
// 4. Forward DFT. 5. CorrDFT with frameSize/2 lines and scale.
// 6. Weight_FFT with frameSize/2 lines and df, unless weight is 0.
// choice: a negative gateSamples counts as 0, so the gate clears the whole frame.
// choice: a frameSize below 2 does nothing.
NUMORA_API void TIMtoFFT(int channel, float* frame, int frameSize, float df, QV_ACQFRAME_WINTYPE winType,
                         QV_WINDOWSCALE winScale, float winArg, int gateSamples, QV_ACOUSTIC_WEIGHT weight,
                         QV_WIND_SETUP* wind, float scale);
// The same pipeline in double; the window table stays float.
NUMORA_API void TIMtoFFT(int channel, double* frame, int frameSize, double df, QV_ACQFRAME_WINTYPE winType,
                         QV_WINDOWSCALE winScale, double winArg, int gateSamples, QV_ACOUSTIC_WEIGHT weight,
                         QV_WIND_SETUP* wind, double scale);

// ---- Chains to an auto power spectrum: the frame pipeline, then FFTtoAPS on
// the frame read as complex lines. The frame holds the spectrum afterwards,
// whatever the mode. choice: a frameSize below 2 does nothing.

// Float chain.
NUMORA_API void TIMtoAPS(int channel, float* frame, float* aps, float df, QV_ACQFRAME_AVGMODE mode,
                         QV_ACQFRAME_WINTYPE winType, QV_WINDOWSCALE winScale, float winArg, int gateSamples,
                         QV_ACOUSTIC_WEIGHT weight, int frameSize, int lines, int frameNumber, int expFrames,
                         float scale, QV_WIND_SETUP* wind, float* heldMeasure);
// Double chain.
NUMORA_API void TIMtoAPS(int channel, double* frame, double* aps, double df, QV_ACQFRAME_AVGMODE mode,
                         QV_ACQFRAME_WINTYPE winType, QV_WINDOWSCALE winScale, double winArg, int gateSamples,
                         QV_ACOUSTIC_WEIGHT weight, int frameSize, int lines, int frameNumber, int expFrames,
                         double scale, QV_WIND_SETUP* wind, double* heldMeasure);
// Float chain whose transform runs in double from frameSize >= doubleFrom on:
// below it, exactly the float chain, work untouched; from it on, the samples
// are widened into work (frameSize doubles), the double pipeline runs there
// with df, winArg and scale widened, and the results are rounded back into
// frame before the float averaging.
// precision: window, transform, correction and weighting in double, then one
// rounding to float per real.
NUMORA_API void TIMtoAPS(int channel, float* frame, float* aps, float df, QV_ACQFRAME_AVGMODE mode,
                         QV_ACQFRAME_WINTYPE winType, QV_WINDOWSCALE winScale, float winArg, int gateSamples,
                         QV_ACOUSTIC_WEIGHT weight, int frameSize, int lines, int frameNumber, int expFrames,
                         float scale, QV_WIND_SETUP* wind, float* heldMeasure, double* work, int doubleFrom);
// Float chain with the drive correction FFTApplySineX_X(frame, corr,
// frameSize/2) between the pipeline and the averaging.
NUMORA_API void TIMtoAPSWithDriveCorr(int channel, float* frame, float* aps, float df, QV_ACQFRAME_AVGMODE mode,
                                      QV_ACQFRAME_WINTYPE winType, QV_WINDOWSCALE winScale, float winArg,
                                      int gateSamples, QV_ACOUSTIC_WEIGHT weight, int frameSize, int lines,
                                      int frameNumber, int expFrames, float scale, QV_WIND_SETUP* wind,
                                      float* heldMeasure, complex* corr);

// ---- Line phase.

// phase[0] = 0 always, also for lines < 1; phase[i] = ComplexPhaseR(fft[i]) in
// radians for i = 1 to lines - 1.
NUMORA_API void FFTtoPhase(complex_d* fft, double* phase, int lines);
// The same on the spectrum seen as (re, im) pairs of reals.
NUMORA_API void FFTtoPhase(double* fft, double* phase, int lines);

}  // namespace math
}  // namespace qv
