// Fuzz target for the waveform helpers: trapezoid pulses, the sine adder and
// the overshoot curve, checked against their counts, bounds and ranges.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "numora/drive/waveforms.h"

using fuzz::Bytes;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Bytes in(data, size);

    // Trapezoid: at most 64 samples for each of rise, hold and fall, at 1 kHz.
    const double rise = in.Unit(64.0) - 4.0, hold = in.Unit(64.0) - 4.0, fall = in.Unit(64.0) - 4.0;
    const double amplitude = in.Unit(20.0) - 10.0;
    const int start = in.Take<uint8_t>() % 8;
    std::vector<float> out(8 + 3 * 64 + 8, 1234.5f);
    const int end = qv::math::GenTrapezoid(out.data(), start, 1000.0, rise, hold, fall, amplitude);
    const int r = rise > 0 ? static_cast<int>(1000.0 * rise / 1000.0) : 0;
    const int h = hold > 0 ? static_cast<int>(1000.0 * hold / 1000.0) : 0;
    const int f = fall > 0 ? static_cast<int>(1000.0 * fall / 1000.0) : 0;
    CHECK(end == start + r + h + f);
    const int written = end + (fall <= 0 ? 1 : 0);
    for (int i = 0; i < static_cast<int>(out.size()); ++i) {
        if (i < start || i >= written) {
            CHECK(out[static_cast<size_t>(i)] == 1234.5f);  // nothing outside the pulse
        } else {
            const double v = static_cast<double>(out[static_cast<size_t>(i)]);
            CHECK(std::fabs(v) <= std::fabs(amplitude) * (1.0 + 1e-6));
            CHECK(v * amplitude >= 0.0);  // on the amplitude's side of zero
        }
    }
    if (fall <= 0)
        CHECK(out[static_cast<size_t>(end)] == 0.0f);

    // Sine: every sample moves by at most |amplitude|.
    const double frequency = in.Unit(30000.0) - 15000.0;
    const double sineAmplitude = in.Unit(8.0);
    const int n = in.Take<uint8_t>();
    std::vector<float> a(static_cast<size_t>(n) + 1, 0.5f);
    qv::math::AddSineWave(a.data(), n, frequency, sineAmplitude, 48000.0);
    for (int i = 0; i < n; ++i)
        CHECK(std::fabs(static_cast<double>(a[static_cast<size_t>(i)]) - 0.5) <=
              sineAmplitude * (1.0 + 1e-6) + 1e-7);
    CHECK(a[static_cast<size_t>(n)] == 0.5f);

    // Overshoot: between 0.449 and 1.088 for 0 <= x <= 4.8, and 1 above.
    const float x = in.Take<float>();
    const float g = qv::math::InterpOvershoot(x);
    if (x > 4.8f)
        CHECK(g == 1.0f);
    else if (x >= 0.0f)
        CHECK(g >= 0.449f && g <= 1.0878f);
    else if (!std::isnan(x))
        CHECK(!(g < 0.0f));
    return 0;
}
