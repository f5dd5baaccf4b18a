#include <memory>

#include "recording/error.h"
#include "recording/integrate.h"
#include "recording/io/csv.h"
#include "recording/io/open.h"
#include "tools/numora/common.h"
#include "tools/numora/progress.h"

namespace numora {
namespace cli {

int RunIntegrate(const IntegrateArgs& args)
{
    std::unique_ptr<rec::BlockSource> source = rec::OpenRecording(args.recording.path, args.recording.rate);
    const rec::RecordInfo& info = source->Info();
    const std::vector<int> channels = ParseChannels(args.channels, info);
    const rec::IntegrationOptions options =
        rec::AccelerationOptions(args.unit, args.english, args.blockSeconds, info.sampleRate);
    std::vector<std::string> names;
    for (int c : channels) {
        names.push_back(info.channelNames[static_cast<size_t>(c)] + "_velocity");
        names.push_back(info.channelNames[static_cast<size_t>(c)] + "_displacement");
    }
    std::unique_ptr<rec::BlockSink> sink = rec::CreateRecording(args.output, info.sampleRate, names);

    rec::IntegrationReport report;
    {
        ProgressBar bar("integrate");
        report = rec::IntegrateRecord(*source, channels, options, *sink, bar.Callback(),
                                      static_cast<float>(args.recording.scale));
    }
    Report(args.output + ": velocity (" + report.velocityUnit + ") and displacement (" + report.displacementUnit +
           ") of " + std::to_string(channels.size()) + " channel" + (channels.size() == 1 ? "" : "s") + " of " +
           info.name + ", " + Num(static_cast<double>(report.frames) / info.sampleRate, 6) + " s in blocks of " +
           std::to_string(options.blockFrames) + " samples");
    const auto d = [](float v) { return Num(static_cast<double>(v)); };
    for (const rec::ChannelLimits& l : report.channels) {
        Report(l.name + ": acceleration " + d(l.accelMin) + " to " + d(l.accelMax) + " " + report.accelerationUnit +
               " (peak " + d(l.accelPeak) + ", largest block RMS " + d(l.accelRms) + ")");
        Report(l.name + ": velocity " + d(l.velMin) + " to " + d(l.velMax) + " " + report.velocityUnit + " (peak " +
               d(l.velPeak) + ")");
        Report(l.name + ": displacement " + d(l.dispMin) + " to " + d(l.dispMax) + " " + report.displacementUnit +
               " (peak " + d(l.dispPeak) + ")");
    }
    if (!args.csv.empty()) {
        rec::CsvWriter csv(args.csv);
        csv.Header({"channel", "quantity", "unit", "min", "max", "peak", "rms"});
        const std::string none;
        for (const rec::ChannelLimits& l : report.channels) {
            csv.Add(l.name).Add(std::string("acceleration")).Add(report.accelerationUnit);
            csv.Add(l.accelMin).Add(l.accelMax).Add(l.accelPeak).Add(l.accelRms).EndRow();
            csv.Add(l.name).Add(std::string("velocity")).Add(report.velocityUnit);
            csv.Add(l.velMin).Add(l.velMax).Add(l.velPeak).Add(none).EndRow();
            csv.Add(l.name).Add(std::string("displacement")).Add(report.displacementUnit);
            csv.Add(l.dispMin).Add(l.dispMax).Add(l.dispPeak).Add(none).EndRow();
        }
        csv.Commit();
    }
    return 0;
}

}  // namespace cli
}  // namespace numora
