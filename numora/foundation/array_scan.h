#pragma once

#include "numora/foundation/export.h"
#include "numora/foundation/records.h"

// Read-only questions put to an array: where a value lies, its extremes, its
// means and moments (ArrayRemoveMean is the one that also changes it).
// Elements are visited in ascending order and every comparison is strict, so
// wherever two elements qualify the first one wins. float arrays are summed in
// a double accumulator in ascending order.

namespace qv {
namespace math {

// ---- Search ------------------------------------------------------------------

// Index of the element chosen by rule on the distance |target - a[i]|:
// ArrayFindClosest takes every element, ArrayFindAtOrBelow those not above
// target, ArrayFindAtOrAbove those not below it. -1 for n < 1, when no element
// is a candidate, or for any other rule. The array need not be sorted.
// precision: distances in float.
// choice: a NaN element is never a candidate of the two directed rules (nor is
// any element when target is NaN); under ArrayFindClosest a NaN distance never
// wins, so a NaN a[0] keeps index 0.
NUMORA_API int ArrayFindNearest(float target, const float* a, int n, qv::ArrayFindRule rule);
// As the float overload, distances in double.
NUMORA_API int ArrayFindNearest(double target, const double* a, int n, qv::ArrayFindRule rule);

// Index of the first element that is NaN, below value, above value, not equal
// to value (NaN counts as not equal) or equal to it, as type says; -1 for
// n < 1, when none is, or for any other type.
NUMORA_API int ArrayScan(const float* a, int n, qv::ArrayScanType type, float value);
// As the float overload.
NUMORA_API int ArrayScan(const double* a, int n, qv::ArrayScanType type, double value);
// As the float overload; ArrayScanNaN gives -1 at once.
NUMORA_API int ArrayScan(const int* a, int n, qv::ArrayScanType type, int value);

// ---- Extremes --------------------------------------------------------------------
// With `first` true the outputs start from a[0] and the scan from a[1]; with
// `first` false the scan starts at a[0] and carries on from the outputs' values,
// so a long array can be scanned in pieces. n < 1 or a null a leaves the
// outputs alone.

// Smallest and largest element.
NUMORA_API void ArrayMinMax(const float* a, int n, float& min, float& max, bool first);
// Smallest and largest element, and the mean of these n elements alone.
// precision: sum in double, mean = float(sum / n).
NUMORA_API void ArrayMinMaxMean(const float* a, int n, float& min, float& max, float& mean,
                                bool first);
// As ArrayMinMax, skipping elements equal to exclude. While first is set, the
// first element not skipped sets both outputs; if all are skipped the outputs
// stay as they were.
NUMORA_API void ArrayMinMaxExclude(const float* a, int n, float& min, float& max, float exclude,
                                   bool first);
// As the float overload.
NUMORA_API void ArrayMinMaxExclude(const double* a, int n, double& min, double& max,
                                   double exclude, bool first);
// Extremes with the index of the first occurrence of each. Both indexes are
// set to 0 first, also when n < 1 or a is null.
NUMORA_API void ArrayMinMaxIndex(const float* a, int n, float& min, int& minIndex, float& max,
                                 int& maxIndex);
// Largest element.
NUMORA_API void ArrayMax(const float* a, int n, float& max, bool first);
// Largest element.
NUMORA_API void ArrayMax(const double* a, int n, double& max, bool first);
// Largest element and the index of its first occurrence. index is set to 0
// first, also when n < 1 or a is null (max then stays as it was).
NUMORA_API void ArrayMaxIndex(const float* a, int n, float& max, int& index);
// Largest absolute value (unsigned); its first index goes to *index when index
// is not null. 0 with index 0 for n < 1 or a null a.
NUMORA_API float ArrayMaxAbs(const float* a, int n, int* index);
// As the float overload.
NUMORA_API double ArrayMaxAbs(const double* a, int n, int* index);

// ---- Means and moments -------------------------------------------------------------

// Mean; 0 for n < 1 or a null a.
// precision: sum in double, rounded to float after the division.
NUMORA_API float ArrayMean(const float* a, int n);
// Mean; 0 for n < 1 or a null a.
NUMORA_API double ArrayMean(const double* a, int n);
// Mean and mean square; the outputs stay as they are for n < 1 or a null a.
// precision: each square in float, widened into a double sum; both quotients
// in double, rounded to float.
NUMORA_API void ArrayMean(const float* a, int n, float& mean, float& meanSquare);
// As the float& overload without the final rounding.
// precision: each square in float, widened into a double sum.
NUMORA_API void ArrayMean(const float* a, int n, double& mean, double& meanSquare);
// Mean and mean square; the outputs stay as they are for n < 1 or a null a.
NUMORA_API void ArrayMean(const double* a, int n, double& mean, double& meanSquare);
// Mean of the absolute values; 0 for n < 1 or a null a.
NUMORA_API double ArrayMeanABS(const float* a, int n);
// Mean of the absolute values; 0 for n < 1 or a null a.
NUMORA_API double ArrayMeanABS(const double* a, int n);
// Raw moment about zero: sum of pow(a[i], order) over n, in double; NaN (0 / 0)
// for n = 0.
NUMORA_API double Arraymoment(const float* a, int n, int order);
// As the float overload.
NUMORA_API double Arraymoment(const double* a, int n, int order);
// Raw kurtosis m4 / (m2 * m2) of the raw moments m2 and m4, which it writes:
// a zero-mean Gaussian gives about 3, a constant array 1.
// precision: moments and quotient in double; m2, m4 and the result rounded to
// float.
// choice: the quotient is formed from the moments before they are rounded.
NUMORA_API float Arraykurtosis(const float* a, int n, float* m2, float* m4);
// As above, without rounding.
NUMORA_API double Arraykurtosis(const float* a, int n, double* m2, double* m4);
// As above, without rounding.
NUMORA_API double Arraykurtosis(const double* a, int n, double* m2, double* m4);
// Subtracts the mean in place and returns it; NaN (0 / 0) for n = 0, leaving
// the array alone. a is not tested for null.
// precision: sum and mean in double, each element float(double(a[i]) - mean).
NUMORA_API double ArrayRemoveMean(float* a, int n);

}  // namespace math
}  // namespace qv
