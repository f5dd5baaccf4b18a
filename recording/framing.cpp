#include "recording/framing.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <utility>

#include "numora/foundation/scalar.h"
#include "numora/transforms/fft.h"
#include "recording/error.h"

namespace numora {
namespace rec {

void CheckFrameSize(int frameSize)
{
    if (frameSize < 4 || qv::math::GetFFTValidFrameSizeT(frameSize) != frameSize)
        throw Error("frame size " + std::to_string(frameSize) +
                    " is not one the transform accepts: a power of two from 4 to 32768");
}

int HopSamples(int frameSize, double overlapPercent)
{
    if (!(overlapPercent >= 0.0 && overlapPercent < 100.0))
        throw Error("overlap " + std::to_string(overlapPercent) + " % is not from 0 up to (not including) 100 %");
    const unsigned int hop =
        qv::math::OverlapFactor2SampleDelay(overlapPercent / 100.0, static_cast<unsigned int>(frameSize));
    if (hop < 1)
        throw Error("overlap " + std::to_string(overlapPercent) + " % leaves no hop between frames of " +
                    std::to_string(frameSize) + " samples");
    return static_cast<int>(hop);
}

int64_t FrameCount(int64_t frames, int frameSize, int hop)
{
    return frames < frameSize ? 0 : (frames - frameSize) / hop + 1;
}

Framer::Framer(int channels, int frameSize, int hop, FrameCallback onFrame)
    : channels_(channels), frameSize_(frameSize), hop_(hop), onFrame_(std::move(onFrame))
{
    if (channels_ < 1 || frameSize_ < 1 || hop_ < 1 || hop_ > frameSize_)
        throw Error("frames of " + std::to_string(frameSize_) + " samples cannot start " + std::to_string(hop_) +
                    " samples apart");
    history_.resize(static_cast<size_t>(channels_) * static_cast<size_t>(frameSize_));
    for (int c = 0; c < channels_; ++c)
        pointers_.push_back(history_.data() + static_cast<size_t>(c) * static_cast<size_t>(frameSize_));
}

void Framer::Push(const float* const* data, int frames)
{
    int offset = 0;
    while (offset < frames) {
        const int n = std::min(frameSize_ - fill_, frames - offset);
        for (int c = 0; c < channels_; ++c)
            std::memcpy(history_.data() + static_cast<size_t>(c) * static_cast<size_t>(frameSize_) +
                            static_cast<size_t>(fill_),
                        data[c] + offset, static_cast<size_t>(n) * sizeof(float));
        fill_ += n;
        offset += n;
        if (fill_ < frameSize_)
            break;
        onFrame_(pointers_.data());
        ++emitted_;
        const int keep = frameSize_ - hop_;
        for (int c = 0; c < channels_; ++c) {
            float* h = history_.data() + static_cast<size_t>(c) * static_cast<size_t>(frameSize_);
            std::memmove(h, h + (frameSize_ - keep), static_cast<size_t>(keep) * sizeof(float));
        }
        fill_ = keep;
    }
}

int64_t Framer::FramesEmitted() const
{
    return emitted_;
}

}  // namespace rec
}  // namespace numora
