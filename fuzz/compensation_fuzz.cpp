// Fuzz target of the compensation builders, the overlap-add and the phase
// delay of a compensation.
//
// Input: byte 0 the measured lines M = 2^(1 + b % 9), byte 1 the filter lines
// N = 2^(1 + b % 10), byte 2 shapeMode (b % 10 - 1), byte 3 topMode (b % 4),
// byte 4 topLine (b % (N - 1)), byte 5 the line spacing (as int8, / 8),
// byte 6 the low taper in lines, byte 7 the low cut (as int8, * 3 Hz),
// byte 8 flags: bit 0 impulse buffer given, bit 1 keepAtStart, bits 2-3 the
// scale; then the M measured lines as raw floats (missing ones are 1).
// Arguments are kept inside the builders' contract: topLine <= N - 2 and a
// low taper inside the spectrum.
//
// Checks: no write outside the promised lengths of out, impulse, block, tail
// and phase (guards); in is not changed, and building in place gives the same
// bits whatever out held before (unless a growing frame has no impulse
// buffer); the result is the centring shift M exactly when a centring was made;
// CompensationInvert equals CompensationNoInvert of the inverted lines; a
// response placed in a longer frame has zeros around it; the
// early return leaves the impulse response of out in impulse; topMode 1 and
// the low cut leave exact zeros on the lines a simple model says; a response
// of moderate lines gives a finite filter; ApplyCompensationSingle equals two
// ApplyCompensation steps bit for bit, and a null pointer touches nothing;
// GetCompPhaseSampleOffset follows the largest phase from line 1 on.

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "numora/compensation/compensation.h"
#include "numora/foundation/complex.h"
#include "numora/transforms/fft.h"

using namespace qv::math;
using fuzz::Bytes;
using fuzz::Guarded;

namespace {

struct Args {
    int m, n, shapeMode, topMode, topLine;
    float lineSpacing, lowTaperFreq, lowCutFreq, scale;
    bool withImpulse, keepAtStart;
};

struct Result {
    Result(const Args& a, float stale)
        : out(static_cast<size_t>(2 * std::max(a.m, a.n)), stale), impulse(static_cast<size_t>(2 * std::max(a.m, a.n)), 0.0f)
    {
    }
    Guarded out, impulse;
    int shift = 0;
};

// out starts as stale values (under the copy of in when in place).
Result Build(const Args& a, Guarded& in, bool invert, bool inPlace, float stale)
{
    Result r(a, stale);
    complex* out = r.out.L();
    if (inPlace)
        std::memcpy(r.out.F(), in.F(), static_cast<size_t>(2 * a.m) * sizeof(float));
    complex* source = inPlace ? out : in.L();
    float* impulse = a.withImpulse ? r.impulse.F() : nullptr;
    r.shift = invert ? CompensationInvert(out, a.n, a.topLine, source, a.m, 0, a.scale, impulse, a.shapeMode,
                                          a.topMode, a.lowCutFreq, a.lineSpacing, a.lowTaperFreq)
                     : CompensationNoInvert(out, a.n, a.topLine, source, a.m, 0, a.scale, impulse, a.shapeMode,
                                            a.topMode, a.lowCutFreq, a.lineSpacing, a.lowTaperFreq, a.keepAtStart);
    return r;
}

bool ZeroLine(const complex& z)
{
    return z.re == 0.0f && z.im == 0.0f;
}

// Truncation of a float toward zero; INT_MIN where it has no int.
int Cut(float v)
{
    return std::isfinite(v) && v > -2147483648.0f && v < 2147483648.0f ? static_cast<int>(v) : INT_MIN;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 9)
        return 0;
    Bytes bytes(data, size);
    Args a{};
    a.m = 1 << (1 + bytes.Take<uint8_t>() % 9);
    a.n = 1 << (1 + bytes.Take<uint8_t>() % 10);
    a.shapeMode = bytes.Take<uint8_t>() % 10 - 1;
    if (a.shapeMode == 3 && std::max(a.m, a.n) < 5)
        a.shapeMode = 2;  // the low band-edge taper reaches line 4
    a.topMode = bytes.Take<uint8_t>() % 4;
    a.topLine = bytes.Take<uint8_t>() % (a.n - 1);
    a.lineSpacing = static_cast<float>(bytes.Take<int8_t>()) / 8.0f;
    const float df = 2 * a.n > 2 * a.m ? a.lineSpacing * 0.5f : a.lineSpacing;
    a.lowTaperFreq = std::fabs(df) * static_cast<float>(bytes.Take<uint8_t>() % std::max(a.m, a.n));
    a.lowCutFreq = static_cast<float>(bytes.Take<int8_t>()) * 3.0f;
    const uint8_t flags = bytes.Take<uint8_t>();
    a.withImpulse = (flags & 1) != 0;
    a.keepAtStart = (flags & 2) != 0;
    const float scales[] = {0.70710678f, 1.0f, 0.25f, 2.0f};
    a.scale = scales[(flags >> 2) & 3];
    const size_t m2 = static_cast<size_t>(2 * a.m), n2 = static_cast<size_t>(2 * a.n);

    Guarded in(std::max(m2, n2), 1.0f);
    for (size_t i = 0; i < m2 && bytes.Left() > 0; ++i)
        in.F()[i] = bytes.Take<float>();
    const Guarded inBefore = in;
    bool moderate = true;
    for (size_t k = 0; k < static_cast<size_t>(a.m); ++k) {
        const float mag = std::hypot(in.F()[2 * k], in.F()[2 * k + 1]);
        moderate = moderate && mag >= 0.01f && mag <= 100.0f;
    }

    Result r = Build(a, in, true, false, 3.0f);
    CHECK(in == inBefore && r.out.GuardsHold() && r.impulse.GuardsHold());
    // impulse receives M2 floats, or N2 when the frame grows.
    const size_t written = a.withImpulse ? (n2 > m2 ? n2 : m2) : 0;
    for (size_t i = written; i < std::max(m2, n2); ++i)
        CHECK(r.impulse.F()[i] == 0.0f);
    const bool centred = a.shapeMode == 1 || a.shapeMode >= 4;
    const bool early = m2 == n2 && !centred;
    CHECK(r.shift == (!early && centred && a.withImpulse ? a.m : 0));

    // In place, and the inverse through the plain builder. What out held
    // before matters only where a growing frame has no impulse buffer.
    const bool staleEnters = !a.withImpulse && n2 > m2;
    CHECK(Build(a, in, true, true, staleEnters ? 3.0f : -5.0f).out == r.out);
    Guarded inverted(std::max(m2, n2), 1.0f);
    ComplexInvertArray(inverted.L(), in.L(), a.m);
    Args plain = a;
    plain.keepAtStart = false;
    Result viaPlain = Build(plain, inverted, false, false, 3.0f);
    CHECK(viaPlain.out == r.out && viaPlain.impulse == r.impulse && viaPlain.shift == r.shift);

    // The plain builder in the placement asked for: zeros around the response.
    Result kept = Build(a, in, false, false, 3.0f);
    CHECK(Build(a, in, false, true, staleEnters ? 3.0f : -5.0f).out == kept.out);
    CHECK(kept.out.GuardsHold() && kept.impulse.GuardsHold() && kept.shift == r.shift);
    if (a.withImpulse && n2 > m2) {
        const size_t first = a.keepAtStart ? 0 : m2 / 2;  // where the response starts
        for (size_t i = 0; i < n2; ++i)
            if (i < first || i >= first + m2)
                CHECK(kept.impulse.F()[i] == 0.0f);
    }

    complex* lines = r.out.L();
    if (early) {
        if (a.withImpulse) {
            std::vector<float> time(r.out.F(), r.out.F() + m2);
            DFT(time.data(), static_cast<int>(m2), -1);
            CorrIFT(time.data(), static_cast<int>(m2), a.scale);
            CHECK(std::memcmp(time.data(), r.impulse.F(), m2 * sizeof(float)) == 0);
        }
    } else {
        if (a.topMode == 1)
            for (int k = a.topLine + 2; k < a.n; ++k)
                CHECK(ZeroLine(lines[k]));
        if (a.lowCutFreq > 0.0f) {
            int c = Cut(a.lowCutFreq / df + 0.5f);
            if (c > 2)
                c = c - 2;
            for (int k = 0; k <= std::min(c, a.n - 1); ++k)
                CHECK(ZeroLine(lines[k]));
        }
        if (moderate && a.lineSpacing != 0.0f)
            for (size_t i = 0; i < n2; ++i)
                CHECK(std::isfinite(r.out.F()[i]));
    }

    // The filter through the overlap-add, both forms.
    {
        const size_t un = static_cast<size_t>(a.n);
        Guarded block(n2, 0.0f), tail(un, 0.0f), frame(n2, 0.0f), work(n2, 0.0f), carry(un, 0.0f);
        for (size_t f = 0; f < 2; ++f) {
            for (size_t i = 0; i < n2; ++i)
                frame.F()[i] = static_cast<float>(data[(i * 7 + f) % size]) - 128.0f;
            std::vector<float> expected(n2);
            for (size_t half = 0; half < 2; ++half) {
                std::memcpy(block.F(), frame.F() + half * un, un * sizeof(float));
                ApplyCompensation(block.F(), r.out.F(), tail.F(), 0.5f, static_cast<uint32_t>(a.n), a.scale);
                std::memcpy(expected.data() + half * un, block.F(), un * sizeof(float));
            }
            ApplyCompensationSingle(frame.F(), r.out.F(), carry.F(), work.F(), 0.5f, static_cast<uint32_t>(n2),
                                    a.scale);
            CHECK(std::memcmp(expected.data(), frame.F(), n2 * sizeof(float)) == 0);
            CHECK(std::memcmp(block.F() + un, carry.F(), un * sizeof(float)) == 0);
            CHECK(block.GuardsHold() && tail.GuardsHold() && frame.GuardsHold() && work.GuardsHold() &&
                  carry.GuardsHold());
        }
        const Guarded frozenBlock = block, frozenTail = tail;
        ApplyCompensation(block.F(), nullptr, tail.F(), 0.5f, static_cast<uint32_t>(a.n), a.scale);
        ApplyCompensation(block.F(), r.out.F(), tail.F(), 0.5f, 0, a.scale);
        ApplyCompensationSingle(block.F(), r.out.F(), nullptr, work.F(), 0.5f, static_cast<uint32_t>(n2), a.scale);
        CHECK(block == frozenBlock && tail == frozenTail);
    }

    // Phase delay of the filter.
    Guarded phase(static_cast<size_t>(a.n), 0.0f);
    const float spacing = a.lineSpacing != 0.0f ? std::fabs(a.lineSpacing) : 1.0f;
    const float delay = GetCompPhaseSampleOffset(lines, phase.F(), a.n, 1000.0f, spacing);
    CHECK(phase.GuardsHold());
    float max = phase.F()[1];
    int at = 1;
    for (int k = 2; k < a.n; ++k)
        if (phase.F()[k] > max) {
            max = phase.F()[k];
            at = k;
        }
    const float model = (max * 1000.0f) / ((static_cast<float>(at) * spacing) * 360.0f);
    CHECK(std::memcmp(&delay, &model, sizeof delay) == 0 || (std::isnan(delay) && std::isnan(model)));
    return 0;
}
