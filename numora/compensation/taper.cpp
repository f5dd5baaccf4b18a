#include "numora/compensation/taper.h"

#include <cmath>
#include <cstdint>

#include "numora/foundation/array.h"
#include "numora/transforms/fft.h"

namespace qv {
namespace math {

namespace {

const double kTwoPi = 6.283185307179586;
const double kHalfPi = 1.5707963267948966;

// Calls visit(index, j) for index = from .. to inclusive, stepping towards
// `to`, with the step count j starting at 0.
template <typename Visit>
void Walk(int from, int to, Visit visit)
{
    const int step = from < to ? 1 : -1;
    for (int index = from, j = 0;; index += step, ++j) {
        visit(index, j);
        if (index == to)
            break;
    }
}

// pi / 2 over the length of the span from..to.
double QuarterTurnPerStep(int from, int to)
{
    return kHalfPi / std::fabs(static_cast<double>(to) - static_cast<double>(from));
}

float Weigh(double weight, float value)
{
    return static_cast<float>(weight * static_cast<double>(value));
}

// exp(-j * rate): the exponent is formed in float, the exponential in double.
double Decay(int j, float rate)
{
    return std::exp(static_cast<double>(static_cast<float>(-j) * rate));
}

}  // namespace

float ms_delay(float* x, unsigned int n)
{
    if (n == 0)
        return 0.0f;
    const double w = kTwoPi / static_cast<double>(n);
    double c = 0.0;
    double s = 0.0;
    for (unsigned int i = 0; i < n; ++i) {
        const double square = static_cast<double>(x[i]) * static_cast<double>(x[i]);
        const double angle = static_cast<double>(i) * w;
        c += std::cos(angle) * square;
        s += std::sin(angle) * square;
    }
    const float d = static_cast<float>(std::atan2(s, c) * static_cast<double>(n) / kTwoPi);
    return d < 0.0f ? static_cast<float>(n) + d : d;
}

int centerPAB(float* in, float* out, unsigned int n)
{
    const std::uint32_t size = n;
    const std::uint32_t half = size >> 1;
    // The index difference wraps modulo 2^32 before the remainder is taken.
    for (std::uint32_t i = 0; i < size; ++i)
        out[static_cast<std::uint32_t>(i - half) % size] = in[i];
    return static_cast<int>(half);
}

int CompShifttoCenter(float* in, float* out, unsigned int n)
{
    return centerPAB(in, out, n);
}

int CompCenter(float* x, unsigned int n)
{
    const float centre = ms_delay(x, n) + 0.5f;
    return static_cast<int>(centre) - static_cast<int>(n >> 1);
}

void BinAverage(complex* spectrum, int n)
{
    if (n <= 3)
        return;
    complex t = spectrum[1];
    for (int k = 2; k <= n - 2; ++k) {
        t.re = t.re * 1.5f;
        t.im = t.im * 1.5f;
        spectrum[k - 1] = t;
        t.re = (t.re + spectrum[k].re + spectrum[k + 1].re) * 0.33333334f;
        t.im = (t.im + spectrum[k].im + spectrum[k + 1].im) * 0.33333334f;
    }
}

void TaperReal(float* x, int from, int to)
{
    if (from == to)
        return;
    const double k = QuarterTurnPerStep(from, to);
    Walk(from, to, [&](int index, int j) {
        const double c = std::cos(static_cast<double>(j) * k);
        x[index] = Weigh(c * c, x[index]);
    });
}

void TaperSineSq(float* x, int n)
{
    if (n <= 0)
        return;
    const double k = kHalfPi / static_cast<double>(n);
    for (int i = 0; i < n; ++i) {
        const double s = std::sin(static_cast<double>(i) * k);
        x[i] = Weigh(s * s, x[i]);
    }
}

void TaperComplex(complex* spectrum, int from, int to)
{
    if (from == to)
        return;
    const double k = QuarterTurnPerStep(from, to);
    Walk(from, to, [&](int index, int j) {
        const double c = std::cos(static_cast<double>(j) * k);
        const double weight = c * c * c;
        spectrum[index].re = Weigh(weight, spectrum[index].re);
        spectrum[index].im = Weigh(weight, spectrum[index].im);
    });
}

void RealExp_taper(float* x, float rate, int from, int to)
{
    if (rate <= 0.0f)
        return;
    Walk(from, to, [&](int index, int j) { x[index] = Weigh(Decay(j, rate), x[index]); });
}

void ComplexExp_taper(complex* spectrum, float rate, int from, int to)
{
    if (rate <= 0.0f)
        return;
    Walk(from, to, [&](int index, int j) {
        const double weight = Decay(j, rate);
        spectrum[index].re = Weigh(weight, spectrum[index].re);
        spectrum[index].im = Weigh(weight, spectrum[index].im);
    });
}

int generate_impulseResponse(complex* spectrum, float* out, float* work, int n, float scale, bool reserved)
{
    (void)reserved;
    float* b = work != nullptr ? work : out;
    if (spectrum == nullptr || b == nullptr || n < 1)
        return 0;
    ArraySet(b, 0.0f, n);
    ArrayCopy(b, reinterpret_cast<float*>(spectrum), n / 2);
    DFT(b, n, -1);
    CorrIFT(b, n, scale);
    if (work == nullptr)
        return 0;
    return CompShifttoCenter(work, out, static_cast<unsigned int>(n));
}

}  // namespace math
}  // namespace qv
