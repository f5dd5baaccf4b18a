#pragma once

#include "numora/foundation/export.h"

// Internals of the drift filter that its tests and benchmark reach: the
// instruction-set paths of RemoveMovingMean.

namespace qv {
namespace math {
namespace detail {

// Code paths of the drift filter. Each sums several windows side by side,
// one window per lane, every lane in ascending order from the window's first
// sample as the plain loop does, so every path gives the same bits. In a
// build without vector extensions the lanes are plain C++ and both paths are
// always available.
enum class DriftPath {
    Sse2,  // 128-bit vectors, the x86-64 baseline
    Avx2,  // 256-bit vectors, chosen at run time where the processor has AVX2
};

// True when the processor can run the path.
NUMORA_API bool DriftPathAvailable(DriftPath path);

// RemoveMovingMean on the given path; the path must be available.
NUMORA_API void RemoveMovingMeanOnPath(DriftPath path, float* dst, const float* src, int n, int w);

}  // namespace detail
}  // namespace math
}  // namespace qv
