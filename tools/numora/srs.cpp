#include <memory>

#include "recording/error.h"
#include "recording/io/csv.h"
#include "recording/io/open.h"
#include "recording/srs.h"
#include "tools/numora/common.h"
#include "tools/numora/plot.h"
#include "tools/numora/progress.h"

namespace numora {
namespace cli {

int RunSrs(const SrsArgs& args)
{
    for (const std::string& plot : args.plots)
        CheckPlotPath(plot);
    const std::string unit = CheckedUnit(args.unit);
    rec::SrsOptions options;
    options.q = args.q;
    options.bandsPerOctave = args.bandsPerOctave;
    options.fLow = args.fmin;
    options.fHigh = args.fmax;
    options.filter = rec::ParseSrsFilter(args.filter);
    options.series = rec::ParseSrsSeries(args.series);
    options.response = rec::ParseSrsResponse(args.response);
    options.startMs = args.startMs;
    options.endMs = args.endMs;
    std::unique_ptr<rec::BlockSource> source = rec::OpenRecording(args.recording.path, args.recording.rate);
    const rec::RecordInfo& info = source->Info();
    const int channel = ChannelIndex(args.channel, info);

    rec::SrsResult r;
    {
        ProgressBar bar("srs");
        r = rec::MeasureSrs(*source, channel, options, bar.Callback(), rec::kDefaultBlockFrames,
                            static_cast<float>(args.recording.scale));
    }
    size_t peak = 0;
    for (size_t b = 0; b < r.maximax.size(); ++b)
        if (r.maximax[b] > r.maximax[peak])
            peak = b;
    const bool iso = options.filter == rec::SrsFilter::RampInvariant;
    const bool absolute = options.response == rec::SrsResponse::AbsoluteAcceleration;
    const std::string method = std::string(iso ? "ramp-invariant (ISO 18431-4)" : "impulse-invariant") + " filter, " +
                               (absolute ? "absolute acceleration" : "relative displacement times w\xC2\xB2");
    Report("SRS of " + info.name + " " + r.channelName + ": Q " + Num(options.q) + ", " +
           std::to_string(r.frequency.size()) + " bands from " + Num(static_cast<double>(r.frequency.front()), 6) +
           " to " + Num(static_cast<double>(r.frequency.back()), 6) + " Hz (" + std::to_string(options.bandsPerOctave) +
           " per octave, " + args.series + " series), " + method + ", " + std::to_string(r.samples) + " samples");
    Report("largest maximax " + Num(static_cast<double>(r.maximax[peak])) + " " + unit + " at " +
           Num(static_cast<double>(r.frequency[peak]), 6) + " Hz");

    if (!args.output.empty()) {
        rec::CsvWriter csv(args.output);
        csv.Header({"frequency_hz", "primary_pos", "primary_neg", "residual_pos", "residual_neg", "maximax", "max_pos",
                    "max_neg"});
        for (size_t b = 0; b < r.frequency.size(); ++b) {
            csv.Add(r.frequency[b]).Add(r.primaryPos[b]).Add(r.primaryNeg[b]).Add(r.residualPos[b]);
            csv.Add(r.residualNeg[b]).Add(r.maximax[b]).Add(r.maxPos[b]).Add(r.maxNeg[b]);
            csv.EndRow();
        }
        csv.Commit();
    }
    if (!args.plots.empty()) {
        Panel panel;
        panel.title = "SRS of " + info.name + " " + r.channelName + " (Q " + Num(options.q) + ", " +
                      std::to_string(options.bandsPerOctave) + " bands per octave, " +
                      (iso ? "ramp-invariant" : "impulse-invariant") + ")";
        panel.xLabel = "Natural frequency (Hz)";
        panel.yLabel = std::string(absolute ? "Peak acceleration" : "Peak pseudo-acceleration") + " (" + unit + ")";
        panel.logX = panel.logY = true;
        panel.maxDecades = 5;
        panel.legendBelow = true;
        const struct {
            const std::vector<float>* values;
            const char* label;
            Color color;
            Dash dash;
            double width;
        } curves[] = {{&r.maximax, "maximax", Color::Black, Dash::Solid, 2.0},
                      {&r.maxPos, "positive", Color::Blue, Dash::Dashed, 1.2},
                      {&r.maxNeg, "negative", Color::Red, Dash::Dashed, 1.2}};
        for (const auto& c : curves) {
            Series s;
            s.label = c.label;
            s.color = c.color;
            s.dash = c.dash;
            s.width = c.width;
            for (size_t b = 0; b < r.frequency.size(); ++b) {
                s.x.push_back(static_cast<double>(r.frequency[b]));
                s.y.push_back(static_cast<double>((*c.values)[b]));
            }
            panel.series.push_back(s);
        }
        WritePlots(args.plots, {panel});
    }
    return 0;
}

}  // namespace cli
}  // namespace numora
