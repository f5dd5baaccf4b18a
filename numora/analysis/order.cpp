#include "numora/analysis/order.h"

#include <cmath>
#include <cstddef>
#include <new>

#include "numora/foundation/complex.h"

namespace qv {
namespace math {

namespace {

const double kPi = 3.141592653589793;

}  // namespace

void Order_GenVec(ordinfo* info)
{
    Order_FreeVec(info);
    const int L = info->halfLength;
    if (L < 0)
        return;
    float* vec = new (std::nothrow) float[2 * static_cast<std::size_t>(L)];
    if (vec == nullptr)
        return;

    // h is the right half of a Hann window over 2 L samples, normalised to a
    // sum of 1 over the half; x is the phase (k + 0.5) samples from the centre.
    const double invL = 1.0 / static_cast<double>(L);
    const double twoL = 2.0 * static_cast<double>(L);
    for (int k = 0; k < L; ++k) {
        const double a = (2.0 * static_cast<double>(k) + 1.0) * kPi;
        const double h = (std::cos(a / twoL) + 1.0) * invL;
        const double x = a * info->frequency / info->sampleRate;
        vec[2 * k] = static_cast<float>(std::cos(x) * h);
        vec[2 * k + 1] = static_cast<float>(std::sin(x) * (-h));
    }
    info->vector = vec;
    info->vectorFrequency = info->frequency;
}

void Order_FreeVec(ordinfo* info)
{
    delete[] info->vector;
    info->vector = nullptr;
}

void Order_Extract(ordinfo* info, float* data, int n)
{
    if (n < 1)
        return;

    double minimum = static_cast<double>(data[0]);
    double maximum = minimum;
    double peak = std::fabs(minimum);
    double sum = 0.0;
    double squares = 0.0;
    for (int i = 0; i < n; ++i) {
        const double x = static_cast<double>(data[i]);
        if (x < minimum)
            minimum = x;
        if (x > maximum)
            maximum = x;
        if (std::fabs(x) > peak)
            peak = std::fabs(x);
        sum += x;
        squares += x * x;
    }
    const double m = sum / n;
    const double q = squares / n;
    const double v = q - m * m;
    info->stdDev = static_cast<float>(v > 0.0 ? std::sqrt(v) : v);
    info->peak = static_cast<float>(peak);
    info->mean = static_cast<float>(m);
    info->meanSquare = static_cast<float>(q);
    info->minimum = static_cast<float>(minimum);
    info->maximum = static_cast<float>(maximum);

    // The vector runs outward from the centre, between samples L - 1 and L:
    // backwards over the first half (conjugate phase), forwards over the second.
    const int L = info->halfLength;
    const float* vec = info->vector;
    double r1 = 0.0, i1 = 0.0;
    for (int k = 0; k < L; ++k) {
        const float x = data[L - 1 - k];
        r1 += static_cast<double>(x * vec[2 * k]);
        i1 -= static_cast<double>(x * vec[2 * k + 1]);
    }
    double r2 = 0.0, i2 = 0.0;
    for (int k = 0; k < L; ++k) {
        const float x = data[L + k];
        r2 += static_cast<double>(x * vec[2 * k]);
        i2 += static_cast<double>(x * vec[2 * k + 1]);
    }
    complex_d back{r1, i1};
    complex_d front{r2, i2};
    complex_d total;
    ComplexAdd(&back, &front, &total);
    info->re = static_cast<float>(total.re);
    info->im = static_cast<float>(total.im);
    info->power = total.re * total.re + total.im * total.im;
    info->magnitude = std::sqrt(info->power);
}

}  // namespace math
}  // namespace qv
