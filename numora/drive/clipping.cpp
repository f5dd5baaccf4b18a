#include "numora/drive/clipping.h"

#include <algorithm>
#include <cmath>

#include "numora/drive/random_phase.h"
#include "numora/drive/waveforms.h"
#include "numora/foundation/array.h"
#include "numora/foundation/array_scan.h"
#include "numora/foundation/scalar.h"
#include "numora/spectrum/conversions.h"
#include "numora/spectrum/rms.h"
#include "numora/transforms/fft.h"
#include "numora/transforms/frame.h"

namespace qv {
namespace math {

namespace {

// Standard deviation about the mean, from the double statistics of ArrayMean.
double Deviation(const float* data, int n)
{
    double mean = 0.0, meanSquare = 0.0;
    ArrayMean(data, n, mean, meanSquare);
    return StandardDeviation(Variance(meanSquare, mean));
}

// Deviation of a double frame about its mean; the other statistics are dropped.
double FrameRms(const double* time, int n)
{
    double minimum, maximum, mean, meanSquare;
    return RMS_TIM_Stat(time, n, minimum, maximum, mean, meanSquare);
}

// The limit of a clip type from the deviation s, or 0 for a type without one.
// `sigmaLimits` says whether the two limit-only types count.
float TypeLimit(DriveClipType type, double s, double sigma, bool sigmaLimits, bool overshoot)
{
    float limit;
    switch (type) {
    case DriveClipSigma:
    case DriveClipZeroOut:
        limit = static_cast<float>(s * sigma);
        break;
    case DriveClipSixSigma:
        limit = static_cast<float>(s * 6.0);
        break;
    case DriveClipSigmaLimit3:
    case DriveClipSigmaLimit5:
        if (!sigmaLimits)
            return 0.0f;
        limit = static_cast<float>(s * sigma);
        break;
    default:
        return 0.0f;
    }
    return overshoot ? InterpOvershoot(limit) : limit;
}

}  // namespace

int SigmaClip(float* data, int n, DriveClipType type, float limit)
{
    if (type == DriveClipNone)
        return 0;
    return ArrayClip(data, n, -limit, limit);
}

int SigmaClip(float* data, int n, DriveClipType type, double sigma, double& stdDev, bool overshoot)
{
    if (type == DriveClipNone || n < 1)
        return 0;
    const double s = Deviation(data, n);
    stdDev = s;
    if (type != DriveClipSigma && type != DriveClipSixSigma && type != DriveClipZeroOut)
        return 0;
    const float limit = TypeLimit(type, s, sigma, false, overshoot);
    if (type == DriveClipZeroOut)
        return ArrayClipSet(data, n, -limit, limit, 0.0f, 0.0f);
    return ArrayClip(data, n, -limit, limit);
}

float GetSigmaClip(float* data, int n, DriveClipType type, double sigma, double& stdDev, bool overshoot)
{
    if (type == DriveClipNone || n < 1)
        return 0.0f;
    const double s = Deviation(data, n);
    stdDev = s;
    if (type == DriveClipZeroOut)
        return 0.0f;
    return TypeLimit(type, s, sigma, true, overshoot);
}

int SigmaClipEU(float* data, int n, DriveClipType type, float sigma)
{
    float factor;
    switch (type) {
    case DriveClipSigma:
    case DriveClipSigmaLimit3:
    case DriveClipSigmaLimit5:
        factor = sigma;
        break;
    case DriveClipSixSigma:
        factor = 6.0f;
        break;
    default:
        return 0;
    }
    float mean = 0.0f, meanSquare = 0.0f;
    ArrayMean(data, n, mean, meanSquare);
    const float s = static_cast<float>(
        StandardDeviation(Variance(static_cast<double>(meanSquare), static_cast<double>(mean))));
    const float limit = s * factor;
    return ArrayClip(data, n, -limit, limit);
}

int SigmaClip(double* data, int n, double sigma, double& rms, bool computeRms)
{
    if (n < 1)
        return 0;
    if (computeRms)
        rms = FrameRms(data, n);
    const double limit = sigma * rms;
    return ArrayClip(data, n, -limit, limit);
}

int RangeClip(float* data, int n, float low, float high)
{
    int count = 0;
    for (int i = 0; i < n; ++i) {
        if (data[i] < low) {
            data[i] = low;
            ++count;
        }
        if (data[i] > high) {
            data[i] = high;
            ++count;
        }
    }
    return count;
}

int FRQtoTIM_PhaseSigmaClip(double* amplitude, double* time, double* spectrum, double* phase,
                            QV_BASE_FRAME_SETUP& frame, double sigma, bool normalize, double peakTarget,
                            double& rmsOut, double aboveBandValue)
{
    const int frameSize = static_cast<int>(frame.frameSize);
    const int halfFrame = static_cast<int>(frame.halfFrame);
    const int linesWithDC = static_cast<int>(frame.linesWithDC);
    complex_d* lines = reinterpret_cast<complex_d*>(spectrum);

    FRQtoFFT(amplitude, phase, lines, halfFrame);
    ArrayInitBelowBand(lines, linesWithDC, std::max(static_cast<int>(frame.firstLine), 1), 0.0, 0.0);
    ArrayInitAboveBand(lines, linesWithDC, static_cast<int>(frame.lastLine), aboveBandValue, aboveBandValue);
    FFTtoTIM(spectrum, time, frameSize, frame.fftScaling);
    double rms = 0.0;
    const int clipped = SigmaClip(time, frameSize, sigma, rms, true);
    if (clipped > 0) {
        TIMtoFFT(time, spectrum, frameSize, frame.fftScaling);
        FFTtoPhase(spectrum, phase, halfFrame);
    }
    if (normalize)
        ArrayNormalize(time, frameSize, peakTarget);
    rmsOut = FrameRms(time, frameSize);
    return clipped;
}

int RandomUltraClip(double* amplitude, double* time, double* spectrum, double* phase,
                    QV_BASE_FRAME_SETUP& frame, double sigma, double peakTarget, int& pass, double& rmsOut,
                    double aboveBandValue)
{
    const int frameSize = static_cast<int>(frame.frameSize);
    const int halfFrame = static_cast<int>(frame.halfFrame);
    const int lines = static_cast<int>(frame.lines);
    const int linesWithDC = static_cast<int>(frame.linesWithDC);
    const int firstLine = static_cast<int>(frame.firstLine);
    const int lastLine = static_cast<int>(frame.lastLine);

    const int seed = pass == 0 ? 1130 : -1;  // the first call of a series always gives the same frame
    bool fresh = pass <= 5;
    int stage = 1;
    int previous = frameSize;
    int clipped = 0;
    while (stage < 4) {
        // The frame from the amplitudes and the present (or fresh) phases.
        ArrayCopy(spectrum, amplitude, frameSize);
        if (fresh) {
            FRQAddRandomPhase(spectrum, frameSize, lines, seed);
            LoadRandomPhase(phase, frameSize, linesWithDC, seed);
            fresh = false;
        } else {
            for (int k = 0; k < linesWithDC; ++k) {
                spectrum[2 * k] = std::cos(phase[k]) * amplitude[k];
                spectrum[2 * k + 1] = std::sin(phase[k]) * amplitude[k];
            }
        }
        ArrayInit(spectrum, 2 * firstLine, 0.0);
        ArrayInit(spectrum + 2 * lastLine + 2, 2 * (linesWithDC - lastLine) - 2, aboveBandValue);
        spectrum[0] = 0.0;
        spectrum[1] = 0.0;
        ArrayCopy(time, spectrum, frameSize);
        DFT_D(time, frameSize, -1);
        CorrIFT_D(time, frameSize, QV_FFT_SCALE_RMS);

        const double limit = FrameRms(time, frameSize) * sigma;
        clipped = ArrayClip(time, frameSize, -limit, limit);

        bool stop = false;
        if (clipped == 0 || (clipped > previous && stage > 1))
            stop = true;
        else
            stage += 1;
        previous = clipped;

        // The clipped frame's phases, also on the last iteration: the next call starts from them.
        ArrayCopy(spectrum, time, frameSize);
        DFT_D(spectrum, frameSize, 1);
        CorrDFT_D(reinterpret_cast<complex_d*>(spectrum), halfFrame, QV_FFT_SCALE_RMS);
        phase[0] = 0.0;
        for (int k = 1; k < halfFrame; ++k)
            phase[k] = std::atan2(spectrum[2 * k + 1], spectrum[2 * k]);
        if (stop)
            break;
    }
    ArrayNormalize(time, frameSize, peakTarget);
    rmsOut = FrameRms(time, frameSize);
    pass += 1;
    return clipped;
}

}  // namespace math
}  // namespace qv
