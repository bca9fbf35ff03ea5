#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "log/report.h"
#include "text.h"

namespace ztkmem::log {
namespace {

using Json = nlohmann::ordered_json;

Json Time(const Report& report, const Moment& moment) {
    Json json{{"line", moment.nLine}};
    if (moment.HasTime()) json["time"] = report.times.Text(moment);
    return json;
}

Json Sizes(const SizeRange& sizes) {
    Json json{{"count", sizes.nCount}};
    if (sizes.nCount != 0) {
        json["smallest"] = sizes.nLeast;
        json["largest"] = sizes.nMost;
        json["last"] = sizes.nLast;
    }
    return json;
}

Json Curve(const Report& report, const Series& series, std::int64_t nBase) {
    Json json = Json::array();
    for (const Span& span : series.Spans()) {
        json.push_back({{"from", Time(report, span.first)},
                        {"to", Time(report, span.last)},
                        {"least", span.nLeast + nBase},
                        {"most", span.nMost + nBase},
                        {"last", span.nLast + nBase}});
    }
    return json;
}

Json MemoryJson(const Report& report, Memory enMemory) {
    const MemoryFacts& facts = report.analysis.Of(enMemory);
    return {{"allocated", {{"blocks", facts.allocated.nBlocks}, {"bytes", facts.allocated.nBytes}}},
            {"freed", {{"blocks", facts.freed.nBlocks}, {"bytes", facts.freed.nBytes}}},
            {"dumps", facts.nDumps},
            {"dumps_with_blocks", facts.nWholeDumps},
            {"dumped_bytes", Curve(report, facts.dumped, 0)}};
}

Json PoolJson(const Report& report, Pool enPool) {
    const PoolFacts& facts = report.analysis.Of(enPool);
    Json left = Json::array();
    for (const auto& [nSize, nCount] : facts.sizesLeft)
        left.push_back({{"size", nSize == 0 ? Json() : Json(nSize)}, {"blocks", nCount}});
    return {{"owned_bytes", facts.Owned()},
            {"peak_bytes", facts.Peak()},
            {"owned_before_the_log", facts.nBase},
            {"idle_bytes", facts.redundant.Last()},
            {"idle_most_bytes", facts.redundant.Most()},
            {"idle_limit", facts.nLimit},
            {"limit_lines", facts.nLimitLines},
            {"limit_lines_above", facts.nOverLimit},
            {"retries", facts.nRetries},
            {"served_by_retry", Sizes(facts.rescued)},
            {"failed", Sizes(facts.failed)},
            {"failed_after_retry", facts.nFailedAfterRetry},
            {"unknown_releases", facts.nUnknownReleases},
            {"blocks_not_given_back", facts.nBlocksLeft},
            {"sizes_not_given_back", left},
            {"owned", Curve(report, facts.owned, facts.nBase)},
            {"idle", Curve(report, facts.redundant, 0)}};
}

Json ErrorsJson(const Report& report) {
    Json json = Json::array();
    for (const Failure& failure : report.analysis.AllFailures().All()) {
        Json error{{"line", fmt::format("{}@{}", failure.pForm->function, failure.pForm->nNumber)},
                   {"memory", NameOf(failure.enMemory)},
                   {"count", failure.nCount},
                   {"sizes", Sizes(failure.sizes)},
                   {"first", Time(report, failure.first)},
                   {"last", Time(report, failure.last)}};
        if (failure.nLeastAvailable != UINT64_MAX) error["least_available"] = failure.nLeastAvailable;
        json.push_back(error);
    }
    return json;
}

Json ReclaimerJson(const Report& report, const PoolOutcome& pool) {
    Json json{{"limit_lines", pool.nLimitLines},
              {"longest_silence_seconds", pool.silence.seconds},
              {"dumps_called_idle_more_than_owned", pool.nImpossible},
              {"minutes_above_limit_in_a_row", pool.nMostOverInARow},
              {"in_use_bytes", pool.nInUseLast},
              {"in_use_most_bytes", pool.nInUseMost}};
    if (pool.nLimitLines != 0) json["last_limit_line"] = Time(report, pool.lastLimit);
    return json;
}

Json ProcessJson(const Report& report, const Outcome& outcome) {
    Json growing = Json::array();
    for (const GrowingBlocks& blocks : outcome.growing) {
        growing.push_back({{"memory", NameOf(blocks.enMemory)},
                           {"size", blocks.size.nSize},
                           {"by", blocks.bByDump ? "dumps" : "lines"},
                           {"looks", blocks.nLooks},
                           {"first", blocks.size.trend.nFirst},
                           {"last", blocks.size.trend.nLast},
                           {"grew", blocks.size.trend.nGrew}});
    }
    return {{"pid", outcome.nProcess == 0 ? Json() : Json(outcome.nProcess)},
            {"first", Time(report, outcome.first)},
            {"last", Time(report, outcome.last)},
            {"seems_ended", outcome.bEnded},
            {"local", ReclaimerJson(report, outcome.At(Pool::kLocal))},
            {"shared", ReclaimerJson(report, outcome.At(Pool::kShared))},
            {"only_growing", growing}};
}

}  // namespace

std::string ReportJson(const Report& report) {
    const Analysis& analysis = report.analysis;
    const auto bHealthy = IsHealthy(analysis, report.findings);
    Json json{{"log", Escape(report.name)},        {"lines", report.nLines},
              {"library_lines", analysis.Lines()}, {"information_lines", analysis.InformationLines()},
              {"torn_lines", analysis.Torn()},     {"healthy", bHealthy ? Json(*bHealthy) : Json()}};
    if (analysis.Lines() != 0) {
        json["first"] = Time(report, analysis.First());
        json["last"] = Time(report, analysis.Last());
    }
    for (const Memory enMemory : {Memory::kHeap, Memory::kMmz, Memory::kUntold, Memory::kShared})
        json["memory"][std::string(NameOf(enMemory))] = MemoryJson(report, enMemory);
    for (const Pool enPool : {Pool::kLocal, Pool::kShared})
        json["pools"][std::string(NameOf(enPool))] = PoolJson(report, enPool);
    json["errors"] = ErrorsJson(report);
    json["processes"] = Json::array();
    for (const Outcome& outcome : analysis.Outcomes())
        json["processes"].push_back(ProcessJson(report, outcome));
    json["verdict"] = Json::array();
    for (const Finding& finding : report.findings) {
        json["verdict"].push_back({{"problem", finding.enWeight == Weight::kProblem},
                                   {"code", finding.code},
                                   {"sentence", finding.sentence}});
    }
    return json.dump(2) + '\n';
}

}  // namespace ztkmem::log
