#include "numora/analysis/srs.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "tests/support/support.h"

using namespace qv::math;
using namespace numora_test;

namespace {

const double kPi = 3.141592653589793;

using SrsFilter = int (*)(const float*, int, float, float, QV_SRS_TYPE, int, float, float*, float*,
                          float*, float*, float*, float*, float*, float*, float, float, float,
                          float);

// The seven spectra and the band frequencies of one call.
struct SrsResult {
    std::array<std::vector<float>, 8> out;  // the seven spectra in output order, then freq
    int count = 0;

    SrsResult()
    {
        for (auto& a : out) {
            a.assign(1000, 0.0f);
            FillSentinel(a.data(), 1000);
        }
    }
    float at(int spectrum, int band) const { return out[spectrum][band]; }
    float maximax(int band) const { return out[4][band]; }
    bool untouched() const
    {
        return std::all_of(out.begin(), out.end(), [](const std::vector<float>& a) { return HoldsSentinel(a.data(), 1000); });
    }
};

SrsResult RunSrs(SrsFilter filter, const std::vector<float>& x, float fs, float zeta,
                 QV_SRS_TYPE type, int bandsPerOctave, float fLow, float fHigh,
                 float startMs = 0, float endMs = 0, float defaultEndMs = 0)
{
    SrsResult r;
    auto& o = r.out;
    r.count = filter(x.data(), static_cast<int>(x.size()), fs, zeta, type, bandsPerOctave,
                     defaultEndMs, o[0].data(), o[1].data(), o[2].data(), o[3].data(), o[4].data(),
                     o[5].data(), o[6].data(), o[7].data(), fLow, fHigh, startMs, endMs);
    return r;
}

// One band of the impulse-invariant filter written out from its formulas:
// samples start..end, then 1.1 periods with input 0. The seven values in
// output order.
std::array<float, 7> FloatModel(const std::vector<float>& x, int start, int end, float fs,
                                float zeta, QV_SRS_TYPE type, float f)
{
    const float s = static_cast<float>(std::sqrt(1.0 - static_cast<double>(zeta * zeta)));
    const float w = f * 6.2831855f;
    const float wT = w * (1.0f / fs);
    const float ex = -(wT * zeta);
    const double theta = static_cast<double>(wT * s);
    const float c = static_cast<float>(std::cos(theta));
    const float sn = static_cast<float>(std::sin(theta));
    const float E = static_cast<float>(std::exp(static_cast<double>(ex)));
    const float E2 = static_cast<float>(std::exp(static_cast<double>(2.0f * ex)));
    const float b1 = (2.0f * c - E) * E;
    const float a0 = type == QV_SRS_ABSOLUTE_ACCEL ? -2.0f * ex : 0.0f;
    const float a1 = type == QV_SRS_ABSOLUTE_ACCEL
                         ? (sn * (1.0f - 2.0f * zeta * zeta) - 2.0f * zeta * s * c) * E * w * (1.0f / fs) / s
                         : sn * E * w * (1.0f / fs) / s;
    const int residual = static_cast<int>(fs * 1.1f / f);
    float x1 = 0, y1 = 0, y2 = 0;
    float m[4] = {0, 0, 0, 0};
    for (int k = start; k <= end + residual; ++k) {
        const float in = k <= end ? x[k] : 0.0f;
        const float y = (a1 * x1 + a0 * in) + b1 * y1 - E2 * (y2 - y1);
        x1 = in;
        y2 = y1;
        y1 = y;
        float* pair = k <= end ? m : m + 2;
        if (y >= 0)
            pair[0] = std::max(pair[0], y);
        else
            pair[1] = std::max(pair[1], -y);
    }
    return {m[0], m[1], m[2], m[3], std::max({m[0], m[1], m[2], m[3]}), std::max(m[0], m[2]),
            std::max(m[1], m[3])};
}

// Largest |response| of an oscillator of natural frequency tau / tp to a
// half-sine base acceleration of amplitude 1 and duration tp = 1, from the
// closed-form solution on a fine grid, during the pulse and for 1.5 periods
// after it. Absolute acceleration, or relative displacement times w^2.
double ExactHalfSine(double tau, double zeta, QV_SRS_TYPE type)
{
    const double w = 2 * kPi * tau, W = kPi, a = zeta * w, wd = w * std::sqrt(1 - zeta * zeta);
    // Forced part Im(G e^{jWt}) of z'' + 2 zeta w z' + w^2 z = -sin(Wt), G = -1 / (w^2 - W^2 + 2j zeta w W).
    const double dr = w * w - W * W, di = 2 * zeta * w * W, den = dr * dr + di * di;
    const double gr = -dr / den, gi = di / den;
    // Free part e^{-at} (c1 cos wd t + c2 sin wd t) brings z and z' to 0 at t = 0.
    const double c1 = -gi, c2 = (-W * gr + a * c1) / wd;
    auto free = [&](double t, double d1, double d2, double& z, double& v) {
        const double e = std::exp(-a * t), c = std::cos(wd * t), s = std::sin(wd * t);
        z += e * (d1 * c + d2 * s);
        v += e * ((wd * d2 - a * d1) * c - (a * d2 + wd * d1) * s);
    };
    auto response = [&](double z, double v) {
        return std::fabs(type == QV_SRS_ABSOLUTE_ACCEL ? 2 * zeta * w * v + w * w * z : w * w * z);
    };
    double best = 0, z = 0, v = 0;
    const int steps = 100000;
    for (int k = 0; k <= steps; ++k) {
        const double t = static_cast<double>(k) / steps;
        z = gi * std::cos(W * t) + gr * std::sin(W * t);
        v = W * (gr * std::cos(W * t) - gi * std::sin(W * t));
        free(t, c1, c2, z, v);
        best = std::max(best, response(z, v));
    }
    const double d1 = z, d2 = (v + a * z) / wd;  // state at the end of the pulse
    for (int k = 0; k <= steps; ++k) {
        double zr = 0, vr = 0;
        free(1.5 / tau * k / steps, d1, d2, zr, vr);
        best = std::max(best, response(zr, vr));
    }
    return best;
}

// Maximax of the 1000 Hz band for a half-sine of `samples` samples and
// duration tau milliseconds, sampled at ratio * 1000 Hz.
float HalfSineMaximax(SrsFilter filter, double ratio, int samples, float zeta,
                      QV_SRS_TYPE type = QV_SRS_ABSOLUTE_ACCEL)
{
    std::vector<float> x(static_cast<size_t>(samples) + 2, 0.0f);
    for (int k = 0; k <= samples; ++k)
        x[static_cast<size_t>(k)] = static_cast<float>(std::sin(kPi * k / samples));
    const SrsResult r = RunSrs(filter, x, static_cast<float>(ratio * 1000.0), zeta, type, 3, 1000.0f, 1000.0f);
    EXPECT_EQ(1, r.count);
    EXPECT_EQ(1000.0f, r.at(7, 0));
    return r.maximax(0);
}

double RelativeError(float value, double exact) { return static_cast<double>(value) / exact - 1.0; }

}  // namespace

TEST(SrsSeries, TellingValuesOfTheAnsiAndAcousticSeries)
{
    float freq[64];
    int first = -99;
    ASSERT_EQ(25, SRSCalcAnsiFreq(3, 10.0f, 2000.0f, freq, 64, &first));
    EXPECT_EQ(10, first);
    // The exponent 10 / 30 rounds up in float, and so does the band: 10 + 1 ulp.
    EXPECT_EQ(std::nextafter(10.0f, 11.0f), freq[0]);
    EXPECT_EQ(1000.0f, freq[20]);
    // Band 33 (1995.26 Hz) is more than 0.1 % below 2000, so band 34 ends it.
    EXPECT_NEAR(2511.886, freq[24], 1e-3);
    // The exponent 34 / 30 rounds to float before pow: 2511.8857 rather than 2511.8865.
    EXPECT_EQ(static_cast<float>(std::pow(1000.0, static_cast<double>(34.0f / 30.0f))), freq[24]);
    EXPECT_NE(static_cast<float>(std::pow(1000.0, 34.0 / 30.0)), freq[24]);

    ASSERT_EQ(24, SRSCalcAcousticFreq(3, 10.0f, 2000.0f, freq, 64, &first));
    EXPECT_EQ(10, first);
    EXPECT_NEAR(1000.0 * std::pow(2.0, -20.0 / 3.0), freq[0], 1e-5);
    EXPECT_EQ(2000.0f, freq[23]);
    // A negative count per octave in the ANSI builder selects the acoustic series.
    float acoustic[64];
    ASSERT_EQ(24, SRSCalcAnsiFreq(-3, 10.0f, 2000.0f, acoustic, 64, &first));
    EXPECT_TRUE(BitEqual(freq, acoustic, 24));

    for (int n : {1, 3, 6, 12, 24, 7})
        EXPECT_EQ(1000.0f, SRSGetAcousticFreq(10 * n, n)) << n;
    EXPECT_EQ(0.9765625f, SRSGetAcousticFreq(0, 3));
    EXPECT_EQ(freq[5], SRSGetAcousticFreq(15, 3));
    // The exponent -10 / 3 is rounded to float first; exactly it would give 0x1.8cd9aap+6.
    EXPECT_EQ(0x1.8cd9acp+6f, SRSGetAcousticFreq(20, 3));
}

TEST(SrsSeries, BandsWithinATenthOfAPercentOfALimitEndTheSeries)
{
    float freq[100];
    int first = 0;
    // 1000 Hz lies within 0.1 % above 999.5 Hz: it starts the series instead of 794 Hz.
    EXPECT_EQ(2, SRSCalcAnsiFreq(3, 999.5f, 1100.0f, freq, 64, &first));
    EXPECT_EQ(30, first);
    EXPECT_EQ(1000.0f, freq[0]);
    // 0.15 % is outside: the highest band below starts it, the next band up ends it.
    EXPECT_EQ(3, SRSCalcAnsiFreq(3, 998.5f, 1001.5f, freq, 64, &first));
    EXPECT_EQ(29, first);
    EXPECT_NEAR(1258.9254, freq[2], 1e-3);
    // 1000 Hz lies within 0.1 % below 1000.5 Hz: it ends the series.
    EXPECT_EQ(3, SRSCalcAnsiFreq(3, 700.0f, 1000.5f, freq, 64, &first));
    EXPECT_EQ(1000.0f, freq[2]);
    // A range wholly below band 1 (1.26 Hz) still ends there.
    EXPECT_EQ(6, SRSCalcAnsiFreq(3, 0.5f, 0.6f, freq, 64, &first));
    EXPECT_EQ(-4, first);
    EXPECT_NEAR(1.2589254, freq[5], 1e-6);
    // fLow = 0 starts at 0.001 Hz (band -30) and fHigh above 100 kHz ends at band 50.
    EXPECT_EQ(81, SRSCalcAnsiFreq(3, 0.0f, 1e6f, freq, 81, &first));
    EXPECT_EQ(-30, first);
}

TEST(SrsSeries, CountsUpToTheLimitAndRefusesBeyondItWithoutWriting)
{
    std::vector<float> freq(1001);
    FillSentinel(freq.data(), 1001);
    int first = 0;
    // 100 bands per octave: bands 0 .. 999 are 1000 bands exactly, one more is too many.
    const float band999 = static_cast<float>(std::pow(1000.0, static_cast<double>(999.0f / 1000.0f)));
    EXPECT_EQ(1000, SRSCalcAnsiFreq(100, 1.0f, band999, freq.data(), 1000, &first));
    EXPECT_EQ(band999, freq[999]);
    EXPECT_TRUE(HoldsSentinel(&freq[1000], 1));
    FillSentinel(freq.data(), 1001);
    first = 77;
    EXPECT_EQ(-1, SRSCalcAnsiFreq(100, 1.0f, 1000.0f, freq.data(), 1000, &first));
    EXPECT_EQ(0, first);  // stored although the result is -1
    EXPECT_TRUE(HoldsSentinel(freq.data(), 1001));

    // An empty range, a NaN limit or a meaningless count per octave store nothing at all.
    first = 77;
    EXPECT_EQ(-1, SRSCalcAnsiFreq(3, 2000.0f, 1000.0f, freq.data(), 1000, &first));
    EXPECT_EQ(-1, SRSCalcAnsiFreq(3, 200000.0f, 300000.0f, freq.data(), 1000, &first));
    EXPECT_EQ(-1, SRSCalcAnsiFreq(-3, 10.0f, NAN, freq.data(), 1000, &first));
    EXPECT_EQ(-1, SRSCalcAnsiFreq(0, 10.0f, 100.0f, freq.data(), 1000, &first));
    EXPECT_EQ(-1, SRSCalcAnsiFreq(10001, 10.0f, 100.0f, freq.data(), 1000, &first));
    EXPECT_EQ(-1, SRSCalcAcousticFreq(-3, 10.0f, 100.0f, freq.data(), 1000, &first));
    EXPECT_EQ(77, first);
    EXPECT_TRUE(HoldsSentinel(freq.data(), 1001));

    // A huge fHigh makes its tolerance cover every band below 100 kHz, so the
    // last band is band 1 while the first is band 46: the count -44 comes
    // back with nothing written.
    EXPECT_EQ(-44, SRSCalcAnsiFreq(3, 50000.0f, 1e9f, freq.data(), 1000, &first));
    EXPECT_EQ(46, first);
    EXPECT_TRUE(HoldsSentinel(freq.data(), 1001));
    EXPECT_EQ(0.0f, SRSGetAcousticFreq(5, 0));
}

TEST(ImpulseInvariantSrs, MatchesAFloatModelOfTheRecursionBitForBit)
{
    // 20 Hz .. 12 kHz at 10 kHz: the top band (12.6 kHz) lies above 1.1 fs and gets no residual steps.
    const std::vector<float> x = RandomFloats(3000, 7);
    for (QV_SRS_TYPE type : {QV_SRS_ABSOLUTE_ACCEL, QV_SRS_RELATIVE_DISP}) {
        for (float zeta : {0.05f, 0.0f, 0.3f}) {
            // The stretch is samples 25 .. 2500.
            const SrsResult r = RunSrs(TIMtoSRS, x, 10000.0f, zeta, type, 3, 20.0f, 12000.0f, 2.5f, 250.0f);
            ASSERT_EQ(29, r.count);
            for (int band = 0; band < r.count; ++band) {
                const std::array<float, 7> model = FloatModel(x, 25, 2500, 10000.0f, zeta, type, r.at(7, band));
                for (int k = 0; k < 7; ++k)
                    ASSERT_TRUE(SameBits(model[k], r.at(k, band)))
                        << "type " << type << " zeta " << zeta << " band " << band << " spectrum " << k
                        << ": " << model[k] << " vs " << r.at(k, band);
            }
            EXPECT_EQ(0.0f, r.at(2, 28));
            EXPECT_EQ(0.0f, r.at(3, 28));
        }
    }
}

TEST(ImpulseInvariantSrs, AnalysedStretchFollowsTheStartAndEndRules)
{
    // At 1 kHz a millisecond is a sample: {startMs, endMs, defaultEndMs} -> {start, end}.
    std::vector<float> x = RandomFloats(200, 11);
    struct Case {
        float startMs, endMs, defaultEndMs;
        int start, end;
    };
    const Case cases[] = {
        {10.4f, 150.6f, 0.0f, 10, 151},  // half a sample rounds up
        {0.0f, 0.0f, 0.0f, 0, 199},      // end 0 means the last sample
        {0.0f, 0.0f, 120.0f, 0, 120},    // the default end stands in for endMs = 0
        {-5.0f, 900.0f, 0.0f, 0, 199},   // negative start and an end past the record
        {180.0f, 150.0f, 0.0f, 149, 150}, // a start at or after the end moves to end - 1
        {150.0f, 150.0f, 0.0f, 149, 150},
    };
    for (const Case& c : cases) {
        const SrsResult r = RunSrs(TIMtoSRS, x, 1000.0f, 0.05f, QV_SRS_ABSOLUTE_ACCEL, 3, 10.0f, 100.0f,
                                   c.startMs, c.endMs, c.defaultEndMs);
        ASSERT_EQ(11, r.count);
        for (int band = 0; band < r.count; ++band) {
            const std::array<float, 7> model = FloatModel(x, c.start, c.end, 1000.0f, 0.05f, QV_SRS_ABSOLUTE_ACCEL, r.at(7, band));
            for (int k = 0; k < 7; ++k)
                ASSERT_TRUE(SameBits(model[k], r.at(k, band))) << c.startMs << " " << band << " " << k;
        }
    }
    // Samples after the end are never read.
    std::fill(x.begin() + 121, x.end(), NAN);
    const SrsResult r = RunSrs(TIMtoSRS, x, 1000.0f, 0.05f, QV_SRS_ABSOLUTE_ACCEL, 3, 10.0f, 100.0f, 0.0f, 120.0f);
    EXPECT_TRUE(std::isfinite(r.maximax(0)) && r.maximax(0) > 0.0f);

    // A response that never goes negative leaves primaryNeg at +0: a constant
    // input over a quarter of a 10 Hz period.
    const std::vector<float> step(26, 1.0f);
    const SrsResult up = RunSrs(TIMtoSRS, step, 1000.0f, 0.05f, QV_SRS_RELATIVE_DISP, 3, 10.0f, 10.0f);
    EXPECT_TRUE(SameBits(0.0f, up.at(1, 0)));
    EXPECT_GT(up.at(0, 0), 0.0f);
    EXPECT_GT(up.at(3, 0), 0.0f);
}

TEST(SrsFilters, RefuseTheSameCallsWithoutWritingAndAllocateNothing)
{
    const std::vector<float> x = RandomFloats(500, 3);
    for (SrsFilter filter : {TIMtoSRS, TIMtoSRS_RampInvariant}) {
        EXPECT_TRUE(RunSrs(filter, x, 1000.0f, 0.05f, QV_SRS_ABSOLUTE_ACCEL, 3, 200.0f, 100.0f).untouched());
        EXPECT_EQ(-1, RunSrs(filter, x, 1000.0f, 0.05f, QV_SRS_ABSOLUTE_ACCEL, 3, 200.0f, 100.0f).count);
        EXPECT_TRUE(RunSrs(filter, x, 1000.0f, 0.05f, static_cast<QV_SRS_TYPE>(2), 3, 10.0f, 100.0f).untouched());
        EXPECT_TRUE(RunSrs(filter, {1.0f}, 1000.0f, 0.05f, QV_SRS_ABSOLUTE_ACCEL, 3, 10.0f, 100.0f).untouched());
        // Huge fHigh tolerance: a count below 0 is refused as well.
        EXPECT_TRUE(RunSrs(filter, x, 1000.0f, 0.05f, QV_SRS_ABSOLUTE_ACCEL, 3, 50000.0f, 1e9f).untouched());

        SrsResult r;
        auto& o = r.out;
        const std::size_t before = AllocationCount();
        const int count = filter(x.data(), 500, 1000.0f, 0.05f, QV_SRS_ABSOLUTE_ACCEL, -12, 0.0f,
                                 o[0].data(), o[1].data(), o[2].data(), o[3].data(), o[4].data(),
                                 o[5].data(), o[6].data(), o[7].data(), 1.0f, 400.0f, 0.0f, 0.0f);
        EXPECT_EQ(before, AllocationCount());
        EXPECT_EQ(106, count);
        EXPECT_TRUE(HoldsSentinel(&o[4][106], 1));
    }
}

TEST(HalfSine, BothFiltersMatchTheExactResponseWhenFinelySampled)
{
    // tau = fn * duration; undamped, then Q = 10.
    struct Case {
        double tau;
        float zeta;
        double quoted;
    };
    const Case cases[] = {{0.5, 0.0f, 1.5708}, {1.0, 0.0f, 1.7321}, {1.5, 0.0f, 1.5000},
                          {0.5, 0.05f, 1.4626}, {1.0, 0.05f, 1.6238}};
    for (const Case& c : cases) {
        // At tau = 0.5 the undamped oscillator is in resonance with the pulse: pi / 2.
        const double exact = c.zeta == 0.0f && c.tau == 0.5 ? kPi / 2 : ExactHalfSine(c.tau, c.zeta, QV_SRS_ABSOLUTE_ACCEL);
        EXPECT_NEAR(c.quoted, exact, 6e-5);
        for (double ratio : {200.0, 400.0}) {
            const int samples = static_cast<int>(c.tau * ratio);
            EXPECT_NEAR(0.0, RelativeError(HalfSineMaximax(TIMtoSRS_RampInvariant, ratio, samples, c.zeta), exact), 1e-3)
                << c.tau << " " << c.zeta << " " << ratio;
            EXPECT_NEAR(0.0, RelativeError(HalfSineMaximax(TIMtoSRS, ratio, samples, c.zeta), exact), 5e-3)
                << c.tau << " " << c.zeta << " " << ratio;
        }
    }
    // Relative displacement parts from absolute acceleration with heavy damping.
    const double exact = ExactHalfSine(1.0, 0.3, QV_SRS_RELATIVE_DISP);
    EXPECT_GT(std::fabs(exact / ExactHalfSine(1.0, 0.3, QV_SRS_ABSOLUTE_ACCEL) - 1.0), 0.05);
    EXPECT_NEAR(0.0, RelativeError(HalfSineMaximax(TIMtoSRS_RampInvariant, 200.0, 200, 0.3f, QV_SRS_RELATIVE_DISP), exact), 1e-3);
    EXPECT_NEAR(0.0, RelativeError(HalfSineMaximax(TIMtoSRS, 200.0, 200, 0.3f, QV_SRS_RELATIVE_DISP), exact), 5e-3);
}

TEST(HalfSine, BelowTenSamplesPerPeriodOnlyTheRampInvariantFilterHolds)
{
    // An 11 ms half-sine at 10 kHz (110 samples), Q = 10, bands at fs/4 and fs/6.
    const double exact4 = ExactHalfSine(27.5, 0.05, QV_SRS_ABSOLUTE_ACCEL);
    const double exact6 = ExactHalfSine(110.0 / 6.0, 0.05, QV_SRS_ABSOLUTE_ACCEL);
    EXPECT_NEAR(1.0006, exact4, 5e-5);
    EXPECT_NEAR(1.0008, exact6, 5e-5);
    EXPECT_NEAR(0.0, RelativeError(HalfSineMaximax(TIMtoSRS_RampInvariant, 4.0, 110, 0.05f), exact4), 1e-3);
    EXPECT_NEAR(0.0, RelativeError(HalfSineMaximax(TIMtoSRS_RampInvariant, 6.0, 110, 0.05f), exact6), 1e-3);
    // The impulse-invariant filter reads 13.4 % and 4.0 % low there, as it always has.
    EXPECT_NEAR(-0.134, RelativeError(HalfSineMaximax(TIMtoSRS, 4.0, 110, 0.05f), exact4), 2e-3);
    EXPECT_NEAR(-0.040, RelativeError(HalfSineMaximax(TIMtoSRS, 6.0, 110, 0.05f), exact6), 2e-3);
}

TEST(HalfSine, AtHighSampleRatesOnlyTheDoubleFilterHolds)
{
    // Q = 10; the pulse has at least 110 samples and tau = max(1, 110 / ratio).
    double worstFloatBelow1000 = 0.0, worstFloatAbove2000 = 0.0;
    for (double ratio : {4.0, 10.0, 30.0, 100.0, 300.0, 1000.0, 2000.0, 3000.0, 4573.0, 6132.0, 8223.0, 10000.0}) {
        const int samples = std::max(110, static_cast<int>(ratio));
        const double exact = ExactHalfSine(samples / ratio, 0.05, QV_SRS_ABSOLUTE_ACCEL);
        // The double filter's error shrinks with the step: 0.1 % at worst, 0.01 % from 300 up.
        const double tolerance = ratio >= 300.0 ? 1e-4 : 1e-3;
        EXPECT_NEAR(0.0, RelativeError(HalfSineMaximax(TIMtoSRS_RampInvariant, ratio, samples, 0.05f), exact), tolerance) << ratio;
        const double floatError = std::fabs(RelativeError(HalfSineMaximax(TIMtoSRS, ratio, samples, 0.05f), exact));
        if (ratio >= 100.0 && ratio <= 1000.0)
            worstFloatBelow1000 = std::max(worstFloatBelow1000, floatError);
        if (ratio >= 2000.0)
            worstFloatAbove2000 = std::max(worstFloatAbove2000, floatError);
    }
    // The float filter holds 0.3 % from 100 to 1000 samples per period, and
    // errs by percents above 2000, where 1 - cos(wT) sinks into rounding.
    EXPECT_LT(worstFloatBelow1000, 3e-3);
    EXPECT_GT(worstFloatAbove2000, 0.05);
}
