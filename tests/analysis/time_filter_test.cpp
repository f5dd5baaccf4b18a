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

// Coefficients of the reverse Bessel polynomial of order n, lowest power first:
// a_k = (2n - k)! / (2^(n-k) k! (n-k)!).
std::vector<double> ReverseBessel(int n)
{
    auto fact = [](int k) {
        double f = 1.0;
        for (int i = 2; i <= k; ++i)
            f *= i;
        return f;
    };
    std::vector<double> a(static_cast<size_t>(n) + 1);
    for (int k = 0; k <= n; ++k)
        a[static_cast<size_t>(k)] = fact(2 * n - k) / (std::ldexp(1.0, n - k) * fact(k) * fact(n - k));
    return a;
}

double BesselAbs(const std::vector<double>& a, double w)
{
    Cx s(0.0, w), v(0.0, 0.0);
    for (size_t k = a.size(); k-- > 0;)
        v = v * s + a[k];
    return std::abs(v);
}

// Magnitude of the analog prototype at w rad/s: Butterworth and Chebyshev I
// by their closed forms, Bessel from its polynomial scaled to -3 dB at 1 rad/s.
double PrototypeMag(CTimeFilter::Type type, int n, double w)
{
    if (type == CTimeFilter::Butterworth)
        return 1.0 / std::sqrt(1.0 + std::pow(w, 2.0 * n));
    if (type == CTimeFilter::Chebyshev) {
        const double eps2 = std::pow(10.0, 0.1) - 1.0;  // the default ripple of -1 dB
        const double t = w <= 1.0 ? std::cos(n * std::acos(w)) : std::cosh(n * std::acosh(w));
        return 1.0 / std::sqrt(1.0 + eps2 * t * t);
    }
    const std::vector<double> a = ReverseBessel(n);
    double lo = 0.0, hi = 10.0;  // |theta(jw)| rises with w: find where it is sqrt(2) * a0
    for (int i = 0; i < 200; ++i) {
        const double mid = 0.5 * (lo + hi);
        (BesselAbs(a, mid) < std::sqrt(2.0) * a[0] ? lo : hi) = mid;
    }
    return a[0] / BesselAbs(a, w * 0.5 * (lo + hi));
}

// Expected magnitude of the digital filter at hz: the prototype at the
// frequency that the shape's transform and the bilinear warping map hz to,
// over the prototype at the gain reference (0, or the arithmetic band centre
// for band-pass). f1 and f2 are the stored (limited) edges.
double Analytic(CTimeFilter::Type type, CTimeFilter::Shape shape, int n, float f1, float f2, float fs, double hz)
{
    const double w1 = 2.0 * std::tan(kPi * static_cast<double>(f1 / fs));
    const double w2 = 2.0 * std::tan(kPi * static_cast<double>(f2 / fs));
    const double w0sq = w1 * w2, bw = w2 - w1;
    auto lambda = [&](double om) {
        switch (shape) {
        case CTimeFilter::LowPass: return om / w1;
        case CTimeFilter::HighPass: return w1 / om;
        case CTimeFilter::BandPass: return std::fabs(om * om - w0sq) / (om * bw);
        default: return om * bw / std::fabs(w0sq - om * om);
        }
    };
    const double om = 2.0 * std::tan(kPi * hz / static_cast<double>(fs));
    const double centre = 2.0 * std::tan(kPi * 0.5 * (static_cast<double>(f1 / fs) + static_cast<double>(f2 / fs)));
    const double ref = shape == CTimeFilter::BandPass ? lambda(centre) : 0.0;
    return PrototypeMag(type, n, lambda(om)) / PrototypeMag(type, n, ref);
}

// Largest relative error of a response against the analytic magnitude where
// that is at least `floor`: on a log grid over the whole band plus the edges
// and the centre.
template <typename Response>
double WorstError(CTimeFilter::Type type, CTimeFilter::Shape shape, int n, float f1, float f2, float fs,
                  Response response, double floor)
{
    std::vector<double> grid = {static_cast<double>(f1)};
    if (f2 > 0.0f)
        grid.insert(grid.end(), {static_cast<double>(f2), 0.5 * (static_cast<double>(f1) + static_cast<double>(f2))});
    for (double f = 0.0005 * static_cast<double>(fs); f < 0.49 * static_cast<double>(fs); f *= 1.3)
        grid.push_back(f);
    double worst = 0.0;
    for (double hz : grid) {
        const double a = Analytic(type, shape, n, f1, f2, fs, hz);
        if (a >= floor)
            worst = std::max(worst, std::fabs(std::abs(response(hz)) - a) / a);
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

// The sections' own response.
Cx Response(const CSectionFilter& f, double hz)
{
    const complexd h = f.Response(hz);
    return Cx(h.re, h.im);
}

// Radii of the two poles of 1 + a1 z^-1 + a2 z^-2.
std::pair<double, double> PoleRadii(const CSectionFilter::Section& s)
{
    const double disc = s.a1 * s.a1 - 4.0 * s.a2;
    if (disc < 0.0)
        return {std::sqrt(s.a2), std::sqrt(s.a2)};
    return {std::fabs(0.5 * (-s.a1 + std::sqrt(disc))), std::fabs(0.5 * (-s.a1 - std::sqrt(disc)))};
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

// The stability probe as plainly written, on a copy of a filter: a unit
// sine at `test` Hz; 1 at the first output above 2 after 2 * numPoles samples.
int Probe(CTimeFilter& r, float test, float rate, float& peak)
{
    const float step = static_cast<float>(static_cast<double>(test) * 6.283185307179586 / static_cast<double>(rate));
    float phase = 0.0f;
    peak = 0.0f;
    for (int k = 0; k < 10000; ++k) {
        phase += step;
        if (static_cast<double>(phase) > 6.283185307179586)
            phase += -6.2831855f;
        peak = std::max(peak, std::fabs(ShiftStep(r, static_cast<float>(std::sin(static_cast<double>(phase))))));
        if (k < 2 * r.numPoles)
            peak = 0.0f;
        else if (peak > 2.0f)
            return 1;
    }
    return 0;
}

// One sample through the cascade as plainly written: transposed direct form
// II per section, two states per section in st.
double CascadeStep(const CSectionFilter& f, std::vector<double>& st, double v)
{
    for (int i = 0; i < f.SectionCount(); ++i) {
        const CSectionFilter::Section& s = f.GetSection(i);
        const double y = s.b0 * v + st[2 * i];
        st[2 * i] = (s.b1 * v - s.a1 * y) + st[2 * i + 1];
        st[2 * i + 1] = s.b2 * v - s.a2 * y;
        v = y;
    }
    return v;
}

// Exposes the protected design call.
struct OpenFilter : CTimeFilter {
    using CTimeFilter::GetFilterConstants;
};

// The two report flags of a filter: (unstable, modified).
std::pair<int, int> Marks(const CTimeFilter& f)
{
    return {f.unstable, f.modified};
}

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
                    ASSERT_EQ(((shape >= CTimeFilter::BandPass ? 2 * n : n) + 1) / 2, s.SectionCount());
                    EXPECT_LT(WorstError(type, shape, n, s.F1(), s.F2(), 51200.0f, [&](double hz) { return Response(s, hz); }, 0.0),
                              3e-10);
                    if (shape == CTimeFilter::LowPass) {
                        EXPECT_LT(Response(s, 0.01 * static_cast<double>(s.F1())).imag(), 0.0);  // a low-pass lags
                    }
                    // Every pole inside the unit circle; the section holding the
                    // pole closest to the circle runs last.
                    double previous = 1.0;
                    for (int i = 0; i < s.SectionCount(); ++i) {
                        const std::pair<double, double> r = PoleRadii(s.GetSection(i));
                        EXPECT_LT(std::max(r.first, r.second), 1.0);
                        EXPECT_LE(1.0 - std::max(r.first, r.second), previous);
                        previous = 1.0 - std::max(r.first, r.second);
                    }

                    CTimeFilter f;
                    f.Initialize(band[0], band[1], 51200.0f, type, shape, n);
                    EXPECT_EQ(typeBits[type] | shapeBits[shape], f.options);
                    EXPECT_EQ(static_cast<int>(f.options), f.designOptions);
                    // The gain is 1 / |response| at the shape's reference, in
                    // double, then rounded (unless the polynomial was refused).
                    const complexd ref = shape == CTimeFilter::LowPass    ? f.dcGain
                                         : shape == CTimeFilter::HighPass ? f.hfGain
                                         : shape == CTimeFilter::BandPass ? f.fcGain
                                                                          : qv::math::ComplexSqrt(f.dcGain * f.hfGain);
                    if (f.numPoles > 0) {
                        EXPECT_TRUE(SameBits(static_cast<float>(1.0 / std::hypot(ref.im, ref.re)), f.gain));
                        EXPECT_TRUE(SameBits(f.gain, f.designGain));
                    }
                    if (n > 4 || band[0] < 100.0f)
                        continue;
                    ASSERT_EQ(0, f.unstable);
                    EXPECT_LT(WorstError(type, shape, n, f.f1, f.f2, 51200.0f,
                                         [&](double hz) { return DirectResponse(f, hz); }, 1e-3),
                              1e-6);
                    if (band[0] != 2000.0f)
                        continue;
                    std::vector<float> a = input, b = input;
                    f.Apply(a.data(), 3000);
                    s.Apply(b.data(), 3000);
                    float worst = 0.0f;
                    for (size_t k = 0; k < a.size(); ++k)
                        worst = std::max(worst, std::fabs(a[k] - b[k]));
                    EXPECT_LT(worst, 2e-6f * f.maxAmp);
                }
            }
        }
    }
    // Gain 1 at DC puts an even-order Chebyshev's ripple above 0 dB: its
    // pass-band peaks reach +1 dB and its corner sits at 0 dB.
    CTimeFilter cheb;
    cheb.Initialize(2000.0f, 0.0f, 51200.0f, CTimeFilter::Chebyshev, CTimeFilter::LowPass, 4);
    double top = 0.0;
    for (double hz = 0.0; hz <= 2000.0; hz += 5.0)
        top = std::max(top, std::abs(DirectResponse(cheb, hz)));
    EXPECT_NEAR(std::pow(10.0, 1.0 / 20.0), top, 1e-4);
    EXPECT_NEAR(1.0, std::abs(DirectResponse(cheb, 2000.0)), 1e-6);
}

TEST(TimeFilterDesign, OrderOneChebyshevMatchesTheDesignWorkedByHand)
{
    CTimeFilter f;
    f.rippleDb = -0.55f;  // asinh(1/e) in place of the logarithm would move the pole by a bit
    f.Initialize(2000.0f, 0.0f, 51200.0f, CTimeFilter::Chebyshev, CTimeFilter::LowPass, 1);
    // The prototype pole (cos pi, sin pi) on the ellipse, scaled by the
    // prewarped corner (2000 / 51200 = 5/128 exactly), then z = (2 + s) / (2 - s).
    // volatile keeps the compiler from folding the calls with its own exact
    // arithmetic: the library's values come from the run-time math library.
    volatile double ripple = static_cast<double>(-0.55f), alpha = 0.0390625, pi = kPi;
    const double e = std::sqrt(std::pow(10.0, -ripple / 10.0) - 1.0);
    const double y = std::log(1.0 / e + std::sqrt((1.0 / e) * (1.0 / e) + 1.0));
    const double w1 = 2.0 * kPi * (std::tan(kPi * alpha) / kPi);
    const double sre = w1 * (std::cos(pi) * std::sinh(y)), sim = w1 * (std::sin(pi) * std::cosh(y));
    const double are = 2.0 + sre, aim = sim, bre = 2.0 - sre, bim = 0.0 - sim;
    const double zre = (aim * bim + are * bre) / (bim * bim + bre * bre);
    EXPECT_TRUE(SameBits(zre, f.ycoeffs[0]));
    EXPECT_EQ(-1.0, f.ycoeffs[1]);
    EXPECT_EQ(1.0, f.xcoeffs[0]);  // the zero at z = -1
    EXPECT_EQ(1.0, f.xcoeffs[1]);
    EXPECT_EQ(1, f.numZeros);
}

TEST(TimeFilterDesign, FailuresReportTheirCodeAndLeaveAFilterThatGivesZero)
{
    OpenFilter f;
    f.Initialize(1000.0f, 0.0f, 51200.0f, CTimeFilter::Chebyshev, CTimeFilter::LowPass, 4);
    const float gain = f.gain;
    f.rippleDb = 0.0f;
    EXPECT_EQ(-3, f.GetFilterConstants(&f));
    f.rippleDb = -4000.0f;  // 10^400 overflows, e is infinite and y is 0
    EXPECT_EQ(-4, f.GetFilterConstants(&f));
    f.order = -2;  // a negative order makes y negative
    f.rippleDb = -1.0f;
    EXPECT_EQ(-4, f.GetFilterConstants(&f));
    f.order = 4;

    // A failed design through Initialize: marked, zero coefficients, gain back
    // to 1 because f1 changed, the working gain and term counts as they were.
    f.rippleDb = 0.5f;
    f.Initialize(1500.0f, 0.0f, 51200.0f, CTimeFilter::Chebyshev, CTimeFilter::LowPass, 4);
    EXPECT_EQ(std::make_pair(1, 1), Marks(f));
    EXPECT_EQ(P(1.0f, gain), P(f.designGain, f.gain));
    EXPECT_EQ(4, f.numPoles);
    const double zeros[513] = {};
    EXPECT_TRUE(BitEqual(zeros, f.xcoeffs, 513));
    EXPECT_TRUE(BitEqual(zeros, f.ycoeffs, 513));
    // Through Update as well: a design, then a failed one with a new f1.
    f.rippleDb = -1.0f;
    f.Update(1000.0f, 0.0f, 51200.0f);
    ASSERT_NE(1.0f, f.designGain);
    f.rippleDb = 0.5f;
    f.Update(1500.0f, 0.0f, 51200.0f);
    EXPECT_EQ(1.0f, f.designGain);

    // Order 12 (past the Bessel table, unchecked) gives a band-pass polynomial
    // whose coefficients are no longer real within 1e-10. Nothing is stored,
    // also when Expandpoly runs again on the roots left in the scratch.
    f.rippleDb = -1.0f;
    f.Initialize(1000.0f, 3000.0f, 51200.0f, CTimeFilter::Butterworth, CTimeFilter::BandPass, 12);
    EXPECT_EQ(-10, f.GetFilterConstants(&f));
    EXPECT_EQ(-10, f.Expandpoly());
    EXPECT_EQ(4, f.numPoles);
    EXPECT_TRUE(BitEqual(zeros, f.xcoeffs, 513));
    EXPECT_TRUE(BitEqual(zeros, f.ycoeffs, 513));

    // The scratch is shared: Expandpoly on one object expands the roots that
    // the last design of another object left.
    CTimeFilter other;
    other.Initialize(700.0f, 900.0f, 51200.0f, CTimeFilter::Bessel, CTimeFilter::BandStop, 3);
    EXPECT_EQ(0, f.Expandpoly());
    EXPECT_TRUE(BitEqual(other.xcoeffs, f.xcoeffs, 513));
    EXPECT_TRUE(BitEqual(other.ycoeffs, f.ycoeffs, 513));
    EXPECT_TRUE(other.dcGain == f.dcGain && other.fcGain == f.fcGain && other.hfGain == f.hfGain);
}

// ---- Initialize and Update -----------------------------------------------------------

TEST(TimeFilterInitialize, AppliesTheFrequencyLimits)
{
    // At 51200 samples per second the analysis bandwidth is 20000 Hz.
    CTimeFilter f;
    auto edges = [&f](CTimeFilter::Shape shape, float f1, float f2) {
        f.Initialize(f1, f2, 51200.0f, CTimeFilter::Butterworth, shape, 2);
        return P(f.f1, f.f2);
    };
    EXPECT_EQ(P(500.0f, 600.0f), edges(CTimeFilter::BandPass, 600.0f, 500.0f));          // swapped
    EXPECT_EQ(P(1000.0f, 1080.0f), edges(CTimeFilter::BandPass, 1000.0f, 1010.0f));      // widened upward
    EXPECT_EQ(P(19880.0f, 19960.0f), edges(CTimeFilter::BandPass, 19990.0f, 19999.0f));  // moved down
    EXPECT_EQ(P(100.0f, 0.0f), edges(CTimeFilter::LowPass, 50.0f, 600.0f));
    EXPECT_EQ(P(40.0f, 0.0f), edges(CTimeFilter::HighPass, 10.0f, 600.0f));
    EXPECT_EQ(P(30000.0f, 0.0f), edges(CTimeFilter::LowPass, 30000.0f, 600.0f));  // no upper limit
    EXPECT_EQ(P(5.0f, 30000.0f), edges(CTimeFilter::BandStop, 30000.0f, 5.0f));  // swapped only
    EXPECT_EQ(P(900.0f, 0.0f), edges(static_cast<CTimeFilter::Shape>(9), 900.0f, 2000.0f));
    // Update limits with the ratio that a caller wrote; Initialize sets 2.56 again.
    EXPECT_EQ(P(40.0f, 120.0f), edges(CTimeFilter::BandPass, 10.0f, 30.0f));  // raised, widened
    f.bandwidthRatio = 5.12f;
    f.Update(10.0f, 30.0f, 51200.0f);
    EXPECT_EQ(P(20.0f, 60.0f), P(f.f1, f.f2));
    EXPECT_EQ(P(40.0f, 120.0f), edges(CTimeFilter::BandPass, 10.0f, 30.0f));

    // The sections apply the same limits.
    CSectionFilter s;
    ASSERT_EQ(0, s.Initialize(19990.0f, 19999.0f, 51200.0f, CTimeFilter::Bessel, CTimeFilter::BandPass, 2));
    EXPECT_EQ(P(19880.0f, 19960.0f), P(s.F1(), s.F2()));
}

TEST(TimeFilterInitialize, StoresWhatChangedRedesignsAndClearsTheHistory)
{
    // The parameters head the object. A new one gives 0 until a design;
    // Update designs its defaults, a Butterworth band-pass of order 8, 500 to 600 Hz.
    CTimeFilter f;
    CTimeFilter::FilParams* head = &f;
    EXPECT_EQ(static_cast<void*>(&f), static_cast<void*>(head));
    EXPECT_GE(reinterpret_cast<const char*>(&f.unstable) - reinterpret_cast<const char*>(&f),
              static_cast<std::ptrdiff_t>(sizeof *head));
    EXPECT_EQ(std::make_pair(0, 1), Marks(f));
    EXPECT_EQ(0.0f, f.Apply(0.7f));
    f.Update(51200.0f);
    EXPECT_EQ(0x82u, head->options);
    EXPECT_EQ(16, f.numPoles);
    EXPECT_EQ(P(500.0f, 600.0f), P(head->f1, head->f2));

    // Every call redesigns and clears the history, even without a change.
    f.Initialize(1000.0f, 0.0f, 48000.0f, CTimeFilter::Butterworth, CTimeFilter::LowPass, 4);
    EXPECT_EQ(std::make_pair(0, 0), Marks(f));
    EXPECT_EQ(48000.0f / 2.56f, f.bandwidth);
    const double zeros[513] = {};
    for (int k = 0; k < 10; ++k)
        f.Apply(1.0f);
    f.Update(48000.0f);
    EXPECT_TRUE(BitEqual(zeros, f.yv, 513));
    f.Apply(1.0f);
    f.Initialize(1000.0f, 0.0f, 48000.0f, CTimeFilter::Butterworth, CTimeFilter::LowPass, 4);
    EXPECT_TRUE(BitEqual(zeros, f.xv, 513));

    // The order counts as changed only against the order last passed in: an
    // order the caller wrote stays while that one is passed again.
    f.order = 2;
    f.Initialize(1000.0f, 0.0f, 48000.0f, CTimeFilter::Butterworth, CTimeFilter::LowPass, 4);
    EXPECT_EQ(2, f.numPoles);
    EXPECT_EQ(2, f.filterOrder);
}

TEST(TimeFilterInitialize, ProbeDrivesAUnitSineAndStopsAtTheFirstOutputAboveTwo)
{
    // A band-pass probed at its centre; a band-stop in its notch, where only
    // the onset passes, so the settling time decides the peak; a low-pass with
    // its corner above half the sample rate (it has no upper limit), so its
    // poles lie outside the unit circle, probed at half the bandwidth.
    struct Case {
        CTimeFilter::Type type;
        CTimeFilter::Shape shape;
        int order;
        float f1, f2, test;
        int unstable;
    };
    const Case cases[] = {{CTimeFilter::Chebyshev, CTimeFilter::BandPass, 3, 1500.0f, 2600.0f, 2050.0f, 0},
                          {CTimeFilter::Bessel, CTimeFilter::BandStop, 2, 9000.0f, 11000.0f, 10000.0f, 0},
                          {CTimeFilter::Butterworth, CTimeFilter::LowPass, 4, 30000.0f, 0.0f, 10000.0f, 1}};
    CTimeFilter f;
    for (const Case& c : cases) {
        f.Initialize(c.f1, c.f2, 51200.0f, c.type, c.shape, c.order);
        CTimeFilter r(f);
        float peak = 0.0f;
        EXPECT_EQ(c.unstable, Probe(r, c.test, 51200.0f, peak));
        EXPECT_EQ(std::make_pair(c.unstable, c.unstable), Marks(f));
        EXPECT_TRUE(SameBits(peak, f.maxAmp));
    }
    // Update has no probe: the mark stays until the next Initialize.
    f.Update(1000.0f, 0.0f, 51200.0f);
    EXPECT_EQ(std::make_pair(1, 1), Marks(f));
    EXPECT_NE(0.0, f.xcoeffs[0]);
    f.Initialize(1000.0f, 0.0f, 51200.0f, CTimeFilter::Butterworth, CTimeFilter::LowPass, 4);
    EXPECT_EQ(std::make_pair(0, 0), Marks(f));

    // Called directly, it takes the test frequency from its argument and
    // leaves the history as the sine left it.
    f.Initialize(1500.0f, 2600.0f, 51200.0f, CTimeFilter::Chebyshev, CTimeFilter::BandPass, 3);
    CTimeFilter::FilParams p = f;
    p.f1 = 1800.0f;
    CTimeFilter r(f);
    float peak = 0.0f;
    EXPECT_EQ(Probe(r, 2200.0f, 51200.0f, peak), f.bisFilterUnStable(&p));
    EXPECT_TRUE(SameBits(peak, f.maxAmp));
    EXPECT_TRUE(BitEqual(r.xv, f.xv, 513));
    EXPECT_TRUE(BitEqual(r.yv, f.yv, 513));
}

// ---- Running the direct form ---------------------------------------------------

TEST(TimeFilterApply, IsBitIdenticalToTheShiftingFormWithThePeakOfEachBlock)
{
    struct Design {
        CTimeFilter::Type type;
        CTimeFilter::Shape shape;
        int order;
    };
    // 20 poles (the widest history of a design), 1 pole, and an unknown type
    // that designs no poles and passes samples unchanged with gain 1.
    const Design designs[] = {{CTimeFilter::Chebyshev, CTimeFilter::BandPass, 10},
                              {CTimeFilter::Butterworth, CTimeFilter::LowPass, 1},
                              {static_cast<CTimeFilter::Type>(7), CTimeFilter::BandStop, 3}};
    // Block sizes around the 492 samples that fit after a 20-pole history.
    const int blocks[] = {1, 5, 491, 492, 493, 1200, 4096, 2};
    const std::vector<float> input = RandomFloats(10000, 3u);
    for (int which = 0; which < 4; ++which) {
        CTimeFilter f;
        if (which < 3) {
            const Design& d = designs[which];
            f.Initialize(2000.0f, 2600.0f, 51200.0f, d.type, d.shape, d.order);
        } else {
            // Hand-set terms filling the whole arrays: a pure delay of 512 samples.
            f.numPoles = f.numZeros = 512;
            f.xcoeffs[0] = 1.0;
        }
        CTimeFilter ref(f);
        std::vector<float> data = input;
        int at = 0;
        float peak = 0.0f;
        for (int n : blocks) {
            std::vector<float> expected(data.begin() + at, data.begin() + at + n);
            for (int k = 0; k < n; ++k) {
                const float y = ShiftStep(ref, expected[static_cast<size_t>(k)]);
                peak = k == 0 ? std::fabs(y) : std::max(peak, std::fabs(y));
                expected[static_cast<size_t>(k)] = y;
            }
            const size_t before = AllocationCount();
            f.Apply(data.data() + at, n);
            EXPECT_EQ(before, AllocationCount());
            ASSERT_TRUE(BitEqual(expected.data(), data.data() + at, n)) << "block of " << n;
            EXPECT_TRUE(SameBits(peak, f.maxAmp));
            at += n;
        }
        if (which == 2) {
            EXPECT_EQ(0x100u, f.options);  // the shape's bit alone
            EXPECT_TRUE(BitEqual(input.data(), data.data(), at));
        }
        // An empty block changes nothing; the history is left as the shifting
        // form leaves it, and single samples carry on from it and from the
        // block's peak.
        f.Apply(nullptr, 0);
        f.Apply(nullptr, -1);
        EXPECT_TRUE(SameBits(peak, f.maxAmp));
        EXPECT_TRUE(BitEqual(ref.xv, f.xv, f.numZeros + 1));
        EXPECT_TRUE(BitEqual(ref.yv, f.yv, f.numPoles + 1));
        for (size_t k = 0; k < 50; ++k) {
            const float y = ShiftStep(ref, input[k]);
            peak = std::max(peak, std::fabs(y));
            ASSERT_TRUE(SameBits(y, f.Apply(input[k])));
        }
        EXPECT_TRUE(SameBits(peak, f.maxAmp));
        f.ResetMaxAmp();
        EXPECT_EQ(0.0f, f.maxAmp);
    }
}

TEST(TimeFilter, CopiesGoOnFromTheSameStateWithoutTheResponses)
{
    CTimeFilter f;
    f.Initialize(500.0f, 700.0f, 51200.0f, CTimeFilter::Bessel, CTimeFilter::BandPass, 3);
    const std::vector<float> in = RandomFloats(100, 5u);
    for (size_t k = 0; k < 60; ++k)
        f.Apply(in[k]);
    CTimeFilter assigned;
    assigned.Initialize(1000.0f, 0.0f, 51200.0f, CTimeFilter::Butterworth, CTimeFilter::LowPass, 2);
    const complexd own = assigned.fcGain;
    assigned = f;
    const CTimeFilter copy(f);
    CTimeFilter running(copy);
    for (size_t k = 60; k < 100; ++k) {
        const float y = f.Apply(in[k]);
        ASSERT_TRUE(SameBits(y, running.Apply(in[k])));
        ASSERT_TRUE(SameBits(y, assigned.Apply(in[k])));
    }
    EXPECT_EQ(f.maxAmp, assigned.maxAmp);
    EXPECT_NE(0.0, f.fcGain.re);
    EXPECT_TRUE(copy.fcGain == (complexd{0.0, 0.0}) && copy.hfGain == (complexd{0.0, 0.0}));
    EXPECT_TRUE(assigned.fcGain == own);
}

// ---- Second-order sections ---------------------------------------------------------

TEST(FragileDesigns, SectionsStayExactWhereTheExpandedDirectFormBreaks)
{
    // Low corners at 51.2 kHz put 6 to 16 poles close to z = 1. Expanded into
    // one polynomial, their roots drift onto or past the unit circle. The
    // probe flags some of these designs and misses the order-6 Bessel
    // high-pass, whose impulse response still grows without bound.
    struct Case {
        CTimeFilter::Type type;
        CTimeFilter::Shape shape;
        int order;
        float f1, f2;
        int probe;
    };
    const Case cases[] = {
        {CTimeFilter::Butterworth, CTimeFilter::BandPass, 8, 40.0f, 80.0f, 1},  // widened to 40-120 Hz
        {CTimeFilter::Chebyshev, CTimeFilter::BandPass, 8, 40.0f, 80.0f, 1},
        {CTimeFilter::Bessel, CTimeFilter::BandPass, 4, 40.0f, 80.0f, 1},
        {CTimeFilter::Bessel, CTimeFilter::HighPass, 6, 40.0f, 0.0f, 0},
        {CTimeFilter::Butterworth, CTimeFilter::HighPass, 7, 40.0f, 0.0f, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "type " << c.type << " shape " << c.shape << " order " << c.order);
        CTimeFilter direct;
        direct.Initialize(c.f1, c.f2, 51200.0f, c.type, c.shape, c.order);
        CSectionFilter sections;
        ASSERT_EQ(0, sections.Initialize(c.f1, c.f2, 51200.0f, c.type, c.shape, c.order));
        EXPECT_EQ(c.probe, direct.unstable);
        // Impulse responses: the direct form grows past 1e6, the sections decay
        // (their response is exact: see the analytic test's band at 40 Hz).
        int blowUp = -1;
        float tail = 0.0f, peak = 0.0f;
        for (int k = 0; k < 100000; ++k) {
            const float x = k == 0 ? 1.0f : 0.0f;
            if (blowUp < 0 && !(std::fabs(direct.Apply(x)) < 1e6f))
                blowUp = k;
            tail = sections.Apply(x);
            peak = std::max(peak, std::fabs(tail));
        }
        EXPECT_GE(blowUp, 0);
        EXPECT_LT(std::fabs(tail), 1e-6f);
        EXPECT_LT(peak, 1.0f);
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

    // Band-pass in the lower half of the band: both pole pairs lie nearer z = 1
    // than z = -1; the one closest to the circle takes the zeros at 1, the
    // other those at -1.
    CSectionFilter bp;
    ASSERT_EQ(0, bp.Initialize(2000.0f, 4000.0f, 51200.0f, CTimeFilter::Butterworth, CTimeFilter::BandPass, 2));
    EXPECT_NEAR(2.0, bp.GetSection(0).b1 / bp.GetSection(0).b0, 1e-15);
    EXPECT_NEAR(-2.0, bp.GetSection(1).b1 / bp.GetSection(1).b0, 1e-15);
}

TEST(SectionFilterApply, IsThePlainCascadeWithoutAllocation)
{
    CSectionFilter f;
    for (int order = 1; order <= 10; ++order) {  // 1 to 10 sections
        ASSERT_EQ(0, f.Initialize(300.0f, 900.0f, 51200.0f, CTimeFilter::Chebyshev, CTimeFilter::BandStop, order, -0.5f));
        CSectionFilter twin(f);
        std::vector<double> state(20, 0.0);
        std::vector<float> data = RandomFloats(2000, 11u), expected = data;
        std::vector<double> wide(data.begin(), data.end()), wideExpected = wide;
        float peak = 0.0f, widePeak = 0.0f;  // over all samples; over the second double block
        for (size_t k = 0; k < expected.size(); ++k) {
            wideExpected[k] = CascadeStep(f, state, wideExpected[k]);
            expected[k] = static_cast<float>(wideExpected[k]);
            peak = std::max(peak, std::fabs(expected[k]));
            if (k >= 7)
                widePeak = std::max(widePeak, static_cast<float>(std::fabs(wideExpected[k])));
        }
        const size_t before = AllocationCount();
        f.Apply(data.data(), 1500);
        for (size_t k = 1500; k < 2000; ++k)
            data[k] = f.Apply(data[k]);
        twin.Apply(wide.data(), 7);
        twin.Apply(wide.data() + 7, 1993);
        EXPECT_EQ(before, AllocationCount());
        EXPECT_TRUE(BitEqual(expected.data(), data.data(), 2000)) << order;
        EXPECT_TRUE(BitEqual(wideExpected.data(), wide.data(), 2000)) << order;
        EXPECT_TRUE(SameBits(peak, f.MaxAmp()));
        EXPECT_TRUE(SameBits(widePeak, twin.MaxAmp()));
    }
    // A block restarts the peak, an empty one leaves it; a fresh filter
    // passes samples unchanged.
    std::vector<float> quiet(4, 0.0f);
    f.Reset();
    f.Apply(quiet.data(), 4);
    EXPECT_EQ(0.0f, f.MaxAmp());
    f.Apply(1.0f);
    const float single = f.MaxAmp();
    f.Apply(quiet.data(), 0);
    EXPECT_EQ(single, f.MaxAmp());
    EXPECT_EQ(0.25f, CSectionFilter().Apply(0.25f));
}

TEST(SectionFilter, RefusesWhatItCannotDesignAndChangesNothing)
{
    CSectionFilter f;
    ASSERT_EQ(0, f.Initialize(800.0f, 0.0f, 48000.0f, CTimeFilter::Butterworth, CTimeFilter::HighPass, 5));
    const std::vector<float> in = RandomFloats(400, 2u);
    for (size_t k = 0; k < 200; ++k)
        f.Apply(in[k]);
    CSectionFilter untouched(f);
    const auto B = CTimeFilter::Butterworth, C = CTimeFilter::Chebyshev;
    const auto LP = CTimeFilter::LowPass, BS = CTimeFilter::BandStop;
    EXPECT_EQ(-1, f.Initialize(800.0f, 0.0f, 48000.0f, B, LP, 0));
    EXPECT_EQ(-1, f.Initialize(800.0f, 0.0f, 48000.0f, B, LP, 11));
    EXPECT_EQ(-1, f.Initialize(800.0f, 0.0f, 48000.0f, static_cast<CTimeFilter::Type>(3), LP, 2));
    EXPECT_EQ(-1, f.Initialize(800.0f, 0.0f, 48000.0f, B, static_cast<CTimeFilter::Shape>(4), 2));
    EXPECT_EQ(-2, f.Initialize(800.0f, 0.0f, 0.0f, B, LP, 2));
    EXPECT_EQ(-2, f.Initialize(800.0f, 0.0f, NAN, B, LP, 2));
    EXPECT_EQ(-2, f.Initialize(24000.0f, 0.0f, 48000.0f, B, LP, 2));
    EXPECT_EQ(-2, f.Initialize(0.0f, 900.0f, 48000.0f, B, BS, 2));
    EXPECT_EQ(-2, f.Initialize(900.0f, 900.0f, 48000.0f, B, BS, 2));
    EXPECT_EQ(-2, f.Initialize(1e-30f, 900.0f, 48000.0f, B, BS, 2));  // its zeros round onto z = 1
    EXPECT_EQ(-3, f.Initialize(800.0f, 0.0f, 48000.0f, C, LP, 2, 0.0f));
    EXPECT_EQ(-4, f.Initialize(800.0f, 0.0f, 48000.0f, C, LP, 2, -4000.0f));
    for (size_t k = 200; k < 400; ++k)
        ASSERT_TRUE(SameBits(untouched.Apply(in[k]), f.Apply(in[k])));
    EXPECT_EQ(untouched.MaxAmp(), f.MaxAmp());
}
