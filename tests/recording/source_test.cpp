#include "recording/source.h"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "recording/error.h"
#include "recording/framing.h"
#include "tests/support/refusal.h"
#include "tests/support/support.h"

namespace {

using numora::rec::ArraySource;
using numora::rec::BlockSource;
using numora::rec::ChannelReader;
using numora::rec::Error;
using numora::rec::Framer;
using numora::rec::RecordInfo;

// Hands out a record in small pieces of varying size, as a parser may.
class TricklingSource : public BlockSource {
public:
    explicit TricklingSource(BlockSource& inner) : inner_(inner) {}
    const RecordInfo& Info() const override { return inner_.Info(); }
    int64_t Read(float* out, int64_t frames) override
    {
        return inner_.Read(out, std::min<int64_t>(frames, 1 + (calls_++ % 7)));
    }
    double Fraction() const override { return inner_.Fraction(); }

private:
    BlockSource& inner_;
    int calls_ = 0;
};

TEST(ChannelReader, BlocksHoldTheChosenChannelsScaledWhateverPiecesTheSourceDeliversAndNoOtherChannels)
{
    const int frames = 1000, channels = 3;
    const std::vector<float> samples = numora_test::RandomFloats(frames * channels, 7);
    ArraySource inner(samples.data(), frames, channels, 100.0);
    TricklingSource trickle(inner);
    ChannelReader reader(trickle, {2, 0}, 64, 2.5f);
    int64_t start = 0;
    for (int n; (n = reader.Next()) > 0; start += n) {
        EXPECT_EQ(n, std::min<int64_t>(64, frames - start));
        for (int f = 0; f < n; ++f) {
            const size_t at = static_cast<size_t>((start + f) * channels);
            ASSERT_EQ(reader.Channel(0)[f], samples[at + 2] * 2.5f) << start + f;
            ASSERT_EQ(reader.Channel(1)[f], samples[at] * 2.5f) << start + f;
        }
    }
    EXPECT_EQ(reader.FramesRead(), frames);
    EXPECT_EQ(numora_test::Refusal([&] {
                  ChannelReader bad(inner, {0, 3}, 8);
              }),
              "array: there is no channel index 3: the record has 3 channels");
    EXPECT_THROW(ArraySource(samples.data(), frames, channels, 0.0), Error);
    EXPECT_THROW(ArraySource(samples.data(), frames, 0, 100.0), Error);
}

TEST(ChannelReader, NamesTheFirstSampleThatIsNotFiniteInTheChosenChannelsOnly)
{
    std::vector<float> samples(3 * 5000, 0.5f);
    samples[3 * 1234 + 1] = std::numeric_limits<float>::quiet_NaN();
    samples[3 * 4000 + 1] = std::numeric_limits<float>::infinity();
    samples[3 * 3000 + 0] = -std::numeric_limits<float>::infinity();
    samples[3 * 4000 + 2] = std::numeric_limits<float>::infinity();
    const std::pair<int, const char*> cases[] = {{1, "rec.wav: ch2 holds NaN at sample 1234 (0.1234 s)"},
                                                 {0, "rec.wav: ch1 holds -infinity at sample 3000 (0.3 s)"},
                                                 {2, "rec.wav: ch3 holds +infinity at sample 4000 (0.4 s)"}};
    for (const auto& [channel, message] : cases) {
        ArraySource source(samples.data(), 5000, 3, 10000.0, "rec.wav");
        ChannelReader reader(source, {channel}, 512);
        EXPECT_EQ(numora_test::Refusal([&] {
                      while (reader.Next()) {
                      }
                  }),
                  message);
    }
}

TEST(Framing, FrameSizesAndOverlapsOutsideTheTransformAreRefused)
{
    EXPECT_EQ(numora::rec::HopSamples(4096, 0.0), 4096);
    for (double overlap : {-1.0, 100.0, std::numeric_limits<double>::quiet_NaN()})
        EXPECT_THROW(numora::rec::HopSamples(4096, overlap), Error) << overlap;
    EXPECT_THROW(numora::rec::HopSamples(4, 99.0), Error);  // no hop left
    for (int size : {4, 32768})
        EXPECT_NO_THROW(numora::rec::CheckFrameSize(size)) << size;
    for (int size : {0, 2, 1000, 4097, 65536})
        EXPECT_THROW(numora::rec::CheckFrameSize(size), Error) << size;
    EXPECT_EQ(numora::rec::FrameCount(63, 64, 48), 0);
    EXPECT_THROW(Framer(1, 64, 65, [](const float* const*) {}), Error);
}

}  // namespace
