#include "recording/integrate.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "numora/analysis/integration.h"
#include "recording/error.h"
#include "tests/support/support.h"

namespace {

using namespace numora::rec;

TEST(Integrate, ARecordIsTheLibrarysRunBlockByBlockWithAShortLastBlockJoined)
{
    const int frames = 10000 + 30;  // blocks of 1000, then 30: less than the drift window of 99
    const double rate = 1000.0;
    const std::vector<float> rec = numora_test::RandomFloats(2 * frames, 12);
    ArraySource source(rec.data(), frames, 2, rate);
    ArraySink sink(4);
    IntegrationOptions options;  // input in g
    const IntegrationReport report = IntegrateRecord(source, {1, 0}, options, sink);
    ASSERT_TRUE(sink.Finished());
    EXPECT_EQ(report.frames, frames);
    EXPECT_EQ(report.velocityUnit, "m/s");

    for (int c = 0; c < 2; ++c) {
        qv::math::SCAN_UNIT_LIMITS run{};
        run.unitSys = qv::UnitSysMetric;
        run.sampleRate = rate;
        run.scale = 1.0;
        run.computeRms = true;
        std::vector<float> accel(1030), vel(1030), disp(1030), scratch(1030);
        for (int start = 0; start < frames;) {
            const int n = start == 9000 ? 1030 : 1000;
            for (int i = 0; i < n; ++i)
                accel[static_cast<size_t>(i)] = rec[static_cast<size_t>(2 * (start + i) + 1 - c)];
            run.accel = accel.data();
            run.vel = vel.data();
            run.disp = disp.data();
            run.scratch = scratch.data();
            run.count = n;
            qv::math::ScanUnitLimits(run);
            for (int i = 0; i < n; ++i) {
                ASSERT_EQ(vel[static_cast<size_t>(i)], sink.Samples()[static_cast<size_t>(4 * (start + i) + 2 * c)])
                    << start + i;
                ASSERT_EQ(disp[static_cast<size_t>(i)],
                          sink.Samples()[static_cast<size_t>(4 * (start + i) + 2 * c + 1)]);
            }
            start += n;
        }
        EXPECT_EQ(report.channels[static_cast<size_t>(c)].velPeak, run.velPeak);
        EXPECT_EQ(report.channels[static_cast<size_t>(c)].accelRms, run.accelRms);
        EXPECT_EQ(report.channels[static_cast<size_t>(c)].name, c == 0 ? "ch2" : "ch1");
    }
}

TEST(Integrate, ASineIntegratesToItsVelocityAndDisplacementInEachUnitSet)
{
    const double rate = 10240.0, f = 40.0, a = 2.0;  // 2 (unit) at 40 Hz
    const int frames = 10240 * 4;
    std::vector<float> x(static_cast<size_t>(frames));
    for (int i = 0; i < frames; ++i)
        x[static_cast<size_t>(i)] = static_cast<float>(a * std::sin(6.283185307179586 * f * i / rate));
    const double w = 6.283185307179586 * f;
    struct Case {
        double toSi;
        bool english;
        double velocity, displacement;                                                        // expected peaks
    } cases[] = {{9.80665, false, a * 9.80665 / w, a * 9.80665 / (w * w) * 1000.0},           // g: m/s, mm
                 {1.0, false, a / w, a / (w * w) * 1000.0},                                   // m/s²
                 {9.80665, true, a * 386.088582283355 / w, a * 386.088582283355 / (w * w)}};  // g: in/s, in
    for (const Case& c : cases) {
        ArraySource source(x.data(), frames, 1, rate);
        ArraySink sink(2);
        IntegrationOptions options;
        options.accelerationToSi = c.toSi;
        options.english = c.english;
        const IntegrationReport r = IntegrateRecord(source, {0}, options, sink);
        EXPECT_NEAR(r.channels[0].velPeak, c.velocity, 0.01 * c.velocity) << c.toSi;
        EXPECT_NEAR(r.channels[0].dispPeak, c.displacement, 0.02 * c.displacement) << c.toSi;
        EXPECT_EQ(r.displacementUnit, c.english ? "in" : "mm");
    }
    ArraySource source(x.data(), frames, 1, rate);
    ArraySink sink(2);
    IntegrationOptions bad;
    bad.accelerationToSi = 0.0;
    EXPECT_THROW(IntegrateRecord(source, {0}, bad, sink), Error);
}

TEST(Integrate, OptionsFromAUnitTakeItsFactorAndRoundTheBlockToSamples)
{
    const IntegrationOptions g = AccelerationOptions("g", false, 0.5, 1001.0);
    EXPECT_EQ(g.accelerationToSi, 9.80665);
    EXPECT_EQ(g.blockFrames, 501);  // 500.5 rounds up
    EXPECT_FALSE(g.english);
    const IntegrationOptions si = AccelerationOptions("m/s\xC2\xB2", true, 1e-9, 1000.0);
    EXPECT_EQ(si.accelerationToSi, 1.0);
    EXPECT_EQ(si.blockFrames, 1);
    EXPECT_TRUE(si.english);
    EXPECT_THROW(AccelerationOptions("m/s", false, 1.0, 1000.0), Error);  // a velocity
    EXPECT_THROW(AccelerationOptions("furlongs", false, 1.0, 1000.0), Error);
    EXPECT_THROW(AccelerationOptions("g", false, 0.0, 1000.0), Error);
    EXPECT_THROW(AccelerationOptions("g", false, std::nan(""), 1000.0), Error);
}

}  // namespace
