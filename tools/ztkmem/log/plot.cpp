#include "log/plot.h"

#include <fmt/format.h>

#include <algorithm>

#include "pool/pool_limits.h"
#include "text.h"

namespace ztkmem::log {
namespace {

constexpr char kBlue[] = "#1f6fb4";
constexpr char kOrange[] = "#d07a00";
constexpr char kPurple[] = "#7b3fa0";
constexpr char kRed[] = "#c8102e";
constexpr char kYellow[] = "#a08000";

/// The limit is drawn unless everything would lie at the bottom for it.
constexpr std::int64_t kTooFarAbove = 8;

class Drawing {
  public:
    explicit Drawing(const Report& report) : report_(report), bTimes_(report.analysis.HasTimes()) {}

    Plot Make() {
        const Analysis& analysis = report_.analysis;
        MakeAxes();
        plot_.title = "Pool memory in " + Escape(report_.name);
        plot_.subtitle = Subtitle();
        for (const Pool enPool : {Pool::kLocal, Pool::kShared})
            AddOwned(enPool);
        if (analysis.Of(Memory::kMmz).dumped.Most() > 0)
            Add("MMZ alone (dumps)", kPurple, Stroke::kDotted, true, analysis.Of(Memory::kMmz).dumped, 0);
        for (const Pool enPool : {Pool::kLocal, Pool::kShared})
            AddIdle(enPool);
        AddMarks("request failed", kRed, false, analysis.Failed());
        AddMarks("retry", kYellow, true, analysis.Retried());
        return std::move(plot_);
    }

  private:
    double X(const Moment& moment) const {
        if (!bTimes_) return static_cast<double>(moment.nLine);
        return moment.HasTime() ? moment.seconds : report_.analysis.First().seconds;
    }

    std::int64_t MostDrawn() const {
        std::int64_t nMost = 0;
        for (const Pool enPool : {Pool::kLocal, Pool::kShared}) {
            const PoolFacts& facts = report_.analysis.Of(enPool);
            nMost = std::max({nMost, facts.owned.Empty() ? 0 : facts.Peak(), facts.redundant.Most()});
        }
        return std::max(nMost, report_.analysis.Of(Memory::kMmz).dumped.Most());
    }

    void MakeAxes() {
        const Analysis& analysis = report_.analysis;
        const std::uint64_t nSeen =
            std::max(analysis.Of(Pool::kLocal).nLimit, analysis.Of(Pool::kShared).nLimit);
        const auto nLimit = static_cast<std::int64_t>(
            std::min<std::uint64_t>(nSeen == 0 ? ztk::kAllowedLimit : nSeen, kMostBytes));
        const std::int64_t nMost = MostDrawn();
        const bool bLimit = nMost > nLimit / kTooFarAbove;
        plot_.y = MakeSizeAxis(bLimit ? std::max(nMost, nLimit) : nMost);
        if (bLimit) plot_.limit = static_cast<double>(nLimit) / plot_.y.unit;
        plot_.limitName = fmt::format("idle limit {}{}", Bytes(nLimit), bLimit ? "" : " (far above)");
        const double from = X(analysis.First());
        const double to = X(analysis.Last());
        plot_.x = bTimes_ ? MakeTimeAxis(report_.times.Kind(), from, to, report_.times.ShownOffset())
                          : MakeLineAxis(from, to);
    }

    std::string Subtitle() const {
        std::string text;
        for (const Pool enPool : {Pool::kLocal, Pool::kShared}) {
            const PoolFacts& facts = report_.analysis.Of(enPool);
            if (facts.owned.Empty()) continue;
            text += fmt::format("{}{} pool: peak {}, {} at the end", text.empty() ? "" : "; ", NameOf(enPool),
                                Bytes(facts.Peak()), Bytes(facts.Owned()));
        }
        return text;
    }

    void AddOwned(Pool enPool) {
        const PoolFacts& facts = report_.analysis.Of(enPool);
        const bool bLocal = enPool == Pool::kLocal;
        Add(bLocal ? "local pool owns (heap and MMZ)" : "shared pool owns", bLocal ? kBlue : kOrange,
            Stroke::kSolid, true, facts.owned, facts.nBase);
    }

    /// Minute lines of several processes are not one curve, but one is what a plot of them can show.
    void AddIdle(Pool enPool) {
        const bool bLocal = enPool == Pool::kLocal;
        Add(bLocal ? "local pool idle" : "shared pool idle", bLocal ? kBlue : kOrange, Stroke::kDashed, false,
            report_.analysis.Of(enPool).redundant, 0);
    }

    void Add(const char* szName, const char* szColour, Stroke enStroke, bool bSteps, const Series& series,
             std::int64_t nBase) {
        if (series.Empty()) return;
        PlotCurve curve{szName, szColour, enStroke, bSteps, {}};
        const auto add = [this, &curve, nBase](const Moment& moment, std::int64_t nValue) {
            curve.points.push_back({X(moment), static_cast<double>(nValue + nBase) / plot_.y.unit});
        };
        if (enStroke == Stroke::kSolid) add(report_.analysis.First(), 0);
        for (const Span& span : series.Spans()) {
            if (span.nCount > 1) {
                add(span.first, span.nLeast);
                add(span.first, span.nMost);
            }
            add(span.last, span.nLast);
        }
        if (bSteps) add(report_.analysis.Last(), series.Last());
        plot_.curves.push_back(std::move(curve));
    }

    void AddMarks(const char* szName, const char* szColour, bool bRing, const Series& series) {
        if (series.Empty()) return;
        PlotMarks marks{fmt::format("{} ({})", szName, series.Count()), szColour, bRing, {}};
        for (const Span& span : series.Spans())
            marks.at.push_back(X(span.first));
        plot_.marks.push_back(std::move(marks));
    }

    const Report& report_;
    const bool bTimes_;
    Plot plot_;
};

}  // namespace

Plot MakePlot(const Report& report) {
    return Drawing(report).Make();
}

}  // namespace ztkmem::log
