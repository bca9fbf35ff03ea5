// The plot of a log: what is drawn, and the two ways of drawing it.
#pragma once

#include <string>
#include <vector>

#include "log/plot_axis.h"
#include "log/report.h"

namespace ztkmem::log {

struct Point {
    double x = 0;
    double y = 0;  ///< in units of the size axis
};

enum class Stroke { kSolid, kDashed, kDotted };

struct PlotCurve {
    std::string name;
    std::string colour;  ///< "#rrggbb"
    Stroke enStroke = Stroke::kSolid;
    bool bSteps = false;  ///< holds its value until the next point; else a line from point to point
    std::vector<Point> points;
};

struct PlotMarks {
    std::string name;
    std::string colour;
    bool bRing = false;  ///< else a cross
    std::vector<double> at;
};

struct Plot {
    std::string title;
    std::string subtitle;
    Axis x;
    SizeAxis y;
    std::vector<PlotCurve> curves;
    std::vector<PlotMarks> marks;
    double limit = 0;  ///< on the size axis; 0: far above everything, and only told in limitName
    std::string limitName;
};

Plot MakePlot(const Report& report);

/// A picture of its own.
std::string DrawSvg(const Plot& plot);

/// Commands for gnuplot, data included, that draw to @p output in that format.
std::string GnuplotScript(const Plot& plot, const std::string& output, bool bPng);

/// Draws to a file whose name ends in .svg or .png. With gnuplot if there is one; a PNG takes it. Throws
/// std::runtime_error; then an older file stays as it is.
void SavePlot(const Plot& plot, const std::string& file);

/// Throws if SavePlot() would refuse the name, so that nobody waits for a log to be read in vain.
void CheckPlotFile(const std::string& file);

}  // namespace ztkmem::log
