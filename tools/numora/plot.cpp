#include "tools/numora/plot.h"

#include <plplot.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "recording/error.h"
#include "recording/io/output_file.h"

namespace numora {
namespace cli {

namespace {

// PLplot ends the process on a fatal error; the temporary file goes first.
const std::string* plotTemp = nullptr;

int OnPlplotExit(const char* message)
{
    if (plotTemp)
        std::remove(plotTemp->c_str());
    std::fprintf(stderr, "numora: the plot failed: %s\n", message);
    return 1;
}

// Colour map 0: 0 background, 1 axes and text, 2 grid, then the series colours.
const int kPalette[][3] = {{255, 255, 255}, {0, 0, 0},      {210, 210, 210}, {0, 0, 0},
                           {31, 95, 191},   {214, 39, 40},  {44, 160, 44},   {255, 127, 14},
                           {148, 103, 189}, {23, 190, 207}, {140, 86, 75},   {127, 127, 127}};

int ColorIndex(Color color)
{
    return 3 + static_cast<int>(color);
}

int LineStyle(Dash dash)
{
    switch (dash) {
    case Dash::Dashed:
        return 3;
    case Dash::Dotted:
        return 2;
    case Dash::Solid:
        break;
    }
    return 1;
}

struct Range {
    double low = std::numeric_limits<double>::infinity();
    double high = -std::numeric_limits<double>::infinity();
    void Add(double v)
    {
        low = std::min(low, v);
        high = std::max(high, v);
    }
    bool Valid() const { return low <= high; }
};

// The coordinates of a series as drawn: log10 on a log axis, points it
// cannot show left out.
void Transform(const Series& s, bool logX, bool logY, std::vector<PLFLT>& x, std::vector<PLFLT>& y)
{
    x.clear();
    y.clear();
    for (size_t i = 0; i < s.x.size() && i < s.y.size(); ++i) {
        double a = s.x[i], b = s.y[i];
        if (!std::isfinite(a) || !std::isfinite(b))
            continue;
        if (logX) {
            if (!(a > 0.0))
                continue;
            a = std::log10(a);
        }
        if (logY) {
            if (!(b > 0.0))
                continue;
            b = std::log10(b);
        }
        x.push_back(a);
        y.push_back(b);
    }
}

void DrawPanel(const Panel& panel)
{
    std::vector<std::vector<PLFLT>> xs(panel.series.size()), ys(panel.series.size());
    Range rx, ry;
    for (size_t i = 0; i < panel.series.size(); ++i) {
        Transform(panel.series[i], panel.logX, panel.logY, xs[i], ys[i]);
        for (PLFLT v : xs[i])
            rx.Add(v);
        for (PLFLT v : ys[i])
            ry.Add(v);
    }
    if (panel.yMin < panel.yMax) {
        ry.low = panel.logY ? std::log10(panel.yMin) : panel.yMin;
        ry.high = panel.logY ? std::log10(panel.yMax) : panel.yMax;
    }
    if (!rx.Valid())
        rx.low = 0.0, rx.high = 1.0;
    if (!ry.Valid())
        ry.low = 0.0, ry.high = 1.0;
    if (rx.high - rx.low <= 0.0)
        rx.low -= 0.5, rx.high += 0.5;
    if (ry.high - ry.low <= 0.0)
        ry.low -= 0.5, ry.high += 0.5;
    if (!(panel.yMin < panel.yMax)) {
        // A margin above and below, whole decades on a log axis.
        if (panel.logY) {
            ry.high = std::ceil(ry.high);
            ry.low = std::max(std::floor(ry.low), ry.high - panel.maxDecades);
        } else {
            const double pad = 0.05 * (ry.high - ry.low);
            ry.low -= pad;
            ry.high += pad;
        }
    }

    pladv(0);
    plvpor(0.10, 0.96, 0.14, 0.88);
    plwind(rx.low, rx.high, ry.low, ry.high);
    const std::string xopt = std::string("bcnst") + (panel.logX ? "l" : "");
    const std::string yopt = std::string("bcnstv") + (panel.logY ? "l" : "");
    plcol0(2);
    plwidth(0.5);
    pllsty(1);
    plbox((std::string("g") + (panel.logX ? "l" : "")).c_str(), 0.0, 0,
          (std::string("g") + (panel.logY ? "l" : "")).c_str(), 0.0, 0);
    plcol0(1);
    plwidth(1.0);
    plbox(xopt.c_str(), 0.0, 0, yopt.c_str(), 0.0, 0);
    pllab(panel.xLabel.c_str(), panel.yLabel.c_str(), panel.title.c_str());

    std::vector<PLINT> opts, colors, styles;
    std::vector<PLFLT> widths;
    std::vector<const char*> texts;
    for (size_t i = 0; i < panel.series.size(); ++i) {
        const Series& s = panel.series[i];
        plcol0(ColorIndex(s.color));
        pllsty(LineStyle(s.dash));
        plwidth(s.width);
        if (!xs[i].empty())
            plline(static_cast<PLINT>(xs[i].size()), xs[i].data(), ys[i].data());
        if (s.label.empty())
            continue;
        opts.push_back(PL_LEGEND_LINE);
        colors.push_back(ColorIndex(s.color));
        styles.push_back(LineStyle(s.dash));
        widths.push_back(s.width);
        texts.push_back(s.label.c_str());
    }
    pllsty(1);
    plwidth(1.0);
    if (!texts.empty()) {
        PLFLT width = 0.0, height = 0.0;
        std::vector<PLINT> textColors(texts.size(), 1);
        pllegend(&width, &height, PL_LEGEND_BACKGROUND | PL_LEGEND_BOUNDING_BOX,
                 (panel.legendBelow ? PL_POSITION_BOTTOM : PL_POSITION_TOP) | PL_POSITION_RIGHT | PL_POSITION_INSIDE,
                 0.01, 0.01, 0.06, 0, 1, 1, 0, 0, static_cast<PLINT>(texts.size()), opts.data(), 1.0, 0.8, 1.8, 0.0,
                 textColors.data(), texts.data(), nullptr, nullptr, nullptr, nullptr, colors.data(), styles.data(),
                 widths.data(), nullptr, nullptr, nullptr, nullptr);
    }
}

}  // namespace

void CheckPlotPath(const std::string& path)
{
    const std::string ext = rec::FileExtension(path);
    if (ext != "svg" && ext != "png")
        throw rec::Error("cannot tell the plot format of '" + path + "': name it .svg or .png");
}

void WritePlot(const std::string& path, const std::vector<Panel>& panels)
{
    CheckPlotPath(path);
    rec::OutputFile out(path);
    out.Open();  // the folder is writable; PLplot writes the file itself
    out.Close();
    plotTemp = &out.TempPath();
    plsexit(OnPlplotExit);

    plsdev(rec::FileExtension(path) == "svg" ? "svg" : "pngcairo");
    plsfnam(out.TempPath().c_str());
    const int height = 300 + 300 * static_cast<int>(panels.size());
    plspage(0.0, 0.0, 1100, std::min(height, 1300), 0, 0);
    plscmap0n(static_cast<PLINT>(sizeof kPalette / sizeof kPalette[0]));
    for (int i = 0; i < static_cast<int>(sizeof kPalette / sizeof kPalette[0]); ++i)
        plscol0(i, kPalette[i][0], kPalette[i][1], kPalette[i][2]);
    plssub(1, static_cast<PLINT>(panels.size()));
    plinit();
    plfont(1);
    for (const Panel& panel : panels)
        DrawPanel(panel);
    plend();
    plotTemp = nullptr;
    out.Commit();
}

void WritePlots(const std::vector<std::string>& paths, const std::vector<Panel>& panels)
{
    for (const std::string& path : paths)
        WritePlot(path, panels);
}

}  // namespace cli
}  // namespace numora
