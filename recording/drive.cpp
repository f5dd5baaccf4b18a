#include "recording/drive.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "numora/drive/clipping.h"
#include "numora/drive/onions.h"
#include "numora/drive/random_phase.h"
#include "numora/foundation/array.h"
#include "numora/foundation/platform.h"
#include "numora/foundation/scalar.h"
#include "numora/spectrum/conversions.h"
#include "numora/spectrum/rms.h"
#include "numora/transforms/fft.h"
#include "recording/error.h"

namespace numora {
namespace rec {

namespace {

// The generator seeds of one drive: distinct for every band and seed, and
// negative, which makes the generator seed itself on its first draw.
int32_t BandSeed(unsigned int seed, int band)
{
    return -static_cast<int32_t>(1 + (static_cast<uint64_t>(seed) * 16u + static_cast<uint64_t>(band)) % 714024u);
}

}  // namespace

struct DriveGenerator::State {
    FrequencyAxis axis;
    double targetRms = 0.0;
    float clipLimit = 0.0f;
    std::vector<qv::math::CRandomOnions> onions;
    std::vector<std::vector<float>> bases;
    std::vector<float> scratch;
};

DriveGenerator::DriveGenerator(const ProfileTable& profile, const DriveOptions& options) : state_(new State)
{
    State& s = *state_;
    profile.Validate();
    s.axis = MakeFrequencyAxis(options.sampleRate, options.frameSize, true);
    if (!(options.clipSigma >= 0.0) || !std::isfinite(options.clipSigma))
        throw Error("the clip " + MessageNumber(options.clipSigma) +
                    " is not 0 (none) or a positive multiple of the RMS");
    const double nyquist = options.sampleRate / 2.0;
    if (!(profile.points.back().frequency < nyquist))
        throw Error(profile.name + ": the profile reaches " + MessageNumber(profile.points.back().frequency) +
                    " Hz, not below half the sample rate (" + MessageNumber(nyquist) + " Hz)");

    const int n = options.frameSize;
    const int lastLine = s.axis.lastLine;
    ProfileCurves curves = EvaluateProfile(profile, s.axis);
    std::vector<float> aps(static_cast<size_t>(lastLine + 1));
    qv::math::PSDtoAPS(curves.level.data(), aps.data(), lastLine + 1, s.axis.deltaF);
    aps[0] = 0.0f;
    int firstLine = 0;
    for (int k = 1; k <= lastLine && firstLine == 0; ++k)
        if (aps[static_cast<size_t>(k)] > 0.0f)
            firstLine = k;
    if (firstLine == 0)
        throw Error(profile.name + ": the profile holds no line of a " + std::to_string(n) +
                    "-sample frame (lines every " + MessageNumber(static_cast<double>(s.axis.deltaF)) +
                    " Hz): make the frame longer");
    s.targetRms = qv::math::RMS_APS(aps.data(), lastLine);
    s.clipLimit = static_cast<float>(options.clipSigma * s.targetRms);

    qv::math::SRand(options.seed);
    const float scale = static_cast<float>(1.0 / std::sqrt(1.5));
    std::vector<float> spectrum(static_cast<size_t>(n));
    s.scratch.resize(static_cast<size_t>(n));
    std::vector<float> warmUp(static_cast<size_t>(n));
    for (int low = firstLine, band = 0; low <= lastLine; low *= 2, ++band) {
        const int high = std::min(2 * low - 1, lastLine);
        bool any = false;
        std::fill(spectrum.begin(), spectrum.end(), 0.0f);
        for (int k = low; k <= high; ++k) {
            spectrum[static_cast<size_t>(k)] = aps[static_cast<size_t>(k)];
            any = any || aps[static_cast<size_t>(k)] > 0.0f;
        }
        if (!any)
            continue;
        qv::math::APSAddRandomPhase(spectrum.data(), n, lastLine);
        std::vector<float> base(static_cast<size_t>(n));
        qv::math::IFT(spectrum.data(), lastLine, base.data(), n, QV_FFT_SCALE_RMS);
        qv::math::ArrayScale(base.data(), n, scale);
        s.onions.emplace_back(n);
        if (!s.onions.back().Valid())
            throw Error("no memory for the drive's generators");
        s.onions.back().State().gen.seed = BandSeed(options.seed, band);
        s.bases.push_back(std::move(base));
        qv::math::AddRandomBandToTimeBuffer(s.onions.back().State(), warmUp.data(), n, s.bases.back().data(),
                                            s.scratch.data());
    }
}

DriveGenerator::~DriveGenerator() = default;

int DriveGenerator::Next(float* out)
{
    State& s = *state_;
    const int n = s.axis.frameSize;
    qv::math::ArrayInit(out, n, 0.0f);
    for (size_t b = 0; b < s.onions.size(); ++b)
        qv::math::AddRandomBandToTimeBuffer(s.onions[b].State(), out, n, s.bases[b].data(), s.scratch.data());
    if (s.clipLimit > 0.0f)
        return qv::math::SigmaClip(out, n, qv::DriveClipSigma, s.clipLimit);
    return 0;
}

int DriveGenerator::Bands() const
{
    return static_cast<int>(state_->onions.size());
}

double DriveGenerator::TargetRms() const
{
    return state_->targetRms;
}

float DriveGenerator::ClipLimit() const
{
    return state_->clipLimit;
}

const FrequencyAxis& DriveGenerator::Axis() const
{
    return state_->axis;
}

DriveReport GenerateDrive(const ProfileTable& profile, const DriveOptions& options, BlockSink& sink,
                          const Progress& progress)
{
    if (!(options.seconds > 0.0) || !std::isfinite(options.seconds))
        throw Error("the drive's duration " + MessageNumber(options.seconds) + " s is not positive");
    DriveGenerator generator(profile, options);
    const int n = options.frameSize;
    const int64_t total = static_cast<int64_t>(qv::math::Duration2Samples(options.seconds, options.sampleRate));
    if (total < n)
        throw Error("a drive of " + MessageNumber(options.seconds) + " s (" + std::to_string(total) +
                    " samples) is shorter than one frame of " + std::to_string(n) + " samples");
    SpectrumOptions checkOptions;
    checkOptions.frameSize = n;
    checkOptions.fullBand = true;
    PsdAverager check(options.sampleRate, 1, checkOptions);

    DriveReport report;
    report.bands = generator.Bands();
    report.targetRms = generator.TargetRms();
    report.clipLimit = static_cast<double>(generator.ClipLimit());
    std::vector<float> block(static_cast<size_t>(n));
    const float* channels[1] = {block.data()};
    while (report.frames < total) {
        report.clipped += generator.Next(block.data());
        const int frames = static_cast<int>(std::min<int64_t>(n, total - report.frames));
        sink.Write(block.data(), frames);
        check.Push(channels, frames);
        report.frames += frames;
        if (progress)
            progress(static_cast<double>(report.frames) / static_cast<double>(total));
    }
    report.check = check.Result();
    report.check.channelNames = {"drive"};
    report.comparison = CompareWithProfile(report.check, 0, profile);
    sink.Finish();
    return report;
}

}  // namespace rec
}  // namespace numora
