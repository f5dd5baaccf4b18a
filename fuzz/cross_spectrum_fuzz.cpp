// Fuzz target of the two-channel functions: FFTtoCPS and its modes, CPStoFRF,
// CPStoCOH, the cross phase, FFTtoFRF_GatedUpdate, TIMtoCPS and
// TIMtoCPS_WithDriveCorr.
//
// Input: a family byte, a line count, value flags, the family's arguments,
// then the lines (16-bit values, or raw float bits when a flag says so).
//
// Checks: the averaging modes against a plain model (a first frame replaces
// by the cross product, an average stays between the old value and the cross
// product, peak hold keeps both parts of the old line or takes both of the
// new one and never drops, other modes change nothing); FRF and coherence
// against their formulas, in place equal to out of place; the gated update
// against a plain model, its count equal to the lines accepted in this call,
// its flags only ever set to 1; TIMtoCPS equal to its steps, and a frame
// size below 2 touching nothing.

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
using fuzz::SameRecord;

namespace {

std::vector<complex> TakeLines(Bytes& in, size_t n, bool raw)
{
    std::vector<complex> v(n);
    for (complex& c : v) {
        c.re = in.Value(raw);
        c.im = in.Value(raw);
    }
    return v;
}

std::vector<float> TakeReals(Bytes& in, size_t n, bool raw)
{
    std::vector<float> v(n);
    for (float& x : v)
        x = in.Value(raw);
    return v;
}

complex Cross(const complex& a, const complex& b)
{
    return {a.re * b.re + a.im * b.im, a.im * b.re - a.re * b.im};
}

float Power(const complex& z)
{
    return z.re * z.re + z.im * z.im;
}

QV_ACQFRAME_AVGMODE TakeMode(Bytes& in)
{
    const uint8_t b = in.Take<uint8_t>();
    return static_cast<QV_ACQFRAME_AVGMODE>(b % 10 < 8 ? b % 8 : (b & 1 ? -1 - b : 8 + b));
}

void Averaging(Bytes& in, int lines, size_t count, bool raw)
{
    const QV_ACQFRAME_AVGMODE mode = TakeMode(in);
    const int frameNumber = in.Take<int8_t>();
    const int expFrames = in.Take<int32_t>();
    std::vector<complex> a = TakeLines(in, count, raw);
    std::vector<complex> b = TakeLines(in, count, raw);
    const std::vector<complex> old = TakeLines(in, count, raw);
    const std::vector<complex> aBefore = a;
    const std::vector<complex> bBefore = b;
    std::vector<complex> cps = old;
    FFTtoCPS(a.data(), b.data(), cps.data(), lines, mode, frameNumber, expFrames);
    CHECK(Same(a, aBefore) && Same(b, bBefore));

    const bool weighted = mode == QV_AVG_LINEAR0 || mode == QV_AVG_LINEAR || mode == QV_AVG_LINEAR7 ||
                          mode == QV_AVG_EXPONENTIAL;
    if (lines < 1 || (!weighted && mode != QV_AVG_PEAK_HOLD)) {
        CHECK(Same(cps, old));
        return;
    }
    std::vector<complex> x(count);
    for (size_t i = 0; i < count; ++i)
        x[i] = Cross(a[i], b[i]);
    std::vector<complex> leaf = old;
    if (mode == QV_AVG_PEAK_HOLD) {
        std::vector<complex> expected = x;
        for (size_t i = 0; i < count && frameNumber > 1; ++i) {
            const double re = static_cast<double>(x[i].re);
            const double im = static_cast<double>(x[i].im);
            const float fresh = static_cast<float>(re * re + im * im);
            if (!(fresh > Power(old[i])))
                expected[i] = old[i];
            CHECK(!(Power(cps[i]) < Power(old[i])));
        }
        CHECK(Same(cps, expected));
        FFTtoCPS_PK(a.data(), b.data(), leaf.data(), lines, frameNumber);
    } else {
        int frames = mode == QV_AVG_EXPONENTIAL ? (frameNumber < 2 ? 1 : expFrames) : frameNumber;
        if (frames <= 1) {
            CHECK(Same(cps, x));
        } else {
            // Each part between its old value and the cross product, near
            // their blend (the weight rounds the count through float).
            const double w = 1.0 / static_cast<double>(static_cast<float>(frames));
            const double eps = static_cast<double>(std::numeric_limits<float>::epsilon());
            for (size_t i = 0; i < count; ++i) {
                const float pairs[2][3] = {{old[i].re, x[i].re, cps[i].re}, {old[i].im, x[i].im, cps[i].im}};
                for (const auto& p : pairs) {
                    const double before = static_cast<double>(p[0]);
                    const double fresh = static_cast<double>(p[1]);
                    const double now = static_cast<double>(p[2]);
                    if (!std::isfinite(before) || !std::isfinite(fresh))
                        continue;
                    const double tol = eps * (std::fabs(before) + std::fabs(fresh)) +
                                       static_cast<double>(std::numeric_limits<float>::denorm_min());
                    CHECK(now >= std::min(before, fresh) - tol && now <= std::max(before, fresh) + tol);
                    CHECK(std::fabs(now - (w * fresh + (1.0 - w) * before)) <= tol);
                }
            }
        }
        FFTtoCPS(a.data(), b.data(), leaf.data(), lines, frames);
    }
    CHECK(Same(leaf, cps));
}

void Ratios(Bytes& in, int lines, size_t count, bool raw)
{
    std::vector<complex> cps = TakeLines(in, count, raw);
    std::vector<float> apsA = TakeReals(in, count, raw);
    std::vector<float> apsB = TakeReals(in, count, raw);
    for (size_t i = 0; i < count; i += 3)
        apsB[i] = i % 2 == 0 ? 0.0f : -0.0f;
    const std::vector<complex> cpsBefore = cps;
    const std::vector<float> aBefore = apsA;
    const std::vector<float> bBefore = apsB;
    std::vector<complex> frf(count, complex{7.0f, 7.0f});
    std::vector<float> coh(count, 7.0f);
    CPStoFRF(cps.data(), apsB.data(), frf.data(), lines);
    CPStoCOH(cps.data(), apsA.data(), apsB.data(), coh.data(), lines);
    CHECK(Same(cps, cpsBefore) && Same(apsA, aBefore) && Same(apsB, bBefore));
    for (size_t i = 0; i < count; ++i) {
        complex h = {7.0f, 7.0f};
        float c = 7.0f;
        if (static_cast<int>(i) < lines) {
            h = apsB[i] == 0.0f ? complex{0.0f, 0.0f} : complex{cps[i].re / apsB[i], cps[i].im / apsB[i]};
            const float d = apsA[i] * apsB[i];
            c = d == 0.0f ? 0.0f : Power(cps[i]) / d;
        }
        CHECK(Same(frf[i], h) && Same(coh[i], c));
    }
    std::vector<complex> inPlace = cps;
    for (size_t i = 0; static_cast<int>(i) < lines; ++i)
        inPlace[i] = frf[i];
    CPStoFRF(cps.data(), apsB.data(), cps.data(), lines);
    CHECK(Same(cps, inPlace));

    // The phase at one frequency is the phase of the nearest line, 0 beyond.
    const float freq = in.Value(true);
    const float df = in.Value(in.Take<uint8_t>() & 1);
    std::vector<complex> a = TakeLines(in, count, raw);
    std::vector<complex> b = TakeLines(in, count, raw);
    std::vector<float> phase(count, 7.0f);
    FFTtoCPSPhase(a.data(), b.data(), phase.data(), lines, false);
    const int index = Freq2Index(freq, df, qv::RoundMethodNearest);
    const float at = FFTtoCPSPhase(a.data(), b.data(), freq, df, lines);
    CHECK(index < 0 || index >= lines ? at == 0.0f : Same(at, phase[static_cast<size_t>(index)]));
}

void Gated(Bytes& in, int lines, size_t count, bool raw)
{
    const float alpha = in.Take<uint8_t>() & 1 ? in.Value(true) : static_cast<float>(in.Take<uint8_t>()) / 255.0f;
    const float gateFactor = in.Value(raw);
    const std::vector<complex> a = TakeLines(in, count, raw);
    const std::vector<complex> b = TakeLines(in, count, raw);
    const std::vector<complex> cps = TakeLines(in, count, raw);
    std::vector<float> apsA = TakeReals(in, count, raw);
    std::vector<float> apsB = TakeReals(in, count, raw);
    for (size_t i = 0; i < count; ++i) {
        apsA[i] = std::fabs(apsA[i]);
        apsB[i] = std::fabs(apsB[i]);
    }
    const std::vector<float> gateRef = TakeReals(in, count, raw);
    const std::vector<complex> frf = TakeLines(in, count, raw);
    std::vector<int> flags(count);
    for (int& f : flags)
        f = in.Take<int8_t>() % 3;

    // The model, line by line, as the header states it.
    std::vector<complex> ma = a, mb = b, mcps = cps, mfrf = frf;
    std::vector<float> mA = apsA, mB = apsB;
    std::vector<int> fresh(count, 0);
    ma[0] = {0.0f, 0.0f};
    mb[0] = {0.0f, 0.0f};
    const float beta = 1.0f - alpha;
    int expectedCount = 0;
    for (size_t i = 0; static_cast<int>(i) < lines; ++i) {
        const complex x = Cross(ma[i], mb[i]);
        const complex g = {alpha * x.re + beta * cps[i].re, alpha * x.im + beta * cps[i].im};
        const float pb = alpha * Power(mb[i]) + beta * apsB[i];
        const float pa = alpha * Power(ma[i]) + beta * apsA[i];
        if (!(pa > 0.0f && pb > 0.0f)) {
            mfrf[i] = {1.0f, 0.0f};
            mcps[i] = {1.0f, 0.0f};
            mB[i] = 1.0f;
            mA[i] = 0.0f;
            continue;
        }
        float gamma = Power(g) / (pa * pb);
        if (gamma > 1.0f || gamma < 0.0f)
            gamma = 0.0f;
        if (gamma >= gateFactor * gateRef[i]) {
            mfrf[i] = {g.re / pb, g.im / pb};
            mcps[i] = g;
            mB[i] = pb;
            mA[i] = pa;
            fresh[i] = 1;
            ++expectedCount;
        }
    }

    // Once with cleared flags and once with the caller's: the flags change
    // nothing else, and only ever become 1.
    for (int pass = 0; pass < 2; ++pass) {
        std::vector<complex> ta = a, tb = b, tcps = cps, tfrf = frf;
        std::vector<float> tA = apsA, tB = apsB, tRef = gateRef;
        std::vector<int> accepted = pass == 0 ? std::vector<int>(count, 0) : flags;
        const int n = FFTtoFRF_GatedUpdate(ta.data(), tb.data(), tcps.data(), tB.data(), tA.data(), tRef.data(),
                                           tfrf.data(), lines, gateFactor, alpha, accepted.data());
        CHECK(n == expectedCount && Same(ta, ma) && Same(tb, mb) && Same(tcps, mcps) && Same(tfrf, mfrf));
        CHECK(Same(tA, mA) && Same(tB, mB) && Same(tRef, gateRef));
        int marked = 0;
        for (size_t i = 0; i < count; ++i) {
            const int before = pass == 0 ? 0 : flags[i];
            CHECK(accepted[i] == (fresh[i] ? 1 : before));
            marked += accepted[i] == 1 && before != 1;
        }
        if (pass == 0)
            CHECK(marked == n);
    }
}

void Frames(Bytes& in, int lines, bool raw)
{
    const int32_t claimed = in.Take<int32_t>();
    const QV_ACQFRAME_AVGMODE mode = TakeMode(in);
    const int frameNumber = in.Take<int8_t>();
    const int expFrames = in.Take<int8_t>();
    const QV_ACQFRAME_WINTYPE type = static_cast<QV_ACQFRAME_WINTYPE>(in.Take<uint8_t>() % 9);
    const QV_WINDOWSCALE winScale = static_cast<QV_WINDOWSCALE>(in.Take<uint8_t>() % 2);
    const int gate = in.Take<int16_t>();
    const QV_ACOUSTIC_WEIGHT weight = static_cast<QV_ACOUSTIC_WEIGHT>(in.Take<uint8_t>() % 8);
    const float df = in.Value(raw);
    const float scale = in.Value(raw);
    const uint8_t corrFlags = in.Take<uint8_t>();
    const bool corrA = corrFlags & 1;
    const bool corrB = corrFlags & 2;
    const bool withCorr = corrFlags & 4;
    const int n = claimed < 2 ? 4 : (corrFlags & 8 ? 2 << (claimed % 11) : 2 + claimed % 2047);
    const size_t count = static_cast<size_t>(std::max(1, std::min(lines, n / 2)));
    std::vector<float> frameA = TakeReals(in, static_cast<size_t>(n), raw);
    std::vector<float> frameB = TakeReals(in, static_cast<size_t>(n), raw);
    const std::vector<complex> old = TakeLines(in, count, raw);
    std::vector<complex> corr = TakeLines(in, static_cast<size_t>(n / 2), raw);
    const std::vector<complex> corrBefore = corr;

    std::vector<float> ma = frameA, mb = frameB;
    std::vector<complex> mcps = old;
    QV_WIND_SETUP modelWind{};
    if (claimed >= 2) {
        TIMtoFFT(0, ma.data(), n, df, type, winScale, 0.0f, gate, weight, &modelWind, scale);
        TIMtoFFT(1, mb.data(), n, df, type, winScale, 0.0f, gate, weight, &modelWind, scale);
        complex* la = reinterpret_cast<complex*>(ma.data());
        complex* lb = reinterpret_cast<complex*>(mb.data());
        if (withCorr && corrA)
            FFTApplySineX_X(la, corr.data(), n / 2);
        if (withCorr && corrB)
            FFTApplySineX_X(lb, corr.data(), n / 2);
        FFTtoCPS(la, lb, mcps.data(), std::min(lines, n / 2), mode, frameNumber, expFrames);
    }
    QV_WIND_SETUP wind{};
    std::vector<complex> cps = old;
    const int size = claimed < 2 ? claimed : n;
    if (withCorr)
        TIMtoCPS_WithDriveCorr(frameA.data(), frameB.data(), cps.data(), df, mode, type, winScale, 0.0f, gate,
                               weight, size, std::min(lines, n / 2), frameNumber, expFrames, scale, &wind,
                               reinterpret_cast<float*>(corr.data()), corrA, corrB);
    else
        TIMtoCPS(frameA.data(), frameB.data(), cps.data(), df, mode, type, winScale, 0.0f, gate, weight, size,
                 std::min(lines, n / 2), frameNumber, expFrames, scale, &wind);
    CHECK(Same(frameA, ma) && Same(frameB, mb) && Same(cps, mcps) && Same(corr, corrBefore));
    CHECK(SameRecord(wind, modelWind));
    WindowReset(&wind);
    WindowReset(&modelWind);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Bytes in(data, size);
    const uint8_t family = in.Take<uint8_t>();
    const int lines = in.Take<uint8_t>() % 66 - 1;
    const bool raw = family & 4;
    const size_t count = static_cast<size_t>(std::max(lines, 1));
    switch (family % 4) {
    case 0: Averaging(in, lines, count, raw); break;
    case 1: Ratios(in, lines, count, raw); break;
    case 2: Gated(in, lines, count, raw); break;
    default: Frames(in, lines, raw); break;
    }
    return 0;
}
