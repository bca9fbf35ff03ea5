#include "record/trace_writer.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "record/record_words.h"
#include "text.h"

namespace ztkmem::record {
namespace {

std::string Quoted(const std::string& text) {
    return nlohmann::json(text).dump();
}

/// The format's unit.
std::string Microseconds(std::uint64_t nNs) {
    return fmt::format("{}.{:03}", nNs / 1000, nNs % 1000);
}

const char* NameOf(Verdict enVerdict) {
    switch (enVerdict) {
        case Verdict::kReused:
            return "reused";
        case Verdict::kMade:
            return "made";
        case Verdict::kRefused:
            return "refused";
        case Verdict::kBadCall:
            return "nowhere to put the address";
        case Verdict::kReleased:
            return "released";
        case Verdict::kReleasedTwice:
            return "released twice";
        case Verdict::kUnknown:
            return "unknown address";
        case Verdict::kUnseen:
            return "from before the recording";
        case Verdict::kGivenBack:
            return "given back to the system";
        case Verdict::kUnloaded:
            break;
    }
    return "library unloaded";
}

}  // namespace

TraceWriter::TraceWriter(std::FILE* pFile, const Facts& facts, const CallSites& sites)
    : pFile_(pFile), facts_(facts), callSites_(sites) {
    fmt::print(pFile_, R"({{"displayTimeUnit":"ns","traceEvents":[)");
    Add(fmt::format(R"({{"name":"process_name","ph":"M","pid":{},"tid":0,"args":{{"name":{}}}}})",
                    facts.nProcess, Quoted(Escape(facts.program))));
}

void TraceWriter::Add(const std::string& event) {
    fmt::print(pFile_, "{}{}", bFirst_ ? "\n" : ",\n", event);
    bFirst_ = false;
}

void TraceWriter::Finish() {
    fmt::print(pFile_, "\n]}}\n");
}

void TraceWriter::Write(const Event& event, Verdict enVerdict, const Books& books) {
    if (event.IsCall()) {
        NameThread(event);
        WriteCall(event, enVerdict);
    }
    const bool bFault = enVerdict == Verdict::kRefused || enVerdict == Verdict::kReleasedTwice ||
                        enVerdict == Verdict::kUnknown || enVerdict == Verdict::kUnloaded;
    if (bFault) WriteMark(event, NameOf(enVerdict));
    WriteCounters(event, books);
}

void TraceWriter::NameThread(const Event& event) {
    if (!threads_.insert(event.nThread).second) return;
    Add(fmt::format(R"({{"name":"thread_name","ph":"M","pid":{0},"tid":{1},"args":{{"name":"thread {1}"}}}})",
                    facts_.nProcess, event.nThread));
}

void TraceWriter::WriteCall(const Event& event, Verdict enVerdict) {
    std::string arguments =
        fmt::format(R"("address":"{:#x}","status":"{}","block":"{}","site":{})", event.nAddress,
                    StatusName(event.nStatus), NameOf(enVerdict), SiteOf(event.nSite));
    if (event.IsAllocation())
        arguments += fmt::format(R"(,"size":{},"align":{},"kind":"{}","retried":{})", event.nSize,
                                 event.nAlign, record::NameOf(ShelfOf(event).enKind), event.bRetried);
    Add(fmt::format(R"({{"name":"{}","cat":"{}","ph":"X","pid":{},"tid":{},"ts":{},"dur":{},"args":{{{}}}}})",
                    record::NameOf(event.enOperation), event.IsAllocation() ? "allocation" : "release",
                    facts_.nProcess, event.nThread, Microseconds(event.Begin()),
                    Microseconds(event.nDuration), arguments));
}

void TraceWriter::WriteMark(const Event& event, const char* szWhat) {
    Add(fmt::format(R"({{"name":"{}","cat":"fault","ph":"i","s":"p","pid":{},"tid":{},"ts":{}}})", szWhat,
                    facts_.nProcess, event.nThread, Microseconds(event.nAt)));
}

void TraceWriter::WriteCounters(const Event& event, const Books& books) {
    for (const Shelf& shelf : books.Touched()) {
        const Totals& sum = books.SumOf(shelf.enKind);
        const std::pair<std::uint64_t, std::uint64_t> bytes{sum.nBusy, sum.nIdle};
        if (shown_[shelf.enKind] == bytes) continue;
        shown_[shelf.enKind] = bytes;
        Add(fmt::format(
            R"({{"name":"{} bytes","ph":"C","pid":{},"tid":0,"ts":{},"args":{{"busy":{},"idle":{}}}}})",
            record::NameOf(shelf.enKind), facts_.nProcess, Microseconds(event.nAt), bytes.first,
            bytes.second));
    }
}

const std::string& TraceWriter::SiteOf(std::uint32_t nSite) {
    const auto it = sites_.find(nSite);
    if (it != sites_.end()) return it->second;
    std::string text;
    for (const std::string& name : callSites_.NamesOf(nSite))
        text += (text.empty() ? "" : " < ") + name;
    return sites_[nSite] = Quoted(text);
}

}  // namespace ztkmem::record
