#include "recording/frf.h"

#include <cmath>
#include <complex>
#include <vector>

#include "recording/error.h"
#include "tests/support/support.h"

namespace {

using namespace numora::rec;

// Reference white noise in channel 0, and in channel 1 the response of the
// system y[n] = 0.5 x[n] + 0.25 x[n-1], whose response is 0.5 + 0.25 e^-jw.
std::vector<float> SystemRecord(int frames)
{
    const std::vector<float> x = numora_test::RandomFloats(frames, 5);
    std::vector<float> rec(static_cast<size_t>(2 * frames));
    for (int n = 0; n < frames; ++n) {
        const double previous = n > 0 ? static_cast<double>(x[static_cast<size_t>(n - 1)]) : 0.0;
        rec[static_cast<size_t>(2 * n)] = x[static_cast<size_t>(n)];
        rec[static_cast<size_t>(2 * n + 1)] =
            static_cast<float>(0.5 * static_cast<double>(x[static_cast<size_t>(n)]) + 0.25 * previous);
    }
    return rec;
}

TEST(Frf, H1OfAKnownSystemIsItsResponseWithFullCoherence)
{
    const int frames = 1 << 16;
    const double rate = 1000.0;
    const std::vector<float> rec = SystemRecord(frames);
    ArraySource source(rec.data(), frames, 2, rate);
    SpectrumOptions options;
    options.frameSize = 1024;
    const FrfResult r = MeasureFrf(source, 0, source, 1, options);
    EXPECT_EQ(r.averages, (frames - 1024) / 512 + 1);
    EXPECT_EQ(r.referenceName, "ch1");
    EXPECT_EQ(r.responseName, "ch2");
    for (int k = 1; k <= r.axis.lastLine; ++k) {
        const double w = 6.283185307179586 * r.axis.Frequency(k) / rate;
        const std::complex<double> h = 0.5 + 0.25 * std::exp(std::complex<double>(0.0, -w));
        const size_t i = static_cast<size_t>(k);
        ASSERT_NEAR(r.gain[i], std::abs(h), 2e-3) << "line " << k;
        ASSERT_NEAR(r.phaseDeg[i], std::arg(h) * 57.29577951308232, 0.2) << "line " << k;
        ASSERT_NEAR(r.re[i], h.real(), 2e-3);
        ASSERT_NEAR(r.im[i], h.imag(), 2e-3);
        ASSERT_GT(r.coherence[i], 0.999f) << "line " << k;
        // The cross spectrum is H times the reference's power, per line and per hertz.
        const std::complex<double> cps(static_cast<double>(r.cps[i].re), static_cast<double>(r.cps[i].im));
        const std::complex<double> cpsd(static_cast<double>(r.cpsd[i].re), static_cast<double>(r.cpsd[i].im));
        const double power = static_cast<double>(r.apsReference[i]);
        ASSERT_NEAR(std::abs(cps - h * power), 0.0, 2e-3 * power) << "line " << k;
        ASSERT_NEAR(std::abs(cpsd * static_cast<double>(r.axis.deltaF) - cps), 0.0, 1e-6 * std::abs(cps));
    }
}

TEST(Frf, TwoRecordsOrTwoArraysGiveWhatOneRecordWithBothChannelsGives)
{
    const int frames = 20000;
    const std::vector<float> rec = SystemRecord(frames);
    std::vector<float> x, y;
    for (int n = 0; n < frames; ++n) {
        x.push_back(rec[static_cast<size_t>(2 * n)]);
        y.push_back(rec[static_cast<size_t>(2 * n + 1)]);
    }
    SpectrumOptions options;
    options.frameSize = 512;
    options.averaging = Averaging::Exponential;
    // Two records are read side by side up to the end of the shorter one.
    ArraySource both(rec.data(), frames - 300, 2, 1000.0);
    ArraySource ref(x.data(), frames, 1, 1000.0), resp(y.data(), frames - 300, 1, 1000.0);
    const FrfResult a = MeasureFrf(both, 0, both, 1, options);
    const FrfResult b = MeasureFrf(ref, 0, resp, 0, options, {}, 777);
    const FrfResult c = MeasureFrf(x.data(), y.data(), frames - 300, 1000.0, options);
    for (const FrfResult* r : {&b, &c}) {
        ASSERT_EQ(a.averages, r->averages);
        const int n = a.axis.Lines();
        EXPECT_TRUE(numora_test::BitEqual(a.re.data(), r->re.data(), n));
        EXPECT_TRUE(numora_test::BitEqual(a.im.data(), r->im.data(), n));
        EXPECT_TRUE(numora_test::BitEqual(a.coherence.data(), r->coherence.data(), n));
        EXPECT_TRUE(numora_test::BitEqual(&a.cps[0].re, &r->cps[0].re, 2 * n));
    }
    EXPECT_THROW(MeasureFrf(x.data(), y.data(), 511, 1000.0, options), Error);
}

TEST(Frf, RefusesHoldAveragesAndRecordsOfDifferentRates)
{
    const std::vector<float> x(4096, 1.0f);
    SpectrumOptions options;
    options.averaging = Averaging::PeakHold;
    EXPECT_THROW(FrfAverager(1000.0, options), Error);
    ArraySource a(x.data(), 4096, 1, 1000.0), b(x.data(), 4096, 1, 2000.0, "b.wav");
    EXPECT_THROW(MeasureFrf(a, 0, b, 0, SpectrumOptions{}), Error);
    EXPECT_THROW(MeasureFrf(a, 0, a, 1, SpectrumOptions{}), Error);
}

}  // namespace
