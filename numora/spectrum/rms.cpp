#include "numora/spectrum/rms.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include "numora/foundation/array_scan.h"
#include "numora/foundation/cut_detail.h"
#include "numora/foundation/scalar.h"

namespace qv {
namespace math {

namespace {

// Adds power(i) for i = first .. last to sum, in ascending order. Every
// caller's power returns the line's contribution already widened to double,
// so the one double accumulator is never split.
// The index never steps past last, so last = INT_MAX cannot overflow it.
template <typename Power>
double AddLines(double sum, int first, int last, Power power)
{
    if (first > last)
        return sum;
    for (int i = first;; ++i) {
        sum += power(i);
        if (i == last)
            return sum;
    }
}

// Power of lines 1 .. first - 1 and then last + 1 .. count - 1, continuing
// the same accumulator so the two parts are never summed on their own. Each
// part is tested before its bound is formed, so no bound overflows.
template <typename Power>
double AddOutside(int first, int last, int count, Power power)
{
    double sum = 0.0;
    if (first > 1)
        sum = AddLines(sum, 1, first - 1, power);
    if (count > 0 && last < count - 1)
        sum = AddLines(sum, last + 1, count - 1, power);
    return sum;
}

// Index of the last line of a spectrum of count complex lines; 0 (so that a
// sum from line 1 is empty) when there is no line above DC.
int LastOfCount(int count)
{
    return count > 0 ? count - 1 : 0;
}

// Power of complex line i, formed in float and widened.
struct ComplexPower {
    const complex* fft;
    double operator()(int i) const
    {
        const float p = fft[i].re * fft[i].re + fft[i].im * fft[i].im;
        return static_cast<double>(p);
    }
};

// Power of amplitude line i: the square in the array's own precision.
struct FloatSquare {
    const float* x;
    double operator()(int i) const { return static_cast<double>(x[i] * x[i]); }
};
struct DoubleSquare {
    const double* x;
    double operator()(int i) const { return x[i] * x[i]; }
};

// Power of a power spectrum's line i: the entry, widened.
struct FloatPower {
    const float* x;
    double operator()(int i) const { return static_cast<double>(x[i]); }
};
struct DoublePower {
    const double* x;
    double operator()(int i) const { return x[i]; }
};

// Power of density line i: df * x in the array's own precision.
struct FloatDensity {
    const float* x;
    float df;
    double operator()(int i) const { return static_cast<double>(df * x[i]); }
};
struct DoubleDensity {
    const double* x;
    double df;
    double operator()(int i) const { return df * x[i]; }
};

// Root of a complex power sum, in RMS amplitude whatever the scaling: a peak
// scaled line of amplitude A carries A^2, a sine of that amplitude A^2 / 2.
float ComplexRms(double sum, float scale)
{
    double r = std::sqrt(sum);
    if (scale == 1.0f)
        r = Peak2RMS(r);
    return static_cast<float>(r);
}

// Band edge of the float _BLIMF forms: trunc(f / df + 0.5), all in float.
// The quotient is saturated in the conversion, which would be undefined
// outside the int range; a NaN edge gives line 0.
int NearestLine(float f, float df)
{
    return detail::SaturateToInt(static_cast<double>(f / df + 0.5f));
}

// Lines of a power spectrum nearest fLow .. fHigh, clamped to 0 .. lastLine;
// a lower edge at DC moves to line 1.
struct LineBand {
    int first;
    int last;
};
// The edges are Freq2Index(f, df, lastLine + 1, nearest), clamped here to
// 0 .. lastLine by hand so that no lastLine + 1 is formed. A negative lastLine
// leaves no line: the band is empty.
LineBand PowerBand(double fLow, double fHigh, int lastLine, double df)
{
    if (lastLine < 0)
        return LineBand{1, 0};
    const auto edge = [&](double f) {
        return std::min(std::max(Freq2Index(f, df, qv::RoundMethodNearest), 0), lastLine);
    };
    LineBand band;
    band.first = edge(fLow);
    if (band.first == 0)
        band.first = 1;
    band.last = edge(fHigh);
    return band;
}

// Root of sumSquares / divisor; a quotient that is not greater than 0 (a NaN
// or the 0 / 0 of a single sample with divisor n - 1) gives 0.
double DeviationRoot(double sumSquares, int divisor)
{
    const double x = sumSquares / static_cast<double>(divisor);
    return x > 0.0 ? std::sqrt(x) : 0.0;
}

// Deviation about mean (divisor n) together with the extremes, one pass in
// ascending order. Each difference is taken in the samples' own precision and
// widened before it is squared. For n < 1 both extremes become 0.
template <typename T>
double DeviationAndExtremes(const T* time, int n, T mean, T& minimum, T& maximum)
{
    if (n < 1) {
        minimum = T(0);
        maximum = T(0);
        return 0.0;
    }
    T lo = time[0];
    T hi = time[0];
    double sum = 0.0;
    for (int i = 0; i < n; ++i) {
        const T x = time[i];
        const double d = static_cast<double>(x - mean);
        sum += d * d;
        if (lo > x)
            lo = x;
        if (x > hi)
            hi = x;
    }
    minimum = lo;
    maximum = hi;
    return DeviationRoot(sum, n);
}

}  // namespace

double RMS_TIM(const float* time, int n)
{
    const float mean = ArrayMean(time, n);
    return RMS_TIM(time, n, static_cast<double>(mean), 0);
}

double RMS_TIM(const float* time, int n, double mean, int unbiased)
{
    if (n < 1)
        return 0.0;
    double sum = 0.0;
    for (int i = 0; i < n; ++i) {
        const double d = static_cast<double>(time[i]) - mean;
        sum += d * d;
    }
    return DeviationRoot(sum, unbiased != 0 ? n - 1 : n);
}

double RMS_TIM_Stat(const float* time, int n, float& minimum, float& maximum, float& mean,
                    float& meanSquare)
{
    ArrayMean(time, n, mean, meanSquare);
    return DeviationAndExtremes(time, n, mean, minimum, maximum);
}

double RMS_TIM_Stat(const double* time, int n, double& minimum, double& maximum, double& mean,
                    double& meanSquare)
{
    ArrayMean(time, n, mean, meanSquare);
    return DeviationAndExtremes(time, n, mean, minimum, maximum);
}

float RMS_FFT(const complex* fft, int lines, float scale)
{
    if (fft == nullptr)
        return 0.0f;
    return ComplexRms(AddLines(0.0, 1, LastOfCount(lines), ComplexPower{fft}), scale);
}

float RMS_FFT_BLIM(const complex* fft, int first, int last, float scale)
{
    if (fft == nullptr)
        return 0.0f;
    return ComplexRms(AddLines(0.0, first, last, ComplexPower{fft}), scale);
}

float RMS_FFT_BLIMF(const complex* fft, float fLow, float fHigh, int lines, float df, float scale)
{
    const int first = std::max(1, NearestLine(fLow, df));
    const int last = std::min(LastOfCount(lines), NearestLine(fHigh, df));
    return RMS_FFT_BLIM(fft, first, last, scale);
}

float RMS_FFT_BLIM_Out(const complex* fft, int first, int last, int lines, float scale)
{
    if (fft == nullptr)
        return 0.0f;
    return ComplexRms(AddOutside(first, last, lines, ComplexPower{fft}), scale);
}

double RMS_FFT(const double* fft, int lines)
{
    if (fft == nullptr)
        return 0.0;
    double sum = 0.0;
    for (int i = 1; i < lines; ++i) {
        const double re = fft[2 * i];
        const double im = fft[2 * i + 1];
        sum += re * re + im * im;
    }
    return std::sqrt(sum);
}

double RMS_FRQ(const float* frq, int lastLine)
{
    return RMS_FRQ_BLIM(frq, 1, lastLine);
}

double RMS_FRQ(const double* frq, int lastLine)
{
    return RMS_FRQ_BLIM(frq, 1, lastLine);
}

double RMS_FRQ_BLIM(const float* frq, int first, int last)
{
    return std::sqrt(AddLines(0.0, first, last, FloatSquare{frq}));
}

double RMS_FRQ_BLIM(const double* frq, int first, int last)
{
    return std::sqrt(AddLines(0.0, first, last, DoubleSquare{frq}));
}

double RMS_APS(const float* aps, int lastLine)
{
    return RMS_APS_BLIM(aps, 1, lastLine);
}

double RMS_APS(const double* aps, int lastLine)
{
    return RMS_APS_BLIM(aps, 1, lastLine);
}

double RMS_APS_BLIM(const float* aps, int first, int last)
{
    return std::sqrt(AddLines(0.0, first, last, FloatPower{aps}));
}

double RMS_APS_BLIM(const double* aps, int first, int last)
{
    return std::sqrt(AddLines(0.0, first, last, DoublePower{aps}));
}

double RMS_APS_BLIMF(const float* aps, double fLow, double fHigh, int lastLine, double df)
{
    const LineBand band = PowerBand(fLow, fHigh, lastLine, df);
    return RMS_APS_BLIM(aps, band.first, band.last);
}

double RMS_APS_BLIMF(const double* aps, double fLow, double fHigh, int lastLine, double df)
{
    const LineBand band = PowerBand(fLow, fHigh, lastLine, df);
    return RMS_APS_BLIM(aps, band.first, band.last);
}

float RMS_PSD(const float* psd, int lastLine, float df)
{
    return RMS_PSD_BLIM(psd, 1, lastLine, df);
}

float RMS_PSD_BLIM(const float* psd, int first, int last, float df)
{
    return static_cast<float>(std::sqrt(AddLines(0.0, first, last, FloatDensity{psd, df})));
}

double RMS_PSD_BLIM(const double* psd, int first, int last, double df)
{
    return std::sqrt(AddLines(0.0, first, last, DoubleDensity{psd, df}));
}

float RMS_PSD_BLIMF(const float* psd, float fLow, float fHigh, int lastLine, float df)
{
    const int first = std::max(1, NearestLine(fLow, df));
    const int last = std::min(lastLine, NearestLine(fHigh, df));
    return RMS_PSD_BLIM(psd, first, last, df);
}

float RMS_PSD_BLIM_Out(const float* psd, int first, int last, int lineCount, float df)
{
    return static_cast<float>(std::sqrt(AddOutside(first, last, lineCount, FloatDensity{psd, df})));
}

float RMS_PSD_BLIM_Comb(const float* psd, const float* ref, float levelDb, const int* measured,
                        int first, int last, float df)
{
    const float gain = static_cast<float>(std::pow(10.0, static_cast<double>(levelDb) / 10.0));
    double sum = 0.0;
    for (int i = first; i <= last; ++i) {
        const float v = measured[i] != 0 ? psd[i] : gain * ref[i];
        sum += static_cast<double>(v * df);
    }
    return static_cast<float>(std::sqrt(sum));
}

float MEAN_FFT(const complex* fft, int first, int last)
{
    if (fft == nullptr || first > last)
        return 0.0f;
    const double root = std::sqrt(AddLines(0.0, first, last, ComplexPower{fft}));
    return static_cast<float>(root / static_cast<double>(last - first + 1));
}

float RMS_WindowCompensate(float rms, float factor, float /*reserved*/)
{
    return rms * factor;
}

}  // namespace math
}  // namespace qv
