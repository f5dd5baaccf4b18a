#pragma once

#include <memory>
#include <string>
#include <vector>

#include "recording/source.h"

// Recordings by file name.

namespace numora {
namespace rec {

// Opens a recording: .csv and .txt as CSV (CsvSource), anything else through
// libsndfile. sampleRate is the rate of a CSV without a time column; for an
// audio file, which carries its own, it must be 0 or agree with the file.
// Throws Error.
std::unique_ptr<BlockSource> OpenRecording(const std::string& path, double sampleRate = 0.0);

// Creates a recording by the extension of its name: .csv (CsvRecordingSink),
// .wav, .w64, .flac (SoundFileSink). Throws Error.
std::unique_ptr<BlockSink> CreateRecording(const std::string& path, double sampleRate,
                                           const std::vector<std::string>& channelNames);
}  // namespace rec
}  // namespace numora
