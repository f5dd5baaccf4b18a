#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "recording/source.h"

// Averaged auto spectra of whole records: every channel is cut into
// overlapping frames, each frame goes through the library's frame chain
// (window, transform with RMS lines, averaging), and the average is read out
// as power per line and power per hertz with its frequency axis.
//
// Lines are those of the library's spectra: line k lies at k * deltaF with
// deltaF = sampleRate / frameSize rounded to float, and the record keeps
// lines 0 to lastLine. By default lastLine is the top of the anti-aliased
// band, frameSize / 2.56 lines (1600 of a 4096 frame); a full band keeps
// every line below half the sample rate, frameSize / 2 - 1.
//
// Levels: with the power-normalised windows (the only ones used here) the
// lines of a broadband signal keep their level, so the PSD and the RMS over a
// band are right as they stand; the RMS of a whole spectrum sums lines 1 to
// lastLine and leaves out the mean.
//
// choice: the windows are always power-normalised: these are broadband
// measures, and a sine's amplitude is not read from them.
// choice: frames are averaged over lines 0 to lastLine only, so the
// whole-frame holds (max-line, max-power, max-band3) score a frame by the
// band that is kept, not by the anti-aliasing filter's roll-off.
// choice: the float frame chain runs at every frame size; its results agree
// with a double-precision Welch estimate to about 1e-5.

namespace numora {
namespace rec {

// Window of every frame; all but None are normalised to unit RMS.
enum class Window { None, Hann, Hamming, Blackman, Harris, FlatTop };

// Averaging of the frames of a record.
enum class Averaging {
    Linear,       // running mean of all frames
    Exponential,  // the first frame, then each frame blended in with weight 1 / expFrames
    PeakHold,     // every line keeps its largest power
    MaxLine,      // the one frame whose largest line is the largest
    MaxPower,     // the one frame with the largest total power in the band
    MaxBand3,     // the one frame with the largest sum over three adjacent lines
};

// Window from its name: none, hann, hamming, blackman, harris, flattop.
// Throws Error naming the choices for any other name.
Window ParseWindow(const std::string& name);
std::string WindowName(Window window);
// Averaging from its name: linear, exponential, peak-hold, max-line,
// max-power, max-band3. Throws Error naming the choices.
Averaging ParseAveraging(const std::string& name);
std::string AveragingName(Averaging averaging);

struct SpectrumOptions {
    int frameSize = 4096;          // a power of two from 4 to 32768
    double overlapPercent = 50.0;  // 0 up to (not including) 100
    Window window = Window::Hann;
    Averaging averaging = Averaging::Linear;
    int expFrames = 8;      // frames of the exponential average
    bool fullBand = false;  // keep lines up to frameSize / 2 - 1, not only the anti-aliased band
};

// Lines of a spectrum: line k at k * deltaF Hz, for k = 0 to lastLine.
struct FrequencyAxis {
    double sampleRate = 0.0;
    int frameSize = 0;
    float deltaF = 0.0f;       // sampleRate / frameSize, rounded to float as the library's frames have it
    int lastLine = 0;          // last line kept
    float scaleFactor = 0.0f;  // RMS line scaling of the frame chain (sqrt(2) / 2 in float)

    int Lines() const;                 // lastLine + 1
    double Frequency(int line) const;  // line * deltaF, in double
};

// The axis of frames of frameSize samples at sampleRate, from
// UpdateFrameInfo with RMS lines and the ratio 2.56.
// Throws Error for a frame size the transform refuses or a sample rate that
// is not positive and finite.
FrequencyAxis MakeFrequencyAxis(double sampleRate, int frameSize, bool fullBand);

// Averaged spectra of one or more channels.
struct PsdResult {
    FrequencyAxis axis;
    int64_t samples = 0;   // samples of each channel read
    int64_t averages = 0;  // frames averaged
    std::vector<std::string> channelNames;
    std::vector<std::vector<float>> aps;  // per channel, power per line (RMS), lines 0 .. lastLine
    std::vector<std::vector<float>> psd;  // per channel, power per hertz, lines 0 .. lastLine
    std::vector<double> overallRms;       // per channel, RMS of lines 1 .. lastLine
};

// RMS of the lines of channel `channel` nearest fLow .. fHigh (line 0 left
// out), from its power per line by RMS_APS_BLIMF. Throws Error unless
// 0 <= fLow < fHigh and the band lies within the lines kept.
double BandRms(const PsdResult& result, int channel, double fLow, double fHigh);

// Averages frames of several channels as their samples arrive.
class PsdAverager {
public:
    // Throws Error for options the chain refuses.
    PsdAverager(double sampleRate, int channels, const SpectrumOptions& options);
    ~PsdAverager();
    PsdAverager(const PsdAverager&) = delete;
    PsdAverager& operator=(const PsdAverager&) = delete;

    // Feeds `frames` samples of every channel, channel i at data[i].
    // Allocates nothing.
    void Push(const float* const* data, int frames);
    // Frames averaged so far.
    int64_t Averages() const;
    // The spectra so far; channel names are left empty. Throws Error before
    // the first whole frame.
    PsdResult Result() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

// Averaged spectra of the chosen channels of a whole record, read block by
// block. Throws Error when the record holds no whole frame.
PsdResult MeasurePsd(BlockSource& source, const std::vector<int>& channels, const SpectrumOptions& options,
                     const Progress& progress = {}, int blockFrames = kDefaultBlockFrames, float scale = 1.0f);

// Averaged spectra of `count` channels held in memory, `frames` samples
// each, channel i at channels[i]; named ch1, ch2, ... Throws Error when they
// hold no whole frame.
PsdResult MeasurePsd(const float* const* channels, int count, int64_t frames, double sampleRate,
                     const SpectrumOptions& options);

}  // namespace rec
}  // namespace numora
