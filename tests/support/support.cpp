#include "support.h"

#include <cmath>
#include <cstring>

namespace numora_test {

namespace {

template <typename T, typename U>
U BitsOf(T v)
{
    U u;
    std::memcpy(&u, &v, sizeof u);
    return u;
}

template <typename T>
::testing::AssertionResult BitEqualT(const T* expected, const T* actual, int n)
{
    for (int i = 0; i < n; ++i) {
        if (!SameBits(expected[i], actual[i])) {
            return ::testing::AssertionFailure()
                   << "first difference at index " << i << ": expected "
                   << ::testing::PrintToString(expected[i]) << " got "
                   << ::testing::PrintToString(actual[i]);
        }
    }
    return ::testing::AssertionSuccess();
}

const uint32_t kSentinel32 = 0x7FA5A5A5u;            // a signalling-NaN pattern
const uint64_t kSentinel64 = 0x7FF4A5A5A5A5A5A5ull;  // likewise for double

uint32_t NextRandom(uint32_t& state)
{
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return state;
}

}  // namespace

bool SameBits(float a, float b)
{
    return BitsOf<float, uint32_t>(a) == BitsOf<float, uint32_t>(b);
}

bool SameBits(double a, double b)
{
    return BitsOf<double, uint64_t>(a) == BitsOf<double, uint64_t>(b);
}

::testing::AssertionResult BitEqual(const float* expected, const float* actual, int n)
{
    return BitEqualT(expected, actual, n);
}

::testing::AssertionResult BitEqual(const double* expected, const double* actual, int n)
{
    return BitEqualT(expected, actual, n);
}

void FillSentinel(float* a, int n)
{
    for (int i = 0; i < n; ++i)
        std::memcpy(&a[i], &kSentinel32, sizeof(float));
}

void FillSentinel(double* a, int n)
{
    for (int i = 0; i < n; ++i)
        std::memcpy(&a[i], &kSentinel64, sizeof(double));
}

bool HoldsSentinel(const float* a, int n)
{
    for (int i = 0; i < n; ++i)
        if (BitsOf<float, uint32_t>(a[i]) != kSentinel32)
            return false;
    return true;
}

bool HoldsSentinel(const double* a, int n)
{
    for (int i = 0; i < n; ++i)
        if (BitsOf<double, uint64_t>(a[i]) != kSentinel64)
            return false;
    return true;
}

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
            const long long phase = (static_cast<long long>(k) * t) % n;
            const long double angle = twoPi * static_cast<long double>(phase) / n;
            re += static_cast<long double>(x[t]) * std::cos(angle);
            im -= static_cast<long double>(x[t]) * std::sin(angle);
        }
        re /= n;
        im /= n;
        if (k == 0) {
            out[0] = static_cast<double>(re);
        } else if (k == n / 2) {
            out[1] = static_cast<double>(re);
        } else {
            out[2 * static_cast<size_t>(k)] = static_cast<double>(re);
            out[2 * static_cast<size_t>(k) + 1] = static_cast<double>(im);
        }
    }
    return out;
}

std::vector<double> NaiveIdftPacked(const double* data, int n)
{
    std::vector<double> out(static_cast<size_t>(n), 0.0);
    const long double twoPi = 2.0L * 3.141592653589793238462643383279502884L;
    for (int t = 0; t < n; ++t) {
        long double sum = static_cast<long double>(data[0]) +
                          ((t % 2 == 0) ? 1.0L : -1.0L) * static_cast<long double>(data[1]);
        for (int k = 1; k < n / 2; ++k) {
            const long long phase = (static_cast<long long>(k) * t) % n;
            const long double angle = twoPi * static_cast<long double>(phase) / n;
            sum += 2.0L * (static_cast<long double>(data[2 * k]) * std::cos(angle) -
                           static_cast<long double>(data[2 * k + 1]) * std::sin(angle));
        }
        out[static_cast<size_t>(t)] = static_cast<double>(sum);
    }
    return out;
}

}  // namespace numora_test
