#pragma once

#include <cstdint>

#include "numora/foundation/export.h"

// The platform services the numerical code relies on: a 15-bit random source
// that reproduces the Microsoft C runtime's rand/srand, and a monotonic
// millisecond clock.

namespace qv {
namespace math {

// Next value of the calling thread's 15-bit random sequence, 0 to 32767.
// precision: state = state * 214013 + 2531011 (mod 2^32); result is
// (state >> 16) & 0x7FFF, so seeded sequences match a Windows build.
NUMORA_API int Rand();

// Restarts the calling thread's random sequence from seed.
// choice: the state is thread_local, initially 1, so threads never race on it.
NUMORA_API void SRand(unsigned int seed);

// Milliseconds of a monotonic clock (steady_clock), from an arbitrary origin.
NUMORA_API uint64_t TickCount64();

}  // namespace math
}  // namespace qv
