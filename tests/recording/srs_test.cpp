#include "recording/srs.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "numora/analysis/srs.h"
#include "recording/error.h"
#include "tests/support/support.h"

namespace {

using namespace numora::rec;

// A half-sine of `amplitude` over `pulse` samples, then zeros.
std::vector<float> HalfSine(double amplitude, int pulse, int frames)
{
    std::vector<float> x(static_cast<size_t>(frames), 0.0f);
    for (int k = 0; k <= pulse; ++k)
        x[static_cast<size_t>(k)] = static_cast<float>(amplitude * std::sin(3.141592653589793 * k / pulse));
    return x;
}

// The ramp-invariant filter, the default, is pinned by the half-sine below.
TEST(Srs, BandByBandEqualsOneCallOverAllBands)
{
    const std::vector<float> x = numora_test::RandomFloats(3000, 6);
    for (SrsSeries series : {SrsSeries::Ansi, SrsSeries::Acoustic}) {
        // From 0.5 Hz: bands below band 1 too.
        const SrsOptions o{
            25.0, 6, 0.5, 5000.0, SrsFilter::ImpulseInvariant, series, SrsResponse::RelativeDisplacement, 10.0, 200.0};
        int calls = 0;
        const SrsResult r = ComputeSrs(x.data(), 3000, 10000.0, o, [&](double) { ++calls; });
        const int n = static_cast<int>(r.frequency.size());
        ASSERT_EQ(calls, n);
        std::vector<float> all(8 * 1000);
        float* a = all.data();
        ASSERT_EQ(qv::math::TIMtoSRS(x.data(), 3000, 10000.0f, 0.02f, QV_SRS_RELATIVE_DISP,
                                     series == SrsSeries::Ansi ? 6 : -6, 0.0f, a, a + 1000, a + 2000, a + 3000,
                                     a + 4000, a + 5000, a + 6000, a + 7000, 0.5f, 5000.0f, 10.0f, 200.0f),
                  n);
        const std::vector<float>* mine[] = {&r.primaryPos, &r.primaryNeg, &r.residualPos, &r.residualNeg,
                                            &r.maximax,    &r.maxPos,     &r.maxNeg,      &r.frequency};
        for (int s = 0; s < 8; ++s)
            EXPECT_TRUE(numora_test::BitEqual(a + 1000 * s, mine[s]->data(), n)) << s;
    }
}

// Largest |absolute acceleration| of a damped oscillator (natural frequency
// f, damping z) on a base that moves with a half-sine of amplitude a and
// duration d and then rests, over `span` seconds: its equation of motion
// integrated by fourth-order Runge-Kutta in steps far finer than the pulse
// and the oscillator's period, the pulse's end falling on a step.
double ReferenceMaximax(double a, double d, double f, double z, double span)
{
    const double w = 2 * 3.141592653589793 * f, h = d / 40000;
    // Relative displacement u and velocity v: u'' = -2 z w u' - w^2 u - base(t).
    const auto accel = [&](double t, double u, double v) {
        return -2 * z * w * v - w * w * u - (t < d ? a * std::sin(3.141592653589793 * t / d) : 0.0);
    };
    double u = 0.0, v = 0.0, peak = 0.0;
    for (long i = 0; static_cast<double>(i) * h < span; ++i) {
        const double t = static_cast<double>(i) * h;
        const double k1u = v, k1v = accel(t, u, v);
        const double k2u = v + h / 2 * k1v, k2v = accel(t + h / 2, u + h / 2 * k1u, v + h / 2 * k1v);
        const double k3u = v + h / 2 * k2v, k3v = accel(t + h / 2, u + h / 2 * k2u, v + h / 2 * k2v);
        const double k4u = v + h * k3v, k4v = accel(t + h, u + h * k3u, v + h * k3v);
        u += h / 6 * (k1u + 2 * k2u + 2 * k3u + k4u);
        v += h / 6 * (k1v + 2 * k2v + 2 * k3v + k4v);
        peak = std::max(peak, std::fabs(2 * z * w * v + w * w * u));
    }
    return peak;
}

TEST(Srs, AHalfSineReadsTheShockResponseOfItsEquationOfMotion)
{
    const double rate = 51200.0;
    const std::vector<float> x = HalfSine(50.0, 512, 2048);  // 50 g, 10 ms, in 40 ms
    ArraySource source(x.data(), 2048, 1, rate);
    const SrsResult r = MeasureSrs(source, 0, SrsOptions{10.0, 3, 10.0, 5000.0});
    ASSERT_EQ(r.frequency.size(), 28u);
    for (size_t b = 0; b < r.frequency.size(); ++b) {
        const double f = static_cast<double>(r.frequency[b]);
        const double reference = ReferenceMaximax(50.0, 0.01, f, 0.05, 2047 / rate + 1.1 / f);
        EXPECT_NEAR(r.maximax[b], reference, 1e-4 * reference) << f << " Hz";
    }
    // Far above the pulse's frequencies the mass follows the base.
    EXPECT_NEAR(r.maximax.back(), 50.0, 1.5);
}

TEST(Srs, AStretchReadsTheRecordOnlyToItsEnd)
{
    const std::vector<float> x = numora_test::RandomFloats(100000, 8);
    SrsOptions o{10.0, 1,   100.0, 1000.0, SrsFilter::RampInvariant, SrsSeries::Ansi, SrsResponse::AbsoluteAcceleration,
                 5.0,  50.0};
    ArraySource source(x.data(), 100000, 1, 10000.0);
    const SrsResult r = MeasureSrs(source, 0, o, {}, 64);
    EXPECT_LT(r.samples, 600);
    const SrsResult whole = ComputeSrs(x.data(), 100000, 10000.0, o);
    EXPECT_TRUE(numora_test::BitEqual(whole.maximax.data(), r.maximax.data(), static_cast<int>(r.maximax.size())));

    o.q = 0.5;
    EXPECT_THROW(ComputeSrs(x.data(), 1000, 10000.0, o), Error);
    const SrsOptions tooMany{10.0, 48, 1e-4, 1e5};  // far more than 1000 bands
    EXPECT_THROW(ComputeSrs(x.data(), 1000, 10000.0, tooMany), Error);
}

}  // namespace
