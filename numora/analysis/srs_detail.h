#pragma once

#include "numora/analysis/srs.h"
#include "numora/foundation/export.h"

// Internals of the shock response spectrum that its tests and benchmark
// reach: the oscillator records and the code paths of TIMtoSRS.

namespace qv {
namespace math {

// Running state of one impulse-invariant oscillator: previous input, the two
// previous outputs, the four maxima (magnitudes, at least 0) and the
// coefficients. Every band starts from an all-zero state.
struct SrsOscillator {
    float x1;
    float y1;
    float y2;
    float primaryPos;
    float primaryNeg;
    float residualPos;
    float residualNeg;
    float a0;
    float a1;
    float b1;
    float b2;
};

// What one oscillator run gives back, in the order of the output arrays.
struct SrsMaxima {
    float primaryPos;
    float primaryNeg;
    float residualPos;
    float residualNeg;
    float maximax;
    float maxPos;
    float maxNeg;
};

namespace detail {

// Code paths of TIMtoSRS. Every path gives the same bits; TIMtoSRS takes the
// widest one the processor has.
enum class SrsPath {
    Plain,   // one band after the other
    Lanes4,  // four bands side by side in 128-bit vectors (the x86-64 baseline)
    Lanes8,  // eight bands side by side in 256-bit vectors, where the processor has AVX2
};

// True when the processor can run the path.
NUMORA_API bool SrsPathAvailable(SrsPath path);

// TIMtoSRS on the given path; the path must be available.
NUMORA_API int TIMtoSRSOnPath(SrsPath path, const float* time, int n, float sampleRate,
                              float damping, QV_SRS_TYPE type, int bandsPerOctave,
                              float defaultEndMs, float* primaryPos, float* primaryNeg,
                              float* residualPos, float* residualNeg, float* maximax,
                              float* maxPos, float* maxNeg, float* freq, float fLow,
                              float fHigh, float startMs, float endMs);

}  // namespace detail
}  // namespace math
}  // namespace qv
