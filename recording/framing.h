#pragma once

#include <cstdint>
#include <functional>
#include <vector>

// Framing of a record: frames of a fixed size that start a hop apart, so that
// consecutive frames overlap by frameSize - hop samples.
// choice: only whole frames are made; the samples after the last whole frame
// are left out rather than padded, as Welch's method does.

namespace numora {
namespace rec {

// Throws Error unless frameSize is a size the transform accepts: a power of
// two from 4 to 32768.
void CheckFrameSize(int frameSize);

// Hop in samples for an overlap in percent of the frame:
// OverlapFactor2SampleDelay(overlap / 100, frameSize), that is
// round((1 - overlap / 100) * frameSize). Throws Error unless 0 <= overlap
// < 100 and the hop is at least one sample.
int HopSamples(int frameSize, double overlapPercent);

// Number of whole frames in a record of `frames` samples.
int64_t FrameCount(int64_t frames, int frameSize, int hop);

// Cuts blocks of several channels into frames. Allocates only when
// constructed.
class Framer {
public:
    // Called once per whole frame with one pointer per channel to frameSize
    // samples, valid during the call only.
    using FrameCallback = std::function<void(const float* const* frame)>;

    // Throws Error unless 1 <= hop <= frameSize.
    Framer(int channels, int frameSize, int hop, FrameCallback onFrame);
    // Feeds `frames` samples of every channel, channel i at data[i].
    void Push(const float* const* data, int frames);
    // Frames handed out so far.
    int64_t FramesEmitted() const;

private:
    int channels_;
    int frameSize_;
    int hop_;
    FrameCallback onFrame_;
    std::vector<float> history_;
    std::vector<const float*> pointers_;
    int fill_ = 0;
    int64_t emitted_ = 0;
};

}  // namespace rec
}  // namespace numora
