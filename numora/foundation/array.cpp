#include "numora/foundation/array.h"

#include <climits>
#include <cstring>

#include "numora/foundation/array_scan.h"
#include "numora/foundation/complex.h"
#include "numora/foundation/scalar.h"

namespace qv {
namespace math {

namespace {

// The fill routines below are shared by the float, double and int overloads:
// they only store values, so the element type changes nothing in the result.

template <typename T>
void Fill(T* a, int begin, int end, T v)
{
    for (int i = begin; i < end; ++i)
        a[i] = v;
}

template <typename T>
void FillPairs(T* a, int begin, int end, decltype(T::re) re, decltype(T::im) im)
{
    for (int i = begin; i < end; ++i) {
        a[i].re = re;
        a[i].im = im;
    }
}

// The ArrayInit family clears memory for a zero value, so -0.0 is written as +0.0.
template <typename T>
T ClearedZero(T v)
{
    return v == T(0) ? T(0) : v;
}

// First line written above a band ending at line, in an array of n lines: a
// line below -1 counts as -1, and a line at or past the end gives n (nothing
// to write) without forming line + 1, which could overflow.
int AboveBandBegin(int line, int n)
{
    if (line < 0)
        return 0;
    return line < n ? line + 1 : n;
}

// Lines outside the band [lowFreq, highFreq]: [0, lowEnd) and [highBegin, lastLine].
// False when both frequencies are 0, i.e. no limit is set.
bool OutsideLines(float lowFreq, float highFreq, float lineSpacing, int lastLine, int& lowEnd,
                  int& highBegin)
{
    if (lowFreq == 0.0f && highFreq == 0.0f)
        return false;
    int lowLine = 0;
    int highLine = 0;
    FreqRange2Index(lowFreq, highFreq, lineSpacing, lowLine, highLine);
    const int end = lastLine + 1;
    lowEnd = lowLine > 0 ? (lowLine < end ? lowLine : end) : 0;
    highBegin = highLine < lastLine ? AboveBandBegin(highLine, end) : end;
    return true;
}

template <typename T>
void AddArray(T* a, const T* b, int n)
{
    for (int i = 0; i < n; ++i)
        a[i] = a[i] + b[i];
}

template <typename T>
void AddValue(T* a, T v, int n)
{
    for (int i = 0; i < n; ++i)
        a[i] = a[i] + v;
}

template <typename T>
void Scale(T* dst, const T* src, int n, T f)
{
    for (int i = 0; i < n; ++i)
        dst[i] = src[i] * f;
}

// Clip with the high bound tested first; both comparisons strict.
template <typename T>
int Clip(T* a, int n, T low, T high, T lowValue, T highValue)
{
    int count = 0;
    for (int i = 0; i < n; ++i) {
        const T x = a[i];
        const bool above = x > high;
        const bool below = !above && x < low;
        a[i] = above ? highValue : (below ? lowValue : x);
        count += (above || below) ? 1 : 0;
    }
    return count;
}

// Peak factor s = target / max|a|, formed in the element's precision.
// False, with the array to be left alone, when it is null or has no peak above 0.
template <typename T>
bool PeakFactor(T* a, int n, T target, T& s)
{
    if (a == nullptr)
        return false;
    const T peak = ArrayMaxAbs(a, n, nullptr);
    if (!(peak > T(0)))
        return false;
    s = target / peak;
    return true;
}

template <typename T>
T Normalize(T* a, int n, T target)
{
    T s = T(0);
    if (PeakFactor(a, n, target, s))
        Scale(a, a, n, s);
    return s;
}

template <typename T>
T NormalizeInv(T* a, int n, T target)
{
    T s = T(0);
    if (!PeakFactor(a, n, target, s))
        return s;
    for (int i = 0; i < n; ++i)
        a[i] = target - s * a[i];
    return s;
}

}  // namespace

void ArrayInit(float* a, int n, float v)
{
    if (a != nullptr)
        Fill(a, 0, n, ClearedZero(v));
}

void ArrayInit(double* a, int n, double v)
{
    if (a != nullptr)
        Fill(a, 0, n, ClearedZero(v));
}

void ArrayInit(complex_d* a, int n, double re, double im)
{
    ArrayInitBelowBand(a, n, n, re, im);
}

void ArrayInitBelowBand(float* a, int /*n*/, int line, float v)
{
    if (a != nullptr)
        Fill(a, 0, line, ClearedZero(v));
}

void ArrayInitBelowBand(double* a, int /*n*/, int line, double v)
{
    if (a != nullptr)
        Fill(a, 0, line, ClearedZero(v));
}

void ArrayInitBelowBand(complex_d* a, int /*n*/, int line, double re, double im)
{
    if (a == nullptr)
        return;
    if (re == 0.0 && im == 0.0)
        FillPairs(a, 0, line, 0.0, 0.0);
    else
        FillPairs(a, 0, line, re, im);
}

void ArrayInitAboveBand(float* a, int n, int line, float v)
{
    if (a != nullptr)
        Fill(a, AboveBandBegin(line, n), n, ClearedZero(v));
}

void ArrayInitAboveBand(double* a, int n, int line, double v)
{
    if (a != nullptr)
        Fill(a, AboveBandBegin(line, n), n, ClearedZero(v));
}

void ArrayInitAboveBand(complex_d* a, int n, int line, double re, double im)
{
    if (a == nullptr)
        return;
    if (re == 0.0 && im == 0.0)
        FillPairs(a, AboveBandBegin(line, n), n, 0.0, 0.0);
    else
        FillPairs(a, AboveBandBegin(line, n), n, re, im);
}

void ArrayInitOutsideBand(float* a, int n, int lowLine, int highLine, float v)
{
    ArrayInitBelowBand(a, n, lowLine, v);
    ArrayInitAboveBand(a, n, highLine, v);
}

void ArrayInitOutsideBand(double* a, int n, int lowLine, int highLine, double v)
{
    ArrayInitBelowBand(a, n, lowLine, v);
    ArrayInitAboveBand(a, n, highLine, v);
}

void ArrayInitOutsideBand(complex_d* a, int n, int lowLine, int highLine, double re, double im)
{
    ArrayInitBelowBand(a, n, lowLine, re, im);
    ArrayInitAboveBand(a, n, highLine, re, im);
}

void ArraySet(float* a, float v, int n)
{
    if (a != nullptr)
        Fill(a, 0, n, v);
}

void ArraySet(double* a, double v, int n)
{
    if (a != nullptr)
        Fill(a, 0, n, v);
}

void ArraySet(int* a, int v, int n)
{
    if (a != nullptr)
        Fill(a, 0, n, v);
}

void ArraySet(complex* a, float re, float im, int n)
{
    if (a != nullptr)
        FillPairs(a, 0, n, re, im);
}

void ArraySetMag(complex* a, float mag, int n)
{
    if (a == nullptr)
        return;
    for (int i = 0; i < n; ++i)
        ComplexMagInput(a[i], static_cast<double>(mag));
}

void ArrayCopy(float* dst, float* src, int n)
{
    if (dst != nullptr && src != nullptr && n > 0)
        std::memmove(dst, src, static_cast<size_t>(n) * sizeof(float));
}

void ArrayCopy(double* dst, double* src, int n)
{
    if (dst != nullptr && src != nullptr && n > 0)
        std::memmove(dst, src, static_cast<size_t>(n) * sizeof(double));
}

void ArrayCopy(float* dst, short* src, int n)
{
    for (int i = 0; i < n; ++i)
        dst[i] = static_cast<float>(src[i]);
}

void ArraySum(float* a, float* b, int n)
{
    if (a != nullptr && b != nullptr)
        AddArray(a, b, n);
}

void ArraySum(double* a, double* b, int n)
{
    if (a != nullptr && b != nullptr)
        AddArray(a, b, n);
}

void ArraySum(float* a, float v, int n)
{
    if (a != nullptr)
        AddValue(a, v, n);
}

void ArraySum(double* a, double v, int n)
{
    if (a != nullptr)
        AddValue(a, v, n);
}

void ArrayAvg(float* out, float* a, float* b, int n)
{
    if (out == nullptr || a == nullptr || b == nullptr)
        return;
    // The sum is taken in double so that two large values cannot overflow.
    for (int i = 0; i < n; ++i)
        out[i] = static_cast<float>((static_cast<double>(a[i]) + static_cast<double>(b[i])) * 0.5);
}

void ArrayAvg(double* out, double* a, double* b, int n)
{
    if (out == nullptr || a == nullptr || b == nullptr)
        return;
    for (int i = 0; i < n; ++i)
        out[i] = (a[i] + b[i]) * 0.5;
}

void ArraySetMax(float* a, float* b, int n)
{
    for (int i = 0; i < n; ++i)
        a[i] = b[i] > a[i] ? b[i] : a[i];
}

int ArrayClip(float* a, int n, float low, float high)
{
    return Clip(a, n, low, high, low, high);
}

int ArrayClip(double* a, int n, double low, double high)
{
    return Clip(a, n, low, high, low, high);
}

int ArrayClipSet(float* a, int n, float low, float high, float lowValue, float highValue)
{
    return Clip(a, n, low, high, lowValue, highValue);
}

void ArrayFreqLimit(float* a, float lowFreq, float highFreq, float lineSpacing, int lastLine,
                    float v)
{
    int lowEnd = 0;
    int highBegin = 0;
    if (!OutsideLines(lowFreq, highFreq, lineSpacing, lastLine, lowEnd, highBegin))
        return;
    Fill(a, 0, lowEnd, v);
    Fill(a, highBegin, lastLine + 1, v);
}

void ArrayFreqLimit(complex* a, float lowFreq, float highFreq, float lineSpacing, int lastLine,
                    float re, float im)
{
    int lowEnd = 0;
    int highBegin = 0;
    if (!OutsideLines(lowFreq, highFreq, lineSpacing, lastLine, lowEnd, highBegin))
        return;
    FillPairs(a, 0, lowEnd, re, im);
    FillPairs(a, highBegin, lastLine + 1, re, im);
}

void ArrayFreqLimitMag(complex* a, float lowFreq, float highFreq, float lineSpacing,
                       int lastLine, float mag)
{
    int lowEnd = 0;
    int highBegin = 0;
    if (!OutsideLines(lowFreq, highFreq, lineSpacing, lastLine, lowEnd, highBegin))
        return;
    ArraySetMag(a, mag, lowEnd);
    ArraySetMag(a + highBegin, mag, lastLine + 1 - highBegin);
}

void ArrayScale(float* a, int n, float f)
{
    if (a != nullptr)
        Scale(a, a, n, f);
}

void ArrayScale(double* a, int n, double f)
{
    if (a != nullptr)
        Scale(a, a, n, f);
}

void ArrayScale(float* dst, float* src, int n, float f)
{
    if (dst != nullptr && src != nullptr)
        Scale(dst, src, n, f);
}

void ArrayScaleDB(float* dst, float* src, int n, float db)
{
    if (n > 0)
        Scale(dst, src, n, DBtoSF(db, 20.0f));
}

void ArrayScaleDBPower(float* dst, float* src, int n, float db)
{
    if (n > 0)
        Scale(dst, src, n, DBtoSF(db, 10.0f));
}

float ArrayNormalize(float* a, int n, float target)
{
    return Normalize(a, n, target);
}

double ArrayNormalize(double* a, int n, double target)
{
    return Normalize(a, n, target);
}

float ArrayNormalizeInv(float* a, int n, float target)
{
    return NormalizeInv(a, n, target);
}

double ArrayNormalizeInv(double* a, int n, double target)
{
    return NormalizeInv(a, n, target);
}

void ArrayIndexIncLoop(int& index, int n)
{
    if (n < 1)
        return;
    // index + 1 >= n, tested without forming index + 1.
    index = index >= n - 1 ? 0 : index + 1;
}

void ArrayIndexIncLoop(int& index, int n, int step)
{
    if (n < 1)
        return;
    // The sum is formed in 64 bits. Taking n off while it is >= n ends at the
    // remainder, the sum being non-negative there.
    long long sum = static_cast<long long>(index) + step;
    if (sum >= n)
        sum %= n;
    index = sum < INT_MIN ? INT_MIN : static_cast<int>(sum);
}

}  // namespace math
}  // namespace qv
