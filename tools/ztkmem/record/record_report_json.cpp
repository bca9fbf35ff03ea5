#include <nlohmann/json.hpp>

#include "record/record_report.h"
#include "record/record_words.h"
#include "text.h"

namespace ztkmem::record {
namespace {

using Json = nlohmann::ordered_json;

double InSeconds(std::uint64_t nNs) {
    return static_cast<double>(nNs) / 1e9;
}

Json ShelvesJson(const std::map<Shelf, ShelfFacts>& shelves) {
    Json list = Json::array();
    for (const auto& [shelf, facts] : shelves) {
        list.push_back({{"kind", NameOf(shelf.enKind)},
                        {"size_class", shelf.nClass},
                        {"requests", facts.nRequests},
                        {"reused", facts.nReused},
                        {"made", facts.nMade},
                        {"retried", facts.nRetried},
                        {"refused", facts.nRefused},
                        {"busy", facts.busy.nBytes},
                        {"idle", facts.idle.nBytes},
                        {"peak_busy", facts.nPeakBusy},
                        {"peak_idle", facts.nPeakIdle}});
    }
    return list;
}

Json HoldingsJson(const std::vector<Holding>& holdings, const CallSites& sites) {
    Json list = Json::array();
    for (const Holding& holding : holdings) {
        list.push_back({{"kind", NameOf(holding.enKind)},
                        {"bytes", holding.amount.nBytes},
                        {"blocks", holding.amount.nBlocks},
                        {"since", InSeconds(holding.nOldest)},
                        {"stack", sites.NamesOf(holding.nSite)}});
    }
    return list;
}

Json FaultsJson(const Faults& faults, const CallSites& sites, bool bEarlier) {
    Json list = Json::array();
    for (const auto& [key, fault] : faults) {
        list.push_back({{"function", NameOf(fault.first.enOperation)},
                        {"times", fault.nTimes},
                        {"first_at", InSeconds(fault.first.nAt)},
                        {"address", fault.first.nAddress},
                        {"stack", sites.NamesOf(fault.first.nSite)}});
        if (bEarlier) list.back()["released_before_by"] = sites.NamesOf(fault.nEarlierSite);
    }
    return list;
}

Json RefusalJson(const std::optional<Refusal>& refusal, const CallSites& sites) {
    if (!refusal) return nullptr;
    const Event& event = refusal->event;
    return {{"at", InSeconds(event.nAt)},
            {"function", NameOf(event.enOperation)},
            {"size", event.nSize},
            {"align", event.nAlign},
            {"kind", NameOf(ShelfOf(event).enKind)},
            {"status", StatusName(event.nStatus)},
            {"stack", sites.NamesOf(event.nSite)},
            {"pools", ShelvesJson(refusal->shelves)},
            {"held", HoldingsJson(refusal->holdings, sites)}};
}

}  // namespace

std::string ReportJson(const RecordReport& report) {
    const Books& books = report.books;
    const Facts& facts = report.facts;
    CallSites& sites = report.sites;
    sites.ResolveAll();
    const Json document{{"recording", Escape(report.name)},
                        {"program", Escape(facts.program)},
                        {"process", facts.nProcess},
                        {"parent", facts.Has(ztk_record::kForked) ? Json(facts.nParent) : Json(nullptr)},
                        {"calls", books.Calls()},
                        {"threads", books.Threads()},
                        {"seconds", InSeconds(books.Last())},
                        {"came_to_its_exit", facts.Has(ztk_record::kEnded)},
                        {"complete", !facts.Has(ztk_record::kStopped)},
                        {"reuse_is_inferred", !facts.Has(ztk_record::kSawLog)},
                        {"healthy", !HasFindings(books)},
                        {"peak_busy", books.Sum().nPeakBusy},
                        {"peak_idle", books.Sum().nPeakIdle},
                        {"peak_together", books.Sum().nPeakOwned},
                        {"pools", ShelvesJson(books.Shelves())},
                        {"held", HoldingsJson(books.Holdings(), sites)},
                        {"held_at_unload", HoldingsJson(books.LostAtUnload(), sites)},
                        {"double_releases", FaultsJson(books.Doubles(), sites, true)},
                        {"unknown_releases", FaultsJson(books.Unknowns(), sites, false)},
                        {"requests_without_output", FaultsJson(books.BadCalls(), sites, false)},
                        {"first_refusal", RefusalJson(books.FirstRefusal(), sites)},
                        {"releases_of_unseen_blocks", books.Unseen()}};
    return document.dump(2) + '\n';
}

}  // namespace ztkmem::record
