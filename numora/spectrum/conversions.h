#pragma once

#include "numora/foundation/export.h"
#include "numora/foundation/records.h"

// Conversions between the forms of one spectrum, line by line, and the
// sin(x)/x drive correction applied in any form. For a line spacing df:
// PSD = APS / df, FRQ (also LIN) = sqrt(APS), and an FFT line has FRQ as its
// magnitude. No form has a special line: there is no factor 2, sqrt(2) or
// frame-length factor here.
//
// Real-to-real conversions take the input first and the output second; a
// count below 1 writes nothing. A df of 0 is not caught and gives the
// infinities or NaN of the arithmetic; a negative square-root operand gives NaN.
// The double overloads run every step in double.

namespace qv {
namespace math {

// Power per line to power per Hz: psd = aps * (1 / df).
// in place: psd may be aps.
// precision: r = 1.0 / (double)df once per call; each line (double)aps * r,
// rounded to float.
NUMORA_API void APStoPSD(float* aps, float* psd, int lines, float df);
// Power per line to power per Hz: psd = aps * (1 / df), in double.
// in place: psd may be aps.
NUMORA_API void APStoPSD(double* aps, double* psd, int lines, double df);

// Power per line to amplitude per line: frq = sqrt(aps).
// in place: frq may be aps.
// precision: sqrt in double of the widened value, rounded to float.
NUMORA_API void APStoFRQ(float* aps, float* frq, int lines);
// Power per line to amplitude per line: frq = sqrt(aps), in double.
// in place: frq may be aps.
NUMORA_API void APStoFRQ(double* aps, double* frq, int lines);

// Power per Hz to power per line: aps = psd * df.
// in place: aps may be psd.
// precision: the product is taken in float.
NUMORA_API void PSDtoAPS(float* psd, float* aps, int lines, float df);
// Power per Hz to power per line: aps = psd * df, in double.
// in place: aps may be psd.
NUMORA_API void PSDtoAPS(double* psd, double* aps, int lines, double df);

// Power per Hz to amplitude per line: frq = sqrt(psd * df).
// in place: frq may be psd.
// precision: psd * df in float, widened, sqrt in double, rounded to float.
NUMORA_API void PSDtoFRQ(float* psd, float* frq, int lines, float df);
// Power per Hz to amplitude per line: frq = sqrt(psd * df), in double.
// in place: frq may be psd.
NUMORA_API void PSDtoFRQ(double* psd, double* frq, int lines, double df);

// Amplitude per line to power per Hz: psd = frq^2 / df.
// in place: psd may be frq.
// precision: frq * frq in float, then a true float division by df.
NUMORA_API void FRQtoPSD(float* frq, float* psd, int lines, float df);
// Amplitude per line to power per Hz: psd = frq^2 / df, in double.
// in place: psd may be frq.
NUMORA_API void FRQtoPSD(double* frq, double* psd, int lines, double df);

// Amplitude per line to power per line: aps = frq * frq in float.
// in place: aps may be frq.
NUMORA_API void FRQtoAPS(float* frq, float* aps, int lines);

// Linear spectrum to power per line; the same as FRQtoAPS.
// in place: aps may be lin.
NUMORA_API void LINtoAPS(float* lin, float* aps, int lines);

// Complex lines from magnitudes and phases in radians:
// fft[i] = (mag * cos(phase), mag * sin(phase)).
NUMORA_API void FRQtoFFT(double* mag, double* phase, complex_d* fft, int lines);
// Complex lines from magnitudes and phases in radians.
// precision: cos and sin in double of the widened phase, each times the
// widened magnitude in double, rounded to float.
NUMORA_API void FRQtoFFT(float* mag, float* phase, complex* fft, int lines);

// Complex lines with the magnitudes mag and a random phase at every line but
// line 0. A seed of 1 or more restarts the random sequence (SRand); a smaller
// seed continues it. fft[0] = (0, 0) always, also for lines < 1; mag[0] is not
// read. Line i >= 1 draws x = GetRandomValue(-pi, pi) in ascending order.
// precision: cos x and sin x times the widened magnitude in double, each part
// rounded to float.
NUMORA_API void FRQtoFFT(float* mag, complex* fft, int lines, int seed);

// Multiplies aps[i] by corr[i] in float for i = 0 to lastLine inclusive;
// a negative lastLine touches nothing.
// in place: aps is read and written.
NUMORA_API void APSApplySineX_X(float* aps, float* corr, int lastLine);

// The same correction as APSApplySineX_X, for a spectrum in density form.
// in place: psd is read and written.
NUMORA_API void PSDApplySineX_X(float* psd, float* corr, int lastLine);

// Scales each of the lines by the magnitude m = ComplexMag(corr[i]); the phase
// of corr plays no part.
// in place: fft is read and written.
// precision: a float complex product with (m, 0), formed as re' = m*re - 0*im,
// then im' = m*im + 0*re' on the updated real part.
NUMORA_API void FFTApplySineX_X(complex* fft, complex* corr, int lines);

// Entry point kept for callers that link to it; does nothing.
// choice: the correction table is always computed by the caller, so this
// neither reads nor writes its arguments.
NUMORA_API void init_sinx_x_comp(float* table, float a, float b, int c, int d);

}  // namespace math
}  // namespace qv
