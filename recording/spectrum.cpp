#include "recording/spectrum.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "numora/foundation/records.h"
#include "numora/spectrum/conversions.h"
#include "numora/spectrum/rms.h"
#include "numora/transforms/frame.h"
#include "numora/transforms/timing.h"
#include "recording/chain_detail.h"
#include "recording/error.h"
#include "recording/framing.h"

namespace numora {
namespace rec {

namespace detail {

QV_ACQFRAME_WINTYPE LibraryWindow(Window window)
{
    switch (window) {
    case Window::Hann:
        return QV_WIN_HANN;
    case Window::Hamming:
        return QV_WIN_HAMMING;
    case Window::Blackman:
        return QV_WIN_BLACKMAN;
    case Window::Harris:
        return QV_WIN_HARRIS;
    case Window::FlatTop:
        return QV_WIN_FLATTOP;
    case Window::None:
        break;
    }
    return QV_WIN_NONE;
}

QV_ACQFRAME_AVGMODE LibraryMode(Averaging averaging)
{
    switch (averaging) {
    case Averaging::Exponential:
        return QV_AVG_EXPONENTIAL;
    case Averaging::PeakHold:
        return QV_AVG_PEAK_HOLD;
    case Averaging::MaxLine:
        return QV_AVG_HOLD_MAX_LINE;
    case Averaging::MaxPower:
        return QV_AVG_HOLD_MAX_POWER;
    case Averaging::MaxBand3:
        return QV_AVG_HOLD_MAX_BAND3;
    case Averaging::Linear:
        break;
    }
    return QV_AVG_LINEAR;
}

WindowRecord::~WindowRecord()
{
    qv::math::WindowReset(&setup);
}

}  // namespace detail

namespace {

const char* const kWindowNames[] = {"none", "hann", "hamming", "blackman", "harris", "flattop"};
const char* const kAveragingNames[] = {"linear", "exponential", "peak-hold", "max-line", "max-power", "max-band3"};

std::string Choices(const char* const* names, int count)
{
    std::string text;
    for (int i = 0; i < count; ++i)
        text += (i ? ", " : "") + std::string(names[i]);
    return text;
}

}  // namespace

Window ParseWindow(const std::string& name)
{
    for (int i = 0; i < 6; ++i)
        if (name == kWindowNames[i])
            return static_cast<Window>(i);
    throw Error("unknown window '" + name + "': choose one of " + Choices(kWindowNames, 6));
}

std::string WindowName(Window window)
{
    return kWindowNames[static_cast<int>(window)];
}

Averaging ParseAveraging(const std::string& name)
{
    for (int i = 0; i < 6; ++i)
        if (name == kAveragingNames[i])
            return static_cast<Averaging>(i);
    throw Error("unknown averaging '" + name + "': choose one of " + Choices(kAveragingNames, 6));
}

std::string AveragingName(Averaging averaging)
{
    return kAveragingNames[static_cast<int>(averaging)];
}

int FrequencyAxis::Lines() const
{
    return lastLine + 1;
}

double FrequencyAxis::Frequency(int line) const
{
    return static_cast<double>(line) * static_cast<double>(deltaF);
}

FrequencyAxis MakeFrequencyAxis(double sampleRate, int frameSize, bool fullBand)
{
    CheckFrameSize(frameSize);
    if (!(sampleRate > 0.0) || !std::isfinite(sampleRate))
        throw Error("the sample rate " + std::to_string(sampleRate) + " is not positive");
    QV_BASE_FRAME_SETUP frame{};
    qv::math::UpdateFrameInfo(frame, static_cast<uint32_t>(frameSize), QV_FFT_SCALE_RMS, sampleRate, 2.56,
                              sampleRate / 2.56);
    FrequencyAxis axis;
    axis.sampleRate = sampleRate;
    axis.frameSize = frameSize;
    axis.deltaF = frame.deltaF;
    axis.scaleFactor = frame.scaleFactor;
    const int top = frameSize / 2 - 1;
    axis.lastLine = fullBand ? top : std::min(static_cast<int>(frame.lastLine), top);
    return axis;
}

double BandRms(const PsdResult& result, int channel, double fLow, double fHigh)
{
    const double top = result.axis.Frequency(result.axis.lastLine);
    if (!(fLow >= 0.0 && fLow < fHigh))
        throw Error("band " + std::to_string(fLow) + " to " + std::to_string(fHigh) +
                    " Hz: the lower edge must be at least 0 and below the upper one");
    if (fHigh > top)
        throw Error("band " + std::to_string(fLow) + " to " + std::to_string(fHigh) +
                    " Hz reaches beyond the last line kept, " + std::to_string(top) + " Hz");
    return qv::math::RMS_APS_BLIMF(result.aps[static_cast<size_t>(channel)].data(), fLow, fHigh, result.axis.lastLine,
                                   static_cast<double>(result.axis.deltaF));
}

struct PsdAverager::State {
    SpectrumOptions options;
    FrequencyAxis axis;
    int channels = 0;
    detail::WindowRecord window;
    std::vector<float> work;
    std::vector<std::vector<float>> aps;
    std::vector<float> held;
    int64_t averages = 0;
    int64_t samples = 0;
    std::unique_ptr<Framer> framer;

    void OnFrame(const float* const* frame)
    {
        const int frameNumber = averages >= INT32_MAX ? INT32_MAX : static_cast<int>(averages + 1);
        for (int c = 0; c < channels; ++c) {
            std::memcpy(work.data(), frame[c], work.size() * sizeof(float));
            qv::math::TIMtoAPS(0, work.data(), aps[static_cast<size_t>(c)].data(), axis.deltaF,
                               detail::LibraryMode(options.averaging), detail::LibraryWindow(options.window),
                               QV_WINDOWSCALE_POWER, 0.0f, 0, QV_WEIGHT_NONE, axis.frameSize, axis.Lines(), frameNumber,
                               options.expFrames, axis.scaleFactor, &window.setup, &held[static_cast<size_t>(c)]);
        }
        ++averages;
    }
};

PsdAverager::PsdAverager(double sampleRate, int channels, const SpectrumOptions& options) : state_(new State)
{
    State& s = *state_;
    s.options = options;
    s.axis = MakeFrequencyAxis(sampleRate, options.frameSize, options.fullBand);
    if (channels < 1)
        throw Error("a spectrum needs at least one channel");
    if (options.averaging == Averaging::Exponential && options.expFrames < 1)
        throw Error("an exponential average needs at least 1 frame, not " + std::to_string(options.expFrames));
    const int hop = HopSamples(options.frameSize, options.overlapPercent);
    s.channels = channels;
    s.work.resize(static_cast<size_t>(options.frameSize));
    s.aps.assign(static_cast<size_t>(channels), std::vector<float>(static_cast<size_t>(s.axis.Lines())));
    s.held.assign(static_cast<size_t>(channels), 0.0f);
    State* self = &s;
    s.framer.reset(new Framer(channels, options.frameSize, hop, [self](const float* const* f) { self->OnFrame(f); }));
}

PsdAverager::~PsdAverager() = default;

void PsdAverager::Push(const float* const* data, int frames)
{
    state_->framer->Push(data, frames);
    state_->samples += frames;
}

int64_t PsdAverager::Averages() const
{
    return state_->averages;
}

PsdResult PsdAverager::Result() const
{
    const State& s = *state_;
    if (s.averages == 0)
        throw Error("no whole frame of " + std::to_string(s.axis.frameSize) + " samples yet");
    PsdResult result;
    result.axis = s.axis;
    result.samples = s.samples;
    result.averages = s.averages;
    result.aps = s.aps;
    result.channelNames.assign(static_cast<size_t>(s.channels), std::string());
    for (int c = 0; c < s.channels; ++c) {
        std::vector<float>& aps = result.aps[static_cast<size_t>(c)];
        std::vector<float> psd(aps.size());
        qv::math::APStoPSD(aps.data(), psd.data(), s.axis.Lines(), s.axis.deltaF);
        result.psd.push_back(std::move(psd));
        result.overallRms.push_back(qv::math::RMS_APS(aps.data(), s.axis.lastLine));
    }
    return result;
}

PsdResult MeasurePsd(BlockSource& source, const std::vector<int>& channels, const SpectrumOptions& options,
                     const Progress& progress, int blockFrames, float scale)
{
    const RecordInfo& info = source.Info();
    ChannelReader reader(source, channels, blockFrames, scale);
    PsdAverager averager(info.sampleRate, reader.ChannelCount(), options);
    while (const int n = reader.Next()) {
        averager.Push(reader.Channels(), n);
        if (progress)
            progress(source.Fraction());
    }
    if (averager.Averages() == 0)
        throw Error(info.name + ": " + std::to_string(reader.FramesRead()) + " samples are fewer than one frame of " +
                    std::to_string(options.frameSize));
    PsdResult result = averager.Result();
    for (size_t i = 0; i < channels.size(); ++i)
        result.channelNames[i] = info.channelNames[static_cast<size_t>(channels[i])];
    return result;
}

PsdResult MeasurePsd(const float* const* channels, int count, int64_t frames, double sampleRate,
                     const SpectrumOptions& options)
{
    PsdAverager averager(sampleRate, count, options);
    std::vector<const float*> piece(channels, channels + count);
    for (int64_t done = 0; done < frames;) {
        const int n = static_cast<int>(std::min<int64_t>(frames - done, kMemoryPieceFrames));
        for (int c = 0; c < count; ++c)
            piece[static_cast<size_t>(c)] = channels[c] + done;
        averager.Push(piece.data(), n);
        done += n;
    }
    if (averager.Averages() == 0)
        throw Error(std::to_string(frames) + " samples are fewer than one frame of " +
                    std::to_string(options.frameSize));
    PsdResult result = averager.Result();
    result.channelNames = DefaultChannelNames(count);
    return result;
}

}  // namespace rec
}  // namespace numora
