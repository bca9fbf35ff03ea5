#include "torture/faults/run.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "torture/faults/board.h"
#include "torture/faults/heap_book.h"
#include "torture/faults/inside.h"
#include "torture/faults/mem_info_text.h"
#include "torture/faults/normal_form.h"
#include "torture/faults/reclaimers.h"
#include "torture/faults/shared_result.h"

namespace ztk::torture {
namespace {

bool g_bEndsByExit = false;
Belongings g_atFirst;

/// The program's threads wait for this signal: the library must leave the mask as it is.
void BlockASignal() {
    sigset_t mask;
    sigemptyset(&mask);
    sigaddset(&mask, SIGUSR2);
    pthread_sigmask(SIG_BLOCK, &mask, nullptr);
}

sigset_t SignalMask() {
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    return mask;
}

void NoteLeft() {
    const Belongings now = TakeStock();
    NoteChange("left", g_atFirst, now);
    if (now.nHeapBlocks > 0) NoteResult("left on the heap: " + std::to_string(now.nHeapBlocks));
    NoteEnd();
}

/// Behind the library's own end, since it is registered before the library is loaded.
void LookBehindExit() {
    if (!g_bEndsByExit) return;
    Disarm();
    const OwnCode ours;
    NoteLeft();
    _exit(0);
}

/// After the calls that were to fail: whether everything works, and what remains in the end.
void FinishRun(World& world, const Belongings& atArm) {
    AwaitRest();
    Disarm();
    KeepLogLines(false);
    world.Noting(false);
    NoteChange("now", atArm, TakeStock());
    LetMemoryBePlenty();
    SetMmzCapacity(kRoomyMmz);
    SetLogLevel(0);
    if (!world.IsLoaded()) {
        NoteLeft();
        return;
    }
    world.Exercise();
    KeepLogLines(true);
    NoteLogLine(0, "(unload)");
    world.Noting(true);
    world.Unload();
    NoteLeft();
}

void Run(const Scenario& scenario, const std::vector<Fault>& faults, const std::string& libraryPath) {
    alarm(kPatienceSeconds);
    BlockASignal();
    static_cast<void>(std::atexit(LookBehindExit));
    World world(libraryPath);
    g_atFirst = TakeStock();
    const sigset_t maskBefore = SignalMask();
    scenario.prepare(world);
    AwaitRest();
    const Belongings atArm = TakeStock();
    world.Noting(true);
    KeepLogLines(true);
    Arm(faults);
    scenario.body(world);
    FinishRun(world, atArm);
    const sigset_t maskNow = SignalMask();
    for (int nSignal = 1; nSignal < SIGRTMAX; ++nSignal) {
        if (sigismember(&maskBefore, nSignal) == sigismember(&maskNow, nSignal)) continue;
        NoteResult("WRONG: the caller's signal mask has changed");
        break;
    }
}

std::string EndOf(int nStatus) {
    if (WIFSIGNALED(nStatus)) {
        return WTERMSIG(nStatus) == SIGALRM ? "end: hangs"
                                            : "end: signal " + std::to_string(WTERMSIG(nStatus));
    }
    return HasEnded() ? "" : "end: too early";
}

/// Returns the status of the process.
int RunInAChild(const Scenario& scenario, const std::vector<Fault>& faults, const std::string& libraryPath) {
    ClearSharedResult();
    EmptyShm();
    static_cast<void>(std::fflush(stdout));
    const pid_t nChild = fork();
    if (nChild == 0) {
        Run(scenario, faults, libraryPath);
        _exit(0);
    }
    int nStatus = 0;
    waitpid(nChild, &nStatus, 0);
    if (!EndOf(nStatus).empty())
        NoteEnder(0);  // a signal: all that can end so is done by the program's thread
    return nStatus;
}

// How far the others came when one thread ended the run is chance: then what that one did counts alone.

Outcome OutcomeOf(int nStatus) {
    Outcome outcome;
    const std::string end = EndOf(nStatus);
    if (!end.empty()) outcome.lines.push_back(end);
    for (const std::string& line : ResultLines()) {
        if (Ender() <= 0 || line.compare(0, 5, "end: ") == 0) outcome.lines.push_back(line);
    }
    outcome.calls = RecordedCalls();
    return outcome;
}

void AddLog(Outcome& outcome) {
    for (int nRole = 0; nRole < kRoles; ++nRole) {
        if (Ender() != kNobody && Ender() != nRole) continue;
        const std::string who = nRole == 0 ? "log: " : "log of thread " + std::to_string(nRole) + ": ";
        for (const std::string& line : LogLinesOf(nRole))
            outcome.lines.push_back(who + line);
    }
}

}  // namespace

void EndRun(const std::string& end) {
    const OwnCode ours;
    Disarm();
    NoteEnder(RoleOfThisThread());
    NoteResult("end: " + end);
    NoteEnd();
    _exit(0);
}

void EndRunByExit() {
    g_bEndsByExit = true;
    static const auto* pExiting = new LoadingOrUnloading;
    static_cast<void>(pExiting);
    std::exit(0);
}

Outcome RunScenario(const Scenario& scenario, const std::vector<Fault>& faults,
                    const std::string& libraryPath) {
    const int nStatus = RunInAChild(scenario, faults, libraryPath);
    Outcome outcome = OutcomeOf(nStatus);
    AddLog(outcome);
    for (std::string& line : outcome.lines)
        line = NormalForm(line);
    return outcome;
}

Outcome RunScenarioQuickly(const Scenario& scenario, const std::vector<Fault>& faults,
                           const std::string& libraryPath) {
    return OutcomeOf(RunInAChild(scenario, faults, libraryPath));
}

}  // namespace ztk::torture
