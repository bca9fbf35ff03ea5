#include "record/record_plot.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>
#include <vector>

#include "pool/pool_limits.h"
#include "record/record_words.h"
#include "text.h"

namespace ztkmem::record {
namespace {

/// More curves than this nobody can tell apart.
constexpr std::size_t kMostShelves = 6;
/// The limit of idle bytes is drawn where they come near to it.
constexpr std::uint64_t kTooFarAbove = 3;

double SecondsOf(std::uint64_t nNs) {
    return static_cast<double>(nNs) / 1e9;
}

/// A family of colours for each kind, and in it one for each of its size classes that are drawn.
std::map<Shelf, std::string> ColoursOf(const std::vector<std::pair<Shelf, std::uint64_t>>& drawn) {
    using Family = std::array<const char*, kMostShelves>;
    static constexpr Family kBlues{"#1f6fb4", "#12b5c9", "#5b4fd0", "#0b3c66", "#7fb0e6", "#a05fd6"};
    static constexpr Family kGreens{"#2e8b3d", "#8aa800", "#00876c", "#1d4d24", "#7cc98a", "#5d7300"};
    static constexpr Family kOranges{"#d07a00", "#c2452d", "#a08000", "#7a3e00", "#eeb04e", "#e0796b"};
    std::map<Shelf, std::string> colours;
    for (const auto& [shelf, nPeak] : drawn)
        colours[shelf];
    std::map<Kind, std::size_t> used;
    for (auto& [shelf, colour] : colours) {
        const bool bHeap = shelf.enKind == Kind::kHeap;
        const Family& family = bHeap ? kBlues : shelf.enKind == Kind::kMmz ? kGreens : kOranges;
        colour = family.at(used[shelf.enKind]++);
    }
    return colours;
}

/// What a curve reached in each of so many parts of the time. Frames come and go a hundred times a second: as
/// they are, they would be a bar from 0 to there.
std::vector<std::int64_t> Heights(const log::Series& series, double end) {
    constexpr std::size_t kParts = 300;
    std::vector<std::int64_t> heights(kParts, 0);
    std::size_t nAt = 0;
    const auto part = [end](double at) {
        return end > 0 ? std::min(static_cast<std::size_t>(at / end * kParts), kParts - 1) : 0;
    };
    const auto goOn = [&heights, &nAt](std::size_t nTo, std::int64_t nHeight) {
        while (nAt < nTo)
            heights[++nAt] = nHeight;
    };
    std::int64_t nNow = 0;
    for (const log::Span& span : series.Spans()) {
        goOn(part(span.first.seconds), nNow);
        heights[nAt] = std::max(heights[nAt], span.nMost);
        goOn(part(span.last.seconds), span.nMost);
        nNow = span.nLast;
    }
    goOn(kParts - 1, nNow);
    return heights;
}

log::PlotCurve CurveOf(const std::string& name, const std::string& colour, log::Stroke enStroke,
                       const log::Series& series, double unit, double end) {
    log::PlotCurve curve{name, colour, enStroke, true, {}};
    const std::vector<std::int64_t> heights = Heights(series, end);
    for (std::size_t i = 0; i < heights.size(); ++i) {
        if (i > 0 && heights[i] == heights[i - 1]) continue;
        curve.points.push_back({end * static_cast<double>(i) / static_cast<double>(heights.size()),
                                static_cast<double>(heights[i]) / unit});
    }
    curve.points.push_back({end, static_cast<double>(heights.back()) / unit});
    return curve;
}

void AddMarks(log::Plot& plot, const char* szName, const char* szColour, bool bRing,
              const log::Series& series) {
    if (series.Empty()) return;
    log::PlotMarks marks{fmt::format("{} ({})", szName, series.Count()), szColour, bRing, {}};
    for (const log::Span& span : series.Spans())
        marks.at.push_back(span.first.seconds);
    plot.marks.push_back(std::move(marks));
}

void AddLimit(log::Plot& plot, std::uint64_t nMost, bool bLimit) {
    if (bLimit) plot.limit = static_cast<double>(ztk::kAllowedLimit) / plot.y.unit;
    plot.limitName = nMost == 0 ? ""
                                : fmt::format("limit of idle bytes in each pool {}{}",
                                              HumanBytes(ztk::kAllowedLimit), bLimit ? "" : " (far above)");
}

}  // namespace

void PlotMaker::Look(const Event& event, Verdict enVerdict, const Books& books) {
    const log::Moment moment{0, SecondsOf(event.nAt)};
    if (enVerdict == Verdict::kRefused) refused_.Add(moment, 1);
    if (enVerdict == Verdict::kReleasedTwice) twice_.Add(moment, 1);
    if (event.bRetried) retried_.Add(moment, 1);
    for (const Shelf& shelf : books.Touched()) {
        const ShelfFacts& facts = books.Shelves().at(shelf);
        Curves& curves = shelves_[shelf];
        if (curves.nBusy != facts.busy.nBytes)
            curves.busy.Add(moment, static_cast<std::int64_t>(facts.busy.nBytes));
        if (curves.nIdle != facts.idle.nBytes)
            curves.idle.Add(moment, static_cast<std::int64_t>(facts.idle.nBytes));
        curves.nBusy = facts.busy.nBytes;
        curves.nIdle = facts.idle.nBytes;
    }
}

log::Plot PlotMaker::Make(const std::string& name, const Books& books) const {
    std::vector<std::pair<Shelf, std::uint64_t>> drawn;
    std::uint64_t nMost = 0;
    for (const auto& [shelf, facts] : books.Shelves()) {
        if (facts.nMade + facts.nReused == 0) continue;
        drawn.emplace_back(shelf, std::max(facts.nPeakBusy, facts.nPeakIdle));
        nMost = std::max(nMost, drawn.back().second);
    }
    std::stable_sort(drawn.begin(), drawn.end(),
                     [](const auto& one, const auto& other) { return one.second > other.second; });
    const std::size_t nAll = drawn.size();
    drawn.resize(std::min(nAll, kMostShelves));

    log::Plot plot;
    const bool bLimit = books.Sum().nPeakIdle > ztk::kAllowedLimit / kTooFarAbove;
    constexpr std::uint64_t kMostBytes = std::uint64_t{1} << 56U;
    plot.y = log::MakeSizeAxis(static_cast<std::int64_t>(
        std::min(bLimit ? std::max(nMost, ztk::kAllowedLimit) : nMost, kMostBytes)));
    AddLimit(plot, nMost, bLimit);
    const double end = SecondsOf(books.Last());
    plot.x = log::MakeTimeAxis(log::ClockKind::kSeconds, 0, end, 0);
    plot.title = "Pool memory in " + Escape(name);
    const Totals& sum = books.Sum();
    plot.subtitle =
        fmt::format("the most of each moment; peaks: {} busy, {} idle, {} together{}",
                    HumanBytes(sum.nPeakBusy), HumanBytes(sum.nPeakIdle), HumanBytes(sum.nPeakOwned),
                    nAll > kMostShelves ? "; only the largest size classes are drawn" : "");
    const auto colours = ColoursOf(drawn);
    for (const auto& [shelf, nPeak] : drawn) {
        const auto it = shelves_.find(shelf);
        if (it == shelves_.end()) continue;
        plot.curves.push_back(CurveOf(ShelfName(shelf) + " busy", colours.at(shelf), log::Stroke::kSolid,
                                      it->second.busy, plot.y.unit, end));
        plot.curves.push_back(CurveOf(ShelfName(shelf) + " idle", colours.at(shelf), log::Stroke::kDashed,
                                      it->second.idle, plot.y.unit, end));
    }
    AddMarks(plot, "refused", "#c8102e", false, refused_);
    AddMarks(plot, "retry", "#a08000", true, retried_);
    AddMarks(plot, "released twice", "#7b3fa0", false, twice_);
    return plot;
}

}  // namespace ztkmem::record
