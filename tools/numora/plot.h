#pragma once

#include <string>
#include <vector>

// Plots of the command's results with PLplot: one or more panels stacked on
// a page, written as SVG (text kept as text) or PNG (cairo) by the file's
// extension, under a temporary name that is renamed when complete.

namespace numora {
namespace cli {

enum class Color { Black, Blue, Red, Green, Orange, Purple, Cyan, Brown, Gray };
enum class Dash { Solid, Dashed, Dotted };

struct Series {
    std::string label;  // legend entry; empty for none
    std::vector<double> x, y;
    Color color = Color::Blue;
    Dash dash = Dash::Solid;
    double width = 1.0;
};

struct Panel {
    std::string title;
    std::string xLabel, yLabel;
    bool logX = false, logY = false;
    double yMin = 0.0, yMax = 0.0;  // fixed y range when yMin < yMax, else from the data
    int maxDecades = 8;             // a log y axis from the data spans at most this many decades
    bool legendBelow = false;       // the legend in the lower right corner instead of the upper right
    std::vector<Series> series;
};

// Throws rec::Error unless the path ends in .svg or .png.
void CheckPlotPath(const std::string& path);

// Draws the panels top to bottom into path. Points that a log axis cannot
// show (0 or below) are left out. Throws rec::Error.
void WritePlot(const std::string& path, const std::vector<Panel>& panels);
// WritePlot for each path.
void WritePlots(const std::vector<std::string>& paths, const std::vector<Panel>& panels);

}  // namespace cli
}  // namespace numora
