// Fuzz target of the real transform, both twins.
//
// Input: a flag byte (bit 0 double twin, bit 1 a refused size, bit 2 raw
// sample bits), a size byte, a 32-bit size for the refusals, a byte of lines
// for IFT, an exponent byte, then 16-bit samples (repeated when they run out).
//
// Checks: GetFFTValidFrameSizeT against a model; a refused size returns 11 or
// 12 and touches nothing (the buffer is exactly as long as the size claims,
// or tiny when the size is huge); CorrDFT below two lines clears only the
// imaginary part of line 0; small transforms agree with a plain DFT; a
// forward transform, CorrDFT, inverse and CorrIFT return the frame without
// its Nyquist part; IFT equals its copy, pad and inverse; IFT refusals touch
// nothing.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "numora/numora.h"

using namespace qv::math;
using fuzz::Bytes;
using fuzz::Same;

namespace {

int ModelValidSize(int size)
{
    if (size < 1)
        return 0;
    int valid = 1;
    while (valid < 32768 && static_cast<long long>(valid) * 2 <= size)
        valid *= 2;
    return valid;
}

int Transform(float* data, int size, int direction)
{
    return DFT(data, size, direction);
}
int Transform(double* data, int size, int direction)
{
    return DFT_D(data, size, direction);
}
void CorrectLines(float* data, int lines, QV_FFT_SCALING s)
{
    CorrDFT(reinterpret_cast<complex*>(data), lines, s);
}
void CorrectLines(double* data, int lines, QV_FFT_SCALING s)
{
    CorrDFT_D(reinterpret_cast<complex_d*>(data), lines, s);
}
void CorrectTime(float* data, int size, QV_FFT_SCALING s)
{
    CorrIFT(data, size, s);
}
void CorrectTime(double* data, int size, QV_FFT_SCALING s)
{
    CorrIFT_D(data, size, s);
}
void Inverse(const float* spectrum, int lines, float* time, int size, QV_FFT_SCALING s)
{
    IFT(spectrum, lines, time, size, s);
}
void Inverse(const double* spectrum, int lines, double* time, int size, QV_FFT_SCALING s)
{
    IFT_D(spectrum, lines, time, size, s);
}

bool ValidSize(float*, int size)
{
    return size >= 2 && size <= 32768 && (size & (size - 1)) == 0;
}
bool ValidSize(double*, int size)
{
    return size >= 2 && size <= 262144 && (size & (size - 1)) == 0;
}

// A refused size: both directions return their code and leave every value,
// and IFT with no room for line 0 does nothing.
template <typename T>
void CheckRefusal(int size)
{
    if (ValidSize(static_cast<T*>(nullptr), size))
        return;
    const int length = size >= 1 && size <= (1 << 20) ? size : 4;
    std::vector<T> data(static_cast<size_t>(length));
    for (int i = 0; i < length; ++i)
        data[static_cast<size_t>(i)] = static_cast<T>(i % 7) - T(3);
    const std::vector<T> before = data;
    CHECK(Transform(data.data(), size, 1) == 11);
    CHECK(Transform(data.data(), size, -1) == 12);
    CHECK(Same(data, before));
    if (size < 2) {
        Inverse(before.data(), 0, data.data(), size, QV_FFT_SCALE_RMS);
        CHECK(Same(data, before));
    }
}

template <typename T>
void CheckValid(const std::vector<T>& x, int lines, bool raw)
{
    const int n = static_cast<int>(x.size());
    const int m = static_cast<int>(std::log2(n) + 0.5);
    std::vector<T> y = x;
    CHECK(Transform(y.data(), n, 1) == 0);
    // CorrDFT below two lines touches only the imaginary part of line 0.
    std::vector<T> z = y;
    CorrectLines(z.data(), lines % 2, QV_FFT_SCALE_PEAK);
    z[1] = y[1];
    CHECK(Same(z, y));
    if (raw)
        return;

    double peak = 0.0;
    for (T v : x)
        peak = std::max(peak, std::fabs(static_cast<double>(v)));
    const double eps = static_cast<double>(std::numeric_limits<T>::epsilon());
    const double bound = 16.0 * m * eps * peak + static_cast<double>(std::numeric_limits<T>::min());

    // Small sizes against a plain DFT with exact angles.
    if (n <= 512) {
        const double twoPi = 8.0 * std::atan(1.0);
        for (int k = 0; k <= n / 2; ++k) {
            double re = 0.0;
            double im = 0.0;
            for (int i = 0; i < n; ++i) {
                const double angle = twoPi * static_cast<double>((static_cast<long long>(k) * i) % n) / n;
                re += static_cast<double>(x[static_cast<size_t>(i)]) * std::cos(angle);
                im -= static_cast<double>(x[static_cast<size_t>(i)]) * std::sin(angle);
            }
            re /= n;
            im /= n;
            if (k == 0 || k == n / 2) {
                CHECK(std::fabs(static_cast<double>(y[k == 0 ? 0 : 1]) - re) <= bound);
            } else {
                CHECK(std::fabs(static_cast<double>(y[static_cast<size_t>(2 * k)]) - re) <= bound);
                CHECK(std::fabs(static_cast<double>(y[static_cast<size_t>(2 * k + 1)]) - im) <= bound);
            }
        }
    }

    // Round trip under RMS scaling: the frame without its Nyquist component.
    z = y;
    CorrectLines(z.data(), n / 2, QV_FFT_SCALE_RMS);
    CHECK(z[1] == T(0));
    const std::vector<T> spectrum = z;
    CHECK(Transform(z.data(), n, -1) == 0);
    CorrectTime(z.data(), n, QV_FFT_SCALE_RMS);
    const double nyquist = static_cast<double>(y[1]);
    for (int i = 0; i < n; ++i) {
        const double expected = static_cast<double>(x[static_cast<size_t>(i)]) - (i % 2 == 0 ? nyquist : -nyquist);
        CHECK(std::fabs(static_cast<double>(z[static_cast<size_t>(i)]) - expected) <= 4.0 * bound);
    }

    // IFT with all lines is exactly that inverse; with fewer lines it is the
    // inverse of the spectrum cut and padded with zeros. The spectrum stays.
    std::vector<T> time(static_cast<size_t>(n), T(7));
    Inverse(spectrum.data(), n / 2 - 1, time.data(), n, QV_FFT_SCALE_RMS);
    CHECK(Same(time, z));
    const int cut = lines % (n / 2);
    std::vector<T> padded(static_cast<size_t>(n), T(0));
    std::copy(spectrum.begin(), spectrum.begin() + 2 * cut + 2, padded.begin());
    padded[1] = T(0);
    CHECK(Transform(padded.data(), n, -1) == 0);
    CorrectTime(padded.data(), n, QV_FFT_SCALE_PEAK);
    std::vector<T> copy = spectrum;
    Inverse(spectrum.data(), cut, time.data(), n, QV_FFT_SCALE_PEAK);
    CHECK(Same(time, padded) && Same(copy, spectrum));
}

template <typename T>
void Run(Bytes& in, int order, int lines, bool raw)
{
    const int n = 1 << order;
    const int exponent = static_cast<int>(in.Take<uint8_t>() % 33) - 16;
    std::vector<uint8_t> pool;
    while (in.Left() > 0)
        pool.push_back(in.Take<uint8_t>());
    if (pool.empty())
        pool.push_back(1);
    std::vector<T> x(static_cast<size_t>(n));
    uint32_t state = 2463534242u;
    for (int i = 0; i < n; ++i) {
        // Bytes first, then a xorshift sequence seeded by them.
        uint32_t word = 0;
        for (int b = 0; b < 4; ++b)
            word = word << 8 | pool[(static_cast<size_t>(i) * 4 + static_cast<size_t>(b)) % pool.size()];
        if (static_cast<size_t>(i) * 4 >= pool.size()) {
            state ^= state << 13;
            state ^= state >> 17;
            state ^= state << 5;
            word ^= state;
        }
        if (raw) {
            float f;
            std::memcpy(&f, &word, sizeof f);
            x[static_cast<size_t>(i)] = static_cast<T>(f);
        } else {
            x[static_cast<size_t>(i)] =
                static_cast<T>(std::ldexp(static_cast<double>(static_cast<int16_t>(word & 0xFFFF)), exponent - 15));
        }
    }
    CheckValid(x, lines, raw);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Bytes in(data, size);
    const uint8_t flags = in.Take<uint8_t>();
    const uint8_t order = in.Take<uint8_t>();
    const int32_t claimed = in.Take<int32_t>();
    const int lines = in.Take<uint8_t>();
    const bool twinD = flags & 1;

    CHECK(GetFFTValidFrameSizeT(claimed) == ModelValidSize(claimed));
    if (flags & 2) {
        if (twinD)
            CheckRefusal<double>(claimed);
        else
            CheckRefusal<float>(claimed);
        return 0;
    }
    const bool raw = flags & 4;
    if (twinD)
        Run<double>(in, 1 + order % 18, lines, raw);
    else
        Run<float>(in, 1 + order % 15, lines, raw);
    return 0;
}
