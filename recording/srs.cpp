#include "recording/srs.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include "numora/analysis/srs.h"
#include "recording/error.h"

namespace numora {
namespace rec {

namespace {

constexpr int kMaxBands = 1000;  // what the library's spectra hold

using SrsFunction = int (*)(const float*, int, float, float, QV_SRS_TYPE, int, float, float*, float*, float*, float*,
                            float*, float*, float*, float*, float, float, float, float);

void CheckOptions(const SrsOptions& o, double sampleRate)
{
    if (!(o.q > 0.5) || !std::isfinite(o.q))
        throw Error("Q " + MessageNumber(o.q) + " is not above 0.5 (the damping 1 / 2Q must stay below 1)");
    if (o.bandsPerOctave < 1 || o.bandsPerOctave > 1000)
        throw Error(std::to_string(o.bandsPerOctave) + " bands per octave: choose 1 to 1000");
    if (!(o.fLow > 0.0 && o.fLow < o.fHigh) || !std::isfinite(o.fHigh))
        throw Error("frequencies " + MessageNumber(o.fLow) + " to " + MessageNumber(o.fHigh) +
                    " Hz: the lower must be above 0 and below the upper");
    if (!(sampleRate > 0.0) || !std::isfinite(sampleRate))
        throw Error("the sample rate " + MessageNumber(sampleRate) + " is not positive");
    if (!(o.startMs >= 0.0) || !(o.endMs >= 0.0) || !std::isfinite(o.startMs) || !std::isfinite(o.endMs))
        throw Error("the stretch " + MessageNumber(o.startMs) + " to " + MessageNumber(o.endMs) +
                    " ms is not at 0 ms or after");
}

}  // namespace

SrsFilter ParseSrsFilter(const std::string& name)
{
    if (name == "iso")
        return SrsFilter::RampInvariant;
    if (name == "impulse")
        return SrsFilter::ImpulseInvariant;
    throw Error("unknown SRS filter '" + name + "': choose iso (ramp-invariant, ISO 18431-4) or impulse");
}

SrsSeries ParseSrsSeries(const std::string& name)
{
    if (name == "ansi")
        return SrsSeries::Ansi;
    if (name == "acoustic")
        return SrsSeries::Acoustic;
    throw Error("unknown band series '" + name + "': choose ansi or acoustic");
}

SrsResponse ParseSrsResponse(const std::string& name)
{
    if (name == "absolute")
        return SrsResponse::AbsoluteAcceleration;
    if (name == "relative")
        return SrsResponse::RelativeDisplacement;
    throw Error("unknown SRS response '" + name + "': choose absolute or relative");
}

SrsResult ComputeSrs(const float* samples, int64_t n, double sampleRate, const SrsOptions& options,
                     const Progress& progress)
{
    CheckOptions(options, sampleRate);
    if (n < 2)
        throw Error("a shock response spectrum needs at least 2 samples, not " + std::to_string(n));
    if (n > INT_MAX)
        throw Error("a shock response spectrum takes at most " + std::to_string(INT_MAX) + " samples");
    for (int64_t i = 0; i < n; ++i)
        if (!std::isfinite(samples[i]))
            throw Error("sample " + std::to_string(i) + " (" + MessageNumber(static_cast<double>(i) / sampleRate) +
                        " s) is not finite");

    const SrsFunction run =
        options.filter == SrsFilter::RampInvariant ? qv::math::TIMtoSRS_RampInvariant : qv::math::TIMtoSRS;
    const QV_SRS_TYPE type =
        options.response == SrsResponse::AbsoluteAcceleration ? QV_SRS_ABSOLUTE_ACCEL : QV_SRS_RELATIVE_DISP;
    const int bands = options.series == SrsSeries::Acoustic ? -options.bandsPerOctave : options.bandsPerOctave;
    const float rate = static_cast<float>(sampleRate);
    const float damping = static_cast<float>(1.0 / (2.0 * options.q));

    std::vector<float> out(static_cast<size_t>(8 * kMaxBands));
    float* const a = out.data();
    int first = 0;
    const int count = qv::math::SRSCalcAnsiFreq(bands, static_cast<float>(options.fLow),
                                                static_cast<float>(options.fHigh), a, kMaxBands, &first);
    if (count < 1)
        throw Error("the band series from " + MessageNumber(options.fLow) + " to " + MessageNumber(options.fHigh) +
                    " Hz with " + std::to_string(options.bandsPerOctave) +
                    " bands per octave is empty or longer than 1000 bands");
    const std::vector<float> frequencies(a, a + count);

    SrsResult r;
    r.sampleRate = sampleRate;
    r.samples = n;
    std::vector<float>* spectra[] = {&r.primaryPos, &r.primaryNeg, &r.residualPos, &r.residualNeg,
                                     &r.maximax,    &r.maxPos,     &r.maxNeg,      &r.frequency};
    // One band at a time: the series from a band's own frequency to itself
    // starts with that band (and holds more only below band 1).
    for (int b = 0; b < count; ++b) {
        const float f = frequencies[static_cast<size_t>(b)];
        const int got =
            run(samples, static_cast<int>(n), rate, damping, type, bands, 0.0f, a, a + kMaxBands, a + 2 * kMaxBands,
                a + 3 * kMaxBands, a + 4 * kMaxBands, a + 5 * kMaxBands, a + 6 * kMaxBands, a + 7 * kMaxBands, f, f,
                static_cast<float>(options.startMs), static_cast<float>(options.endMs));
        if (got < 1 || a[7 * kMaxBands] != f)
            throw Error("the band at " + MessageNumber(static_cast<double>(f)) + " Hz was not computed");
        for (int s = 0; s < 8; ++s)
            spectra[s]->push_back(a[s * kMaxBands]);
        if (progress)
            progress(static_cast<double>(b + 1) / static_cast<double>(count));
    }
    return r;
}

SrsResult MeasureSrs(BlockSource& source, int channel, const SrsOptions& options, const Progress& progress,
                     int blockFrames, float scale)
{
    const RecordInfo& info = source.Info();
    CheckOptions(options, info.sampleRate);
    // The stretch ends at sample trunc(rate * end / 1000 + 0.5); one more is read for the rounding.
    const int64_t need =
        options.endMs > 0.0 ? static_cast<int64_t>(info.sampleRate * options.endMs / 1000.0 + 0.5) + 2 : INT64_MAX;
    ChannelReader reader(source, {channel}, blockFrames, scale);
    std::vector<float> samples;
    if (info.frames > 0)
        samples.reserve(static_cast<size_t>(std::min(need, info.frames)));
    while (static_cast<int64_t>(samples.size()) < need) {
        const int n = reader.Next();
        if (n == 0)
            break;
        samples.insert(samples.end(), reader.Channel(0), reader.Channel(0) + n);
    }
    if (static_cast<int64_t>(samples.size()) > need)
        samples.resize(static_cast<size_t>(need));
    SrsResult r = ComputeSrs(samples.data(), static_cast<int64_t>(samples.size()), info.sampleRate, options, progress);
    r.channelName = info.channelNames[static_cast<size_t>(channel)];
    return r;
}

}  // namespace rec
}  // namespace numora
