#pragma once

// Shared by the fuzz targets: reading a call's arguments from the input
// bytes, comparing results bit for bit, and stopping on a broken invariant.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "numora/transforms/window.h"

namespace fuzz {

// Reads values from the front of the input; past its end every byte is 0.
class Bytes {
public:
    Bytes(const uint8_t* data, size_t size) : data_(data), size_(size) {}

    template <typename T>
    T Take()
    {
        unsigned char raw[sizeof(T)] = {};
        const size_t n = std::min(sizeof(T), size_);
        if (n > 0)
            std::memcpy(raw, data_, n);
        data_ += n;
        size_ -= n;
        T value;
        std::memcpy(&value, raw, sizeof(T));
        return value;
    }

    // Raw float bits (NaN and infinities included), or a 16-bit integer
    // scaled by 2^-8.
    float Value(bool raw)
    {
        if (raw)
            return Take<float>();
        return static_cast<float>(std::ldexp(static_cast<double>(Take<int16_t>()), -8));
    }

    size_t Left() const { return size_; }

private:
    const uint8_t* data_;
    size_t size_;
};

// Aborts naming the place of the broken invariant.
[[noreturn]] inline void Fail(const char* file, int line)
{
    std::fprintf(stderr, "invariant broken at %s:%d\n", file, line);
    std::abort();
}

// The same value to the bit (so +0 differs from -0), except that any NaN
// equals any NaN: which NaN an operation gives depends on the order of its
// operands, and a compiler may swap the operands of a sum or product.
inline bool Same(float a, float b)
{
    return std::memcmp(&a, &b, sizeof a) == 0 || (std::isnan(a) && std::isnan(b));
}
inline bool Same(double a, double b)
{
    return std::memcmp(&a, &b, sizeof a) == 0 || (std::isnan(a) && std::isnan(b));
}
inline bool Same(int a, int b)
{
    return a == b;
}
inline bool Same(const complex& a, const complex& b)
{
    return Same(a.re, b.re) && Same(a.im, b.im);
}
inline bool Same(const complex_d& a, const complex_d& b)
{
    return Same(a.re, b.re) && Same(a.im, b.im);
}
template <typename T>
bool Same(const std::vector<T>& a, const std::vector<T>& b)
{
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i) {
        if (!Same(a[i], b[i]))
            return false;
    }
    return true;
}

// Two window records with the same fields and the same table.
inline bool SameRecord(const QV_WIND_SETUP& a, const QV_WIND_SETUP& b)
{
    if (a.valid != b.valid || a.size != b.size || a.type != b.type || a.scale != b.scale ||
        !Same(a.rmsFactor, b.rmsFactor) || !Same(a.ampFactor, b.ampFactor) ||
        (a.coeff == nullptr) != (b.coeff == nullptr))
        return false;
    for (int i = 0; a.coeff != nullptr && i < a.size; ++i) {
        if (!Same(a.coeff[i], b.coeff[i]))
            return false;
    }
    return true;
}

}  // namespace fuzz

#define CHECK(condition) ((condition) ? void(0) : ::fuzz::Fail(__FILE__, __LINE__))
