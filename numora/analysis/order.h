#pragma once

#include "numora/foundation/export.h"
#include "numora/foundation/records.h"

// Order extraction: the amplitude and phase of one tracked frequency in a
// block, by correlation with a Hann-tapered complex vector centred on the
// middle of the first 2 L samples, together with the block's plain
// statistics. Only the ratio frequency / sampleRate matters, so both may be
// per second or per revolution.
//
// Call order: set frequency, sampleRate and halfLength; Order_GenVec; then
// Order_Extract per block; Order_GenVec again when the frequency changes;
// Order_FreeVec when done.

namespace qv {
namespace math {

// State of one tracked frequency, owned by the caller.
// choice: every field has a zero default (vector null), so a record made with
// `ordinfo info;` or `ordinfo info{}` is ready once frequency, sampleRate and
// halfLength are set; the record stays an aggregate of plain fields.
struct ordinfo {
    double frequency = 0.0;        // the tracked frequency
    double sampleRate = 0.0;       // samples, in the same unit as frequency
    int halfLength = 0;            // L: pairs in vector, half the correlated stretch
    float* vector = nullptr;       // L pairs (re, im), new[] by Order_GenVec, owned by the record
    double vectorFrequency = 0.0;  // frequency that vector was made for; written by Order_GenVec only
    float re = 0.0f;               // extracted complex amplitude, real part
    float im = 0.0f;               // extracted complex amplitude, imaginary part
    double power = 0.0;            // re^2 + im^2 from the unrounded sums
    double magnitude = 0.0;        // sqrt(power): the peak amplitude
    float stdDev = 0.0f;           // standard deviation of the block
    float peak = 0.0f;             // largest absolute sample
    float mean = 0.0f;             // mean of the block
    float meanSquare = 0.0f;       // mean of the squares
    float minimum = 0.0f;          // smallest sample
    float maximum = 0.0f;          // largest sample
};

// Frees the old vector and builds the vector for frequency, sampleRate and
// halfLength: for k = 0 .. L-1, a = (2k+1) pi, h = (cos(a / 2L) + 1) (1/L),
// x = a frequency / sampleRate, vector[k] = (cos(x) h, sin(x) (-h)).
// precision: everything in double, each part rounded to float at the store.
// On a failed allocation vector is null and vectorFrequency keeps its value.
// choice: a negative halfLength counts as a failed allocation; L = 0 makes an
// empty vector.
NUMORA_API void Order_GenVec(ordinfo* info);

// Frees vector with the matching delete[] and sets it to null; the other
// fields are left alone. A null vector is fine.
// choice: the record owns its vector, so this is the one way to release it.
NUMORA_API void Order_FreeVec(ordinfo* info);

// Statistics of data[0..n-1] and the correlation of data[0..2L-1] with the
// vector: re, im, power, magnitude, stdDev, peak, mean, meanSquare, minimum,
// maximum. data must hold at least 2 L samples and vector must be built.
// precision: statistics in double (stdDev = sqrt(v) for v = q - m^2 > 0, else
// v itself), each rounded to float at the store; the correlation products in
// float, summed in double per half, the halves added in double; re and im
// round to float, power and magnitude come from the double sums.
// choice: n < 1 leaves the record alone.
NUMORA_API void Order_Extract(ordinfo* info, float* data, int n);

}  // namespace math
}  // namespace qv
