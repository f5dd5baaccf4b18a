#include <cmath>
#include <cstring>
#include <type_traits>
#include <utility>

#include "numora/foundation/simd_detail.h"
#include "numora/transforms/fft_detail.h"

// The passes of the real transform, once per instruction set.
//
// How they are organised, and why they give the same bits as the plain
// sequence of passes:
//
// - Every lane of a vector does the same float (or double) operations in the
//   same order as the scalar formulas; vectors run over the positions k of a
//   run, or, in the pass with runs of length 1, over neighbouring groups.
// - The rotation factors come from a table built once with the very formula
//   a group uses (fft_detail.h).
// - The forward division by N = 2^M is a multiplication by 2^-M on the first
//   load: both round the same real number once, so they agree for every
//   input, subnormals included.
// - Unary minus is an exact sign flip, so a negation may move to another step.
// - The first permutation of the forward direction (imaginary parts of the
//   pairs reversed within each octave of pair indices) and the sign fix only
//   exchange values between the two blocks of one group of the last pass, so
//   they are done on its stores; the inverse does them on the loads of its
//   first pass. The second permutation (pairs in bit-reversed order) runs as
//   a pass of its own, tile by tile.
//
// Kernels are templates over a vector type of simd_detail.h and always
// inlined into the entry point of one instruction set.

namespace qv {
namespace math {
namespace detail {

namespace {

using simd::D2;
using simd::D4;
using simd::ElementOf;
using simd::F4;
using simd::F8;
using simd::LaneCount;
using simd::Load;
using simd::Reverse;
using simd::Shuffle;
using simd::Splat;
using simd::Store;

// Transposes four vectors of four lanes: interleave pairs of vectors, then
// combine halves (for floats the interleave keeps lanes in order, for doubles
// it works within 128-bit halves, which puts the middle results the other way).
template <typename V>
NUMORA_SIMD_INLINE void Transpose4(V& a, V& b, V& c, V& d)
{
    if constexpr (sizeof(ElementOf<V>) == 4) {
        const V t0 = Shuffle<0, 4, 1, 5>(a, b), t1 = Shuffle<2, 6, 3, 7>(a, b);
        const V t2 = Shuffle<0, 4, 1, 5>(c, d), t3 = Shuffle<2, 6, 3, 7>(c, d);
        a = Shuffle<0, 1, 4, 5>(t0, t2);
        b = Shuffle<2, 3, 6, 7>(t0, t2);
        c = Shuffle<0, 1, 4, 5>(t1, t3);
        d = Shuffle<2, 3, 6, 7>(t1, t3);
    } else {
        const V t0 = Shuffle<0, 4, 2, 6>(a, b), t1 = Shuffle<1, 5, 3, 7>(a, b);
        const V t2 = Shuffle<0, 4, 2, 6>(c, d), t3 = Shuffle<1, 5, 3, 7>(c, d);
        a = Shuffle<0, 1, 4, 5>(t0, t2);
        b = Shuffle<0, 1, 4, 5>(t1, t3);
        c = Shuffle<2, 3, 6, 7>(t0, t2);
        d = Shuffle<2, 3, 6, 7>(t1, t3);
    }
}

// Transposes eight vectors of eight floats.
NUMORA_SIMD_INLINE void Transpose8(F8* r)
{
    F8 t[8], u[8];
    for (int i = 0; i < 8; i += 2) {
        t[i] = Shuffle<0, 8, 1, 9, 4, 12, 5, 13>(r[i], r[i + 1]);
        t[i + 1] = Shuffle<2, 10, 3, 11, 6, 14, 7, 15>(r[i], r[i + 1]);
    }
    for (int i = 0; i < 8; i += 4) {
        u[i] = Shuffle<0, 1, 8, 9, 4, 5, 12, 13>(t[i], t[i + 2]);
        u[i + 1] = Shuffle<2, 3, 10, 11, 6, 7, 14, 15>(t[i], t[i + 2]);
        u[i + 2] = Shuffle<0, 1, 8, 9, 4, 5, 12, 13>(t[i + 1], t[i + 3]);
        u[i + 3] = Shuffle<2, 3, 10, 11, 6, 7, 14, 15>(t[i + 1], t[i + 3]);
    }
    for (int i = 0; i < 4; ++i) {
        r[i] = Shuffle<0, 1, 2, 3, 8, 9, 10, 11>(u[i], u[i + 4]);
        r[i + 4] = Shuffle<4, 5, 6, 7, 12, 13, 14, 15>(u[i], u[i + 4]);
    }
}

// ---------------------------------------------------------------------------
// Butterflies, on the quarters q[0..3] of one block, or x[0..3] and y[0..3]
// of the two blocks (jr, ji) of a rotated group.

template <typename V>
NUMORA_SIMD_INLINE void PlainAnalysis(V* q)
{
    const V t0 = q[0] + q[2];
    const V t1 = q[1] + q[3];
    q[2] = q[0] - q[2];
    q[3] = q[1] - q[3];
    q[0] = t0 + t1;
    q[1] = t0 - t1;
}

// Block 1 of group 0, p7 = 1/sqrt(2).
template <typename V>
NUMORA_SIMD_INLINE void EighthAnalysis(V* q, V p7)
{
    const V pr = p7 * (q[1] - q[3]);
    const V pi = p7 * (q[1] + q[3]);
    q[3] = q[2] + pi;
    q[1] = pi - q[2];
    q[2] = q[0] - pr;
    q[0] = q[0] + pr;
}

template <typename V>
NUMORA_SIMD_INLINE void PlainSynthesis(V* q)
{
    const V two = Splat<V>(2);
    const V t0 = q[0] + q[1];
    const V t1 = q[0] - q[1];
    const V t2 = two * q[2];
    const V t3 = two * q[3];
    q[0] = t0 + t2;
    q[2] = t0 - t2;
    q[1] = t1 + t3;
    q[3] = t1 - t3;
}

template <typename V>
NUMORA_SIMD_INLINE void EighthSynthesis(V* q, V root2)
{
    const V two = Splat<V>(2);
    const V t2 = q[0] - q[2];
    const V t3 = q[1] + q[3];
    const V q0 = two * (q[0] + q[2]);
    const V q2 = two * (q[3] - q[1]);
    q[1] = root2 * (t2 + t3);
    q[3] = root2 * (t3 - t2);
    q[0] = q0;
    q[2] = q2;
}

template <typename V>
struct Twiddle {
    V c1, s1, c2, s2, c3, s3;
};

template <typename V>
NUMORA_SIMD_INLINE void RotatedAnalysis(V* x, V* y, const Twiddle<V>& w)
{
    const V r1 = x[1] * w.c1 - y[1] * w.s1;
    const V r5 = x[1] * w.s1 + y[1] * w.c1;
    const V t2 = x[2] * w.c2 - y[2] * w.s2;
    const V t6 = x[2] * w.s2 + y[2] * w.c2;
    const V t3 = x[3] * w.c3 - y[3] * w.s3;
    const V t7 = x[3] * w.s3 + y[3] * w.c3;
    const V t0 = x[0] + t2;
    const V t4 = y[0] + t6;
    const V u2 = x[0] - t2;
    const V u6 = y[0] - t6;
    const V t1 = r1 + t3;
    const V t5 = r5 + t7;
    const V u3 = r1 - t3;
    const V u7 = r5 - t7;
    x[0] = t0 + t1;
    y[3] = t4 + t5;
    y[2] = t0 - t1;
    x[1] = t5 - t4;
    x[2] = u2 - u7;
    y[1] = u6 + u3;
    y[0] = u2 + u7;
    x[3] = u3 - u6;
}

template <typename V>
NUMORA_SIMD_INLINE void RotatedSynthesis(V* x, V* y, const Twiddle<V>& w)
{
    const V t0 = x[0] + y[2];
    const V t1 = y[3] - x[1];
    const V t2 = x[0] - y[2];
    const V t3 = y[3] + x[1];
    const V t4 = x[2] + y[0];
    const V t5 = y[1] - x[3];
    const V t6 = y[1] + x[3];
    const V t7 = y[0] - x[2];
    const V a1 = t2 + t6, b1 = t3 + t7;
    const V a2 = t0 - t4, b2 = t1 - t5;
    const V a3 = t2 - t6, b3 = t3 - t7;
    x[0] = t0 + t4;
    y[0] = t1 + t5;
    x[1] = a1 * w.c1 - b1 * w.s1;
    y[1] = a1 * w.s1 + b1 * w.c1;
    x[2] = a2 * w.c2 - b2 * w.s2;
    y[2] = a2 * w.s2 + b2 * w.c2;
    x[3] = a3 * w.c3 - b3 * w.s3;
    y[3] = a3 * w.s3 + b3 * w.c3;
}

// The first permutation and the sign fix on a rotated group of the pass with
// runs of length 1: the imaginary parts of its four pairs change places
// across the two blocks, negated.
template <typename V>
NUMORA_SIMD_INLINE void SwapImaginaryParts(V* x, V* y)
{
    const V x1 = x[1], x3 = x[3];
    x[1] = -y[3];
    x[3] = -y[1];
    y[1] = -x3;
    y[3] = -x1;
}

template <typename T>
const FftRotations<T>& Rotations();
template <>
const FftRotations<float>& Rotations<float>()
{
    return FftRotationTable();
}
template <>
const FftRotations<double>& Rotations<double>()
{
    return FftRotationTable_D();
}

// The synthesis takes the factors with -sin.
template <typename V, bool Analysis>
NUMORA_SIMD_INLINE Twiddle<V> Directed(Twiddle<V> w)
{
    if (!Analysis) {
        w.s1 = -w.s1;
        w.s2 = -w.s2;
        w.s3 = -w.s3;
    }
    return w;
}

// Factors of group g in every lane.
template <typename V, bool Analysis>
NUMORA_SIMD_INLINE Twiddle<V> SplatTwiddle(const FftRotations<ElementOf<V>>& r, int g)
{
    return Directed<V, Analysis>({Splat<V>(r.c1[g]), Splat<V>(r.s1[g]), Splat<V>(r.c2[g]),
                                  Splat<V>(r.s2[g]), Splat<V>(r.c3[g]), Splat<V>(r.s3[g])});
}

// Factors of groups g .. g + W - 1 in lanes 0 .. W - 1, or with Descending
// in lanes W - 1 .. 0.
template <typename V, bool Analysis, bool Descending>
NUMORA_SIMD_INLINE Twiddle<V> LoadTwiddle(const FftRotations<ElementOf<V>>& r, int g)
{
    auto lanes = [](V v) NUMORA_SIMD_LAMBDA { return Descending ? Reverse(v) : v; };
    return Directed<V, Analysis>({lanes(Load<V>(r.c1 + g)), lanes(Load<V>(r.s1 + g)),
                                  lanes(Load<V>(r.c2 + g)), lanes(Load<V>(r.s2 + g)),
                                  lanes(Load<V>(r.c3 + g)), lanes(Load<V>(r.s3 + g))});
}

template <typename T>
T EighthFactor()
{
    return static_cast<T>(1.0 / std::sqrt(2.0));
}

template <typename T>
T Root2()
{
    return static_cast<T>(std::sqrt(2.0));
}

// ---------------------------------------------------------------------------
// Passes over the positions k of a run, W positions at a time.

// op on the quarters of one block of runs of len values, k = 0, W, ...
template <typename V, typename Op>
NUMORA_SIMD_INLINE void OverBlock(ElementOf<V>* b, int len, Op op)
{
    for (int k = 0; k < len; k += LaneCount<V>) {
        V q[4];
        for (int j = 0; j < 4; ++j)
            q[j] = Load<V>(b + j * len + k);
        op(q);
        for (int j = 0; j < 4; ++j)
            Store(b + j * len + k, q[j]);
    }
}

// op on the quarters of two blocks together.
template <typename V, typename Op>
NUMORA_SIMD_INLINE void OverBlocks(ElementOf<V>* xb, ElementOf<V>* yb, int len, Op op)
{
    for (int k = 0; k < len; k += LaneCount<V>) {
        V x[4], y[4];
        for (int j = 0; j < 4; ++j) {
            x[j] = Load<V>(xb + j * len + k);
            y[j] = Load<V>(yb + j * len + k);
        }
        op(x, y);
        for (int j = 0; j < 4; ++j) {
            Store(xb + j * len + k, x[j]);
            Store(yb + j * len + k, y[j]);
        }
    }
}

// First passes of the forward direction where the sixteen-run form below
// does not apply, scaled by 2^-M on the load: the radix-4 pass of order 4
// (even M), or the radix-2 pass over the halves with group 0 of the order-8
// pass, whose two blocks are those halves (odd M).
template <typename V>
NUMORA_SIMD_INLINE void ForwardFirstStage(ElementOf<V>* d, int n, bool odd)
{
    using T = ElementOf<V>;
    const V scale = Splat<V>(static_cast<T>(1.0 / n));
    if (!odd) {
        OverBlock<V>(d, n / 4, [&](V* q) NUMORA_SIMD_LAMBDA {
            for (int j = 0; j < 4; ++j)
                q[j] = q[j] * scale;
            PlainAnalysis(q);
        });
        return;
    }
    const V p7 = Splat<V>(EighthFactor<T>());
    OverBlocks<V>(d, d + n / 2, n / 8, [&](V* x, V* y) NUMORA_SIMD_LAMBDA {
        for (int j = 0; j < 4; ++j) {
            const V a = x[j] * scale, b = y[j] * scale;
            x[j] = a + b;
            y[j] = a - b;
        }
        PlainAnalysis(x);
        EighthAnalysis(y, p7);
    });
}

// Last passes of the inverse direction where the sixteen-run form below does
// not apply: the radix-4 pass of order 4 (even M), or group 0 of the order-8
// pass with the radix-2 pass over the halves (odd M).
template <typename V>
NUMORA_SIMD_INLINE void InverseLastStage(ElementOf<V>* d, int n, bool odd)
{
    if (!odd) {
        OverBlock<V>(d, n / 4, [](V* q) NUMORA_SIMD_LAMBDA { PlainSynthesis(q); });
        return;
    }
    const V root2 = Splat<V>(Root2<ElementOf<V>>());
    OverBlocks<V>(d, d + n / 2, n / 8, [&](V* x, V* y) NUMORA_SIMD_LAMBDA {
        PlainSynthesis(x);
        EighthSynthesis(y, root2);
        for (int j = 0; j < 4; ++j) {
            const V a = x[j], b = y[j];
            x[j] = a + b;
            y[j] = a - b;
        }
    });
}

// For even M, the passes of orders 4 and 16 together, on the sixteen runs of
// N/16 values: first of the forward direction (scaled by 2^-M on the load),
// last of the inverse. Run j holds quarter j % 4 of block j / 4 of the
// order-16 pass, and quarter j / 4 of the order-4 pass's only block, at
// offset j % 4 runs. Used while a run is shorter than 4 KiB: sixteen streams
// a multiple of 4 KiB apart would share one set of the level-1 cache.
template <typename V, bool Analysis>
NUMORA_SIMD_INLINE void OuterSixteenRuns(ElementOf<V>* d, int n, const FftRotations<ElementOf<V>>& table)
{
    using T = ElementOf<V>;
    const int len = n / 16;
    const V scale = Splat<V>(static_cast<T>(1.0 / n));
    const V eighth = Splat<V>(Analysis ? EighthFactor<T>() : Root2<T>());
    const Twiddle<V> w = SplatTwiddle<V, Analysis>(table, 1);
    auto orderFour = [](V* v) NUMORA_SIMD_LAMBDA {
        for (int s = 0; s < 4; ++s) {
            V q[4] = {v[s], v[s + 4], v[s + 8], v[s + 12]};
            Analysis ? PlainAnalysis(q) : PlainSynthesis(q);
            for (int j = 0; j < 4; ++j)
                v[s + 4 * j] = q[j];
        }
    };
    for (int k = 0; k < len; k += LaneCount<V>) {
        V v[16];
        for (int j = 0; j < 16; ++j)
            v[j] = Load<V>(d + j * len + k);
        if (Analysis) {
            for (int j = 0; j < 16; ++j)
                v[j] = v[j] * scale;
            orderFour(v);
            PlainAnalysis(v);
            EighthAnalysis(v + 4, eighth);
            RotatedAnalysis(v + 8, v + 12, w);
        } else {
            PlainSynthesis(v);
            EighthSynthesis(v + 4, eighth);
            RotatedSynthesis(v + 8, v + 12, w);
            orderFour(v);
        }
        for (int j = 0; j < 16; ++j)
            Store(d + j * len + k, v[j]);
    }
}

template <typename T>
bool UseOuterSixteenRuns(int n, bool odd)
{
    return !odd && n >= 64 && n / 16 * static_cast<int>(sizeof(T)) < 4096;
}

// Group 0 of a pass of order above 4: block 0 unrotated, block 1 by 1/8 turn.
template <typename V, bool Analysis>
NUMORA_SIMD_INLINE void FirstGroup(ElementOf<V>* d, int len)
{
    using T = ElementOf<V>;
    const V factor = Splat<V>(Analysis ? EighthFactor<T>() : Root2<T>());
    OverBlocks<V>(d, d + 4 * len, len, [&](V* x, V* y) NUMORA_SIMD_LAMBDA {
        if (Analysis) {
            PlainAnalysis(x);
            EighthAnalysis(y, factor);
        } else {
            PlainSynthesis(x);
            EighthSynthesis(y, factor);
        }
    });
}

// Groups 1 .. NN/8 - 1 of a pass with runs of len >= W values.
template <typename V, bool Analysis>
NUMORA_SIMD_INLINE void RotatedGroups(ElementOf<V>* d, int len, int nn,
                                     const FftRotations<ElementOf<V>>& table)
{
    int jr = 2, ji = 3, jl = 2;
    for (int g = 1; g < nn / 8; ++g) {
        const Twiddle<V> w = SplatTwiddle<V, Analysis>(table, g);
        OverBlocks<V>(d + 4 * len * jr, d + 4 * len * ji, len, [&](V* x, V* y) NUMORA_SIMD_LAMBDA {
            if (Analysis)
                RotatedAnalysis(x, y, w);
            else
                RotatedSynthesis(x, y, w);
        });
        jr += 2;
        ji -= 2;
        if (ji <= jl) {
            ji = 2 * jr - 1;
            jl = jr;
        }
    }
}

// Calls f with a value of the widest vector type of path P that fits a run
// of len values.
template <typename P, typename F>
NUMORA_SIMD_INLINE void WithRunVector(int len, F f)
{
    if (len >= LaneCount<typename P::Wide>)
        f(typename P::Wide{});
    else if (len >= LaneCount<typename P::Half>)
        f(typename P::Half{});
    else
        f(typename P::T{});
}

// ---------------------------------------------------------------------------
// The pass with runs of length 1 (order N), over W groups at a time.
//
// In this pass group g >= 1 owns the blocks jr = 2g and ji = 3L - 1 - 2g,
// L = 2 * (highest power of two in g), four values each. W neighbouring
// groups g0 .. g0 + W - 1 of one octave own the even blocks of the chunk of
// 2W blocks starting at block 2 * g0, and the odd blocks of its mirror chunk
// in the octave, in reverse order; the mirror chunk's even blocks belong to
// the mirror groups, whose odd blocks are those of the first chunk. So a
// chunk and its mirror are processed together: each is read as a W x 8
// matrix (the mirror with its rows reversed) and transposed, so that lane i
// holds group g0 + i in one and its mirror group in the other.

// Rows (v[k] = values kW .. kW + W - 1 of a W x 8 matrix) to columns (v[c] =
// column c), and back: W = 8 is a square transpose, W = 4 two 4 x 4
// transposes on the even and the odd vectors, W = 2 2 x 2 transposes of v[t]
// with v[t + 4].
template <typename V, bool ToColumns>
NUMORA_SIMD_INLINE void Regroup(V* v)
{
    constexpr int W = LaneCount<V>;
    if constexpr (W == 8) {
        Transpose8(v);
    } else if constexpr (W == 4) {
        constexpr int kSplit[8] = {0, 2, 4, 6, 1, 3, 5, 7};
        V e[8];
        for (int k = 0; k < 8; ++k)
            e[k] = v[ToColumns ? kSplit[k] : k];
        Transpose4(e[0], e[1], e[2], e[3]);
        Transpose4(e[4], e[5], e[6], e[7]);
        for (int k = 0; k < 8; ++k)
            v[ToColumns ? k : kSplit[k]] = e[k];
    } else if constexpr (W == 2) {
        V e[8];
        for (int t = 0; t < 4; ++t) {
            const V a = ToColumns ? v[t] : v[2 * t];
            const V b = ToColumns ? v[t + 4] : v[2 * t + 1];
            e[ToColumns ? 2 * t : t] = Shuffle<0, 2>(a, b);
            e[ToColumns ? 2 * t + 1 : t + 4] = Shuffle<1, 3>(a, b);
        }
        for (int k = 0; k < 8; ++k)
            v[k] = e[k];
    }
}

// Vector k of the mirror chunk, read with the rows of the matrix reversed.
template <int W>
constexpr int MirrorRowVector(int k)
{
    return (W - 1 - k / (8 / W)) * (8 / W) + k % (8 / W);
}

// Groups g0 .. g0 + W - 1 and their mirror groups, whose chunk starts at
// group g1 (g1 == g0 for the octave of W groups, which is its own mirror).
template <typename V, bool Analysis>
NUMORA_SIMD_INLINE void ChunkPair(ElementOf<V>* d, int g0, int g1, const FftRotations<ElementOf<V>>& table)
{
    constexpr int W = LaneCount<V>;
    ElementOf<V>* a = d + 8 * g0;
    ElementOf<V>* b = d + 8 * g1;
    V ca[8], cb[8];
    for (int k = 0; k < 8; ++k) {
        ca[k] = Load<V>(a + k * W);
        cb[k] = Load<V>(b + MirrorRowVector<W>(k) * W);
    }
    Regroup<V, true>(ca);
    Regroup<V, true>(cb);
    // Groups g0 + i: blocks ca[0..3] and cb[4..7]; mirror groups: cb[0..3], ca[4..7].
    const Twiddle<V> wa = LoadTwiddle<V, Analysis, false>(table, g0);
    const Twiddle<V> wb = LoadTwiddle<V, Analysis, true>(table, g1);
    if (Analysis) {
        RotatedAnalysis(ca, cb + 4, wa);
        RotatedAnalysis(cb, ca + 4, wb);
    }
    SwapImaginaryParts(ca, cb + 4);
    SwapImaginaryParts(cb, ca + 4);
    if (!Analysis) {
        RotatedSynthesis(ca, cb + 4, wa);
        RotatedSynthesis(cb, ca + 4, wb);
    }
    Regroup<V, false>(ca);
    Regroup<V, false>(cb);
    for (int k = 0; k < 8; ++k) {
        Store(a + k * W, ca[k]);
        Store(b + MirrorRowVector<W>(k) * W, cb[k]);
    }
}

// Groups 1 .. N/8 - 1 of the pass of order N, octave by octave, each with the
// widest vector that does not exceed it.
template <typename P, bool Analysis>
NUMORA_SIMD_INLINE void UnitRunGroups(typename P::T* d, int n, const FftRotations<typename P::T>& table)
{
    for (int h = 1; h < n / 8; h *= 2) {
        WithRunVector<P>(h, [&](auto lanes) NUMORA_SIMD_LAMBDA {
            using V = decltype(lanes);
            const int chunks = h / LaneCount<V>;
            for (int c = 0; 2 * c <= chunks - 1; ++c)
                ChunkPair<V, Analysis>(d, h + c * LaneCount<V>, h + (chunks - 1 - c) * LaneCount<V>, table);
        });
    }
}

// ---------------------------------------------------------------------------
// Second permutation: pair p and pair reverse(p) over M - 1 bits change
// places. Pairs are only moved (as 64- or 128-bit units, never through
// arithmetic). The pair index is cut into a high, a middle and a low part,
// the outer ones of 3 bits for float pairs and 2 bits for double pairs, so
// that a tile row is 64 bytes; the tile with middle part b goes, transposed
// with both outer parts reversed, to the tile of the reversed middle part.
// A tile is cut into cells of a few vectors; cell (i, j) lands transposed in
// cell (reverse(j), reverse(i)) of the partner tile, whose own cell there
// comes back to (i, j), so the two are exchanged in registers.

int ReverseBits(int v, int bits)
{
    int r = 0;
    for (int i = 0; i < bits; ++i, v >>= 1)
        r = (r << 1) | (v & 1);
    return r;
}

// A vector of pair units at p, inside float or double data, and back.
template <typename U, typename T>
NUMORA_SIMD_INLINE U LoadUnits(const T* p)
{
    U u;
    std::memcpy(&u, p, sizeof u);
    return u;
}

template <typename T, typename U>
NUMORA_SIMD_INLINE void StoreUnits(T* p, U u)
{
    std::memcpy(p, &u, sizeof u);
}

// Cell of two vectors U, rows i and i + Side of vector column j; U holds two
// units, and the transposed cell takes the low units to its first row and
// the high units to its second. Float pairs in 128-bit vectors (Side 4) and
// double pairs in 256-bit vectors (Side 2).
template <typename T, typename U, int TileBits, int Side>
struct TwoRowCells {
    static constexpr int Bits = TileBits;
    static constexpr int kSide = Side;
    static constexpr int kStep = static_cast<int>(sizeof(U) / sizeof(T));
    static NUMORA_SIMD_INLINE void Exchange(T* ta, int i, int j, T* tb, int pi, int pj, int rowStride)
    {
        T* a0 = ta + i * rowStride + j * kStep;
        T* a1 = a0 + Side * rowStride;
        T* b0 = tb + pi * rowStride + pj * kStep;
        T* b1 = b0 + Side * rowStride;
        const U a = LoadUnits<U>(a0), c = LoadUnits<U>(a1);
        const U b = LoadUnits<U>(b0), d = LoadUnits<U>(b1);
        if constexpr (LaneCount<U> == 2) {
            StoreUnits(b0, Shuffle<0, 2>(a, c));
            StoreUnits(b1, Shuffle<1, 3>(a, c));
            StoreUnits(a0, Shuffle<0, 2>(b, d));
            StoreUnits(a1, Shuffle<1, 3>(b, d));
        } else {
            StoreUnits(b0, Shuffle<0, 1, 4, 5>(a, c));
            StoreUnits(b1, Shuffle<2, 3, 6, 7>(a, c));
            StoreUnits(a0, Shuffle<0, 1, 4, 5>(b, d));
            StoreUnits(a1, Shuffle<2, 3, 6, 7>(b, d));
        }
    }
};

// Cell of four 256-bit vectors of float pairs: half j of rows reverse(4i + q)
// = i + {0, 4, 2, 6}[q]; its 4 x 4 transpose of units is the whole move.
struct FourRowCells {
    static constexpr int Bits = 3;
    static constexpr int kSide = 2;
    static NUMORA_SIMD_INLINE void Exchange(float* ta, int i, int j, float* tb, int pi, int pj, int rowStride)
    {
        float* a = ta + i * rowStride + 8 * j;
        float* b = tb + pi * rowStride + 8 * pj;
        const int r1 = 4 * rowStride, r2 = 2 * rowStride, r3 = 6 * rowStride;
        D4 a0 = LoadUnits<D4>(a), a1 = LoadUnits<D4>(a + r1);
        D4 a2 = LoadUnits<D4>(a + r2), a3 = LoadUnits<D4>(a + r3);
        D4 b0 = LoadUnits<D4>(b), b1 = LoadUnits<D4>(b + r1);
        D4 b2 = LoadUnits<D4>(b + r2), b3 = LoadUnits<D4>(b + r3);
        Transpose4(a0, a1, a2, a3);
        Transpose4(b0, b1, b2, b3);
        StoreUnits(b, a0);
        StoreUnits(b + r1, a1);
        StoreUnits(b + r2, a2);
        StoreUnits(b + r3, a3);
        StoreUnits(a, b0);
        StoreUnits(a + r1, b1);
        StoreUnits(a + r2, b2);
        StoreUnits(a + r3, b3);
    }
};

// Cell of one 128-bit vector holding one double pair.
struct OneUnitCells {
    static constexpr int Bits = 2;
    static constexpr int kSide = 4;
    static NUMORA_SIMD_INLINE void Exchange(double* ta, int i, int j, double* tb, int pi, int pj,
                                           int rowStride)
    {
        double* a = ta + i * rowStride + 2 * j;
        double* b = tb + pi * rowStride + 2 * pj;
        const D2 u = LoadUnits<D2>(a), v = LoadUnits<D2>(b);
        StoreUnits(b, u);
        StoreUnits(a, v);
    }
};

// Exchanges tiles ta and tb; a tile that is its own partner (same) exchanges
// each pair of its cells once.
template <typename Cells, typename T>
NUMORA_SIMD_INLINE void ExchangeTiles(T* ta, T* tb, int rowStride, bool same)
{
    constexpr int Side = Cells::kSide;
    constexpr int kReverse[4] = {0, Side == 4 ? 2 : 1, 1, 3};
NUMORA_SIMD_UNROLL(4)
    for (int i = 0; i < Side; ++i)
NUMORA_SIMD_UNROLL(4)
        for (int j = 0; j < Side; ++j) {
            const int pi = kReverse[j];
            const int pj = kReverse[i];
            if (!same || i * Side + j <= pi * Side + pj)
                Cells::Exchange(ta, i, j, tb, pi, pj, rowStride);
        }
}

template <typename Cells, typename T>
NUMORA_SIMD_INLINE void ReorderBlocks(T* data, int n, int m)
{
    const int bits = m - 1;
    if (bits < 2 * Cells::Bits) {
        for (int p = 0; p < n / 2; ++p) {
            const int r = ReverseBits(p, bits);
            if (p < r) {
                std::swap(data[2 * p], data[2 * r]);
                std::swap(data[2 * p + 1], data[2 * r + 1]);
            }
        }
        return;
    }
    const int middle = bits - 2 * Cells::Bits;
    const int rowStride = 2 << (bits - Cells::Bits);
    for (int mid = 0; mid < 1 << middle; ++mid) {
        const int rmid = ReverseBits(mid, middle);
        if (rmid >= mid)
            ExchangeTiles<Cells>(data + (2 * mid << Cells::Bits), data + (2 * rmid << Cells::Bits), rowStride,
                                 rmid == mid);
    }
}

// ---------------------------------------------------------------------------
// The two directions.

// Vector types of one instruction set: the widest, a half-width one for runs
// shorter than it (the element type for runs shorter still), and the cells
// of the pair permutation.
struct Sse2Float {
    using T = float;
    using Wide = F4;
    using Half = F4;
    using PairCells = TwoRowCells<float, D2, 3, 4>;
};
struct Avx2Float {
    using T = float;
    using Wide = F8;
    using Half = F4;
    using PairCells = FourRowCells;
};
struct Sse2Double {
    using T = double;
    using Wide = D2;
    using Half = D2;
    using PairCells = OneUnitCells;
};
struct Avx2Double {
    using T = double;
    using Wide = D4;
    using Half = D2;
    using PairCells = TwoRowCells<double, D4, 2, 2>;
};

// The first permutation and the sign fix on pairs 0 to 3 (group 0 of the
// last pass), before the inverse or after the forward passes.
template <typename T>
void SwapFirstImaginaryParts(T* d, int n)
{
    d[3] = -d[3];
    if (n >= 8) {
        const T t = d[5];
        d[5] = -d[7];
        d[7] = -t;
    }
}

template <typename P>
NUMORA_SIMD_INLINE void Forward(typename P::T* d, int n, int m)
{
    using T = typename P::T;
    if (m == 1) {
        const T a = d[0] * T(0.5), b = d[1] * T(0.5);
        d[0] = a + b;
        d[1] = a - b;
        return;
    }
    const FftRotations<T>& table = Rotations<T>();
    const bool odd = m % 2 != 0;
    const bool sixteen = UseOuterSixteenRuns<T>(n, odd);
    int nn = sixteen ? 16 : odd ? 8 : 4;
    WithRunVector<P>(n / nn, [&](auto lanes) NUMORA_SIMD_LAMBDA {
        if (sixteen)
            OuterSixteenRuns<decltype(lanes), true>(d, n, table);
        else
            ForwardFirstStage<decltype(lanes)>(d, n, odd);
    });
    while (nn < n) {
        nn *= 4;
        const int len = n / nn;
        if (len > 1) {
            WithRunVector<P>(len, [&](auto lanes) NUMORA_SIMD_LAMBDA {
                FirstGroup<decltype(lanes), true>(d, len);
                RotatedGroups<decltype(lanes), true>(d, len, nn, table);
            });
        } else {
            FirstGroup<T, true>(d, 1);
            UnitRunGroups<P, true>(d, n, table);
        }
    }
    SwapFirstImaginaryParts(d, n);
    ReorderBlocks<typename P::PairCells>(d, n, m);
}

template <typename P>
NUMORA_SIMD_INLINE void Inverse(typename P::T* d, int n, int m)
{
    using T = typename P::T;
    if (m == 1) {
        const T a = d[0] * Root2<T>(), b = d[1];
        d[0] = a + b;
        d[1] = a - b;
        return;
    }
    const FftRotations<T>& table = Rotations<T>();
    const bool odd = m % 2 != 0;
    ReorderBlocks<typename P::PairCells>(d, n, m);
    d[0] = d[0] * Root2<T>();
    SwapFirstImaginaryParts(d, n);
    const bool sixteen = UseOuterSixteenRuns<T>(n, odd);
    const int last = sixteen ? 16 : odd ? 8 : 4;
    int nn = n;
    if (n >= 16) {
        FirstGroup<T, false>(d, 1);
        UnitRunGroups<P, false>(d, n, table);
        nn /= 4;
    }
    for (; nn > last; nn /= 4) {
        const int len = n / nn;
        WithRunVector<P>(len, [&](auto lanes) NUMORA_SIMD_LAMBDA {
            FirstGroup<decltype(lanes), false>(d, len);
            RotatedGroups<decltype(lanes), false>(d, len, nn, table);
        });
    }
    WithRunVector<P>(n / last, [&](auto lanes) NUMORA_SIMD_LAMBDA {
        if (sixteen)
            OuterSixteenRuns<decltype(lanes), false>(d, n, table);
        else
            InverseLastStage<decltype(lanes)>(d, n, odd);
    });
}

void TransformSse2(float* d, int n, int m, bool forward)
{
    forward ? Forward<Sse2Float>(d, n, m) : Inverse<Sse2Float>(d, n, m);
}

void TransformSse2(double* d, int n, int m, bool forward)
{
    forward ? Forward<Sse2Double>(d, n, m) : Inverse<Sse2Double>(d, n, m);
}

NUMORA_SIMD_AVX2 void TransformAvx2(float* d, int n, int m, bool forward)
{
    forward ? Forward<Avx2Float>(d, n, m) : Inverse<Avx2Float>(d, n, m);
}

NUMORA_SIMD_AVX2 void TransformAvx2(double* d, int n, int m, bool forward)
{
    forward ? Forward<Avx2Double>(d, n, m) : Inverse<Avx2Double>(d, n, m);
}

}  // namespace

bool FftPathAvailable(FftPath path)
{
    return path == FftPath::Sse2 || simd::Avx2PathRuns();
}

void RealTransform(FftPath path, float* data, int n, int m, bool forward)
{
    if (path == FftPath::Avx2)
        TransformAvx2(data, n, m, forward);
    else
        TransformSse2(data, n, m, forward);
}

void RealTransform(FftPath path, double* data, int n, int m, bool forward)
{
    if (path == FftPath::Avx2)
        TransformAvx2(data, n, m, forward);
    else
        TransformSse2(data, n, m, forward);
}

}  // namespace detail
}  // namespace math
}  // namespace qv
