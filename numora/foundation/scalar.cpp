#include "numora/foundation/scalar.h"

#include <climits>
#include <cmath>

#include "numora/foundation/cut_detail.h"
#include "numora/foundation/platform.h"

namespace qv {
namespace math {

namespace detail {

int CutToInt(double v)
{
    if (v > -2147483649.0 && v < 2147483648.0)
        return static_cast<int>(v);
    return INT_MIN;
}

int SaturateToInt(double v)
{
    if (std::isnan(v))
        return 0;
    if (v >= 2147483648.0)
        return INT_MAX;
    if (v <= -2147483649.0)
        return INT_MIN;
    return static_cast<int>(v);
}

uint32_t CutToU32(double v)
{
    if (v >= -9223372036854775808.0 && v < 9223372036854775808.0)
        return static_cast<uint32_t>(static_cast<int64_t>(v));
    return 0u;
}

}  // namespace detail

namespace {

using detail::CutToInt;
using detail::CutToU32;

// index limited to 0 ... n - 1, the bottom tested first.
int ClampIndex(int index, int n)
{
    if (index < 0)
        return 0;
    // n - 1 is formed in 64 bits and saturated: n = INT_MIN has no int n - 1.
    const long long top = static_cast<long long>(n) - 1;
    if (index > top)
        return top < INT_MIN ? INT_MIN : static_cast<int>(top);
    return index;
}

// The standard ratio that `ratio` snaps up to, or ratio itself above the
// larger one; upper is the threshold of the larger ratio.
double SnapRatio(double ratio, double upper)
{
    if (ratio <= 2.56)
        return 2.56;
    if (ratio <= upper)
        return 5.12;
    return ratio;
}

// 10^(floor(log10|x|) - (digits - 1)): the place value of the last of
// `digits` significant digits of x.
double DigitPlace(double x, int digits)
{
    // digits - 1 is taken in double, where it cannot overflow.
    return std::pow(10.0, std::floor(std::log10(std::fabs(x))) - (static_cast<double>(digits) - 1.0));
}

// The product that turns peak-to-peak displacement into acceleration.
double DispAccelFactor(double f, double k)
{
    return (19.739208802178716 * (f * f)) * k;
}

template <typename T>
bool LimitRangeOf(T& value, T low, T high)
{
    if (value < low) {
        value = low;
        return false;
    }
    if (value > high) {
        value = high;
        return false;
    }
    return true;
}

}  // namespace

// ---- Rounding ------------------------------------------------------------

float Round(float x, qv::RoundMethod m)
{
    switch (m) {
    case qv::RoundMethodNearest:
        return x >= 0.0f ? std::floor(x + 0.5f) : std::ceil(x - 0.5f);
    case qv::RoundMethodFloor:
        return std::floor(x);
    case qv::RoundMethodCeil:
        return std::ceil(x);
    case qv::RoundMethodFloorEps:
        return std::floor(x + 1e-6f);
    default:
        return x;
    }
}

double Round(double x, qv::RoundMethod m)
{
    switch (m) {
    case qv::RoundMethodNearest:
        return x >= 0.0 ? std::floor(x + 0.5) : std::ceil(x - 0.5);
    case qv::RoundMethodFloor:
        return std::floor(x);
    case qv::RoundMethodCeil:
        return std::ceil(x);
    case qv::RoundMethodFloorEps:
        return std::floor(x + 1e-6);
    default:
        return x;
    }
}

float Round(float x)
{
    return Round(x, qv::RoundMethodNearest);
}

double Round(double x)
{
    return Round(x, qv::RoundMethodNearest);
}

double RoundUp(double x, int digits)
{
    if (x == 0.0 || digits == 0)
        return 0.0;
    const double p = DigitPlace(x, digits);
    return std::ceil(x / p) * p;
}

double RoundDown(double x, int digits)
{
    if (x == 0.0 || digits == 0)
        return 0.0;
    const double p = DigitPlace(x, digits);
    return std::floor(x / p + 0.0001) * p;
}

int RoundUpPOW2(int x)
{
    // Spreading the highest set bit of x - 1 into every lower bit gives
    // 2^k - 1; with arithmetic shifts every x <= 0 spreads to -1 and ends at 0.
    // The propagation runs on the unsigned pattern so that no step overflows.
    if (x <= 0)
        return 0;
    uint32_t v = static_cast<uint32_t>(x) - 1u;
    v |= v >> 1;
    v |= v >> 2;
    v |= v >> 4;
    v |= v >> 8;
    v |= v >> 16;
    return static_cast<int>(v + 1u);
}

int RoundUpPOW2(double x)
{
    return RoundUpPOW2(CutToInt(std::floor(x)));
}

// ---- Scale factors -------------------------------------------------------

double Peak2RMS(double x)
{
    return x * 0.707106781;
}

double RMS2Peak(double x)
{
    return x * 1.414213562;
}

double MV2V(double x)
{
    return x * 0.001;
}

float MV2V(float x)
{
    return x * 0.001f;
}

double V2MV(double x)
{
    return x * 1000.0;
}

float V2MV(float x)
{
    return x * 1000.0f;
}

double MS2S(double x)
{
    return x * 0.001;
}

double MS2S(unsigned int x)
{
    return static_cast<double>(x) * 0.001;
}

double MS2S(int x)
{
    return static_cast<double>(x) * 0.001;
}

double S2MS(double x)
{
    return x * 1000.0;
}

unsigned int S2MSu(double x)
{
    return CutToU32(Round(x * 1000.0));
}

int S2MSn(double x)
{
    return CutToInt(Round(x * 1000.0));
}

double Rad2Deg(double x)
{
    return x * 57.29577951308232;
}

double Deg2Rad(double x)
{
    return x * 0.017453292519943295;
}

double Variance(double meanSquare, double mean)
{
    return meanSquare - mean * mean;
}

double SigmaSqr(double meanSquare, double mean)
{
    return Variance(meanSquare, mean);
}

double StandardDeviation(double variance)
{
    return std::sqrt(variance);
}

double Sigma(double variance)
{
    return std::sqrt(variance);
}

double Percent(double x, double percent)
{
    return x * percent / 100.0;
}

int PercentN(int x, double percent)
{
    return CutToInt(Round(static_cast<double>(x) * percent / 100.0));
}

unsigned int PercentU(unsigned int x, double percent)
{
    return CutToU32(Round(static_cast<double>(x) * percent / 100.0));
}

// ---- Time, frequency and frame sizes ---------------------------------------

double Samples2Duration(double rate, unsigned long long samples)
{
    if (rate == 0.0)
        return 0.0;
    return static_cast<double>(samples) / rate;
}

unsigned long long Duration2Samples(double duration, double rate)
{
    const double samples = std::floor(duration * rate);
    if (!(samples >= 0.0))
        return 0ull;
    if (samples >= 18446744073709551616.0)
        return ~0ull;
    return static_cast<unsigned long long>(samples);
}

unsigned int Duration2Blocks(double duration, double rate, uint32_t blockSize, qv::RoundMethod m)
{
    static_cast<void>(m);
    return CutToU32(std::ceil(duration * rate / static_cast<double>(blockSize)));
}

int Freq2Index(float f, float df, qv::RoundMethod m)
{
    return CutToInt(static_cast<double>(Round(f / df, m)));
}

int Freq2Index(double f, double df, qv::RoundMethod m)
{
    return CutToInt(Round(f / df, m));
}

int Freq2Index(float f, float df, int n, qv::RoundMethod m)
{
    return ClampIndex(Freq2Index(f, df, m), n);
}

int Freq2Index(double f, double df, int n, qv::RoundMethod m)
{
    return ClampIndex(Freq2Index(f, df, m), n);
}

void FreqRange2Index(float f1, float f2, float df, int& i1, int& i2)
{
    i1 = Freq2Index(f1, df, qv::RoundMethodFloor);
    i2 = Freq2Index(f2, df, qv::RoundMethodCeil);
}

double SampleRate2DeltaT(double rate)
{
    if (rate == 0.0)
        return 0.0;
    return 1.0 / rate;
}

double DeltaT2SampleRate(double dt)
{
    if (dt == 0.0)
        return 0.0;
    const double rate = 1.0 / dt;
    // High rates are whole numbers; rounding removes the error of 1 / (1 / r).
    return rate >= 25600.0 ? Round(rate) : rate;
}

double SampleRate2DeltaF(double rate, unsigned int n)
{
    if (n == 0u)
        return 0.0;
    return rate / static_cast<double>(n);
}

int Resolution2FrameSize(int lines, double ratio)
{
    return RoundUpPOW2(static_cast<double>(lines) * ratio);
}

unsigned int Resolution2FrameSizeU(int lines, double ratio)
{
    return static_cast<unsigned int>(Resolution2FrameSize(lines, ratio));
}

int FrameSize2Resolution(int frameSize, double ratio)
{
    const double d = SnapRatio(ratio, 5.119999885559082);
    return CutToInt(Round(static_cast<double>(frameSize) / d, qv::RoundMethodFloorEps));
}

unsigned int FrameSize2ResolutionU(unsigned int frameSize, double ratio)
{
    const double d = SnapRatio(ratio, 5.119999885559082);
    return CutToU32(Round(static_cast<double>(frameSize) / d, qv::RoundMethodFloorEps));
}

double SampleRate2Bandwidth(double rate, double ratio)
{
    return rate / SnapRatio(ratio, 5.12);
}

unsigned int SampleRate2BandwidthU(double rate, double ratio)
{
    return CutToU32(Round(SampleRate2Bandwidth(rate, ratio), qv::RoundMethodFloorEps));
}

int SampleRate2BandwidthN(double rate, double ratio)
{
    return CutToInt(Round(SampleRate2Bandwidth(rate, ratio), qv::RoundMethodFloorEps));
}

double SampleRate2MaxBandwidth(double rate, double ratio)
{
    if (ratio == 0.0)
        return 0.0;
    return rate / ratio;
}

unsigned int SampleRate2MaxBandwidthU(double rate, double ratio)
{
    if (ratio == 0.0)
        return 0u;
    return CutToU32(Round(rate / ratio, qv::RoundMethodFloorEps));
}

int SampleRate2MaxBandwidthN(double rate, double ratio)
{
    if (ratio == 0.0)
        return 0;
    return CutToInt(Round(rate / ratio, qv::RoundMethodFloorEps));
}

unsigned int OverlapFactor2SampleDelay(double overlap, unsigned int frameSize)
{
    return CutToU32(Round((1.0 - overlap) * static_cast<double>(frameSize)));
}

// ---- Ranges ----------------------------------------------------------------

bool LimitRange(int& value, int low, int high)
{
    return LimitRangeOf(value, low, high);
}

bool LimitRange(uint32_t& value, uint32_t low, uint32_t high)
{
    return LimitRangeOf(value, low, high);
}

bool LimitRange(float& value, float low, float high)
{
    return LimitRangeOf(value, low, high);
}

bool LimitRange(double& value, double low, double high)
{
    return LimitRangeOf(value, low, high);
}

bool InRange(int& value, int low, int high)
{
    return low <= value && value <= high;
}

bool InRange(uint32_t& value, uint32_t low, uint32_t high)
{
    return low <= value && value <= high;
}

bool InRange(float& value, float low, float high)
{
    return low <= value && value <= high;
}

bool InRange(double& value, double low, double high)
{
    return low <= value && value <= high;
}

bool IsRangeOverlap(float a1, float a2, float b1, float b2)
{
    const float aLow = a1 < a2 ? a1 : a2;
    const float aHigh = a1 < a2 ? a2 : a1;
    const float bLow = b1 < b2 ? b1 : b2;
    const float bHigh = b1 < b2 ? b2 : b1;
    return bHigh >= aLow && aHigh >= bLow;
}

void GetDistanceRatio(float x, float a, float b, float& weightA, float& weightB)
{
    const float da = std::fabs(a - x);
    const float db = std::fabs(b - x);
    const float sum = da + db;
    weightA = static_cast<float>(1.0 - static_cast<double>(da / sum));
    weightB = static_cast<float>(1.0 - static_cast<double>(db / sum));
}

void RangeRoundLinear(float& low, float& high, float margin, int anchorZero, int* lowDigits,
                      int* highDigits)
{
    if (low == high) {
        if (low == 0.0f)
            high = 1.0f;
        else if (low < 0.0f)
            high = 0.0f;
        else
            low = 0.0f;
    }
    const float a = low;
    const float b = high;
    const float limit = std::fabs(b - a) * (margin + 1.0f);
    int dLow = 1;
    int dHigh = 1;
    float lo = a;
    float hi = b;
    bool firstPass = true;
    while (dLow < 8 && dHigh < 8) {
        if (firstPass && anchorZero != 0) {
            // A limit with no digits rounds to zero: the range starts at zero.
            if (std::fabs(b) >= std::fabs(a) && a > 0.0f)
                dLow = 0;
            if (std::fabs(b) < std::fabs(a) && b < 0.0f)
                dHigh = 0;
        }
        firstPass = false;
        lo = static_cast<float>(RoundDown(static_cast<double>(a), dLow));
        hi = static_cast<float>(RoundUp(static_cast<double>(b), dHigh));
        if (limit > std::fabs(hi - lo))
            break;
        if (std::fabs(hi - b) > std::fabs(lo - a)) {
            ++dHigh;
        } else {
            ++dLow;
            ++dHigh;
        }
    }
    low = lo;
    high = hi;
    if (lowDigits != nullptr) {
        *lowDigits = dLow;
        *highDigits = dHigh;
    }
}

// ---- Decibels ---------------------------------------------------------------

float DB10log(float x)
{
    if (x <= 0.0f)
        return -96.0f;
    return static_cast<float>(10.0 * std::log10(static_cast<double>(x)));
}

float DB20log(float x)
{
    if (x <= 0.0f)
        return -96.0f;
    return static_cast<float>(20.0 * std::log10(static_cast<double>(x)));
}

float DBtoSF(float db, float k)
{
    return static_cast<float>(std::pow(10.0, static_cast<double>(db / k)));
}

double DBtoSF(double db, double k)
{
    return std::pow(10.0, db / k);
}

float SFtoDB(float x, float k)
{
    if (x == 0.0f)
        return -96.0f;
    return static_cast<float>(std::log10(static_cast<double>(x)) * static_cast<double>(k));
}

double SFtoDB(double x, double k)
{
    if (x == 0.0)
        return -96.0;
    return std::log10(x) * k;
}

float ScaleByDB(float x, float db, float k)
{
    return DBtoSF(db, k) * x;
}

double ScaleByDB(double x, double db, double k)
{
    return std::pow(10.0, db / k) * x;
}

float RMSTargetToDB(float target, float rms)
{
    return static_cast<float>(20.0 * std::log10(static_cast<double>(target / rms)));
}

float RMSTargetToDBAdj(float target, float rms, float adjustDb)
{
    const float s =
        static_cast<float>(1.0 / std::pow(10.0, static_cast<double>(adjustDb) / 20.0));
    return static_cast<float>(20.0 * std::log10(static_cast<double>(s * target / rms)));
}

// ---- Sensor and motion conversions at one frequency -------------------------

double VtoEUMult(double sensitivity, double gain, double scale)
{
    if (gain == 0.0)
        return 1000.0 / (sensitivity * scale);
    return 1000.0 / ((sensitivity / gain) * scale);
}

double AccelToVel(double a, double f, double k)
{
    return a / (f * 6.283185307179586 * k);
}

double VelToDisp(double v, double f, double k)
{
    return v / (f * 6.283185307179586 * k);
}

double VelToAccel(double v, double f, double k)
{
    return v * 6.283185307179586 * f * k;
}

double DispToVel(double d, double f, double k)
{
    return f * 3.141592653589793 * d * k;
}

double AccelToDisp(double a, double f, double k)
{
    return a / DispAccelFactor(f, k);
}

double DispToAccel(double d, double f, double k)
{
    return d * DispAccelFactor(f, k);
}

// ---- Random values -----------------------------------------------------------

double GetRandomValue(double lo, double hi)
{
    return static_cast<double>(Rand()) / 32767.0 * (hi - lo) + lo;
}

int GetRandomValue(int lo, int hi)
{
    const double value = GetRandomValue(static_cast<double>(lo), static_cast<double>(hi));
    return CutToInt(Round(value));
}

// ---- Timer ---------------------------------------------------------------------

CTimer::CTimer() : startTick_(TickCount64()) {}

CTimer::CTimer(const CTimer& other) : startTick_(other.startTick_) {}

CTimer& CTimer::operator=(const CTimer& other)
{
    startTick_ = other.startTick_;
    return *this;
}

CTimer::~CTimer() {}

void CTimer::Reset()
{
    startTick_ = TickCount64();
}

unsigned long long CTimer::GetElapsedTime() const
{
    return TickCount64() - startTick_;
}

uint32_t CTimer::GetElapsedTimeDW() const
{
    const unsigned long long elapsed = GetElapsedTime();
    return elapsed > 0xFFFFFFFFull ? 0xFFFFFFFFu : static_cast<uint32_t>(elapsed);
}

}  // namespace math
}  // namespace qv
