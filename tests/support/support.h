#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

// Shared helpers of the unit tests.
namespace numora_test {

// True when a and b have the same bit pattern (so +0 != -0 and NaN == same NaN).
bool SameBits(float a, float b);
bool SameBits(double a, double b);

// Bit-for-bit comparison of two arrays, reporting the first difference.
::testing::AssertionResult BitEqual(const float* expected, const float* actual, int n);
::testing::AssertionResult BitEqual(const double* expected, const double* actual, int n);

// Fills n values with a recognisable pattern that no computation produces.
void FillSentinel(float* a, int n);
void FillSentinel(double* a, int n);
// True when all n values still hold the sentinel pattern.
bool HoldsSentinel(const float* a, int n);
bool HoldsSentinel(const double* a, int n);

// Deterministic pseudo-random reals in [-1, 1), independent of the library's
// random source.
std::vector<float> RandomFloats(int n, uint32_t seed);
std::vector<double> RandomDoubles(int n, uint32_t seed);

// Straightforward DFT in long double of a real sequence, in the library's
// packed layout: out[0] = DC, out[1] = Nyquist, out[2k], out[2k+1] = line k,
// each line being (1/N) * sum x[n] e^(-j 2 pi k n / N).
std::vector<double> NaiveDftPacked(const double* x, int n);

// Number of calls to the global operator new / new[] since the process started.
// Linking this helper replaces the global allocation functions with counting ones.
std::size_t AllocationCount();

// Makes one later allocation fail: the next `skip` allocations succeed, the
// one after returns null (nothrow forms) or throws std::bad_alloc. Links the
// counting allocation functions, as AllocationCount does.
void FailAllocation(std::size_t skip);

}  // namespace numora_test
