#include "numora/transforms/timing.h"

#include <cmath>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace qv::math;
using U = std::vector<uint32_t>;
using F = std::vector<float>;

TEST(FrameTiming, FieldsAndDurationsRoundWhereDocumented)
{
    QV_BASE_FRAME_SETUP f{};
    f.overlap = 1.0f / 3.0f;
    UpdateFrameInfo(f, 4096, static_cast<QV_FFT_SCALING>(2), 10240.0, 2.56, 4000.0);
    EXPECT_EQ((U{1600, 1601, 2048, 1, 1600}), (U{f.lines, f.linesWithDC, f.halfFrame, f.firstLine, f.lastLine}));
    // Any scaling but QV_FFT_SCALE_PEAK gives sqrt(2) / 2; overlap is kept.
    EXPECT_EQ((F{2.5f, 0.70710677f, 1.0f / 3.0f}), (F{f.nominalDeltaF, f.scaleFactor, f.overlap}));
    EXPECT_EQ(0.4, f.frameDuration);
    // The record form: a hop of 2730.67 samples rounds to 2731; the averaging mode is not read.
    QV_BASE_SAMPLING_SETUP sampling{{}, 10240.0f};
    QV_BASE_RECORD_SETUP record{1};
    QV_BASE_AVG_SETUP avg{QV_AVG_PEAK_HOLD, 2};
    EXPECT_DOUBLE_EQ(0.4 + 2731.0 / 10240.0, GetTestDuration(sampling, f, record, avg));
    // The frame count is a wrapping 32-bit product: 65537^2 -> 131073, 65536^2 -> 0.
    EXPECT_EQ(0.4 + 131072.0 * 0.2, GetTestDuration(10240.0, 4096, 0.5, 65537, 65537, QV_AVG_LINEAR));
    EXPECT_EQ(0.0, GetTestDuration(10240.0, 4096, 0.5, 65536, 65536, QV_AVG_LINEAR) +
                       GetTestDuration(10240.0, 4096, 0.5, 0xFFFFFFFFu, 1, QV_AVG_LINEAR));

    // deltaF follows the real rate; nominalDeltaF the bandwidth, rounded once
    // from double to 0.267500013f (a float chain gives 0.267499983f).
    UpdateFrameInfo(f, 1024, QV_FFT_SCALE_PEAK, 256.0, 2.56, 107.0);
    EXPECT_EQ((F{0.25f, 0.267500013f, 1.0f}), (F{f.deltaF, f.nominalDeltaF, f.scaleFactor}));
    // 0.4f * 0.9f is 0.359999985f; the same chain in double gives 0.360000014f.
    EXPECT_EQ((F{0.4f, 0.359999985f}), (F{GetFrameDuration(10240.0f, 4096), GetFrameOffset(10240.0f, 4096, 0.1f)}));
    // The cut goes through 64 bits: -9.5 wraps to 2^32 - 9, infinity gives 0.
    EXPECT_EQ((U{4000, 0xFFFFFFF7u, 0}),
              (U{GetBandwidth(10240.0f, 2.56f), GetBandwidth(-10.0f, 1.0f), GetBandwidth(10240.0f, 0.0f)}));
    // The quotient and the half are added in float: in double this would cut to 262146.
    EXPECT_EQ(262147u, GetBandwidth(671095.0f, 2.56f));
}

TEST(BandwidthToSampleRate, ExactMatchElseNearestBandwidthAbove)
{
    // Bandwidths 4000, 1000, 2000, 2000, 1, -1000 at the ratio 2.56; the 0 ends the list before 2600.
    float r[] = {10240.0f, 2560.0f, 5120.0f, 5121.0f, 2.56f, -2560.0f, 0.0f, 2600.0f};
    auto pick = [&r](float b, bool x, int n = 4, int at = 0) { return BandwidthToSampleRate(b, 2.56f, r + at, n, x); };
    // A float request is floored with a tolerance (a hair below 1 is 1);
    // NaN becomes INT_MIN, so -1000 is the nearest bandwidth above it.
    EXPECT_EQ((F{5120, 0, 10240, 0, 0, 0, 5121, 2.56f, 0, -2560}),
              (F{pick(1500, false), pick(1500, true), pick(2001, false), pick(5000, false), pick(1010, false, 2, 6),
                 pick(1000, false, 0), pick(2000, true, 1, 3), pick(0.9999999f, true, 5), pick(1999.9f, true),
                 pick(std::nanf(""), false, 6)}));
}

}  // namespace
