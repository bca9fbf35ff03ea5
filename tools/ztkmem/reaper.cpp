#include "reaper.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <map>

#include "describe.h"
#include "table.h"
#include "text.h"

namespace ztkmem {
namespace {

std::string ChosenTable(const std::vector<Segment>& chosen) {
    Table table({{"PID", Align::kRight},
                 {"OWNER", Align::kLeft},
                 {"AGE", Align::kRight},
                 {"RESIDENT", Align::kRight},
                 {"MAPPED BY", Align::kLeft},
                 {"NAME", Align::kLeft}});
    for (const Segment& segment : chosen) {
        table.AddRow({std::to_string(segment.nOwner), OwnerText(segment), HumanAge(segment.nAge),
                      HumanBytes(segment.facts.nResident), UsersText(segment.users), Escape(segment.name)});
    }
    return table.Text();
}

std::string FreedLine(const ReapPlan& plan, std::size_t nUnreadProcesses) {
    std::uint64_t nAtOnce = 0;
    std::uint64_t nLater = 0;
    for (const Segment& segment : plan.chosen)
        (segment.users.empty() ? nAtOnce : nLater) += segment.facts.nResident;
    std::string text =
        fmt::format("{} of dead owners; removing them frees {}{}", Counted(plan.chosen.size(), "segment"),
                    nUnreadProcesses == 0 ? "" : "up to ", HumanBytes(nAtOnce));
    if (nLater != 0) text += fmt::format(", and {} when those who map them let go", HumanBytes(nLater));
    return text + "\n";
}

std::string KeptLine(const ReapPlan& plan) {
    std::map<std::string, std::size_t> counts;
    std::size_t nSweep = 0;
    for (const Segment& segment : plan.kept) {
        ++counts[KeptBecause(segment)];
        if (!IsStale(segment) && segment.sweepRemoves.value_or(false)) ++nSweep;
    }
    if (counts.empty()) return "";
    std::string text;
    for (const auto& [why, nCount] : counts)
        text += fmt::format("{}{} {}", text.empty() ? "kept: " : ", ", nCount, why);
    text += "\n";
    if (nSweep != 0) {
        text += fmt::format(
            "the library's own sweep, at a load by this user, would remove {} of those kept\n", nSweep);
    }
    return text;
}

}  // namespace

ReapPlan PlanReap(std::vector<Segment> segments, std::int64_t nMinAge) {
    ReapPlan plan;
    for (Segment& segment : segments) {
        const bool bOldEnough = nMinAge == 0 || segment.nAge >= nMinAge;
        if (IsStale(segment) && bOldEnough) {
            plan.chosen.push_back(std::move(segment));
            continue;
        }
        if (IsStale(segment)) ++plan.nTooYoung;
        plan.kept.push_back(std::move(segment));
    }
    return plan;
}

RemovalResult RemoveIfStale(const Segment& chosen, ReapTarget& target) {
    const auto now = target.LookAgain(chosen.name);
    if (!now) return {Removal::kGone, 0};
    if (!(now->facts.id == chosen.facts.id)) return {Removal::kOther, 0};
    if (!IsStale(*now)) return {Removal::kNotProven, 0};
    const int nError = target.Remove(chosen.name);
    if (nError == ENOENT) return {Removal::kGone, 0};
    return {nError == 0 ? Removal::kRemoved : Removal::kRefused, nError};
}

std::string KeptBecause(const Segment& segment) {
    if (IsStale(segment)) return "too young";
    if (segment.enKind == NameKind::kOdd) return "with an odd name";
    if (!segment.facts.bRegular) return "no object";
    switch (segment.enOwner) {
        case OwnerState::kReused:
            return "whose pid may be reused";
        case OwnerState::kNotVisible:
            return "with an owner not visible";
        default:
            return "of living owners";
    }
}

std::string ReapText(const ReapPlan& plan, std::size_t nUnreadProcesses) {
    const std::string found = plan.chosen.empty()
                                  ? "nothing to remove\n"
                                  : ChosenTable(plan.chosen) + FreedLine(plan, nUnreadProcesses);
    return found + KeptLine(plan);
}

}  // namespace ztkmem
