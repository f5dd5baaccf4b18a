// Fuzz target of the auto power spectrum averaging, all three precision
// pairs, through the mode dispatcher and the leaf functions.
//
// Input: pair byte, mode byte, frame number, averaging count, line count,
// value flags, held measure, then the frame's lines and the old spectrum
// (16-bit values, or raw float bits when a flag says so).
//
// Checks: a mode outside 0..7 or a count below 1 changes nothing; a first
// frame replaces every line by its power; a running or exponential average
// stays between the old value and the new power and near their blend; peak
// hold takes the power only where it is strictly larger, so it never drops;
// a whole-frame hold replaces every line and the held measure, or nothing;
// the frame measures agree with plain models; each leaf function gives what
// the dispatcher gives.

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

// Line power in the precision of the line's element.
float Power(const complex& c)
{
    return c.re * c.re + c.im * c.im;
}
double Power(const complex_d& c)
{
    return c.re * c.re + c.im * c.im;
}
float Root(float p)
{
    return static_cast<float>(std::sqrt(static_cast<double>(p)));
}
double Root(double p)
{
    return std::sqrt(p);
}
float Measure(complex* f, int lines, int which)
{
    return which == 0 ? FFTPowerMax(f, lines) : which == 1 ? FFTPowerSum(f, lines) : FFTPowerMaxZMOD(f, lines);
}
double Measure(complex_d* f, int lines, int which)
{
    return which == 0 ? FFTPowerMax(f, lines) : which == 1 ? FFTPowerSum(f, lines) : FFTPowerMaxZMOD(f, lines);
}

template <typename Cplx, typename Real>
void Run(Bytes& in)
{
    using PowerT = decltype(Power(Cplx{}));
    const uint8_t modeByte = in.Take<uint8_t>();
    const QV_ACQFRAME_AVGMODE mode = static_cast<QV_ACQFRAME_AVGMODE>(
        modeByte % 10 < 8 ? modeByte % 8 : (modeByte & 1 ? -1 - modeByte : 8 + modeByte));
    const int frameNumber = in.Take<int8_t>();
    const int expFrames = in.Take<int8_t>();
    const int lines = in.Take<uint8_t>() % 66 - 1;
    const uint8_t flags = in.Take<uint8_t>();
    const Real heldBefore = static_cast<Real>(in.Value(flags & 4));
    const size_t count = static_cast<size_t>(std::max(lines, 1));
    std::vector<Cplx> fft(count);
    std::vector<Real> apsBefore(count);
    for (size_t i = 0; i < count; ++i) {
        fft[i].re = static_cast<decltype(fft[i].re)>(in.Value(flags & 1));
        fft[i].im = static_cast<decltype(fft[i].im)>(in.Value(flags & 1));
        apsBefore[i] = static_cast<Real>(std::fabs(in.Value(flags & 2)));
    }
    std::vector<PowerT> p(count);
    for (size_t i = 0; i < count; ++i)
        p[i] = Power(fft[i]);
    const std::vector<Cplx> fftBefore = fft;

    std::vector<Real> aps = apsBefore;
    Real held = heldBefore;
    const bool holdMode = mode >= QV_AVG_HOLD_MAX_LINE && mode <= QV_AVG_HOLD_MAX_BAND3;
    FFTtoAPS(fft.data(), aps.data(), lines, mode, frameNumber, expFrames, holdMode ? &held : nullptr);
    CHECK(Same(fft, fftBefore));

    std::vector<Real> powers(count);
    for (size_t i = 0; i < count; ++i)
        powers[i] = static_cast<Real>(p[i]);
    std::vector<Real> leaf = apsBefore;
    if (static_cast<uint32_t>(mode) > 7u || (lines < 1 && !holdMode)) {
        CHECK(Same(aps, apsBefore) && Same(held, heldBefore));
        return;
    }
    if (lines < 1)
        powers = apsBefore;

    if (mode == QV_AVG_PEAK_HOLD) {
        for (size_t i = 0; i < count && frameNumber > 1; ++i) {
            powers[i] = p[i] > static_cast<PowerT>(apsBefore[i]) ? static_cast<Real>(p[i]) : apsBefore[i];
            CHECK(!(aps[i] < apsBefore[i]));
        }
        CHECK(Same(aps, powers));
        FFTtoAPS_PK(fft.data(), leaf.data(), lines, frameNumber);
    } else if (holdMode) {
        // The frame measures against plain models (the band measure where
        // the frame has no NaN, where the largest candidate is well defined).
        const int which = mode - QV_AVG_HOLD_MAX_LINE;
        PowerT largest = 0;
        PowerT sum = 0;
        for (int i = 0; i + 1 < lines; ++i) {
            largest = p[static_cast<size_t>(i)] > largest ? p[static_cast<size_t>(i)] : largest;
            sum += p[static_cast<size_t>(i)];
        }
        const PowerT m = Measure(fft.data(), lines, which);
        if (which == 0)
            CHECK(Same(m, largest));
        if (which == 1)
            CHECK(Same(m, sum));
        bool finite = true;
        for (PowerT v : p)
            finite = finite && std::isfinite(v);
        if (which == 2 && lines >= 2 && finite) {
            PowerT band = std::max(Root(p[1]), Root(p[static_cast<size_t>(lines - 1)]));
            for (int i = 1; i <= lines - 3; ++i) {
                const size_t k = static_cast<size_t>(i);
                band = std::max(band, Root(p[k] + p[k + 1] + p[k + 2]));
            }
            CHECK(Same(m, band));
        }
        // All lines and the measure, or nothing.
        const bool replaced = frameNumber <= 1 || m > static_cast<PowerT>(heldBefore);
        CHECK(Same(aps, replaced ? powers : apsBefore));
        CHECK(Same(held, replaced ? static_cast<Real>(m) : heldBefore));
        Real leafHeld = which == 0   ? FFTtoAPS_Line(fft.data(), leaf.data(), lines, frameNumber, heldBefore)
                        : which == 1 ? FFTtoAPS_PWR(fft.data(), leaf.data(), lines, frameNumber, heldBefore)
                                     : FFTtoAPS_LineZ(fft.data(), leaf.data(), lines, frameNumber, heldBefore);
        CHECK(Same(leafHeld, held));
    } else {
        CHECK(Same(held, heldBefore));
        const int frames = mode == QV_AVG_EXPONENTIAL ? (frameNumber < 2 ? 1 : expFrames) : frameNumber;
        if (frames <= 1) {
            CHECK(Same(aps, powers));
        } else {
            // Between the old value and the new power, near their blend.
            const long double a = 1.0L / frames;
            const long double eps = static_cast<long double>(std::numeric_limits<Real>::epsilon());
            const long double tiny = 4.0L * static_cast<long double>(std::numeric_limits<Real>::denorm_min());
            for (size_t i = 0; i < count; ++i) {
                const long double old = static_cast<long double>(apsBefore[i]);
                const long double power = static_cast<long double>(p[i]);
                // A power beyond the range of Real may round to infinity.
                if (!std::isfinite(static_cast<double>(old)) ||
                    !(power <= static_cast<long double>(std::numeric_limits<Real>::max())))
                    continue;
                const long double tol = 4.0L * eps * (std::fabs(old) + std::fabs(power)) + tiny;
                const long double now = static_cast<long double>(aps[i]);
                CHECK(now >= std::min(old, power) - tol && now <= std::max(old, power) + tol);
                CHECK(std::fabs(now - (a * power + (1.0L - a) * old)) <= tol);
            }
        }
        FFTtoAPS(fft.data(), leaf.data(), lines, frames);
    }
    CHECK(Same(leaf, aps));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Bytes in(data, size);
    switch (in.Take<uint8_t>() % 3) {
    case 0: Run<complex, float>(in); break;
    case 1: Run<complex_d, float>(in); break;
    default: Run<complex_d, double>(in); break;
    }
    return 0;
}
