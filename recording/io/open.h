#pragma once

#include <memory>
#include <string>
#include <vector>

#include "recording/profile.h"
#include "recording/source.h"

// Recordings and profiles by file name.

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

// Reads a test profile from CSV. The header names the columns, in any
// order and case: "frequency" (or frequency_hz, freq, f) and "level" (or psd)
// are needed; "alarm_db", "abort_db" and "segment" (lin or log, for the
// segment that ends at the row; log when absent) are optional. The file's
// lines become the breakpoints' sourceLine, so that errors name them.
// Throws Error for a missing column, a bad cell, or a table that
// ProfileTable::Validate refuses.
ProfileTable ReadProfile(const std::string& path);

}  // namespace rec
}  // namespace numora
