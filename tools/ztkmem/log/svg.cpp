#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "log/plot.h"

namespace ztkmem::log {
namespace {

constexpr double kWidth = 1120;
constexpr double kHeight = 600;
constexpr double kLeft = 84;
constexpr double kRight = 28;
constexpr double kLeastTop = 118;  ///< where the plot begins, with up to two rows of names above it
constexpr double kBottom = 64;

std::string Escaped(std::string_view text) {
    std::string escaped;
    for (const char ch : text) {
        switch (ch) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            default:
                escaped += ch;
        }
    }
    return escaped;
}

std::string Dashes(Stroke enStroke) {
    switch (enStroke) {
        case Stroke::kDashed:
            return " stroke-dasharray=\"7 4\"";
        case Stroke::kDotted:
            return " stroke-dasharray=\"2 3\"";
        case Stroke::kSolid:
            break;
    }
    return "";
}

class SvgDrawing {
  public:
    explicit SvgDrawing(const Plot& plot) : plot_(plot) {}

    std::string Draw() {
        Legend();
        const std::string legend = std::exchange(out_, {});
        out_ = fmt::format(
            "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0}\" height=\"{1}\" viewBox=\"0 0 {0} {1}\" "
            "font-family=\"DejaVu Sans, Helvetica, Arial, sans-serif\" font-size=\"13\">\n"
            "<rect width=\"{0}\" height=\"{1}\" fill=\"white\"/>\n",
            kWidth, kHeight);
        Text(kLeft, 30, "start", plot_.title, R"(font-size="18" font-weight="bold")");
        Text(kLeft, 52, "start", plot_.subtitle, "fill=\"#555\"");
        Grid();
        Limit();
        for (const PlotMarks& marks : plot_.marks)
            Marks(marks);
        for (const PlotCurve& curve : plot_.curves)
            Curve(curve);
        return out_ + legend + "</svg>\n";
    }

  private:
    double X(double x) const {
        const double part = (x - plot_.x.from) / (plot_.x.to - plot_.x.from);
        return kLeft + std::clamp(part, 0.0, 1.0) * (kWidth - kLeft - kRight);
    }
    double Y(double y) const {
        const double part = (y - plot_.y.from) / (plot_.y.to - plot_.y.from);
        return kHeight - kBottom - std::clamp(part, 0.0, 1.0) * (kHeight - top_ - kBottom);
    }

    void Text(double x, double y, const char* szAnchor, const std::string& text, const char* szMore = "") {
        out_ += fmt::format("<text x=\"{:.1f}\" y=\"{:.1f}\" text-anchor=\"{}\" {}>{}</text>\n", x, y,
                            szAnchor, szMore, Escaped(text));
    }

    void Line(double x1, double y1, double x2, double y2, const std::string& more) {
        out_ += fmt::format("<line x1=\"{:.1f}\" y1=\"{:.1f}\" x2=\"{:.1f}\" y2=\"{:.1f}\" {}/>\n", x1, y1,
                            x2, y2, more);
    }

    void Grid() {
        for (const Tick& tick : plot_.y.ticks) {
            Line(kLeft, Y(tick.at), kWidth - kRight, Y(tick.at), "stroke=\"#e4e4e4\"");
            Text(kLeft - 8, Y(tick.at) + 4.5, "end", tick.label);
        }
        for (const Tick& tick : plot_.x.ticks) {
            Line(X(tick.at), top_, X(tick.at), kHeight - kBottom, "stroke=\"#e4e4e4\"");
            Text(X(tick.at), kHeight - kBottom + 20, "middle", tick.label);
        }
        Line(kLeft, kHeight - kBottom, kWidth - kRight, kHeight - kBottom, "stroke=\"#333\"");
        Line(kLeft, top_, kLeft, kHeight - kBottom, "stroke=\"#333\"");
        Text(kLeft - 8, top_ - 12, "end", plot_.y.title, "fill=\"#555\"");
        Text((kLeft + kWidth - kRight) / 2, kHeight - 16, "middle", plot_.x.title, "fill=\"#555\"");
    }

    void Limit() {
        const bool bDrawn = plot_.limit > 0;
        const double y = bDrawn ? Y(plot_.limit) : top_;
        if (bDrawn)
            Line(kLeft, y, kWidth - kRight, y, R"(stroke="#333" stroke-width="1.2" stroke-dasharray="12 5")");
        Text(kLeft + 6, bDrawn ? y - 6 : y + 14, "start", plot_.limitName, R"(fill="#333" font-size="12")");
    }

    void Mark(double x, double y, const PlotMarks& marks) {
        const char* szShape = marks.bRing ? "m-4 0a4 4 0 1 0 8 0a4 4 0 1 0 -8 0" : "m-4 -4l8 8m0 -8l-8 8";
        out_ += fmt::format("<path d=\"M{:.1f} {:.1f}{}\" stroke=\"{}\" stroke-width=\"2\" fill=\"none\"/>\n",
                            x, y, szShape, marks.colour);
    }

    void Marks(const PlotMarks& marks) {
        for (const double at : marks.at) {
            Line(X(at), top_, X(at), kHeight - kBottom,
                 fmt::format(R"(stroke="{}" stroke-opacity="0.3")", marks.colour));
            Mark(X(at), top_, marks);
        }
    }

    void Curve(const PlotCurve& curve) {
        std::string path;
        for (const Point& point : curve.points) {
            if (path.empty()) {
                path = fmt::format("M{:.1f} {:.1f}", X(point.x), Y(point.y));
            } else if (curve.bSteps) {
                path += fmt::format("H{:.1f}V{:.1f}", X(point.x), Y(point.y));
            } else {
                path += fmt::format("L{:.1f} {:.1f}", X(point.x), Y(point.y));
            }
        }
        out_ += fmt::format(
            "<path d=\"{}\" fill=\"none\" stroke=\"{}\" stroke-width=\"2\" stroke-linejoin=\"round\"{}/>\n",
            path, curve.colour, Dashes(curve.enStroke));
        if (curve.points.size() <= 120 && !curve.bSteps) Dots(curve);
    }

    void Dots(const PlotCurve& curve) {
        for (const Point& point : curve.points)
            out_ += fmt::format("<circle cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"2.6\" fill=\"{}\"/>\n", X(point.x),
                                Y(point.y), curve.colour);
    }

    /// Places one entry behind the other, in as many rows as they need; the plot begins below.
    struct Slot {
        double x = kLeft;
        double y = 76;
    };
    void Entry(Slot& slot, const std::string& name) {
        if (slot.x + Width(name) > kWidth - kRight) slot = {kLeft, slot.y + 20};
        Text(slot.x + 30, slot.y + 4.5, "start", name);
    }
    static double Width(const std::string& name) { return 44 + 7.4 * static_cast<double>(name.size()); }

    void Legend() {
        Slot slot;
        for (const PlotCurve& curve : plot_.curves) {
            Entry(slot, curve.name);
            Line(slot.x, slot.y, slot.x + 24, slot.y,
                 fmt::format(R"(stroke="{}" stroke-width="2.4"{})", curve.colour, Dashes(curve.enStroke)));
            slot.x += Width(curve.name);
        }
        for (const PlotMarks& marks : plot_.marks) {
            Entry(slot, marks.name);
            Mark(slot.x + 12, slot.y, marks);
            slot.x += Width(marks.name);
        }
        top_ = std::max(kLeastTop, slot.y + 22);
    }

    const Plot& plot_;
    double top_ = kLeastTop;
    std::string out_;
};

}  // namespace

std::string DrawSvg(const Plot& plot) {
    return SvgDrawing(plot).Draw();
}

}  // namespace ztkmem::log
