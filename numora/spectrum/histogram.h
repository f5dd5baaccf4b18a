#pragma once

#include <cstdint>

#include "numora/foundation/export.h"

// Amplitude distribution of a time signal. A histogram is the caller's array
// of bins + 2 counters, which keeps its state between calls:
//   hist[0]          samples below lo
//   hist[1 .. bins]  lo <= x < hi, bin k + 1 holding the k-th equal slice
//   hist[bins + 1]   samples at or above hi

namespace qv {
namespace math {

// Counts n samples into hist, adding to what it holds, and returns n. With
// n <= 0 it clears the bins + 2 counters instead and returns 0.
// Returns -1 and changes nothing if time or hist is null, so clearing needs a
// non-null time as well.
// precision: width = (hi - lo) / bins and the bin k = (x - lo) / width run in
// float, k truncated; a sample just below hi whose quotient rounds up to bins
// counts as above the range.
// choice: bins < 1 is refused like a null pointer: -1, nothing written.
// choice: a NaN sample counts in hist[bins + 1] with the samples above the
// range, so the counters of a call still add up to n. Any quotient that would
// index past bins (also from an infinite or vanishing width) lands there too,
// so nothing is ever written outside the bins + 2 counters.
NUMORA_API int TIMtoPDFHistogram(float* time, int n, int bins, int* hist, float lo, float hi);

// Converts count counters to percentages of their sum: pdf[i] = r * hist[i] * s
// with s = 100 / total, and r chosen so that the count entries add up to 100
// whatever total was. Entries are not divided by the bin width.
// precision: s = float(100.0 / total), 0 for total <= 0; each hist[i] * s in
// float, summed in float in ascending order; r = float(100.0 / double(sum));
// pdf[i] = r * pdf[i] in float. With total <= 0 or all counters 0 every
// entry is NaN.
NUMORA_API void HISTtoPDF(float* pdf, int* hist, uint32_t count, int total);

}  // namespace math
}  // namespace qv
