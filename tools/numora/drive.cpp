#include <memory>

#include "recording/drive.h"
#include "recording/error.h"
#include "recording/io/csv.h"
#include "recording/io/open.h"
#include "tools/numora/common.h"
#include "tools/numora/plot.h"
#include "tools/numora/progress.h"
#include "tools/numora/spectrum_output.h"

namespace numora {
namespace cli {

int RunDrive(const DriveArgs& args)
{
    for (const std::string& plot : args.plots)
        CheckPlotPath(plot);
    const std::string unit = CheckedUnit(args.unit);
    const rec::ProfileTable profile = rec::ReadProfile(args.profile);
    rec::DriveOptions options;
    options.sampleRate = args.rate;
    options.seconds = args.seconds;
    options.frameSize = args.frame;
    options.clipSigma = args.clip;
    options.seed = args.seed;
    // The generator checks the profile and the options before anything is written.
    {
        const rec::DriveGenerator check(profile, options);
    }
    std::unique_ptr<rec::BlockSink> sink = rec::CreateRecording(args.output, args.rate, {"drive"});

    rec::DriveReport report;
    {
        ProgressBar bar("drive");
        report = rec::GenerateDrive(profile, options, *sink, bar.Callback());
    }
    Report(args.output + ": " + Num(static_cast<double>(report.frames) / args.rate, 6) + " s at " + Num(args.rate, 9) +
           " Hz (" + std::to_string(report.frames) + " samples) from " + std::to_string(report.bands) + " octave band" +
           (report.bands == 1 ? "" : "s") + ", made for " + Num(report.targetRms) + " " + unit + " RMS");
    if (args.clip > 0.0)
        Report("clipped at " + Num(args.clip) + " times the RMS (" + Num(report.clipLimit) + " " + unit +
               "): " + std::to_string(report.clipped) + " samples");
    Report("check: " + DescribeSpectrum(report.check.axis,
                                        rec::SpectrumOptions{options.frameSize, 50.0, rec::Window::Hann,
                                                             rec::Averaging::Linear, 8, true},
                                        report.check.averages));
    Report(DescribeCheck("drive", args.profile, profile, report.comparison, unit));
    if (!args.csv.empty())
        WritePsdCsv(args.csv, report.check, &report.comparison.curves);
    if (!args.plots.empty())
        WritePlots(args.plots, {PsdPanel("PSD of the drive " + args.output + " against " + args.profile + " (" +
                                             std::to_string(report.check.averages) + " averages)",
                                         unit, report.check, &report.comparison.curves)});
    return 0;
}

}  // namespace cli
}  // namespace numora
