// Fuzz target for the reference profile builders: each builder runs on a
// guarded array, and the target checks that nothing is written outside the
// lines the builder owns, and that the values keep to the shape's rules.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "numora/drive/profiles.h"

using fuzz::Bytes;

namespace {

const float kGuard = -777.0f;

// True when every value from `from` on still holds the guard.
bool Guarded(const std::vector<float>& a, int from)
{
    for (size_t i = static_cast<size_t>(std::max(from, 0)); i < a.size(); ++i)
        if (a[i] != kGuard)
            return false;
    return true;
}

void Flat(Bytes& in)
{
    const int n = in.Small(40) - 2, maxLine = in.Small(40) - 2;
    const float level = in.Unit(10.0f);
    std::vector<float> a(48, kGuard);
    qv::math::APSCreateFlat(a.data(), n, maxLine, level);
    const int end = std::max(n, maxLine + 1);
    CHECK(Guarded(a, std::max(end, 0)));
    for (int k = 0; k < end; ++k)
        CHECK(a[static_cast<size_t>(k)] == (k >= 1 && k <= maxLine ? level : 0.0f));
}

void FlatBand(Bytes& in)
{
    const int n = in.Small(40), maxLine = in.Small(40) - 2;
    const float df = in.Unit(20.0f) + 0.5f, level = in.Unit(10.0f) + 1.0f;
    const float low = in.Unit(500.0f), high = in.Unit(500.0f), db = in.Unit(40.0f) - 40.0f;
    std::vector<float> a(48, kGuard);
    const bool outsideLevel = in.Take<uint8_t>() & 1;
    if (outsideLevel)
        qv::math::APSCreateFlatBand(a.data(), n, maxLine, df, level, low, high, db);
    else
        qv::math::APSCreateFlatBand(a.data(), n, maxLine, df, level, low, high);
    const int end = std::max(n, maxLine + 1);
    CHECK(Guarded(a, std::max(end, 0)));
    for (int k = 0; k < end; ++k) {
        const float v = a[static_cast<size_t>(k)];
        const bool inBand = v == level;
        CHECK(inBand || v < level);  // the outside value is level scaled down, or zero
        CHECK(!(inBand && (k == 0 || k > maxLine)) || db == 0.0f);
    }
}

void Skirts(Bytes& in)
{
    const int maxLine = in.Small(40), corner = in.Small(50) - 4;
    const double slope = -static_cast<double>(in.Unit(24.0f));  // falling skirts only
    const bool rise = in.Take<uint8_t>() & 1;
    std::vector<float> a(48, kGuard), before;
    for (int k = 0; k < 48; ++k)  // a rise reaches down from its corner whatever maxLine is
        a[static_cast<size_t>(k)] = 1.0f + static_cast<float>(k % 3);
    before = a;
    if (rise)
        qv::math::APSAddRise(a.data(), 0, maxLine, corner, slope);
    else
        qv::math::APSAddFall(a.data(), 0, maxLine, corner, slope);
    const int c = corner == 0 ? 1 : corner;
    for (int k = 0; k < 48; ++k) {
        const bool inSkirt = corner >= 0 && (rise ? (k >= 1 && k <= c) : (k >= c && k <= maxLine));
        if (!inSkirt)
            CHECK(a[static_cast<size_t>(k)] == before[static_cast<size_t>(k)]);
        else
            CHECK(a[static_cast<size_t>(k)] <= before[static_cast<size_t>(k)] &&
                  a[static_cast<size_t>(k)] >= 0.0f);
    }
}

void Shape(Bytes& in)
{
    const int n = in.Small(40), maxLine = in.Small(40) - 1, count = in.Small(6);
    const float df = in.Unit(20.0f) + 0.5f;
    QV_CORNER corners[6];
    float f = 0.0f, lo = 0.0f, hi = 0.0f;
    for (int i = 0; i < count; ++i) {
        f += in.Unit(200.0f) + 1.0f;  // strictly ascending
        corners[i] = {f, in.Unit(10.0f)};
        lo = i == 0 ? corners[i].level : std::min(lo, corners[i].level);
        hi = i == 0 ? corners[i].level : std::max(hi, corners[i].level);
    }
    std::vector<float> a(48, kGuard);
    qv::math::APSCreateShape(a.data(), n, maxLine, df, corners, count);
    const int end = count <= 0 ? n : std::max(n, maxLine + 1);
    CHECK(Guarded(a, std::max(end, 0)));
    for (int k = 0; k < end; ++k) {
        const float v = a[static_cast<size_t>(k)];
        // Interpolation in float cancels near a corner: the rounding is
        // relative to the largest level, not to the value.
        CHECK(v == 0.0f || (v >= lo - 1e-6f * hi && v <= hi * (1.0f + 1e-6f)));
    }
}

void Band(Bytes& in)
{
    const int first = in.Small(12) - 3, last = first + in.Small(40);
    const int bands = in.Small(6) + 1;
    const bool octave = in.Take<uint8_t>() & 1;
    float levels[6];
    for (int b = 0; b < bands; ++b)
        levels[b] = in.Unit(10.0f);
    const float df = in.Unit(50.0f) + 1.0f, top = in.Unit(2000.0f), ramp = in.Unit(1.5f);
    std::vector<float> a(64, kGuard);
    a[0] = in.Unit(10.0f);
    const float start = first > 0 ? 0.0f : a[0];
    qv::math::APSCreateBand(a.data(), 0, first, last, df, top,
                            octave ? QV_DAC_BAND_OCTAVE : QV_DAC_BAND_LINEAR, levels, bands, ramp);
    // The last position that may be written belongs to line counter last + 1.
    const int limit = first > 0 ? last + 1 : last + 2 - first;
    CHECK(Guarded(a, limit + 1));
    float lo = start, hi = start;
    for (int b = 0; b < bands; ++b) {
        lo = std::min(lo, levels[b]);
        hi = std::max(hi, levels[b]);
    }
    for (int k = 0; k <= limit; ++k) {
        const float v = a[static_cast<size_t>(k)];
        if (v == kGuard)
            continue;
        CHECK(k < std::max(first, 0) ? v == 0.0f : (v >= lo - 1e-5f && v <= hi + 1e-5f));
    }
}

void Scarify(Bytes& in)
{
    const int n = in.Small(40), factor = in.Small(9) - 1;
    std::vector<float> a(48, kGuard);
    for (int k = 0; k < n; ++k)
        a[static_cast<size_t>(k)] = in.Unit(100.0f);
    const std::vector<float> before = a;
    qv::math::APSScarifyMin(a.data(), n, factor);
    CHECK(Guarded(a, n));
    if (factor < 2 || n < 1) {
        CHECK(a == before);
        return;
    }
    const int outputs = (n - 1) / factor + 1;
    for (int c = 0; c < n; ++c) {
        if (c >= outputs) {
            CHECK(a[static_cast<size_t>(c)] == 0.0f);
            continue;
        }
        const int i = c * factor, h = factor / 2;
        float m = before[static_cast<size_t>(std::max(0, i - h))];
        for (int k = std::max(0, i - h); k <= std::min(n - 1, i + h); ++k)
            m = std::min(m, before[static_cast<size_t>(k)]);
        CHECK(a[static_cast<size_t>(c)] == m);
    }
}

void Table(Bytes& in)
{
    static ref_tag t;
    t.numPoints = in.Small(8);
    float f = 0.0f;
    for (int i = 0; i < 8; ++i) {
        f += in.Unit(500.0f) + 1.0f;
        t.frequency[i] = f;
        t.level[i] = in.Unit(10.0f) + 0.01f;
        t.limit1Db[i] = in.Unit(12.0f) - 6.0f;
        t.limit2Db[i] = in.Unit(12.0f) - 6.0f;
        t.segmentType[i] = in.Small(3);
    }
    const int count = in.Small(40) - 1, spacing = in.Small(8);
    std::vector<float> freq(41, kGuard), level(41, kGuard), lim1(41, kGuard), lim2(41, kGuard);
    freq[0] = in.Unit(5000.0f);
    qv::math::Calc_Table_Curves(&t, level.data(), lim1.data(), lim2.data(), freq.data(), count, spacing);
    CHECK(Guarded(level, std::max(count, 0)) && Guarded(lim1, std::max(count, 0)) &&
          Guarded(lim2, std::max(count, 0)));
    const float f0 = t.frequency[0], f1 = t.frequency[std::max(t.numPoints - 1, 0)];
    for (int j = 0; j < count; ++j) {
        const float v = level[static_cast<size_t>(j)];
        const bool inside =
            t.numPoints >= 2 && freq[static_cast<size_t>(j)] >= f0 && freq[static_cast<size_t>(j)] <= f1;
        if (count > 1)
            CHECK(freq[static_cast<size_t>(j)] <= f1 &&
                  (j == 0 || freq[static_cast<size_t>(j)] >= freq[static_cast<size_t>(j - 1)]));
        if (!inside) {
            CHECK(v == 1e-30f && lim1[static_cast<size_t>(j)] == 1e-30f &&
                  lim2[static_cast<size_t>(j)] == 1e-30f);
            continue;
        }
        CHECK(std::isfinite(v) && v > 0.0f);
        CHECK(lim1[static_cast<size_t>(j)] == 1e-30f || lim1[static_cast<size_t>(j)] > v);
        CHECK(lim2[static_cast<size_t>(j)] == 1e-30f || lim2[static_cast<size_t>(j)] >= v);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Bytes in(data, size);
    switch (in.Small(7)) {
    case 0:
        Flat(in);
        break;
    case 1:
        FlatBand(in);
        break;
    case 2:
        Skirts(in);
        break;
    case 3:
        Shape(in);
        break;
    case 4:
        Band(in);
        break;
    case 5:
        Scarify(in);
        break;
    default:
        Table(in);
        break;
    }
    return 0;
}
