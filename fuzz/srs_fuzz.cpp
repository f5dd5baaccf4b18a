// Fuzz target of the shock response spectrum and its band series.
//
// Input: byte 0 bands per octave (as int8, folded to -24 .. 24), byte 1 the
// oscillator type (0, 1 or the undefined 2), byte 2 the damping (b / 256),
// then five raw floats: fLow, fHigh, sampleRate, startMs, endMs (defaultEndMs
// is endMs / 2), then the samples as raw floats.
//
// Checks: the series builders write exactly the bands they count, in
// ascending order, ending where the tolerance rules say, and nothing when
// they refuse; both SRS filters give the series' count and bands, leave
// everything alone when refusing, write no value past the count, and give
// magnitudes that are never negative or NaN with maximax, maxPos and maxNeg
// the largest of their parts; every code path of TIMtoSRS gives the same
// bits; a negated record swaps the positive and negative spectra bit for bit,
// and a record doubled (exactly, far from overflow and underflow) doubles
// every value bit for bit.

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "numora/analysis/srs.h"
#include "numora/analysis/srs_detail.h"

using namespace qv::math;
using fuzz::Bits;
using fuzz::Bytes;

namespace {

const int kSlots = 1001;  // the 1000 allowed bands and one guard value
const uint32_t kSentinel = 0x7FA5A5A5u;

struct Outputs {
    std::vector<float> a[8];  // seven spectra, then freq
    Outputs()
    {
        float s;
        std::memcpy(&s, &kSentinel, sizeof s);
        for (auto& v : a)
            v.assign(kSlots, s);
    }
    bool Untouched(int from) const
    {
        for (const auto& v : a)
            for (int i = from; i < kSlots; ++i)
                if (Bits(v[static_cast<size_t>(i)]) != kSentinel)
                    return false;
        return true;
    }
};

struct Call {
    int bandsPerOctave;
    QV_SRS_TYPE type;
    float damping, fLow, fHigh, sampleRate, startMs, endMs, defaultEndMs;
};

template <typename Filter>
int Run(Filter filter, const Call& c, const std::vector<float>& x, Outputs& o)
{
    return filter(x.data(), static_cast<int>(x.size()), c.sampleRate, c.damping, c.type,
                  c.bandsPerOctave, c.defaultEndMs, o.a[0].data(), o.a[1].data(), o.a[2].data(),
                  o.a[3].data(), o.a[4].data(), o.a[5].data(), o.a[6].data(), o.a[7].data(),
                  c.fLow, c.fHigh, c.startMs, c.endMs);
}

using Builder = int (*)(int, float, float, float*, int, int*);

// Series builder contract: a model of the first and last band and of what is
// written. tolLow and tolHigh are the limits the tolerances are taken of.
void CheckSeries(Builder build, int bandsPerOctave, float fLow, float fHigh, float tolLow,
                 float tolHigh, int maxCount)
{
    float s;
    std::memcpy(&s, &kSentinel, sizeof s);
    std::vector<float> freq(kSlots + 1, s);
    int first = 123456789;
    const int count = build(bandsPerOctave, fLow, fHigh, freq.data(), maxCount, &first);
    int written = 0;
    while (written < kSlots + 1 && Bits(freq[static_cast<size_t>(written)]) != kSentinel)
        ++written;
    CHECK(count <= 0 ? written == 0 : written == count);
    if (count <= 0)
        return;
    CHECK(count <= maxCount && first != 123456789);
    for (int i = 1; i < count; ++i)
        CHECK(freq[static_cast<size_t>(i - 1)] < freq[static_cast<size_t>(i)]);
    const float fLo = fLow > 0.001f ? fLow : 0.001f;
    const float fHi = fHigh < 100000.0f ? fHigh : 100000.0f;
    const float f0 = freq[0], fn = freq[static_cast<size_t>(count - 1)];
    CHECK(std::fabs(f0 - fLo) < 0.001f * tolLow || f0 <= fLo);
    CHECK(fn >= fHi || std::fabs(fn - fHi) < 0.001f * tolHigh);
    if (build == SRSCalcAcousticFreq)
        CHECK(Bits(SRSGetAcousticFreq(first, bandsPerOctave)) == Bits(f0));
}

void CheckSpectra(const Outputs& o, int count, const Outputs& reference)
{
    CHECK(o.Untouched(count));
    for (int b = 0; b < count; ++b) {
        const size_t i = static_cast<size_t>(b);
        const float pp = o.a[0][i], pn = o.a[1][i], rp = o.a[2][i], rn = o.a[3][i];
        for (float v : {pp, pn, rp, rn})
            CHECK(v >= 0.0f && Bits(v) != 0x80000000u);
        const float maxPos = pp < rp ? rp : pp, maxNeg = pn < rn ? rn : pn;
        CHECK(o.a[5][i] == maxPos && o.a[6][i] == maxNeg);
        CHECK(o.a[4][i] == (maxPos < maxNeg ? maxNeg : maxPos));
        CHECK(Bits(o.a[7][i]) == Bits(reference.a[7][i]));
    }
}

bool SameBits(const Outputs& a, const Outputs& b, int count)
{
    for (int k = 0; k < 8; ++k)
        for (int i = 0; i < count; ++i)
            if (Bits(a.a[k][static_cast<size_t>(i)]) != Bits(b.a[k][static_cast<size_t>(i)]))
                return false;
    return true;
}

// Rough number of oscillator steps of a call, to keep each input fast.
double Work(const Call& c, const float* freq, int count, int n)
{
    double steps = 0;
    for (int b = 0; b < count; ++b) {
        const double q = static_cast<double>(c.sampleRate * 1.1f / freq[b]);
        steps += n + (q > 0 && q < 2147483648.0 ? q : 0.0);
    }
    return steps;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const size_t header = 23;
    if (size < header)
        return 0;
    Bytes in(data, size);
    Call c;
    c.bandsPerOctave = in.Take<int8_t>() % 25;
    c.type = static_cast<QV_SRS_TYPE>(in.Take<uint8_t>() % 3);
    const uint8_t dampingByte = in.Take<uint8_t>();
    c.damping = static_cast<float>(dampingByte) / 256.0f;
    c.fLow = in.Take<float>();
    c.fHigh = in.Take<float>();
    c.sampleRate = in.Take<float>();
    c.startMs = in.Take<float>();
    c.endMs = in.Take<float>();
    c.defaultEndMs = c.endMs / 2;
    std::vector<float> x(in.Left() / 4);
    for (float& v : x)
        v = in.Take<float>();
    const int n = static_cast<int>(x.size());

    // The acoustic series reached through the ANSI builder takes its
    // tolerances from the clamped range.
    const float clampedLow = c.fLow > 0.001f ? c.fLow : 0.001f;
    const float clampedHigh = c.fHigh < 100000.0f ? c.fHigh : 100000.0f;
    const bool viaAcoustic = c.bandsPerOctave < 0;
    for (int maxCount : {1000, dampingByte * 4 - 2}) {
        CheckSeries(SRSCalcAnsiFreq, c.bandsPerOctave, c.fLow, c.fHigh, viaAcoustic ? clampedLow : c.fLow,
                    viaAcoustic ? clampedHigh : c.fHigh, maxCount);
        CheckSeries(SRSCalcAcousticFreq, c.bandsPerOctave, c.fLow, c.fHigh, c.fLow, c.fHigh, maxCount);
    }

    // Count the bands first; skip the oscillators when they would take too long.
    std::vector<float> freq(kSlots);
    int first = 0;
    const int bands = SRSCalcAnsiFreq(c.bandsPerOctave, c.fLow, c.fHigh, freq.data(), 1000, &first);
    if (bands > 0 && Work(c, freq.data(), bands, n) > 4e6)
        return 0;
    const bool badCall = n < 2 || (c.type != QV_SRS_ABSOLUTE_ACCEL && c.type != QV_SRS_RELATIVE_DISP);

    Outputs plain;
    const int count = Run(TIMtoSRS, c, x, plain);
    CHECK(count == (badCall || bands < 0 ? -1 : bands));
    Outputs ramp;
    CHECK(Run(TIMtoSRS_RampInvariant, c, x, ramp) == count);
    if (count <= 0) {
        CHECK(plain.Untouched(0) && ramp.Untouched(0));
        return 0;
    }
    for (int b = 0; b < count; ++b)
        CHECK(Bits(plain.a[7][static_cast<size_t>(b)]) == Bits(freq[static_cast<size_t>(b)]));
    CheckSpectra(plain, count, plain);
    CheckSpectra(ramp, count, plain);

    for (auto path : {detail::SrsPath::Plain, detail::SrsPath::Lanes4, detail::SrsPath::Lanes8}) {
        if (!detail::SrsPathAvailable(path))
            continue;
        Outputs wide;
        auto onPath = [path](auto... args) { return detail::TIMtoSRSOnPath(path, args...); };
        CHECK(Run(onPath, c, x, wide) == count && SameBits(wide, plain, count));
    }

    // Negation swaps the signs of every response exactly.
    std::vector<float> negated(x);
    for (float& v : negated)
        v = -v;
    for (bool useRamp : {false, true}) {
        Outputs flipped;
        const Outputs& base = useRamp ? ramp : plain;
        CHECK((useRamp ? Run(TIMtoSRS_RampInvariant, c, negated, flipped) : Run(TIMtoSRS, c, negated, flipped)) == count);
        for (int b = 0; b < count; ++b) {
            const size_t i = static_cast<size_t>(b);
            CHECK(Bits(flipped.a[0][i]) == Bits(base.a[1][i]) && Bits(flipped.a[1][i]) == Bits(base.a[0][i]));
            CHECK(Bits(flipped.a[2][i]) == Bits(base.a[3][i]) && Bits(flipped.a[3][i]) == Bits(base.a[2][i]));
        }
    }

    // Doubling is exact while every value stays far from overflow and underflow.
    bool moderate = std::isfinite(c.sampleRate) && c.sampleRate > 1.0f && c.sampleRate < 1e6f;
    for (float v : x)
        moderate = moderate && (v == 0.0f || (std::fabs(v) > 1e-6f && std::fabs(v) < 1e6f));
    for (int b = 0; b < count && moderate; ++b)
        moderate = c.sampleRate / freq[static_cast<size_t>(b)] < 1e4f && c.sampleRate / freq[static_cast<size_t>(b)] > 2.0f;
    if (moderate) {
        std::vector<float> doubled(x);
        for (float& v : doubled)
            v *= 2.0f;
        Outputs twice;
        CHECK(Run(TIMtoSRS, c, doubled, twice) == count);
        for (int k = 0; k < 7; ++k)
            for (int b = 0; b < count; ++b)
                CHECK(Bits(twice.a[k][static_cast<size_t>(b)]) == Bits(2.0f * plain.a[k][static_cast<size_t>(b)]));
    }
    return 0;
}
