#pragma once

#include <cstdint>

#include "numora/foundation/export.h"
#include "numora/foundation/records.h"

// Small scalar functions: rounding, unit and time conversions, frequency to
// line index, range checks, decibels, random values in a range and a
// millisecond timer. Single-precision overloads compute in float with float
// constants unless a line below says otherwise; "cut" means conversion to an
// integer by truncation toward zero.
//
// choice: a cut whose value has no int (NaN, infinite, out of range) gives
// INT_MIN, the integer-indefinite value of the x86 conversion; a cut to an
// unsigned 32-bit result goes through a signed 64-bit value, so a negative
// value wraps modulo 2^32 and a value without a 64-bit integer gives 0.

namespace qv {
namespace math {

// ---- Rounding ------------------------------------------------------------

// x rounded by m: nearest (halves away from zero, floor(x + 0.5) for x >= 0,
// ceil(x - 0.5) otherwise), floor, ceiling, or floor(x + 1e-6); any other m
// gives x back.
// precision: in float with the constants 0.5f and 1e-6f.
NUMORA_API float Round(float x, qv::RoundMethod m);
// x rounded by m, as the float overload, in double.
NUMORA_API double Round(double x, qv::RoundMethod m);
// x rounded to the nearest whole number, halves away from zero.
NUMORA_API float Round(float x);
// x rounded to the nearest whole number, halves away from zero.
NUMORA_API double Round(double x);

// x rounded up to `digits` significant digits: ceil(x / p) * p with
// p = 10^(floor(log10|x|) - (digits - 1)); 0 when x or digits is 0.
NUMORA_API double RoundUp(double x, int digits);
// x rounded down to `digits` significant digits: floor(x / p + 0.0001) * p,
// p as in RoundUp; 0 when x or digits is 0.
// precision: the 0.0001 keeps a quotient a hair below a whole number (0.3 / 0.1)
// from losing a digit.
NUMORA_API double RoundDown(double x, int digits);
// Smallest power of two not below x, for x >= 1; 0 for x <= 0.
// choice: above 2^30 the power has no int; the result is INT_MIN, the bit
// pattern of 2^31, as 32-bit two's-complement arithmetic gives.
NUMORA_API int RoundUpPOW2(int x);
// RoundUpPOW2 of the cut of floor(x): 4.5 gives 4, not 8.
NUMORA_API int RoundUpPOW2(double x);

// ---- Scale factors -------------------------------------------------------

// Peak amplitude to RMS: x * 0.707106781.
NUMORA_API double Peak2RMS(double x);
// RMS amplitude to peak: x * 1.414213562.
NUMORA_API double RMS2Peak(double x);
// Millivolts to volts: x * 0.001.
NUMORA_API double MV2V(double x);
// Millivolts to volts: x * 0.001f, in float.
NUMORA_API float MV2V(float x);
// Volts to millivolts: x * 1000.
NUMORA_API double V2MV(double x);
// Volts to millivolts: x * 1000.0f, in float.
NUMORA_API float V2MV(float x);
// Milliseconds to seconds: x * 0.001.
NUMORA_API double MS2S(double x);
// Milliseconds to seconds: double(x) * 0.001.
NUMORA_API double MS2S(unsigned int x);
// Milliseconds to seconds: double(x) * 0.001.
NUMORA_API double MS2S(int x);
// Seconds to milliseconds: x * 1000.
NUMORA_API double S2MS(double x);
// Seconds to whole milliseconds: Round(x * 1000), cut.
NUMORA_API unsigned int S2MSu(double x);
// Seconds to whole milliseconds: Round(x * 1000), cut.
NUMORA_API int S2MSn(double x);
// Radians to degrees: x * 57.29577951308232.
NUMORA_API double Rad2Deg(double x);
// Degrees to radians: x * 0.017453292519943295.
NUMORA_API double Deg2Rad(double x);
// Variance from mean square and mean: meanSquare - mean * mean.
NUMORA_API double Variance(double meanSquare, double mean);
// Same as Variance.
NUMORA_API double SigmaSqr(double meanSquare, double mean);
// Square root of a variance; NaN for a negative variance.
NUMORA_API double StandardDeviation(double variance);
// Same as StandardDeviation.
NUMORA_API double Sigma(double variance);
// x * percent / 100, evaluated left to right.
NUMORA_API double Percent(double x, double percent);
// Round(double(x) * percent / 100), cut.
NUMORA_API int PercentN(int x, double percent);
// Round(double(x) * percent / 100), cut.
NUMORA_API unsigned int PercentU(unsigned int x, double percent);

// ---- Time, frequency and frame sizes ---------------------------------------

// Seconds that `samples` take at `rate`; 0 for a zero rate.
NUMORA_API double Samples2Duration(double rate, unsigned long long samples);
// Whole samples in `duration` at `rate`: floor(duration * rate).
// choice: a negative or NaN product gives 0 samples; one beyond the 64-bit
// range saturates at 2^64 - 1.
NUMORA_API unsigned long long Duration2Samples(double duration, double rate);
// Blocks of blockSize samples that cover `duration` at `rate`:
// ceil(duration * rate / blockSize), cut, so a partial block counts.
// choice: every method rounds up; m is accepted for the callers' sake and
// does not change the result.
NUMORA_API unsigned int Duration2Blocks(double duration, double rate, uint32_t blockSize,
                                        qv::RoundMethod m);
// Line index of frequency f: Round(f / df, m), cut.
// precision: quotient and rounding in float.
NUMORA_API int Freq2Index(float f, float df, qv::RoundMethod m);
// Line index of frequency f: Round(f / df, m), cut.
NUMORA_API int Freq2Index(double f, double df, qv::RoundMethod m);
// As Freq2Index, limited to 0 ... n - 1.
// precision: quotient and rounding in float.
// choice: a negative index gives 0 before the top is tested, so with n < 1 a
// negative index gives 0 and any other n - 1.
NUMORA_API int Freq2Index(float f, float df, int n, qv::RoundMethod m);
// As Freq2Index, limited to 0 ... n - 1.
NUMORA_API int Freq2Index(double f, double df, int n, qv::RoundMethod m);
// Line range that covers the band f1 ... f2: i1 = floor(f1 / df),
// i2 = ceil(f2 / df), both cut.
// precision: quotients in float.
NUMORA_API void FreqRange2Index(float f1, float f2, float df, int& i1, int& i2);
// Sample period of `rate`; 0 for a zero rate.
NUMORA_API double SampleRate2DeltaT(double rate);
// Sample rate of period dt; 0 for a zero dt. A rate of 25600 or more is
// rounded to the nearest whole number, so 1 / (1 / 51200.0) is exactly 51200.
NUMORA_API double DeltaT2SampleRate(double dt);
// Line spacing rate / n; 0 for n = 0.
NUMORA_API double SampleRate2DeltaF(double rate, unsigned int n);
// Frame size for `lines` lines: RoundUpPOW2(double(lines) * ratio).
NUMORA_API int Resolution2FrameSize(int lines, double ratio);
// Frame size for `lines` lines, as Resolution2FrameSize.
NUMORA_API unsigned int Resolution2FrameSizeU(int lines, double ratio);
// Lines of a frame: Round(frameSize / d, RoundMethodFloorEps), cut, where d is
// 2.56 for ratio <= 2.56, 5.12 for ratio <= 5.119999885559082 (5.12 in single
// precision), and ratio itself above.
NUMORA_API int FrameSize2Resolution(int frameSize, double ratio);
// Lines of a frame, as FrameSize2Resolution.
NUMORA_API unsigned int FrameSize2ResolutionU(unsigned int frameSize, double ratio);
// Bandwidth rate / d, where d is 2.56 for ratio <= 2.56, 5.12 for
// ratio <= 5.12 (the double value), and ratio itself above.
NUMORA_API double SampleRate2Bandwidth(double rate, double ratio);
// Round(SampleRate2Bandwidth(rate, ratio), RoundMethodFloorEps), cut.
NUMORA_API unsigned int SampleRate2BandwidthU(double rate, double ratio);
// Round(SampleRate2Bandwidth(rate, ratio), RoundMethodFloorEps), cut.
NUMORA_API int SampleRate2BandwidthN(double rate, double ratio);
// rate / ratio; 0 for a zero ratio.
NUMORA_API double SampleRate2MaxBandwidth(double rate, double ratio);
// Round(rate / ratio, RoundMethodFloorEps), cut; 0 for a zero ratio.
NUMORA_API unsigned int SampleRate2MaxBandwidthU(double rate, double ratio);
// Round(rate / ratio, RoundMethodFloorEps), cut; 0 for a zero ratio.
NUMORA_API int SampleRate2MaxBandwidthN(double rate, double ratio);
// Hop between overlapping frames: Round((1 - overlap) * frameSize), cut.
NUMORA_API unsigned int OverlapFactor2SampleDelay(double overlap, unsigned int frameSize);

// ---- Ranges ----------------------------------------------------------------

// Clamps value to low ... high, testing low first; true when value was inside.
NUMORA_API bool LimitRange(int& value, int low, int high);
// Clamps value to low ... high, testing low first; true when value was inside.
NUMORA_API bool LimitRange(uint32_t& value, uint32_t low, uint32_t high);
// Clamps value to low ... high, testing low first; true when value was inside.
NUMORA_API bool LimitRange(float& value, float low, float high);
// Clamps value to low ... high, testing low first; true when value was inside.
NUMORA_API bool LimitRange(double& value, double low, double high);
// True when low <= value <= high.
NUMORA_API bool InRange(int& value, int low, int high);
// True when low <= value <= high.
NUMORA_API bool InRange(uint32_t& value, uint32_t low, uint32_t high);
// True when low <= value <= high.
NUMORA_API bool InRange(float& value, float low, float high);
// True when low <= value <= high.
NUMORA_API bool InRange(double& value, double low, double high);
// True when the ranges a1 ... a2 and b1 ... b2 (either order) share a point;
// touching ranges overlap.
NUMORA_API bool IsRangeOverlap(float a1, float a2, float b1, float b2);
// Linear interpolation weights of a and b at x: with da = |a - x| and
// db = |b - x|, weightA = 1 - da / (da + db), weightB = 1 - db / (da + db).
// precision: distances and ratios in float, each difference from 1 in double.
NUMORA_API void GetDistanceRatio(float x, float a, float b, float& weightA, float& weightB);
// Rounds a display range outward to few significant digits, adding digits
// until the rounded span is within (1 + margin) times the original span.
// With anchorZero, a range on one side of zero is drawn from zero. A zero-width
// range is widened first (0 ... 1, or to or from zero). lowDigits, if not null,
// receives the digits of low and highDigits those of high.
// precision: limits rounded to float after each pass; span and limit in float.
NUMORA_API void RangeRoundLinear(float& low, float& high, float margin, int anchorZero,
                                 int* lowDigits, int* highDigits);

// ---- Decibels ---------------------------------------------------------------
// -96 dB is the floor for a value without a logarithm, where a function says so.

// 10 log10(x); -96 for x <= 0.
// precision: logarithm and product in double, rounded to float once.
NUMORA_API float DB10log(float x);
// 20 log10(x); -96 for x <= 0.
// precision: logarithm and product in double, rounded to float once.
NUMORA_API float DB20log(float x);
// Scale factor of db decibels: 10^(db / k); k is 10 for power, 20 for amplitude.
// precision: db / k in float, the power in double, rounded to float.
NUMORA_API float DBtoSF(float db, float k);
// Scale factor of db decibels: 10^(db / k).
NUMORA_API double DBtoSF(double db, double k);
// Decibels of scale factor x: log10(x) * k; -96 for x = 0 exactly, NaN for x < 0.
// precision: logarithm and product in double, rounded to float once.
NUMORA_API float SFtoDB(float x, float k);
// Decibels of scale factor x: log10(x) * k; -96 for x = 0 exactly, NaN for x < 0.
NUMORA_API double SFtoDB(double x, double k);
// x scaled by db decibels: 10^(db / k) * x.
// precision: the factor is DBtoSF(db, k) in float, the product in float.
NUMORA_API float ScaleByDB(float x, float db, float k);
// x scaled by db decibels: 10^(db / k) * x.
NUMORA_API double ScaleByDB(double x, double db, double k);
// Level of target against rms in dB: 20 log10(target / rms); no floor.
// precision: quotient in float, logarithm and product in double.
NUMORA_API float RMSTargetToDB(float target, float rms);
// As RMSTargetToDB with target lowered by adjustDb decibels:
// s = float(1 / 10^(adjustDb / 20)), 20 log10(s * target / rms).
// precision: s * target / rms in float, logarithm and product in double.
NUMORA_API float RMSTargetToDBAdj(float target, float rms, float adjustDb);

// ---- Sensor and motion conversions at one frequency -------------------------

// Engineering units per volt: 1000 / (sensitivity * scale), with the
// sensitivity divided by gain first when gain is not 0.
NUMORA_API double VtoEUMult(double sensitivity, double gain, double scale);
// Velocity of a sine of acceleration a at f Hz: a / (f * 2 pi * k).
NUMORA_API double AccelToVel(double a, double f, double k);
// Displacement of a sine of velocity v at f Hz: v / (f * 2 pi * k).
NUMORA_API double VelToDisp(double v, double f, double k);
// Acceleration of a sine of velocity v at f Hz: v * 2 pi * f * k.
NUMORA_API double VelToAccel(double v, double f, double k);
// Velocity of a sine of peak-to-peak displacement d at f Hz: f * pi * d * k.
NUMORA_API double DispToVel(double d, double f, double k);
// Peak-to-peak displacement of a sine of peak acceleration a at f Hz:
// a / (2 pi^2 * f^2 * k), the acceleration (2 pi f)^2 times half the
// peak-to-peak displacement.
// choice: f enters squared and the displacement is peak-to-peak, as in
// DispToVel; the divisor is (19.739208802178716 * (f * f)) * k, the same
// product DispToAccel multiplies by.
NUMORA_API double AccelToDisp(double a, double f, double k);
// Peak acceleration of a sine of peak-to-peak displacement d at f Hz:
// d * (19.739208802178716 * (f * f)) * k, the inverse of AccelToDisp.
NUMORA_API double DispToAccel(double d, double f, double k);

// ---- Random values -----------------------------------------------------------
// Both draw one value of the 15-bit source Rand() (0 ... 32767), so they advance
// the calling thread's sequence.

// Rand() / 32767.0 * (hi - lo) + lo, in double: both ends can be drawn.
NUMORA_API double GetRandomValue(double lo, double hi);
// The double value from double(lo) and double(hi), Round(double) and cut:
// each end has half the weight of an inner value.
NUMORA_API int GetRandomValue(int lo, int hi);

// ---- Timer ---------------------------------------------------------------------

// Milliseconds elapsed since construction or the last Reset, on the monotonic
// clock TickCount64().
class NUMORA_API CTimer {
public:
    // Starts the timer now.
    CTimer();
    CTimer(const CTimer& other);
    // Copies the start tick.
    CTimer& operator=(const CTimer& other);
    ~CTimer();

    // Restarts the timer now.
    void Reset();
    // Milliseconds since the start tick.
    unsigned long long GetElapsedTime() const;
    // Milliseconds since the start tick, saturated at 0xFFFFFFFF rather than
    // wrapped, so after 49.7 days it stays at its largest value.
    uint32_t GetElapsedTimeDW() const;

protected:
    // Monotonic millisecond count at the start.
    uint64_t startTick_;
};

}  // namespace math
}  // namespace qv
