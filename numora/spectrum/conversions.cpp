#include "numora/spectrum/conversions.h"

#include <cmath>

#include "numora/foundation/complex.h"
#include "numora/foundation/platform.h"
#include "numora/foundation/scalar.h"

namespace qv {
namespace math {

namespace {

// The random phase of a line is drawn from this closed range.
constexpr double kPi = 3.141592653589793;

// out = in * (1 / df): the reciprocal is formed once, in double, and each
// widened line is multiplied by it, rounding once at the store.
template <typename Real>
void MultiplyByReciprocal(const Real* in, Real* out, int lines, Real df)
{
    const double r = 1.0 / static_cast<double>(df);
    for (int i = 0; i < lines; ++i)
        out[i] = static_cast<Real>(static_cast<double>(in[i]) * r);
}

// out = sqrt(in): the root in double of the widened value, rounded at the store.
template <typename Real>
void Root(const Real* in, Real* out, int lines)
{
    for (int i = 0; i < lines; ++i)
        out[i] = static_cast<Real>(std::sqrt(static_cast<double>(in[i])));
}

// out = sqrt(in * k): the product in the element's precision, the root in
// double of the widened product, rounded once at the store.
template <typename Real>
void RootOfProduct(const Real* in, Real* out, int lines, Real k)
{
    for (int i = 0; i < lines; ++i) {
        const Real p = in[i] * k;
        out[i] = static_cast<Real>(std::sqrt(static_cast<double>(p)));
    }
}

// out = in * k in the element's precision.
template <typename Real>
void Scale(const Real* in, Real* out, int lines, Real k)
{
    for (int i = 0; i < lines; ++i)
        out[i] = in[i] * k;
}

// out = in * in / df in the element's precision, with a true division.
template <typename Real>
void SquareOverSpacing(const Real* in, Real* out, int lines, Real df)
{
    for (int i = 0; i < lines; ++i)
        out[i] = (in[i] * in[i]) / df;
}

// Line value from magnitude and phase (radians), each part rounded once.
template <typename Cplx, typename Real>
void SetPolar(Cplx& z, double mag, double phase)
{
    z.re = static_cast<Real>(std::cos(phase) * mag);
    z.im = static_cast<Real>(std::sin(phase) * mag);
}

}  // namespace

void APStoPSD(float* aps, float* psd, int lines, float df)
{
    MultiplyByReciprocal(aps, psd, lines, df);
}

void APStoPSD(double* aps, double* psd, int lines, double df)
{
    MultiplyByReciprocal(aps, psd, lines, df);
}

void APStoFRQ(float* aps, float* frq, int lines)
{
    Root(aps, frq, lines);
}

void APStoFRQ(double* aps, double* frq, int lines)
{
    Root(aps, frq, lines);
}

void PSDtoAPS(float* psd, float* aps, int lines, float df)
{
    Scale(psd, aps, lines, df);
}

void PSDtoAPS(double* psd, double* aps, int lines, double df)
{
    Scale(psd, aps, lines, df);
}

void PSDtoFRQ(float* psd, float* frq, int lines, float df)
{
    RootOfProduct(psd, frq, lines, df);
}

void PSDtoFRQ(double* psd, double* frq, int lines, double df)
{
    RootOfProduct(psd, frq, lines, df);
}

void FRQtoPSD(float* frq, float* psd, int lines, float df)
{
    SquareOverSpacing(frq, psd, lines, df);
}

void FRQtoPSD(double* frq, double* psd, int lines, double df)
{
    SquareOverSpacing(frq, psd, lines, df);
}

void FRQtoAPS(float* frq, float* aps, int lines)
{
    for (int i = 0; i < lines; ++i)
        aps[i] = frq[i] * frq[i];
}

void LINtoAPS(float* lin, float* aps, int lines)
{
    FRQtoAPS(lin, aps, lines);
}

void FRQtoFFT(double* mag, double* phase, complex_d* fft, int lines)
{
    for (int i = 0; i < lines; ++i)
        SetPolar<complex_d, double>(fft[i], mag[i], phase[i]);
}

void FRQtoFFT(float* mag, float* phase, complex* fft, int lines)
{
    for (int i = 0; i < lines; ++i)
        SetPolar<complex, float>(fft[i], static_cast<double>(mag[i]),
                                 static_cast<double>(phase[i]));
}

void FRQtoFFT(float* mag, complex* fft, int lines, int seed)
{
    if (seed >= 1)
        SRand(static_cast<unsigned int>(seed));
    fft[0].re = 0.0f;
    fft[0].im = 0.0f;
    for (int i = 1; i < lines; ++i) {
        const double x = GetRandomValue(-kPi, kPi);
        SetPolar<complex, float>(fft[i], static_cast<double>(mag[i]), x);
    }
}

void APSApplySineX_X(float* aps, float* corr, int lastLine)
{
    for (int i = 0; i <= lastLine; ++i)
        aps[i] *= corr[i];
}

void PSDApplySineX_X(float* psd, float* corr, int lastLine)
{
    APSApplySineX_X(psd, corr, lastLine);
}

void FFTApplySineX_X(complex* fft, complex* corr, int lines)
{
    for (int i = 0; i < lines; ++i) {
        const float m = ComplexMag(corr[i]);
        // Complex product with (m, 0); the imaginary part takes the real
        // part already updated, which matters only for signed zeros and
        // non-finite values.
        fft[i].re = m * fft[i].re - 0.0f * fft[i].im;
        fft[i].im = m * fft[i].im + 0.0f * fft[i].re;
    }
}

void init_sinx_x_comp(float* /*table*/, float /*a*/, float /*b*/, int /*c*/, int /*d*/)
{
}

}  // namespace math
}  // namespace qv
