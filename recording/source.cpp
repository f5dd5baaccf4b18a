#include "recording/source.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

#include "recording/error.h"

namespace numora {
namespace rec {

namespace {

// Throws for the first sample of a block that is not finite.
void CheckFinite(const RecordInfo& info, int channel, const float* samples, int frames, int64_t firstFrame)
{
    for (int i = 0; i < frames; ++i) {
        if (std::isfinite(samples[i]))
            continue;
        const int64_t index = firstFrame + i;
        const char* what = std::isnan(samples[i]) ? "NaN" : (samples[i] > 0 ? "+infinity" : "-infinity");
        throw Error(info.name + ": " + info.channelNames[static_cast<size_t>(channel)] + " holds " + what +
                    " at sample " + std::to_string(index) + " (" +
                    MessageNumber(static_cast<double>(index) / info.sampleRate) + " s)");
    }
}

}  // namespace

BlockSource::~BlockSource() = default;
BlockSink::~BlockSink() = default;

std::vector<std::string> DefaultChannelNames(int channels)
{
    std::vector<std::string> names;
    for (int c = 0; c < channels; ++c)
        names.push_back("ch" + std::to_string(c + 1));
    return names;
}

ArraySource::ArraySource(const float* samples, int64_t frames, int channels, double sampleRate, std::string name)
    : samples_(samples)
{
    if (!(sampleRate > 0.0) || !std::isfinite(sampleRate))
        throw Error(name + ": the sample rate " + MessageNumber(sampleRate) + " is not positive");
    if (channels < 1)
        throw Error(name + ": a record needs at least one channel");
    if (frames < 0)
        throw Error(name + ": a negative frame count");
    info_.name = std::move(name);
    info_.sampleRate = sampleRate;
    info_.channels = channels;
    info_.frames = frames;
    info_.channelNames = DefaultChannelNames(channels);
}

const RecordInfo& ArraySource::Info() const
{
    return info_;
}

int64_t ArraySource::Read(float* out, int64_t frames)
{
    const int64_t n = std::min(frames, info_.frames - position_);
    if (n <= 0)
        return 0;
    std::copy(samples_ + position_ * info_.channels, samples_ + (position_ + n) * info_.channels, out);
    position_ += n;
    return n;
}

double ArraySource::Fraction() const
{
    return info_.frames > 0 ? static_cast<double>(position_) / static_cast<double>(info_.frames) : 1.0;
}

ArraySink::ArraySink(int channels) : channels_(channels) {}

void ArraySink::Write(const float* samples, int64_t frames)
{
    samples_.insert(samples_.end(), samples, samples + frames * channels_);
}

void ArraySink::Finish()
{
    finished_ = true;
}

const std::vector<float>& ArraySink::Samples() const
{
    return samples_;
}

int64_t ArraySink::Frames() const
{
    return static_cast<int64_t>(samples_.size()) / channels_;
}

bool ArraySink::Finished() const
{
    return finished_;
}

void Interleave(const float* const* planar, int channels, int frames, float* out)
{
    for (int c = 0; c < channels; ++c) {
        const float* in = planar[c];
        for (int f = 0; f < frames; ++f)
            out[static_cast<size_t>(f) * static_cast<size_t>(channels) + static_cast<size_t>(c)] = in[f];
    }
}

void CheckChannel(const RecordInfo& info, int channel)
{
    if (channel < 0 || channel >= info.channels)
        throw Error(info.name + ": there is no channel index " + std::to_string(channel) + ": the record has " +
                    std::to_string(info.channels) + " channel" + (info.channels == 1 ? "" : "s"));
}

ChannelReader::ChannelReader(BlockSource& source, std::vector<int> channels, int blockFrames, float scale)
    : source_(source), channels_(std::move(channels)), blockFrames_(blockFrames), scale_(scale)
{
    const RecordInfo& info = source_.Info();
    if (channels_.empty())
        throw Error(info.name + ": no channel chosen");
    for (int c : channels_)
        CheckChannel(info, c);
    if (blockFrames_ < 1)
        throw Error("the block size must be at least one frame");
    interleaved_.resize(static_cast<size_t>(blockFrames_) * static_cast<size_t>(info.channels));
    planar_.resize(static_cast<size_t>(blockFrames_) * channels_.size());
    for (size_t i = 0; i < channels_.size(); ++i)
        pointers_.push_back(planar_.data() + i * static_cast<size_t>(blockFrames_));
}

int ChannelReader::Next()
{
    const RecordInfo& info = source_.Info();
    int64_t frames = 0;
    while (frames < blockFrames_) {
        const int64_t got = source_.Read(interleaved_.data() + frames * info.channels, blockFrames_ - frames);
        if (got <= 0)
            break;
        frames += got;
    }
    const int n = static_cast<int>(frames);
    for (size_t i = 0; i < channels_.size(); ++i) {
        const int c = channels_[i];
        float* out = pointers_[i];
        for (int f = 0; f < n; ++f)
            out[f] = interleaved_[static_cast<size_t>(f) * static_cast<size_t>(info.channels) + static_cast<size_t>(c)];
        if (scale_ != 1.0f)
            for (int f = 0; f < n; ++f)
                out[f] *= scale_;
        CheckFinite(info, c, out, n, framesRead_);
    }
    framesRead_ += n;
    return n;
}

const float* ChannelReader::Channel(int i) const
{
    return pointers_[static_cast<size_t>(i)];
}
float* ChannelReader::Channel(int i)
{
    return pointers_[static_cast<size_t>(i)];
}
const float* const* ChannelReader::Channels() const
{
    return pointers_.data();
}
float* const* ChannelReader::Channels()
{
    return pointers_.data();
}
int ChannelReader::ChannelCount() const
{
    return static_cast<int>(channels_.size());
}
int ChannelReader::BlockFrames() const
{
    return blockFrames_;
}
int64_t ChannelReader::FramesRead() const
{
    return framesRead_;
}
BlockSource& ChannelReader::Source()
{
    return source_;
}

}  // namespace rec
}  // namespace numora
