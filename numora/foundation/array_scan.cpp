#include "numora/foundation/array_scan.h"

#include <cmath>

namespace qv {
namespace math {

namespace {

// Closest candidate under one of the directed rules: elements at or below the
// target (Below) or at or above it. NaN compares false, so it is never a
// candidate. Distances are in T; the first of equal distances stays.
template <typename T, bool Below>
int FindDirected(T target, const T* a, int n)
{
    int index = -1;
    T best = 0;
    for (int i = 0; i < n; ++i) {
        const bool candidate = Below ? a[i] <= target : a[i] >= target;
        if (candidate) {
            const T d = std::fabs(target - a[i]);
            if (index == -1 || best > d) {
                best = d;
                index = i;
            }
        }
    }
    return index;
}

template <typename T>
int FindNearest(T target, const T* a, int n, qv::ArrayFindRule rule)
{
    if (n < 1)
        return -1;
    switch (rule) {
    case qv::ArrayFindClosest: {
        int index = 0;
        T best = std::fabs(target - a[0]);
        for (int i = 1; i < n; ++i) {
            const T d = std::fabs(target - a[i]);
            if (best > d) {
                best = d;
                index = i;
            }
        }
        return index;
    }
    case qv::ArrayFindAtOrBelow:
        return FindDirected<T, true>(target, a, n);
    case qv::ArrayFindAtOrAbove:
        return FindDirected<T, false>(target, a, n);
    default:
        return -1;
    }
}

// Index of the first element for which stop(element) holds, or -1.
template <typename T, typename Stop>
int FirstWhere(const T* a, int n, Stop stop)
{
    for (int i = 0; i < n; ++i) {
        if (stop(a[i]))
            return i;
    }
    return -1;
}

template <typename T>
int Scan(const T* a, int n, qv::ArrayScanType type, T value)
{
    if (n < 1)
        return -1;
    switch (type) {
    case qv::ArrayScanNaN:
        return FirstWhere(a, n, [](T x) { return x != x; });
    case qv::ArrayScanBelow:
        return FirstWhere(a, n, [value](T x) { return x < value; });
    case qv::ArrayScanAbove:
        return FirstWhere(a, n, [value](T x) { return x > value; });
    case qv::ArrayScanNotEqual:
        return FirstWhere(a, n, [value](T x) { return x != value; });
    case qv::ArrayScanEqual:
        return FirstWhere(a, n, [value](T x) { return x == value; });
    default:
        return -1;
    }
}

template <typename T>
void MinMaxExclude(const T* a, int n, T& min, T& max, T exclude, bool first)
{
    if (n < 1 || a == nullptr)
        return;
    int i = 0;
    if (first) {
        while (i < n && a[i] == exclude)
            ++i;
        if (i == n)
            return;
        min = a[i];
        max = a[i];
        ++i;
    }
    T lo = min;
    T hi = max;
    for (; i < n; ++i) {
        const T x = a[i];
        if (x == exclude)
            continue;
        lo = lo > x ? x : lo;
        hi = x > hi ? x : hi;
    }
    min = lo;
    max = hi;
}

template <typename T>
void Max(const T* a, int n, T& max, bool first)
{
    if (n < 1 || a == nullptr)
        return;
    T hi = first ? a[0] : max;
    for (int i = first ? 1 : 0; i < n; ++i) {
        const T x = a[i];
        hi = x > hi ? x : hi;
    }
    max = hi;
}

template <typename T>
T MaxAbs(const T* a, int n, int* index)
{
    T best = 0;
    int at = 0;
    if (n >= 1 && a != nullptr) {
        best = std::fabs(a[0]);
        for (int i = 1; i < n; ++i) {
            const T d = std::fabs(a[i]);
            if (d > best) {
                best = d;
                at = i;
            }
        }
    }
    if (index != nullptr)
        *index = at;
    return best;
}

// Sums of a float array and of its squares, each square formed in float and
// widened; both divided by n. The caller has checked n and a.
void MeanAndSquare(const float* a, int n, double& mean, double& meanSquare)
{
    double sum = 0.0;
    double sumSquares = 0.0;
    for (int i = 0; i < n; ++i) {
        sum += static_cast<double>(a[i]);
        sumSquares += static_cast<double>(a[i] * a[i]);
    }
    mean = sum / static_cast<double>(n);
    meanSquare = sumSquares / static_cast<double>(n);
}

template <typename T>
double MeanAbs(const T* a, int n)
{
    if (n < 1 || a == nullptr)
        return 0.0;
    double sum = 0.0;
    for (int i = 0; i < n; ++i)
        sum += std::fabs(static_cast<double>(a[i]));
    return sum / static_cast<double>(n);
}

template <typename T>
double Moment(const T* a, int n, int order)
{
    const double power = static_cast<double>(order);
    double sum = 0.0;
    for (int i = 0; i < n; ++i)
        sum += std::pow(static_cast<double>(a[i]), power);
    return sum / static_cast<double>(n);
}

template <typename T>
double Kurtosis(const T* a, int n, double& m2, double& m4)
{
    m2 = Moment(a, n, 2);
    m4 = Moment(a, n, 4);
    return m4 / (m2 * m2);
}

}  // namespace

// ---- Search ------------------------------------------------------------------

int ArrayFindNearest(float target, const float* a, int n, qv::ArrayFindRule rule)
{
    return FindNearest(target, a, n, rule);
}

int ArrayFindNearest(double target, const double* a, int n, qv::ArrayFindRule rule)
{
    return FindNearest(target, a, n, rule);
}

int ArrayScan(const float* a, int n, qv::ArrayScanType type, float value)
{
    return Scan(a, n, type, value);
}

int ArrayScan(const double* a, int n, qv::ArrayScanType type, double value)
{
    return Scan(a, n, type, value);
}

int ArrayScan(const int* a, int n, qv::ArrayScanType type, int value)
{
    if (type == qv::ArrayScanNaN)
        return -1;
    return Scan(a, n, type, value);
}

// ---- Extremes --------------------------------------------------------------------

void ArrayMinMax(const float* a, int n, float& min, float& max, bool first)
{
    if (n < 1 || a == nullptr)
        return;
    float lo = first ? a[0] : min;
    float hi = first ? a[0] : max;
    for (int i = first ? 1 : 0; i < n; ++i) {
        const float x = a[i];
        lo = lo > x ? x : lo;
        hi = x > hi ? x : hi;
    }
    min = lo;
    max = hi;
}

void ArrayMinMaxMean(const float* a, int n, float& min, float& max, float& mean, bool first)
{
    if (n < 1 || a == nullptr)
        return;
    float lo = first ? a[0] : min;
    float hi = first ? a[0] : max;
    double sum = first ? static_cast<double>(a[0]) : 0.0;
    for (int i = first ? 1 : 0; i < n; ++i) {
        const float x = a[i];
        lo = lo > x ? x : lo;
        hi = x > hi ? x : hi;
        sum += static_cast<double>(x);
    }
    min = lo;
    max = hi;
    mean = static_cast<float>(sum / static_cast<double>(n));
}

void ArrayMinMaxExclude(const float* a, int n, float& min, float& max, float exclude, bool first)
{
    MinMaxExclude(a, n, min, max, exclude, first);
}

void ArrayMinMaxExclude(const double* a, int n, double& min, double& max, double exclude,
                        bool first)
{
    MinMaxExclude(a, n, min, max, exclude, first);
}

void ArrayMinMaxIndex(const float* a, int n, float& min, int& minIndex, float& max, int& maxIndex)
{
    minIndex = 0;
    maxIndex = 0;
    if (n < 1 || a == nullptr)
        return;
    float lo = a[0];
    float hi = a[0];
    int iLo = 0;
    int iHi = 0;
    for (int i = 1; i < n; ++i) {
        const float x = a[i];
        if (lo > x) {
            lo = x;
            iLo = i;
        }
        if (x > hi) {
            hi = x;
            iHi = i;
        }
    }
    min = lo;
    max = hi;
    minIndex = iLo;
    maxIndex = iHi;
}

void ArrayMax(const float* a, int n, float& max, bool first)
{
    Max(a, n, max, first);
}

void ArrayMax(const double* a, int n, double& max, bool first)
{
    Max(a, n, max, first);
}

void ArrayMaxIndex(const float* a, int n, float& max, int& index)
{
    index = 0;
    if (n < 1 || a == nullptr)
        return;
    float hi = a[0];
    int at = 0;
    for (int i = 1; i < n; ++i) {
        if (a[i] > hi) {
            hi = a[i];
            at = i;
        }
    }
    max = hi;
    index = at;
}

float ArrayMaxAbs(const float* a, int n, int* index)
{
    return MaxAbs(a, n, index);
}

double ArrayMaxAbs(const double* a, int n, int* index)
{
    return MaxAbs(a, n, index);
}

// ---- Means and moments -------------------------------------------------------------

float ArrayMean(const float* a, int n)
{
    if (n < 1 || a == nullptr)
        return 0.0f;
    double sum = 0.0;
    for (int i = 0; i < n; ++i)
        sum += static_cast<double>(a[i]);
    return static_cast<float>(sum / static_cast<double>(n));
}

double ArrayMean(const double* a, int n)
{
    if (n < 1 || a == nullptr)
        return 0.0;
    double sum = 0.0;
    for (int i = 0; i < n; ++i)
        sum += a[i];
    return sum / static_cast<double>(n);
}

void ArrayMean(const float* a, int n, float& mean, float& meanSquare)
{
    if (n < 1 || a == nullptr)
        return;
    double m = 0.0;
    double q = 0.0;
    MeanAndSquare(a, n, m, q);
    mean = static_cast<float>(m);
    meanSquare = static_cast<float>(q);
}

void ArrayMean(const float* a, int n, double& mean, double& meanSquare)
{
    if (n < 1 || a == nullptr)
        return;
    MeanAndSquare(a, n, mean, meanSquare);
}

void ArrayMean(const double* a, int n, double& mean, double& meanSquare)
{
    if (n < 1 || a == nullptr)
        return;
    double sum = 0.0;
    double sumSquares = 0.0;
    for (int i = 0; i < n; ++i) {
        sum += a[i];
        sumSquares += a[i] * a[i];
    }
    mean = sum / static_cast<double>(n);
    meanSquare = sumSquares / static_cast<double>(n);
}

double ArrayMeanABS(const float* a, int n)
{
    return MeanAbs(a, n);
}

double ArrayMeanABS(const double* a, int n)
{
    return MeanAbs(a, n);
}

double Arraymoment(const float* a, int n, int order)
{
    return Moment(a, n, order);
}

double Arraymoment(const double* a, int n, int order)
{
    return Moment(a, n, order);
}

float Arraykurtosis(const float* a, int n, float* m2, float* m4)
{
    double second = 0.0;
    double fourth = 0.0;
    const double kurtosis = Kurtosis(a, n, second, fourth);
    *m2 = static_cast<float>(second);
    *m4 = static_cast<float>(fourth);
    return static_cast<float>(kurtosis);
}

double Arraykurtosis(const float* a, int n, double* m2, double* m4)
{
    return Kurtosis(a, n, *m2, *m4);
}

double Arraykurtosis(const double* a, int n, double* m2, double* m4)
{
    return Kurtosis(a, n, *m2, *m4);
}

double ArrayRemoveMean(float* a, int n)
{
    double sum = 0.0;
    for (int i = 0; i < n; ++i)
        sum += static_cast<double>(a[i]);
    const double mean = sum / static_cast<double>(n);
    for (int i = 0; i < n; ++i)
        a[i] = static_cast<float>(static_cast<double>(a[i]) - mean);
    return mean;
}

}  // namespace math
}  // namespace qv
