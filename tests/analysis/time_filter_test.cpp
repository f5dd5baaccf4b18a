#include "numora/analysis/time_filter.h"

#include <cmath>
#include <complex>
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

const double kPi = 3.14159265358979323846;
const CTimeFilter::Type kTypes[] = {CTimeFilter::Butterworth, CTimeFilter::Bessel, CTimeFilter::Chebyshev};
const CTimeFilter::Shape kShapes[] = {CTimeFilter::LowPass, CTimeFilter::HighPass, CTimeFilter::BandPass,
                                      CTimeFilter::BandStop};

bool IsBandShape(CTimeFilter::Shape shape)
{
    return shape == CTimeFilter::BandPass || shape == CTimeFilter::BandStop;
}

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

// Response of the cascade from its section coefficients.
Cx SectionResponse(const CSectionFilter& f, double hz)
{
    const Cx u = std::polar(1.0, -2.0 * kPi * hz / static_cast<double>(f.SampleRate()));
    Cx h = 1.0;
    for (int i = 0; i < f.SectionCount(); ++i) {
        const CSectionFilter::Section& s = f.GetSection(i);
        h *= (s.b0 + u * (s.b1 + u * s.b2)) / (1.0 + u * (s.a1 + u * s.a2));
    }
    return h;
}

// Test frequencies: a log grid over the whole band plus the band edges and centre.
std::vector<double> Grid(float f1, float f2, float fs)
{
    std::vector<double> g;
    const double rate = static_cast<double>(fs);
    for (double f = 0.0005 * rate; f < 0.49 * rate; f *= 1.3)
        g.push_back(f);
    g.push_back(static_cast<double>(f1));
    if (f2 > 0.0f) {
        g.push_back(static_cast<double>(f2));
        g.push_back(0.5 * (static_cast<double>(f1) + static_cast<double>(f2)));
    }
    return g;
}

// Largest relative error of a response against the analytic magnitude, over
// frequencies where that magnitude is at least `floor`.
template <typename Response>
double WorstError(CTimeFilter::Type type, CTimeFilter::Shape shape, int n, float f1, float f2, float fs,
                  Response response, double floor)
{
    double worst = 0.0;
    for (double hz : Grid(f1, f2, fs)) {
        const double a = Analytic(type, shape, n, f1, f2, fs, hz);
        if (a < floor)
            continue;
        worst = std::max(worst, std::fabs(std::abs(response(hz)) - a) / a);
    }
    return worst;
}

// The direct form as plainly written: shift both histories by one place,
// then the two sums in ascending index. Takes coefficients, gain and history
// from a filter.
struct ShiftingReference {
    explicit ShiftingReference(const CTimeFilter& f)
        : xc(f.xcoeffs, f.xcoeffs + 513), yc(f.ycoeffs, f.ycoeffs + 513), xv(f.xv, f.xv + 513),
          yv(f.yv, f.yv + 513), gain(f.gain), nz(f.numZeros), np(f.numPoles)
    {
    }
    float Step(float x)
    {
        for (int i = 0; i < nz; ++i)
            xv[i] = xv[i + 1];
        xv[nz] = static_cast<double>(gain * x);
        for (int i = 0; i < np; ++i)
            yv[i] = yv[i + 1];
        double sx = 0.0, sy = 0.0;
        for (int i = 0; i <= nz; ++i)
            sx += xc[i] * xv[i];
        for (int i = 0; i < np; ++i)
            sy += yc[i] * yv[i];
        yv[np] = sy + sx;
        return static_cast<float>(yv[np]);
    }
    std::vector<double> xc, yc, xv, yv;
    float gain;
    int nz, np;
};

// The cascade as plainly written: transposed direct form II per section.
struct CascadeReference {
    explicit CascadeReference(const CSectionFilter& f) : state(static_cast<size_t>(f.SectionCount()) * 2, 0.0)
    {
        for (int i = 0; i < f.SectionCount(); ++i)
            sections.push_back(f.GetSection(i));
    }
    double Step(double v)
    {
        for (size_t i = 0; i < sections.size(); ++i) {
            const CSectionFilter::Section& s = sections[i];
            const double y = s.b0 * v + state[2 * i];
            state[2 * i] = (s.b1 * v - s.a1 * y) + state[2 * i + 1];
            state[2 * i + 1] = s.b2 * v - s.a2 * y;
            v = y;
        }
        return v;
    }
    std::vector<CSectionFilter::Section> sections;
    std::vector<double> state;
};

// Radii of the two poles of 1 + a1 z^-1 + a2 z^-2.
void PoleRadii(const CSectionFilter::Section& s, double& r1, double& r2)
{
    const double disc = s.a1 * s.a1 - 4.0 * s.a2;
    if (disc < 0.0) {
        r1 = r2 = std::sqrt(s.a2);
    } else {
        r1 = std::fabs(0.5 * (-s.a1 + std::sqrt(disc)));
        r2 = std::fabs(0.5 * (-s.a1 - std::sqrt(disc)));
    }
}

// Exposes the protected design call.
struct OpenFilter : CTimeFilter {
    using CTimeFilter::GetFilterConstants;
};

}  // namespace

// ---- Responses ---------------------------------------------------------------

TEST(TimeFilterResponse, MatchesAnalyticMagnitudeForEveryCharacteristicAndShape)
{
    // Bands well above the fragile low-frequency corner; the float gain
    // limits the agreement to about 1e-7 relative.
    const float bands[][2] = {{2000.0f, 4000.0f}, {15000.0f, 19000.0f}};
    for (const auto& band : bands) {
        for (auto type : kTypes) {
            for (auto shape : kShapes) {
                for (int n = 1; n <= 4; ++n) {
                    CTimeFilter f;
                    f.Initialize(band[0], band[1], 51200.0f, type, shape, n);
                    ASSERT_EQ(0, f.unstable);
                    const double err = WorstError(type, shape, n, f.f1, f.f2, 51200.0f,
                                                  [&](double hz) { return DirectResponse(f, hz); }, 1e-3);
                    EXPECT_LT(err, 1e-6) << "type " << type << " shape " << shape << " order " << n;
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

TEST(SectionFilterResponse, MatchesAnalyticMagnitudeAtEveryOrderAndShapeAndIsStable)
{
    // Middle, low (where the direct form breaks down) and high corner frequencies.
    const float bands[][2] = {{2000.0f, 4000.0f}, {40.0f, 120.0f}, {15000.0f, 19000.0f}};
    for (const auto& band : bands) {
        for (auto type : kTypes) {
            for (auto shape : kShapes) {
                for (int n = 1; n <= 10; ++n) {
                    CSectionFilter f;
                    ASSERT_EQ(0, f.Initialize(band[0], band[1], 51200.0f, type, shape, n));
                    const int poles = IsBandShape(shape) ? 2 * n : n;
                    EXPECT_EQ((poles + 1) / 2, f.SectionCount());
                    const double err = WorstError(type, shape, n, f.F1(), f.F2(), 51200.0f,
                                                  [&](double hz) { return SectionResponse(f, hz); }, 0.0);
                    EXPECT_LT(err, 1e-9) << "band " << band[0] << " type " << type << " shape " << shape
                                         << " order " << n;
                    // Every pole inside the unit circle; the section holding the
                    // pole closest to the circle runs last.
                    double previous = 2.0;
                    for (int i = 0; i < f.SectionCount(); ++i) {
                        double r1, r2;
                        PoleRadii(f.GetSection(i), r1, r2);
                        EXPECT_LT(std::max(r1, r2), 1.0);
                        const double distance = std::min(std::fabs(1.0 - r1), std::fabs(1.0 - r2));
                        EXPECT_LE(distance, previous);
                        previous = distance;
                    }
                }
            }
        }
    }
}

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
        EXPECT_EQ(c.probe != 0, direct.maxAmp > 2.0f);

        // Direct form: the response is far from the design; sections: exact.
        const float f1 = direct.f1, f2 = direct.f2;
        EXPECT_GT(WorstError(c.type, c.shape, c.order, f1, f2, 51200.0f,
                             [&](double hz) { return DirectResponse(direct, hz); }, 1e-3),
                  0.1);
        EXPECT_LT(WorstError(c.type, c.shape, c.order, f1, f2, 51200.0f,
                             [&](double hz) { return SectionResponse(sections, hz); }, 0.0),
                  1e-9);

        // Impulse responses: the direct form grows past 1e6, the sections decay.
        int blowUp = -1;
        float tail = 0.0f, peak = 0.0f;
        for (int k = 0; k < 100000; ++k) {
            const float x = k == 0 ? 1.0f : 0.0f;
            const float y = direct.Apply(x);
            if (blowUp < 0 && !(std::fabs(y) < 1e6f))
                blowUp = k;
            tail = sections.Apply(x);
            peak = std::max(peak, std::fabs(tail));
        }
        EXPECT_GE(blowUp, 0);
        EXPECT_LT(std::fabs(tail), 1e-6f);
        EXPECT_LT(peak, 1.0f);
    }
}

TEST(SectionFilter, AgreesWithDirectFormWithinFloatRoundingOnWellConditionedDesigns)
{
    const std::vector<float> input = RandomFloats(3000, 7u);
    for (auto type : kTypes) {
        for (auto shape : kShapes) {
            for (int n = 1; n <= 4; ++n) {
                CTimeFilter direct;
                direct.Initialize(2000.0f, 4000.0f, 51200.0f, type, shape, n);
                CSectionFilter sections;
                ASSERT_EQ(0, sections.Initialize(2000.0f, 4000.0f, 51200.0f, type, shape, n));
                std::vector<float> a = input, b = input;
                direct.Apply(a.data(), 3000);
                sections.Apply(b.data(), 3000);
                float worst = 0.0f;
                for (int k = 0; k < 3000; ++k)
                    worst = std::max(worst, std::fabs(a[k] - b[k]));
                EXPECT_LT(worst, 2e-6f * direct.maxAmp) << "type " << type << " shape " << shape << " order " << n;
            }
        }
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
    ASSERT_EQ(2, lp.SectionCount());
    const CSectionFilter::Section& first = lp.GetSection(0);
    const CSectionFilter::Section& last = lp.GetSection(1);
    EXPECT_EQ(0.0, first.a2);  // real pole with the origin
    EXPECT_NEAR(2.0, first.b1 / first.b0, 1e-15);
    EXPECT_NEAR(1.0, first.b2 / first.b0, 1e-15);
    EXPECT_GT(last.a1 * last.a1, 0.0);
    EXPECT_LT(last.a1 * last.a1 - 4.0 * last.a2, 0.0);  // complex pair
    EXPECT_NEAR(1.0, last.b1 / last.b0, 1e-15);
    EXPECT_EQ(0.0, last.b2);

    // Band-pass in the lower half of the band: both pole pairs lie nearer z = 1
    // than z = -1; the one closest to the circle takes the zeros at 1, the
    // other those at -1.
    CSectionFilter bp;
    ASSERT_EQ(0, bp.Initialize(2000.0f, 4000.0f, 51200.0f, CTimeFilter::Butterworth, CTimeFilter::BandPass, 2));
    ASSERT_EQ(2, bp.SectionCount());
    EXPECT_NEAR(2.0, bp.GetSection(0).b1 / bp.GetSection(0).b0, 1e-15);
    EXPECT_NEAR(-2.0, bp.GetSection(1).b1 / bp.GetSection(1).b0, 1e-15);
}

// ---- Running the filters -------------------------------------------------------

TEST(TimeFilterApply, IsBitIdenticalToTheShiftingFormAcrossBlockBoundaries)
{
    struct Design {
        CTimeFilter::Type type;
        CTimeFilter::Shape shape;
        int order;
    };
    // 20 poles (the widest history of a design), 1 pole, and no poles at all.
    const Design designs[] = {{CTimeFilter::Chebyshev, CTimeFilter::BandPass, 10},
                              {CTimeFilter::Butterworth, CTimeFilter::LowPass, 1},
                              {static_cast<CTimeFilter::Type>(7), CTimeFilter::HighPass, 3}};
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
        ShiftingReference ref(f);
        std::vector<float> data = input;
        size_t at = 0;
        for (int n : blocks) {
            std::vector<float> expected(data.begin() + static_cast<long>(at), data.begin() + static_cast<long>(at) + n);
            float peak = 0.0f;
            for (int k = 0; k < n; ++k) {
                expected[static_cast<size_t>(k)] = ref.Step(expected[static_cast<size_t>(k)]);
                peak = k == 0 ? std::fabs(expected[0]) : std::max(peak, std::fabs(expected[static_cast<size_t>(k)]));
            }
            const size_t before = AllocationCount();
            f.Apply(data.data() + at, n);
            EXPECT_EQ(before, AllocationCount());
            ASSERT_TRUE(BitEqual(expected.data(), data.data() + at, n)) << "block of " << n;
            EXPECT_TRUE(SameBits(peak, f.maxAmp));
            at += static_cast<size_t>(n);
        }
        // The history is left as the shifting form leaves it, and the single
        // sample call carries on from it.
        EXPECT_TRUE(BitEqual(ref.xv.data(), f.xv, f.numZeros + 1));
        EXPECT_TRUE(BitEqual(ref.yv.data(), f.yv, f.numPoles + 1));
        for (int k = 0; k < 50; ++k)
            ASSERT_TRUE(SameBits(ref.Step(input[static_cast<size_t>(k)]), f.Apply(input[static_cast<size_t>(k)])));
    }
}

TEST(TimeFilterApply, PeakRestartsPerBlockAndRunsOnAcrossSingleSamples)
{
    CTimeFilter f;
    f.Initialize(1000.0f, 0.0f, 51200.0f, CTimeFilter::Butterworth, CTimeFilter::LowPass, 2);
    std::vector<float> loud(200, 1.0f), quiet(3, 0.0f);
    f.Apply(loud.data(), 200);
    const float loudPeak = f.maxAmp;
    EXPECT_NEAR(1.0f, loudPeak, 0.1f);
    f.Reset();
    f.Apply(quiet.data(), 3);  // a new block replaces the peak, even by 0
    EXPECT_EQ(0.0f, f.maxAmp);
    float* none = nullptr;
    f.maxAmp = 5.0f;
    f.Apply(none, 0);
    f.Apply(none, -1);
    EXPECT_EQ(5.0f, f.maxAmp);
    f.ResetMaxAmp();
    float expected = 0.0f;
    for (int k = 0; k < 300; ++k)  // a step, then silence: the peak stays
        expected = std::max(expected, std::fabs(f.Apply(k < 100 ? 1.0f : 0.0f)));
    EXPECT_GT(expected, 1.0f);  // the overshoot of the step
    EXPECT_EQ(expected, f.maxAmp);
}

TEST(SectionFilterApply, IsThePlainCascadeWithoutAllocation)
{
    CSectionFilter f;
    for (int order = 1; order <= 10; ++order) {  // 1 to 10 sections
        ASSERT_EQ(0, f.Initialize(300.0f, 900.0f, 51200.0f, CTimeFilter::Chebyshev, CTimeFilter::BandStop, order, -0.5f));
        CSectionFilter twin(f);
        CascadeReference ref(f);
        std::vector<float> data = RandomFloats(2000, 11u), expected = data;
        std::vector<double> wide(data.begin(), data.end()), wideExpected = wide;
        float peak = 0.0f, widePeak = 0.0f;  // over all samples; over the second double block
        for (size_t k = 0; k < expected.size(); ++k) {
            wideExpected[k] = ref.Step(wideExpected[k]);
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
    // A block restarts the peak, an empty one leaves it.
    std::vector<float> quiet(4, 0.0f);
    f.Reset();
    f.Apply(quiet.data(), 4);
    EXPECT_EQ(0.0f, f.MaxAmp());
    f.Apply(1.0f);
    const float single = f.MaxAmp();
    EXPECT_GT(single, 0.0f);
    f.Apply(quiet.data(), 0);
    EXPECT_EQ(single, f.MaxAmp());
    // A fresh filter passes samples unchanged.
    CSectionFilter plain;
    EXPECT_EQ(0.25f, plain.Apply(0.25f));
}

// ---- Design ----------------------------------------------------------------------

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
    EXPECT_EQ(1, f.numPoles);
    EXPECT_EQ(1, f.numZeros);
    EXPECT_EQ(0x24u, f.options);
    EXPECT_EQ(0x24, f.designOptions);
}

TEST(TimeFilterDesign, FailuresReportTheirCodeAndLeaveAFilterThatGivesZero)
{
    OpenFilter f;
    f.Initialize(1000.0f, 0.0f, 51200.0f, CTimeFilter::Chebyshev, CTimeFilter::LowPass, 4);
    const float gain = f.gain;
    ASSERT_EQ(0, f.unstable);
    f.rippleDb = 0.0f;
    EXPECT_EQ(-3, f.GetFilterConstants(&f));
    f.rippleDb = -4000.0f;  // 10^400 overflows, e is infinite and y is 0
    EXPECT_EQ(-4, f.GetFilterConstants(&f));
    f.order = -2;  // a negative order makes y negative
    f.rippleDb = -1.0f;
    EXPECT_EQ(-4, f.GetFilterConstants(&f));

    // A failed design through Initialize: marked, zero coefficients, gain back
    // to 1 because f1 changed, the working gain and term counts as they were.
    f.rippleDb = 0.5f;
    f.Initialize(1500.0f, 0.0f, 51200.0f, CTimeFilter::Chebyshev, CTimeFilter::LowPass, 4);
    EXPECT_EQ(1, f.unstable);
    EXPECT_EQ(1, f.modified);
    EXPECT_EQ(1.0f, f.designGain);
    EXPECT_EQ(gain, f.gain);
    EXPECT_EQ(4, f.numPoles);
    EXPECT_EQ(4, f.numZeros);
    const double zeros[513] = {};
    EXPECT_TRUE(BitEqual(zeros, f.xcoeffs, 513));
    EXPECT_TRUE(BitEqual(zeros, f.ycoeffs, 513));
    EXPECT_EQ(0.0f, f.Apply(1.0f));

    // Order 12 (past the Bessel table, unchecked) gives a band-pass polynomial
    // whose coefficients are no longer real within 1e-10.
    f.rippleDb = -1.0f;
    f.Initialize(1000.0f, 3000.0f, 51200.0f, CTimeFilter::Butterworth, CTimeFilter::BandPass, 12);
    EXPECT_EQ(1, f.unstable);
    EXPECT_TRUE(BitEqual(zeros, f.xcoeffs, 513));
    EXPECT_EQ(-10, f.GetFilterConstants(&f));
    EXPECT_EQ(-10, f.Expandpoly());  // the scratch still holds those roots; nothing is stored
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

TEST(TimeFilterInitialize, AppliesTheFrequencyLimits)
{
    // At 51200 samples per second the analysis bandwidth is 20000 Hz.
    CTimeFilter f;
    auto edges = [&f](CTimeFilter::Shape shape, float f1, float f2) {
        f.Initialize(f1, f2, 51200.0f, CTimeFilter::Butterworth, shape, 2);
        return std::make_pair(f.f1, f.f2);
    };
    using P = std::pair<float, float>;
    EXPECT_EQ(P(500.0f, 600.0f), edges(CTimeFilter::BandPass, 600.0f, 500.0f));       // swapped
    EXPECT_EQ(P(1000.0f, 1080.0f), edges(CTimeFilter::BandPass, 1000.0f, 1010.0f));   // widened upward
    EXPECT_EQ(P(40.0f, 120.0f), edges(CTimeFilter::BandPass, 10.0f, 30.0f));          // raised, widened
    EXPECT_EQ(P(19880.0f, 19960.0f), edges(CTimeFilter::BandPass, 19990.0f, 19999.0f));  // moved down
    EXPECT_EQ(P(100.0f, 0.0f), edges(CTimeFilter::LowPass, 50.0f, 600.0f));
    EXPECT_EQ(P(40.0f, 0.0f), edges(CTimeFilter::HighPass, 10.0f, 600.0f));
    EXPECT_EQ(P(30000.0f, 0.0f), edges(CTimeFilter::LowPass, 30000.0f, 600.0f));       // no upper limit
    EXPECT_EQ(P(5.0f, 30000.0f), edges(CTimeFilter::BandStop, 30000.0f, 5.0f));       // swapped only
    EXPECT_EQ(P(900.0f, 0.0f), edges(static_cast<CTimeFilter::Shape>(9), 900.0f, 2000.0f));

    // The sections apply the same limits.
    CSectionFilter s;
    ASSERT_EQ(0, s.Initialize(19990.0f, 19999.0f, 51200.0f, CTimeFilter::Bessel, CTimeFilter::BandPass, 2));
    EXPECT_EQ(P(19880.0f, 19960.0f), P(s.F1(), s.F2()));
}

TEST(TimeFilterInitialize, ReportsChangesAndInstabilityAndAlwaysClearsTheHistory)
{
    CTimeFilter f;
    EXPECT_EQ(1, f.modified);
    EXPECT_EQ(0.0f, f.Apply(0.7f));  // no design yet
    f.Initialize(1000.0f, 0.0f, 51200.0f, CTimeFilter::Butterworth, CTimeFilter::LowPass, 4);
    EXPECT_EQ(0, f.unstable);
    EXPECT_EQ(0, f.modified);
    EXPECT_EQ(0x22u, f.options);
    EXPECT_EQ(4, f.requestedOrder);
    EXPECT_EQ(4, f.filterOrder);
    EXPECT_NE(1.0f, f.gain);
    EXPECT_EQ(f.gain, f.designGain);

    // Every call redesigns and clears the history, even without a change.
    const double zeros[513] = {};
    for (int k = 0; k < 10; ++k)
        f.Apply(1.0f);
    f.Update(51200.0f);
    EXPECT_TRUE(BitEqual(zeros, f.yv, 513));
    EXPECT_EQ(0, f.modified);
    f.Apply(1.0f);
    f.Initialize(1000.0f, 0.0f, 51200.0f, CTimeFilter::Butterworth, CTimeFilter::LowPass, 4);
    EXPECT_TRUE(BitEqual(zeros, f.xv, 513));

    // A low-pass corner above half the sample rate (it has no upper limit)
    // puts the poles outside the unit circle: the probe flags it.
    f.Initialize(30000.0f, 0.0f, 51200.0f, CTimeFilter::Butterworth, CTimeFilter::LowPass, 4);
    EXPECT_EQ(1, f.unstable);
    EXPECT_EQ(1, f.modified);
    EXPECT_GT(f.maxAmp, 2.0f);
    // Update has no probe: the mark stays until the next Initialize.
    f.Update(1000.0f, 0.0f, 51200.0f);
    EXPECT_EQ(1, f.unstable);
    EXPECT_EQ(1, f.modified);
    EXPECT_NE(0.0, f.xcoeffs[0]);
    f.Initialize(1000.0f, 0.0f, 51200.0f, CTimeFilter::Butterworth, CTimeFilter::LowPass, 4);
    EXPECT_EQ(0, f.unstable);
}

TEST(TimeFilterInitialize, ProbeDrivesAUnitSineFromTheBandCentreOrHalfTheBandwidth)
{
    // The probe as described, on a plain shifting filter with the design's
    // coefficients and a cleared history.
    auto probe = [](const CTimeFilter& f, float test) {
        ShiftingReference r(f);
        const float step = static_cast<float>(static_cast<double>(test) * 6.283185307179586 / 51200.0);
        float phase = 0.0f, peak = 0.0f;
        for (int k = 0; k < 10000; ++k) {
            phase += step;
            if (static_cast<double>(phase) > 6.283185307179586)
                phase += -6.2831855f;
            peak = std::max(peak, std::fabs(r.Step(static_cast<float>(std::sin(static_cast<double>(phase))))));
            if (k < 2 * r.np)
                peak = 0.0f;
        }
        return peak;
    };
    // A band-pass probed at its centre; a band-stop probed in its notch, where
    // only the onset passes, so the settling time decides the peak.
    CTimeFilter bp, bs;
    bp.Initialize(1500.0f, 2600.0f, 51200.0f, CTimeFilter::Chebyshev, CTimeFilter::BandPass, 3);
    bs.Initialize(9000.0f, 11000.0f, 51200.0f, CTimeFilter::Bessel, CTimeFilter::BandStop, 2);
    EXPECT_TRUE(SameBits(probe(bp, 2050.0f), bp.maxAmp));
    EXPECT_TRUE(SameBits(probe(bs, 10000.0f), bs.maxAmp));
}

TEST(TimeFilter, ParametersHeadTheObjectAndTheirDefaultsDesignAnOrderEightBandPass)
{
    CTimeFilter f;
    CTimeFilter::FilParams* head = &f;
    EXPECT_EQ(static_cast<void*>(&f), static_cast<void*>(head));
    EXPECT_GE(reinterpret_cast<const char*>(&f.unstable) - reinterpret_cast<const char*>(&f),
              static_cast<std::ptrdiff_t>(sizeof(CTimeFilter::FilParams)));
    // Update on a new object designs from the defaults: Butterworth band-pass
    // of order 8, 500 to 600 Hz.
    f.Update(51200.0f);
    EXPECT_EQ(0x82u, head->options);
    EXPECT_EQ(16, f.numPoles);
    EXPECT_EQ(8, f.filterOrder);
    EXPECT_EQ(500.0f, head->f1);
    EXPECT_EQ(600.0f, head->f2);
}

TEST(TimeFilter, CopiesGoOnFromTheSameStateWithoutTheResponses)
{
    CTimeFilter f;
    f.Initialize(500.0f, 700.0f, 51200.0f, CTimeFilter::Bessel, CTimeFilter::BandPass, 3);
    const std::vector<float> in = RandomFloats(100, 5u);
    for (int k = 0; k < 60; ++k)
        f.Apply(in[static_cast<size_t>(k)]);
    CTimeFilter assigned;
    assigned.Initialize(1000.0f, 0.0f, 51200.0f, CTimeFilter::Butterworth, CTimeFilter::LowPass, 2);
    const complexd own = assigned.fcGain;
    assigned = f;
    const CTimeFilter copy(f);
    CTimeFilter running(copy);
    for (int k = 60; k < 100; ++k) {
        const float x = in[static_cast<size_t>(k)];
        const float y = f.Apply(x);
        ASSERT_TRUE(SameBits(y, running.Apply(x)));
        ASSERT_TRUE(SameBits(y, assigned.Apply(x)));
    }
    EXPECT_EQ(f.maxAmp, assigned.maxAmp);
    EXPECT_NE(0.0, f.fcGain.re);
    EXPECT_TRUE(copy.fcGain == (complexd{0.0, 0.0}) && copy.hfGain == (complexd{0.0, 0.0}));
    EXPECT_TRUE(assigned.fcGain == own);
}

TEST(TimeFilter, UnknownTypeDesignsNoPolesAndPassesSamplesUnchanged)
{
    CTimeFilter f;
    f.Initialize(1000.0f, 2000.0f, 51200.0f, static_cast<CTimeFilter::Type>(5), CTimeFilter::BandStop, 4);
    EXPECT_EQ(0, f.numPoles);
    EXPECT_EQ(1.0f, f.gain);
    EXPECT_EQ(0x100u, f.options);
    const std::vector<float> in = RandomFloats(64, 9u);
    std::vector<float> out = in;
    f.Apply(out.data(), 64);
    EXPECT_TRUE(BitEqual(in.data(), out.data(), 64));
}

TEST(SectionFilter, RefusesWhatItCannotDesignAndChangesNothing)
{
    CSectionFilter f;
    ASSERT_EQ(0, f.Initialize(800.0f, 0.0f, 48000.0f, CTimeFilter::Butterworth, CTimeFilter::HighPass, 5));
    const std::vector<float> in = RandomFloats(400, 2u);
    for (int k = 0; k < 200; ++k)
        f.Apply(in[static_cast<size_t>(k)]);
    CSectionFilter untouched(f);
    const auto B = CTimeFilter::Butterworth;
    EXPECT_EQ(-1, f.Initialize(800.0f, 0.0f, 48000.0f, B, CTimeFilter::LowPass, 0));
    EXPECT_EQ(-1, f.Initialize(800.0f, 0.0f, 48000.0f, B, CTimeFilter::LowPass, 11));
    EXPECT_EQ(-1, f.Initialize(800.0f, 0.0f, 48000.0f, static_cast<CTimeFilter::Type>(3), CTimeFilter::LowPass, 2));
    EXPECT_EQ(-1, f.Initialize(800.0f, 0.0f, 48000.0f, B, static_cast<CTimeFilter::Shape>(4), 2));
    EXPECT_EQ(-2, f.Initialize(800.0f, 0.0f, 0.0f, B, CTimeFilter::LowPass, 2));
    EXPECT_EQ(-2, f.Initialize(800.0f, 0.0f, NAN, B, CTimeFilter::LowPass, 2));
    EXPECT_EQ(-2, f.Initialize(24000.0f, 0.0f, 48000.0f, B, CTimeFilter::LowPass, 2));
    EXPECT_EQ(-2, f.Initialize(0.0f, 900.0f, 48000.0f, B, CTimeFilter::BandStop, 2));
    EXPECT_EQ(-2, f.Initialize(900.0f, 900.0f, 48000.0f, B, CTimeFilter::BandStop, 2));
    EXPECT_EQ(-3, f.Initialize(800.0f, 0.0f, 48000.0f, CTimeFilter::Chebyshev, CTimeFilter::LowPass, 2, 0.0f));
    EXPECT_EQ(-4, f.Initialize(800.0f, 0.0f, 48000.0f, CTimeFilter::Chebyshev, CTimeFilter::LowPass, 2, -4000.0f));
    for (int k = 200; k < 400; ++k)
        ASSERT_TRUE(SameBits(untouched.Apply(in[static_cast<size_t>(k)]), f.Apply(in[static_cast<size_t>(k)])));
    EXPECT_EQ(untouched.MaxAmp(), f.MaxAmp());
}
