#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// Recordings as streams of blocks. An analysis reads a BlockSource block by
// block and a processor writes a BlockSink, so memory stays bounded whatever
// the length of the record, and the same analysis runs on a file, on an
// array in memory or on samples made on the fly.
//
// Samples are float and interleaved: frame f holds one sample of each
// channel, channel c at index f * channels + c. Channels are numbered from 0.

namespace numora {
namespace rec {

// Called with the fraction of the work done so far, 0 to 1; may be empty.
using Progress = std::function<void(double fraction)>;

// Frames per block when a caller does not choose: 32768 frames of every
// channel read, a few hundred kilobytes.
constexpr int kDefaultBlockFrames = 32768;

// Frames handed on at once when an analysis reads arrays already in memory.
constexpr int kMemoryPieceFrames = 1 << 30;

// What a source knows about its record before the first read.
struct RecordInfo {
    std::string name;         // for messages: the file name, or what the caller set
    double sampleRate = 0.0;  // samples per second of each channel
    int channels = 0;
    int64_t frames = -1;                    // frames in the record; -1 when unknown until the end
    std::vector<std::string> channelNames;  // one per channel, for messages and table headers
};

// A record read block by block, from the start to the end, once.
class BlockSource {
public:
    virtual ~BlockSource();
    virtual const RecordInfo& Info() const = 0;
    // Reads up to `frames` frames into out (frames * channels values) and
    // returns how many it read; 0 only at the end of the record. A source
    // may return fewer frames than asked before the end. Throws Error.
    virtual int64_t Read(float* out, int64_t frames) = 0;
    // Fraction of the record read so far, 0 to 1.
    virtual double Fraction() const = 0;
};

// A record written block by block. Nothing appears under the output's name
// before Finish: a sink destroyed without Finish leaves no output behind.
class BlockSink {
public:
    virtual ~BlockSink();
    // Appends `frames` frames (frames * channels values). Throws Error.
    virtual void Write(const float* samples, int64_t frames) = 0;
    // Completes the output. Throws Error.
    virtual void Finish() = 0;
};

// Channel names "ch1", "ch2", ... for records without names of their own.
std::vector<std::string> DefaultChannelNames(int channels);

// Interleaved samples in the caller's memory, which must outlive the source;
// nothing is copied.
class ArraySource : public BlockSource {
public:
    // Throws Error for a sample rate that is not positive and finite, fewer
    // than one channel, or a negative frame count.
    ArraySource(const float* samples, int64_t frames, int channels, double sampleRate, std::string name = "array");
    const RecordInfo& Info() const override;
    int64_t Read(float* out, int64_t frames) override;
    double Fraction() const override;

private:
    RecordInfo info_;
    const float* samples_;
    int64_t position_ = 0;
};

// Collects what is written in memory.
class ArraySink : public BlockSink {
public:
    explicit ArraySink(int channels);
    void Write(const float* samples, int64_t frames) override;
    void Finish() override;
    // Interleaved samples written so far.
    const std::vector<float>& Samples() const;
    int64_t Frames() const;
    bool Finished() const;

private:
    int channels_;
    std::vector<float> samples_;
    bool finished_ = false;
};

// Writes `frames` samples of `channels` arrays into one interleaved array.
void Interleave(const float* const* planar, int channels, int frames, float* out);

// Throws Error unless `channel` is one of the record's channels.
void CheckChannel(const RecordInfo& info, int channel);

// Reads chosen channels of a source in blocks of a fixed size, one array per
// channel, and refuses a sample that is not finite, naming its channel,
// index and time. Every block but the last holds blockFrames frames,
// however the source delivers them, so block boundaries depend on the block
// size alone. Allocates only when constructed.
// choice: only the chosen channels are checked; a NaN in a channel that is
// not analysed does not stop the analysis of the others.
class ChannelReader {
public:
    // channels: indices into the source's channels (each checked). Every
    // sample read is multiplied by scale unless it is 1.
    ChannelReader(BlockSource& source, std::vector<int> channels, int blockFrames = kDefaultBlockFrames,
                  float scale = 1.0f);
    // Reads the next block and returns its frame count, 0 at the end.
    int Next();
    // Samples of chosen channel i in the last block.
    const float* Channel(int i) const;
    float* Channel(int i);
    // Array of the chosen channels' pointers, for the calls taking all channels.
    const float* const* Channels() const;
    float* const* Channels();
    int ChannelCount() const;
    int BlockFrames() const;
    // Frames read so far, the last block included.
    int64_t FramesRead() const;
    BlockSource& Source();

private:
    BlockSource& source_;
    std::vector<int> channels_;
    int blockFrames_;
    float scale_;
    std::vector<float> interleaved_;
    std::vector<float> planar_;
    std::vector<float*> pointers_;
    int64_t framesRead_ = 0;
};

}  // namespace rec
}  // namespace numora
