#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include "command.h"
#include "describe.h"
#include "reaper.h"
#include "survey.h"
#include "text.h"

namespace ztkmem {
namespace {

struct ReapOptions {
    bool bYes = false;
    std::string olderThan = "0";
    bool bVouchedFor = false;
};

constexpr char kReapFooter[] =
    R"(Removes only what a dead process provably left: the name is exactly as the library makes them,
nobody has the pid in it (or only a zombie), and no process can be hidden, be it by /proc or in
another pid namespace. Each is looked at again right before it is removed. Memory that another
process still maps is freed when that process lets go.

The library's own sweep, at its load, is coarser: a process that it may not signal, or that lives
in another pid namespace, counts as dead, while a zombie counts as alive; names are judged by the
text between their first and last dash; and it removes what bears its own process's id.

Exit status: 0 nothing is left of dead owners (or of those old enough), 1 something is,
2 error, also when a removal was refused.

Examples:
  ztkmem reap                      what would go, and what that would free
  ztkmem reap --yes                remove it
  ztkmem reap --yes --older-than 10m)";

class SystemTarget : public ReapTarget {
  public:
    SystemTarget(const ShmDirectory& directory, bool bVouchedFor)
        : directory_(directory), bVouchedFor_(bVouchedFor) {}

    std::optional<Segment> LookAgain(const std::string& name) override {
        // whose object this is must be known before the processes are counted
        if (!directory_.Look(name)) return std::nullopt;
        ProcessTable processes = ReadProcesses(Mappings::kLeaveOut, directory_.Device());
        processes.visibility.bVouchedFor = bVouchedFor_;
        return LookAtSegment(directory_, name, processes);
    }

    int Remove(const std::string& name) override { return directory_.Remove(name); }

  private:
    const ShmDirectory& directory_;
    bool bVouchedFor_;
};

std::string ResultLine(const Segment& segment, const RemovalResult& result) {
    const std::string name = Escape(segment.name);
    switch (result.enRemoval) {
        case Removal::kRemoved:
            return fmt::format("removed {}\n", name);
        case Removal::kGone:
            return fmt::format("already gone: {}\n", name);
        case Removal::kOther:
            return fmt::format("kept {}: it is another object now\n", name);
        case Removal::kNotProven:
            return fmt::format("kept {}: its owner is no longer proven dead\n", name);
        case Removal::kRefused:
            break;
    }
    return fmt::format("cannot remove {}: {}\n", name, std::strerror(result.nError));
}

int RemoveAll(const std::vector<Segment>& chosen, SystemTarget& target) {
    std::size_t nRemoved = 0;
    int nExitStatus = kExitFine;
    for (const Segment& segment : chosen) {
        const RemovalResult result = RemoveIfStale(segment, target);
        const bool bRefused = result.enRemoval == Removal::kRefused;
        // into one file or pipe, complaints come where they belong
        if (bRefused) std::fflush(stdout);
        fmt::print(bRefused ? stderr : stdout, "{}", ForTerminal(ResultLine(segment, result)));
        if (result.enRemoval == Removal::kRemoved) ++nRemoved;
        if (bRefused) nExitStatus = kExitError;
        const bool bKept = result.enRemoval == Removal::kOther || result.enRemoval == Removal::kNotProven;
        if (bKept) nExitStatus = std::max(nExitStatus, kExitSomethingFound);
    }
    fmt::print("{} removed\n", Counted(nRemoved, "segment"));
    return nExitStatus;
}

int RunReap(const ReapOptions& options) {
    const ShmDirectory directory;
    Survey survey = TakeSurvey(directory, Which::kPoolSegments, options.bVouchedFor);
    SortSegments(survey.segments, SortKey::kName, false);
    const ReapPlan plan = PlanReap(std::move(survey.segments), ParseAge(options.olderThan).value_or(0));
    fmt::print("{}", ForTerminal(ReapText(plan, survey.processes.nUnread)));
    const std::string why = WhyNothingIsProven(survey.processes.visibility);
    if (!why.empty() && AddUp(plan.kept).nNotVisible != 0)
        fmt::print("nothing can be proven dead: {}\n", why);
    if (plan.chosen.empty()) return kExitFine;
    if (!options.bYes) {
        fmt::print(
            "nothing was removed: that takes --yes (the library's own sweep differs: ztkmem reap --help)\n");
        return kExitSomethingFound;
    }
    SystemTarget target(directory, options.bVouchedFor);
    return RemoveAll(plan.chosen, target);
}

std::string CheckAge(const std::string& text) {
    return ParseAge(text)
               ? ""
               : fmt::format("\"{}\" is no age; want for example 90s, 15m, 2h or 3d", Escape(text));
}

}  // namespace

void AddReap(CLI::App& program, int& nExitStatus) {
    auto pOptions = std::make_shared<ReapOptions>();
    CLI::App* pCommand =
        program.add_subcommand("reap", "List what dead owners left, and remove it on demand");
    pCommand->add_flag("--yes", pOptions->bYes, "Remove it; without this, nothing is changed");
    pCommand
        ->add_option("--older-than", pOptions->olderThan,
                     "Only objects of at least this age, as 90s, 15m, 2h, 3d")
        ->check(CheckAge)
        ->type_name("AGE");
    AddNamespaceOption(*pCommand, pOptions->bVouchedFor);
    pCommand->footer(kReapFooter);
    pCommand->callback([pOptions, &nExitStatus] { nExitStatus = RunReap(*pOptions); });
}

}  // namespace ztkmem
