#include "numora/transforms/weighting.h"

#include <cmath>

namespace qv {
namespace math {

namespace {

// Lines at or below this frequency (Hz) are cleared by every weighting.
constexpr double kCutFrequency = 0.001;

// Pole factor shared by the three curves, with v = f^2. The constants are the
// squares of the rounded pole frequencies 20.6 Hz and 12200 Hz.
double CommonFactor(double v)
{
    return v / ((v + 424.36) * (v + 148840000.0));
}

// A curve: poles at 107.7 Hz and 737.9 Hz added; divided by its unnormalised
// value at 1 kHz rounded to seven digits, so A(1000) = 0.99999996.
double CurveA(double v)
{
    return CommonFactor(v) * v / std::sqrt((v + 544496.41) * (v + 11599.29)) / 5.336915e-9;
}

// B curve: pole at 158.5 Hz added; divided by its exact unnormalised value at
// 1 kHz, K(1000) * 1000 / sqrt(1000^2 + 25122.25), so B(1000) = 1.
double CurveB(double f, double v)
{
    const double norm = 6.670954484817289e-6 / std::sqrt(1025122.25);
    return CommonFactor(v) * f / std::sqrt(v + 25122.25) / norm;
}

// C curve: normalised at the geometric centre of its poles, f0^2 = 20.6 * 12200
// = 251320, so C(f0) = 1 and C(1000) is about -0.033 dB.
double CurveC(double v)
{
    return CommonFactor(v) / CommonFactor(251320.0);
}

// Gain of the line at f Hz for a weight value of 1 or more.
double LineGain(QV_ACOUSTIC_WEIGHT weight, double f)
{
    if (f <= kCutFrequency)
        return 0.0;
    const double v = f * f;
    double curve;
    switch (weight) {
    case QV_WEIGHT_A:
    case QV_WEIGHT_INV_A:
        curve = CurveA(v);
        break;
    case QV_WEIGHT_B:
    case QV_WEIGHT_INV_B:
        curve = CurveB(f, v);
        break;
    case QV_WEIGHT_C:
    case QV_WEIGHT_INV_C:
        curve = CurveC(v);
        break;
    default:
        return 1.0;
    }
    // Protects the reciprocal; cannot trigger for positive finite f.
    if (curve <= 0.0)
        curve = 1.0;
    return weight >= QV_WEIGHT_INV_A ? 1.0 / curve : curve;
}

// True when a call must leave its arrays untouched.
bool NothingToDo(QV_ACOUSTIC_WEIGHT weight, int lines, double df)
{
    return weight < 1 || df <= 0.0 || lines < 1;
}

// out[i] = in[i] * g, or in[i] * (g * g) for a power spectrum, the square
// taken in double so that the line rounds once.
void WeightRealLines(QV_ACOUSTIC_WEIGHT weight, float* out, const float* in, int lines, float df,
                     bool power)
{
    if (NothingToDo(weight, lines, static_cast<double>(df)))
        return;
    const double step = static_cast<double>(df);
    for (int i = 0; i < lines; ++i) {
        const double g = LineGain(weight, static_cast<double>(i) * step);
        const double factor = power ? g * g : g;
        out[i] = static_cast<float>(static_cast<double>(in[i]) * factor);
    }
}

}  // namespace

int Weight_FFT(QV_ACOUSTIC_WEIGHT weight, complex* fft, int lines, float df)
{
    if (NothingToDo(weight, lines, static_cast<double>(df)))
        return 0;
    const double step = static_cast<double>(df);
    for (int i = 0; i < lines; ++i) {
        const double g = LineGain(weight, static_cast<double>(i) * step);
        fft[i].re = static_cast<float>(static_cast<double>(fft[i].re) * g);
        fft[i].im = static_cast<float>(static_cast<double>(fft[i].im) * g);
    }
    return 0;
}

int Weight_FFT(QV_ACOUSTIC_WEIGHT weight, complex_d* fft, int lines, double df)
{
    if (NothingToDo(weight, lines, df))
        return 0;
    for (int i = 0; i < lines; ++i) {
        const double g = LineGain(weight, static_cast<double>(i) * df);
        fft[i].re *= g;
        fft[i].im *= g;
    }
    return 0;
}

int Weight_LinearSpec(QV_ACOUSTIC_WEIGHT weight, float* out, float* in, int lines, float df)
{
    WeightRealLines(weight, out, in, lines, df, false);
    return 0;
}

int Weight_PowerSpec(QV_ACOUSTIC_WEIGHT weight, float* out, float* in, int lines, float df)
{
    WeightRealLines(weight, out, in, lines, df, true);
    return 0;
}

}  // namespace math
}  // namespace qv
