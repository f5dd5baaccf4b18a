#pragma once

#include <memory>
#include <string>
#include <vector>

#include "recording/io/output_file.h"
#include "recording/source.h"

// Audio-file recordings through libsndfile: WAV, W64 and FLAC (and whatever
// else libsndfile reads). Integer samples are read as fractions of full
// scale (-1 to 1); float files keep their values as written.

struct sf_private_tag;

namespace numora {
namespace rec {

class SoundFileSource : public BlockSource {
public:
    // Throws Error for a missing file or one libsndfile cannot read.
    explicit SoundFileSource(const std::string& path);
    ~SoundFileSource() override;
    SoundFileSource(const SoundFileSource&) = delete;
    SoundFileSource& operator=(const SoundFileSource&) = delete;
    const RecordInfo& Info() const override;
    int64_t Read(float* out, int64_t frames) override;
    double Fraction() const override;

private:
    RecordInfo info_;
    sf_private_tag* file_ = nullptr;
    int64_t position_ = 0;
};

// Writes a recording by the extension of its name: .wav and .w64 as 32-bit
// float, .flac as 24-bit integers of full scale 1 (a sample beyond -1 .. 1
// is refused). The file appears on Finish.
class SoundFileSink : public BlockSink {
public:
    // Throws Error for another extension, a sample rate that is not a whole
    // positive number, or a file that cannot be created.
    SoundFileSink(const std::string& path, double sampleRate, int channels);
    ~SoundFileSink() override;
    SoundFileSink(const SoundFileSink&) = delete;
    SoundFileSink& operator=(const SoundFileSink&) = delete;
    void Write(const float* samples, int64_t frames) override;
    void Finish() override;

private:
    OutputFile out_;
    sf_private_tag* file_ = nullptr;
    int channels_;
    bool integer_ = false;
    int64_t frames_ = 0;
};

}  // namespace rec
}  // namespace numora
