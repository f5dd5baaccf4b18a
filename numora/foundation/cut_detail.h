#pragma once

#include <cstdint>

// Conversions from double to integers shared by the library's sources; not
// installed. Out-of-range values get the results the x86 conversion
// instructions give, instead of undefined behaviour.
namespace qv {
namespace math {
namespace detail {

// Cut toward zero to int; a value without an int (NaN, infinite, out of range)
// gives INT_MIN.
int CutToInt(double v);

// Cut toward zero to int, saturating: a value beyond the int range gives
// INT_MAX or INT_MIN, and NaN gives 0.
int SaturateToInt(double v);

// Cut toward zero to 32 bits unsigned through a signed 64-bit value, so a
// negative value wraps modulo 2^32; a value without a 64-bit integer gives 0.
uint32_t CutToU32(double v);

}  // namespace detail
}  // namespace math
}  // namespace qv
