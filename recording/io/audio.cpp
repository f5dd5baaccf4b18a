#include "recording/io/audio.h"

#include <sndfile.h>
#include <sys/stat.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <cctype>

#include "recording/error.h"

namespace numora {
namespace rec {

SoundFileSource::SoundFileSource(const std::string& path)
{
    // The system's reason for a file that cannot be opened at all is clearer
    // than libsndfile's.
    std::FILE* probe = std::fopen(path.c_str(), "rb");
    if (!probe)
        throw Error("cannot open '" + path + "': " + std::strerror(errno));
    struct stat st;
    const bool folder = fstat(fileno(probe), &st) == 0 && S_ISDIR(st.st_mode);
    std::fclose(probe);
    if (folder)
        throw Error("cannot open '" + path + "': it is a folder");

    SF_INFO sf{};
    file_ = sf_open(path.c_str(), SFM_READ, &sf);
    if (!file_)
        throw Error("cannot read '" + path + "' as a recording: " + sf_strerror(nullptr));
    if (sf.channels < 1 || sf.samplerate < 1) {
        sf_close(file_);
        file_ = nullptr;
        throw Error("cannot read '" + path + "' as a recording: no channels or no sample rate");
    }
    info_.name = path;
    info_.sampleRate = sf.samplerate;
    info_.channels = sf.channels;
    info_.frames = sf.frames;
    info_.channelNames = DefaultChannelNames(sf.channels);
}

SoundFileSource::~SoundFileSource()
{
    if (file_)
        sf_close(file_);
}

const RecordInfo& SoundFileSource::Info() const
{
    return info_;
}

int64_t SoundFileSource::Read(float* out, int64_t frames)
{
    const sf_count_t n = sf_readf_float(file_, out, frames);
    if (n < 0 || (n == 0 && sf_error(file_) != SF_ERR_NO_ERROR))
        throw Error("cannot read '" + info_.name + "': " + sf_strerror(file_));
    position_ += n;
    return n;
}

double SoundFileSource::Fraction() const
{
    return info_.frames > 0 ? static_cast<double>(position_) / static_cast<double>(info_.frames) : 1.0;
}

SoundFileSink::SoundFileSink(const std::string& path, double sampleRate, int channels) : out_(path), channels_(channels)
{
    const std::string ext = FileExtension(path);
    SF_INFO sf{};
    if (ext == "wav") {
        sf.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    } else if (ext == "w64") {
        sf.format = SF_FORMAT_W64 | SF_FORMAT_FLOAT;
    } else if (ext == "flac") {
        sf.format = SF_FORMAT_FLAC | SF_FORMAT_PCM_24;
        integer_ = true;
    } else {
        throw Error("cannot tell the format of '" + path + "' from its name: use .wav, .w64, .flac or .csv");
    }
    if (!(sampleRate >= 1.0) || sampleRate != std::floor(sampleRate) || sampleRate > 2147483647.0)
        throw Error("'" + path + "' can only hold a whole sample rate, not " + std::to_string(sampleRate));
    sf.samplerate = static_cast<int>(sampleRate);
    sf.channels = channels;
    file_ = sf_open(out_.TempPath().c_str(), SFM_WRITE, &sf);
    if (!file_)
        throw Error("cannot write '" + path + "': " + sf_strerror(nullptr));
}

SoundFileSink::~SoundFileSink()
{
    if (file_)
        sf_close(file_);
}

void SoundFileSink::Write(const float* samples, int64_t frames)
{
    if (integer_) {
        for (int64_t i = 0; i < frames * channels_; ++i)
            if (!(std::fabs(samples[i]) <= 1.0f))
                throw Error("'" + out_.Path() + "' holds samples of -1 to 1 only, and sample " +
                            std::to_string(frames_ + i / channels_) + " is " + std::to_string(samples[i]) +
                            ": write .wav or .w64 instead");
    }
    if (sf_writef_float(file_, samples, frames) != frames)
        throw Error("cannot write '" + out_.Path() + "': " + sf_strerror(file_));
    frames_ += frames;
}

void SoundFileSink::Finish()
{
    const int closed = sf_close(file_);
    file_ = nullptr;
    if (closed != 0)
        throw Error("cannot write '" + out_.Path() + "': " + sf_error_number(closed));
    out_.Commit();
}

}  // namespace rec
}  // namespace numora
