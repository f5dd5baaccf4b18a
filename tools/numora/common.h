#pragma once

#include <string>
#include <vector>

#include "recording/source.h"
#include "recording/spectrum.h"

// What the subcommands share: their arguments as parsed, and the small
// helpers that turn arguments into the layer's terms and results into text.

namespace numora {
namespace cli {

// A recording to read.
struct RecordingArgs {
    std::string path;
    double rate = 0.0;   // sample rate of a CSV without a time column
    double scale = 1.0;  // factor on every sample read
};

struct SpectrumArgs {
    int frame = 4096;
    double overlap = 50.0;
    std::string window = "hann";
    std::string average = "linear";
    int expFrames = 8;
    bool fullBand = false;
};

struct PsdArgs {
    RecordingArgs recording;
    std::string channels = "all";
    SpectrumArgs spectrum;
    std::vector<std::string> bands;
    std::string profile;
    std::string unit = "g";
    std::string output;
    std::vector<std::string> plots;
};

struct FrfArgs {
    RecordingArgs recording;
    std::string responsePath;  // a second recording holding the response; empty for the first
    int reference = 1, response = 2;
    SpectrumArgs spectrum;
    std::string referenceUnit = "g", responseUnit = "g";
    std::string output;
    std::vector<std::string> plots;
};

struct SrsArgs {
    RecordingArgs recording;
    int channel = 1;
    double q = 10.0;
    int bandsPerOctave = 12;
    double fmin = 10.0, fmax = 10000.0;
    std::string filter = "iso";
    std::string series = "ansi";
    std::string response = "absolute";
    double startMs = 0.0, endMs = 0.0;
    std::string unit = "g";
    std::string output;
    std::vector<std::string> plots;
};

struct DriveArgs {
    std::string profile;
    double rate = 51200.0;
    double seconds = 60.0;
    double clip = 0.0;
    int frame = 8192;
    unsigned int seed = 1;
    std::string unit = "g";
    std::string output, csv;
    std::vector<std::string> plots;
};

struct FilterArgs {
    RecordingArgs recording;
    std::string channels = "all";
    std::string type = "butterworth", shape = "lowpass";
    int order = 4;
    double f1 = 0.0, f2 = 0.0;
    double ripple = -1.0;
    bool direct = false;
    std::string output, csv;
    std::vector<std::string> plots;
};

struct IntegrateArgs {
    RecordingArgs recording;
    std::string channels = "all";
    std::string unit = "g";
    bool english = false;
    double blockSeconds = 1.0;
    std::string output, csv;
};

struct UnitsArgs {
    std::vector<std::string> units;
    std::string output;
};

int RunPsd(const PsdArgs& args);
int RunFrf(const FrfArgs& args);
int RunSrs(const SrsArgs& args);
int RunDrive(const DriveArgs& args);
int RunFilter(const FilterArgs& args);
int RunIntegrate(const IntegrateArgs& args);
int RunUnits(const UnitsArgs& args);

// Channels from "all" or a comma-separated list of channel numbers counted
// from 1, as the layer's indices from 0. Throws rec::Error.
std::vector<int> ParseChannels(const std::string& text, const rec::RecordInfo& info);
// One channel number counted from 1, as an index from 0. Throws rec::Error.
int ChannelIndex(int number, const rec::RecordInfo& info);

// The layer's spectrum options from the arguments. Throws rec::Error.
rec::SpectrumOptions SpectrumFrom(const SpectrumArgs& args);

// A unit checked against the library's table (rec::Error if unknown).
std::string CheckedUnit(const std::string& unit);
// The unit squared for a PSD label: "g" gives "g²", "m/s²" gives "(m/s²)²".
std::string Squared(const std::string& unit);

// A number with `digits` significant digits.
std::string Num(double value, int digits = 4);

// One line of the report on stdout.
void Report(const std::string& line);

// "frame 4096 (lines every 12.5 Hz to 20000 Hz), hann, 50 % overlap,
// linear average of 120 frames"
std::string DescribeSpectrum(const rec::FrequencyAxis& axis, const rec::SpectrumOptions& options, int64_t averages);

}  // namespace cli
}  // namespace numora
