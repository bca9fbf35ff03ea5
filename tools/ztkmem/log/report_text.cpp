#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "log/report.h"
#include "table.h"
#include "text.h"

namespace ztkmem::log {
namespace {

constexpr std::size_t kMostRows = 10;

std::string Head(const Report& report) {
    const Analysis& analysis = report.analysis;
    std::string text = fmt::format("{}: {}, {} of the library", Escape(report.name),
                                   Counted(report.nLines, "line"), analysis.Lines());
    if (analysis.Lines() == 0) return text + '\n';
    if (!analysis.HasTimes()) return text + ", without times\n";
    return text + fmt::format(", {} to {} ({})\n", report.times.Text(analysis.First()),
                              report.times.Text(analysis.Last()),
                              Duration(analysis.Last().seconds - analysis.First().seconds));
}

std::string FlowTable(const Analysis& analysis) {
    Table table({{"MEMORY"},
                 {"ALLOCATED", Align::kRight},
                 {"BYTES", Align::kRight},
                 {"FREED", Align::kRight},
                 {"BYTES", Align::kRight},
                 {"LAST DUMP", Align::kRight}});
    for (const Memory enMemory : {Memory::kHeap, Memory::kMmz, Memory::kUntold, Memory::kShared}) {
        const MemoryFacts& facts = analysis.Of(enMemory);
        if (facts.allocated.nBlocks + facts.freed.nBlocks + facts.nDumps == 0) continue;
        table.AddRow({std::string(NameOf(enMemory)), std::to_string(facts.allocated.nBlocks),
                      HumanBytes(facts.allocated.nBytes), std::to_string(facts.freed.nBlocks),
                      HumanBytes(facts.freed.nBytes), facts.nDumps == 0 ? "-" : Bytes(facts.dumped.Last())});
    }
    return "\nSystem allocations and frees\n" + table.Text();
}

std::string PoolTable(const Report& report) {
    Table table({{"POOL"},
                 {"OWNED", Align::kRight},
                 {"PEAK", Align::kRight},
                 {"IDLE NOW", Align::kRight},
                 {"IDLE MOST", Align::kRight},
                 {"LIMIT", Align::kRight},
                 {"MINUTES", Align::kRight},
                 {"ABOVE IT", Align::kRight}});
    for (const Pool enPool : {Pool::kLocal, Pool::kShared}) {
        const PoolFacts& facts = report.analysis.Of(enPool);
        const bool bMinutes = facts.nLimitLines != 0;
        if (facts.owned.Empty() && !bMinutes) continue;
        table.AddRow({std::string(NameOf(enPool)), Bytes(facts.Owned()), Bytes(facts.Peak()),
                      bMinutes ? Bytes(facts.redundant.Last()) : "-",
                      bMinutes ? Bytes(facts.redundant.Most()) : "-", bMinutes ? Bytes(facts.nLimit) : "-",
                      std::to_string(facts.nLimitLines), std::to_string(facts.nOverLimit)});
    }
    return "\nPools\n" + table.Text();
}

std::string FailureTable(const Report& report) {
    const auto& failures = report.analysis.AllFailures().All();
    if (failures.empty()) return "";
    Table table({{"ERROR LINE"},
                 {"MEMORY"},
                 {"COUNT", Align::kRight},
                 {"SMALLEST", Align::kRight},
                 {"LARGEST", Align::kRight},
                 {"LEAST FREE", Align::kRight},
                 {"FIRST"},
                 {"LAST"}});
    for (const Failure& failure : failures) {
        const bool bSizes = failure.sizes.nCount != 0;
        table.AddRow({fmt::format("{}@{}", failure.pForm->function, failure.pForm->nNumber),
                      std::string(NameOf(failure.enMemory)), std::to_string(failure.nCount),
                      bSizes ? Bytes(failure.sizes.nLeast) : "-", bSizes ? Bytes(failure.sizes.nMost) : "-",
                      failure.nLeastAvailable == UINT64_MAX ? "-" : Bytes(failure.nLeastAvailable),
                      report.times.Text(failure.first), report.times.Text(failure.last)});
    }
    return "\nErrors\n" + table.Text();
}

std::string LeftTable(const Analysis& analysis) {
    std::vector<std::pair<Pool, std::pair<std::uint64_t, std::uint64_t>>> left;
    for (const Pool enPool : {Pool::kLocal, Pool::kShared}) {
        for (const auto& entry : analysis.Of(enPool).sizesLeft)
            left.emplace_back(enPool, entry);
    }
    if (left.empty()) return "";
    std::stable_sort(left.begin(), left.end(), [](const auto& one, const auto& other) {
        return one.second.first * one.second.second > other.second.first * other.second.second;
    });
    Table table({{"POOL"}, {"SIZE", Align::kRight}, {"BLOCKS", Align::kRight}, {"BYTES", Align::kRight}});
    for (std::size_t i = 0; i < std::min(left.size(), kMostRows); ++i) {
        const auto& [enPool, entry] = left[i];
        table.AddRow({std::string(NameOf(enPool)), entry.first == 0 ? "others" : std::to_string(entry.first),
                      std::to_string(entry.second), HumanBytes(entry.first * entry.second)});
    }
    std::string text = "\nAllocated and not given back to the system, in use or idle\n" + table.Text();
    if (left.size() > kMostRows)
        text += fmt::format("and {}\n", Counted(left.size() - kMostRows, "more size"));
    return text;
}

std::string GrowthTable(const Analysis& analysis) {
    Table table({{"MEMORY"},
                 {"SIZE", Align::kRight},
                 {"FIRST", Align::kRight},
                 {"LAST", Align::kRight},
                 {"GREW AT", Align::kRight},
                 {"OF"}});
    bool bAny = false;
    for (const Outcome& outcome : analysis.Outcomes()) {
        for (const GrowingBlocks& growing : outcome.growing) {
            const Trend& trend = growing.size.trend;
            table.AddRow({std::string(NameOf(growing.enMemory)), std::to_string(growing.size.nSize),
                          std::to_string(trend.nFirst), std::to_string(trend.nLast),
                          std::to_string(trend.nGrew),
                          fmt::format("{} {}", growing.nLooks, growing.bByDump ? "dumps" : "minutes")});
            bAny = true;
        }
    }
    return bAny ? "\nSizes that only grow\n" + table.Text() : "";
}

std::string Verdict(const std::vector<Finding>& findings) {
    std::string text = "\nVerdict\n";
    for (const Finding& finding : findings)
        text += fmt::format("{} {}\n", finding.enWeight == Weight::kProblem ? '!' : '-', finding.sentence);
    return text;
}

}  // namespace

std::string ReportText(const Report& report) {
    std::string text = Head(report);
    if (report.analysis.InformationLines() != 0) text += FlowTable(report.analysis) + PoolTable(report);
    return text + FailureTable(report) + LeftTable(report.analysis) + GrowthTable(report.analysis) +
           Verdict(report.findings);
}

}  // namespace ztkmem::log
