#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "numora/foundation/records.h"
#include "recording/source.h"
#include "recording/spectrum.h"

// Frequency response of a system from a reference (excitation) and a
// response record: the H1 estimate, averaged cross spectrum over the
// reference's auto spectrum, with the coherence of the two.
//
// Both records are cut into the same frames and go through the library's
// frame chain; the cross spectrum is averaged with the response first
// (TIMtoCPS(response, reference)), so that H1 = S(resp, ref) / S(ref, ref)
// is the response over the reference, gain and phase of the system.
// Only the linear and the exponential averages apply.

namespace numora {
namespace rec {

struct FrfResult {
    FrequencyAxis axis;
    int64_t averages = 0;
    std::string referenceName, responseName;
    std::vector<float> re, im;        // H1 per line, lines 0 .. lastLine
    std::vector<float> gain;          // |H1|
    std::vector<float> phaseDeg;      // phase of H1 in degrees, -180 to 180
    std::vector<float> coherence;     // |S(resp, ref)|^2 / (S(resp, resp) S(ref, ref)), not limited to 0 .. 1
    std::vector<float> apsReference;  // averaged power per line of the reference
    std::vector<float> apsResponse;   // ... and of the response
    std::vector<complex> cps;         // averaged cross power per line, S(resp, ref) = resp * conj(ref)
    std::vector<complex> cpsd;        // ... per hertz: both parts of cps times 1 / deltaF, as APStoPSD
};

// Averages frame pairs as their samples arrive.
class FrfAverager {
public:
    // Throws Error for options the chain refuses or an averaging other than
    // linear or exponential.
    FrfAverager(double sampleRate, const SpectrumOptions& options);
    ~FrfAverager();
    FrfAverager(const FrfAverager&) = delete;
    FrfAverager& operator=(const FrfAverager&) = delete;

    // Feeds `frames` samples of both records. Allocates nothing.
    void Push(const float* reference, const float* response, int frames);
    int64_t Averages() const;
    // Throws Error before the first whole frame.
    FrfResult Result() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

// H1 and coherence of channel `responseChannel` of `response` over channel
// `referenceChannel` of `reference`. The two may be one source (two of its
// channels, read once) or two sources of the same sample rate, read side by
// side up to the end of the shorter one. Throws Error.
FrfResult MeasureFrf(BlockSource& reference, int referenceChannel, BlockSource& response, int responseChannel,
                     const SpectrumOptions& options, const Progress& progress = {},
                     int blockFrames = kDefaultBlockFrames);

// H1 and coherence of a response over a reference held in memory, `frames`
// samples each; named ch1 (reference) and ch2 (response). Throws Error when
// they hold no whole frame.
FrfResult MeasureFrf(const float* reference, const float* response, int64_t frames, double sampleRate,
                     const SpectrumOptions& options);

}  // namespace rec
}  // namespace numora
