#include "numora/analysis/srs.h"

#include <climits>
#include <cmath>

#include "numora/analysis/srs_detail.h"
#include "numora/foundation/cut_detail.h"
#include "numora/foundation/simd_detail.h"

namespace qv {
namespace math {

namespace {

using detail::CutToInt;
namespace simd = qv::math::simd;

// Most bands TIMtoSRS computes in one call.
constexpr int kMaxBands = 1000;

constexpr double kTwoPi = 6.283185307179586;

// Largest |bandsPerOctave| a series is built for; beyond it the walks over
// the band indices would take millions of steps.
constexpr int kMaxBandsPerOctave = 10000;

enum class Series { Ansi, Acoustic };

// Frequency of band i; n is positive for the ANSI series, non-zero for the
// acoustic one.
float BandFrequency(Series series, int i, int n)
{
    const float tenN = static_cast<float>(10LL * n);
    if (series == Series::Ansi) {
        const float e = static_cast<float>(i) / tenN;
        return static_cast<float>(std::pow(1000.0, static_cast<double>(e)));
    }
    const float e = (static_cast<float>(i) - tenN) / static_cast<float>(n);
    return 1000.0f * static_cast<float>(std::pow(2.0, static_cast<double>(e)));
}

// First guess of the index of the band at fLo, about one band below it.
int FirstGuess(Series series, float fLo, int n)
{
    if (series == Series::Ansi) {
        const float decades = static_cast<float>(std::log10(static_cast<double>(fLo)));
        return CutToInt(static_cast<double>(decades * (static_cast<float>(n) * 3.3333f) - 1.0f));
    }
    const float decades = static_cast<float>(std::log10(static_cast<double>(fLo / 1000.0f)));
    const float log2 = static_cast<float>(std::log10(2.0));
    const float guess = decades * static_cast<float>(n) / log2 + static_cast<float>(10 * n) - 1.0f;
    return CutToInt(static_cast<double>(guess));
}

// Clamps the range to 0.001 .. 100000 Hz; false when it is empty or a limit is NaN.
bool ClampRange(float fLow, float fHigh, float* fLo, float* fHi)
{
    if (std::isnan(fLow) || std::isnan(fHigh))
        return false;
    *fHi = fHigh < 100000.0f ? fHigh : 100000.0f;
    *fLo = fLow > 0.001f ? fLow : 0.001f;
    return !(*fLo > *fHi);
}

// Both series builders; n is positive and at most kMaxBandsPerOctave.
int BuildSeries(Series series, int n, float fLow, float fHigh, float* freq, int maxCount,
                int* firstIndex)
{
    float fLo = 0.0f;
    float fHi = 0.0f;
    if (!ClampRange(fLow, fHigh, &fLo, &fHi))
        return -1;

    // First band: the one within 0.1 % of fLo, else the highest below it.
    const float lowTolerance = 0.001f * fLow;
    int i = FirstGuess(series, fLo, n);
    for (;;) {
        const float f = BandFrequency(series, i, n);
        if (std::fabs(f - fLo) < lowTolerance)
            break;
        if (f > fLo) {
            --i;
            break;
        }
        ++i;
    }
    *firstIndex = i;

    // Last band: the first from band 1 upward that reaches fHi or comes
    // within 0.1 % of it. The count only grows along the walk, so it stops
    // as soon as the count is too large.
    const float highTolerance = 0.001f * fHigh;
    int j = 1;
    for (;;) {
        const float f = BandFrequency(series, j, n);
        if (!(f < fHi && std::fabs(f - fHi) >= highTolerance))
            break;
        ++j;
        if (static_cast<long long>(j) - i + 1 > maxCount)
            return -1;
    }

    const long long count = static_cast<long long>(j) - i + 1;
    if (count > maxCount)
        return -1;
    for (int k = i; k <= j; ++k)
        freq[k - i] = BandFrequency(series, k, n);
    return static_cast<int>(count);
}

bool UsableBandsPerOctave(int n)
{
    return n != 0 && n <= kMaxBandsPerOctave && n >= -kMaxBandsPerOctave;
}

// The seven output arrays.
struct Spectra {
    float* primaryPos;
    float* primaryNeg;
    float* residualPos;
    float* residualNeg;
    float* maximax;
    float* maxPos;
    float* maxNeg;
};

void Store(const Spectra& out, int band, const SrsMaxima& m)
{
    out.primaryPos[band] = m.primaryPos;
    out.primaryNeg[band] = m.primaryNeg;
    out.residualPos[band] = m.residualPos;
    out.residualNeg[band] = m.residualNeg;
    out.maximax[band] = m.maximax;
    out.maxPos[band] = m.maxPos;
    out.maxNeg[band] = m.maxNeg;
}

float Larger(float a, float b) { return a < b ? b : a; }

SrsMaxima Collect(float primaryPos, float primaryNeg, float residualPos, float residualNeg)
{
    const float maxPos = Larger(primaryPos, residualPos);
    const float maxNeg = Larger(primaryNeg, residualNeg);
    return {primaryPos, primaryNeg, residualPos, residualNeg, Larger(maxPos, maxNeg), maxPos, maxNeg};
}

// The samples an oscillator reads, first and last inclusive.
struct Stretch {
    int start;
    int end;
};

Stretch AnalysedStretch(int n, float sampleRate, float defaultEndMs, float startMs, float endMs)
{
    const float e = endMs == 0.0f ? defaultEndMs : endMs;
    int end = CutToInt(static_cast<double>(sampleRate * e / 1000.0f + 0.5f));
    if (end <= 0 || end > n - 1)
        end = n - 1;
    int start = CutToInt(static_cast<double>(sampleRate * startMs / 1000.0f + 0.5f));
    if (start < 0)
        start = 0;
    if (start >= end)
        start = end - 1;
    return {start, end};
}

// Number of free steps after the stretch, 1.1 periods of f: the float
// quotient of sampleRate * -1.1 by f, cut and negated. None when it has no
// int or the quotient is positive.
int ResidualSteps(float sampleRate, float f)
{
    const int negated = CutToInt(static_cast<double>(sampleRate * -1.1f / f));
    if (negated == INT_MIN || negated > 0)
        return 0;
    return -negated;
}

// Checks the arguments, builds the band series into freq and works out the
// stretch. Result: the number of bands, or -1 when nothing may be written.
int PrepareBands(int n, QV_SRS_TYPE type, int bandsPerOctave, float* freq, float fLow,
                 float fHigh, float sampleRate, float defaultEndMs, float startMs, float endMs,
                 Stretch* stretch)
{
    if (n < 2 || (type != QV_SRS_ABSOLUTE_ACCEL && type != QV_SRS_RELATIVE_DISP))
        return -1;
    int firstIndex = 0;
    const int count = SRSCalcAnsiFreq(bandsPerOctave, fLow, fHigh, freq, kMaxBands, &firstIndex);
    if (count < 0)
        return -1;
    *stretch = AnalysedStretch(n, sampleRate, defaultEndMs, startMs, endMs);
    return count;
}

// Impulse-invariant oscillator of band frequency f at rest; s = sqrt(1 - zeta^2).
SrsOscillator ImpulseInvariantOscillator(QV_SRS_TYPE type, float f, float sampleRate, float zeta,
                                         float s)
{
    SrsOscillator o{};
    const float T = 1.0f / sampleRate;
    const float w = f * 6.2831855f;
    const float x = -w * T * zeta;
    const double theta = static_cast<double>(w * T * s);
    const float cosT = static_cast<float>(std::cos(theta));
    const float sinT = static_cast<float>(std::sin(theta));
    const float E = static_cast<float>(std::exp(static_cast<double>(x)));
    // Its own exponential: E * E would round differently.
    const float E2 = static_cast<float>(std::exp(static_cast<double>(x + x)));
    o.b1 = (cosT + cosT - E) * E;
    o.b2 = -E2;
    if (type == QV_SRS_ABSOLUTE_ACCEL) {
        o.a0 = x * -2.0f;
        o.a1 = (sinT * (1.0f - 2.0f * zeta * zeta) - 2.0f * zeta * s * cosT) * E * w * T / s;
    } else {
        o.a0 = 0.0f;
        o.a1 = sinT * E * w * T / s;
    }
    return o;
}

// One step of the recursion, in the difference form: b1 holds 2 E cosT - E^2
// and the term b2 (y2 - y1) adds E2 back to y1's weight, so the sum is never
// regrouped around 2 E cosT.
float Advance(SrsOscillator& o, float x)
{
    const float y = (o.a1 * o.x1 + o.a0 * x) + o.b1 * o.y1 + o.b2 * (o.y2 - o.y1);
    o.x1 = x;
    o.y2 = o.y1;
    o.y1 = y;
    return y;
}

// A response y >= 0 may raise pos, a negative one raises neg with its
// magnitude; NaN changes neither.
template <typename T>
void Track(T y, T& pos, T& neg)
{
    if (y >= T(0)) {
        if (pos < y)
            pos = y;
    } else if (neg < -y) {
        neg = -y;
    }
}

SrsMaxima RunImpulseInvariant(SrsOscillator& o, const float* time, Stretch stretch, int residual)
{
    for (int k = stretch.start; k <= stretch.end; ++k)
        Track(Advance(o, time[k]), o.primaryPos, o.primaryNeg);
    for (int k = 0; k < residual; ++k)
        Track(Advance(o, 0.0f), o.residualPos, o.residualNeg);
    return Collect(o.primaryPos, o.primaryNeg, o.residualPos, o.residualNeg);
}

// The oscillators of LaneCount<V> bands side by side, one per lane, each lane
// doing RunImpulseInvariant's float operations in the same order. The maxima
// are kept per lane: y > top ? y : top is the positive rule, and the lowest
// response (from -0) is the negative peak's negation, which equals the scalar
// rule's result, NaN ignored and ties alike. A lane stops keeping residual
// maxima after its own number of residual steps.
template <typename V>
NUMORA_SIMD_INLINE void RunImpulseInvariantLanes(const SrsOscillator* osc, const int* residual,
                                                 const float* time, Stretch stretch,
                                                 SrsMaxima* out)
{
    constexpr int W = simd::LaneCount<V>;
    float a0[W], a1[W], b1[W], b2[W];
    float primaryTop[W], primaryLow[W], residualTop[W], residualLow[W];
    int longest = 0;
    for (int l = 0; l < W; ++l) {
        a0[l] = osc[l].a0;
        a1[l] = osc[l].a1;
        b1[l] = osc[l].b1;
        b2[l] = osc[l].b2;
        primaryTop[l] = residualTop[l] = 0.0f;
        primaryLow[l] = residualLow[l] = -0.0f;
        longest = residual[l] > longest ? residual[l] : longest;
    }
    const V A0 = simd::Load<V>(a0), A1 = simd::Load<V>(a1), B1 = simd::Load<V>(b1), B2 = simd::Load<V>(b2);
    const V zero = simd::Splat<V>(0.0f);
    V x1 = zero, y1 = zero, y2 = zero;
    float y[W];
    auto advance = [&](V x) NUMORA_SIMD_LAMBDA {
        const V next = (A1 * x1 + A0 * x) + B1 * y1 + B2 * (y2 - y1);
        x1 = x;
        y2 = y1;
        y1 = next;
        simd::Store(y, next);
    };
    for (int k = stretch.start; k <= stretch.end; ++k) {
        advance(simd::Splat<V>(time[k]));
        for (int l = 0; l < W; ++l) {
            primaryTop[l] = y[l] > primaryTop[l] ? y[l] : primaryTop[l];
            primaryLow[l] = y[l] < primaryLow[l] ? y[l] : primaryLow[l];
        }
    }
    for (int r = 0; r < longest; ++r) {
        advance(zero);
        for (int l = 0; l < W; ++l) {
            if (r < residual[l]) {
                residualTop[l] = y[l] > residualTop[l] ? y[l] : residualTop[l];
                residualLow[l] = y[l] < residualLow[l] ? y[l] : residualLow[l];
            }
        }
    }
    for (int l = 0; l < W; ++l)
        out[l] = Collect(primaryTop[l], -primaryLow[l], residualTop[l], -residualLow[l]);
}

// Eight bands in 256-bit vectors; only where simd::Avx2PathRuns().
NUMORA_SIMD_AVX2 void RunImpulseInvariant8(const SrsOscillator* osc, const int* residual,
                                           const float* time, Stretch stretch, SrsMaxima* out)
{
    RunImpulseInvariantLanes<simd::F8>(osc, residual, time, stretch, out);
}

// Four bands in 128-bit vectors, the x86-64 baseline.
void RunImpulseInvariant4(const SrsOscillator* osc, const int* residual, const float* time,
                          Stretch stretch, SrsMaxima* out)
{
    RunImpulseInvariantLanes<simd::F4>(osc, residual, time, stretch, out);
}

// What every band of one TIMtoSRS call shares.
struct ImpulseInvariantJob {
    const float* time;
    Stretch stretch;
    QV_SRS_TYPE type;
    float sampleRate;
    float damping;
    float s;  // sqrt(1 - zeta^2)
    const float* freq;
    Spectra out;

    SrsOscillator Oscillator(int band) const
    {
        return ImpulseInvariantOscillator(type, freq[band], sampleRate, damping, s);
    }
    int Residual(int band) const { return ResidualSteps(sampleRate, freq[band]); }
};

using LaneKernel = void (*)(const SrsOscillator*, const int*, const float*, Stretch, SrsMaxima*);

// Runs the bands from `band` on in groups of `width` while a whole group is
// left; returns the first band not run.
int RunGroups(const ImpulseInvariantJob& job, LaneKernel kernel, int width, int band, int count)
{
    const int kWidest = 8;
    SrsOscillator osc[kWidest];
    int residual[kWidest];
    SrsMaxima maxima[kWidest];
    for (; band + width <= count; band += width) {
        for (int l = 0; l < width; ++l) {
            osc[l] = job.Oscillator(band + l);
            residual[l] = job.Residual(band + l);
        }
        kernel(osc, residual, job.time, job.stretch, maxima);
        for (int l = 0; l < width; ++l)
            Store(job.out, band + l, maxima[l]);
    }
    return band;
}

// Ramp-invariant coefficients, all in double.
struct RampInvariant {
    double b0;
    double b1;
    double b2;
    double a1;
    double a2;
};

RampInvariant RampInvariantOscillator(QV_SRS_TYPE type, float f, float sampleRate, float damping)
{
    const double zeta = static_cast<double>(damping);
    const double W = kTwoPi * static_cast<double>(f) / static_cast<double>(sampleRate);
    const double A = zeta * W;
    const double B = W * std::sqrt(1.0 - zeta * zeta);
    const double E = std::exp(-A);
    const double E2 = std::exp(-2.0 * A);
    const double S = E * std::sin(B) / B;
    const double C = E * std::cos(B);
    RampInvariant c;
    c.a1 = -2.0 * C;
    c.a2 = E2;
    if (type == QV_SRS_ABSOLUTE_ACCEL) {
        c.b0 = 1.0 - S;
        c.b1 = 2.0 * (S - C);
        c.b2 = E2 - S;
    } else {
        const double z2 = 2.0 * zeta * zeta;
        c.b0 = 1.0 + (z2 - 1.0) * S + 2.0 * zeta * (C - 1.0) / W;
        c.b1 = 2.0 * (1.0 - z2) * S - 2.0 * C + 2.0 * zeta * (1.0 - E2) / W;
        c.b2 = E2 + (z2 - 1.0) * S + 2.0 * zeta * (E2 - C) / W;
    }
    return c;
}

SrsMaxima RunRampInvariant(const RampInvariant& c, const float* time, Stretch stretch, int residual)
{
    double x1 = 0.0, x2 = 0.0, y1 = 0.0, y2 = 0.0;
    double pp = 0.0, pn = 0.0, rp = 0.0, rn = 0.0;
    auto advance = [&](double x) {
        const double y = c.b0 * x + c.b1 * x1 + c.b2 * x2 - c.a1 * y1 - c.a2 * y2;
        x2 = x1;
        x1 = x;
        y2 = y1;
        y1 = y;
        return y;
    };
    for (int k = stretch.start; k <= stretch.end; ++k)
        Track(advance(static_cast<double>(time[k])), pp, pn);
    for (int k = 0; k < residual; ++k)
        Track(advance(0.0), rp, rn);
    return Collect(static_cast<float>(pp), static_cast<float>(pn), static_cast<float>(rp),
                   static_cast<float>(rn));
}

}  // namespace

int SRSCalcAnsiFreq(int bandsPerOctave, float fLow, float fHigh, float* freq, int maxCount,
                    int* firstIndex)
{
    if (!UsableBandsPerOctave(bandsPerOctave))
        return -1;
    if (bandsPerOctave < 0) {
        float fLo = 0.0f;
        float fHi = 0.0f;
        if (!ClampRange(fLow, fHigh, &fLo, &fHi))
            return -1;
        return SRSCalcAcousticFreq(-bandsPerOctave, fLo, fHi, freq, maxCount, firstIndex);
    }
    return BuildSeries(Series::Ansi, bandsPerOctave, fLow, fHigh, freq, maxCount, firstIndex);
}

int SRSCalcAcousticFreq(int bandsPerOctave, float fLow, float fHigh, float* freq, int maxCount,
                        int* firstIndex)
{
    if (bandsPerOctave <= 0 || !UsableBandsPerOctave(bandsPerOctave))
        return -1;
    return BuildSeries(Series::Acoustic, bandsPerOctave, fLow, fHigh, freq, maxCount, firstIndex);
}

float SRSGetAcousticFreq(int index, int bandsPerOctave)
{
    if (bandsPerOctave == 0)
        return 0.0f;
    return BandFrequency(Series::Acoustic, index, bandsPerOctave);
}

namespace detail {

bool SrsPathAvailable(SrsPath path)
{
    return path != SrsPath::Lanes8 || simd::Avx2PathRuns();
}

int TIMtoSRSOnPath(SrsPath path, const float* time, int n, float sampleRate, float damping,
                   QV_SRS_TYPE type, int bandsPerOctave, float defaultEndMs, float* primaryPos,
                   float* primaryNeg, float* residualPos, float* residualNeg, float* maximax,
                   float* maxPos, float* maxNeg, float* freq, float fLow, float fHigh,
                   float startMs, float endMs)
{
    Stretch stretch{};
    const int count = PrepareBands(n, type, bandsPerOctave, freq, fLow, fHigh, sampleRate,
                                   defaultEndMs, startMs, endMs, &stretch);
    const float zeta2 = damping * damping;
    const float s = static_cast<float>(std::sqrt(1.0 - static_cast<double>(zeta2)));
    const ImpulseInvariantJob job{time, stretch, type, sampleRate, damping, s, freq,
                                  {primaryPos, primaryNeg, residualPos, residualNeg, maximax, maxPos, maxNeg}};
    int band = 0;
    if (path == SrsPath::Lanes8)
        band = RunGroups(job, RunImpulseInvariant8, 8, band, count);
    if (path != SrsPath::Plain)
        band = RunGroups(job, RunImpulseInvariant4, 4, band, count);
    for (; band < count; ++band) {
        SrsOscillator o = job.Oscillator(band);
        Store(job.out, band, RunImpulseInvariant(o, time, stretch, job.Residual(band)));
    }
    return count;
}

}  // namespace detail

int TIMtoSRS(const float* time, int n, float sampleRate, float damping, QV_SRS_TYPE type,
             int bandsPerOctave, float defaultEndMs, float* primaryPos, float* primaryNeg,
             float* residualPos, float* residualNeg, float* maximax, float* maxPos, float* maxNeg,
             float* freq, float fLow, float fHigh, float startMs, float endMs)
{
    const detail::SrsPath widest = detail::SrsPathAvailable(detail::SrsPath::Lanes8)
                                       ? detail::SrsPath::Lanes8
                                       : detail::SrsPath::Lanes4;
    return detail::TIMtoSRSOnPath(widest, time, n, sampleRate, damping, type,
                                  bandsPerOctave, defaultEndMs, primaryPos, primaryNeg,
                                  residualPos, residualNeg, maximax, maxPos, maxNeg, freq, fLow,
                                  fHigh, startMs, endMs);
}

int TIMtoSRS_RampInvariant(const float* time, int n, float sampleRate, float damping,
                           QV_SRS_TYPE type, int bandsPerOctave, float defaultEndMs,
                           float* primaryPos, float* primaryNeg, float* residualPos,
                           float* residualNeg, float* maximax, float* maxPos, float* maxNeg,
                           float* freq, float fLow, float fHigh, float startMs, float endMs)
{
    Stretch stretch{};
    const int count = PrepareBands(n, type, bandsPerOctave, freq, fLow, fHigh, sampleRate,
                                   defaultEndMs, startMs, endMs, &stretch);
    const Spectra out{primaryPos, primaryNeg, residualPos, residualNeg, maximax, maxPos, maxNeg};
    for (int band = 0; band < count; ++band) {
        const RampInvariant c = RampInvariantOscillator(type, freq[band], sampleRate, damping);
        const int residual = ResidualSteps(sampleRate, freq[band]);
        Store(out, band, RunRampInvariant(c, time, stretch, residual));
    }
    return count;
}

}  // namespace math
}  // namespace qv
