// exit() with threads inside the exports of both pools, which go on calling: every process ends cleanly, none
// hangs (it would be ended by a signal), and no object is left. The program that exits is
// tests/library/exit_race_host.cpp.
#include <cstdlib>
#include <string>

#include "tests/library/child.h"
#include "torture/processes/place.h"
#include "torture/report.h"
#include "torture/run.h"

namespace ztk::torture {
namespace {

constexpr char kPart[] = "exits";

void ExitOnce(Run& run) {
    const char* const szExiting = run.Pick(0, 1) == 0 ? "main" : "worker";
    const std::string laps = std::to_string(run.Pick(1, 23));
    const auto ending = test::RunProgram({ZTK_EXIT_RACE_PATH, szExiting, laps});
    run.Expect(ending == test::Exited(0), "exit %llu (%s after %s laps): exit code %d, signal %d",
               static_cast<unsigned long long>(run.Runs()), szExiting, laps.c_str(), ending.nExitCode,
               ending.nSignal);
    for (const std::string& name : ShmEntries())
        run.Differs("exit %llu (%s after %s laps) left %s", static_cast<unsigned long long>(run.Runs()),
                    szExiting, laps.c_str(), name.c_str());
    EmptyShm();
    run.CountRun();
}

int Main(int nCount, char** ppArguments) {
    Run run(kPart, nCount, ppArguments, 1000);
    if (!EnterPrivateShm()) return ReportSkipped(kPart, "this kernel refuses a /dev/shm of its own");
    setenv("ZTK_LOG_LEVEL", "5", 1);  // the empty-handed requests among them are errors to the log
    while (run.GoesOn())
        ExitOnce(run);
    return run.Finish();
}

}  // namespace
}  // namespace ztk::torture

int main(int nCount, char** ppArguments) {
    return ztk::torture::Main(nCount, ppArguments);
}
