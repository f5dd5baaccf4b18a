#include "numora/spectrum/cross_spectrum.h"

#include "numora/foundation/complex.h"
#include "numora/foundation/scalar.h"
#include "numora/spectrum/conversions.h"
#include "numora/transforms/frame.h"

namespace qv {
namespace math {

namespace {

// X = a * conj(b) in float, each product and each sum rounded to float.
inline complex Cross(const complex& a, const complex& b)
{
    const float re = a.re * b.re + a.im * b.im;
    const float im = a.im * b.re - a.re * b.im;
    return {re, im};
}

// Squared magnitude in float.
inline float Power(const complex& z)
{
    return z.re * z.re + z.im * z.im;
}

// Both frames through the frame pipeline, as channel 0 and channel 1.
void TransformPair(float* frameA, float* frameB, float df, QV_ACQFRAME_WINTYPE winType, QV_WINDOWSCALE winScale,
                   float winArg, int gateSamples, QV_ACOUSTIC_WEIGHT weight, int frameSize, float scale,
                   QV_WIND_SETUP* wind)
{
    TIMtoFFT(0, frameA, frameSize, df, winType, winScale, winArg, gateSamples, weight, wind, scale);
    TIMtoFFT(1, frameB, frameSize, df, winType, winScale, winArg, gateSamples, weight, wind, scale);
}

complex* Lines(float* frame)
{
    return reinterpret_cast<complex*>(frame);
}

}  // namespace

void FFTtoCPS(complex* a, complex* b, complex* cps, int lines, QV_ACQFRAME_AVGMODE mode, int frameNumber,
              int expFrames)
{
    switch (mode) {
    case QV_AVG_LINEAR0:
    case QV_AVG_LINEAR:
    case QV_AVG_LINEAR7:
        FFTtoCPS(a, b, cps, lines, frameNumber);
        break;
    case QV_AVG_EXPONENTIAL:
        FFTtoCPS(a, b, cps, lines, frameNumber < 2 ? 1 : expFrames);
        break;
    case QV_AVG_PEAK_HOLD:
        FFTtoCPS_PK(a, b, cps, lines, frameNumber);
        break;
    default:
        break;
    }
}

void FFTtoCPS(complex* a, complex* b, complex* cps, int lines, int frames)
{
    const int k = frames < 1 ? 1 : frames;
    // The frame count passes through float on its way to the weight.
    const double wNew = 1.0 / static_cast<double>(static_cast<float>(k));
    const double wOld = 1.0 - wNew;
    if (k == 1) {
        for (int i = 0; i < lines; ++i)
            cps[i] = Cross(a[i], b[i]);
        return;
    }
    for (int i = 0; i < lines; ++i) {
        const complex x = Cross(a[i], b[i]);
        cps[i].re = static_cast<float>(static_cast<double>(x.re) * wNew + static_cast<double>(cps[i].re) * wOld);
        cps[i].im = static_cast<float>(static_cast<double>(x.im) * wNew + static_cast<double>(cps[i].im) * wOld);
    }
}

void FFTtoCPS_PK(complex* a, complex* b, complex* cps, int lines, int frameNumber)
{
    if (frameNumber <= 1) {
        for (int i = 0; i < lines; ++i)
            cps[i] = Cross(a[i], b[i]);
        return;
    }
    for (int i = 0; i < lines; ++i) {
        const complex x = Cross(a[i], b[i]);
        const double re = static_cast<double>(x.re);
        const double im = static_cast<double>(x.im);
        const float fresh = static_cast<float>(re * re + im * im);
        if (fresh > Power(cps[i]))
            cps[i] = x;
    }
}

void TIMtoCPS(float* frameA, float* frameB, complex* cps, float df, QV_ACQFRAME_AVGMODE mode,
              QV_ACQFRAME_WINTYPE winType, QV_WINDOWSCALE winScale, float winArg, int gateSamples,
              QV_ACOUSTIC_WEIGHT weight, int frameSize, int lines, int frameNumber, int expFrames, float scale,
              QV_WIND_SETUP* wind)
{
    // Frames too short to transform hold no spectrum to average.
    if (frameSize < 2)
        return;
    TransformPair(frameA, frameB, df, winType, winScale, winArg, gateSamples, weight, frameSize, scale, wind);
    FFTtoCPS(Lines(frameA), Lines(frameB), cps, lines, mode, frameNumber, expFrames);
}

void TIMtoCPS_WithDriveCorr(float* frameA, float* frameB, complex* cps, float df, QV_ACQFRAME_AVGMODE mode,
                            QV_ACQFRAME_WINTYPE winType, QV_WINDOWSCALE winScale, float winArg, int gateSamples,
                            QV_ACOUSTIC_WEIGHT weight, int frameSize, int lines, int frameNumber, int expFrames,
                            float scale, QV_WIND_SETUP* wind, float* corr, bool corrA, bool corrB)
{
    if (frameSize < 2)
        return;
    TransformPair(frameA, frameB, df, winType, winScale, winArg, gateSamples, weight, frameSize, scale, wind);
    if (corrA)
        FFTApplySineX_X(Lines(frameA), Lines(corr), frameSize / 2);
    if (corrB)
        FFTApplySineX_X(Lines(frameB), Lines(corr), frameSize / 2);
    FFTtoCPS(Lines(frameA), Lines(frameB), cps, lines, mode, frameNumber, expFrames);
}

void CPStoFRF(complex* cps, float* aps, complex* frf, int lines)
{
    for (int i = 0; i < lines; ++i) {
        const float p = aps[i];
        if (p == 0.0f) {
            frf[i].re = 0.0f;
            frf[i].im = 0.0f;
        } else {
            frf[i].re = cps[i].re / p;
            frf[i].im = cps[i].im / p;
        }
    }
}

void CPStoCOH(complex* cps, float* apsA, float* apsB, float* coh, int lines)
{
    for (int i = 0; i < lines; ++i) {
        const float d = apsA[i] * apsB[i];
        coh[i] = d == 0.0f ? 0.0f : Power(cps[i]) / d;
    }
}

int FFTtoFRF_GatedUpdate(complex* a, complex* b, complex* cps, float* apsB, float* apsA, float* gateRef,
                         complex* frf, int lines, float gateFactor, float alpha, int* accepted)
{
    a[0].re = 0.0f;
    a[0].im = 0.0f;
    b[0].re = 0.0f;
    b[0].im = 0.0f;
    if (lines < 1)
        return 0;
    const float beta = 1.0f - alpha;
    int count = 0;
    for (int i = 0; i < lines; ++i) {
        const complex x = Cross(a[i], b[i]);
        const complex g = {alpha * x.re + beta * cps[i].re, alpha * x.im + beta * cps[i].im};
        const float pb = alpha * Power(b[i]) + beta * apsB[i];
        const float pa = alpha * Power(a[i]) + beta * apsA[i];
        if (pa > 0.0f && pb > 0.0f) {
            const complex h = {g.re / pb, g.im / pb};
            float gamma = Power(g) / (pa * pb);
            if (gamma > 1.0f || gamma < 0.0f)
                gamma = 0.0f;
            if (gamma >= gateFactor * gateRef[i]) {
                frf[i] = h;
                cps[i] = g;
                apsB[i] = pb;
                apsA[i] = pa;
                accepted[i] = 1;
                ++count;
            }
        } else {
            frf[i] = {1.0f, 0.0f};
            cps[i] = {1.0f, 0.0f};
            apsB[i] = 1.0f;
            apsA[i] = 0.0f;
        }
    }
    return count;
}

float FFTtoCPSPhase(complex* a, complex* b, float freq, float df, int lines)
{
    const int index = Freq2Index(freq, df, RoundMethodNearest);
    if (index < 0 || index >= lines)
        return 0.0f;
    complex x = Cross(a[index], b[index]);
    return ComplexPhase(x);
}

void FFTtoCPSPhase(complex* a, complex* b, float* phase, int lines, bool unwrap)
{
    if (lines < 1)
        return;
    for (int i = 0; i < lines; ++i) {
        complex x = Cross(a[i], b[i]);
        phase[i] = ComplexPhase(x);
    }
    if (unwrap)
        ComplexUnwrapPhase(phase, lines, UnitAngleDegrees);
}

void FFTtoCPSMag(complex* a, complex* b, float* mag, int lines)
{
    for (int i = 0; i < lines; ++i) {
        complex x = Cross(a[i], b[i]);
        mag[i] = ComplexMag(x);
    }
}

}  // namespace math
}  // namespace qv
