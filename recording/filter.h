#pragma once

#include <memory>
#include <string>
#include <vector>

#include "numora/analysis/time_filter.h"
#include "recording/source.h"

// Recursive (IIR) filtering of whole records with the library's time-filter
// designs: Butterworth, Bessel or Chebyshev low-pass, high-pass, band-pass or
// band-stop of order 1 to 10. Every channel runs its own filter, and its
// state carries from block to block, so a record filtered block by block
// gives the same samples as the whole record filtered at once.
//
// By default a design runs as second-order sections (CSectionFilter), which
// are stable for every design. The exact direct form (CTimeFilter), whose
// results are fixed to the bit, holds only for modest orders and corners
// (see numora/analysis/time_filter.h); a direct design that its stability
// probe marks unstable is refused.

namespace numora {
namespace rec {

struct FilterDesign {
    qv::math::CTimeFilter::Type type = qv::math::CTimeFilter::Butterworth;
    qv::math::CTimeFilter::Shape shape = qv::math::CTimeFilter::LowPass;
    int order = 4;            // 1 to 10
    float f1 = 1000.0f;       // corner, or the lower band edge, Hz
    float f2 = 0.0f;          // upper band edge of a band shape, Hz
    float rippleDb = -1.0f;   // Chebyshev pass-band ripple, dB, below 0
    bool directForm = false;  // the exact direct form instead of sections
};

// Characteristic from its name (butterworth, bessel, chebyshev) and shape
// from its name (lowpass, highpass, bandpass, bandstop). Throw Error naming
// the choices.
qv::math::CTimeFilter::Type ParseFilterType(const std::string& name);
qv::math::CTimeFilter::Shape ParseFilterShape(const std::string& name);
std::string FilterTypeName(qv::math::CTimeFilter::Type type);
std::string FilterShapeName(qv::math::CTimeFilter::Shape shape);

// One response point: frequency, gain and phase in degrees.
struct ResponsePoint {
    double frequency;
    double gain;
    double phaseDeg;
};

// A design applied to several channels.
class RecordFilter {
public:
    // Throws Error for an order outside 1 to 10, a frequency that is not
    // above 0 or not below half the sample rate, a band shape without its
    // upper edge, a ripple not below 0, or a design the filter refuses or
    // (direct form) finds unstable.
    RecordFilter(const FilterDesign& design, double sampleRate, int channels);
    ~RecordFilter();
    RecordFilter(const RecordFilter&) = delete;
    RecordFilter& operator=(const RecordFilter&) = delete;

    // Filters `frames` samples of every channel in place, channel i at
    // data[i]. Allocates nothing.
    void Process(float* const* data, int frames);
    // Band edges after the designs' frequency limits (f2 is 0 for the
    // shapes without it).
    float F1() const;
    float F2() const;
    // Response of the design at a frequency: the sections' product, or for
    // the direct form its polynomial ratio times its input gain.
    ResponsePoint Response(double frequency) const;
    // Response at `count` frequencies spaced evenly on a log scale from
    // sampleRate / 10000 to just below half the sample rate.
    std::vector<ResponsePoint> ResponseCurve(int count) const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

// Filters the chosen channels of a record into sink (one output channel per
// chosen channel, in order) and finishes it. Throws Error, and then leaves
// the sink unfinished.
void FilterRecord(BlockSource& source, const std::vector<int>& channels, const FilterDesign& design, BlockSink& sink,
                  const Progress& progress = {}, int blockFrames = kDefaultBlockFrames);

}  // namespace rec
}  // namespace numora
