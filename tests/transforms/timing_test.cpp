#include "numora/transforms/timing.h"

#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace qv::math;
using U = std::vector<uint32_t>;
using F = std::vector<float>;

TEST(UpdateFrameInfo, FillsDerivedFieldsAndKeepsOverlap)
{
    QV_BASE_FRAME_SETUP f{};
    f.reserved = 0xDEADBEEFu;
    f.overlap = 0.375f;
    UpdateFrameInfo(f, 4096, QV_FFT_SCALE_RMS, 10240.0, 2.56, 4000.0);
    EXPECT_EQ((U{4096, 1600, 1601, 2048, 1, 1600, 0xDEADBEEFu}),
              (U{f.frameSize, f.lines, f.linesWithDC, f.halfFrame, f.firstLine, f.lastLine,
                 f.reserved}));
    EXPECT_EQ((F{2.5f, 2.5f, 2.5f, 1.0f / 10240.0f, 0.70710677f, 0.375f}),
              (F{f.deltaF, f.lineSpacing, f.nominalDeltaF, f.deltaT, f.scaleFactor, f.overlap}));
    EXPECT_EQ(0.4, f.frameDuration);

    // deltaF follows the real rate; nominalDeltaF the bandwidth, rounded once
    // from double to 0.267500013f (a float chain gives 0.267499983f).
    UpdateFrameInfo(f, 1024, QV_FFT_SCALE_PEAK, 256.0, 2.56, 107.0);
    EXPECT_EQ((F{0.25f, 0.267500013f, 1.0f}), (F{f.deltaF, f.nominalDeltaF, f.scaleFactor}));
    UpdateFrameInfo(f, 4095, static_cast<QV_FFT_SCALING>(2), 10240.0, 2.56, 4000.0);
    EXPECT_EQ(0.70710677f, f.scaleFactor);  // only QV_FFT_SCALE_PEAK gives 1
    EXPECT_EQ(2047u, f.halfFrame);
}

TEST(FrameTiming, FramesRoundInFloatAndATestAddsARoundedHopPerFrame)
{
    // 0.4f * 0.9f is 0.359999985f; the same chain in double gives 0.360000014f.
    EXPECT_EQ((F{0.4f, 0.359999985f}),
              (F{GetFrameDuration(10240.0f, 4096), GetFrameOffset(10240.0f, 4096, 0.1f)}));
    EXPECT_EQ((U{4000, 0}), (U{GetBandwidth(10240.0f, 2.56f), GetBandwidth(10240.0f, 0.0f)}));

    auto duration = [](double overlap, uint32_t records, uint32_t averages, int mode = 1) {
        return GetTestDuration(10240.0, 4096, overlap, records, averages,
                               static_cast<QV_ACQFRAME_AVGMODE>(mode));
    };
    for (int mode = 0; mode <= 7; ++mode)
        EXPECT_EQ(0.4 + 5.0 * 0.2, duration(0.5, 2, 3, mode));
    EXPECT_EQ(1.0 + 0.667, GetTestDuration(1000.0, 1000, 1.0 / 3.0, 1, 2, QV_AVG_LINEAR));
    // The frame count is a wrapping 32-bit product: 65537^2 -> 131073, 65536^2 -> 0.
    EXPECT_EQ(0.4 + 131072.0 * 0.2, duration(0.5, 65537, 65537));
    for (double zero : {duration(0.5, 2, 0), duration(0.5, 65536, 65536),
                        duration(0.5, 0xFFFFFFFFu, 1)})
        EXPECT_EQ(0.0, zero);

    QV_BASE_SAMPLING_SETUP sampling{{}, 10240.0f};
    QV_BASE_FRAME_SETUP frame{};
    frame.frameSize = 4096;
    frame.overlap = 0.5f;
    QV_BASE_RECORD_SETUP record{2};
    QV_BASE_AVG_SETUP avg{QV_AVG_PEAK_HOLD, 3};
    EXPECT_EQ(1.4, GetTestDuration(sampling, frame, record, avg));
    EXPECT_EQ(0.2f, GetFrameOffset(sampling, frame));
}

TEST(BandwidthToSampleRate, ExactMatchElseNearestBandwidthAbove)
{
    // Bandwidths 4000, 1000, 2000, 2000 at the ratio 2.56; the 0 ends the list
    // before 2600 (1015).
    float r[] = {10240.0f, 2560.0f, 5120.0f, 5121.0f, 0.0f, 2600.0f};
    auto pick = [&r](int bandwidth, bool exact, int first = 0, int count = 6) {
        return BandwidthToSampleRate(bandwidth, 2.56f, r + first, count, exact);
    };
    EXPECT_EQ((F{5120, 0, 5120, 10240, 0, 5120, 0, 0, 5121}),
              (F{pick(1500, false), pick(1500, true), pick(2000, true), pick(2001, false),
                 pick(5000, false), pick(1010, false), pick(1000, true, 4, 2),
                 pick(1000, true, 0, 0), pick(2000, true, 3, 1)}));
    // The float request is floored with a tolerance: a hair below 1 is 1.
    float small[] = {2.56f};
    EXPECT_EQ((F{5120, 0, 2.56f}), (F{BandwidthToSampleRate(2000.9f, 2.56f, r, 6, true),
                                      BandwidthToSampleRate(1999.9f, 2.56f, r, 6, true),
                                      BandwidthToSampleRate(0.9999999f, 2.56f, small, 1, true)}));
}

}  // namespace
