#include "numora/spectrum/auto_spectrum.h"

#include <cmath>
#include <cstdint>
#include <utility>

namespace qv {
namespace math {
namespace {

// Power of one line in the precision of its element: for complex each square
// and the sum round to float, for complex_d everything stays double.
inline float LinePower(const complex& c) { return c.re * c.re + c.im * c.im; }
inline double LinePower(const complex_d& c) { return c.re * c.re + c.im * c.im; }

template <typename Cplx>
using PowerOf = decltype(LinePower(std::declval<const Cplx&>()));

// Weight of the new frame in its product with P: a float spectrum forms its
// contribution in float (a rounded once), a double spectrum in double.
inline float FrameWeight(const complex*, double a) { return static_cast<float>(a); }
inline double FrameWeight(const complex_d*, double a) { return a; }

// Amplitude of a summed power: the root is taken in double and rounded back to
// the power's precision, so float measures compare float values.
inline float Amplitude(float power) { return static_cast<float>(std::sqrt(static_cast<double>(power))); }
inline double Amplitude(double power) { return std::sqrt(power); }

// Overwrites aps with the frame's line powers, without reading the old content.
template <typename Cplx, typename Real>
void StorePowers(const Cplx* fft, Real* aps, int lines)
{
    for (int i = 0; i < lines; ++i)
        aps[i] = static_cast<Real>(LinePower(fft[i]));
}

template <typename Cplx, typename Real>
void WeightedUpdate(const Cplx* fft, Real* aps, int lines, int frames)
{
    if (frames <= 1) {
        StorePowers(fft, aps, lines);
        return;
    }
    const double a = 1.0 / static_cast<double>(frames);
    const double b = 1.0 - a;
    const auto weight = FrameWeight(fft, a);
    for (int i = 0; i < lines; ++i) {
        const double contribution = static_cast<double>(LinePower(fft[i]) * weight);
        aps[i] = static_cast<Real>(contribution + static_cast<double>(aps[i]) * b);
    }
}

template <typename Cplx, typename Real>
void PeakHold(const Cplx* fft, Real* aps, int lines, int frameNumber)
{
    if (frameNumber <= 1) {
        StorePowers(fft, aps, lines);
        return;
    }
    for (int i = 0; i < lines; ++i) {
        const PowerOf<Cplx> power = LinePower(fft[i]);
        const Real old = aps[i];
        aps[i] = power > static_cast<PowerOf<Cplx>>(old) ? static_cast<Real>(power) : old;
    }
}

// Keeps the frame with the higher measure; a tie or NaN keeps the earlier one.
template <typename Cplx, typename Real>
Real HoldFrame(const Cplx* fft, Real* aps, int lines, int frameNumber, Real held, PowerOf<Cplx> measure)
{
    if (frameNumber > 1 && !(measure > static_cast<PowerOf<Cplx>>(held)))
        return held;
    StorePowers(fft, aps, lines);
    return static_cast<Real>(measure);
}

// Running sum over lines 0 to lines - 2, in the power's precision, in line order.
template <typename Cplx>
PowerOf<Cplx> PowerSum(const Cplx* fft, int lines)
{
    PowerOf<Cplx> sum = 0;
    for (int i = 0; i + 1 < lines; ++i)
        sum += LinePower(fft[i]);
    return sum;
}

template <typename Cplx>
PowerOf<Cplx> PowerMax(const Cplx* fft, int lines)
{
    PowerOf<Cplx> best = 0;
    for (int i = 0; i + 1 < lines; ++i) {
        const PowerOf<Cplx> power = LinePower(fft[i]);
        best = power > best ? power : best;
    }
    return best;
}

template <typename Cplx>
PowerOf<Cplx> MaxBand3(const Cplx* fft, int lines)
{
    if (lines < 2)
        return 0;
    // p0, p1 hold the powers of lines i and i + 1, so each line is squared once.
    PowerOf<Cplx> p0 = LinePower(fft[1]);
    PowerOf<Cplx> p1 = lines > 2 ? LinePower(fft[2]) : 0;
    PowerOf<Cplx> best = Amplitude(p0);
    for (int i = 1; i <= lines - 3; ++i) {
        const PowerOf<Cplx> p2 = LinePower(fft[i + 2]);
        const PowerOf<Cplx> band = Amplitude(p0 + p1 + p2);
        if (band > best)
            best = band;
        p0 = p1;
        p1 = p2;
    }
    const PowerOf<Cplx> last = Amplitude(LinePower(fft[lines - 1]));
    return last > best ? last : best;
}

template <typename Cplx, typename Real>
void Dispatch(Cplx* fft, Real* aps, int lines, QV_ACQFRAME_AVGMODE mode, int frameNumber, int expFrames,
              Real* heldMeasure)
{
    if (static_cast<uint32_t>(mode) > 7u)
        return;
    switch (mode) {
    case QV_AVG_LINEAR0:
    case QV_AVG_LINEAR:
    case QV_AVG_LINEAR7:
        WeightedUpdate(fft, aps, lines, frameNumber);
        break;
    case QV_AVG_EXPONENTIAL:
        WeightedUpdate(fft, aps, lines, frameNumber < 2 ? 1 : expFrames);
        break;
    case QV_AVG_PEAK_HOLD:
        PeakHold(fft, aps, lines, frameNumber);
        break;
    case QV_AVG_HOLD_MAX_LINE:
        *heldMeasure = HoldFrame(fft, aps, lines, frameNumber, *heldMeasure, PowerMax(fft, lines));
        break;
    case QV_AVG_HOLD_MAX_POWER:
        *heldMeasure = HoldFrame(fft, aps, lines, frameNumber, *heldMeasure, PowerSum(fft, lines));
        break;
    case QV_AVG_HOLD_MAX_BAND3:
        *heldMeasure = HoldFrame(fft, aps, lines, frameNumber, *heldMeasure, MaxBand3(fft, lines));
        break;
    }
}

}  // namespace

// Every precision pair exports the same leaves over the shared templates above.
#define NUMORA_AUTO_SPECTRUM_PAIR(Cplx, Real)                                                                        \
    void FFTtoAPS(Cplx* fft, Real* aps, int lines, QV_ACQFRAME_AVGMODE mode, int frameNumber, int expFrames,         \
                  Real* heldMeasure)                                                                                 \
    {                                                                                                                \
        Dispatch(fft, aps, lines, mode, frameNumber, expFrames, heldMeasure);                                        \
    }                                                                                                                \
    void FFTtoAPS(Cplx* fft, Real* aps, int lines, int frames) { WeightedUpdate(fft, aps, lines, frames); }          \
    void FFTtoAPS_PK(Cplx* fft, Real* aps, int lines, int frameNumber) { PeakHold(fft, aps, lines, frameNumber); }   \
    Real FFTtoAPS_Line(Cplx* fft, Real* aps, int lines, int frameNumber, Real held)                                  \
    {                                                                                                                \
        return HoldFrame(fft, aps, lines, frameNumber, held, PowerMax(fft, lines));                                  \
    }                                                                                                                \
    Real FFTtoAPS_PWR(Cplx* fft, Real* aps, int lines, int frameNumber, Real held)                                   \
    {                                                                                                                \
        return HoldFrame(fft, aps, lines, frameNumber, held, PowerSum(fft, lines));                                  \
    }                                                                                                                \
    Real FFTtoAPS_LineZ(Cplx* fft, Real* aps, int lines, int frameNumber, Real held)                                 \
    {                                                                                                                \
        return HoldFrame(fft, aps, lines, frameNumber, held, MaxBand3(fft, lines));                                  \
    }

NUMORA_AUTO_SPECTRUM_PAIR(complex, float)
NUMORA_AUTO_SPECTRUM_PAIR(complex_d, float)
NUMORA_AUTO_SPECTRUM_PAIR(complex_d, double)
#undef NUMORA_AUTO_SPECTRUM_PAIR

float FFTPowerSum(complex* fft, int lines) { return PowerSum(fft, lines); }
double FFTPowerSum(complex_d* fft, int lines) { return PowerSum(fft, lines); }
float FFTPowerMax(complex* fft, int lines) { return PowerMax(fft, lines); }
double FFTPowerMax(complex_d* fft, int lines) { return PowerMax(fft, lines); }
float FFTPowerMaxZMOD(complex* fft, int lines) { return MaxBand3(fft, lines); }
double FFTPowerMaxZMOD(complex_d* fft, int lines) { return MaxBand3(fft, lines); }

}  // namespace math
}  // namespace qv
