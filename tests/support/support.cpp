#include "support.h"

#include <cmath>
#include <cstring>
#include <type_traits>

namespace numora_test {

namespace {

template <typename T>
using BitsOf = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;

template <typename T>
BitsOf<T> Bits(T v)
{
    BitsOf<T> u;
    std::memcpy(&u, &v, sizeof u);
    return u;
}

// Signalling-NaN patterns.
template <typename T>
BitsOf<T> Sentinel()
{
    if constexpr (sizeof(T) == 4)
        return 0x7FA5A5A5u;
    else
        return 0x7FF4A5A5A5A5A5A5ull;
}

template <typename T>
::testing::AssertionResult BitEqualT(const T* expected, const T* actual, int n)
{
    for (int i = 0; i < n; ++i) {
        if (Bits(expected[i]) != Bits(actual[i])) {
            return ::testing::AssertionFailure()
                   << "first difference at index " << i << ": expected "
                   << ::testing::PrintToString(expected[i]) << " got "
                   << ::testing::PrintToString(actual[i]);
        }
    }
    return ::testing::AssertionSuccess();
}

template <typename T>
void FillSentinelT(T* a, int n)
{
    const BitsOf<T> s = Sentinel<T>();
    for (int i = 0; i < n; ++i)
        std::memcpy(&a[i], &s, sizeof(T));
}

template <typename T>
bool HoldsSentinelT(const T* a, int n)
{
    for (int i = 0; i < n; ++i)
        if (Bits(a[i]) != Sentinel<T>())
            return false;
    return true;
}

uint32_t NextRandom(uint32_t& state)
{
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return state;
}

}  // namespace

bool SameBits(float a, float b) { return Bits(a) == Bits(b); }
bool SameBits(double a, double b) { return Bits(a) == Bits(b); }
::testing::AssertionResult BitEqual(const float* e, const float* a, int n) { return BitEqualT(e, a, n); }
::testing::AssertionResult BitEqual(const double* e, const double* a, int n) { return BitEqualT(e, a, n); }
void FillSentinel(float* a, int n) { FillSentinelT(a, n); }
void FillSentinel(double* a, int n) { FillSentinelT(a, n); }
bool HoldsSentinel(const float* a, int n) { return HoldsSentinelT(a, n); }
bool HoldsSentinel(const double* a, int n) { return HoldsSentinelT(a, n); }

std::vector<float> RandomFloats(int n, uint32_t seed)
{
    std::vector<float> v(static_cast<size_t>(n));
    uint32_t state = seed != 0 ? seed : 1u;
    for (auto& x : v)
        x = static_cast<float>(NextRandom(state) >> 8) / 8388608.0f - 1.0f;
    return v;
}

std::vector<double> RandomDoubles(int n, uint32_t seed)
{
    std::vector<double> v(static_cast<size_t>(n));
    uint32_t state = seed != 0 ? seed : 1u;
    for (auto& x : v) {
        const uint64_t hi = NextRandom(state);
        const uint64_t lo = NextRandom(state);
        x = static_cast<double>(((hi << 32) | lo) >> 11) / 4503599627370496.0 - 1.0;
    }
    return v;
}

std::vector<double> NaiveDftPacked(const double* x, int n)
{
    std::vector<double> out(static_cast<size_t>(n), 0.0);
    const long double twoPi = 2.0L * 3.141592653589793238462643383279502884L;
    for (int k = 0; k <= n / 2; ++k) {
        long double re = 0.0L, im = 0.0L;
        for (int t = 0; t < n; ++t) {
            const long double angle = twoPi * static_cast<long double>((static_cast<long long>(k) * t) % n) / n;
            re += static_cast<long double>(x[t]) * std::cos(angle);
            im -= static_cast<long double>(x[t]) * std::sin(angle);
        }
        re /= n;
        im /= n;
        // DC and Nyquist are real and take slots 0 and 1.
        const size_t slot = k == 0 ? 0 : k == n / 2 ? 1 : 2 * static_cast<size_t>(k);
        out[slot] = static_cast<double>(re);
        if (slot > 1)
            out[slot + 1] = static_cast<double>(im);
    }
    return out;
}

}  // namespace numora_test
