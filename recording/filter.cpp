#include "recording/filter.h"

#include <cmath>
#include <cstdio>

#include "numora/foundation/complex.h"
#include "recording/error.h"

namespace numora {
namespace rec {

using qv::math::CSectionFilter;
using qv::math::CTimeFilter;

namespace {

const char* const kTypeNames[] = {"butterworth", "bessel", "chebyshev"};
const char* const kShapeNames[] = {"lowpass", "highpass", "bandpass", "bandstop"};

bool IsBand(CTimeFilter::Shape shape)
{
    return shape == CTimeFilter::BandPass || shape == CTimeFilter::BandStop;
}

void Validate(const FilterDesign& d, double sampleRate)
{
    if (d.order < 1 || d.order > 10)
        throw Error("filter order " + std::to_string(d.order) + " is not from 1 to 10");
    if (!(sampleRate > 0.0) || !std::isfinite(sampleRate))
        throw Error("the sample rate " + MessageNumber(sampleRate) + " is not positive");
    const double nyquist = sampleRate / 2.0;
    const char* first = IsBand(d.shape) ? "lower band edge" : "corner";
    if (!(d.f1 > 0.0f) || !(static_cast<double>(d.f1) < nyquist))
        throw Error(std::string("the ") + first + " " + MessageNumber(static_cast<double>(d.f1)) +
                    " Hz is not between 0 and half the sample rate (" + MessageNumber(nyquist) + " Hz)");
    if (IsBand(d.shape)) {
        if (!(d.f2 > 0.0f) || !(static_cast<double>(d.f2) < nyquist))
            throw Error("the upper band edge " + MessageNumber(static_cast<double>(d.f2)) +
                        " Hz is not between 0 and half the sample rate (" + MessageNumber(nyquist) + " Hz)");
        if (d.f1 == d.f2)
            throw Error("the band edges are both " + MessageNumber(static_cast<double>(d.f1)) + " Hz");
    }
    if (d.type == CTimeFilter::Chebyshev && !(d.rippleDb < 0.0f))
        throw Error("the Chebyshev ripple " + MessageNumber(static_cast<double>(d.rippleDb)) + " dB is not below 0");
}

std::string DesignRefused(int code)
{
    switch (code) {
    case -3:
    case -4:
        return "the Chebyshev ripple gives no design";
    default:
        return "the band edges, after the design's limits, do not fit between 0 and half the sample rate";
    }
}

ResponsePoint Point(double frequency, complexd h)
{
    return ResponsePoint{frequency, qv::math::ComplexHypot(h), qv::math::ComplexPhase(h.re, h.im)};
}

}  // namespace

CTimeFilter::Type ParseFilterType(const std::string& name)
{
    for (int i = 0; i < 3; ++i)
        if (name == kTypeNames[i])
            return static_cast<CTimeFilter::Type>(i);
    throw Error("unknown filter type '" + name + "': choose butterworth, bessel or chebyshev");
}

CTimeFilter::Shape ParseFilterShape(const std::string& name)
{
    for (int i = 0; i < 4; ++i)
        if (name == kShapeNames[i])
            return static_cast<CTimeFilter::Shape>(i);
    throw Error("unknown filter shape '" + name + "': choose lowpass, highpass, bandpass or bandstop");
}

std::string FilterTypeName(CTimeFilter::Type type)
{
    return kTypeNames[static_cast<int>(type)];
}

std::string FilterShapeName(CTimeFilter::Shape shape)
{
    return kShapeNames[static_cast<int>(shape)];
}

struct RecordFilter::State {
    FilterDesign design;
    double sampleRate = 0.0;
    std::vector<CSectionFilter> sections;
    std::vector<CTimeFilter> direct;
};

RecordFilter::RecordFilter(const FilterDesign& design, double sampleRate, int channels) : state_(new State)
{
    Validate(design, sampleRate);
    State& s = *state_;
    s.design = design;
    s.sampleRate = sampleRate;
    const float rate = static_cast<float>(sampleRate);
    const float f2 = IsBand(design.shape) ? design.f2 : 0.0f;
    if (design.directForm) {
        CTimeFilter filter;
        filter.rippleDb = design.rippleDb;
        filter.Initialize(design.f1, f2, rate, design.type, design.shape, design.order);
        if (filter.unstable)
            throw Error("the direct form of this " + FilterTypeName(design.type) + " " + FilterShapeName(design.shape) +
                        " of order " + std::to_string(design.order) +
                        " is unstable: run it as second-order sections (leave out the direct form)");
        s.direct.assign(static_cast<size_t>(channels), filter);
    } else {
        CSectionFilter filter;
        const int code =
            filter.Initialize(design.f1, f2, rate, design.type, design.shape, design.order, design.rippleDb);
        if (code != 0)
            throw Error("filter design refused: " + DesignRefused(code));
        s.sections.assign(static_cast<size_t>(channels), filter);
    }
}

RecordFilter::~RecordFilter() = default;

void RecordFilter::Process(float* const* data, int frames)
{
    State& s = *state_;
    for (size_t c = 0; c < s.sections.size(); ++c)
        s.sections[c].Apply(data[c], frames);
    for (size_t c = 0; c < s.direct.size(); ++c)
        s.direct[c].Apply(data[c], frames);
}

float RecordFilter::F1() const
{
    const State& s = *state_;
    return s.direct.empty() ? s.sections[0].F1() : s.direct[0].f1;
}

float RecordFilter::F2() const
{
    const State& s = *state_;
    return s.direct.empty() ? s.sections[0].F2() : s.direct[0].f2;
}

ResponsePoint RecordFilter::Response(double frequency) const
{
    const State& s = *state_;
    if (s.direct.empty())
        return Point(frequency, s.sections[0].Response(frequency));
    // y[n] = sum xcoeffs[i] x[n - (numZeros - i)] + sum ycoeffs[i] y[n - (numPoles - i)],
    // with the input scaled by gain.
    const CTimeFilter& f = s.direct[0];
    const double w = 6.283185307179586 * frequency / s.sampleRate;
    complexd num{0.0, 0.0};
    for (int i = 0; i <= f.numZeros; ++i)
        num = num + f.xcoeffs[i] * qv::math::ComplexExpj(-w * static_cast<double>(f.numZeros - i));
    complexd den{1.0, 0.0};
    for (int i = 0; i < f.numPoles; ++i)
        den = den - f.ycoeffs[i] * qv::math::ComplexExpj(-w * static_cast<double>(f.numPoles - i));
    return Point(frequency, static_cast<double>(f.gain) * (num / den));
}

std::vector<ResponsePoint> RecordFilter::ResponseCurve(int count) const
{
    const double low = state_->sampleRate / 10000.0;
    const double high = state_->sampleRate / 2.0 * 0.999;
    std::vector<ResponsePoint> curve;
    for (int i = 0; i < count; ++i) {
        const double t = count > 1 ? static_cast<double>(i) / static_cast<double>(count - 1) : 0.0;
        curve.push_back(Response(low * std::pow(high / low, t)));
    }
    return curve;
}

void FilterRecord(BlockSource& source, const std::vector<int>& channels, const FilterDesign& design, BlockSink& sink,
                  const Progress& progress, int blockFrames)
{
    ChannelReader reader(source, channels, blockFrames);
    const int count = reader.ChannelCount();
    RecordFilter filter(design, source.Info().sampleRate, count);
    std::vector<float> out(static_cast<size_t>(blockFrames) * static_cast<size_t>(count));
    while (const int n = reader.Next()) {
        filter.Process(reader.Channels(), n);
        Interleave(reader.Channels(), count, n, out.data());
        sink.Write(out.data(), n);
        if (progress)
            progress(source.Fraction());
    }
    sink.Finish();
}

}  // namespace rec
}  // namespace numora
