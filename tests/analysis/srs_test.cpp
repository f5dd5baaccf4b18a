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
const QV_SRS_TYPE kAbs = QV_SRS_ABSOLUTE_ACCEL;
const QV_SRS_TYPE kRel = QV_SRS_RELATIVE_DISP;

using SrsFilter = decltype(&TIMtoSRS);

// The seven spectra, then freq, of one call, with room for 1000 bands and a
// guard value; unwritten values hold the sentinel.
struct Srs {
    std::array<std::vector<float>, 8> out;
    int count = 0;
    float at(int spectrum, int band) const { return out[spectrum][band]; }
};

template <typename Filter>
Srs RunSrs(Filter filter, const std::vector<float>& x, float fs, float zeta, QV_SRS_TYPE type, int perOctave,
           float fLow, float fHigh, float startMs = 0, float endMs = 0, float defaultEndMs = 0)
{
    Srs r;
    for (auto& a : r.out) {
        a.resize(1001);
        FillSentinel(a.data(), 1001);
    }
    auto& o = r.out;
    r.count = filter(x.data(), static_cast<int>(x.size()), fs, zeta, type, perOctave, defaultEndMs, o[0].data(),
                     o[1].data(), o[2].data(), o[3].data(), o[4].data(), o[5].data(), o[6].data(), o[7].data(),
                     fLow, fHigh, startMs, endMs);
    return r;
}

// One band of the impulse-invariant filter written out from its formulas:
// samples start..end, then 1.1 periods of f with input 0. The seven values.
std::array<float, 7> FloatModel(const std::vector<float>& x, int start, int end, float fs, float zeta,
                                QV_SRS_TYPE type, float f)
{
    const float s = static_cast<float>(std::sqrt(1.0 - static_cast<double>(zeta * zeta)));
    const float w = f * 6.2831855f, wT = w * (1.0f / fs), ex = -(wT * zeta);
    const float c = static_cast<float>(std::cos(static_cast<double>(wT * s)));
    const float sn = static_cast<float>(std::sin(static_cast<double>(wT * s)));
    const float E = static_cast<float>(std::exp(static_cast<double>(ex)));
    const float E2 = static_cast<float>(std::exp(static_cast<double>(2.0f * ex)));
    const float b1 = (2.0f * c - E) * E, a0 = type == kAbs ? -2.0f * ex : 0.0f;
    const float a1 = (type == kAbs ? sn * (1.0f - 2.0f * zeta * zeta) - 2.0f * zeta * s * c : sn) * E * w * (1.0f / fs) / s;
    const int last = end + static_cast<int>(fs * 1.1f / f);
    float x1 = 0, y1 = 0, y2 = 0, m[4] = {0, 0, 0, 0};
    for (int k = start; k <= last; ++k) {
        const float in = k <= end ? x[k] : 0.0f;
        const float y = (a1 * x1 + a0 * in) + b1 * y1 - E2 * (y2 - y1);
        x1 = in, y2 = y1, y1 = y;
        float* pair = k <= end ? m : m + 2;
        pair[y >= 0 ? 0 : 1] = std::max(pair[y >= 0 ? 0 : 1], std::fabs(y));
    }
    return {m[0], m[1], m[2], m[3], std::max({m[0], m[1], m[2], m[3]}), std::max(m[0], m[2]), std::max(m[1], m[3])};
}

// Every band of r against FloatModel, bit for bit.
::testing::AssertionResult MatchesFloatModel(const Srs& r, const std::vector<float>& x, int start, int end, float fs,
                                             float zeta, QV_SRS_TYPE type)
{
    for (int band = 0; band < r.count; ++band) {
        const std::array<float, 7> model = FloatModel(x, start, end, fs, zeta, type, r.at(7, band));
        for (int k = 0; k < 7; ++k)
            if (!SameBits(model[k], r.at(k, band)))
                return ::testing::AssertionFailure() << "band " << band << " spectrum " << k << ": " << model[k] << " vs " << r.at(k, band);
    }
    return ::testing::AssertionSuccess();
}

// Largest |response| to a half-sine base acceleration of amplitude 1 and
// duration 1 of an oscillator at tau Hz, during the pulse and for 1.5 periods
// after it: z'' + 2 zeta w z' + w^2 z = -sin(pi t) for the relative motion z,
// by fourth-order Runge-Kutta at 1e5 steps per unit of time (within 1e-8 of
// the closed form). Absolute acceleration, or relative displacement times w^2.
double ExactHalfSine(double tau, double zeta, QV_SRS_TYPE type)
{
    const double w = 2 * kPi * tau, span = 1.0 + 1.5 / tau;
    const int steps = static_cast<int>(span * 100000);
    const double h = span / steps;
    auto accel = [&](double t, double z, double v) {
        return -(t < 1.0 ? std::sin(kPi * t) : 0.0) - 2 * zeta * w * v - w * w * z;
    };
    double z = 0, v = 0, best = 0;
    for (int k = 0; k < steps; ++k) {
        const double t = k * h, a1 = accel(t, z, v);
        const double z2 = v + h / 2 * a1, a2 = accel(t + h / 2, z + h / 2 * v, z2);
        const double z3 = v + h / 2 * a2, a3 = accel(t + h / 2, z + h / 2 * z2, z3);
        const double z4 = v + h * a3, a4 = accel(t + h, z + h * z3, z4);
        z += h / 6 * (v + 2 * z2 + 2 * z3 + z4);
        v += h / 6 * (a1 + 2 * a2 + 2 * a3 + a4);
        best = std::max(best, std::fabs(type == kAbs ? 2 * zeta * w * v + w * w * z : w * w * z));
    }
    return best;
}

// Relative error of the maximax of the 1000 Hz band for a half-sine of
// `samples` samples sampled at ratio * 1000 Hz.
double HalfSineError(SrsFilter filter, double ratio, int samples, float zeta, QV_SRS_TYPE type = kAbs)
{
    std::vector<float> x(static_cast<size_t>(samples) + 2, 0.0f);
    for (int k = 0; k <= samples; ++k)
        x[static_cast<size_t>(k)] = static_cast<float>(std::sin(kPi * k / samples));
    const Srs r = RunSrs(filter, x, static_cast<float>(ratio * 1000.0), zeta, type, 3, 1000.0f, 1000.0f);
    return static_cast<double>(r.at(4, 0)) / ExactHalfSine(samples / ratio, static_cast<double>(zeta), type) - 1.0;
}

}  // namespace

TEST(SrsSeries, TellingValuesTheTenthOfAPercentRuleAndRefusals)
{
    float f[100];
    int first = -99;
    ASSERT_EQ(25, SRSCalcAnsiFreq(3, 10.0f, 2000.0f, f, 100, &first));
    EXPECT_EQ(10, first);
    // The exponent 10 / 30 rounds up in float before pow, and so does the band: 10 + 1 ulp.
    EXPECT_EQ(std::nextafter(10.0f, 11.0f), f[0]);
    EXPECT_EQ(1000.0f, f[20]);
    // Band 33 (1995.26 Hz) lies more than 0.1 % below 2000, so band 34 ends the series.
    EXPECT_NEAR(2511.886, f[24], 1e-3);

    ASSERT_EQ(24, SRSCalcAcousticFreq(3, 10.0f, 2000.0f, f, 100, &first));
    EXPECT_EQ(10, first);
    EXPECT_NEAR(1000.0 * std::pow(2.0, -20.0 / 3.0), f[0], 1e-5);
    EXPECT_EQ(2000.0f, f[23]);
    for (int n : {1, 7, 24})
        EXPECT_EQ(1000.0f, SRSGetAcousticFreq(10 * n, n)) << n;
    // The exponent -11 / 3 rounds to float and the product with 1000 is taken in
    // float; an exact exponent or a double product would give 0x1.3afaf2p+6.
    EXPECT_EQ(0x1.3afafp+6f, SRSGetAcousticFreq(19, 3));

    // 1000 Hz lies within 0.1 % of 999.5 Hz and 1000.5 Hz: it starts and ends the series.
    EXPECT_EQ(1, SRSCalcAnsiFreq(3, 999.5f, 1000.5f, f, 100, &first));
    EXPECT_EQ(30, first);
    // A range wholly below band 1 (1.26 Hz) still ends there.
    EXPECT_EQ(6, SRSCalcAnsiFreq(3, 0.5f, 0.6f, f, 100, &first));
    EXPECT_EQ(-4, first);
    // fLow = 0 starts at 0.001 Hz (band -30), an fHigh above 100 kHz ends at band 50.
    EXPECT_EQ(81, SRSCalcAnsiFreq(3, 0.0f, 1e6f, f, 81, &first));
    EXPECT_EQ(-30, first);
    // With 29 bands per octave band -288 lies 0.04 % above 0.001 Hz. The tolerance of
    // a fLow of 0 is 0, so the band below starts the series; handed on as the clamped
    // 0.001 Hz, fLow brings its own tolerance and band -288 starts it.
    EXPECT_EQ(-1, SRSCalcAcousticFreq(29, 0.0f, 0.001f, f, 100, &first));
    EXPECT_EQ(-289, first);
    EXPECT_EQ(-1, SRSCalcAnsiFreq(-29, 0.0f, 0.001f, f, 100, &first));
    EXPECT_EQ(-288, first);

    // More than 10000 bands per octave are refused before anything is stored.
    first = 77;
    EXPECT_EQ(-1, SRSCalcAnsiFreq(10001, 10.0f, 100.0f, f, 100, &first));
    EXPECT_EQ(77, first);
    EXPECT_EQ(0.0f, SRSGetAcousticFreq(5, 0));
}

TEST(ImpulseInvariantSrs, MatchesAFloatModelBitForBitUnderEveryStretchRule)
{
    // 20 Hz .. 12 kHz at 10 kHz, 2.55 .. 249.95 ms: samples 26 .. 2500 in
    // float, where double would give 25 .. 2499. The top band (12.6 kHz)
    // lies above 1.1 fs and gets no residual steps. With zeta = 0.304,
    // sqrt(1 - zeta^2) rounds otherwise if zeta^2 or the root is not taken as
    // written.
    const std::vector<float> x = RandomFloats(3000, 7);
    for (QV_SRS_TYPE type : {kAbs, kRel}) {
        const Srs r = RunSrs(TIMtoSRS, x, 10000.0f, 0.304f, type, 3, 20.0f, 12000.0f, 2.55f, 249.95f);
        ASSERT_EQ(29, r.count);
        EXPECT_TRUE(MatchesFloatModel(r, x, 26, 2500, 10000.0f, 0.304f, type)) << type;
    }
    // At 1 kHz a millisecond is a sample: {startMs, endMs, defaultEndMs} -> {start, end}.
    struct Case {
        float startMs, endMs, defaultEndMs;
        int start, end;
    };
    const Case cases[] = {
        {10.4f, 150.6f, 0.0f, 10, 151},   // half a sample rounds up
        {0.0f, 0.0f, 0.0f, 0, 199},       // an end of 0 means the last sample
        {0.0f, 0.0f, 120.0f, 0, 120},     // the default end stands in for endMs = 0
        {-5.0f, 900.0f, 0.0f, 0, 199},    // a negative start, an end past the record
        {180.0f, 150.0f, 0.0f, 149, 150}, // a start at or after the end moves to end - 1
    };
    const std::vector<float> y = RandomFloats(200, 11);
    for (const Case& c : cases) {
        const Srs r = RunSrs(TIMtoSRS, y, 1000.0f, 0.05f, kAbs, 3, 10.0f, 100.0f, c.startMs, c.endMs, c.defaultEndMs);
        ASSERT_EQ(11, r.count);
        EXPECT_TRUE(MatchesFloatModel(r, y, c.start, c.end, 1000.0f, 0.05f, kAbs)) << c.startMs << " " << c.endMs;
    }
}

TEST(SrsFilters, TakeUpToAThousandBandsAndAllocateNothing)
{
    const std::vector<float> x = RandomFloats(500, 3);
    for (SrsFilter filter : {TIMtoSRS, TIMtoSRS_RampInvariant}) {
        // 100 bands per octave from 1 Hz: to band 999 (993.1 Hz) are 1000 bands, to band 1000 one too many.
        EXPECT_EQ(1000, RunSrs(filter, x, 1000.0f, 0.05f, kAbs, 100, 1.0f, 993.0f).count);
        EXPECT_EQ(-1, RunSrs(filter, x, 1000.0f, 0.05f, kAbs, 100, 1.0f, 1000.0f).count);

        std::vector<float> o(8000);
        const std::size_t before = AllocationCount();
        const int count = filter(x.data(), 500, 1000.0f, 0.05f, kAbs, -12, 0.0f, &o[0], &o[1000], &o[2000],
                                 &o[3000], &o[4000], &o[5000], &o[6000], &o[7000], 1.0f, 400.0f, 0.0f, 0.0f);
        EXPECT_EQ(before, AllocationCount());
        EXPECT_EQ(106, count);
    }
}

TEST(HalfSine, BothFiltersMatchTheExactResponseWhereTheirSamplingAllows)
{
    struct Case {
        double tau;  // natural frequency times pulse duration
        float zeta;
        double quoted;
    };
    const Case cases[] = {{0.5, 0.0f, 1.5708}, {1.0, 0.0f, 1.7321}, {1.5, 0.0f, 1.5000}, {0.5, 0.05f, 1.4626}, {1.0, 0.05f, 1.6238}};
    for (const Case& c : cases) {
        EXPECT_NEAR(c.quoted, ExactHalfSine(c.tau, static_cast<double>(c.zeta), kAbs), 6e-5);
        for (double ratio : {200.0, 400.0}) {
            const int samples = static_cast<int>(c.tau * ratio);
            EXPECT_NEAR(0.0, HalfSineError(TIMtoSRS_RampInvariant, ratio, samples, c.zeta), 1e-3) << c.tau << " " << ratio;
            EXPECT_NEAR(0.0, HalfSineError(TIMtoSRS, ratio, samples, c.zeta), 5e-3) << c.tau << " " << ratio;
        }
    }
    // Relative displacement parts from absolute acceleration with heavy damping.
    EXPECT_LT(ExactHalfSine(1.0, 0.3, kRel) / ExactHalfSine(1.0, 0.3, kAbs), 0.95);
    EXPECT_NEAR(0.0, HalfSineError(TIMtoSRS_RampInvariant, 200.0, 200, 0.3f, kRel), 1e-3);
    EXPECT_NEAR(0.0, HalfSineError(TIMtoSRS, 200.0, 200, 0.3f, kRel), 5e-3);

    // An 11 ms half-sine at 10 kHz (110 samples), Q = 10, at fs/fn = 4 and 6:
    // the impulse-invariant filter reads 13.4 % and 4.0 % low there, as it
    // always has.
    EXPECT_NEAR(1.0006, ExactHalfSine(27.5, 0.05, kAbs), 5e-5);
    EXPECT_NEAR(1.0008, ExactHalfSine(110.0 / 6.0, 0.05, kAbs), 5e-5);
    EXPECT_NEAR(-0.134, HalfSineError(TIMtoSRS, 4.0, 110, 0.05f), 2e-3);
    EXPECT_NEAR(-0.040, HalfSineError(TIMtoSRS, 6.0, 110, 0.05f), 2e-3);
    // Up to 10,000 samples per period, pulses of max(110, ratio) samples: the
    // double filter holds 0.1 %, and 0.01 % from 300 up; the float filter
    // holds 0.3 % from 100 to 1000 and errs by percents far above, where
    // 1 - cos(wT) sinks into its rounding.
    for (double ratio : {4.0, 6.0, 10.0, 100.0, 300.0, 1000.0, 3000.0, 10000.0}) {
        const int samples = std::max(110, static_cast<int>(ratio));
        EXPECT_NEAR(0.0, HalfSineError(TIMtoSRS_RampInvariant, ratio, samples, 0.05f), ratio >= 300.0 ? 1e-4 : 1e-3) << ratio;
        const double floatError = HalfSineError(TIMtoSRS, ratio, samples, 0.05f);
        EXPECT_TRUE(ratio < 100.0 || ratio > 1000.0 || std::fabs(floatError) < 3e-3) << ratio;
    }
    EXPECT_GT(std::fabs(HalfSineError(TIMtoSRS, 10000.0, 10000, 0.05f)), 0.05);
}
