#include "numora/foundation/simd_detail.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <limits>
#include <iterator>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/support/support.h"

namespace {

using namespace numora_test;
namespace simd = qv::math::simd;

template <typename T>
std::vector<T> RandomValues(int n, uint32_t seed)
{
    if constexpr (std::is_same_v<T, float>)
        return RandomFloats(n, seed);
    else
        return RandomDoubles(n, seed);
}

// Every operation of a vector type over n values (n a multiple of its lanes):
// out holds a + b, a - b, a * b, a / b, -a, then the compound forms, the
// splat of a[0], each block n long.
constexpr int kResults = 10;

template <typename V>
NUMORA_SIMD_INLINE void LaneWise(const simd::ElementOf<V>* a, const simd::ElementOf<V>* b,
                                 simd::ElementOf<V>* out, int n)
{
    for (int i = 0; i < n; i += simd::LaneCount<V>) {
        const V x = simd::Load<V>(a + i), y = simd::Load<V>(b + i);
        V sum = x, difference = x, product = x, quotient = x;
        sum += y;
        difference -= y;
        product *= y;
        quotient /= y;
        const V results[kResults - 1] = {x + y, x - y, x * y, x / y, -x, sum, difference, product, quotient};
        for (int r = 0; r < kResults - 1; ++r)
            simd::Store(out + r * n + i, results[r]);
        simd::Store(out + (kResults - 1) * n + i, simd::Splat<V>(a[0]));
    }
}

NUMORA_SIMD_AVX2 void LaneWiseAvx2(const float* a, const float* b, float* out, int n)
{
    LaneWise<simd::F8>(a, b, out, n);
}

NUMORA_SIMD_AVX2 void LaneWiseAvx2(const double* a, const double* b, double* out, int n)
{
    LaneWise<simd::D4>(a, b, out, n);
}

// Operands that reach every rounding case: random values over a wide range
// of exponents, signed zeros, infinities, subnormals, overflowing products
// and quotients, and one quiet NaN (only in a, so no NaN meets another).
template <typename T>
void Operands(std::vector<T>& a, std::vector<T>& b, int n)
{
    using L = std::numeric_limits<T>;
    a = RandomValues<T>(n, 41u);
    b = RandomValues<T>(n, 42u);
    for (int i = 0; i < n; ++i) {
        a[i] = a[i] * std::ldexp(T(1), i % 60 - 30);
        b[i] = b[i] * std::ldexp(T(1), 17 - i % 37);
    }
    const T specialA[] = {T(0), -T(0), L::infinity(), L::denorm_min(), L::max(), L::min(), T(1), L::quiet_NaN()};
    const T specialB[] = {-T(0), T(0), -L::infinity(), T(3), L::max(), -L::min() / T(4), L::denorm_min(), T(2)};
    for (int i = 0; i < 8; ++i) {
        a[3 * i + 1] = specialA[i];
        b[3 * i + 1] = specialB[i];
    }
}

template <typename T>
std::vector<T> ScalarResults(const std::vector<T>& a, const std::vector<T>& b)
{
    const int n = static_cast<int>(a.size());
    std::vector<T> out(static_cast<std::size_t>(kResults * n));
    for (int i = 0; i < n; ++i) {
        const T lane[kResults] = {a[i] + b[i], a[i] - b[i], a[i] * b[i], a[i] / b[i], -a[i],
                                  a[i] + b[i], a[i] - b[i], a[i] * b[i], a[i] / b[i], a[0]};
        for (int r = 0; r < kResults; ++r)
            out[r * n + i] = lane[r];
    }
    return out;
}

// With avx2, the same again in a function marked for AVX2 (F8 or D4).
template <typename V>
void ExpectLaneWiseMatches(const char* name, bool avx2 = false)
{
    using T = simd::ElementOf<V>;
    const int n = 96;
    std::vector<T> a, b;
    Operands(a, b, n);
    const std::vector<T> expected = ScalarResults(a, b);
    std::vector<T> actual(expected.size());
    LaneWise<V>(a.data(), b.data(), actual.data(), n);
    EXPECT_TRUE(BitEqual(expected.data(), actual.data(), kResults * n)) << name;
    if (avx2 && simd::Avx2PathRuns()) {
        FillSentinel(actual.data(), kResults * n);
        LaneWiseAvx2(a.data(), b.data(), actual.data(), n);
        EXPECT_TRUE(BitEqual(expected.data(), actual.data(), kResults * n)) << name << " in an AVX2 function";
    }
}

// Arithmetic rounds each lane exactly as the scalar operation, at every width,
// for the build's vectors and the plain ones alike; inside a function marked
// for AVX2 too, where the processor runs it.
TEST(Simd, ArithmeticRoundsEachLaneAsTheScalarOperationDoes)
{
    ExpectLaneWiseMatches<simd::F4>("F4");
    ExpectLaneWiseMatches<simd::F8>("F8", true);
    ExpectLaneWiseMatches<simd::D2>("D2");
    ExpectLaneWiseMatches<simd::D4>("D4", true);
    ExpectLaneWiseMatches<simd::Plain<float, 8>>("plain float x8");
    ExpectLaneWiseMatches<simd::Plain<double, 4>>("plain double x4");
}

// Lane k of the shuffle reads lane (5k + 3) mod 2W of a then b, which takes
// lanes from both vectors in an order no simpler rule gives.
template <typename V, std::size_t... K>
NUMORA_SIMD_INLINE V MixedShuffle(V a, V b, std::index_sequence<K...>)
{
    return simd::Shuffle<static_cast<int>((5 * K + 3) % (2 * sizeof...(K)))...>(a, b);
}

// Loads at an odd offset, shuffle, reverse, lane reads and writes and stores
// move bit patterns unchanged, signalling NaNs included.
template <typename V>
void ExpectMovesKeepBits(const char* name)
{
    using T = simd::ElementOf<V>;
    using Bits = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
    constexpr int W = simd::LaneCount<V>;
    T source[2 * W + 1];
    for (int i = 0; i <= 2 * W; ++i) {
        // A signalling NaN pattern in every lane (exponent all ones, quiet bit
        // clear), each with its own payload.
        const Bits pattern = (Bits(~Bits(0)) >> 1 & ~(Bits(~Bits(0)) >> (sizeof(T) == 4 ? 9 : 12))) | Bits(i + 1);
        std::memcpy(&source[i], &pattern, sizeof(T));
    }
    const V a = simd::Load<V>(source + 1), b = simd::Load<V>(source + 1 + W);
    V shuffled = MixedShuffle(a, b, std::make_index_sequence<W>());
    const V reversed = simd::Reverse(a);
    shuffled[1] = a[W - 1];
    T out[2 * W + 1];
    std::memcpy(out, source, sizeof out);
    simd::Store(out + 1, shuffled);
    T back[W];
    simd::Store(back, reversed);
    for (int k = 0; k < W; ++k) {
        const int from = k == 1 ? W - 1 : (5 * k + 3) % (2 * W);
        EXPECT_EQ(0, std::memcmp(&out[1 + k], &source[1 + from], sizeof(T))) << name << " shuffle lane " << k;
        EXPECT_EQ(0, std::memcmp(&back[k], &source[W - k], sizeof(T))) << name << " reverse lane " << k;
    }
    EXPECT_EQ(0, std::memcmp(&out[0], &source[0], sizeof(T))) << name << " store wrote before its start";
    EXPECT_EQ(0, std::memcmp(&out[W + 1], &source[W + 1], sizeof(T) * W)) << name << " store wrote past its end";
}

TEST(Simd, MovesKeepBitPatternsAtAnyAlignment)
{
    ExpectMovesKeepBits<simd::F4>("F4");
    ExpectMovesKeepBits<simd::F8>("F8");
    ExpectMovesKeepBits<simd::D2>("D2");
    ExpectMovesKeepBits<simd::D4>("D4");
    ExpectMovesKeepBits<simd::Plain<float, 4>>("plain float x4");
    ExpectMovesKeepBits<simd::Plain<double, 2>>("plain double x2");
}

// double to float lanes round as static_cast does: ties to even, overflow to
// infinity, results in the subnormal range, signed zeros; float to double is
// exact, so the round trip gives back the rounded value (GCC 12 loses that
// rounding when its basic-block vectorizer runs on the plain vectors).
template <typename Narrow, typename Wide>
void ExpectConversionsMatchStaticCast(const char* name)
{
    const int n = 4 * 8;
    std::vector<double> wide = RandomValues<double>(n, 43u);
    for (int i = 0; i < n; ++i)
        wide[i] = wide[i] * std::ldexp(1.0, 4 * i - 64);
    const double special[] = {1.0 + std::ldexp(1.0, -24), 1.0 + 3 * std::ldexp(1.0, -24), 1e39, -1e39,
                              1e-40, -1e-46, -0.0, 0.0};
    std::copy(std::begin(special), std::end(special), wide.begin());
    std::vector<float> narrowed(n), expectedNarrow(n);
    std::vector<double> widened(n), expectedWide(n);
    for (int i = 0; i < n; i += simd::LaneCount<Narrow>) {
        simd::Store(narrowed.data() + i, simd::Convert<Narrow>(simd::Load<Wide>(wide.data() + i)));
        simd::Store(widened.data() + i, simd::Convert<Wide>(simd::Load<Narrow>(narrowed.data() + i)));
    }
    for (int i = 0; i < n; ++i) {
        expectedNarrow[i] = static_cast<float>(wide[i]);
        expectedWide[i] = static_cast<double>(expectedNarrow[i]);
    }
    EXPECT_TRUE(BitEqual(expectedNarrow.data(), narrowed.data(), n)) << name;
    EXPECT_TRUE(BitEqual(expectedWide.data(), widened.data(), n)) << name;
}

TEST(Simd, ConversionsRoundAsStaticCast)
{
    ExpectConversionsMatchStaticCast<simd::F4, simd::D4>("F4 <-> D4");
    ExpectConversionsMatchStaticCast<simd::Plain<float, 4>, simd::Plain<double, 4>>("plain x4");
}

// The run-time check answers what the processor says: on Linux the flags
// line of /proc/cpuinfo lists avx2 exactly where it may be used. A plain build
// runs its AVX2-marked code anywhere.
TEST(Simd, Avx2PathRunsWhereTheProcessorListsAvx2)
{
#if NUMORA_SIMD_WIDE
    std::ifstream cpuinfo("/proc/cpuinfo");
    std::string line;
    while (std::getline(cpuinfo, line) && line.rfind("flags", 0) != 0) {
    }
    if (line.empty())
        GTEST_SKIP() << "no /proc/cpuinfo";
    EXPECT_EQ(line.find(" avx2") != std::string::npos, simd::Avx2PathRuns());
#else
    EXPECT_TRUE(simd::Avx2PathRuns());
#endif
}

}  // namespace
