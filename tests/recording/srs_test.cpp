#include "recording/srs.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <string>
#include <vector>

#include "numora/analysis/srs.h"
#include "recording/error.h"
#include "tests/support/support.h"

namespace {

using namespace numora::rec;

// A half-sine of `amplitude` over `pulse` samples, then zeros.
std::vector<float> HalfSine(double amplitude, int pulse, int frames) {
    std::vector<float> x(static_cast<size_t>(frames), 0.0f);
    for (int k = 0; k <= pulse; ++k) x[static_cast<size_t>(k)] = static_cast<float>(amplitude * std::sin(3.141592653589793 * k / pulse));
    return x;
}

TEST(Srs, BandByBandEqualsOneCallOverAllBands)
{
    const std::vector<float> x = numora_test::RandomFloats(3000, 6);
    for (SrsFilter filter : {SrsFilter::RampInvariant, SrsFilter::ImpulseInvariant}) {
        for (SrsSeries series : {SrsSeries::Ansi, SrsSeries::Acoustic}) {
            // From 0.5 Hz: bands below band 1 too.
            const SrsOptions o{25.0, 6, 0.5, 5000.0, filter, series, SrsResponse::RelativeDisplacement, 10.0, 200.0};
            int calls = 0;
            const SrsResult r = ComputeSrs(x.data(), 3000, 10000.0, o, [&](double) { ++calls; });
            const int n = static_cast<int>(r.frequency.size());
            ASSERT_EQ(calls, n);
            std::vector<float> all(8 * 1000);
            float* a = all.data();
            const auto run = filter == SrsFilter::RampInvariant ? qv::math::TIMtoSRS_RampInvariant : qv::math::TIMtoSRS;
            ASSERT_EQ(run(x.data(), 3000, 10000.0f, 0.02f, QV_SRS_RELATIVE_DISP, series == SrsSeries::Ansi ? 6 : -6,
                          0.0f, a, a + 1000, a + 2000, a + 3000, a + 4000, a + 5000, a + 6000, a + 7000, 0.5f, 5000.0f,
                          10.0f, 200.0f),
                      n);
            const std::vector<float>* mine[] = {&r.primaryPos, &r.primaryNeg, &r.residualPos, &r.residualNeg,
                                                &r.maximax,    &r.maxPos,     &r.maxNeg,      &r.frequency};
            for (int s = 0; s < 8; ++s) EXPECT_TRUE(numora_test::BitEqual(a + 1000 * s, mine[s]->data(), n)) << s;
        }
    }
}

// Largest |absolute acceleration| of a damped oscillator (natural frequency
// f, damping z) on a base that moves with a half-sine of amplitude a and
// duration d and then rests, from the exact solution, over `span` seconds.
double ExactMaximax(double a, double d, double f, double z, double span) {
    using C = std::complex<double>;
    const double w = 2 * 3.141592653589793 * f, wd = w * std::sqrt(1 - z * z), W = 3.141592653589793 / d;
    const C Z = -a / C(w * w - W * W, 2 * z * w * W);  // relative displacement Im(Z e^jWt) in the pulse
    const double c1 = -Z.imag(), c2 = (z * w * c1 - (C(0, W) * Z).imag()) / wd;
    const auto inPulse = [&](double t, double& u, double& v) {
        const double e = std::exp(-z * w * t);
        const C p = Z * std::exp(C(0, W * t));
        u = p.imag() + e * (c1 * std::cos(wd * t) + c2 * std::sin(wd * t));
        v = (C(0, W) * p).imag() + e * (-z * w * (c1 * std::cos(wd * t) + c2 * std::sin(wd * t)) +
                                        wd * (-c1 * std::sin(wd * t) + c2 * std::cos(wd * t)));
    };
    double u0, v0;
    inPulse(d, u0, v0);
    const double e1 = u0, e2 = (v0 + z * w * e1) / wd;
    double peak = 0.0;
    const int steps = 200000;
    for (int i = 0; i <= steps; ++i) {
        const double t = span * i / steps;
        double u, v;
        if (t <= d) {
            inPulse(t, u, v);
        } else {
            const double s = t - d, e = std::exp(-z * w * s);
            u = e * (e1 * std::cos(wd * s) + e2 * std::sin(wd * s));
            v = e * (-z * w * (e1 * std::cos(wd * s) + e2 * std::sin(wd * s)) + wd * (-e1 * std::sin(wd * s) + e2 * std::cos(wd * s)));
        }
        peak = std::max(peak, std::fabs(2 * z * w * v + w * w * u));
    }
    return peak;
}

TEST(Srs, AHalfSineReadsItsExactShockResponse)
{
    const double rate = 51200.0;
    const std::vector<float> x = HalfSine(50.0, 512, 2048);  // 50 g, 10 ms, in 40 ms
    SrsOptions o;
    o.bandsPerOctave = 3;
    o.fLow = 10.0;
    o.fHigh = 5000.0;
    ArraySource source(x.data(), 2048, 1, rate);
    const SrsResult r = MeasureSrs(source, 0, o);
    ASSERT_EQ(r.frequency.size(), 28u);
    for (size_t b = 0; b < r.frequency.size(); ++b) {
        const double f = static_cast<double>(r.frequency[b]);
        const double exact = ExactMaximax(50.0, 0.01, f, 0.05, 2047 / rate + 1.1 / f);
        EXPECT_NEAR(r.maximax[b], exact, 1e-4 * exact) << f << " Hz";
    }
    // Far above the pulse's frequencies the mass follows the base.
    EXPECT_NEAR(r.maximax.back(), 50.0, 1.5);
}

TEST(Srs, AStretchReadsTheRecordOnlyToItsEnd)
{
    const std::vector<float> x = numora_test::RandomFloats(100000, 8);
    SrsOptions o;
    o.bandsPerOctave = 1;
    o.fLow = 100.0;
    o.fHigh = 1000.0;
    o.startMs = 5.0;
    o.endMs = 50.0;
    ArraySource source(x.data(), 100000, 1, 10000.0);
    const SrsResult r = MeasureSrs(source, 0, o, {}, 64);
    EXPECT_LT(r.samples, 600);
    const SrsResult whole = ComputeSrs(x.data(), 100000, 10000.0, o);
    EXPECT_TRUE(numora_test::BitEqual(whole.maximax.data(), r.maximax.data(), static_cast<int>(r.maximax.size())));

    o.q = 0.5;
    EXPECT_THROW(ComputeSrs(x.data(), 1000, 10000.0, o), Error);
    o.q = 10.0;
    o.fLow = 1e-4;
    o.fHigh = 1e5;
    o.bandsPerOctave = 48;  // far more than 1000 bands
    EXPECT_THROW(ComputeSrs(x.data(), 1000, 10000.0, o), Error);
}

}  // namespace
