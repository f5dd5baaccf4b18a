#include "recording/filter.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "recording/error.h"
#include "tests/support/refusal.h"
#include "tests/support/support.h"

namespace {

using namespace numora::rec;
using qv::math::CSectionFilter;
using qv::math::CTimeFilter;

FilterDesign Design(CTimeFilter::Shape shape, int order, float f1, float f2, bool direct)
{
    FilterDesign d;
    d.shape = shape;
    d.order = order;
    d.f1 = f1;
    d.f2 = f2;
    d.directForm = direct;
    return d;
}

TEST(Filter, ARecordFilteredBlockByBlockEqualsTheWholeRecordAtOnce)
{
    const int frames = 10000;
    const double rate = 51200.0;
    const std::vector<float> rec = numora_test::RandomFloats(2 * frames, 3);
    for (bool direct : {false, true}) {
        const FilterDesign d = Design(CTimeFilter::BandPass, 3, 2000.0f, 5000.0f, direct);
        ArraySource source(rec.data(), frames, 2, rate);
        ArraySink sink(2);
        FilterRecord(source, {1, 0}, d, sink, {}, 97);
        ASSERT_TRUE(sink.Finished());
        for (int c = 0; c < 2; ++c) {
            std::vector<float> x, y;
            for (int n = 0; n < frames; ++n) {
                x.push_back(rec[static_cast<size_t>(2 * n + 1 - c)]);
                y.push_back(sink.Samples()[static_cast<size_t>(2 * n + c)]);
            }
            if (direct) {
                CTimeFilter f;
                f.Initialize(2000.0f, 5000.0f, 51200.0f, CTimeFilter::Butterworth, CTimeFilter::BandPass, 3);
                f.Apply(x.data(), frames);
            } else {
                CSectionFilter f;
                ASSERT_EQ(f.Initialize(2000.0f, 5000.0f, 51200.0f, CTimeFilter::Butterworth, CTimeFilter::BandPass, 3),
                          0);
                f.Apply(x.data(), frames);
            }
            ASSERT_TRUE(numora_test::BitEqual(x.data(), y.data(), frames)) << "direct " << direct << ", channel " << c;
        }
    }
}

TEST(Filter, ResponsesMeetTheButterworthCornerInEitherFormAndASineThroughTheFilter)
{
    const double rate = 51200.0;
    RecordFilter sections(Design(CTimeFilter::LowPass, 4, 1000.0f, 0.0f, false), rate, 1);
    const RecordFilter direct(Design(CTimeFilter::LowPass, 4, 1000.0f, 0.0f, true), rate, 1);
    EXPECT_NEAR(sections.Response(1000.0).gain, std::sqrt(0.5), 1e-3);  // -3 dB at the corner
    std::vector<float> x(51200);
    for (size_t i = 0; i < x.size(); ++i)
        x[i] = static_cast<float>(std::sin(6.283185307179586 * 1000.0 * static_cast<double>(i) / rate));
    float* data[1] = {x.data()};
    sections.Process(data, 51200);
    EXPECT_NEAR(*std::max_element(x.begin() + 25600, x.end()), sections.Response(1000.0).gain, 2e-3);
    for (double f : {300.0, 1000.0, 3000.0}) {
        const ResponsePoint r = sections.Response(f);
        EXPECT_NEAR(direct.Response(f).gain, r.gain, 1e-6 * r.gain) << f;
        EXPECT_NEAR(std::remainder(direct.Response(f).phaseDeg - r.phaseDeg, 360.0), 0.0, 1e-4) << f;
    }
    const std::vector<ResponsePoint> curve = sections.ResponseCurve(50);
    ASSERT_EQ(curve.size(), 50u);
    EXPECT_DOUBLE_EQ(curve.front().frequency, 5.12);
    EXPECT_LT(curve.back().frequency, 25600.0);
}

TEST(Filter, RefusesDesignsItCannotRun)
{
    const double rate = 51200.0;
    const auto refusal = [&](const FilterDesign& d) {
        return numora_test::Refusal([&] { RecordFilter f(d, rate, 1); });
    };
    EXPECT_EQ(refusal(Design(CTimeFilter::LowPass, 11, 1000.0f, 0.0f, false)), "filter order 11 is not from 1 to 10");
    EXPECT_EQ(refusal(Design(CTimeFilter::LowPass, 4, 25600.0f, 0.0f, false)),
              "the corner 25600 Hz is not between 0 and half the sample rate (25600 Hz)");
    EXPECT_NE(refusal(Design(CTimeFilter::BandPass, 4, 1000.0f, 0.0f, false)).find("upper band edge 0 Hz"),
              std::string::npos);
    FilterDesign ripple = Design(CTimeFilter::LowPass, 4, 1000.0f, 0.0f, false);
    ripple.type = CTimeFilter::Chebyshev;
    ripple.rippleDb = 0.5f;
    EXPECT_NE(refusal(ripple).find("ripple"), std::string::npos);
    // Runs as sections, is refused as a direct form whose probe finds it unstable.
    EXPECT_EQ(refusal(Design(CTimeFilter::LowPass, 10, 60.0f, 0.0f, false)), "accepted");
    EXPECT_NE(refusal(Design(CTimeFilter::LowPass, 10, 60.0f, 0.0f, true)).find("unstable"), std::string::npos);
}

}  // namespace
