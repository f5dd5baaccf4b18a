#pragma once

#include "numora/foundation/export.h"
#include "numora/foundation/records.h"

// In-place fast Fourier transform of real data for power-of-two sizes, and
// the amplitude corrections that turn its raw lines into peak or RMS values.
//
// Packed spectrum of N reals: data[0] = DC, data[1] = Nyquist (real),
// data[2k], data[2k+1] = real and imaginary part of line k, 0 < k < N/2.
// Forward: line k = (1/N) * sum x[n] e^(-j 2 pi k n / N).
// Inverse (raw): x[n] = sqrt2 * data[0] + (-1)^n data[1]
//                       + 2 * sum_k Re(line_k e^(+j 2 pi k n / N)).
// Valid sizes: 2 to 32768 (float), 2 to 262144 (double).

namespace qv {
namespace math {

// Largest power of two not above size, limited to 1..32768; 0 for size < 1.
NUMORA_API int GetFFTValidFrameSizeT(int size);

// In-place real transform; direction >= 0 forward (divides by N), < 0 inverse.
// Returns 0, or 11 (forward) / 12 (inverse) for an invalid size, data untouched.
// precision: every step in float; the rotation factors come from double cos
// and sin of a float angle, each rounded to float once.
// choice: the rotation factors are read from a table built once, on the first
// call of the twin, with the same per-group formula (bit-identical results);
// that first call takes longer (about a millisecond for the double twin).
NUMORA_API int DFT(float* data, int size, int direction);

// Double twin of DFT, sizes 2 to 262144; every step in double.
// choice: the factor 1/sqrt(2) of the order-8 butterflies is 1.0 / sqrt(2.0),
// which in double lies one ulp below sqrt(2.0) * 0.5 (in float they agree).
NUMORA_API int DFT_D(double* data, int size, int direction);

// Amplitude correction after a forward transform, in place: clears the
// imaginary part of line 0 (whatever lines is) and multiplies lines 1 to
// lines - 1 by (scale + scale).
NUMORA_API void CorrDFT(complex* spectrum, int lines, float scale);
// precision: the RMS factor is sqrt(2) * 0.5 in double, rounded to float.
NUMORA_API void CorrDFT(complex* spectrum, int lines, QV_FFT_SCALING scaling);
NUMORA_API void CorrDFT_D(complex_d* spectrum, int lines, double scale);
NUMORA_API void CorrDFT_D(complex_d* spectrum, int lines, QV_FFT_SCALING scaling);

// Amplitude correction after an inverse transform: divides each of the size
// values by (scale + scale), in place.
NUMORA_API void CorrIFT(float* data, int size, float scale);
NUMORA_API void CorrIFT(float* data, int size, QV_FFT_SCALING scaling);
NUMORA_API void CorrIFT_D(double* data, int size, double scale);
NUMORA_API void CorrIFT_D(double* data, int size, QV_FFT_SCALING scaling);

// Time frame of size samples from lines 0 to lines of a packed spectrum:
// copies 2 * lines + 2 reals, zero-pads, drops Nyquist and the imaginary part
// of line 0, transforms inversely and applies CorrIFT. spectrum is not
// changed and must not overlap time; 2 * lines + 2 <= size is the caller's.
// choice: with lines < 0 or size < 2 nothing is done (no line 0 to read or
// no room for it).
NUMORA_API void IFT(const float* spectrum, int lines, float* time, int size, float scale);
NUMORA_API void IFT(const float* spectrum, int lines, float* time, int size,
                    QV_FFT_SCALING scaling);
NUMORA_API void IFT_D(const double* spectrum, int lines, double* time, int size, double scale);
NUMORA_API void IFT_D(const double* spectrum, int lines, double* time, int size,
                      QV_FFT_SCALING scaling);

}  // namespace math
}  // namespace qv
