#pragma once

#include "numora/foundation/export.h"
#include "numora/foundation/records.h"

// Overall and band-limited RMS levels of time frames and spectra: the square
// root of the total power of the chosen lines.
//
// Line ranges `first`..`last` are inclusive; line 0 is DC. Complex spectra
// pass `lines`, a count (the last line summed is lines - 1); real spectra
// (FRQ, APS, PSD) pass `lastLine`, the index of the last line summed. Whole
// spectrum forms start at line 1; _BLIM forms take the range as given;
// _BLIMF and _Out forms never include line 0.
//
// precision: every float array is summed in one double accumulator in
// ascending line order; a line's power is formed in float, then widened.
// The square root is taken in double and a float result rounds once, at the
// return.
//
// `scale` of the complex forms is the amplitude factor the spectrum was
// corrected with: exactly 1.0 means peak amplitude, and the root is then
// multiplied in double by 0.707106781 so that the result is an RMS value.

namespace qv {
namespace math {

// RMS of the samples about their own mean (divisor n); 0 for n < 1.
// precision: the float mean of ArrayMean, widened, differences in double.
NUMORA_API double RMS_TIM(const float* time, int n);

// RMS of the samples about `mean`; unbiased != 0 divides by n - 1.
// precision: each difference in double from the widened sample; a quotient
// that is not greater than 0 (NaN included) gives 0.
NUMORA_API double RMS_TIM(const float* time, int n, double mean, int unbiased);

// Deviation about the mean (divisor n) plus minimum, maximum, mean and mean
// square; for n < 1 minimum = maximum = 0, the result is 0 and mean and
// meanSquare are left alone.
// precision: mean and meanSquare come from ArrayMean in float; each
// difference from the float mean is taken in float and widened before it is
// squared, so the result can differ slightly from RMS_TIM.
NUMORA_API double RMS_TIM_Stat(const float* time, int n, float& minimum, float& maximum,
                               float& mean, float& meanSquare);

// Double twin of RMS_TIM_Stat, everything in double.
NUMORA_API double RMS_TIM_Stat(const double* time, int n, double& minimum, double& maximum,
                               double& mean, double& meanSquare);

// RMS of complex lines 1 .. lines - 1; 0 for a null fft.
// precision: re*re + im*im in float; peak correction when scale is exactly 1.
NUMORA_API float RMS_FFT(const complex* fft, int lines, float scale);

// RMS of complex lines first .. last; 0 for a null fft.
NUMORA_API float RMS_FFT_BLIM(const complex* fft, int first, int last, float scale);

// RMS of the complex lines nearest fLow .. fHigh, line 0 excluded.
// precision: the edges are trunc(f / df + 0.5) in float, then clamped to
// 1 .. lines - 1.
// choice: an edge quotient beyond the int range saturates (an infinite fHigh
// reaches the last line) and a NaN edge counts as line 0.
NUMORA_API float RMS_FFT_BLIMF(const complex* fft, float fLow, float fHigh, int lines, float df,
                               float scale);

// RMS of complex lines 1 .. first - 1 and then last + 1 .. lines - 1, in
// that order into one sum; 0 for a null fft.
NUMORA_API float RMS_FFT_BLIM_Out(const complex* fft, int first, int last, int lines, float scale);

// RMS of lines 1 .. lines - 1 of a spectrum stored as (re, im) pairs of
// double; 0 for a null fft. No peak correction.
NUMORA_API double RMS_FFT(const double* fft, int lines);

// RMS of an amplitude spectrum, lines 1 .. lastLine.
// precision: x*x in float.
NUMORA_API double RMS_FRQ(const float* frq, int lastLine);
NUMORA_API double RMS_FRQ(const double* frq, int lastLine);

// RMS of amplitude lines first .. last.
// precision: x*x in float for the float form.
NUMORA_API double RMS_FRQ_BLIM(const float* frq, int first, int last);
NUMORA_API double RMS_FRQ_BLIM(const double* frq, int first, int last);

// RMS of a power spectrum, lines 1 .. lastLine.
NUMORA_API double RMS_APS(const float* aps, int lastLine);
NUMORA_API double RMS_APS(const double* aps, int lastLine);

// RMS of power lines first .. last.
NUMORA_API double RMS_APS_BLIM(const float* aps, int first, int last);
NUMORA_API double RMS_APS_BLIM(const double* aps, int first, int last);

// RMS of the power lines nearest fLow .. fHigh, line 0 excluded.
// precision: the edges are Freq2Index(f, df, lastLine + 1, nearest) in
// double; a lower edge at line 0 moves to line 1.
// choice: a negative lastLine gives 0 without reading aps, as RMS_APS and
// RMS_PSD_BLIMF do there.
NUMORA_API double RMS_APS_BLIMF(const float* aps, double fLow, double fHigh, int lastLine,
                                    double df);
NUMORA_API double RMS_APS_BLIMF(const double* aps, double fLow, double fHigh, int lastLine,
                                    double df);

// RMS of a power density, lines 1 .. lastLine, each line worth x * df.
// precision: df * x in float.
NUMORA_API float RMS_PSD(const float* psd, int lastLine, float df);

// RMS of power density lines first .. last.
// precision: df * x in float for the float form, in double for the double form.
NUMORA_API float RMS_PSD_BLIM(const float* psd, int first, int last, float df);
NUMORA_API double RMS_PSD_BLIM(const double* psd, int first, int last, double df);

// RMS of the power density lines nearest fLow .. fHigh, line 0 excluded.
// precision: the edges are trunc(f / df + 0.5) in float, then clamped to
// 1 .. lastLine.
// choice: edge quotients saturate and a NaN edge counts as line 0, as in
// RMS_FFT_BLIMF.
NUMORA_API float RMS_PSD_BLIMF(const float* psd, float fLow, float fHigh, int lastLine, float df);

// RMS of power density lines 1 .. first - 1 and then last + 1 ..
// lineCount - 1; lineCount is a count, unlike the lastLine of its neighbours.
NUMORA_API float RMS_PSD_BLIM_Out(const float* psd, int first, int last, int lineCount, float df);

// Band RMS of lines first .. last, each line taken from psd where measured
// is non-zero and from ref shifted by levelDb decibels elsewhere.
// precision: the gain 10^(levelDb/10) is worked out in double and rounded to
// float once; gain * ref and the line's value * df are in float.
NUMORA_API float RMS_PSD_BLIM_Comb(const float* psd, const float* ref, float levelDb,
                                   const int* measured, int first, int last, float df);

// Root of the power of complex lines first .. last, divided by the number
// of lines; 0 for a null fft or first > last. No peak correction.
// precision: root and division in double.
NUMORA_API float MEAN_FFT(const complex* fft, int first, int last);

// rms * factor in float; `reserved` is not used.
NUMORA_API float RMS_WindowCompensate(float rms, float factor, float reserved);

}  // namespace math
}  // namespace qv
