// Fuzz target of the array scans: ArrayFindNearest, ArrayScan (float, double,
// int) and the extremes.
//
// Input: element type byte, rule byte, scan type byte, target and value
// bytes, a split point, then one byte per element. Element bytes mostly pick
// from a few values, so that ties are common, and otherwise give NaN, the
// infinities or -0.
//
// Checks: ArrayFindNearest against a plain statement of its rules (the first
// of the closest candidates wins; a NaN distance never wins, so a NaN first
// candidate stays); ArrayScan against the first element meeting its
// condition; any other rule or type gives -1; the extremes scanned in two
// pieces equal one scan; the index forms name the first occurrence of their
// value. Nothing is written to the array.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "numora/numora.h"

using namespace qv::math;
using fuzz::Bytes;
using fuzz::Same;

namespace {

template <typename T>
T Pick(uint8_t b)
{
    if (b < 240)
        return static_cast<T>(b % 9) * T(0.5) - T(2);
    switch (b % 4) {
    case 0: return std::numeric_limits<T>::quiet_NaN();
    case 1: return std::numeric_limits<T>::infinity();
    case 2: return -std::numeric_limits<T>::infinity();
    default: return -T(0);
    }
}

// The first candidate closest to the target; a NaN distance never wins, so a
// first candidate at a NaN distance stays.
template <typename T>
int NearestModel(T target, const std::vector<T>& a, int rule)
{
    if (rule < 0 || rule > 2)
        return -1;
    std::vector<int> candidates;
    for (int i = 0; i < static_cast<int>(a.size()); ++i) {
        const T x = a[static_cast<size_t>(i)];
        if (rule == 0 || (rule == 1 && x <= target) || (rule == 2 && x >= target))
            candidates.push_back(i);
    }
    if (candidates.empty())
        return -1;
    const auto distance = [&](int i) { return std::fabs(target - a[static_cast<size_t>(i)]); };
    if (std::isnan(distance(candidates[0])))
        return candidates[0];
    int best = candidates[0];
    for (int i : candidates) {
        if (distance(i) < distance(best))
            best = i;
    }
    return best;
}

template <typename T>
int ScanModel(const std::vector<T>& a, int type, T value)
{
    for (size_t i = 0; i < a.size(); ++i) {
        const T x = a[i];
        const bool stop = type == 0   ? std::isnan(static_cast<double>(x))
                          : type == 1 ? x < value
                          : type == 2 ? x > value
                          : type == 3 ? !(x == value)
                          : type == 4 ? x == value
                                      : false;
        if (stop)
            return static_cast<int>(i);
    }
    return -1;
}

template <typename T>
void FloatScans(Bytes& in, int rule, int type)
{
    const T target = Pick<T>(in.Take<uint8_t>());
    const T value = Pick<T>(in.Take<uint8_t>());
    const int split = in.Take<uint8_t>();
    std::vector<T> a;
    while (in.Left() > 0 && a.size() < 64)
        a.push_back(Pick<T>(in.Take<uint8_t>()));
    const std::vector<T> before = a;
    const int n = static_cast<int>(a.size());

    CHECK(ArrayFindNearest(target, a.data(), n, static_cast<qv::ArrayFindRule>(rule)) == NearestModel(target, a, rule));
    CHECK(ArrayFindNearest(target, a.data(), -n, qv::ArrayFindClosest) == -1);
    CHECK(ArrayScan(a.data(), n, static_cast<qv::ArrayScanType>(type), value) == ScanModel(a, type, value));
    CHECK(ArrayScan(a.data(), -n - 1, qv::ArrayScanEqual, value) == -1);

    // Extremes: one scan, or two pieces carried on through the outputs.
    T min1 = T(9), max1 = T(9), min2 = T(9), max2 = T(9), top1 = T(9), top2 = T(9);
    const int k = n == 0 ? 0 : 1 + split % n;
    ArrayMinMaxExclude(a.data(), n, min1, max1, std::numeric_limits<T>::quiet_NaN(), true);
    ArrayMinMaxExclude(a.data(), k, min2, max2, std::numeric_limits<T>::quiet_NaN(), true);
    ArrayMinMaxExclude(a.data() + k, n - k, min2, max2, std::numeric_limits<T>::quiet_NaN(), false);
    ArrayMax(a.data(), n, top1, true);
    ArrayMax(a.data(), k, top2, true);
    ArrayMax(a.data() + k, n - k, top2, false);
    CHECK(Same(min1, min2) && Same(max1, max2) && Same(top1, top2) && Same(top1, max1));

    // The largest absolute value and the first place it occurs.
    int at = -7;
    const T largest = ArrayMaxAbs(a.data(), n, &at);
    CHECK(at >= 0 && (n == 0 ? at == 0 && largest == T(0) : Same(largest, std::fabs(a[static_cast<size_t>(at)]))));
    for (int i = 0; i < at; ++i)
        CHECK(!(std::fabs(a[static_cast<size_t>(i)]) >= largest) || std::isnan(largest));
    for (int i = at + 1; i < n; ++i)
        CHECK(!(std::fabs(a[static_cast<size_t>(i)]) > largest));
    CHECK(a.empty() || std::memcmp(a.data(), before.data(), a.size() * sizeof(T)) == 0);
}

void FloatIndexForms(Bytes& in)
{
    std::vector<float> a;
    while (in.Left() > 0 && a.size() < 64)
        a.push_back(Pick<float>(in.Take<uint8_t>()));
    if (std::any_of(a.begin(), a.end(), [](float x) { return std::isnan(x); }))
        return;
    const int n = static_cast<int>(a.size());
    float min = 9.0f, max = 9.0f, top = 9.0f;
    int minIndex = -1, maxIndex = -1, topIndex = -1;
    ArrayMinMaxIndex(a.data(), n, min, minIndex, max, maxIndex);
    ArrayMaxIndex(a.data(), n, top, topIndex);
    if (n == 0) {
        CHECK(minIndex == 0 && maxIndex == 0 && topIndex == 0 && min == 9.0f && max == 9.0f && top == 9.0f);
        return;
    }
    const auto lowest = std::min_element(a.begin(), a.end());
    const auto highest = std::max_element(a.begin(), a.end());
    CHECK(minIndex == lowest - a.begin() && maxIndex == highest - a.begin() && topIndex == maxIndex);
    CHECK(Same(min, *lowest) && Same(max, *highest) && Same(top, max));
}

void IntScans(Bytes& in, int type)
{
    const int value = in.Take<int8_t>() % 4;
    std::vector<int> a;
    while (in.Left() > 0 && a.size() < 64)
        a.push_back(in.Take<int8_t>() % 4);
    CHECK(ArrayScan(a.data(), static_cast<int>(a.size()), static_cast<qv::ArrayScanType>(type), value) ==
          (type == 0 ? -1 : ScanModel(a, type, value)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Bytes in(data, size);
    const uint8_t kind = in.Take<uint8_t>();
    // Mostly valid rules and types, sometimes any other value.
    const int8_t ruleByte = in.Take<int8_t>();
    const int8_t typeByte = in.Take<int8_t>();
    const int rule = ruleByte >= 0 && ruleByte < 100 ? ruleByte % 3 : ruleByte;
    const int type = typeByte >= 0 && typeByte < 100 ? typeByte % 5 : typeByte;
    switch (kind % 4) {
    case 0: FloatScans<float>(in, rule, type); break;
    case 1: FloatScans<double>(in, rule, type); break;
    case 2: FloatIndexForms(in); break;
    default: IntScans(in, type); break;
    }
    return 0;
}
