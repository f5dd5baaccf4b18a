// Fuzz target for drive clipping: clip counts equal the samples changed and
// clipped samples sit at the limit; types without a clip, and the limit query,
// leave the data alone; the iterative clips keep their counters and bounds.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "numora/drive/clipping.h"
#include "numora/transforms/timing.h"

using fuzz::Bytes;

namespace {

// Samples that differ between two frames.
template <typename T>
int Changed(const std::vector<T>& a, const std::vector<T>& b)
{
    int c = 0;
    for (size_t i = 0; i < a.size(); ++i)
        c += a[i] != b[i];
    return c;
}

void Simple(Bytes& in)
{
    const int n = in.Small(80);
    std::vector<float> data(static_cast<size_t>(n));
    for (float& v : data)
        v = in.Unit(20.0f) - 10.0f;
    const std::vector<float> before = data;
    const auto type = static_cast<qv::DriveClipType>(in.Small(8));
    const double sigma = in.Unit(4.0);
    const bool overshoot = in.Take<uint8_t>() & 1;
    double dev = -1.0;

    // The limit query changes nothing, and writes the deviation unless type 0.
    const float limit = qv::math::GetSigmaClip(data.data(), n, type, sigma, dev, overshoot);
    CHECK(data == before && !(limit < 0.0f));  // NaN where rounding makes the variance negative
    CHECK((type == qv::DriveClipNone || n < 1) == (dev == -1.0));

    switch (in.Small(4)) {
    case 0: {
        const int count = qv::math::SigmaClip(data.data(), n, type, sigma, dev, overshoot);
        CHECK(count == Changed(before, data));
        const bool clips =
            type == qv::DriveClipSigma || type == qv::DriveClipSixSigma || type == qv::DriveClipZeroOut;
        if (!clips)
            CHECK(count == 0);
        for (size_t i = 0; i < data.size(); ++i) {
            if (data[i] == before[i])
                continue;
            if (type == qv::DriveClipZeroOut)
                CHECK(data[i] == 0.0f);
            else
                CHECK(std::fabs(data[i]) == limit &&
                      data[i] * before[i] >= 0.0f);  // the same limit, same side
        }
        break;
    }
    case 1: {
        const float plain = in.Unit(8.0f);
        const int count = qv::math::SigmaClip(data.data(), n, type, plain);
        CHECK(count == Changed(before, data));
        for (float v : data)
            CHECK(type == qv::DriveClipNone || std::fabs(v) <= plain);
        break;
    }
    case 2: {
        const int count = qv::math::SigmaClipEU(data.data(), n, type, static_cast<float>(sigma));
        CHECK(count == Changed(before, data));
        break;
    }
    default: {
        const float low = in.Unit(10.0f) - 5.0f, high = in.Unit(10.0f) - 5.0f;
        const int count = qv::math::RangeClip(data.data(), n, low, high);
        CHECK(count >= Changed(before, data) && count <= 2 * n);
        for (float v : data)
            CHECK(low > high ? v <= high || v == low : (v >= low && v <= high));
        break;
    }
    }
}

void Iterative(Bytes& in)
{
    const int size = 64 << in.Small(3);  // 64, 128 or 256
    QV_BASE_FRAME_SETUP frame{};
    qv::math::UpdateFrameInfo(frame, static_cast<uint32_t>(size),
                              in.Take<uint8_t>() & 1 ? QV_FFT_SCALE_PEAK : QV_FFT_SCALE_RMS, 2560.0, 2.56,
                              1000.0);
    frame.firstLine = static_cast<uint32_t>(in.Small(8));
    frame.lastLine = frame.lines - static_cast<uint32_t>(in.Small(8));
    std::vector<double> amplitude(static_cast<size_t>(size), 0.0), time(static_cast<size_t>(size));
    std::vector<double> spectrum(static_cast<size_t>(size)), phase(static_cast<size_t>(size / 2), 0.0);
    for (uint32_t k = 0; k < frame.linesWithDC; ++k)
        amplitude[k] = in.Unit(2.0);
    const double sigma = in.Unit(4.0) + 0.5;
    const double peak = in.Unit(4.0) + 0.25;
    const double above = in.Unit(0.01);
    double rms = -1.0;
    if (in.Take<uint8_t>() & 1) {
        const int count =
            qv::math::FRQtoTIM_PhaseSigmaClip(amplitude.data(), time.data(), spectrum.data(), phase.data(),
                                              frame, sigma, true, peak, rms, above);
        CHECK(count >= 0 && count <= size && std::isfinite(rms));
    } else {
        int pass = in.Small(10);
        const int calls = in.Small(4) + 1;
        for (int c = 0; c < calls; ++c) {
            const int before = pass;
            const int count = qv::math::RandomUltraClip(amplitude.data(), time.data(), spectrum.data(),
                                                        phase.data(), frame, sigma, peak, pass, rms, above);
            CHECK(pass == before + 1 && count >= 0 && count <= size && std::isfinite(rms));
        }
    }
    double largest = 0.0;
    for (double v : time)
        largest = std::max(largest, std::fabs(v));
    CHECK(largest == 0.0 || std::fabs(largest - peak) <= 1e-12 * peak);  // normalised to the peak target
    for (double p : phase)
        CHECK(std::isfinite(p) && std::fabs(p) <= 3.1415926535897936);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Bytes in(data, size);
    if (in.Small(2) == 0)
        Simple(in);
    else
        Iterative(in);
    return 0;
}
