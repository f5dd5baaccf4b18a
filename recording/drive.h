#pragma once

#include <cstdint>
#include <memory>

#include "recording/profile.h"
#include "recording/source.h"
#include "recording/spectrum.h"

// Random drive of a given duration from a test profile.
//
// The profile is evaluated at the lines of a frame of frameSize samples and
// split into octave bands (from the lowest line with a level, each band
// twice as wide as the one below). Each band becomes a base period of its
// own: its power per line with random phases (APSAddRandomPhase), turned
// into time by the inverse transform. Each band has its own overlap
// generator (four Hann-windowed copies of the base period, restarted at
// random points, overlapping by 75 %), seeded on its own so that the bands
// never restart in lock-step, and the bands are summed block by block
// (AddRandomBandToTimeBuffer). The result is a continuous, non-repeating
// drive whose PSD follows the profile.
//
// choice: the four overlapping copies add up to 1.5 times the power of the
// base period (the squares of four Hann windows 75 % apart sum to 1.5), so
// every base period is scaled by 1 / sqrt(1.5), rounded to float.
// choice: each generator runs one block before the drive starts, so that
// the drive begins at its full level instead of fading in.
// choice: a clip limits every sample to clipSigma times the RMS of the
// profile (the drive's intended standard deviation), not to a multiple of
// each block's own deviation, so that the limit is the same in every block.

namespace numora {
namespace rec {

struct DriveOptions {
    double sampleRate = 51200.0;
    double seconds = 60.0;
    int frameSize = 8192;    // samples of each base period, a power of two from 4 to 32768
    double clipSigma = 0.0;  // clip at this multiple of the profile's RMS; 0 for no clip
    unsigned int seed = 1;   // random phases and restarts; the same seed gives the same drive
};

// Makes a drive block by block.
class DriveGenerator {
public:
    // Throws Error for a profile or options that cannot make a drive: a
    // sample rate that is not positive, a profile that reaches half the
    // sample rate or holds no line of the frame, a clip below 0.
    DriveGenerator(const ProfileTable& profile, const DriveOptions& options);
    ~DriveGenerator();
    DriveGenerator(const DriveGenerator&) = delete;
    DriveGenerator& operator=(const DriveGenerator&) = delete;

    // Writes the next frameSize samples to out and returns the samples
    // clipped among them. Allocates nothing.
    int Next(float* out);
    int Bands() const;
    // RMS the drive is made for: the profile's over the lines of the frame.
    double TargetRms() const;
    // The clip limit, 0 when there is none.
    float ClipLimit() const;
    const FrequencyAxis& Axis() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

struct DriveReport {
    int64_t frames = 0;  // samples written
    int bands = 0;
    int64_t clipped = 0;  // samples clipped
    double targetRms = 0.0;
    double clipLimit = 0.0;
    PsdResult check;          // PSD of the drive as written: frames of frameSize, Hann, 50 % overlap, all lines
    ProfileCheck comparison;  // the check against the profile
};

// Writes a drive of `seconds` (floor(seconds * sampleRate) samples, one
// channel) to sink, measures its PSD as it goes, and finishes the sink.
// Throws Error, and then leaves the sink unfinished.
DriveReport GenerateDrive(const ProfileTable& profile, const DriveOptions& options, BlockSink& sink,
                          const Progress& progress = {});

}  // namespace rec
}  // namespace numora
