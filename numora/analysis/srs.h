#pragma once

#include <cstdint>

#include "numora/foundation/export.h"

// Shock response spectra: for every frequency of a fractional-octave series a
// damped single-degree-of-freedom oscillator is driven by the samples of a
// time history, and the largest positive and negative responses during the
// analysed stretch (primary) and while the oscillator rings out after it
// (residual) are kept.
//
// Two filters compute the oscillator, with the same series, arguments and
// seven spectra:
// - TIMtoSRS: the impulse-invariant (Kelly-Richman) recursion, all in float.
//   Measured on half-sines at Q = 10 against the exact response, it can be
//   trusted where the sample rate is between about 9 and 1000
//   times the band frequency: within 1 % there, within 0.5 % from about 50
//   times. Below that it reads low (a half-sine with Q = 10 reads 4 % low at
//   fs/fn = 6 and 13 % low at fs/fn = 4). Above about 1000 times its float
//   coefficients lose 1 - cos(wT) to rounding and it errs erratically: by
//   up to 1 % below fs/fn = 2000, by percents above, by up to 30 % towards
//   10,000.
// - TIMtoSRS_RampInvariant: the ramp-invariant (Smallwood) recursion, the
//   filter of ISO 18431-4; a report to that standard wants this one. Its
//   coefficients and recursion are in double, and on a pulse that the
//   samples resolve it holds 0.1 % from fs/fn = 4 up to at least 10,000.
//
// The seven spectra, one value per band, lowest frequency first, all
// magnitudes (a negative peak is reported as a positive value, and a side
// that never occurs gives 0): primaryPos, primaryNeg, residualPos,
// residualNeg, maximax (the largest of those four), maxPos (the larger of the
// two positive ones) and maxNeg (the larger of the two negative ones).
//
// Frequency series. Band i of n bands per octave (n > 0) lies at
//   ANSI (base ten):     1000^(i / (10 n)), so band 0 is 1 Hz and band 10 n is 1000 Hz;
//   acoustic (base two): 1000 * 2^((i - 10 n) / n), so band 10 n is 1000 Hz.
// The ANSI octave is the ratio 10^0.3. A series covering fLow .. fHigh
// starts at the band within 0.1 % of fLow, else the highest band below it,
// and ends at the first band from band 1 upward that reaches fHigh or comes
// within 0.1 % of it; so its last band index is never below 1.
// precision: a band's exponent is formed in float, raised in double with
// pow(1000.0, e) or pow(2.0, e) and rounded to float; the acoustic value is
// then multiplied by 1000 in float.
// choice: a bandsPerOctave of 0 (the exponents divide by it) or beyond
// +-10000, and a NaN fLow or fHigh, give -1 and touch nothing.

// Output of the oscillator.
enum QV_SRS_TYPE : int32_t {
    // Absolute acceleration of the mass: (2 zeta w s + w^2) / (s^2 + 2 zeta w s + w^2).
    QV_SRS_ABSOLUTE_ACCEL = 0,
    // Relative displacement times w^2, in the input's units: w^2 / (s^2 + 2 zeta w s + w^2).
    QV_SRS_RELATIVE_DISP = 1,
};

namespace qv {
namespace math {

// Shock response spectrum of time[0 .. n-1] by the impulse-invariant filter.
// Bands: SRSCalcAnsiFreq(bandsPerOctave, fLow, fHigh, freq, 1000, ...); a
// negative bandsPerOctave selects the acoustic series. damping is zeta,
// 0 <= zeta < 1. The stretch runs from sample trunc(sampleRate * startMs /
// 1000 + 0.5) to sample trunc(sampleRate * e / 1000 + 0.5), e = endMs, or
// defaultEndMs when endMs is 0; an end at or below 0 or past n - 1 means
// n - 1, a start below 0 means 0 and a start at or after the end means
// end - 1. Each oscillator starts at rest, runs over the stretch, then rings
// out with input 0 for trunc(1.1 * sampleRate / f) steps; samples after the
// end are never read. The seven output arrays and freq get one value per
// band and need room for 1000 values unless the count is known beforehand.
// Result: the number of bands, or -1 when the series can't be built (empty
// range, more than 1000 bands), and nothing is written. Bands run side by
// side in vector lanes (eight with AVX2, chosen at run time), each lane
// doing the one-band arithmetic below, so every processor gives the same bits.
// precision: everything in float: T = 1 / sampleRate, w = f * 6.2831855,
// x = -w T zeta, s = float(sqrt(1 - double(zeta * zeta))); cos and sin of
// double(w T s), E = exp(double(x)) and E2 = exp(double(x + x)), each rounded
// to float (E2 is its own call, not E * E); b1 = (cosT + cosT - E) * E,
// b2 = -E2; absolute: a0 = -2 x, a1 = (sinT (1 - 2 zeta zeta) - 2 zeta s cosT)
// E w T / s; relative: a0 = 0, a1 = sinT E w T / s. Each step is
// y = (a1 x[k-1] + a0 x[k]) + b1 y[k-1] + b2 (y[k-2] - y[k-1]), in that order.
// The residual count is trunc(sampleRate * -1.1 / f) in float, negated.
// choice: n < 2 or a type other than the two gives -1 and writes nothing; a
// residual count without an int (NaN, beyond 2^31) means no residual steps.
NUMORA_API int TIMtoSRS(const float* time, int n, float sampleRate, float damping,
                        QV_SRS_TYPE type, int bandsPerOctave, float defaultEndMs,
                        float* primaryPos, float* primaryNeg, float* residualPos,
                        float* residualNeg, float* maximax, float* maxPos, float* maxNeg,
                        float* freq, float fLow, float fHigh, float startMs, float endMs);

// Shock response spectrum by the ramp-invariant filter of ISO 18431-4, with
// the arguments, series, stretch, residual steps and outputs of TIMtoSRS.
// With W = w T, A = zeta W, B = W sqrt(1 - zeta^2), E = e^-A, S = E sin(B) / B
// and C = E cos(B), each step is y = b0 x[k] + b1 x[k-1] + b2 x[k-2]
// - a1 y[k-1] - a2 y[k-2], a1 = -2 C, a2 = E^2, and
//   absolute: b0 = 1 - S, b1 = 2 (S - C), b2 = E^2 - S;
//   relative: b0 = 1 + (2 zeta^2 - 1) S + 2 zeta (C - 1) / W,
//             b1 = 2 (1 - 2 zeta^2) S - 2 C + 2 zeta (1 - E^2) / W,
//             b2 = E^2 + (2 zeta^2 - 1) S + 2 zeta (E^2 - C) / W.
// precision: coefficients and recursion in double from the widened float
// arguments (W = 2 pi f / sampleRate with the float band frequency); the
// maxima round to float at the store.
// choice: the stretch and the residual step count are TIMtoSRS's, to the
// sample, so that both filters see the same samples and ring out as long;
// the relative output has TIMtoSRS's sign (it follows the input at low
// frequency); the -1 cases are TIMtoSRS's.
NUMORA_API int TIMtoSRS_RampInvariant(const float* time, int n, float sampleRate, float damping,
                                      QV_SRS_TYPE type, int bandsPerOctave, float defaultEndMs,
                                      float* primaryPos, float* primaryNeg, float* residualPos,
                                      float* residualNeg, float* maximax, float* maxPos,
                                      float* maxNeg, float* freq, float fLow, float fHigh,
                                      float startMs, float endMs);

// Fills freq with the ANSI series covering fLow .. fHigh and stores the first
// band's index in *firstIndex; a negative bandsPerOctave hands the clamped
// range to SRSCalcAcousticFreq with |bandsPerOctave|. Result: the number of
// bands, or -1 when the range is empty or takes more than maxCount bands.
// The range is clamped to 0.001 .. 100000 Hz first; the 0.1 % tolerances are
// those of the caller's fLow and fHigh (a fLow of 0 matches no band).
// *firstIndex is stored whenever the first band is found, even when the
// result is -1. A count of 0 or less (a first band above the last) is
// returned with nothing written.
// precision: first guess trunc(float(log10(fLo)) * (n * 3.3333f) - 1).
// choice: the tolerances 0.001f * fLow and 0.001f * fHigh are formed in float
// and compared with |f - limit| in float.
NUMORA_API int SRSCalcAnsiFreq(int bandsPerOctave, float fLow, float fHigh, float* freq,
                               int maxCount, int* firstIndex);

// The same for the acoustic series; bandsPerOctave must be positive.
// precision: first guess trunc(float(log10(fLo / 1000)) * n / float(log10(2))
// + float(10 n) - 1), all in float.
// choice: a bandsPerOctave of 0 or less gives -1 (a negative one would walk
// the series downward without end).
NUMORA_API int SRSCalcAcousticFreq(int bandsPerOctave, float fLow, float fHigh, float* freq,
                                   int maxCount, int* firstIndex);

// Frequency of band `index` of the acoustic series with bandsPerOctave bands.
// choice: bandsPerOctave = 0 gives 0.
NUMORA_API float SRSGetAcousticFreq(int index, int bandsPerOctave);

}  // namespace math
}  // namespace qv
