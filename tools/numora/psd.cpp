#include <cstdlib>
#include <memory>

#include "recording/error.h"
#include "recording/io/csv.h"
#include "recording/io/open.h"
#include "recording/profile.h"
#include "tools/numora/common.h"
#include "tools/numora/plot.h"
#include "tools/numora/progress.h"
#include "tools/numora/spectrum_output.h"

namespace numora {
namespace cli {

namespace {

struct Band {
    double low, high;
};

Band ParseBand(const std::string& text)
{
    const size_t colon = text.find(':');
    char* end1 = nullptr;
    char* end2 = nullptr;
    if (colon != std::string::npos) {
        const std::string a = text.substr(0, colon), b = text.substr(colon + 1);
        const double low = std::strtod(a.c_str(), &end1);
        const double high = std::strtod(b.c_str(), &end2);
        if (!a.empty() && !b.empty() && *end1 == '\0' && *end2 == '\0')
            return Band{low, high};
    }
    throw rec::Error("band '" + text + "' is not LOW:HIGH in Hz, such as 20:2000");
}

}  // namespace

int RunPsd(const PsdArgs& args)
{
    for (const std::string& plot : args.plots)
        CheckPlotPath(plot);
    const std::string unit = CheckedUnit(args.unit);
    const rec::SpectrumOptions options = SpectrumFrom(args.spectrum);
    std::vector<Band> bands;
    for (const std::string& text : args.bands)
        bands.push_back(ParseBand(text));
    std::unique_ptr<rec::ProfileTable> profile;
    if (!args.profile.empty())
        profile.reset(new rec::ProfileTable(rec::ReadProfile(args.profile)));
    std::unique_ptr<rec::BlockSource> source = rec::OpenRecording(args.recording.path, args.recording.rate);
    const rec::RecordInfo& info = source->Info();
    const std::vector<int> channels = ParseChannels(args.channels, info);

    rec::PsdResult result;
    {
        ProgressBar bar("psd");
        result = rec::MeasurePsd(*source, channels, options, bar.Callback(), rec::kDefaultBlockFrames,
                                 static_cast<float>(args.recording.scale));
    }
    std::vector<double> bandRms;
    for (size_t c = 0; c < channels.size(); ++c)
        for (const Band& band : bands)
            bandRms.push_back(rec::BandRms(result, static_cast<int>(c), band.low, band.high));
    std::vector<rec::ProfileCheck> checks;
    if (profile)
        for (size_t c = 0; c < channels.size(); ++c)
            checks.push_back(rec::CompareWithProfile(result, static_cast<int>(c), *profile));

    Report(info.name + ": " + Num(info.sampleRate, 9) + " Hz, " + std::to_string(info.channels) + " channel" +
           (info.channels == 1 ? "" : "s") + ", " + Num(static_cast<double>(result.samples) / info.sampleRate, 6) +
           " s");
    Report("PSD: " + DescribeSpectrum(result.axis, options, result.averages));
    for (size_t c = 0; c < channels.size(); ++c) {
        const std::string& name = result.channelNames[c];
        Report(name + ": " + Num(result.overallRms[c]) + " " + unit + " RMS overall (" +
               Num(static_cast<double>(result.axis.deltaF), 6) + " to " +
               Num(result.axis.Frequency(result.axis.lastLine), 6) + " Hz)");
        for (size_t b = 0; b < bands.size(); ++b)
            Report(name + ": " + Num(bandRms[c * bands.size() + b]) + " " + unit + " RMS from " + Num(bands[b].low, 6) +
                   " to " + Num(bands[b].high, 6) + " Hz");
        if (profile)
            Report(DescribeCheck(name, args.profile, *profile, checks[c], unit));
    }

    const rec::ProfileCurves* curves = profile ? &checks[0].curves : nullptr;
    if (!args.output.empty())
        WritePsdCsv(args.output, result, curves);
    if (!args.plots.empty()) {
        const std::string title = "PSD of " + info.name + " (" + rec::WindowName(options.window) + ", frame " +
                                  std::to_string(options.frameSize) + ", " + Num(options.overlapPercent) +
                                  " % overlap, " + std::to_string(result.averages) + " averages)";
        WritePlots(args.plots, {PsdPanel(title, unit, result, curves)});
    }
    return 0;
}

}  // namespace cli
}  // namespace numora
