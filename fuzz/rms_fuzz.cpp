// Fuzz target of the RMS forms of spectra: whole spectrum, band by lines,
// band by frequency, outside a band, the combined band and MEAN_FFT.
//
// Input: array length, flags, the range bytes, the frequency edges, df and
// the level (raw float bits), then the array values (16-bit values, or raw
// float bits when a flag says so).
//
// Checks: each form equals a plain model that lists the lines it must sum
// (whole spectra from line 1, complex forms to lines - 1, real forms to
// lastLine, bands as given, frequency edges rounded and clamped to the
// array, the outside form below first and then above last) and adds their
// powers in one double sum in ascending order. The arrays are exactly as
// long as the caller's, so any read outside the lines is caught.

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "numora/numora.h"

using namespace qv::math;
using fuzz::Bytes;
using fuzz::Same;

namespace {

// Lines first .. last, in order (none when first > last).
std::vector<int> Range(int first, int last)
{
    std::vector<int> lines;
    for (long long i = first; i <= last; ++i)
        lines.push_back(static_cast<int>(i));
    return lines;
}

template <typename Power>
double Sum(const std::vector<int>& lines, Power power)
{
    double sum = 0.0;
    for (int i : lines)
        sum += power(static_cast<size_t>(i));
    return sum;
}

// Float band edge: trunc(f / df + 0.5) in float, saturated, NaN as line 0.
int Edge(float f, float df)
{
    const double q = static_cast<double>(f / df + 0.5f);
    if (std::isnan(q))
        return 0;
    if (q >= 2147483647.0)
        return INT_MAX;
    if (q <= -2147483648.0)
        return INT_MIN;
    return static_cast<int>(q);
}

// Root of a complex power sum, corrected to RMS when scale is exactly 1.
float ComplexRoot(double sum, float scale)
{
    const double r = std::sqrt(sum);
    return static_cast<float>(scale == 1.0f ? r * 0.707106781 : r);
}

struct Arrays {
    std::vector<complex> fft;
    std::vector<float> f;
    std::vector<double> d;
    std::vector<float> ref;
    std::vector<int> measured;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Bytes in(data, size);
    const int length = in.Take<uint8_t>() % 65;
    const uint8_t flags = in.Take<uint8_t>();
    const bool raw = flags & 1;
    // In-range band ends, or (flag) an empty band of any two ints.
    int first = in.Take<uint8_t>() % (length + 1);
    int last = static_cast<int>(in.Take<uint8_t>() % (length + 1)) - 1;
    if (flags & 2) {
        first = in.Take<int32_t>();
        last = in.Take<int32_t>();
        if (first <= last)
            std::swap(first, last);
        if (first == last && last > INT_MIN)
            --last;
        else if (first == last)
            ++first;
    }
    // Whole-spectrum ends: the array's own, or anything below it.
    const int32_t claimed = in.Take<int32_t>();
    const int whole = flags & 4 ? std::max(std::min(claimed, length), INT_MIN + 1) : length;
    const float fLow = in.Take<float>();
    const float fHigh = in.Take<float>();
    const float df = flags & 8 ? in.Take<float>() : static_cast<float>(1 + in.Take<uint8_t>()) / 8.0f;
    const float scale = flags & 16 ? 1.0f : in.Value(raw);
    const float levelDb = in.Value(raw);
    Arrays a;
    for (int i = 0; i < length; ++i) {
        a.fft.push_back({in.Value(raw), in.Value(raw)});
        a.f.push_back(in.Value(raw));
        a.d.push_back(static_cast<double>(in.Value(raw)));
        a.ref.push_back(in.Value(raw));
        a.measured.push_back(in.Take<int8_t>() % 2);
    }
    const Arrays before = a;

    const auto complexPower = [&](size_t i) {
        return static_cast<double>(a.fft[i].re * a.fft[i].re + a.fft[i].im * a.fft[i].im);
    };
    const auto floatSquare = [&](size_t i) { return static_cast<double>(a.f[i] * a.f[i]); };
    const auto doubleSquare = [&](size_t i) { return a.d[i] * a.d[i]; };
    const auto floatPower = [&](size_t i) { return static_cast<double>(a.f[i]); };
    const auto doublePower = [&](size_t i) { return a.d[i]; };
    const auto floatDensity = [&](size_t i) { return static_cast<double>(df * a.f[i]); };
    const auto doubleDensity = [&](size_t i) { return static_cast<double>(df) * a.d[i]; };

    // Whole spectra: complex forms count lines, real forms name the last one.
    const int lastLine = whole - 1;
    const std::vector<int> complexWhole = Range(1, lastLine);
    const std::vector<int>& realWhole = complexWhole;
    CHECK(Same(RMS_FFT(a.fft.data(), whole, scale), ComplexRoot(Sum(complexWhole, complexPower), scale)));
    CHECK(Same(RMS_FRQ(a.f.data(), lastLine), std::sqrt(Sum(realWhole, floatSquare))));
    CHECK(Same(RMS_FRQ(a.d.data(), lastLine), std::sqrt(Sum(realWhole, doubleSquare))));
    CHECK(Same(RMS_APS(a.f.data(), lastLine), std::sqrt(Sum(realWhole, floatPower))));
    CHECK(Same(RMS_APS(a.d.data(), lastLine), std::sqrt(Sum(realWhole, doublePower))));
    CHECK(Same(RMS_PSD(a.f.data(), lastLine, df), static_cast<float>(std::sqrt(Sum(realWhole, floatDensity)))));
    std::vector<double> packed;
    for (const complex& c : a.fft) {
        packed.push_back(static_cast<double>(c.re));
        packed.push_back(static_cast<double>(c.im));
    }
    CHECK(Same(RMS_FFT(packed.data(), whole), std::sqrt(Sum(complexWhole, [&](size_t i) {
                   return packed[2 * i] * packed[2 * i] + packed[2 * i + 1] * packed[2 * i + 1];
               }))));
    CHECK(RMS_FFT(static_cast<const complex*>(nullptr), whole, scale) == 0.0f);

    // Bands by lines, as given.
    const std::vector<int> band = Range(first, last);
    CHECK(Same(RMS_FFT_BLIM(a.fft.data(), first, last, scale), ComplexRoot(Sum(band, complexPower), scale)));
    CHECK(Same(RMS_FRQ_BLIM(a.f.data(), first, last), std::sqrt(Sum(band, floatSquare))));
    CHECK(Same(RMS_FRQ_BLIM(a.d.data(), first, last), std::sqrt(Sum(band, doubleSquare))));
    CHECK(Same(RMS_APS_BLIM(a.f.data(), first, last), std::sqrt(Sum(band, floatPower))));
    CHECK(Same(RMS_APS_BLIM(a.d.data(), first, last), std::sqrt(Sum(band, doublePower))));
    CHECK(Same(RMS_PSD_BLIM(a.f.data(), first, last, df), static_cast<float>(std::sqrt(Sum(band, floatDensity)))));
    CHECK(Same(RMS_PSD_BLIM(a.d.data(), first, last, static_cast<double>(df)), std::sqrt(Sum(band, doubleDensity))));
    const double root = std::sqrt(Sum(band, complexPower));
    CHECK(Same(MEAN_FFT(a.fft.data(), first, last),
               band.empty() ? 0.0f : static_cast<float>(root / static_cast<double>(band.size()))));
    const float gain = static_cast<float>(std::pow(10.0, static_cast<double>(levelDb) / 10.0));
    CHECK(Same(RMS_PSD_BLIM_Comb(a.f.data(), a.ref.data(), levelDb, a.measured.data(), first, last, df),
               static_cast<float>(std::sqrt(Sum(band, [&](size_t i) {
                   const float v = a.measured[i] != 0 ? a.f[i] : gain * a.ref[i];
                   return static_cast<double>(v * df);
               })))));

    // Bands by frequency, clamped to the array; never line 0.
    const std::vector<int> fftBand = Range(std::max(1, Edge(fLow, df)), std::min(whole - 1, Edge(fHigh, df)));
    CHECK(Same(RMS_FFT_BLIMF(a.fft.data(), fLow, fHigh, whole, df, scale),
               ComplexRoot(Sum(fftBand, complexPower), scale)));
    const std::vector<int> psdBand = Range(std::max(1, Edge(fLow, df)), std::min(lastLine, Edge(fHigh, df)));
    CHECK(Same(RMS_PSD_BLIMF(a.f.data(), fLow, fHigh, lastLine, df),
               static_cast<float>(std::sqrt(Sum(psdBand, floatDensity)))));
    std::vector<int> apsBand;
    if (lastLine >= 0) {
        const auto edge = [&](float f) {
            return std::min(std::max(Freq2Index(static_cast<double>(f), static_cast<double>(df), qv::RoundMethodNearest), 0),
                            lastLine);
        };
        apsBand = Range(std::max(edge(fLow), 1), edge(fHigh));
    }
    CHECK(Same(RMS_APS_BLIMF(a.f.data(), static_cast<double>(fLow), static_cast<double>(fHigh), lastLine,
                             static_cast<double>(df)),
               std::sqrt(Sum(apsBand, floatPower))));
    CHECK(Same(RMS_APS_BLIMF(a.d.data(), static_cast<double>(fLow), static_cast<double>(fHigh), lastLine,
                             static_cast<double>(df)),
               std::sqrt(Sum(apsBand, doublePower))));

    // Outside a band within the array: below first, then above last.
    if (length > 0) {
        const int lo = in.Take<uint8_t>() % length;
        const int hi = in.Take<uint8_t>() % length;
        std::vector<int> outside = Range(1, lo - 1);
        for (int i : Range(hi + 1, whole - 1))
            outside.push_back(i);
        CHECK(Same(RMS_FFT_BLIM_Out(a.fft.data(), lo, hi, whole, scale),
                   ComplexRoot(Sum(outside, complexPower), scale)));
        CHECK(Same(RMS_PSD_BLIM_Out(a.f.data(), lo, hi, whole, df),
                   static_cast<float>(std::sqrt(Sum(outside, floatDensity)))));
    }
    CHECK(length == 0 || (std::memcmp(a.fft.data(), before.fft.data(), a.fft.size() * sizeof(complex)) == 0 &&
                          std::memcmp(a.f.data(), before.f.data(), a.f.size() * sizeof(float)) == 0));
    return 0;
}
