#pragma once

#include <cstdint>

#include "numora/foundation/export.h"
#include "numora/foundation/records.h"

// Frame and test timing: the derived fields of a frame set-up, the duration
// and hop of a frame, the length of a test, and the choice of a sample rate
// for a wanted bandwidth. `ratio` is the ratio of sample rate to bandwidth,
// such as 2.56. The record overloads read the records as they are.

namespace qv {
namespace math {

// Bandwidth for a sample rate: sampleRate / ratio + 0.5, truncated.
// precision: quotient and sum in float.
// choice: the cut goes through a signed 64-bit value, as the library's other
// unsigned cuts: a negative sum wraps modulo 2^32, and a sum without a 64-bit
// integer (a zero ratio gives infinity) gives 0.
NUMORA_API uint32_t GetBandwidth(float sampleRate, float ratio);

// Fills every field of frame except overlap and the reserved word: sizes,
// line counts, deltaT and deltaF from the real sample rate, nominalDeltaF =
// ratio * bandwidth / frameSize from the nominal bandwidth, frameDuration,
// the line range 1 ... lines, and scaleFactor 1 for QV_FFT_SCALE_PEAK or
// sqrt(2) / 2 for any other scaling value.
// precision: deltaT, deltaF, nominalDeltaF and scaleFactor are worked out in
// double and rounded to float once; lineSpacing is the float deltaF.
NUMORA_API void UpdateFrameInfo(QV_BASE_FRAME_SETUP& frame, uint32_t frameSize,
                                QV_FFT_SCALING scaling, double sampleRate, double ratio,
                                double bandwidth);

// Seconds in a frame: frameSize / sampleRate, in float; no guard for a zero rate.
NUMORA_API float GetFrameDuration(float sampleRate, uint32_t frameSize);
// Seconds in a frame from sampling.sampleRate and frame.frameSize.
NUMORA_API float GetFrameDuration(QV_BASE_SAMPLING_SETUP& sampling, QV_BASE_FRAME_SETUP& frame);

// Seconds from the start of one frame to the start of the next:
// (frameSize / sampleRate) * (1 - overlap), in float.
NUMORA_API float GetFrameOffset(float sampleRate, uint32_t frameSize, float overlap);
// Frame offset from sampling.sampleRate, frame.frameSize and frame.overlap.
NUMORA_API float GetFrameOffset(QV_BASE_SAMPLING_SETUP& sampling, QV_BASE_FRAME_SETUP& frame);

// Seconds a test of records x averages frames lasts: one frame plus a hop of
// OverlapFactor2SampleDelay samples for every further frame, with no gap
// between records; the same for every averaging mode, which is not read.
// 0 when records is 0xFFFFFFFF (a test without computed duration) and when
// the frame count is 0.
// precision: the frame count records * averages is a 32-bit unsigned product
// and wraps; the rest runs in double.
NUMORA_API double GetTestDuration(double sampleRate, uint32_t frameSize, double overlap,
                                  uint32_t records, uint32_t averages, QV_ACQFRAME_AVGMODE mode);
// Test duration from the records' sampleRate and overlap (widened to double),
// frameSize, recordCount, avgCount and avgMode.
NUMORA_API double GetTestDuration(QV_BASE_SAMPLING_SETUP& sampling, QV_BASE_FRAME_SETUP& frame,
                                  QV_BASE_RECORD_SETUP& record, QV_BASE_AVG_SETUP& avg);

// Sample rate out of the count rates (a rate of exactly 0 ends the list early)
// whose bandwidth SampleRate2BandwidthN(rate, ratio) equals bandwidth; the
// first exact match wins. Unless exact is set, a list without a match gives
// the rate of the nearest bandwidth above the request, the first of equals;
// a bandwidth below is never chosen. 0 when nothing fits or count < 1.
NUMORA_API float BandwidthToSampleRate(int bandwidth, float ratio, float* rates, int count,
                                       bool exact);
// As above for Round(bandwidth, RoundMethodFloorEps) truncated to int.
// choice: a bandwidth without an int (NaN, infinite, beyond int) becomes
// INT_MIN, like the library's other cuts.
NUMORA_API float BandwidthToSampleRate(float bandwidth, float ratio, float* rates, int count,
                                       bool exact);

}  // namespace math
}  // namespace qv
