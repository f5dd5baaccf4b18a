#include "numora/analysis/time_filter.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <utility>
#include <vector>

#include "numora/foundation/complex.h"
#include "tests/support/support.h"

namespace {

using numora_test::AllocationCount;
using numora_test::BitEqual;
using numora_test::RandomFloats;
using numora_test::SameBits;
using qv::math::CSectionFilter;
using qv::math::CTimeFilter;
using Cx = std::complex<double>;
using P = std::pair<float, float>;

const double kPi = 3.14159265358979323846;
const CTimeFilter::Type kTypes[] = {CTimeFilter::Butterworth, CTimeFilter::Bessel, CTimeFilter::Chebyshev};
const CTimeFilter::Shape kShapes[] = {CTimeFilter::LowPass, CTimeFilter::HighPass, CTimeFilter::BandPass,
                                      CTimeFilter::BandStop};

// ---- Analytic responses ----------------------------------------------------

// Reverse Bessel polynomial of order n >= 1 at s:
// theta_k = (2k - 1) theta_(k-1) + s^2 theta_(k-2), theta_0 = 1, theta_1 = s + 1.
Cx Theta(int n, Cx s)
{
    Cx previous = 1.0, current = s + 1.0;
    for (int k = 2; k <= n; ++k)
        previous = std::exchange(current, (2.0 * k - 1.0) * current + s * s * previous);
    return current;
}

// Magnitude of the analog prototype at w rad/s: Butterworth and Chebyshev I
// (ripple 1 dB) by their closed forms, Bessel scaled to -3 dB at 1 rad/s.
double PrototypeMag(CTimeFilter::Type type, int n, double w)
{
    if (type == CTimeFilter::Butterworth)
        return 1.0 / std::sqrt(1.0 + std::pow(w, 2.0 * n));
    if (type == CTimeFilter::Chebyshev) {
        const double t = w <= 1.0 ? std::cos(n * std::acos(w)) : std::cosh(n * std::acosh(w));
        return 1.0 / std::sqrt(1.0 + (std::pow(10.0, 0.1) - 1.0) * t * t);
    }
    const double dc = Theta(n, 0.0).real();
    double lo = 0.0, hi = 10.0;  // |theta(jw)| rises with w: find where it is sqrt(2) theta(0)
    for (int i = 0; i < 200; ++i) {
        const double mid = 0.5 * (lo + hi);
        (std::abs(Theta(n, Cx(0.0, mid))) < std::sqrt(2.0) * dc ? lo : hi) = mid;
    }
    return dc / std::abs(Theta(n, Cx(0.0, w * lo)));
}

// Largest relative error of a magnitude response against the analytic one,
// where that is at least `floor`, on a log grid over the whole band.
// The analytic magnitude at hz is the prototype at the frequency that the
// shape's transform and the bilinear warping map hz to, over the prototype at
// the gain reference (0, or the arithmetic band centre for band-pass). f1 and
// f2 are the stored (limited) edges.
template <typename Magnitude>
double WorstError(CTimeFilter::Type type, CTimeFilter::Shape shape, int n, float f1, float f2, float fs,
                  Magnitude magnitude, double floor)
{
    const double rate = static_cast<double>(fs), a1 = static_cast<double>(f1 / fs), a2 = static_cast<double>(f2 / fs);
    const double w1 = 2.0 * std::tan(kPi * a1), w2 = 2.0 * std::tan(kPi * a2);
    auto lambda = [&](double hz) {
        const double om = 2.0 * std::tan(kPi * hz / rate);
        switch (shape) {
        case CTimeFilter::LowPass: return om / w1;
        case CTimeFilter::HighPass: return w1 / om;
        case CTimeFilter::BandPass: return std::fabs(om * om - w1 * w2) / (om * (w2 - w1));
        default: return om * (w2 - w1) / std::fabs(w1 * w2 - om * om);
        }
    };
    const double centre = 0.5 * (a1 + a2) * rate;
    const double ref = PrototypeMag(type, n, shape == CTimeFilter::BandPass ? lambda(centre) : 0.0);
    double worst = 0.0;
    for (double hz = 0.0005 * rate; hz < 0.49 * rate; hz *= 1.3) {
        const double a = PrototypeMag(type, n, lambda(hz)) / ref;
        if (a >= floor)
            worst = std::max(worst, std::fabs(magnitude(hz) - a) / a);
    }
    return worst;
}

// Response of the direct form from its coefficients:
// gain * sum(xcoeffs[i] z^i) / -sum(ycoeffs[i] z^i).
Cx DirectResponse(const CTimeFilter& f, double hz)
{
    const Cx z = std::polar(1.0, 2.0 * kPi * hz / static_cast<double>(f.sampleRate));
    Cx num = 0.0, den = 0.0;
    for (int i = f.numZeros; i >= 0; --i)
        num = num * z + f.xcoeffs[i];
    for (int i = f.numPoles; i >= 0; --i)
        den = den * z - f.ycoeffs[i];
    return static_cast<double>(f.gain) * num / den;
}

// ---- Plain references ------------------------------------------------------

// One step of the direct form as plainly written, on a copy of a filter:
// shift both histories by one place, then the two sums in ascending index.
float ShiftStep(CTimeFilter& r, float x)
{
    for (int i = 0; i < r.numZeros; ++i)
        r.xv[i] = r.xv[i + 1];
    r.xv[r.numZeros] = static_cast<double>(r.gain * x);
    for (int i = 0; i < r.numPoles; ++i)
        r.yv[i] = r.yv[i + 1];
    double sx = 0.0, sy = 0.0;
    for (int i = 0; i <= r.numZeros; ++i)
        sx += r.xcoeffs[i] * r.xv[i];
    for (int i = 0; i < r.numPoles; ++i)
        sy += r.ycoeffs[i] * r.yv[i];
    r.yv[r.numPoles] = sy + sx;
    return static_cast<float>(r.yv[r.numPoles]);
}

// Exposes the protected design call.
struct OpenFilter : CTimeFilter {
    using CTimeFilter::GetFilterConstants;
};

}  // namespace

// ---- Design ----------------------------------------------------------------------

TEST(TimeFilterDesign, EveryCharacteristicAndShapeMatchesItsAnalyticMagnitude)
{
    // Sections at every order, also at a low corner where the direct form
    // breaks down; the direct form at orders 1 to 4 in the other bands (its
    // float gain limits the agreement to about 1e-7), and beside the sections
    // on a random signal in the middle band.
    const float bands[][2] = {{2000.0f, 4000.0f}, {40.0f, 120.0f}, {15000.0f, 19000.0f}};
    const uint32_t typeBits[] = {2u, 1u, 4u}, shapeBits[] = {0x20u, 0x40u, 0x80u, 0x100u};
    const std::vector<float> input = RandomFloats(3000, 7u);
    for (const auto& band : bands) {
        for (auto type : kTypes) {
            for (auto shape : kShapes) {
                for (int n = 1; n <= 10; ++n) {
                    SCOPED_TRACE(testing::Message() << "band " << band[0] << " type " << type << " shape " << shape
                                                    << " order " << n);
                    CSectionFilter s;
                    ASSERT_EQ(0, s.Initialize(band[0], band[1], 51200.0f, type, shape, n));
                    auto sections = [&s](double hz) { return std::hypot(s.Response(hz).re, s.Response(hz).im); };
                    EXPECT_LT(WorstError(type, shape, n, s.F1(), s.F2(), 51200.0f, sections, 0.0), 3e-10);
                    // A low-pass lags.
                    EXPECT_TRUE(shape != CTimeFilter::LowPass || s.Response(0.01 * static_cast<double>(s.F1())).im < 0.0);
                    CTimeFilter f;
                    f.Initialize(band[0], band[1], 51200.0f, type, shape, n);
                    EXPECT_EQ(typeBits[type] | shapeBits[shape], f.options);
                    EXPECT_EQ(static_cast<int>(f.options), f.designOptions);
                    if (n > 4 || band[0] < 100.0f)
                        continue;
                    ASSERT_EQ(0, f.unstable);
                    auto direct = [&f](double hz) { return std::abs(DirectResponse(f, hz)); };
                    EXPECT_LT(WorstError(type, shape, n, f.f1, f.f2, 51200.0f, direct, 1e-3), 1e-6);
                    if (band[0] != 2000.0f)
                        continue;
                    std::vector<float> a = input, b = input;
                    f.Apply(a.data(), 3000);
                    s.Apply(b.data(), 3000);
                    for (size_t k = 0; k < a.size(); ++k)
                        ASSERT_NEAR(a[k], b[k], 2e-6f * f.maxAmp) << k;
                }
            }
        }
    }
    // The gain is 1 / |response at the reference| in double, rounded once; a
    // float division would differ for this design.
    CTimeFilter bs;
    bs.Initialize(2000.0f, 4000.0f, 51200.0f, CTimeFilter::Butterworth, CTimeFilter::BandStop, 2);
    const complexd ref = qv::math::ComplexSqrt(bs.dcGain * bs.hfGain);
    EXPECT_TRUE(SameBits(static_cast<float>(1.0 / std::hypot(ref.im, ref.re)), bs.gain));
    EXPECT_TRUE(SameBits(bs.gain, bs.designGain));
}

TEST(TimeFilterDesign, ChebyshevStretchTakesTheLogarithmAndFailuresReportTheirCodes)
{
    OpenFilter f;
    f.rippleDb = -0.55f;  // asinh(1/e) in place of the logarithm would move the pole by a bit
    f.Initialize(2000.0f, 0.0f, 51200.0f, CTimeFilter::Chebyshev, CTimeFilter::LowPass, 1);
    // The prototype pole -1 on the ellipse, scaled by the prewarped corner
    // (2000 / 51200 = 5/128 exactly), then z = (2 + s) / (2 - s). volatile keeps
    // the compiler from folding the calls with its own exact arithmetic.
    volatile double ripple = static_cast<double>(-0.55f), alpha = 0.0390625;
    const double e = std::sqrt(std::pow(10.0, -ripple / 10.0) - 1.0);
    const double y = std::log(1.0 / e + std::sqrt((1.0 / e) * (1.0 / e) + 1.0));
    const double s = 2.0 * kPi * (std::tan(kPi * alpha) / kPi) * -std::sinh(y);
    EXPECT_TRUE(SameBits((2.0 + s) / (2.0 - s), f.ycoeffs[0]));

    f.rippleDb = -4000.0f;  // 10^400 overflows, e is infinite and y is 0
    EXPECT_EQ(-4, f.GetFilterConstants(&f));
    // A failed design through Initialize: the design gain goes back to 1
    // because f1 changed; the working gain and term counts stay.
    const float gain = f.gain;
    f.rippleDb = 0.5f;
    f.Initialize(1500.0f, 0.0f, 51200.0f, CTimeFilter::Chebyshev, CTimeFilter::LowPass, 1);
    EXPECT_EQ(P(1.0f, gain), P(f.designGain, f.gain));
    EXPECT_EQ(1, f.numPoles);

    // Order 12 (past the Bessel table, unchecked) gives a band-pass polynomial
    // whose coefficients are no longer real within 1e-10. Nothing is stored.
    f.rippleDb = -1.0f;
    f.Initialize(1000.0f, 3000.0f, 51200.0f, CTimeFilter::Butterworth, CTimeFilter::BandPass, 12);
    EXPECT_EQ(-10, f.GetFilterConstants(&f));
    const double zeros[513] = {};
    EXPECT_TRUE(BitEqual(zeros, f.xcoeffs, 513));
    EXPECT_TRUE(BitEqual(zeros, f.ycoeffs, 513));
}

// ---- Initialize and Update -----------------------------------------------------------

TEST(TimeFilterInitialize, LimitsTheFrequenciesClearsTheHistoryAndTracksTheOrderPassedIn)
{
    // At 51200 samples per second the analysis bandwidth is 20000 Hz.
    CTimeFilter f;
    auto edges = [&f](CTimeFilter::Shape shape, float f1, float f2) {
        f.Initialize(f1, f2, 51200.0f, CTimeFilter::Butterworth, shape, 2);
        return P(f.f1, f.f2);
    };
    EXPECT_EQ(P(1000.0f, 1080.0f), edges(CTimeFilter::BandPass, 1000.0f, 1010.0f));      // widened upward
    EXPECT_EQ(P(19880.0f, 19960.0f), edges(CTimeFilter::BandPass, 19990.0f, 19999.0f));  // moved down
    EXPECT_EQ(P(100.0f, 0.0f), edges(CTimeFilter::LowPass, 50.0f, 600.0f));
    EXPECT_EQ(P(40.0f, 0.0f), edges(CTimeFilter::HighPass, 10.0f, 600.0f));
    EXPECT_EQ(P(30000.0f, 0.0f), edges(CTimeFilter::LowPass, 30000.0f, 600.0f));  // no upper limit
    EXPECT_EQ(P(5.0f, 30000.0f), edges(CTimeFilter::BandStop, 30000.0f, 5.0f));  // swapped only
    // Update limits with the ratio that a caller wrote; Initialize sets 2.56 again.
    EXPECT_EQ(P(40.0f, 120.0f), edges(CTimeFilter::BandPass, 10.0f, 30.0f));  // raised, widened
    f.bandwidthRatio = 5.12f;
    f.Update(10.0f, 30.0f, 51200.0f);
    EXPECT_EQ(P(20.0f, 60.0f), P(f.f1, f.f2));
    EXPECT_EQ(P(40.0f, 120.0f), edges(CTimeFilter::BandPass, 10.0f, 30.0f));

    // The sections apply the same limits, and refuse the edges that
    // CTimeFilter takes without limit but cannot design.
    CSectionFilter s;
    ASSERT_EQ(0, s.Initialize(19990.0f, 19999.0f, 51200.0f, CTimeFilter::Bessel, CTimeFilter::BandPass, 2));
    EXPECT_EQ(P(19880.0f, 19960.0f), P(s.F1(), s.F2()));
    const CTimeFilter::Type B = CTimeFilter::Butterworth;
    const CTimeFilter::Shape BS = CTimeFilter::BandStop;
    EXPECT_EQ(-2, s.Initialize(24000.0f, 0.0f, 48000.0f, B, CTimeFilter::LowPass, 2));
    EXPECT_EQ(-2, s.Initialize(0.0f, 900.0f, 48000.0f, B, BS, 2));
    EXPECT_EQ(-2, s.Initialize(900.0f, 900.0f, 48000.0f, B, BS, 2));
    EXPECT_EQ(-2, s.Initialize(1e-30f, 900.0f, 48000.0f, B, BS, 2));  // its zeros round onto z = 1

    // Update clears the history, whether anything changed or not.
    f.Initialize(1000.0f, 0.0f, 48000.0f, CTimeFilter::Butterworth, CTimeFilter::LowPass, 4);
    f.Apply(1.0f);
    f.Update(48000.0f);
    const double zeros[513] = {};
    EXPECT_TRUE(BitEqual(zeros, f.xv, 513));
    EXPECT_TRUE(BitEqual(zeros, f.yv, 513));
    // An order the caller wrote stays while the one last passed in is passed again.
    f.order = 2;
    f.Initialize(1000.0f, 0.0f, 48000.0f, CTimeFilter::Butterworth, CTimeFilter::LowPass, 4);
    EXPECT_EQ(std::make_pair(2, 2), std::make_pair(f.numPoles, f.filterOrder));
}

// ---- Running the direct form ---------------------------------------------------

TEST(TimeFilterApply, IsBitIdenticalToTheShiftingFormWithThePeakOfEachBlock)
{
    // Block sizes around the 492 samples that fit after a 20-pole history.
    const int blocks[] = {1, 5, 491, 492, 493, 1200, 4096, 2};
    const std::vector<float> input = RandomFloats(10000, 3u);
    for (int which = 0; which < 2; ++which) {
        // 20 poles (the widest history of a design), and hand-set terms
        // filling the whole arrays: a pure delay of 512 samples.
        CTimeFilter f;
        if (which == 0)
            f.Initialize(2000.0f, 2600.0f, 51200.0f, CTimeFilter::Chebyshev, CTimeFilter::BandPass, 10);
        if (which == 1) {
            f.numPoles = f.numZeros = 512;
            f.xcoeffs[0] = 1.0;
        }
        CTimeFilter ref(f);
        std::vector<float> data = input;
        int at = 0;
        for (int n : blocks) {
            std::vector<float> expected(data.begin() + at, data.begin() + at + n);
            float peak = 0.0f;
            for (int k = 0; k < n; ++k) {
                expected[k] = ShiftStep(ref, expected[k]);
                peak = k == 0 ? std::fabs(expected[k]) : std::max(peak, std::fabs(expected[k]));
            }
            const size_t before = AllocationCount();
            f.Apply(data.data() + at, n);
            EXPECT_EQ(before, AllocationCount());
            ASSERT_TRUE(BitEqual(expected.data(), data.data() + at, n)) << "block of " << n;
            EXPECT_TRUE(SameBits(peak, f.maxAmp));
            at += n;
        }
    }
}

// ---- Fragile designs, the probe and the second-order sections ----------------------

TEST(FragileDesigns, TheProbeMarksSomeDesignsWhoseExpandedDirectFormBreaks)
{
    // Low corners at 51.2 kHz put 6 to 16 poles close to z = 1. Expanded into
    // one polynomial, their roots drift onto or past the unit circle (the
    // sections stay exact there: see the analytic test's band at 40 Hz). The
    // probe flags the band-pass and misses the order-6 Bessel high-pass, whose
    // impulse response grows without bound all the same. The last design is
    // sound: a band-stop probed in its notch, which clears the mark.
    struct Case {
        CTimeFilter::Type type;
        CTimeFilter::Shape shape;
        int order;
        float f1, f2;
        int probe;
    };
    const Case cases[] = {
        {CTimeFilter::Butterworth, CTimeFilter::BandPass, 8, 40.0f, 80.0f, 1},  // widened to 40-120 Hz
        {CTimeFilter::Bessel, CTimeFilter::HighPass, 6, 40.0f, 0.0f, 0},
        {CTimeFilter::Butterworth, CTimeFilter::HighPass, 7, 40.0f, 0.0f, 1},
        {CTimeFilter::Bessel, CTimeFilter::BandStop, 2, 9000.0f, 11000.0f, 0},
    };
    CTimeFilter direct;  // one object: a sound design clears the mark of the one before
    for (const Case& c : cases) {
        direct.Initialize(c.f1, c.f2, 51200.0f, c.type, c.shape, c.order);
        EXPECT_EQ(std::make_pair(c.probe, c.probe), std::make_pair(direct.unstable, direct.modified))
            << "type " << c.type << " shape " << c.shape << " order " << c.order;
    }
}

TEST(SectionFilter, PairsPolesWithTheirNearestZeros)
{
    // Odd low-pass: poles {p, conj p, real r} plus a pole and a zero at the
    // origin; zeros {-1, -1, -1, 0}. The pair, closer to the unit circle,
    // takes the nearest zero (the origin) and the nearest real one after it
    // (-1) and runs last; the real pole and the origin pole take -1, -1.
    CSectionFilter lp;
    ASSERT_EQ(0, lp.Initialize(2000.0f, 0.0f, 51200.0f, CTimeFilter::Butterworth, CTimeFilter::LowPass, 3));
    const CSectionFilter::Section first = lp.GetSection(0), last = lp.GetSection(1);
    EXPECT_EQ(0.0, first.a2);  // real pole with the origin
    EXPECT_NEAR(2.0, first.b1 / first.b0, 1e-15);
    EXPECT_NEAR(1.0, first.b2 / first.b0, 1e-15);
    EXPECT_LT(last.a1 * last.a1 - 4.0 * last.a2, 0.0);  // complex pair
    EXPECT_NEAR(1.0, last.b1 / last.b0, 1e-15);
    EXPECT_EQ(0.0, last.b2);
}

TEST(SectionFilterApply, RunsEachSectionInDoubleAndRoundsEachOutputOnce)
{
    // One section by hand: y = b0 x + s1, s1 = (b1 x - a1 y) + s2, s2 = b2 x - a2 y,
    // in double, the state carried from one block to the next; the float
    // twin gives each value rounded once, keeps the peak of its last block
    // and allocates nothing.
    CSectionFilter one;
    ASSERT_EQ(0, one.Initialize(300.0f, 900.0f, 51200.0f, CTimeFilter::Chebyshev, CTimeFilter::BandStop, 1, -0.5f));
    CSectionFilter twin(one);
    const CSectionFilter::Section q = one.GetSection(0);
    double x[] = {0.3, -0.7, 0.9}, s1 = 0.0, s2 = 0.0, y[3];
    float in[] = {0.3f, -0.7f, 0.9f}, rounded[3];
    for (int k = 0; k < 3; ++k) {
        x[k] = static_cast<double>(in[k]);
        y[k] = q.b0 * x[k] + s1;
        s1 = (q.b1 * x[k] - q.a1 * y[k]) + s2;
        s2 = q.b2 * x[k] - q.a2 * y[k];
        rounded[k] = static_cast<float>(y[k]);
    }
    one.Apply(x, 1);
    one.Apply(x + 1, 2);
    EXPECT_TRUE(BitEqual(y, x, 3));
    const size_t before = AllocationCount();
    twin.Apply(in, 1);
    twin.Apply(in + 1, 2);
    EXPECT_EQ(before, AllocationCount());
    EXPECT_TRUE(BitEqual(rounded, in, 3));
    EXPECT_EQ(std::max(std::fabs(in[1]), std::fabs(in[2])), twin.MaxAmp());
    EXPECT_EQ(0.25f, CSectionFilter().Apply(0.25f));  // no sections: samples pass unchanged
}
