// One run of one scenario with some faults, in a process of its own.
#pragma once

#include <string>
#include <vector>

#include "torture/faults/fault_plan.h"
#include "torture/faults/scenarios.h"

namespace ztk::torture {

/// What a run came to: its end, statuses, log lines and what remained, one line each.
struct Outcome {
    std::vector<std::string> lines;
    std::vector<RecordedCall> calls;
};

/// The lines are the same on every machine.
Outcome RunScenario(const Scenario& scenario, const std::vector<Fault>& faults,
                    const std::string& libraryPath);
/// Without the log, and with names and numbers as they were: in half the time.
Outcome RunScenarioQuickly(const Scenario& scenario, const std::vector<Fault>& faults,
                           const std::string& libraryPath);

/// In a run: its end, before its time. Does not return.
[[noreturn]] void EndRun(const std::string& end);

/// In a run: exit(), with the look at what remained behind everything that runs at exit.
[[noreturn]] void EndRunByExit();

/// A run that takes longer hangs.
constexpr unsigned kPatienceSeconds = 20;

}  // namespace ztk::torture
