// Makes every call of the library fail.
//
//   ztk_torture_faults LIBRARY singles [SCENARIO]
//     every call of every scenario, once and from then on: prints what came of each, for single-faults
//   ztk_torture_faults LIBRARY pairs [--count N] [--seconds N] [--seed S]
//     every ordered pair of calls of every scenario, each failing once: checks what holds whatever fails; in
//     random order of the first, all of them unless a number or a time is given
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/private_shm.h"
#include "torture/faults/mem_info_text.h"
#include "torture/faults/pair_rules.h"
#include "torture/faults/run.h"
#include "torture/faults/shared_result.h"
#include "torture/report.h"
#include "torture/run.h"

namespace ztk::torture {
namespace {

/// Every way in which a recorded call can fail.
template <class Visit>
void ForEachKind(const RecordedCall& call, const Visit& visit) {
    for (const FaultKind& kind : AllFaultKinds()) {
        if (kind.call == call.point.call) visit(kind);
    }
}

void PrintOutcome(const Scenario& scenario, const Fault& fault, const Outcome& outcome) {
    const char* szKind = fault.pKind == nullptr ? "none" : fault.pKind->szName;
    const char* szMode = fault.pKind == nullptr ? "-" : fault.bFromThenOn ? "on" : "once";
    std::printf("RUN %s %d %s %d %s\n", scenario.name.c_str(), fault.point.nRole, szKind,
                fault.point.nOccurrence, szMode);
    for (const std::string& line : outcome.lines)
        std::printf(" %s\n", line.c_str());
}

bool IsSame(const Point& a, const Point& b) {
    return a.nRole == b.nRole && a.call == b.call && a.nOccurrence == b.nOccurrence;
}

/// A fork has the same calls in parent and child.
std::vector<RecordedCall> EachOnce(const std::vector<RecordedCall>& calls) {
    std::vector<RecordedCall> each;
    for (const RecordedCall& call : calls) {
        const auto isSame = [&call](const RecordedCall& other) { return IsSame(call.point, other.point); };
        if (std::none_of(each.begin(), each.end(), isSame)) each.push_back(call);
    }
    // side by side threads come in any order
    std::stable_sort(each.begin(), each.end(), [](const RecordedCall& a, const RecordedCall& b) {
        return a.point.nRole < b.point.nRole;
    });
    return each;
}

void RunSingles(const Scenario& scenario, const std::string& libraryPath) {
    const Outcome clean = RunScenario(scenario, {}, libraryPath);
    PrintOutcome(scenario, {}, clean);
    for (const RecordedCall& call : EachOnce(clean.calls)) {
        ForEachKind(call, [&](const FaultKind& kind) {
            for (const bool bFromThenOn : {false, true}) {
                if (bFromThenOn && kind.bOnceOnly) continue;
                const Fault fault{call.point, &kind, bFromThenOn};
                PrintOutcome(scenario, fault, RunScenario(scenario, {fault}, libraryPath));
            }
        });
    }
}

// ---- pairs -------------------------------------------------------------------------------------------

/// The calls that come after one: behind it on the same thread, and all on the others.
std::vector<RecordedCall> CallsAfter(const std::vector<RecordedCall>& calls, const Point& first) {
    std::vector<RecordedCall> after;
    bool bBehind = false;
    for (const RecordedCall& call : calls) {
        if (IsSame(call.point, first)) {
            bBehind = true;
        } else if (bBehind || call.point.nRole != first.nRole) {
            after.push_back(call);
        }
    }
    return after;
}

class Pairs {
  public:
    Pairs(std::string libraryPath, Run& run) : libraryPath_(std::move(libraryPath)), run_(run) {}

    void RunAll() {
        CollectFirsts();
        std::shuffle(firsts_.begin(), firsts_.end(), run_.Random());
        std::size_t nFirsts = 0;
        for (; nFirsts < firsts_.size() && run_.GoesOn(); ++nFirsts)
            RunAllAfter(firsts_[nFirsts]);
        std::printf("%zu of %zu first faults, each with every fault after it\n", nFirsts, firsts_.size());
    }

  private:
    struct First {
        const Scenario* pScenario;
        std::shared_ptr<const Outcome> pClean;
        Fault fault;
    };

    /// A call that fails by the failure marker of mmap() ends the program: nothing comes after.
    static bool EndsAll(const FaultKind& kind) { return kind.bMarker; }

    void CollectFirsts() {
        for (const Scenario& scenario : AllScenarios()) {
            const auto pClean =
                std::make_shared<const Outcome>(RunScenarioQuickly(scenario, {}, libraryPath_));
            for (const RecordedCall& call : EachOnce(pClean->calls)) {
                ForEachKind(call, [&](const FaultKind& kind) {
                    if (!EndsAll(kind)) firsts_.push_back({&scenario, pClean, {call.point, &kind, false}});
                });
            }
        }
    }

    void RunAllAfter(const First& first) {
        const Outcome outcome = RunScenarioQuickly(*first.pScenario, {first.fault}, libraryPath_);
        for (const RecordedCall& call : EachOnce(CallsAfter(outcome.calls, first.fault.point))) {
            ForEachKind(call, [&](const FaultKind& kind) {
                if (!EndsAll(kind)) Check(first, {call.point, &kind, false});
            });
        }
    }

    void Check(const First& first, const Fault& second) {
        run_.CountRun();
        const std::vector<Fault> faults = {first.fault, second};
        const Outcome outcome = RunScenarioQuickly(*first.pScenario, faults, libraryPath_);
        const std::vector<std::string> wrong =
            Violations(first.pScenario->name, *first.pClean, outcome, faults);
        if (wrong.empty()) return;
        run_.Differs("%s: %d %s %d, then %d %s %d", first.pScenario->name.c_str(), first.fault.point.nRole,
                     first.fault.pKind->szName, first.fault.point.nOccurrence, second.point.nRole,
                     second.pKind->szName, second.point.nOccurrence);
        for (const std::string& line : wrong)
            std::printf("  wrong: %s\n", line.c_str());
        for (const std::string& line : outcome.lines)
            std::printf("    %s\n", line.c_str());
    }

    std::string libraryPath_;
    Run& run_;
    std::vector<First> firsts_;
};

int EndWithUsage() {
    std::fputs(
        "usage: ztk_torture_faults LIBRARY singles [SCENARIO]\n"
        "       ztk_torture_faults LIBRARY pairs [--count N] [--seconds N] [--seed S]\n",
        stderr);
    return 2;
}

int RunSingles(const std::string& libraryPath, const std::string& only) {
    bool bFound = false;
    for (const Scenario& scenario : AllScenarios()) {
        if (!only.empty() && scenario.name != only) continue;
        bFound = true;
        RunSingles(scenario, libraryPath);
    }
    if (!bFound) std::fprintf(stderr, "ztk_torture_faults: no scenario named %s\n", only.c_str());
    return bFound ? 0 : 2;
}

int Main(int nCount, char** ppArguments) {
    if (nCount < 3) return EndWithUsage();
    const std::string libraryPath = ppArguments[1];
    const std::string what = ppArguments[2];
    MakeSharedResult();
    MakeMemInfoTexts();
    if (what == "singles" && nCount < 5) return RunSingles(libraryPath, nCount == 4 ? ppArguments[3] : "");
    if (what != "pairs") return EndWithUsage();
    Run run("fault-pairs", nCount - 2, ppArguments + 2, std::numeric_limits<std::uint64_t>::max());
    Pairs(libraryPath, run).RunAll();
    return run.Finish();
}

}  // namespace
}  // namespace ztk::torture

int main(int nCount, char** ppArguments) {
    if (!ztk::test::EnterPrivateShm()) {
        return ztk::torture::ReportSkipped("fault-pairs", "no private /dev/shm");
    }
    return ztk::torture::Main(nCount, ppArguments);
}
