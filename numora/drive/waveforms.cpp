#include "numora/drive/waveforms.h"

#include <cmath>

#include "numora/foundation/cut_detail.h"

namespace qv {
namespace math {

int GenTrapezoid(float* out, int start, double sampleRate, double riseMs, double holdMs, double fallMs,
                 double amplitude)
{
    // Exact sample counts; the ramps step by the exact count, the loops run
    // over the whole ones.
    const double rise = sampleRate * riseMs / 1000.0;
    const double hold = sampleRate * holdMs / 1000.0;
    const double fall = sampleRate * fallMs / 1000.0;
    const int r = detail::CutToInt(rise);
    const int h = detail::CutToInt(hold);
    const int f = detail::CutToInt(fall);
    int p = start;
    if (riseMs > 0.0 && r > 0) {
        const double step = amplitude / rise;
        for (int i = 0; i < r; ++i)
            out[p + i] = static_cast<float>(i * step);
        p += r;
    }
    if (holdMs > 0.0 && h >= 1) {
        const float top = static_cast<float>(amplitude);
        for (int i = 0; i < h; ++i)
            out[p + i] = top;
        p += h;
    }
    if (fallMs > 0.0 && f > 0) {
        const double step = -amplitude / fall;
        for (int i = 0; i < f; ++i)
            out[p + i] = static_cast<float>(i * step + amplitude);
        p += f;
    }
    if (fallMs <= 0.0)
        out[p] = 0.0f;  // closes the pulse; not counted, the next pulse starts here
    return p;
}

void AddSineWave(float* a, int n, double frequency, double amplitude, double sampleRate)
{
    const double inc = frequency / sampleRate;
    double p = 0.0;
    for (int i = 0; i < n; ++i) {
        double whole;
        p = std::modf(inc + p, &whole);
        a[i] += static_cast<float>(std::sin(p * 6.283185307179586) * amplitude);
    }
}

float InterpOvershoot(float x)
{
    if (x > 4.8f)
        return 1.0f;
    float g =
        static_cast<float>(std::pow(static_cast<double>(1.27f), static_cast<double>(std::fabs(2.8f - x))) *
                           static_cast<double>(1.14f));
    if (x > 3.8f)
        g = g / static_cast<float>(std::pow(2.0, static_cast<double>(x - 3.8f)));
    return 1.0f / g;
}

}  // namespace math
}  // namespace qv
