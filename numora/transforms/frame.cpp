#include "numora/transforms/frame.h"

#include "numora/foundation/array.h"
#include "numora/foundation/complex.h"
#include "numora/spectrum/auto_spectrum.h"
#include "numora/spectrum/conversions.h"
#include "numora/transforms/fft.h"
#include "numora/transforms/weighting.h"

namespace qv {
namespace math {

namespace {

// A transformed frame read as its complex lines.
complex* Lines(float* frame)
{
    return reinterpret_cast<complex*>(frame);
}

complex_d* Lines(double* frame)
{
    return reinterpret_cast<complex_d*>(frame);
}

// The transform core under one name per precision, so that each chain below
// is written once for both element types. Neither twin mixes precisions.
void Forward(float* data, int size)
{
    DFT(data, size, 1);
}

void Forward(double* data, int size)
{
    DFT_D(data, size, 1);
}

void Inverse(float* data, int size)
{
    DFT(data, size, -1);
}

void Inverse(double* data, int size)
{
    DFT_D(data, size, -1);
}

template <typename Scaling>
void CorrectLines(float* data, int lines, Scaling s)
{
    CorrDFT(Lines(data), lines, s);
}

template <typename Scaling>
void CorrectLines(double* data, int lines, Scaling s)
{
    CorrDFT_D(Lines(data), lines, s);
}

template <typename Scaling>
void CorrectTime(float* data, int size, Scaling s)
{
    CorrIFT(data, size, s);
}

template <typename Scaling>
void CorrectTime(double* data, int size, Scaling s)
{
    CorrIFT_D(data, size, s);
}

// Forward transform of size reals in out (copied from in first when the two
// differ) and correction of its size/2 lines.
template <typename Real, typename Scaling>
void ForwardScaled(Real* in, Real* out, int size, Scaling s)
{
    if (size < 2)
        return;
    if (in != out)
        ArrayCopy(out, in, size);
    Forward(out, size);
    CorrectLines(out, size / 2, s);
}

// Inverse transform of all size reals as they stand, then CorrIFT.
template <typename Real, typename Scaling>
void InverseScaled(Real* in, Real* out, int size, Scaling s)
{
    if (in != out)
        ArrayCopy(out, in, size);
    Inverse(out, size);
    CorrectTime(out, size, s);
}

// Window, gate, transform, correction and weighting of one frame in place.
template <typename Real>
void Pipeline(int channel, Real* frame, int frameSize, Real df, QV_ACQFRAME_WINTYPE winType,
              QV_WINDOWSCALE winScale, int gateSamples, QV_ACOUSTIC_WEIGHT weight, QV_WIND_SETUP* wind,
              Real scale)
{
    if (frameSize < 2)
        return;
    // A table built here has decay 0; an exponential decay comes from a record
    // the caller prepared before, which this call leaves alone.
    WindowSetupCoeff(winType, winScale, 0.0f, frameSize, 0, wind);
    if (channel != 0 && winType == QV_WIN_EXPDECAY) {
        const int keep = gateSamples < 0 ? 0 : gateSamples;
        if (keep < frameSize)
            ArraySet(frame + keep, Real(0), frameSize - keep);
    }
    WindowApply(frame, frameSize, wind, 0);
    Forward(frame, frameSize);
    CorrectLines(frame, frameSize / 2, scale);
    if (weight != QV_WEIGHT_NONE)
        Weight_FFT(weight, Lines(frame), frameSize / 2, df);
}

}  // namespace

void TIMtoFFT(float* out, float* in, int size, float scale)
{
    ForwardScaled(in, out, size, scale);
}

void TIMtoFFT(float* data, int size, float scale)
{
    ForwardScaled(data, data, size, scale);
}

void TIMtoFFT(double* in, double* out, int size, QV_FFT_SCALING scaling)
{
    ForwardScaled(in, out, size, scaling);
}

void TIMtoFFT(double* in, double* out, int size, double scale)
{
    ForwardScaled(in, out, size, scale);
}

void FFTtoTIM(float* in, float* out, int size, QV_FFT_SCALING scaling)
{
    InverseScaled(in, out, size, scaling);
}

void FFTtoTIM(float* in, float* out, int size, float scale)
{
    InverseScaled(in, out, size, scale);
}

void FFTtoTIM(double* in, double* out, int size, QV_FFT_SCALING scaling)
{
    InverseScaled(in, out, size, scaling);
}

void FFTtoTIM(double* in, double* out, int size, double scale)
{
    InverseScaled(in, out, size, scale);
}

void TIMtoFFTWithPad(float* out, float* in, int count, int padded, float scale, bool hann)
{
    if (count < 1 || padded < 2)
        return;
    ArrayCopy(out, in, count);
    if (hann)
        ApplyHann(out, count);
    if (padded > count)
        ArraySet(out + count, 0.0f, padded - count);
    DFT(out, padded, 1);
    CorrDFT(Lines(out), padded / 2, scale);
}

void TIMtoFFT(int channel, float* frame, int frameSize, float df, QV_ACQFRAME_WINTYPE winType,
              QV_WINDOWSCALE winScale, float /*winArg*/, int gateSamples, QV_ACOUSTIC_WEIGHT weight,
              QV_WIND_SETUP* wind, float scale)
{
    Pipeline(channel, frame, frameSize, df, winType, winScale, gateSamples, weight, wind, scale);
}

void TIMtoFFT(int channel, double* frame, int frameSize, double df, QV_ACQFRAME_WINTYPE winType,
              QV_WINDOWSCALE winScale, double /*winArg*/, int gateSamples, QV_ACOUSTIC_WEIGHT weight,
              QV_WIND_SETUP* wind, double scale)
{
    Pipeline(channel, frame, frameSize, df, winType, winScale, gateSamples, weight, wind, scale);
}

void TIMtoAPS(int channel, float* frame, float* aps, float df, QV_ACQFRAME_AVGMODE mode,
              QV_ACQFRAME_WINTYPE winType, QV_WINDOWSCALE winScale, float /*winArg*/, int gateSamples,
              QV_ACOUSTIC_WEIGHT weight, int frameSize, int lines, int frameNumber, int expFrames, float scale,
              QV_WIND_SETUP* wind, float* heldMeasure)
{
    if (frameSize < 2)
        return;
    Pipeline(channel, frame, frameSize, df, winType, winScale, gateSamples, weight, wind, scale);
    FFTtoAPS(Lines(frame), aps, lines, mode, frameNumber, expFrames, heldMeasure);
}

void TIMtoAPS(int channel, double* frame, double* aps, double df, QV_ACQFRAME_AVGMODE mode,
              QV_ACQFRAME_WINTYPE winType, QV_WINDOWSCALE winScale, double /*winArg*/, int gateSamples,
              QV_ACOUSTIC_WEIGHT weight, int frameSize, int lines, int frameNumber, int expFrames, double scale,
              QV_WIND_SETUP* wind, double* heldMeasure)
{
    if (frameSize < 2)
        return;
    Pipeline(channel, frame, frameSize, df, winType, winScale, gateSamples, weight, wind, scale);
    FFTtoAPS(Lines(frame), aps, lines, mode, frameNumber, expFrames, heldMeasure);
}

void TIMtoAPS(int channel, float* frame, float* aps, float df, QV_ACQFRAME_AVGMODE mode,
              QV_ACQFRAME_WINTYPE winType, QV_WINDOWSCALE winScale, float winArg, int gateSamples,
              QV_ACOUSTIC_WEIGHT weight, int frameSize, int lines, int frameNumber, int expFrames, float scale,
              QV_WIND_SETUP* wind, float* heldMeasure, double* work, int doubleFrom)
{
    if (frameSize < doubleFrom) {
        TIMtoAPS(channel, frame, aps, df, mode, winType, winScale, winArg, gateSamples, weight, frameSize, lines,
                 frameNumber, expFrames, scale, wind, heldMeasure);
        return;
    }
    if (frameSize < 2)
        return;
    for (int i = 0; i < frameSize; ++i)
        work[i] = static_cast<double>(frame[i]);
    Pipeline(channel, work, frameSize, static_cast<double>(df), winType, winScale, gateSamples, weight, wind,
             static_cast<double>(scale));
    // The one rounding of the double path: every real back to float.
    for (int i = 0; i < frameSize; ++i)
        frame[i] = static_cast<float>(work[i]);
    FFTtoAPS(Lines(frame), aps, lines, mode, frameNumber, expFrames, heldMeasure);
}

void TIMtoAPSWithDriveCorr(int channel, float* frame, float* aps, float df, QV_ACQFRAME_AVGMODE mode,
                           QV_ACQFRAME_WINTYPE winType, QV_WINDOWSCALE winScale, float /*winArg*/,
                           int gateSamples, QV_ACOUSTIC_WEIGHT weight, int frameSize, int lines, int frameNumber,
                           int expFrames, float scale, QV_WIND_SETUP* wind, float* heldMeasure, complex* corr)
{
    if (frameSize < 2)
        return;
    Pipeline(channel, frame, frameSize, df, winType, winScale, gateSamples, weight, wind, scale);
    FFTApplySineX_X(Lines(frame), corr, frameSize / 2);
    FFTtoAPS(Lines(frame), aps, lines, mode, frameNumber, expFrames, heldMeasure);
}

void FFTtoPhase(complex_d* fft, double* phase, int lines)
{
    phase[0] = 0.0;
    for (int i = 1; i < lines; ++i)
        phase[i] = ComplexPhaseR(fft[i]);
}

void FFTtoPhase(double* fft, double* phase, int lines)
{
    FFTtoPhase(Lines(fft), phase, lines);
}

}  // namespace math
}  // namespace qv
