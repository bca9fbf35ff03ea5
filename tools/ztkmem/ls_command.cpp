#include <fmt/format.h>

#include <map>
#include <memory>
#include <string>

#include "command.h"
#include "ls_report.h"
#include "text.h"

namespace ztkmem {
namespace {

struct LsOptions {
    bool bAll = false;
    bool bJson = false;
    bool bBytes = false;
    bool bReverse = false;
    bool bVouchedFor = false;
    std::string sort = "name";
};

constexpr char kLsFooter[] =
    R"(Columns: PID and COMMAND of the owner that the name tells; OWNER alive, dead, zombie (as
dead), "pid reused?" (started after the object was made), "not visible" (nobody of that id in
sight, which proves nothing here), "odd name" (marked as the library's, but not made by it);
HEADER good, overwritten, foreign, too short, MMZ, blank, unreadable, "no object" (ztkmem show
tells why); MAPPED BY processes other than the owner.

Exit status: 0 nothing is stale, 1 something is (of a dead owner), 2 error.

Examples:
  ztkmem ls                       every pool segment
  ztkmem ls --sort resident       the largest first
  ztkmem ls --all                 what else fills /dev/shm
  ztkmem ls --json | jq '.segments[] | select(.stale) | .name'
  ztkmem ls >/dev/null || echo "something is stale")";

const std::map<std::string, SortKey> kSortKeys{{"name", SortKey::kName},     {"pid", SortKey::kOwner},
                                               {"length", SortKey::kLength}, {"resident", SortKey::kResident},
                                               {"data", SortKey::kData},     {"age", SortKey::kAge}};

std::string CheckSort(const std::string& key) {
    if (kSortKeys.count(key) != 0) return "";
    return fmt::format("\"{}\" is no order; want name, pid, length, resident, data or age", Escape(key));
}

int RunLs(const LsOptions& options) {
    const ShmDirectory directory;
    Survey survey =
        TakeSurvey(directory, options.bAll ? Which::kEveryObject : Which::kPoolSegments, options.bVouchedFor);
    SortSegments(survey.segments, kSortKeys.at(options.sort), options.bReverse);
    const Units enUnits = options.bBytes ? Units::kBytes : Units::kHuman;
    fmt::print("{}", options.bJson ? LsJson(survey) : ForTerminal(LsText(survey, enUnits)));
    return AddUp(survey.segments).nStale == 0 ? kExitFine : kExitSomethingFound;
}

}  // namespace

void AddLs(CLI::App& program, int& nExitStatus) {
    auto pOptions = std::make_shared<LsOptions>();
    CLI::App* pCommand = program.add_subcommand("ls", "List the pool segments in /dev/shm and judge them");
    pCommand->add_flag("-a,--all", pOptions->bAll, "Also what other programs have there");
    pCommand->add_flag("--json", pOptions->bJson, "One JSON document; sizes in bytes");
    pCommand->add_flag("-b,--bytes", pOptions->bBytes, "Sizes in bytes");
    pCommand
        ->add_option("--sort", pOptions->sort,
                     "name, pid, length, resident, data or age; numbers: largest first")
        ->check(CheckSort)
        ->type_name("KEY");
    pCommand->add_flag("-r,--reverse", pOptions->bReverse, "Sort the other way round");
    AddNamespaceOption(*pCommand, pOptions->bVouchedFor);
    pCommand->footer(kLsFooter);
    pCommand->callback([pOptions, &nExitStatus] { nExitStatus = RunLs(*pOptions); });
}

}  // namespace ztkmem
