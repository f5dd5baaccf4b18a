#include "numora/transforms/timing.h"

#include <climits>
#include <cmath>

#include "numora/foundation/cut_detail.h"
#include "numora/foundation/scalar.h"

namespace qv {
namespace math {

uint32_t GetBandwidth(float sampleRate, float ratio)
{
    // The sum is formed in float, then cut through 64 bits: a negative value
    // wraps, one without a 64-bit integer (NaN, infinite) gives 0.
    return detail::CutToU32(static_cast<double>(sampleRate / ratio + 0.5f));
}

void UpdateFrameInfo(QV_BASE_FRAME_SETUP& frame, uint32_t frameSize, QV_FFT_SCALING scaling,
                     double sampleRate, double ratio, double bandwidth)
{
    frame.frameSize = frameSize;
    frame.fftScaling = scaling;
    frame.deltaT = static_cast<float>(SampleRate2DeltaT(sampleRate));
    frame.deltaF = static_cast<float>(SampleRate2DeltaF(sampleRate, frameSize));
    frame.lines = FrameSize2ResolutionU(frameSize, ratio);
    frame.linesWithDC = frame.lines + 1;
    frame.halfFrame = frameSize / 2;
    frame.lineSpacing = frame.deltaF;
    frame.nominalDeltaF = static_cast<float>((ratio * bandwidth) / static_cast<double>(frameSize));
    frame.frameDuration = Samples2Duration(sampleRate, frameSize);
    frame.firstLine = 1;
    frame.lastLine = frame.lines;
    frame.scaleFactor =
        scaling == QV_FFT_SCALE_PEAK ? 1.0f : static_cast<float>(std::sqrt(2.0) * 0.5);
}

float GetFrameDuration(float sampleRate, uint32_t frameSize)
{
    return static_cast<float>(frameSize) / sampleRate;
}

float GetFrameDuration(QV_BASE_SAMPLING_SETUP& sampling, QV_BASE_FRAME_SETUP& frame)
{
    return GetFrameDuration(sampling.sampleRate, frame.frameSize);
}

float GetFrameOffset(float sampleRate, uint32_t frameSize, float overlap)
{
    return (static_cast<float>(frameSize) / sampleRate) * (1.0f - overlap);
}

float GetFrameOffset(QV_BASE_SAMPLING_SETUP& sampling, QV_BASE_FRAME_SETUP& frame)
{
    return GetFrameOffset(sampling.sampleRate, frame.frameSize, frame.overlap);
}

double GetTestDuration(double sampleRate, uint32_t frameSize, double overlap, uint32_t records,
                       uint32_t averages, QV_ACQFRAME_AVGMODE /*mode*/)
{
    if (records == 0xFFFFFFFFu)
        return 0.0;
    const uint32_t frames = records * averages;
    if (frames == 0)
        return 0.0;
    const double t = Samples2Duration(sampleRate, frameSize);
    const double h = Samples2Duration(sampleRate, OverlapFactor2SampleDelay(overlap, frameSize));
    return t + static_cast<double>(frames - 1) * h;
}

double GetTestDuration(QV_BASE_SAMPLING_SETUP& sampling, QV_BASE_FRAME_SETUP& frame,
                       QV_BASE_RECORD_SETUP& record, QV_BASE_AVG_SETUP& avg)
{
    return GetTestDuration(static_cast<double>(sampling.sampleRate), frame.frameSize,
                           static_cast<double>(frame.overlap), record.recordCount, avg.avgCount,
                           avg.avgMode);
}

float BandwidthToSampleRate(int bandwidth, float ratio, float* rates, int count, bool exact)
{
    float best = 0.0f;
    long long bestDistance = -1;  // none yet
    for (int i = 0; i < count; ++i) {
        if (rates[i] == 0.0f)
            break;
        const int b =
            SampleRate2BandwidthN(static_cast<double>(rates[i]), static_cast<double>(ratio));
        if (b == bandwidth)
            return rates[i];
        // In 64 bits so that the distance from any int request is exact.
        const long long distance = static_cast<long long>(b) - bandwidth;
        if (!exact && distance > 0 && (bestDistance < 0 || distance < bestDistance)) {
            best = rates[i];
            bestDistance = distance;
        }
    }
    return best;
}

float BandwidthToSampleRate(float bandwidth, float ratio, float* rates, int count, bool exact)
{
    const float r = Round(bandwidth, qv::RoundMethodFloorEps);
    const int requested = detail::CutToInt(static_cast<double>(r));
    return BandwidthToSampleRate(requested, ratio, rates, count, exact);
}

}  // namespace math
}  // namespace qv
