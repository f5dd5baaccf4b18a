#include "recording/integrate.h"

#include <algorithm>
#include <cmath>

#include "numora/analysis/integration.h"
#include "numora/foundation/scalar.h"
#include "recording/error.h"
#include "recording/units.h"

namespace numora {
namespace rec {

namespace {

constexpr double kStandardGravity = 9.80665;

}  // namespace

IntegrationOptions AccelerationOptions(const std::string& unit, bool english, double blockSeconds, double sampleRate)
{
    const UnitMatch match = RequireUnit(unit);
    if (match.unit.type != 1 || !match.hasRow)
        throw Error("integrate takes an acceleration, and '" + unit + "' is " +
                    (match.unit.typeName.empty() ? std::string("no unit of one") : "a unit of " + match.unit.typeName));
    if (!(blockSeconds > 0.0) || !std::isfinite(blockSeconds))
        throw Error("the block of " + MessageNumber(blockSeconds) + " s is not positive");
    IntegrationOptions options;
    options.accelerationToSi = match.unit.factor;
    options.english = english;
    options.blockFrames = std::max(1, static_cast<int>(blockSeconds * sampleRate + 0.5));
    return options;
}

IntegrationReport IntegrateRecord(BlockSource& source, const std::vector<int>& channels,
                                  const IntegrationOptions& options, BlockSink& sink, const Progress& progress,
                                  float scale)
{
    const RecordInfo& info = source.Info();
    const double rate = info.sampleRate;
    if (!(options.accelerationToSi > 0.0) || !std::isfinite(options.accelerationToSi))
        throw Error("the acceleration factor " + MessageNumber(options.accelerationToSi) + " is not positive");
    const int block =
        options.blockFrames > 0 ? options.blockFrames : std::max(1, static_cast<int>(qv::math::Round(rate)));
    // The drift window of the run, a tenth of a second less one sample.
    const int window = static_cast<int>(qv::math::Round(rate * 0.1)) - 1;

    IntegrationReport report;
    qv::UnitSys units = qv::UnitSysSI;
    double toRun = options.accelerationToSi;  // input unit to the unit the run takes
    report.accelerationUnit = "m/s\xC2\xB2";
    if (options.english) {
        units = qv::UnitSysEnglish;
        toRun = options.accelerationToSi / kStandardGravity;
        report.accelerationUnit = "g";
    } else if (options.accelerationToSi == kStandardGravity) {
        units = qv::UnitSysMetric;
        toRun = 1.0;
        report.accelerationUnit = "g";
    }
    report.velocityUnit = options.english ? "in/s" : "m/s";
    report.displacementUnit = options.english ? "in" : "mm";

    ChannelReader reader(source, channels, block, scale);
    const int count = reader.ChannelCount();
    const size_t room = 2 * static_cast<size_t>(block);
    std::vector<std::vector<float>> accel(static_cast<size_t>(count), std::vector<float>(room));
    std::vector<std::vector<float>> vel = accel, disp = accel, scratch = accel;
    std::vector<qv::math::SCAN_UNIT_LIMITS> runs(static_cast<size_t>(count));
    for (int c = 0; c < count; ++c) {
        qv::math::SCAN_UNIT_LIMITS& run = runs[static_cast<size_t>(c)];  // zeroed: a new run
        run.unitSys = units;
        run.sampleRate = rate;
        run.scale = toRun;
        run.computeRms = true;
    }
    std::vector<float> out(room * 2 * static_cast<size_t>(count));
    std::vector<const float*> planar(2 * static_cast<size_t>(count));

    int pending = 0;  // samples of the block held back in accel
    const auto integrate = [&]() {
        for (int c = 0; c < count; ++c) {
            const size_t i = static_cast<size_t>(c);
            qv::math::SCAN_UNIT_LIMITS& run = runs[i];
            run.accel = accel[i].data();
            run.vel = vel[i].data();
            run.disp = disp[i].data();
            run.scratch = scratch[i].data();
            run.count = pending;
            qv::math::ScanUnitLimits(run);
            planar[2 * i] = vel[i].data();
            planar[2 * i + 1] = disp[i].data();
        }
        Interleave(planar.data(), 2 * count, pending, out.data());
        sink.Write(out.data(), pending);
        report.frames += pending;
        pending = 0;
    };
    while (const int n = reader.Next()) {
        // A last block too short for the drift window joins the one before.
        if (pending > 0 && n > window)
            integrate();
        for (int c = 0; c < count; ++c)
            std::copy_n(reader.Channel(c), n, accel[static_cast<size_t>(c)].data() + pending);
        pending += n;
        if (progress)
            progress(source.Fraction());
    }
    if (pending > 0)
        integrate();

    for (int c = 0; c < count; ++c) {
        const qv::math::SCAN_UNIT_LIMITS& run = runs[static_cast<size_t>(c)];
        ChannelLimits l;
        l.name = info.channelNames[static_cast<size_t>(channels[static_cast<size_t>(c)])];
        l.accelMin = run.accelMin;
        l.accelMax = run.accelMax;
        l.accelPeak = run.accelPeak;
        l.accelRms = run.accelRms;
        l.velMin = run.velMin;
        l.velMax = run.velMax;
        l.velPeak = run.velPeak;
        l.dispMin = run.dispMin;
        l.dispMax = run.dispMax;
        l.dispPeak = run.dispPeak;
        report.channels.push_back(l);
    }
    sink.Finish();
    return report;
}

}  // namespace rec
}  // namespace numora
