#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "recording/source.h"

// Shock response spectra of a record: for every frequency of a
// fractional-octave series a damped single-degree-of-freedom oscillator is
// driven by the samples, and its largest positive and negative responses
// while the stretch lasts (primary) and while it rings out after it
// (residual) are kept. The library's TIMtoSRS (impulse-invariant filter) or
// TIMtoSRS_RampInvariant (ramp-invariant filter of ISO 18431-4) computes
// them, one band at a time, so that a long job can report its progress; the
// result is the same as one call over all bands.
//
// choice: each oscillator runs over the whole stretch, so the analysed
// channel is held in memory up to the end of the stretch (4 bytes a sample),
// unlike the block-by-block analyses.

namespace numora {
namespace rec {

enum class SrsFilter { RampInvariant, ImpulseInvariant };
enum class SrsSeries { Ansi, Acoustic };
enum class SrsResponse { AbsoluteAcceleration, RelativeDisplacement };

// Filter from its name: iso (ramp-invariant) or impulse. Series: ansi or
// acoustic. Response: absolute or relative. Throw Error naming the choices.
SrsFilter ParseSrsFilter(const std::string& name);
SrsSeries ParseSrsSeries(const std::string& name);
SrsResponse ParseSrsResponse(const std::string& name);

struct SrsOptions {
    double q = 10.0;  // quality factor; damping 1 / (2 q), q above 0.5
    int bandsPerOctave = 12;
    double fLow = 10.0, fHigh = 10000.0;  // Hz
    SrsFilter filter = SrsFilter::RampInvariant;
    SrsSeries series = SrsSeries::Ansi;
    SrsResponse response = SrsResponse::AbsoluteAcceleration;
    double startMs = 0.0, endMs = 0.0;  // the stretch; an end of 0 means the last sample
};

// The seven spectra, one value per band, lowest frequency first; negative
// peaks as magnitudes.
struct SrsResult {
    std::string channelName;
    double sampleRate = 0.0;
    int64_t samples = 0;  // samples held
    std::vector<float> frequency;
    std::vector<float> primaryPos, primaryNeg, residualPos, residualNeg;
    std::vector<float> maximax, maxPos, maxNeg;
};

// The spectra of n samples in memory. Throws Error for options the library
// cannot serve (q not above 0.5, a band series that is empty or longer than
// 1000 bands, fewer than 2 samples) or a sample that is not finite.
SrsResult ComputeSrs(const float* samples, int64_t n, double sampleRate, const SrsOptions& options,
                     const Progress& progress = {});

// The spectra of one channel of a record, read up to the end of the stretch.
SrsResult MeasureSrs(BlockSource& source, int channel, const SrsOptions& options, const Progress& progress = {},
                     int blockFrames = kDefaultBlockFrames, float scale = 1.0f);

}  // namespace rec
}  // namespace numora
