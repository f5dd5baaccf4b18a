#pragma once

#include "numora/foundation/export.h"
#include "numora/foundation/records.h"

// Element-wise operations on caller-owned arrays: fill, band fill, copy, sum,
// average, clip, frequency limits, scale, normalise and ring-index stepping.
// A count below 1 does nothing. Where two arrays are passed, the same array
// may be given for both (in-place use) with the same result.

namespace qv {
namespace math {

// ---- Fill. A null pointer does nothing.
// The ArrayInit family writes +0.0 for a value that compares equal to zero
// (both parts, for complex_d), so -0.0 is stored as +0.0.
// choice: the band fills (ArrayInitBelowBand and the rest) belong to that family.

// a[0..n-1] = v.
NUMORA_API void ArrayInit(float* a, int n, float v);
// a[0..n-1] = v.
NUMORA_API void ArrayInit(double* a, int n, double v);
// a[0..n-1] = (re, im).
NUMORA_API void ArrayInit(complex_d* a, int n, double re, double im);

// a[0..line-1] = v; nothing for line below 1. n is not used.
NUMORA_API void ArrayInitBelowBand(float* a, int n, int line, float v);
// a[0..line-1] = v; nothing for line below 1. n is not used.
NUMORA_API void ArrayInitBelowBand(double* a, int n, int line, double v);
// a[0..line-1] = (re, im); nothing for line below 1. n is not used.
NUMORA_API void ArrayInitBelowBand(complex_d* a, int n, int line, double re, double im);

// a[line+1..n-1] = v; nothing if line >= n - 1.
// choice: a line below -1 counts as -1, so nothing is written before a[0].
NUMORA_API void ArrayInitAboveBand(float* a, int n, int line, float v);
// a[line+1..n-1] = v; nothing if line >= n - 1.
// choice: a line below -1 counts as -1.
NUMORA_API void ArrayInitAboveBand(double* a, int n, int line, double v);
// a[line+1..n-1] = (re, im); nothing if line >= n - 1.
// choice: a line below -1 counts as -1.
NUMORA_API void ArrayInitAboveBand(complex_d* a, int n, int line, double re, double im);

// Fills below lowLine and above highLine; lowLine and highLine themselves stay.
NUMORA_API void ArrayInitOutsideBand(float* a, int n, int lowLine, int highLine, float v);
// Fills below lowLine and above highLine; lowLine and highLine themselves stay.
NUMORA_API void ArrayInitOutsideBand(double* a, int n, int lowLine, int highLine, double v);
// Fills below lowLine and above highLine; lowLine and highLine themselves stay.
NUMORA_API void ArrayInitOutsideBand(complex_d* a, int n, int lowLine, int highLine, double re,
                                     double im);

// a[0..n-1] = v, stored unchanged (-0.0 stays -0.0). The value comes before the count.
NUMORA_API void ArraySet(float* a, float v, int n);
// a[0..n-1] = v, stored unchanged.
NUMORA_API void ArraySet(double* a, double v, int n);
// a[0..n-1] = v.
NUMORA_API void ArraySet(int* a, int v, int n);
// Every element takes (re, im), stored unchanged.
NUMORA_API void ArraySet(complex* a, float re, float im, int n);
// ComplexMagInput(a[i], mag) for each element: the magnitude changes, the phase stays.
NUMORA_API void ArraySetMag(complex* a, float mag, int n);

// ---- Copy.

// Copies n elements; a null pointer does nothing.
// in place: dst and src may overlap.
NUMORA_API void ArrayCopy(float* dst, float* src, int n);
// Copies n elements; a null pointer does nothing.
// in place: dst and src may overlap.
NUMORA_API void ArrayCopy(double* dst, double* src, int n);
// Widens signed samples: dst[i] = (float)src[i], no scaling. Pointers are not tested.
NUMORA_API void ArrayCopy(float* dst, short* src, int n);

// ---- Arithmetic.

// a[i] += b[i]. Null pointers do nothing.
NUMORA_API void ArraySum(float* a, float* b, int n);
// a[i] += b[i]. Null pointers do nothing.
NUMORA_API void ArraySum(double* a, double* b, int n);
// a[i] += v. A null pointer does nothing.
NUMORA_API void ArraySum(float* a, float v, int n);
// a[i] += v. A null pointer does nothing.
NUMORA_API void ArraySum(double* a, double v, int n);
// out[i] = mean of a[i] and b[i]. Null pointers do nothing.
// precision: (float)(((double)a[i] + (double)b[i]) * 0.5), so the sum cannot overflow.
// in place: out may be a or b.
NUMORA_API void ArrayAvg(float* out, float* a, float* b, int n);
// out[i] = (a[i] + b[i]) * 0.5. Null pointers do nothing.
// in place: out may be a or b.
NUMORA_API void ArrayAvg(double* out, double* a, double* b, int n);
// Running peak hold: a[i] = b[i] where b[i] > a[i]. Pointers are not tested.
NUMORA_API void ArraySetMax(float* a, float* b, int n);

// ---- Limits. Each returns the number of elements changed (0 for n < 1).
// The comparisons are strict and high is tested first: a value above high goes
// to high even when low lies above high, and is counted once.

// Clips a[i] to [low, high].
NUMORA_API int ArrayClip(float* a, int n, float low, float high);
// Clips a[i] to [low, high].
NUMORA_API int ArrayClip(double* a, int n, double low, double high);
// An element above high becomes highValue; otherwise one below low becomes lowValue.
NUMORA_API int ArrayClipSet(float* a, int n, float low, float high, float lowValue,
                            float highValue);

// ---- Frequency limits. Lines outside the band [lowFreq, highFreq] take the
// outside value; the band edges round outwards (FreqRange2Index), lastLine is
// the last line of the array (it holds lastLine + 1 elements), and both
// frequencies exactly 0 mean no limit.
// choice: the outside value is stored unchanged, and neither fill reaches past
// lastLine or below line 0, whatever the band.

// Outside lines take v.
NUMORA_API void ArrayFreqLimit(float* a, float lowFreq, float highFreq, float lineSpacing,
                               int lastLine, float v);
// Outside lines take (re, im).
NUMORA_API void ArrayFreqLimit(complex* a, float lowFreq, float highFreq, float lineSpacing,
                               int lastLine, float re, float im);
// Outside lines take the magnitude mag and keep their phase (ComplexMagInput).
NUMORA_API void ArrayFreqLimitMag(complex* a, float lowFreq, float highFreq, float lineSpacing,
                                  int lastLine, float mag);

// ---- Scale.

// a[i] *= f. A null pointer does nothing.
NUMORA_API void ArrayScale(float* a, int n, float f);
// a[i] *= f. A null pointer does nothing.
NUMORA_API void ArrayScale(double* a, int n, double f);
// dst[i] = src[i] * f. Null pointers do nothing.
// in place: dst may be src.
NUMORA_API void ArrayScale(float* dst, float* src, int n, float f);
// dst[i] = s * src[i] with the amplitude ratio s = DBtoSF(db, 20).
// in place: dst may be src.
NUMORA_API void ArrayScaleDB(float* dst, float* src, int n, float db);
// dst[i] = s * src[i] with the power ratio s = DBtoSF(db, 10).
// in place: dst may be src.
NUMORA_API void ArrayScaleDBPower(float* dst, float* src, int n, float db);
// Scales so that the largest absolute element becomes target (in its own
// sign) and returns the factor target / peak; returns 0 and changes nothing
// for a null array or a peak not above 0.
// precision: factor and products in float.
NUMORA_API float ArrayNormalize(float* a, int n, float target);
// As the float overload, in double.
NUMORA_API double ArrayNormalize(double* a, int n, double target);
// As ArrayNormalize, but each element becomes target - s * a[i]: the largest
// positive element goes to 0 and zero goes to target. Returns s (0: nothing done).
// precision: in float.
NUMORA_API float ArrayNormalizeInv(float* a, int n, float target);
// As the float overload, in double.
NUMORA_API double ArrayNormalizeInv(double* a, int n, double target);

// ---- Ring index stepping.

// index += 1, wrapping to 0 at n.
// choice: n below 1 leaves index alone.
NUMORA_API void ArrayIndexIncLoop(int& index, int n);
// index += step, then n is taken off while index >= n.
// choice: n below 1 leaves index alone (there is no ring to step around).
// choice: the sum is formed in 64 bits, so a large step still ends inside
// the ring; a sum below INT_MIN (a negative index and step) stops at INT_MIN.
NUMORA_API void ArrayIndexIncLoop(int& index, int n, int step);

}  // namespace math
}  // namespace qv
