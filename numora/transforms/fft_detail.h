#pragma once

#include "numora/foundation/export.h"

// Internals of the real transform that its tests reach: the rotation-factor
// tables and the instruction-set paths.
//
// Rotation factors of the butterfly groups, built once on first use and only
// read afterwards.
//
// Entry g holds c1, s1, c2, s2, c3, s3 of group g of the largest pass (order
// NN = 8 * groups, angle index TH = 2 * (g with its log2(groups) bits
// reversed)), computed exactly as a group computes them: arg = TH * pi / NN,
// c1 and s1 from cos and sin of it, the others from c1 and s1. Since (TH, NN)
// and (2 TH, 2 NN) give the same angle to the bit, group g of any smaller
// pass has the same factors, so a pass of G groups reads entries 0 to G - 1.
// The synthesis passes use the same entries with s1, s2, s3 negated, which is
// what the formulas give with -sin(arg).

namespace qv {
namespace math {
namespace detail {

template <typename T>
struct FftRotations {
    int groups;
    const T* c1;
    const T* s1;
    const T* c2;
    const T* s2;
    const T* c3;
    const T* s3;
};

// precision: pi, pi / NN and TH * (pi / NN) in float, widened to double for
// cos and sin, each rounded to float; c2, s2, c3, s3 in float. 4096 entries.
NUMORA_API const FftRotations<float>& FftRotationTable();

// Every step in double. 32768 entries.
NUMORA_API const FftRotations<double>& FftRotationTable_D();

// Code paths of DFT and DFT_D. Every path gives the same bits; DFT and DFT_D
// take the widest one the processor has. In a build with plain vectors
// (NUMORA_PORTABLE_SIMD, or a compiler without the vector extensions) both
// are plain C++ of the same lane counts and both are always available.
enum class FftPath {
    Sse2,  // 128-bit vectors, the x86-64 baseline
    Avx2,  // 256-bit vectors, chosen at run time where the processor has AVX2
};

// True when the processor can run the path.
NUMORA_API bool FftPathAvailable(FftPath path);

// DFT and DFT_D on the given path; the path must be available.
NUMORA_API int FftOnPath(FftPath path, float* data, int size, int direction);
NUMORA_API int FftOnPath(FftPath path, double* data, int size, int direction);

// The transform of n = 2^m values, m >= 1 within the twin's sizes, on an
// available path; inside the library only.
void RealTransform(FftPath path, float* data, int n, int m, bool forward);
void RealTransform(FftPath path, double* data, int n, int m, bool forward);

}  // namespace detail
}  // namespace math
}  // namespace qv
