#pragma once

// Shared by the fuzz targets: reading a call's arguments from the input
// bytes, comparing results bit for bit, buffers between guards, and stopping
// on a broken invariant.

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

    // A whole number in 0 .. range - 1 from one byte.
    int Small(int range) { return Take<uint8_t>() % range; }

    // A value in [0, range] from one byte.
    float Unit(float range) { return static_cast<float>(Take<uint8_t>()) / 255.0f * range; }
    double Unit(double range) { return Take<uint8_t>() / 255.0 * range; }

    // An unsigned number from the next `bytes` bytes (at most 8), the most
    // significant first.
    uint64_t Big(int bytes)
    {
        uint64_t value = 0;
        for (int i = 0; i < bytes; ++i)
            value = (value << 8) | Take<uint8_t>();
        return value;
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

// The bit pattern of a float.
inline uint32_t Bits(float v)
{
    uint32_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    return bits;
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

template <typename T>
bool Same(const T* a, const T* b, size_t n)
{
    for (size_t i = 0; i < n; ++i) {
        if (!Same(a[i], b[i]))
            return false;
    }
    return true;
}

// count floats between guards of sentinel floats on either side, so that a
// write out of bounds shows.
class Guarded {
public:
    Guarded(size_t count, float fill) : v_(count + 2 * kGuard, fill)
    {
        for (size_t i = 0; i < kGuard; ++i) {
            std::memcpy(&v_[i], &kSentinel, sizeof(float));
            std::memcpy(&v_[v_.size() - 1 - i], &kSentinel, sizeof(float));
        }
    }
    explicit Guarded(const std::vector<float>& values) : Guarded(values.size(), 0.0f)
    {
        std::memcpy(F(), values.data(), values.size() * sizeof(float));
    }

    // The first float, and the same memory as complex lines.
    float* F() { return v_.data() + kGuard; }
    complex* L() { return reinterpret_cast<complex*>(F()); }

    bool GuardsHold() const
    {
        for (size_t i = 0; i < kGuard; ++i) {
            if (std::memcmp(&v_[i], &kSentinel, sizeof(float)) != 0 ||
                std::memcmp(&v_[v_.size() - 1 - i], &kSentinel, sizeof(float)) != 0)
                return false;
        }
        return true;
    }

    // The same bits everywhere, guards included.
    bool operator==(const Guarded& o) const
    {
        return v_.size() == o.v_.size() && std::memcmp(v_.data(), o.v_.data(), v_.size() * sizeof(float)) == 0;
    }

private:
    static constexpr size_t kGuard = 4;
    static constexpr uint32_t kSentinel = 0x7FA5A5A5u;  // a NaN that no computation makes
    std::vector<float> v_;
};

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
