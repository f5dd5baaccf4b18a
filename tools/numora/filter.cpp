#include <algorithm>
#include <cmath>
#include <memory>

#include "numora/foundation/scalar.h"
#include "recording/error.h"
#include "recording/filter.h"
#include "recording/io/csv.h"
#include "recording/io/open.h"
#include "tools/numora/common.h"
#include "tools/numora/plot.h"
#include "tools/numora/progress.h"

namespace numora {
namespace cli {

int RunFilter(const FilterArgs& args)
{
    for (const std::string& plot : args.plots)
        CheckPlotPath(plot);
    rec::FilterDesign design;
    design.type = rec::ParseFilterType(args.type);
    design.shape = rec::ParseFilterShape(args.shape);
    design.order = args.order;
    design.f1 = static_cast<float>(args.f1);
    design.f2 = static_cast<float>(args.f2);
    design.rippleDb = static_cast<float>(args.ripple);
    design.directForm = args.direct;
    std::unique_ptr<rec::BlockSource> source = rec::OpenRecording(args.recording.path, args.recording.rate);
    const rec::RecordInfo& info = source->Info();
    const std::vector<int> channels = ParseChannels(args.channels, info);
    const rec::RecordFilter filter(design, info.sampleRate, 1);
    std::vector<std::string> names;
    for (int c : channels)
        names.push_back(info.channelNames[static_cast<size_t>(c)]);
    std::unique_ptr<rec::BlockSink> sink = rec::CreateRecording(args.output, info.sampleRate, names);
    {
        ProgressBar bar("filter");
        rec::FilterRecord(*source, channels, design, *sink, bar.Callback());
    }
    const bool band =
        design.shape == qv::math::CTimeFilter::BandPass || design.shape == qv::math::CTimeFilter::BandStop;
    const double f1 = static_cast<double>(filter.F1()), f2 = static_cast<double>(filter.F2());
    const std::string edges = band ? Num(f1, 6) + " to " + Num(f2, 6) + " Hz" : Num(f1, 6) + " Hz";
    Report(args.output + ": " + std::to_string(channels.size()) + " channel" + (channels.size() == 1 ? "" : "s") +
           " of " + info.name + " through a " + rec::FilterTypeName(design.type) + " " +
           rec::FilterShapeName(design.shape) + " of order " + std::to_string(design.order) + " at " + edges +
           (design.directForm ? " (direct form)" : " (second-order sections)"));

    const std::vector<rec::ResponsePoint> curve = filter.ResponseCurve(400);
    if (!args.csv.empty()) {
        rec::CsvWriter csv(args.csv);
        csv.Header({"frequency_hz", "gain", "gain_db", "phase_deg"});
        for (const rec::ResponsePoint& p : curve) {
            csv.Add(p.frequency).Add(p.gain).Add(qv::math::SFtoDB(p.gain, 20.0)).Add(p.phaseDeg);
            csv.EndRow();
        }
        csv.Commit();
    }
    if (!args.plots.empty()) {
        Panel gain, phase;
        gain.title = "Response of the " + rec::FilterTypeName(design.type) + " " + rec::FilterShapeName(design.shape) +
                     " of order " + std::to_string(design.order) + " at " + edges;
        gain.yLabel = "Gain (dB)";
        phase.yLabel = "Phase (\xC2\xB0)";
        phase.yMin = -180.0;
        phase.yMax = 180.0;
        Series g, ph;
        ph.color = Color::Red;
        for (const rec::ResponsePoint& p : curve) {
            g.x.push_back(p.frequency);
            g.y.push_back(qv::math::SFtoDB(p.gain, 20.0));
            ph.x.push_back(p.frequency);
            ph.y.push_back(p.phaseDeg);
        }
        // The pass band and 120 dB below it.
        double top = -1e300;
        for (double db : g.y)
            top = std::max(top, db);
        gain.yMax = 10.0 * std::ceil(top / 10.0) + 10.0;
        gain.yMin = gain.yMax - 130.0;
        gain.series.push_back(g);
        phase.series.push_back(ph);
        for (Panel* p : {&gain, &phase}) {
            p->xLabel = "Frequency (Hz)";
            p->logX = true;
        }
        WritePlots(args.plots, {gain, phase});
    }
    return 0;
}

}  // namespace cli
}  // namespace numora
