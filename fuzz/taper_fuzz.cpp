// Fuzz target of the compensation building blocks: energy centre, half-frame
// rotation, tapers, smoothing and impulse response.
//
// Input: byte 0 the frame length n = 2^(1 + b % 12), bytes 1-4 two indexes
// (16 bits each, taken modulo n), bytes 5-8 a raw float rate, then the
// samples as raw floats (missing ones are zero).
//
// Checks: nothing is written outside the indexes a call may touch (guards
// around every buffer); the rotation is its own inverse and returns n >> 1;
// the energy centre lies in [0, n] for finite frames and the centre distance
// follows from it; the sample or line at `from` keeps its value and no taper
// makes a finite value larger or flips its sign; a rate <= 0 changes nothing;
// the smoothing leaves lines 0, n - 2 and n - 1 alone; the impulse response is
// the same with and without a work buffer, the work form rotated.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "numora/compensation/taper.h"

using namespace qv::math;

namespace {

const int kGuard = 4;
const uint32_t kSentinel = 0x7FA5A5A5u;

void Check(bool ok)
{
    if (!ok)
        std::abort();
}

uint32_t Bits(float v)
{
    uint32_t u;
    std::memcpy(&u, &v, sizeof u);
    return u;
}

// Same bits, or both NaN (a weight of 1 passes a NaN through double, which
// may quieten it).
bool Same(float a, float b)
{
    return Bits(a) == Bits(b) || (std::isnan(a) && std::isnan(b));
}

// n values with kGuard sentinels on either side; At(0) is the first value.
struct Guarded {
    explicit Guarded(const std::vector<float>& values) : v(values.size() + 2 * kGuard)
    {
        float s;
        std::memcpy(&s, &kSentinel, sizeof s);
        for (float& x : v)
            x = s;
        std::memcpy(At(0), values.data(), values.size() * sizeof(float));
    }
    float* At(size_t i) { return v.data() + kGuard + i; }
    complex* Lines() { return reinterpret_cast<complex*>(At(0)); }
    bool GuardsHold() const
    {
        for (int i = 0; i < kGuard; ++i)
            if (Bits(v[static_cast<size_t>(i)]) != kSentinel || Bits(v[v.size() - 1 - static_cast<size_t>(i)]) != kSentinel)
                return false;
        return true;
    }
    std::vector<float> v;
};

bool AllFinite(const std::vector<float>& x)
{
    for (float v : x)
        if (!std::isfinite(v))
            return false;
    return true;
}

// Elements lo .. hi may change, and only towards zero where they were finite,
// without a change of sign (at the far end of a cosine-cubed walk the weight
// may round to a tiny negative value); elements keep .. keepLast (none when keep >
// keepLast) and all others keep their bits.
void CheckTaper(const std::vector<float>& before, Guarded& after, size_t lo, size_t hi, size_t keep,
                size_t keepLast)
{
    Check(after.GuardsHold());
    for (size_t i = 0; i < before.size(); ++i) {
        const float a = before[i], b = *after.At(i);
        if (i < lo || i > hi)
            Check(Bits(a) == Bits(b));
        else if (i >= keep && i <= keepLast)
            Check(Same(a, b));
        else if (std::isfinite(a))
            Check(std::fabs(b) <= std::fabs(a) &&
                  (!((a > 0.0f && b < 0.0f) || (a < 0.0f && b > 0.0f)) || std::fabs(b) <= 1e-15f * std::fabs(a)));
    }
}

bool Unchanged(const std::vector<float>& before, Guarded& after)
{
    return after.GuardsHold() && std::memcmp(before.data(), after.At(0), before.size() * sizeof(float)) == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 9)
        return 0;
    const unsigned n = 1u << (1 + data[0] % 12);
    const int p = (data[1] | data[2] << 8) % static_cast<int>(n);
    const int q = (data[3] | data[4] << 8) % static_cast<int>(n);
    float rate;
    std::memcpy(&rate, data + 5, sizeof rate);
    std::vector<float> x(n, 0.0f);
    std::memcpy(x.data(), data + 9, std::min<size_t>(size - 9, n * sizeof(float)));
    const bool finite = AllFinite(x);

    // Energy centre and centre distance.
    const float centre = ms_delay(x.data(), n);
    if (finite)
        Check(centre >= 0.0f && centre <= static_cast<float>(n));
    if (finite)
        Check(CompCenter(x.data(), n) == static_cast<int>(centre + 0.5f) - static_cast<int>(n >> 1));

    // Rotation twice is the identity.
    Guarded once(std::vector<float>(n, 0.0f)), twice(std::vector<float>(n, 0.0f));
    Check(centerPAB(x.data(), once.At(0), n) == static_cast<int>(n >> 1));
    Check(CompShifttoCenter(once.At(0), twice.At(0), n) == static_cast<int>(n >> 1));
    Check(once.GuardsHold() && twice.GuardsHold());
    for (size_t i = 0; i < n; ++i)
        Check(Bits(x[i]) == Bits(*twice.At(i)));

    // Tapers over samples p .. q and over lines p / 2 .. q / 2.
    const size_t up = static_cast<size_t>(p), uq = static_cast<size_t>(q);
    const size_t lo = std::min(up, uq), hi = std::max(up, uq);
    const size_t ll = 2 * (std::min(up, uq) / 2), lh = 2 * (std::max(up, uq) / 2) + 1, lf = 2 * (up / 2);
    const bool decays = rate > 0.0f && std::isfinite(rate);
    Guarded real(x), decay(x), cube(x), cdecay(x), fade(x), smooth(x);
    TaperReal(real.At(0), p, q);
    CheckTaper(x, real, lo, hi, up, up);
    RealExp_taper(decay.At(0), rate, p, q);
    if (decays)
        CheckTaper(x, decay, lo, hi, up, up);
    else if (!(rate > 0.0f))
        Check(Unchanged(x, decay) || std::isnan(rate));
    TaperComplex(cube.Lines(), p / 2, q / 2);
    CheckTaper(x, cube, ll, lh, lf, lf + 1);
    ComplexExp_taper(cdecay.Lines(), rate, p / 2, q / 2);
    if (decays)
        CheckTaper(x, cdecay, ll, lh, lf, lf + 1);
    else if (!(rate > 0.0f))
        Check(Unchanged(x, cdecay) || std::isnan(rate));
    TaperSineSq(fade.At(0), q);
    if (q > 0)
        CheckTaper(x, fade, 0, uq - 1, 1, 0);
    else
        Check(Unchanged(x, fade));

    // Smoothing leaves line 0 and the last two lines.
    const int lines = static_cast<int>(n / 2);
    BinAverage(smooth.Lines(), lines);
    Check(smooth.GuardsHold());
    for (size_t i = 0; i < n; ++i)
        if (lines <= 3 || i < 2 || i >= n - 4)
            Check(Bits(x[i]) == Bits(*smooth.At(i)));

    // Impulse response with and without the work buffer.
    Guarded out(std::vector<float>(n, 0.0f)), work(std::vector<float>(n, 0.0f)), plain(std::vector<float>(n, 0.0f));
    std::vector<float> spectrum = x;
    Check(generate_impulseResponse(reinterpret_cast<complex*>(spectrum.data()), out.At(0), work.At(0),
                                   static_cast<int>(n), 0.70710678f, false) == static_cast<int>(n >> 1));
    Check(generate_impulseResponse(reinterpret_cast<complex*>(spectrum.data()), plain.At(0), nullptr,
                                   static_cast<int>(n), 0.70710678f, false) == 0);
    Check(out.GuardsHold() && work.GuardsHold() && plain.GuardsHold());
    Check(std::memcmp(spectrum.data(), x.data(), n * sizeof(float)) == 0);
    for (size_t i = 0; i < n; ++i)
        Check(Bits(*work.At(i)) == Bits(*plain.At(i)) && Bits(*out.At((i + n - (n >> 1)) % n)) == Bits(*plain.At(i)));
    return 0;
}
