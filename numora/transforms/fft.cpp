#include "numora/transforms/fft.h"

#include <cmath>
#include <cstddef>

#include "numora/transforms/fft_detail.h"

namespace qv {
namespace math {

namespace {

const int kSizesF[] = {1, 2, 4, 8, 16, 32, 64, 128, 256, 512, 1024, 2048, 4096, 8192, 16384, 32768};
const int kSizesD[] = {1,    2,    4,    8,     16,    32,    64,     128,    256,   512,
                       1024, 2048, 4096, 8192, 16384, 32768, 65536, 131072, 262144};

// M with 2^M = size among the valid sizes of the twin, or 0.
template <std::size_t Count>
int FindOrder(const int (&sizes)[Count], int size)
{
    for (std::size_t m = 1; m < Count; ++m)
        if (sizes[m] == size)
            return static_cast<int>(m);
    return 0;
}

int OrderOf(float*, int size)
{
    return FindOrder(kSizesF, size);
}

int OrderOf(double*, int size)
{
    return FindOrder(kSizesD, size);
}

template <typename T>
int TransformOnPath(detail::FftPath path, T* data, int size, int direction)
{
    const int m = OrderOf(data, size);
    if (m == 0)
        return direction >= 0 ? 11 : 12;
    detail::RealTransform(path, data, size, m, direction >= 0);
    return 0;
}

detail::FftPath BestPath()
{
    return detail::FftPathAvailable(detail::FftPath::Avx2) ? detail::FftPath::Avx2 : detail::FftPath::Sse2;
}

// Line 0 keeps its real part and loses its imaginary (Nyquist) part; lines
// 1 .. lines - 1 are multiplied by 2s.
template <typename T, typename C>
void CorrectSpectrum(C* spectrum, int lines, T scale)
{
    spectrum[0].im = T(0);
    const T factor = scale + scale;
    for (int k = 1; k < lines; ++k) {
        spectrum[k].re = spectrum[k].re * factor;
        spectrum[k].im = spectrum[k].im * factor;
    }
}

template <typename T>
void CorrectTime(T* data, int size, T scale)
{
    const T divisor = scale + scale;
    for (int i = 0; i < size; ++i)
        data[i] = data[i] / divisor;
}

// Factor s of a scaling: sqrt(2) * 0.5 in double, rounded to the twin's type,
// for RMS; 1 for peak and any other non-zero value.
template <typename T>
T ScaleOf(QV_FFT_SCALING scaling)
{
    return scaling == QV_FFT_SCALE_RMS ? static_cast<T>(std::sqrt(2.0) * 0.5) : T(1);
}

// Spectrum lines 0 .. lines to a time frame: copy, zero-pad, drop Nyquist,
// inverse transform, divide by 2s. An invalid size skips the transform only.
template <typename T>
void InverseFromLines(const T* spectrum, int lines, T* time, int size, T scale)
{
    if (lines < 0 || size < 2)
        return;
    const int count = 2 * lines + 2;
    for (int i = 0; i < count; ++i)
        time[i] = spectrum[i];
    for (int i = count; i < size; ++i)
        time[i] = T(0);
    time[1] = T(0);
    TransformOnPath(BestPath(), time, size, -1);
    CorrectTime(time, size, scale);
}

}  // namespace

namespace detail {

int FftOnPath(FftPath path, float* data, int size, int direction)
{
    return TransformOnPath(path, data, size, direction);
}

int FftOnPath(FftPath path, double* data, int size, int direction)
{
    return TransformOnPath(path, data, size, direction);
}

}  // namespace detail

int GetFFTValidFrameSizeT(int size)
{
    if (size < 1)
        return 0;
    int valid = 1;
    while (valid < 32768 && valid * 2 <= size)
        valid *= 2;
    return valid;
}

int DFT(float* data, int size, int direction)
{
    return TransformOnPath(BestPath(), data, size, direction);
}

int DFT_D(double* data, int size, int direction)
{
    return TransformOnPath(BestPath(), data, size, direction);
}

void CorrDFT(complex* spectrum, int lines, float scale)
{
    CorrectSpectrum(spectrum, lines, scale);
}

void CorrDFT(complex* spectrum, int lines, QV_FFT_SCALING scaling)
{
    CorrectSpectrum(spectrum, lines, ScaleOf<float>(scaling));
}

void CorrDFT_D(complex_d* spectrum, int lines, double scale)
{
    CorrectSpectrum(spectrum, lines, scale);
}

void CorrDFT_D(complex_d* spectrum, int lines, QV_FFT_SCALING scaling)
{
    CorrectSpectrum(spectrum, lines, ScaleOf<double>(scaling));
}

void CorrIFT(float* data, int size, float scale)
{
    CorrectTime(data, size, scale);
}

void CorrIFT(float* data, int size, QV_FFT_SCALING scaling)
{
    CorrectTime(data, size, ScaleOf<float>(scaling));
}

void CorrIFT_D(double* data, int size, double scale)
{
    CorrectTime(data, size, scale);
}

void CorrIFT_D(double* data, int size, QV_FFT_SCALING scaling)
{
    CorrectTime(data, size, ScaleOf<double>(scaling));
}

void IFT(const float* spectrum, int lines, float* time, int size, float scale)
{
    InverseFromLines(spectrum, lines, time, size, scale);
}

void IFT(const float* spectrum, int lines, float* time, int size, QV_FFT_SCALING scaling)
{
    InverseFromLines(spectrum, lines, time, size, ScaleOf<float>(scaling));
}

void IFT_D(const double* spectrum, int lines, double* time, int size, double scale)
{
    InverseFromLines(spectrum, lines, time, size, scale);
}

void IFT_D(const double* spectrum, int lines, double* time, int size, QV_FFT_SCALING scaling)
{
    InverseFromLines(spectrum, lines, time, size, ScaleOf<double>(scaling));
}

}  // namespace math
}  // namespace qv
