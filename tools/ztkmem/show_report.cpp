#include "show_report.h"

#include <fmt/format.h>

#include "describe.h"
#include "text.h"

namespace ztkmem {
namespace {

std::string Field(std::string_view label, std::string_view value) {
    return fmt::format("{:<15} {}\n", label, value);
}

std::string BothUnits(std::uint64_t nBytes) {
    return nBytes < 1024 ? fmt::format("{} bytes", nBytes)
                         : fmt::format("{} bytes ({})", nBytes, HumanBytes(nBytes));
}

std::string OwnerLine(const Segment& segment) {
    if (segment.nOwner == 0)
        return segment.enKind == NameKind::kOdd ? "none, odd name" : "none, another program's name";
    const std::string command = segment.command.empty() ? "" : fmt::format(" ({})", segment.command);
    return fmt::format("{}{}, {}", segment.nOwner, command, OwnerStateText(segment.enOwner));
}

std::string UsersLine(const Segment& segment, std::size_t nUnreadProcesses) {
    std::string text;
    for (const User& user : segment.users)
        text += fmt::format("{}{} ({})", text.empty() ? "" : ", ", user.nId, user.command);
    if (text.empty()) text = "no process but the owner";
    if (nUnreadProcesses != 0)
        text += fmt::format("; {} may not be looked into", Counted(nUnreadProcesses, "process"));
    return text;
}

std::string ReservedText(const Header& header) {
    std::string text = fmt::format("{:02x} |", header.byReserved8);
    for (const std::uint8_t byValue : header.reserved)
        text += fmt::format(" {:02x}", byValue);
    return text;
}

std::string HeaderFields(const Header& header) {
    return Field("  data length", BothUnits(header.nDataLen)) +
           Field("  header length", fmt::format("{}", header.nHeaderLen)) +
           Field("  MMZ mark", fmt::format("{}", header.byMmz)) +
           Field("  name", fmt::format("\"{}\"", Escape(header.name))) +
           Field("  MMZ text", fmt::format("\"{}\"", Escape(header.mmz))) +
           Field("  reserved", ReservedText(header));
}

}  // namespace

std::string ShowText(const Segment& segment, std::size_t nUnreadProcesses) {
    const ObjectFacts& facts = segment.facts;
    std::string text = Field("name", Escape(segment.name)) + Field("owner", OwnerLine(segment)) +
                       Field("length", BothUnits(facts.nLength)) +
                       Field("resident", BothUnits(facts.nResident)) + Field("age", HumanAge(segment.nAge)) +
                       Field("mode, uid", fmt::format("{}, {}", ModeText(facts.nMode), facts.nUser)) +
                       Field("mapped by", UsersLine(segment, nUnreadProcesses)) +
                       Field("header", HeaderStateText(segment.verdict.enState));
    for (const std::string& reason : segment.verdict.reasons)
        text += Field("", reason);
    return segment.header ? text + HeaderFields(*segment.header) : text;
}

std::vector<std::string> NamesMeant(std::string_view typed) {
    constexpr std::string_view kFolder = "/dev/shm/";
    constexpr std::size_t kLongest = 255;
    if (typed.substr(0, kFolder.size()) == kFolder) typed.remove_prefix(kFolder.size());
    if (typed.substr(0, 1) == "/") typed.remove_prefix(1);
    std::vector<std::string> names{std::string(typed)};
    const auto unescaped = Unescape(typed);
    if (unescaped && *unescaped != typed) names.push_back(*unescaped);
    std::vector<std::string> possible;
    for (std::string& name : names) {
        const bool bPossible = !name.empty() && name.size() <= kLongest && name != "." && name != ".." &&
                               name.find('/') == std::string::npos && name.find('\0') == std::string::npos;
        if (bPossible) possible.push_back(std::move(name));
    }
    return possible;
}

}  // namespace ztkmem
