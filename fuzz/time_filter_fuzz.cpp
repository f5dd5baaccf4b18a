// Fuzz target for the time filters: CTimeFilter and CSectionFilter designed
// from decoded arguments, then run over decoded samples.
//
// Input layout: type, shape, order, a flags byte, f1 and f2 (2 bytes each,
// or 4 raw float bytes each when the flags say so), the sample rate (2 bytes,
// or 4 raw bytes), the ripple (1 byte, or 4 raw bytes), then samples as
// 16-bit values scaled to [-1, 1).
//
// Invariants checked (abort on violation):
// - CTimeFilter: frequency limits hold on the stored edges; the term counts
//   follow from type, shape and order; a Chebyshev ripple >= 0 fails the design
//   and leaves zero coefficients; a block call gives the bits of sample-by-
//   sample calls, with the block's peak; n = 0 changes nothing; a copy gives
//   the same next outputs; Update keeps an unstable mark.
// - CSectionFilter: the result code follows the argument rules; a refused
//   design changes nothing; a design has finite coefficients, the right number
//   of sections and no pole outside the unit circle; block and single-sample
//   calls agree bit for bit.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "numora/analysis/time_filter.h"

namespace {

using qv::math::CSectionFilter;
using qv::math::CTimeFilter;
using fuzz::Same;

bool IsBand(CTimeFilter::Shape s)
{
    return s == CTimeFilter::BandPass || s == CTimeFilter::BandStop;
}

void FuzzDirect(CTimeFilter::Type type, CTimeFilter::Shape shape, int order, float f1, float f2, float rate,
                float ripple, const std::vector<float>& samples)
{
    static CTimeFilter f;  // 16 KB: kept off the stack
    f.rippleDb = ripple;
    f.Initialize(f1, f2, rate, type, shape, order);

    // Frequency limits on the stored edges, in float.
    const float bw = rate / 2.56f;
    if (shape == CTimeFilter::LowPass || shape == CTimeFilter::HighPass) {
        CHECK(f.f2 == 0.0f);
        CHECK(std::isnan(f1) || f.f1 >= (shape == CTimeFilter::LowPass ? 0.005f : 0.002f) * bw);
    }
    if (IsBand(shape) && !std::isnan(f1) && !std::isnan(f2))
        CHECK(f.f1 <= f.f2);
    if (shape == CTimeFilter::BandPass && !std::isnan(f1) && !std::isnan(f2)) {
        CHECK(f.f1 >= 0.002f * bw);
        CHECK(f.f2 <= 0.998f * bw);
    }

    const bool known = type == CTimeFilter::Butterworth || type == CTimeFilter::Bessel ||
                       type == CTimeFilter::Chebyshev;
    const bool failed = type == CTimeFilter::Chebyshev && ripple >= 0.0f;
    if (failed) {
        CHECK(f.unstable == 1 && f.modified == 1);
        for (int i = 0; i < 513; ++i)
            CHECK(f.xcoeffs[i] == 0.0 && f.ycoeffs[i] == 0.0);
    } else if (f.unstable == 0) {
        const int poles = known ? (IsBand(shape) ? 2 * order : order) : 0;
        CHECK(f.numPoles == poles && f.numZeros == poles);
        CHECK(f.modified == 0);
    }

    // Block against single samples, from the same state.
    CTimeFilter* single = new CTimeFilter(f);
    std::vector<float> block = samples, one = samples;
    const size_t half = block.size() / 2;
    f.Apply(block.data(), static_cast<int>(half));
    f.Apply(block.data() + half, static_cast<int>(block.size() - half));
    float peak = 0.0f;
    for (size_t k = 0; k < one.size(); ++k) {
        one[k] = single->Apply(one[k]);
        if (k >= half && (k == half || std::fabs(one[k]) > peak))
            peak = std::fabs(one[k]);
    }
    CHECK(Same(block.data(), one.data(), one.size()));
    if (block.size() > half)
        CHECK(Same(peak, f.maxAmp));

    // An empty block changes nothing; a copy goes on alike.
    const float before = f.maxAmp;
    f.Apply(block.data(), 0);
    CHECK(std::memcmp(&before, &f.maxAmp, sizeof before) == 0);  // untouched: the very bits
    CHECK(Same(f.xv, single->xv, static_cast<size_t>(f.numZeros + 1)));
    CHECK(Same(f.yv, single->yv, static_cast<size_t>(f.numPoles + 1)));
    CHECK(Same(f.Apply(0.5f), single->Apply(0.5f)));

    // Update has no probe: an unstable mark stays.
    const int mark = f.unstable;
    f.Update(rate);
    CHECK(mark == 0 || f.unstable == 1);
    delete single;
}

void FuzzSections(CTimeFilter::Type type, CTimeFilter::Shape shape, int order, float f1, float f2, float rate,
                  float ripple, const std::vector<float>& samples)
{
    CSectionFilter f;
    CHECK(f.Initialize(1000.0f, 3000.0f, 51200.0f, CTimeFilter::Butterworth, CTimeFilter::BandPass, 2) == 0);
    for (int k = 0; k < 10; ++k)
        f.Apply(k == 0 ? 1.0f : 0.0f);
    const CSectionFilter before(f);

    const int code = f.Initialize(f1, f2, rate, type, shape, order, ripple);
    const bool known = type == CTimeFilter::Butterworth || type == CTimeFilter::Bessel ||
                       type == CTimeFilter::Chebyshev;
    const bool knownShape = shape >= CTimeFilter::LowPass && shape <= CTimeFilter::BandStop;
    if (!known || !knownShape || order < 1 || order > 10)
        CHECK(code == -1);
    else if (!(rate > 0.0f))
        CHECK(code == -2);
    else if (code != -2 && type == CTimeFilter::Chebyshev && ripple >= 0.0f)
        CHECK(code == -3);
    else
        CHECK(code == 0 || code == -2 || code == -4);
    if (code == -4)
        CHECK(type == CTimeFilter::Chebyshev);

    if (code != 0) {
        // Nothing changed: the filter goes on as its copy from before.
        CSectionFilter copy(before);
        for (int k = 0; k < 20; ++k) {
            const float x = k < static_cast<int>(samples.size()) ? samples[static_cast<size_t>(k)] : 0.0f;
            CHECK(Same(f.Apply(x), copy.Apply(x)));
        }
        return;
    }

    const int poles = IsBand(shape) ? 2 * order : order;
    CHECK(f.SectionCount() == (poles + 1) / 2);
    for (int i = 0; i < f.SectionCount(); ++i) {
        const CSectionFilter::Section& s = f.GetSection(i);
        CHECK(std::isfinite(s.b0) && std::isfinite(s.b1) && std::isfinite(s.b2));
        CHECK(std::isfinite(s.a1) && std::isfinite(s.a2));
        // Poles of z^2 + a1 z + a2 inside or (by rounding) on the unit circle.
        const double disc = s.a1 * s.a1 - 4.0 * s.a2;
        const double r = disc < 0.0 ? std::sqrt(s.a2) : 0.5 * (std::fabs(s.a1) + std::sqrt(disc));
        CHECK(r <= 1.0 + 1e-12);
    }

    CSectionFilter single(f);
    std::vector<float> block = samples, one = samples;
    f.Apply(block.data(), static_cast<int>(block.size()));
    for (float& x : one)
        x = single.Apply(x);
    CHECK(Same(block.data(), one.data(), one.size()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::Bytes in(data, size);
    const uint8_t t = in.Take<uint8_t>(), s = in.Take<uint8_t>();
    const uint8_t o = in.Take<uint8_t>(), flags = in.Take<uint8_t>();
    const CTimeFilter::Type type = static_cast<CTimeFilter::Type>(t % 4 == 3 ? 7 : t % 4);
    const CTimeFilter::Shape shape = static_cast<CTimeFilter::Shape>(s % 5 == 4 ? 9 : s % 5);
    const int order = 1 + o % 10;
    // Each value is a raw float or, by default, 16 bits (the ripple 8) scaled.
    const auto word = [&in] { return static_cast<float>(in.Take<uint16_t>()); };
    const float rate = (flags & 4) != 0 ? in.Take<float>() : 1000.0f + 2.0f * word();
    const float f1 = (flags & 1) != 0 ? in.Take<float>() : rate * 0.6f * word() / 65535.0f;
    const float f2 = (flags & 2) != 0 ? in.Take<float>() : rate * 0.6f * word() / 65535.0f;
    const float ripple = (flags & 8) != 0 ? in.Take<float>() : static_cast<float>(in.Take<int8_t>()) / 10.0f;

    std::vector<float> samples;
    while (in.Left() >= 2 && samples.size() < 4096)
        samples.push_back(static_cast<float>(static_cast<int16_t>(in.Take<uint16_t>())) / 32768.0f);

    FuzzSections(type, shape, o % 12, f1, f2, rate, ripple, samples);  // orders 0 to 11
    // CTimeFilter requires a positive sample rate and an order within its table.
    if (rate > 0.0f)
        FuzzDirect(type, shape, order, f1, f2, rate, ripple, samples);
    return 0;
}
