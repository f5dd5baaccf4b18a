#include "recording/frf.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "numora/foundation/complex.h"
#include "numora/spectrum/auto_spectrum.h"
#include "numora/spectrum/conversions.h"
#include "numora/spectrum/cross_spectrum.h"
#include "recording/chain_detail.h"
#include "recording/error.h"
#include "recording/framing.h"

namespace numora {
namespace rec {

struct FrfAverager::State {
    SpectrumOptions options;
    FrequencyAxis axis;
    detail::WindowRecord window;
    std::vector<float> reference, response;  // frames, then their spectra
    std::vector<complex> cps;
    std::vector<float> apsReference, apsResponse;
    int64_t averages = 0;
    std::unique_ptr<Framer> framer;

    void OnFrame(const float* const* frame)
    {
        const int frameNumber = averages >= INT32_MAX ? INT32_MAX : static_cast<int>(averages + 1);
        const QV_ACQFRAME_AVGMODE mode = detail::LibraryMode(options.averaging);
        const int lines = axis.Lines();
        std::memcpy(reference.data(), frame[0], reference.size() * sizeof(float));
        std::memcpy(response.data(), frame[1], response.size() * sizeof(float));
        qv::math::TIMtoCPS(response.data(), reference.data(), cps.data(), axis.deltaF, mode,
                           detail::LibraryWindow(options.window), QV_WINDOWSCALE_POWER, 0.0f, 0, QV_WEIGHT_NONE,
                           axis.frameSize, lines, frameNumber, options.expFrames, axis.scaleFactor, &window.setup);
        qv::math::FFTtoAPS(reinterpret_cast<complex*>(response.data()), apsResponse.data(), lines, mode, frameNumber,
                           options.expFrames, nullptr);
        qv::math::FFTtoAPS(reinterpret_cast<complex*>(reference.data()), apsReference.data(), lines, mode, frameNumber,
                           options.expFrames, nullptr);
        ++averages;
    }
};

FrfAverager::FrfAverager(double sampleRate, const SpectrumOptions& options) : state_(new State)
{
    State& s = *state_;
    s.options = options;
    s.axis = MakeFrequencyAxis(sampleRate, options.frameSize, options.fullBand);
    if (options.averaging != Averaging::Linear && options.averaging != Averaging::Exponential)
        throw Error("a frequency response averages linear or exponential, not " + AveragingName(options.averaging));
    if (options.averaging == Averaging::Exponential && options.expFrames < 1)
        throw Error("an exponential average needs at least 1 frame, not " + std::to_string(options.expFrames));
    const int hop = HopSamples(options.frameSize, options.overlapPercent);
    const size_t lines = static_cast<size_t>(s.axis.Lines());
    s.reference.resize(static_cast<size_t>(options.frameSize));
    s.response.resize(static_cast<size_t>(options.frameSize));
    s.cps.resize(lines);
    s.apsReference.resize(lines);
    s.apsResponse.resize(lines);
    State* self = &s;
    s.framer.reset(new Framer(2, options.frameSize, hop, [self](const float* const* f) { self->OnFrame(f); }));
}

FrfAverager::~FrfAverager() = default;

void FrfAverager::Push(const float* reference, const float* response, int frames)
{
    const float* data[2] = {reference, response};
    state_->framer->Push(data, frames);
}

int64_t FrfAverager::Averages() const
{
    return state_->averages;
}

FrfResult FrfAverager::Result() const
{
    const State& s = *state_;
    if (s.averages == 0)
        throw Error("no whole frame of " + std::to_string(s.axis.frameSize) + " samples yet");
    const int lines = s.axis.Lines();
    FrfResult r;
    r.axis = s.axis;
    r.averages = s.averages;
    r.apsReference = s.apsReference;
    r.apsResponse = s.apsResponse;
    std::vector<complex> cps = s.cps;
    std::vector<complex> frf(static_cast<size_t>(lines));
    r.coherence.resize(static_cast<size_t>(lines));
    qv::math::CPStoFRF(cps.data(), r.apsReference.data(), frf.data(), lines);
    qv::math::CPStoCOH(cps.data(), r.apsResponse.data(), r.apsReference.data(), r.coherence.data(), lines);
    for (complex& h : frf) {
        r.re.push_back(h.re);
        r.im.push_back(h.im);
        r.gain.push_back(qv::math::ComplexMag(h));
        r.phaseDeg.push_back(qv::math::ComplexPhase(h));
    }
    r.cps = s.cps;
    r.cpsd.resize(static_cast<size_t>(lines));
    qv::math::APStoPSD(reinterpret_cast<float*>(r.cps.data()), reinterpret_cast<float*>(r.cpsd.data()), 2 * lines,
                       s.axis.deltaF);
    return r;
}

FrfResult MeasureFrf(BlockSource& reference, int referenceChannel, BlockSource& response, int responseChannel,
                     const SpectrumOptions& options, const Progress& progress, int blockFrames)
{
    const RecordInfo& refInfo = reference.Info();
    const RecordInfo& respInfo = response.Info();
    CheckChannel(refInfo, referenceChannel);
    CheckChannel(respInfo, responseChannel);
    if (refInfo.sampleRate != respInfo.sampleRate)
        throw Error(respInfo.name + ": sample rate " + std::to_string(respInfo.sampleRate) +
                    " Hz differs from the reference's " + std::to_string(refInfo.sampleRate) + " Hz");
    FrfAverager averager(refInfo.sampleRate, options);
    int64_t frames = 0;
    if (&reference == &response) {
        ChannelReader reader(reference, {referenceChannel, responseChannel}, blockFrames);
        while (const int n = reader.Next()) {
            averager.Push(reader.Channel(0), reader.Channel(1), n);
            if (progress)
                progress(reference.Fraction());
        }
        frames = reader.FramesRead();
    } else {
        ChannelReader ref(reference, {referenceChannel}, blockFrames);
        ChannelReader resp(response, {responseChannel}, blockFrames);
        while (true) {
            const int n = std::min(ref.Next(), resp.Next());
            if (n == 0)
                break;
            averager.Push(ref.Channel(0), resp.Channel(0), n);
            if (progress)
                progress(std::max(reference.Fraction(), response.Fraction()));
        }
        frames = std::min(ref.FramesRead(), resp.FramesRead());
    }
    if (averager.Averages() == 0)
        throw Error(refInfo.name + ": " + std::to_string(frames) + " samples are fewer than one frame of " +
                    std::to_string(options.frameSize));
    FrfResult result = averager.Result();
    result.referenceName = refInfo.channelNames[static_cast<size_t>(referenceChannel)];
    result.responseName = respInfo.channelNames[static_cast<size_t>(responseChannel)];
    return result;
}

FrfResult MeasureFrf(const float* reference, const float* response, int64_t frames, double sampleRate,
                     const SpectrumOptions& options)
{
    FrfAverager averager(sampleRate, options);
    for (int64_t done = 0; done < frames;) {
        const int n = static_cast<int>(std::min<int64_t>(frames - done, kMemoryPieceFrames));
        averager.Push(reference + done, response + done, n);
        done += n;
    }
    if (averager.Averages() == 0)
        throw Error(std::to_string(frames) + " samples are fewer than one frame of " +
                    std::to_string(options.frameSize));
    FrfResult result = averager.Result();
    const std::vector<std::string> names = DefaultChannelNames(2);
    result.referenceName = names[0];
    result.responseName = names[1];
    return result;
}

}  // namespace rec
}  // namespace numora
