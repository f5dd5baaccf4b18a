#include "numora/foundation/complex.h"

#include <cmath>
#include <cstdint>

#include "numora/foundation/array.h"
#include "numora/foundation/cut_detail.h"
#include "numora/foundation/scalar.h"

complexd operator+(complexd a, complexd b)
{
    return complexd{a.re + b.re, a.im + b.im};
}

complexd operator-(complexd a, complexd b)
{
    return complexd{a.re - b.re, a.im - b.im};
}

complexd operator-(complexd a)
{
    // Subtracting from +0.0 rather than flipping the sign keeps a zero part +0.0.
    return complexd{0.0 - a.re, 0.0 - a.im};
}

complexd operator*(complexd a, complexd b)
{
    return complexd{a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}

complexd operator*(double k, complexd a)
{
    return complexd{k * a.re, k * a.im};
}

complexd operator/(complexd a, double k)
{
    return complexd{a.re / k, a.im / k};
}

void operator/=(complexd& a, double k)
{
    a.re = a.re / k;
    a.im = a.im / k;
}

complexd operator/(complexd a, complexd b)
{
    const double d = b.im * b.im + b.re * b.re;
    return complexd{(a.im * b.im + a.re * b.re) / d, (a.im * b.re - a.re * b.im) / d};
}

bool operator==(complexd a, complexd b)
{
    return a.re == b.re && a.im == b.im;
}

namespace qv {
namespace math {

namespace {

// Unwraps p[1..n-1] in float against the half period h and the full period f,
// correcting each tail element by element.
void UnwrapTail(float* p, int n, float h, float f)
{
    const float negH = -h;
    for (int i = 1; i < n; ++i) {
        const float d = p[i] - p[i - 1];
        if (d > h) {
            for (int j = i; j < n; ++j)
                p[j] = p[j] - f;
        } else if (d < negH) {
            for (int j = i; j < n; ++j)
                p[j] = p[j] + f;
        }
    }
}

}  // namespace

double ComplexHypot(complexd z)
{
    return std::hypot(z.im, z.re);
}

double ComplexAtan2(complexd z)
{
    return std::atan2(z.im, z.re);
}

complexd ComplexExpj(double x)
{
    return complexd{std::cos(x), std::sin(x)};
}

complexd ComplexSqr(complexd z)
{
    return complexd{z.re * z.re - z.im * z.im, z.re * z.im + z.im * z.re};
}

complexd ComplexSqrt(complexd z)
{
    const double m = std::hypot(z.im, z.re);
    const double a = (m - z.re) * 0.5;
    const double b = (z.re + m) * 0.5;
    double im = a >= 0.0 ? std::sqrt(a) : 0.0;
    const double re = b >= 0.0 ? std::sqrt(b) : 0.0;
    if (z.im < 0.0)
        im = -im;
    return complexd{re, im};
}

complexd ComplexExp(complexd z)
{
    const double e = std::exp(z.re);
    return complexd{std::cos(z.im) * e, std::sin(z.im) * e};
}

complexd ComplexConj(complexd z)
{
    return complexd{z.re, -z.im};
}

complexd ComplexEval(complexd* const coeffs, int degree, complexd z)
{
    double r = 0.0;
    double q = 0.0;
    for (int i = degree; i >= 0; --i) {
        const double nr = r * z.re - q * z.im + coeffs[i].re;
        const double nq = r * z.im + q * z.re + coeffs[i].im;
        r = nr;
        q = nq;
    }
    return complexd{r, q};
}

complexd ComplexEvaluate(complexd* const num, int numDegree, complexd* const den, int denDegree,
                         complexd z)
{
    const complexd d = ComplexEval(den, denDegree, z);
    const complexd n = ComplexEval(num, numDegree, z);
    return n / d;
}

void ComplexAdd(complex* a, complex* b, complex* sum)
{
    sum->re = a->re + b->re;
    sum->im = a->im + b->im;
}

void ComplexAdd(complex_d* a, complex_d* b, complex_d* sum)
{
    sum->re = a->re + b->re;
    sum->im = a->im + b->im;
}

float ComplexMagSqr(complex& z)
{
    return z.im * z.im + z.re * z.re;
}

double ComplexMagSqr(complex_d& z)
{
    return z.im * z.im + z.re * z.re;
}

float ComplexMag(complex& z)
{
    const float s = z.im * z.im + z.re * z.re;
    return static_cast<float>(std::sqrt(static_cast<double>(s)));
}

double ComplexMag(double re, double im)
{
    return std::sqrt(re * re + im * im);
}

float ComplexPhase(complex& z)
{
    if (z.re == 0.0f && z.im == 0.0f)
        return 0.0f;
    return static_cast<float>(
        Rad2Deg(std::atan2(static_cast<double>(z.im), static_cast<double>(z.re))));
}

double ComplexPhase(double re, double im)
{
    if (re == 0.0 && im == 0.0)
        return 0.0;
    return Rad2Deg(std::atan2(im, re));
}

double ComplexPhaseR(complex_d& z)
{
    return std::atan2(z.im, z.re);
}

float ComplexAtan2(complex z)
{
    return static_cast<float>(std::atan2(static_cast<double>(z.im), static_cast<double>(z.re)));
}

void ComplexTrans(complex& out, complex& a, complex& b)
{
    const float re = a.re * b.re + b.im * a.im;
    const float im = b.im * a.re - b.re * a.im;
    out.re = re;
    out.im = im;
}

void ComplexSetMagPhase(complex& z, double mag, double degrees)
{
    const double x = Deg2Rad(degrees);
    z.re = static_cast<float>(std::cos(x) * mag);
    z.im = static_cast<float>(std::sin(x) * mag);
}

void ComplexMagInput(complex& z, double mag)
{
    const double re = static_cast<double>(z.re);
    const double im = static_cast<double>(z.im);
    if (std::fabs(re) < 3.4e-38 && std::fabs(im) < 3.4e-38) {
        z.re = static_cast<float>(mag);
        z.im = 0.0f;
        return;
    }
    // The phase passes through float before it is used, as a stored phase would.
    const double theta = static_cast<double>(static_cast<float>(std::atan2(im, re)));
    z.re = static_cast<float>(std::cos(theta) * mag);
    z.im = static_cast<float>(std::sin(theta) * mag);
}

void ComplexPhaseInput(complex& z, double degrees)
{
    const float s = z.im * z.im + z.re * z.re;
    const double m = std::sqrt(static_cast<double>(s));
    const double x = Deg2Rad(degrees);
    z.re = static_cast<float>(std::cos(x) * m);
    z.im = static_cast<float>(std::sin(x) * m);
}

void ComplexInvertArray(complex* out, complex* in, int n)
{
    for (int i = 0; i < n; ++i) {
        const float re = in[i].re;
        const float im = in[i].im;
        const float d = im * im + re * re;
        const bool usable = d > 0.0f;
        out[i].re = usable ? re / d : 0.0f;
        out[i].im = usable ? -im / d : 0.0f;
    }
}

void ComplexScaleArray(complex* out, complex* in, float k, int n)
{
    for (int i = 0; i < n; ++i) {
        out[i].re = k * in[i].re;
        out[i].im = k * in[i].im;
    }
}

void ComplexInitArrayDelay(complex* out, float delay, int lines)
{
    const double pi = 3.141592653589793;
    const double twoPi = 6.283185307179586;
    const double step = static_cast<double>(delay) * pi / static_cast<double>(lines);
    for (int i = 0; i < lines; ++i) {
        const double a = static_cast<double>(i) * step;
        // Whole turns are taken off first so that cos and sin see a small angle.
        const double t = static_cast<double>(detail::CutToInt(a / twoPi));
        const double x = a - t * twoPi;
        out[i].re = static_cast<float>(std::cos(x));
        out[i].im = static_cast<float>(std::sin(x));
    }
}

void ComplexArrayMax(complex* a, int n, int& index, float& imag, float& real, int first, int last)
{
    if (n < 1)
        return;
    if (first < 0)
        first = 0;
    if (last < 0)
        last = n - 1;
    int bestIndex = first;
    float best = a[first].im * a[first].im + a[first].re * a[first].re;
    for (int i = first + 1; i <= last; ++i) {
        const float m = a[i].im * a[i].im + a[i].re * a[i].re;
        if (m > best) {
            best = m;
            bestIndex = i;
        }
    }
    index = bestIndex;
    imag = a[bestIndex].im;
    real = a[bestIndex].re;
}

void ComplexUnwrapPhase(float* in, float* out, int n, UnitAngle unit)
{
    if (n < 1)
        return;
    for (int i = 0; i < n; ++i)
        out[i] = in[i];
    if (unit == UnitAngleDegrees)
        UnwrapTail(out, n, 180.0f, 360.0f);
    else
        UnwrapTail(out, n, 3.1415927f, 6.2831855f);
}

int ComplexUnwrapPhase(float* phase, int n, UnitAngle unit)
{
    float full = 360.0f;
    float half = 180.0f;
    float negHalf = -180.0f;
    if (unit == UnitAngleRadians) {
        full = static_cast<float>(Deg2Rad(360.0));
        half = static_cast<float>(Deg2Rad(180.0));
        negHalf = static_cast<float>(Deg2Rad(-180.0));
    }
    int corrections = 0;
    for (int i = 1; i < n; ++i) {
        const float d = phase[i] - phase[i - 1];
        if (d > half) {
            ArraySum(phase + i, -full, n - i);
            ++corrections;
        } else if (d < negHalf) {
            ArraySum(phase + i, full, n - i);
            ++corrections;
        }
    }
    return corrections;
}

}  // namespace math
}  // namespace qv
