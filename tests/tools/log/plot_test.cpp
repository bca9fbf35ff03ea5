// What is drawn, and that the drawing is well formed.
#include "log/plot.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "log_writer.h"
#include "scanned.h"

namespace ztkmem::log::test {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

std::vector<std::string> Names(const Plot& plot) {
    std::vector<std::string> names;
    for (const PlotCurve& curve : plot.curves)
        names.push_back(curve.name);
    for (const PlotMarks& marks : plot.marks)
        names.push_back(marks.name);
    return names;
}

LogWriter Work(std::uint64_t nSize) {
    LogWriter log;
    log.Allocated(0x10, nSize);
    log.Pass(60);
    log.Limit(nSize);
    log.Retry();
    log.Failed(77, 0);
    return log;
}

TEST(Plots, ShowWhatIsThere) {
    const Scanned log(Work(400 * kMiB).Text());
    const Plot plot = MakePlot(log.Report());
    EXPECT_THAT(Names(plot), ElementsAre("local pool owns (heap and MMZ)", "local pool idle",
                                         "request failed (1)", "retry (1)"));
    EXPECT_EQ(plot.limit, 300);
    EXPECT_EQ(plot.y.title, "MiB");
    EXPECT_EQ(plot.curves[0].points.back().y, 400);
}

TEST(Plots, ALimitFarAboveIsOnlyNamed) {
    const Scanned log(Work(4 * kMiB).Text());
    const Plot plot = MakePlot(log.Report());
    EXPECT_EQ(plot.limit, 0);
    EXPECT_EQ(plot.limitName, "idle limit 300.0M (far above)");
    EXPECT_LT(plot.y.to, 10);
}

TEST(Plots, EveryPointIsOnTheAxes) {
    for (const char* szName : {"data/leak.log", "data/healthy.log", "data/demo.log"}) {
        const Scanned log(ReadData(szName));
        const Plot plot = MakePlot(log.Report());
        EXPECT_FALSE(plot.curves.empty());
        for (const PlotCurve& curve : plot.curves) {
            for (const Point& point : curve.points) {
                EXPECT_GE(point.x, plot.x.from) << curve.name;
                EXPECT_LE(point.x, plot.x.to) << curve.name;
                EXPECT_GE(point.y, 0) << curve.name;
                EXPECT_LE(point.y, plot.y.to) << curve.name;
            }
        }
    }
}

/// Every element is closed, and attributes have their quotes.
void ExpectWellFormed(const std::string& svg) {
    std::vector<std::string> open;
    for (std::size_t nAt = svg.find('<'); nAt != std::string::npos; nAt = svg.find('<', nAt + 1)) {
        const std::size_t nEnd = svg.find('>', nAt);
        ASSERT_NE(nEnd, std::string::npos);
        const std::string tag = svg.substr(nAt + 1, nEnd - nAt - 1);
        EXPECT_EQ(std::count(tag.begin(), tag.end(), '"') % 2, 0) << tag;
        if (tag.front() == '/') {
            ASSERT_FALSE(open.empty());
            EXPECT_EQ(tag.substr(1), open.back());
            open.pop_back();
        } else if (tag.back() != '/') {
            open.push_back(tag.substr(0, tag.find(' ')));
        }
    }
    EXPECT_TRUE(open.empty());
}

TEST(Plots, TheOwnDrawingIsWellFormed) {
    for (const std::string& text : {ReadData("data/leak.log"), ReadData("data/demo.log"), std::string()}) {
        const Scanned log(text);
        const std::string svg = DrawSvg(MakePlot(log.Report("<a> & \"b\"")));
        ExpectWellFormed(svg);
        EXPECT_THAT(svg, HasSubstr("&lt;a&gt; &amp; &quot;b&quot;"));
        EXPECT_THAT(svg, EndsWith("</svg>\n"));
        EXPECT_THAT(svg, Not(HasSubstr("nan")));
        EXPECT_THAT(svg, Not(HasSubstr("inf")));
    }
}

TEST(Plots, LongLogsDoNotMakeLongFiles) {
    LogWriter log;
    for (unsigned i = 0; i < 60'000; ++i) {
        log.Pass(0.5);
        if (i % 2 == 0) log.Allocated(0x10, 5 * kMiB);
        if (i % 2 == 1) log.Freed(0x10, 5 * kMiB);
        if (i % 10 == 0) log.Failed(9, 0);
    }
    const Scanned scanned(log.Text());
    EXPECT_LT(DrawSvg(MakePlot(scanned.Report())).size(), 800'000U);
}

}  // namespace
}  // namespace ztkmem::log::test
