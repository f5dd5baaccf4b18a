#pragma once

#include <cstddef>
#include <cstring>
#include <type_traits>
#include <utility>

// Short vectors for the library's wide paths; private to the sources, never
// installed. This is the one file of the library that uses compiler
// extensions: GNU vector types, __builtin_shufflevector,
// __builtin_convertvector, always_inline and target attributes and CPU
// feature detection, all of which GCC (12 and later) and Clang (14 and later)
// accept alike. Everywhere else (another compiler, a target other than
// x86-64, or a build with NUMORA_PORTABLE_SIMD defined) the same names stand
// for plain C++17 structs with the same operations, so every wide path
// compiles anywhere and gives the same bits.
//
// Why the bits agree: every operation is lane-wise and rounds each lane as
// the scalar operation does (+ - * / and conversions round to nearest, unary
// minus flips the sign bit, loads, stores, shuffles and lane access only move
// bits). Nothing here fuses a multiply with an add or reorders a sum; the
// library's build keeps the compiler from doing so either (-ffp-contract=off,
// and no FMA instructions enabled on x86-64).
//
// Types (namespace qv::math::simd):
//   F4, F8  4 and 8 floats (128 and 256 bits)
//   D2, D4  2 and 4 doubles (128 and 256 bits)
//   Vec<T, W>     the same by element type and lane count
//   Plain<T, W>   the plain C++ vector, in every build (see below)
//   A plain float or double counts as a vector of one lane wherever a vector
//   type is a template argument (Load, Store, Splat, Reverse, LaneCount,
//   ElementOf), which serves the tail of a loop.
// Operations, on vectors of one type:
//   a + b, a - b, a * b, a / b, -a     lane by lane; a += b etc.
//   v[i]                               lane i, to read or assign
//   Load<V>(p), Store(p, v)            W elements from/to p, any alignment
//   Splat<V>(x)                        x in every lane
//   Shuffle<I...>(a, b)                lane k = lane I_k of a then b
//                                      (I_k < W from a, W + j is lane j of b)
//   Reverse(v)                         lanes in reverse order
//   Convert<V>(u)                      lane by lane to V's element type,
//                                      same lane count (F4 <-> D4)
//   LaneCount<V>, ElementOf<V>         W and the element type
// Function marks:
//   NUMORA_SIMD_INLINE     on every helper a wide path calls: always inlined,
//                          so a helper takes the instruction set of the
//                          function it is inlined into
//   NUMORA_SIMD_LAMBDA     the same for a lambda, after its parameter list
//   NUMORA_SIMD_AVX2       compiles one function for AVX2 (nothing more: no
//                          FMA); call it only when Avx2PathRuns()
//   NUMORA_SIMD_UNROLL(n)  before a loop that should be unrolled n times
// Run time:
//   Avx2PathRuns()  true when a function marked NUMORA_SIMD_AVX2 may run on
//                   this processor. In a plain build the mark does nothing
//                   and the function is ordinary code, so the answer is true.
// Build:
//   NUMORA_SIMD_WIDE is 1 when the types are GNU vectors and 0 when they are
//   the plain structs. Plain<T, W> is there in both, so the same template
//   code can be instantiated for the plain vectors in a wide build too (a
//   test that compares the two, for instance).
//
// Writing a wide path: one template over the vector type holds the
// arithmetic, written exactly as the scalar loop would be; entry points
// instantiate it once per width and the caller picks one at run time. For
// instance, y[i] = a * x[i] + y[i] over float arrays:
//
//   template <typename V>
//   NUMORA_SIMD_INLINE void Axpy(float a, const float* x, float* y, int n, int& i)
//   {
//       const V va = simd::Splat<V>(a);
//       for (; i + simd::LaneCount<V> <= n; i += simd::LaneCount<V>)
//           simd::Store(y + i, va * simd::Load<V>(x + i) + simd::Load<V>(y + i));
//   }
//   NUMORA_SIMD_AVX2 void AxpyAvx2(float a, const float* x, float* y, int n, int& i)
//   {
//       Axpy<simd::F8>(a, x, y, n, i);
//   }
//   void AxpyAll(float a, const float* x, float* y, int n)
//   {
//       int i = 0;
//       if (simd::Avx2PathRuns())
//           AxpyAvx2(a, x, y, n, i);
//       Axpy<simd::F4>(a, x, y, n, i);   // the 128-bit baseline
//       Axpy<float>(a, x, y, n, i);      // the tail, one lane at a time
//   }
//
// Each lane does what the scalar loop does for its element, so every choice
// gives the same bits. Rules that keep both compilers happy:
// - The function marked NUMORA_SIMD_AVX2 passes only pointers and scalars to
//   the template and holds no vector itself: Clang refuses a 256-bit vector
//   passed between a function marked for AVX2 and one that is not, inlined
//   or not.
// - Every helper the template calls is NUMORA_SIMD_INLINE (lambdas
//   NUMORA_SIMD_LAMBDA), so no vector crosses a call that is not inlined.
// - Widen and narrow lanes with Convert, each rounding written out as in the
//   scalar code; the build keeps GCC's basic-block vectorizer off, which
//   (GCC 12) can drop a double -> float -> double round trip.

#if !defined(NUMORA_PORTABLE_SIMD) && (defined(__GNUC__) || defined(__clang__)) && defined(__x86_64__)
#define NUMORA_SIMD_WIDE 1
#else
#define NUMORA_SIMD_WIDE 0
#endif

#if NUMORA_SIMD_WIDE
#define NUMORA_SIMD_INLINE inline __attribute__((always_inline))
#define NUMORA_SIMD_LAMBDA __attribute__((always_inline))
#define NUMORA_SIMD_AVX2 __attribute__((target("avx2")))
#define NUMORA_SIMD_PRAGMA(text) _Pragma(#text)
#define NUMORA_SIMD_UNROLL(n) NUMORA_SIMD_PRAGMA(GCC unroll n)
// Both compilers note that 256-bit vectors are passed differently with and
// without AVX; no such vector crosses a call that is not inlined (see above).
#pragma GCC diagnostic ignored "-Wpsabi"
#else
#define NUMORA_SIMD_INLINE inline
#define NUMORA_SIMD_LAMBDA
#define NUMORA_SIMD_AVX2
#define NUMORA_SIMD_UNROLL(n)
#endif

namespace qv {
namespace math {
namespace simd {

// The plain vector: W lanes of T in an array, every operation a loop over
// the lanes. Moves go through memcpy so that they copy bits, whatever the
// target does with a floating-point load.
template <typename T, int W>
struct Plain {
    T lane[W];

    T& operator[](int i) { return lane[i]; }
    const T& operator[](int i) const { return lane[i]; }

    Plain& operator+=(const Plain& b) { return *this = *this + b; }
    Plain& operator-=(const Plain& b) { return *this = *this - b; }
    Plain& operator*=(const Plain& b) { return *this = *this * b; }
    Plain& operator/=(const Plain& b) { return *this = *this / b; }

    friend Plain operator+(const Plain& a, const Plain& b)
    {
        Plain r;
        for (int i = 0; i < W; ++i)
            r.lane[i] = a.lane[i] + b.lane[i];
        return r;
    }
    friend Plain operator-(const Plain& a, const Plain& b)
    {
        Plain r;
        for (int i = 0; i < W; ++i)
            r.lane[i] = a.lane[i] - b.lane[i];
        return r;
    }
    friend Plain operator*(const Plain& a, const Plain& b)
    {
        Plain r;
        for (int i = 0; i < W; ++i)
            r.lane[i] = a.lane[i] * b.lane[i];
        return r;
    }
    friend Plain operator/(const Plain& a, const Plain& b)
    {
        Plain r;
        for (int i = 0; i < W; ++i)
            r.lane[i] = a.lane[i] / b.lane[i];
        return r;
    }
    friend Plain operator-(const Plain& a)
    {
        Plain r;
        for (int i = 0; i < W; ++i)
            r.lane[i] = -a.lane[i];
        return r;
    }
};

namespace detail {

// Element type and lane count of a vector type; a scalar is one lane.
template <typename T, int W>
struct LanesOf {
    using Element = T;
    static constexpr int kLanes = W;
};

template <typename V>
struct Traits : LanesOf<V, 1> {
    static_assert(std::is_same<V, float>::value || std::is_same<V, double>::value,
                  "a vector type of this header, float or double");
};

template <typename T, int W>
struct Traits<Plain<T, W>> : LanesOf<T, W> {};

template <typename V>
struct IsPlain : std::false_type {};
template <typename T, int W>
struct IsPlain<Plain<T, W>> : std::true_type {};

#if NUMORA_SIMD_WIDE
template <typename T, int W>
struct Gnu {
    typedef T Type __attribute__((vector_size(W * sizeof(T))));
};

template <>
struct Traits<Gnu<float, 4>::Type> : LanesOf<float, 4> {};
template <>
struct Traits<Gnu<float, 8>::Type> : LanesOf<float, 8> {};
template <>
struct Traits<Gnu<double, 2>::Type> : LanesOf<double, 2> {};
template <>
struct Traits<Gnu<double, 4>::Type> : LanesOf<double, 4> {};

template <typename T, int W>
using VecOf = typename Gnu<T, W>::Type;
#else
template <typename T, int W>
using VecOf = Plain<T, W>;
#endif

}  // namespace detail

// The vector of W lanes of T: a GNU vector in a wide build, else Plain.
template <typename T, int W>
using Vec = detail::VecOf<T, W>;

using F4 = Vec<float, 4>;
using F8 = Vec<float, 8>;
using D2 = Vec<double, 2>;
using D4 = Vec<double, 4>;

template <typename V>
using ElementOf = typename detail::Traits<V>::Element;

template <typename V>
constexpr int LaneCount = detail::Traits<V>::kLanes;

// W elements from p, which need not be aligned.
template <typename V>
NUMORA_SIMD_INLINE V Load(const ElementOf<V>* p)
{
    V v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// Writes the lanes of v to p, which need not be aligned.
template <typename V>
NUMORA_SIMD_INLINE void Store(ElementOf<V>* p, V v)
{
    std::memcpy(p, &v, sizeof v);
}

namespace detail {

template <typename V, std::size_t... I>
NUMORA_SIMD_INLINE V SplatLanes(ElementOf<V> x, std::index_sequence<I...>)
{
    return V{((void)I, x)...};
}

template <int... I, typename V>
NUMORA_SIMD_INLINE V PlainShuffle(const V& a, const V& b)
{
    constexpr int W = LaneCount<V>;
    constexpr int index[] = {I...};
    V r;
    for (int k = 0; k < W; ++k)
        std::memcpy(&r.lane[k], index[k] < W ? &a.lane[index[k]] : &b.lane[index[k] - W], sizeof r.lane[k]);
    return r;
}

template <typename V, std::size_t... I>
NUMORA_SIMD_INLINE V ReverseLanes(V v, std::index_sequence<I...>);

}  // namespace detail

// x in every lane.
template <typename V>
NUMORA_SIMD_INLINE V Splat(ElementOf<V> x)
{
    if constexpr (LaneCount<V> == 1)
        return x;
    else
        return detail::SplatLanes<V>(x, std::make_index_sequence<LaneCount<V>>());
}

// Lane k of the result is lane I_k of the 2W lanes of a followed by b.
template <int... I, typename V>
NUMORA_SIMD_INLINE V Shuffle(V a, V b)
{
    static_assert(sizeof...(I) == LaneCount<V>, "one index per lane");
    static_assert(((I >= 0 && I < 2 * LaneCount<V>)&&...), "indices within the two vectors");
#if NUMORA_SIMD_WIDE
    if constexpr (!detail::IsPlain<V>::value)
        return __builtin_shufflevector(a, b, I...);
    else
#endif
        return detail::PlainShuffle<I...>(a, b);
}

namespace detail {

template <typename V, std::size_t... I>
NUMORA_SIMD_INLINE V ReverseLanes(V v, std::index_sequence<I...>)
{
    return Shuffle<(LaneCount<V> - 1 - static_cast<int>(I))...>(v, v);
}

}  // namespace detail

// The lanes of v in reverse order.
template <typename V>
NUMORA_SIMD_INLINE V Reverse(V v)
{
    if constexpr (LaneCount<V> == 1)
        return v;
    else
        return detail::ReverseLanes(v, std::make_index_sequence<LaneCount<V>>());
}

// Each lane converted to the element type of To, rounding to nearest as
// static_cast does; both types have the same lane count.
template <typename To, typename From>
NUMORA_SIMD_INLINE To Convert(From v)
{
    static_assert(LaneCount<To> == LaneCount<From>, "same lane count");
#if NUMORA_SIMD_WIDE
    if constexpr (!detail::IsPlain<From>::value && !detail::IsPlain<To>::value)
        return __builtin_convertvector(v, To);
    else
#endif
    {
        To r;
        for (int i = 0; i < LaneCount<To>; ++i)
            r[i] = static_cast<ElementOf<To>>(v[i]);
        return r;
    }
}

// True when a function marked NUMORA_SIMD_AVX2 may run here: the processor
// has AVX2 and the system saves its registers. Always true in a plain build,
// where that mark does nothing.
inline bool Avx2PathRuns()
{
#if NUMORA_SIMD_WIDE
    static const bool runs = (__builtin_cpu_init(), __builtin_cpu_supports("avx2") != 0);
    return runs;
#else
    return true;
#endif
}

}  // namespace simd
}  // namespace math
}  // namespace qv
