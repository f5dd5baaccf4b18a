#include "recording/drive.h"

#include <cmath>
#include <string>
#include <vector>

#include "recording/error.h"
#include "tests/support/support.h"

namespace {

using namespace numora::rec;

// 0.04 from 100 to 1000 Hz, with alarm and abort limits.
ProfileTable Flat()
{
    return ProfileTable{"flat.csv", {{100.0, 0.04, 3.0, 6.0}, {1000.0, 0.04, 3.0, 6.0}}};
}

// Lines every 8 Hz.
const DriveOptions kOptions{8192.0, 20.0, 1024};

TEST(Drive, MeetsTheProfileInLevelAndAtEveryLine)
{
    ArraySink sink(1);
    const DriveReport r = GenerateDrive(Flat(), kOptions, sink);
    ASSERT_TRUE(sink.Finished());
    EXPECT_EQ(r.frames, 20 * 8192);
    EXPECT_EQ(sink.Frames(), r.frames);
    EXPECT_EQ(r.bands, 4);                                        // octaves from 104 Hz: 104, 208, 416, 832 Hz
    EXPECT_NEAR(r.targetRms, std::sqrt(0.04 * 113 * 8.0), 1e-4);  // lines 13 to 125, 8 Hz apart
    double square = 0.0;
    for (float v : sink.Samples())
        square += static_cast<double>(v) * static_cast<double>(v);
    EXPECT_NEAR(std::sqrt(square / static_cast<double>(r.frames)), r.targetRms, 0.02 * r.targetRms);
    // The window spreads each line over its neighbours, so the lines at the
    // profile's edges read about 1.3 dB low; inside, every line is close.
    for (int k = 14; k <= 124; ++k) {
        const double db = 10.0 * std::log10(static_cast<double>(r.check.psd[0][static_cast<size_t>(k)]) / 0.04);
        ASSERT_LT(std::fabs(db), 1.0) << "line " << k;
    }
    EXPECT_EQ(r.comparison.beyondAlarm, 0);
    EXPECT_EQ(r.clipped, 0);
}

TEST(Drive, TheSeedDecidesTheDriveAndAClipHoldsEverySample)
{
    DriveOptions o = kOptions;
    o.seconds = 2.0;
    o.clipSigma = 2.5;
    ArraySink clipped(1), other(1);
    const DriveReport r = GenerateDrive(Flat(), o, clipped);
    o.seed = 2;
    GenerateDrive(Flat(), o, other);
    EXPECT_NE(clipped.Samples(), other.Samples());
    EXPECT_EQ(r.clipLimit, static_cast<double>(static_cast<float>(2.5 * r.targetRms)));
    int64_t atLimit = 0;
    for (float v : clipped.Samples()) {
        ASSERT_LE(std::fabs(v), static_cast<float>(r.clipLimit));
        atLimit += std::fabs(v) == static_cast<float>(r.clipLimit);
    }
    EXPECT_GT(r.clipped, 0);
    EXPECT_EQ(r.clipped, atLimit);
}

TEST(Drive, RefusesWhatCannotMakeADrive)
{
    ArraySink sink(1);
    DriveOptions o = kOptions;
    ProfileTable high = Flat();
    high.points[1].frequency = 4096.0;  // half the sample rate
    EXPECT_THROW(GenerateDrive(high, o, sink), Error);
    ProfileTable narrow = Flat();
    narrow.points = {{101.0, 1.0}, {103.0, 1.0}};  // between two lines 8 Hz apart
    EXPECT_THROW(GenerateDrive(narrow, o, sink), Error);
    o.seconds = 0.1;  // 819 samples, less than a frame
    EXPECT_THROW(GenerateDrive(Flat(), o, sink), Error);
    o = kOptions;
    o.clipSigma = -1.0;
    EXPECT_THROW(GenerateDrive(Flat(), o, sink), Error);
    EXPECT_FALSE(sink.Finished());
    EXPECT_EQ(sink.Frames(), 0);
}

}  // namespace
