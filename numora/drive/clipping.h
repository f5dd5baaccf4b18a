#pragma once

#include <cstdint>

#include "numora/foundation/export.h"
#include "numora/foundation/records.h"

// Limits a drive frame in the time domain to a multiple of its standard
// deviation. The simple routines clip a frame where it stands; the two
// iterative ones keep the caller's line amplitudes and take only the phases
// of the clipped frame, so that repeated passes move the phases towards a
// frame with lower peaks. Clip counts count each changed sample once; a
// sample exactly at the limit is not changed.

namespace qv {

// What the clip routines do; each routine honours its own set of values
// (see there), and a value no routine knows does nothing.
enum DriveClipType : int32_t {
    DriveClipNone = 0,
    DriveClipSigma = 1,        // clip at sigma standard deviations
    DriveClipSixSigma = 2,     // clip at six standard deviations
    DriveClipSigmaLimit3 = 3,  // a limit of sigma deviations, reported but not applied by SigmaClip
    DriveClipZeroOut = 4,      // samples beyond sigma deviations become 0 (SigmaClip only)
    DriveClipSigmaLimit5 = 5,  // as DriveClipSigmaLimit3
};

}  // namespace qv

namespace qv {
namespace math {

// Clips data to -limit ... limit for any type other than DriveClipNone;
// returns the samples clipped (0 for DriveClipNone).
// in place: data.
NUMORA_API int SigmaClip(float* data, int n, qv::DriveClipType type, float limit);

// Clips data at a limit from its own statistics and returns the samples
// changed: DriveClipSigma clips at s * sigma, DriveClipSixSigma at 6 * s,
// DriveClipZeroOut sets samples beyond s * sigma to 0; every other type
// changes nothing and returns 0. s, the standard deviation about the mean, is
// written to stdDev for every type but DriveClipNone. With overshoot the limit
// L becomes InterpOvershoot(L).
// in place: data.
// precision: mean and mean square from ArrayMean in double, s =
// sqrt(q - m * m) in double; L = (float)(s * sigma) or (float)(s * 6.0).
// choice: n < 1 returns 0 and writes nothing, stdDev included.
NUMORA_API int SigmaClip(float* data, int n, qv::DriveClipType type, double sigma, double& stdDev,
                         bool overshoot);

// The limit SigmaClip would use, without touching data: s * sigma for
// DriveClipSigma, DriveClipSigmaLimit3 and DriveClipSigmaLimit5, 6 * s for
// DriveClipSixSigma (then InterpOvershoot with overshoot), 0 for the others.
// stdDev is written as in SigmaClip.
// precision: as SigmaClip.
// choice: n < 1 returns 0 and writes nothing.
NUMORA_API float GetSigmaClip(float* data, int n, qv::DriveClipType type, double sigma, double& stdDev,
                              bool overshoot);

// As SigmaClip with single-precision statistics and no overshoot: clips at
// s * sigma for DriveClipSigma, DriveClipSigmaLimit3 and DriveClipSigmaLimit5,
// at 6 * s for DriveClipSixSigma; other types change nothing. Returns the
// samples clipped.
// in place: data.
// precision: mean and mean square from ArrayMean in float, widened; s in
// double, rounded to float; the limit s * sigma (or s * 6) in float.
NUMORA_API int SigmaClipEU(float* data, int n, qv::DriveClipType type, float sigma);

// Clips data at sigma * rms, rms being the frame's deviation about its mean
// (RMS_TIM_Stat, written to rms) when computeRms is set, else the rms passed
// in. Returns the samples clipped.
// in place: data.
// choice: n < 1 returns 0 and leaves rms alone.
NUMORA_API int SigmaClip(double* data, int n, double sigma, double& rms, bool computeRms);

// Clips data to low ... high: a sample below low becomes low (counted), then
// the stored value, if above high, becomes high (counted). With low above
// high a sample below low is counted twice and ends at high.
// in place: data.
NUMORA_API int RangeClip(float* data, int n, float low, float high);

// One pass from amplitudes and phases to a clipped time frame: the lines
// amplitude[k] * (cos phase[k], sin phase[k]) for k < halfFrame, lines below
// max(firstLine, 1) cleared, lines above lastLine set to (aboveBandValue,
// aboveBandValue), FFTtoTIM with the frame's fftScaling, then a clip at sigma
// times the frame's deviation. If anything was clipped, phase takes the phases
// of the clipped frame (lines 1 to halfFrame - 1, phase[0] = 0). With
// normalize the frame is scaled to the peak peakTarget; rmsOut is the
// deviation of the final frame. Returns the samples clipped.
// Buffers: amplitude and spectrum frameSize doubles, time frameSize samples,
// phase halfFrame angles in radians; spectrum is scratch.
// Allocates nothing.
NUMORA_API int FRQtoTIM_PhaseSigmaClip(double* amplitude, double* time, double* spectrum, double* phase,
                                       QV_BASE_FRAME_SETUP& frame, double sigma, bool normalize,
                                       double peakTarget, double& rmsOut, double aboveBandValue);

// Up to three iterations of building a frame from the fixed amplitudes and
// the current phases, clipping it at sigma times its deviation and taking the
// clipped frame's phases. pass counts the calls of a series (the caller sets
// it to 0 to start one): pass 0 seeds Rand() with 1130, and passes 0 to 5
// start from fresh random phases (FRQAddRandomPhase, LoadRandomPhase), later
// passes from the phases the previous call left. The loop stops when nothing
// was clipped, when (from the second iteration) more was clipped than in the
// one before, or after the third iteration; the phases are updated on every
// iteration, the last included. The last clipped frame is normalised to the
// peak peakTarget and left in time; rmsOut is its deviation; pass rises by
// one. Returns the samples clipped in the last iteration.
// The transforms are DFT_D with RMS scaling, whatever fftScaling says; at most
// six per call.
// Allocates nothing.
NUMORA_API int RandomUltraClip(double* amplitude, double* time, double* spectrum, double* phase,
                               QV_BASE_FRAME_SETUP& frame, double sigma, double peakTarget, int& pass,
                               double& rmsOut, double aboveBandValue);

}  // namespace math
}  // namespace qv
