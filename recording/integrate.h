#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "recording/source.h"

// Integration of acceleration records to velocity and displacement with the
// library's run (ScanUnitLimits): per block of blockFrames samples, the
// acceleration's limits and RMS are taken, a moving mean of a tenth of a
// second is taken off it, it is integrated to velocity (fourth-order
// Adams-Moulton, state carried from block to block), the drift is taken off
// again, integrated to displacement, and the limits of all three widen over
// the run.
//
// Units: the input is in g (velocity in m/s and displacement in mm, or with
// English units in/s and in) or in any other acceleration unit, which is
// scaled to m/s^2 first (m/s and mm), or to g for English units.
//
// choice: the drift filter works within each block, as the library's run
// does, so the results depend on the block size (one second of samples by
// default); a last block shorter than the filter's window joins the block
// before it, so that every block is filtered.

namespace numora {
namespace rec {

struct IntegrationOptions {
    double accelerationToSi = 9.80665;  // SI value of one input unit (1 for m/s^2, 9.80665 for g)
    bool english = false;               // in/s and in instead of m/s and mm
    int blockFrames = 0;                // samples per block; 0 for one second
};

// Options for a record in `unit`, a unit string that resolves to a row of
// the unit table for an acceleration ("g", "m/s²", "in/s²", ...), integrated
// in blocks of blockSeconds at sampleRate: trunc(blockSeconds * sampleRate
// + 0.5) samples, at least one. Throws Error for a unit that is not an
// acceleration or a block that is not positive.
IntegrationOptions AccelerationOptions(const std::string& unit, bool english, double blockSeconds, double sampleRate);

// Limits of one channel over the run.
struct ChannelLimits {
    std::string name;
    float accelMin = 0, accelMax = 0, accelPeak = 0, accelRms = 0;  // in the unit the run integrates (g or m/s^2)
    float velMin = 0, velMax = 0, velPeak = 0;
    float dispMin = 0, dispMax = 0, dispPeak = 0;
};

struct IntegrationReport {
    int64_t frames = 0;
    std::string accelerationUnit, velocityUnit, displacementUnit;  // "g" or "m/s²"; "m/s" or "in/s"; "mm" or "in"
    std::vector<ChannelLimits> channels;
};

// Integrates the chosen channels into sink: for each, its velocity and then
// its displacement channel. Finishes the sink. Throws Error (a block shorter
// than the drift window when the whole record is, a factor that is not
// positive), and then leaves the sink unfinished.
IntegrationReport IntegrateRecord(BlockSource& source, const std::vector<int>& channels,
                                  const IntegrationOptions& options, BlockSink& sink, const Progress& progress = {},
                                  float scale = 1.0f);

}  // namespace rec
}  // namespace numora
