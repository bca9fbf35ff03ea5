#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "log/plot.h"

namespace ztkmem::log {
namespace {

/// In double quotes, where a backslash and a backquote mean something; the terminals' own markup is off.
std::string Quoted(std::string_view text) {
    std::string quoted = "\"";
    for (const char ch : text) {
        if (ch == '\n') {
            quoted += "\\n";
            continue;
        }
        if (ch == '"' || ch == '\\' || ch == '`') quoted += '\\';
        quoted += ch;
    }
    return quoted + '"';
}

std::string Tics(const Axis& axis) {
    std::string text;
    for (const Tick& tick : axis.ticks)
        text += fmt::format("{}{} {:.17g}", text.empty() ? "" : ", ", Quoted(tick.label), tick.at);
    return '(' + text + ')';
}

const char* DashType(Stroke enStroke) {
    switch (enStroke) {
        case Stroke::kDashed:
            return "2";
        case Stroke::kDotted:
            return "3";
        case Stroke::kSolid:
            break;
    }
    return "1";
}

std::string DataOf(const Plot& plot) {
    std::string text;
    for (std::size_t i = 0; i < plot.curves.size(); ++i) {
        text += fmt::format("$curve{} << EOD\n", i);
        for (const Point& point : plot.curves[i].points)
            text += fmt::format("{:.17g} {:.6g}\n", point.x, point.y);
        text += "EOD\n";
    }
    for (std::size_t i = 0; i < plot.marks.size(); ++i) {
        text += fmt::format("$marks{} << EOD\n", i);
        for (const double at : plot.marks[i].at)
            text += fmt::format("{:.17g} {:.6g}\n", at, plot.y.to);
        text += "EOD\n";
    }
    return text;
}

std::string Items(const Plot& plot) {
    std::string text;
    const auto add = [&text](const std::string& item) {
        text += (text.empty() ? "plot " : ", \\\n     ") + item;
    };
    for (std::size_t i = 0; i < plot.curves.size(); ++i) {
        const PlotCurve& curve = plot.curves[i];
        const char* szStyle =
            curve.bSteps ? "steps" : (curve.points.size() <= 120 ? "linespoints pt 7 ps 0.5" : "lines");
        add(fmt::format("$curve{} using 1:2 with {} lw 2 dt {} lc rgb \"{}\" title {}", i, szStyle,
                        DashType(curve.enStroke), curve.colour, Quoted(curve.name)));
    }
    for (std::size_t i = 0; i < plot.marks.size(); ++i) {
        const PlotMarks& marks = plot.marks[i];
        add(fmt::format("$marks{} using 1:2 with impulses lw 1 lc rgb \"#b0{}\" notitle", i,
                        marks.colour.substr(1)));
        add(fmt::format("$marks{} using 1:2 with points pt {} ps 1 lw 2 lc rgb \"{}\" title {}", i,
                        marks.bRing ? 6 : 2, marks.colour, Quoted(marks.name)));
    }
    if (text.empty()) add("NaN notitle");
    return text + '\n';
}

/// Where the plot begins: below the rows of names, as wide as the longest is, on a picture of 1120 by 600.
double TopOf(const Plot& plot) {
    std::size_t nLongest = 0;
    for (const PlotCurve& curve : plot.curves)
        nLongest = std::max(nLongest, curve.name.size());
    for (const PlotMarks& marks : plot.marks)
        nLongest = std::max(nLongest, marks.name.size());
    const double perRow = std::max(1.0, std::floor(1040 / (60 + 8 * static_cast<double>(nLongest))));
    const double rows = std::ceil(static_cast<double>(plot.curves.size() + plot.marks.size()) / perRow);
    constexpr double kFirstRow = 0.885;
    constexpr double kRow = 0.0315;
    return std::min(0.80, kFirstRow - kRow * rows);
}

}  // namespace

std::string GnuplotScript(const Plot& plot, const std::string& output, bool bPng) {
    std::string text = DataOf(plot);
    text += bPng
                ? "set terminal pngcairo size 1120,600 noenhanced font \"sans,10\" background rgb \"white\"\n"
                : "set terminal svg size 1120,600 noenhanced font \"sans,12\" background rgb \"white\"\n";
    text += fmt::format("set output {}\n", Quoted(output));
    text += fmt::format("set label {} at screen 0.066,0.955 font \",15\"\n", Quoted(plot.title));
    text +=
        fmt::format("set label {} at screen 0.066,0.91 textcolor rgb \"#555555\"\n", Quoted(plot.subtitle));
    text += fmt::format("set tmargin at screen {:.3f}\nset lmargin at screen 0.066\n", TopOf(plot));
    text += fmt::format("set xrange [{:.17g}:{:.17g}]\nset yrange [0:{:.17g}]\n", plot.x.from, plot.x.to,
                        plot.y.to);
    text += fmt::format("set xtics {}\nset ytics {}\n", Tics(plot.x), Tics(plot.y));
    text += fmt::format("set xlabel {}\nset ylabel {}\n", Quoted(plot.x.title), Quoted(plot.y.title));
    text += "set grid lc rgb \"#e0e0e0\" lt 1\nset border 3 lc rgb \"#333333\"\nset tics nomirror\n";
    text += "set key at screen 0.055,0.885 left top horizontal Left reverse samplen 3\n";
    if (plot.limit > 0) {
        text += fmt::format(
            "set arrow from graph 0,first {0:.17g} to graph 1,first {0:.17g} nohead lw 1.2 dt (12,5) lc "
            "rgb \"#333333\"\n",
            plot.limit);
        text += fmt::format("set label {} at graph 0.006,first {:.17g} offset 0,0.5\n",
                            Quoted(plot.limitName), plot.limit);
    } else {
        text += fmt::format("set label {} at graph 0.006,graph 0.97\n", Quoted(plot.limitName));
    }
    return text + Items(plot);
}

}  // namespace ztkmem::log
