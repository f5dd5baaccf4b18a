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
#include <cstring>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "numora/compensation/taper.h"

using namespace qv::math;
using fuzz::Bits;
using fuzz::Bytes;
using fuzz::Guarded;
using fuzz::Same;

namespace {

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
    CHECK(after.GuardsHold());
    for (size_t i = 0; i < before.size(); ++i) {
        const float a = before[i], b = after.F()[i];
        if (i < lo || i > hi)
            CHECK(Bits(a) == Bits(b));
        else if (i >= keep && i <= keepLast)
            CHECK(Same(a, b));
        else if (std::isfinite(a))
            CHECK(std::fabs(b) <= std::fabs(a) &&
                  (!((a > 0.0f && b < 0.0f) || (a < 0.0f && b > 0.0f)) || std::fabs(b) <= 1e-15f * std::fabs(a)));
    }
}

bool Unchanged(const std::vector<float>& before, Guarded& after)
{
    return after.GuardsHold() && std::memcmp(before.data(), after.F(), before.size() * sizeof(float)) == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 9)
        return 0;
    Bytes in(data, size);
    const unsigned n = 1u << (1 + in.Take<uint8_t>() % 12);
    const int p = in.Take<uint16_t>() % static_cast<int>(n);
    const int q = in.Take<uint16_t>() % static_cast<int>(n);
    const float rate = in.Take<float>();
    std::vector<float> x(n);
    for (float& v : x)
        v = in.Take<float>();
    const bool finite = AllFinite(x);

    // Energy centre and centre distance.
    const float centre = ms_delay(x.data(), n);
    if (finite)
        CHECK(centre >= 0.0f && centre <= static_cast<float>(n));
    if (finite)
        CHECK(CompCenter(x.data(), n) == static_cast<int>(centre + 0.5f) - static_cast<int>(n >> 1));

    // Rotation twice is the identity.
    Guarded once(n, 0.0f), twice(n, 0.0f);
    CHECK(centerPAB(x.data(), once.F(), n) == static_cast<int>(n >> 1));
    CHECK(CompShifttoCenter(once.F(), twice.F(), n) == static_cast<int>(n >> 1));
    CHECK(once.GuardsHold() && twice.GuardsHold());
    for (size_t i = 0; i < n; ++i)
        CHECK(Bits(x[i]) == Bits(twice.F()[i]));

    // Tapers over samples p .. q and over lines p / 2 .. q / 2.
    const size_t up = static_cast<size_t>(p), uq = static_cast<size_t>(q);
    const size_t lo = std::min(up, uq), hi = std::max(up, uq);
    const size_t ll = 2 * (std::min(up, uq) / 2), lh = 2 * (std::max(up, uq) / 2) + 1, lf = 2 * (up / 2);
    const bool decays = rate > 0.0f && std::isfinite(rate);
    Guarded real(x), decay(x), cube(x), cdecay(x), fade(x), smooth(x);
    TaperReal(real.F(), p, q);
    CheckTaper(x, real, lo, hi, up, up);
    RealExp_taper(decay.F(), rate, p, q);
    if (decays)
        CheckTaper(x, decay, lo, hi, up, up);
    else if (!(rate > 0.0f))
        CHECK(Unchanged(x, decay) || std::isnan(rate));
    TaperComplex(cube.L(), p / 2, q / 2);
    CheckTaper(x, cube, ll, lh, lf, lf + 1);
    ComplexExp_taper(cdecay.L(), rate, p / 2, q / 2);
    if (decays)
        CheckTaper(x, cdecay, ll, lh, lf, lf + 1);
    else if (!(rate > 0.0f))
        CHECK(Unchanged(x, cdecay) || std::isnan(rate));
    TaperSineSq(fade.F(), q);
    if (q > 0)
        CheckTaper(x, fade, 0, uq - 1, 1, 0);
    else
        CHECK(Unchanged(x, fade));

    // Smoothing leaves line 0 and the last two lines.
    const int lines = static_cast<int>(n / 2);
    BinAverage(smooth.L(), lines);
    CHECK(smooth.GuardsHold());
    for (size_t i = 0; i < n; ++i)
        if (lines <= 3 || i < 2 || i >= n - 4)
            CHECK(Bits(x[i]) == Bits(smooth.F()[i]));

    // Impulse response with and without the work buffer.
    Guarded out(n, 0.0f), work(n, 0.0f), plain(n, 0.0f);
    std::vector<float> spectrum = x;
    CHECK(generate_impulseResponse(reinterpret_cast<complex*>(spectrum.data()), out.F(), work.F(),
                                   static_cast<int>(n), 0.70710678f, false) == static_cast<int>(n >> 1));
    CHECK(generate_impulseResponse(reinterpret_cast<complex*>(spectrum.data()), plain.F(), nullptr,
                                   static_cast<int>(n), 0.70710678f, false) == 0);
    CHECK(out.GuardsHold() && work.GuardsHold() && plain.GuardsHold());
    CHECK(std::memcmp(spectrum.data(), x.data(), n * sizeof(float)) == 0);
    for (size_t i = 0; i < n; ++i)
        CHECK(Bits(work.F()[i]) == Bits(plain.F()[i]) && Bits(out.F()[(i + n - (n >> 1)) % n]) == Bits(plain.F()[i]));
    return 0;
}
