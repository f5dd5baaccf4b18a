#include <memory>

#include "recording/error.h"
#include "recording/frf.h"
#include "recording/io/csv.h"
#include "recording/io/open.h"
#include "tools/numora/common.h"
#include "tools/numora/plot.h"
#include "tools/numora/progress.h"

namespace numora {
namespace cli {

int RunFrf(const FrfArgs& args)
{
    for (const std::string& plot : args.plots)
        CheckPlotPath(plot);
    const std::string refUnit = CheckedUnit(args.referenceUnit);
    const std::string respUnit = CheckedUnit(args.responseUnit);
    const rec::SpectrumOptions options = SpectrumFrom(args.spectrum);
    std::unique_ptr<rec::BlockSource> reference = rec::OpenRecording(args.recording.path, args.recording.rate);
    std::unique_ptr<rec::BlockSource> second;
    if (!args.responsePath.empty())
        second = rec::OpenRecording(args.responsePath, args.recording.rate);
    rec::BlockSource& response = second ? *second : *reference;
    const int ref = ChannelIndex(args.reference, reference->Info());
    const int resp = ChannelIndex(args.response, response.Info());
    if (!second && ref == resp)
        throw rec::Error("the reference and the response are both channel " + std::to_string(args.reference));

    rec::FrfResult r;
    {
        ProgressBar bar("frf");
        r = rec::MeasureFrf(*reference, ref, response, resp, options, bar.Callback());
    }
    int peak = 1;
    double coherenceSum = 0.0;
    for (int k = 1; k <= r.axis.lastLine; ++k) {
        if (r.gain[static_cast<size_t>(k)] > r.gain[static_cast<size_t>(peak)])
            peak = k;
        coherenceSum += static_cast<double>(r.coherence[static_cast<size_t>(k)]);
    }
    const std::string gainUnit = respUnit + "/" + refUnit;
    Report("H1 of " + response.Info().name + " " + r.responseName + " over " + reference->Info().name + " " +
           r.referenceName + ": " + DescribeSpectrum(r.axis, options, r.averages));
    Report("largest gain " + Num(static_cast<double>(r.gain[static_cast<size_t>(peak)])) + " " + gainUnit + " at " +
           Num(r.axis.Frequency(peak), 6) + " Hz; mean coherence " + Num(coherenceSum / r.axis.lastLine, 4) +
           " over lines 1 to " + std::to_string(r.axis.lastLine));

    if (!args.output.empty()) {
        rec::CsvWriter csv(args.output);
        csv.Header({"frequency_hz", "gain", "phase_deg", "coherence", "h_re", "h_im"});
        for (int k = 0; k <= r.axis.lastLine; ++k) {
            const size_t i = static_cast<size_t>(k);
            csv.Add(r.axis.Frequency(k))
                .Add(r.gain[i])
                .Add(r.phaseDeg[i])
                .Add(r.coherence[i])
                .Add(r.re[i])
                .Add(r.im[i]);
            csv.EndRow();
        }
        csv.Commit();
    }
    if (!args.plots.empty()) {
        Panel gain, phase, coherence;
        gain.title = "H1 of " + r.responseName + " over " + r.referenceName + " (" + rec::WindowName(options.window) +
                     ", frame " + std::to_string(options.frameSize) + ", " + std::to_string(r.averages) + " averages)";
        gain.yLabel = "Gain (" + gainUnit + ")";
        phase.yLabel = "Phase (\xC2\xB0)";
        phase.yMin = -180.0;
        phase.yMax = 180.0;
        coherence.yLabel = "Coherence";
        coherence.yMin = 0.0;
        coherence.yMax = 1.05;
        gain.logY = true;
        for (Panel* p : {&gain, &phase, &coherence}) {
            p->xLabel = "Frequency (Hz)";
            p->logX = true;
        }
        Series g, ph, c;
        for (int k = 1; k <= r.axis.lastLine; ++k) {
            const size_t i = static_cast<size_t>(k);
            const double f = r.axis.Frequency(k);
            g.x.push_back(f);
            g.y.push_back(static_cast<double>(r.gain[i]));
            ph.x.push_back(f);
            ph.y.push_back(static_cast<double>(r.phaseDeg[i]));
            c.x.push_back(f);
            c.y.push_back(static_cast<double>(r.coherence[i]));
        }
        ph.color = Color::Red;
        c.color = Color::Green;
        gain.series.push_back(g);
        phase.series.push_back(ph);
        coherence.series.push_back(c);
        WritePlots(args.plots, {gain, phase, coherence});
    }
    return 0;
}

}  // namespace cli
}  // namespace numora
