#include "ls_report.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "table.h"
#include "text.h"

namespace ztkmem {
namespace {

using Json = nlohmann::ordered_json;

bool TellsDataLength(const Segment& segment) {
    return segment.header && segment.header->nHeaderLen == kHeaderSize;
}

std::vector<std::string> Row(const Segment& segment, Units enUnits) {
    return {segment.nOwner == 0 ? "-" : std::to_string(segment.nOwner),
            segment.command.empty() ? "-" : segment.command,
            OwnerText(segment),
            Bytes(segment.facts.nLength, enUnits),
            Bytes(segment.facts.nResident, enUnits),
            TellsDataLength(segment) ? Bytes(segment.header->nDataLen, enUnits) : "-",
            HeaderStateText(segment.verdict.enState),
            HumanAge(segment.nAge),
            ModeText(segment.facts.nMode),
            std::to_string(segment.facts.nUser),
            UsersText(segment.users),
            Escape(segment.name)};
}

Table SegmentTable(const std::vector<Segment>& segments, Units enUnits) {
    Table table({{"PID", Align::kRight},
                 {"COMMAND", Align::kLeft},
                 {"OWNER", Align::kLeft},
                 {"LENGTH", Align::kRight},
                 {"RESIDENT", Align::kRight},
                 {"DATA", Align::kRight},
                 {"HEADER", Align::kLeft},
                 {"AGE", Align::kRight},
                 {"MODE", Align::kLeft},
                 {"UID", Align::kRight},
                 {"MAPPED BY", Align::kLeft},
                 {"NAME", Align::kLeft}});
    for (const Segment& segment : segments)
        table.AddRow(Row(segment, enUnits));
    return table;
}

std::string TotalLine(const Totals& totals, Units enUnits) {
    const std::string stale = totals.nStale == 0
                                  ? "nothing stale"
                                  : fmt::format("{} stale with {} (see ztkmem reap)", totals.nStale,
                                                Bytes(totals.nStaleResident, enUnits));
    return fmt::format("{}, {} long, {} resident; {}\n", Counted(totals.nSegments, "segment"),
                       Bytes(totals.nLength, enUnits), Bytes(totals.nResident, enUnits), stale);
}

std::string Notes(const Survey& survey, const Totals& totals) {
    std::string notes;
    if (totals.nNotVisible != 0) {
        std::string why = WhyNothingIsProven(survey.processes.visibility);
        if (why.empty()) why = "a process in an inner pid namespace bears the id";
        notes += fmt::format("{} not visible: {}\n", Counted(totals.nNotVisible, "owner"), why);
    }
    if (totals.nReused != 0) {
        notes += fmt::format("{} started after what bears the id was made: perhaps a stranger\n",
                             Counted(totals.nReused, "process"));
    }
    if (survey.processes.nUnread != 0) {
        notes += fmt::format("{} may not be looked into: what they map is not shown\n",
                             Counted(survey.processes.nUnread, "process"));
    }
    return notes;
}

Json UsersJson(const std::vector<User>& users) {
    Json list = Json::array();
    for (const User& user : users)
        list.push_back({{"pid", user.nId}, {"command", user.command}});
    return list;
}

Json OwnerJson(const Segment& segment) {
    const bool bOwned = segment.nOwner != 0;
    return {{"pid", bOwned ? Json(segment.nOwner) : Json()},
            {"command", segment.command.empty() ? Json() : Json(segment.command)},
            {"state", bOwned ? Json(OwnerStateText(segment.enOwner)) : Json()}};
}

const char* KindText(NameKind enKind) {
    switch (enKind) {
        case NameKind::kPool:
            return "pool";
        case NameKind::kOdd:
            return "odd";
        case NameKind::kForeign:
            break;
    }
    return "foreign";
}

Json SegmentJson(const Segment& segment) {
    return {{"name", Escape(segment.name)},
            {"name_kind", KindText(segment.enKind)},
            {"owner", OwnerJson(segment)},
            {"stale", IsStale(segment)},
            {"length", segment.facts.nLength},
            {"resident", segment.facts.nResident},
            {"data_length", TellsDataLength(segment) ? Json(segment.header->nDataLen) : Json()},
            {"header",
             {{"state", HeaderStateText(segment.verdict.enState)}, {"reasons", segment.verdict.reasons}}},
            {"age_seconds", segment.nAge},
            {"mode", ModeText(segment.facts.nMode)},
            {"uid", segment.facts.nUser},
            {"mapped_by", UsersJson(segment.users)},
            {"sweep_would_remove", segment.sweepRemoves ? Json(*segment.sweepRemoves) : Json()}};
}

}  // namespace

std::string LsText(const Survey& survey, Units enUnits) {
    const Totals totals = AddUp(survey.segments);
    const std::string table = survey.segments.empty() ? "" : SegmentTable(survey.segments, enUnits).Text();
    return table + TotalLine(totals, enUnits) + Notes(survey, totals);
}

std::string LsJson(const Survey& survey) {
    const Totals totals = AddUp(survey.segments);
    Json list = Json::array();
    for (const Segment& segment : survey.segments)
        list.push_back(SegmentJson(segment));
    const Json document = {{"segments", list},
                           {"total",
                            {{"segments", totals.nSegments},
                             {"length", totals.nLength},
                             {"resident", totals.nResident},
                             {"stale", totals.nStale},
                             {"stale_resident", totals.nStaleResident},
                             {"owners_not_visible", totals.nNotVisible}}},
                           {"every_process_seen", survey.bEveryProcessSeen},
                           {"processes_not_looked_into", survey.processes.nUnread}};
    constexpr int kIndent = 2;
    return document.dump(kIndent) + "\n";
}

}  // namespace ztkmem
