#include "recording/spectrum.h"

#include <cmath>
#include <string>
#include <vector>

#include "numora/spectrum/conversions.h"
#include "numora/transforms/frame.h"
#include "numora/transforms/window.h"
#include "recording/error.h"
#include "tests/support/refusal.h"
#include "tests/support/support.h"

namespace {

using namespace numora::rec;

// Channel c of an interleaved record.
std::vector<float> ChannelOf(const std::vector<float>& samples, int channels, int c)
{
    std::vector<float> out;
    for (size_t i = static_cast<size_t>(c); i < samples.size(); i += static_cast<size_t>(channels))
        out.push_back(samples[i]);
    return out;
}

TEST(Spectrum, EveryModeAveragesTheFramesAsTheLibraryChainDoes)
{
    const int frames = 5000, channels = 2, size = 256;
    const double rate = 2048.0;
    const std::vector<float> samples = numora_test::RandomFloats(frames * channels, 11);
    for (Averaging mode : {Averaging::Linear, Averaging::Exponential, Averaging::PeakHold, Averaging::MaxLine,
                           Averaging::MaxPower, Averaging::MaxBand3}) {
        SpectrumOptions options;
        options.frameSize = size;
        options.overlapPercent = 75.0;
        options.window = Window::Blackman;
        options.averaging = mode;
        options.expFrames = 5;
        ArraySource source(samples.data(), frames, channels, rate);
        const PsdResult result = MeasurePsd(source, {1, 0}, options, {}, 37);  // blocks shorter than the hop

        const FrequencyAxis axis = MakeFrequencyAxis(rate, size, false);
        ASSERT_EQ(result.axis.lastLine, 100);  // 256 / 2.56
        ASSERT_EQ(result.averages, (frames - size) / 64 + 1);
        for (int c = 0; c < channels; ++c) {
            const std::vector<float> x = ChannelOf(samples, channels, 1 - c);
            std::vector<float> aps(static_cast<size_t>(axis.Lines())), frame(static_cast<size_t>(size));
            QV_WIND_SETUP wind{};
            float held = 0.0f;
            for (int k = 0; k < result.averages; ++k) {
                std::copy_n(x.begin() + k * 64, size, frame.begin());
                // The layer's averagings are the library's modes 1 to 6 in order.
                qv::math::TIMtoAPS(0, frame.data(), aps.data(), axis.deltaF,
                                   static_cast<QV_ACQFRAME_AVGMODE>(static_cast<int>(mode) + 1), QV_WIN_BLACKMAN,
                                   QV_WINDOWSCALE_POWER, 0.0f, 0, QV_WEIGHT_NONE, size, axis.Lines(), k + 1, 5,
                                   axis.scaleFactor, &wind, &held);
            }
            qv::math::WindowReset(&wind);
            std::vector<float> psd(aps.size());
            qv::math::APStoPSD(aps.data(), psd.data(), axis.Lines(), axis.deltaF);
            ASSERT_TRUE(numora_test::BitEqual(aps.data(), result.aps[static_cast<size_t>(c)].data(), axis.Lines()))
                << AveragingName(mode) << " channel " << c;
            ASSERT_TRUE(numora_test::BitEqual(psd.data(), result.psd[static_cast<size_t>(c)].data(), axis.Lines()));
        }
        EXPECT_EQ(result.channelNames, (std::vector<std::string>{"ch2", "ch1"}));
        EXPECT_EQ(result.samples, frames);
        // Bands reversed or beyond the axis, which ends at 800 Hz.
        EXPECT_THROW(BandRms(result, 0, 200.0, 100.0), Error);
        EXPECT_THROW(BandRms(result, 0, 100.0, 801.0), Error);
    }
    EXPECT_EQ(MakeFrequencyAxis(51200.0, 4096, true).lastLine, 2047);  // the full band: all but the Nyquist line
}

TEST(Spectrum, RefusesARecordWithoutAWholeFrameAndBadOptions)
{
    const std::vector<float> x(4095, 1.0f);
    ArraySource source(x.data(), 4095, 1, 1000.0, "short.wav");
    EXPECT_EQ(numora_test::Refusal([&] { MeasurePsd(source, {0}, SpectrumOptions{}); }),
              "short.wav: 4095 samples are fewer than one frame of 4096");
    // A frame size the transform refuses is in the command's test.
    SpectrumOptions bad;
    bad.averaging = Averaging::Exponential;
    bad.expFrames = 0;
    EXPECT_THROW(PsdAverager(1000.0, 1, bad), Error);
    EXPECT_THROW(PsdAverager(0.0, 1, SpectrumOptions{}), Error);
    EXPECT_THROW(ParseWindow("hanning"), Error);
}

TEST(Spectrum, PushAllocatesNothingHoweverLongTheRecord)
{
    SpectrumOptions options;
    options.frameSize = 1024;
    PsdAverager averager(10000.0, 2, options);
    const std::vector<float> a = numora_test::RandomFloats(8192, 1), b = numora_test::RandomFloats(8192, 2);
    const float* data[2] = {a.data(), b.data()};
    averager.Push(data, 8192);  // the first frames prepare the window
    const size_t before = numora_test::AllocationCount();
    for (int i = 0; i < 50; ++i)
        averager.Push(data, 8192);
    EXPECT_EQ(numora_test::AllocationCount(), before);
    EXPECT_EQ(averager.Averages(), (51 * 8192 - 1024) / 512 + 1);
}

TEST(Spectrum, ArraysInMemoryGiveWhatTheirRecordGives)
{
    const int frames = 3000, size = 256;
    const std::vector<float> samples = numora_test::RandomFloats(2 * frames, 3);
    const std::vector<float> a = ChannelOf(samples, 2, 0), b = ChannelOf(samples, 2, 1);
    SpectrumOptions options;
    options.frameSize = size;
    ArraySource source(samples.data(), frames, 2, 1000.0);
    const PsdResult expected = MeasurePsd(source, {0, 1}, options);
    const float* channels[] = {a.data(), b.data()};
    const PsdResult r = MeasurePsd(channels, 2, frames, 1000.0, options);
    ASSERT_EQ(r.averages, expected.averages);
    for (size_t c = 0; c < 2; ++c) {
        EXPECT_TRUE(numora_test::BitEqual(r.aps[c].data(), expected.aps[c].data(), r.axis.Lines()));
        EXPECT_TRUE(numora_test::BitEqual(r.psd[c].data(), expected.psd[c].data(), r.axis.Lines()));
    }
    EXPECT_EQ(r.channelNames, expected.channelNames);
    EXPECT_THROW(MeasurePsd(channels, 2, size - 1, 1000.0, options), Error);
}

}  // namespace
