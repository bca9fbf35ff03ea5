// kill -9 at a random point of a process's life with the library, then one load in a fresh process: no object
// of the dead one is left, and its memory is the system's again.
//
// Three ways of killing take turns: after a random time; a random moment after the victim has begun, for the
// nth time, some phase of the library's work (marker.h); and by the victim itself right there. So the kills
// fall on all phases, however short. Where they fell is printed as a table; a phase that was never hit is a
// difference.
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "common/ztk_shared_view.h"
#include "tests/library/child.h"
#include "tests/library/library.h"
#include "torture/processes/marker.h"
#include "torture/processes/place.h"
#include "torture/processes/victim.h"
#include "torture/report.h"
#include "torture/run.h"

namespace ztk::torture {
namespace {

constexpr char kPart[] = "kills";
constexpr auto kStages = static_cast<std::size_t>(Stage::kCount);

struct Tally {
    std::array<std::array<std::uint64_t, kStages>, kPhases> hits{};
    std::array<std::uint64_t, ZTK_VIEW_NAME_MISMATCH + 1> views{};  ///< what a reader made of what was left
    std::uint64_t nEndedFirst = 0;                                  ///< victims that were through before
    std::uint64_t nWithObjects = 0;                                 ///< kills that left an object
    std::uint64_t nObjects = 0;
};

void SpinFor(std::uint64_t nTurns) {
    for (volatile std::uint64_t nTurn = 0; nTurn < nTurns;)
        nTurn = nTurn + 1;
}

/// Short delays as often as long ones: phases last from less than a microsecond to a millisecond.
void SpinForAMoment(Run& run) {
    SpinFor(run.Pick(0, std::uint64_t{1} << run.Pick(0, 16)));
}

/// Until the victim is where it is to die, or has died or ended.
void AwaitTarget(const Marker& marker, pid_t nVictim) {
    siginfo_t info{};
    for (unsigned nLook = 0; !marker.bReached && !marker.bEnded && info.si_pid == 0; ++nLook) {
        if (nLook % 1024 == 1023)
            waitid(P_PID, static_cast<id_t>(nVictim), &info, WEXITED | WNOHANG | WNOWAIT);
    }
}

/// What the sweep has to do in the next load: objects of the dead.
void PlantSome(Run& run) {
    for (int i = 0; i < 3; ++i)
        PlantObject(std::string("ZTKTool-") + kNobody + "-" + std::to_string(run.Random()()));
}

/// What a victim does in its whole life, and how long that takes.
struct Life {
    std::array<std::uint64_t, kPhases> marks{};
    std::chrono::nanoseconds duration{};
};

Life LiveOnce(Run& run, Marker* pMarker) {
    ResetMarker(pMarker);
    PlantSome(run);
    const auto born = std::chrono::steady_clock::now();
    const auto ending = test::RunChild([pMarker] { return RunVictim(pMarker, 1); });
    run.Expect(ending == test::Exited(0), "a victim that nobody killed: exit code %d, signal %d",
               ending.nExitCode, ending.nSignal);
    Life life;
    life.duration = std::chrono::steady_clock::now() - born;
    std::copy(pMarker->marks.begin(), pMarker->marks.end(), life.marks.begin());
    return life;
}

enum class Way { kAtAnyTime, kAfterMark, kByItself };

/// Picks a phase, then one of its marks in a life.
void PickTarget(Run& run, Marker& marker, const Life& life, bool bKillsItself) {
    std::size_t nPhase = 0;
    do {
        nPhase = run.Pick(0, kPhases - 1);
    } while (life.marks.at(nPhase) == 0);
    marker.enTarget = static_cast<Phase>(nPhase);
    marker.bKillsItself = bKillsItself;
    marker.nTarget = run.Pick(1, life.marks.at(nPhase));
}

void CountHit(const Marker& marker, Tally& tally) {
    for (const auto& phase : marker.phases)
        ++tally.hits.at(static_cast<std::size_t>(phase.load()))
              .at(static_cast<std::size_t>(marker.enStage.load()));
}

/// Reads what was left as a consumer would: half-made objects are refused with a status, never mapped.
void ReadWhatIsLeft(const std::vector<std::string>& names, Tally& tally) {
    std::uint64_t nObjects = 0;
    for (const std::string& name : names) {
        if (name.find(kNobody) != std::string::npos)
            continue;  // planted, and the victim died before its sweep
        ZtkSharedView view;
        ++tally.views.at(ZtkOpenSharedView(name.c_str(), &view));
        ZtkCloseSharedView(&view);
        ++nObjects;
    }
    tally.nObjects += nObjects;
    tally.nWithObjects += nObjects == 0 ? 0 : 1;
}

void SleepFor(std::chrono::nanoseconds time) {
    const timespec duration = {static_cast<time_t>(time.count() / 1'000'000'000),
                               static_cast<long>(time.count() % 1'000'000'000)};
    nanosleep(&duration, nullptr);
}

/// True if the victim was killed, false if it ended before.
bool KillOne(Run& run, Marker* pMarker, const Life& life, Tally& tally) {
    ResetMarker(pMarker);
    PlantSome(run);
    const auto enWay = static_cast<Way>(run.Pick(0, 2));
    if (enWay != Way::kAtAnyTime) PickTarget(run, *pMarker, life, enWay == Way::kByItself);
    const std::uint64_t nSeed = run.Random()();
    const pid_t nVictim = test::StartChild([pMarker, nSeed] { return RunVictim(pMarker, nSeed); });
    if (enWay == Way::kAtAnyTime) {
        SleepFor(std::chrono::nanoseconds(run.Pick(0, static_cast<std::uint64_t>(life.duration.count()))));
    } else {
        AwaitTarget(*pMarker, nVictim);
        SpinForAMoment(run);
    }
    kill(nVictim, SIGKILL);
    const auto ending = test::AwaitEnd(nVictim);
    const bool bKilled = ending == test::Killed(SIGKILL);
    run.Expect(bKilled || ending == test::Exited(0), "the victim ended with exit code %d, signal %d",
               ending.nExitCode, ending.nSignal);
    if (bKilled) CountHit(*pMarker, tally);
    return bKilled;
}

/// A process that has never had the library loads it and unloads it again.
void LoadOnce(Run& run) {
    const auto ending = test::RunChild([] {
        test::Library library;
        return library.Unload() ? 0 : 1;
    });
    run.Expect(ending == test::Exited(0), "the load after kill %llu: exit code %d, signal %d",
               static_cast<unsigned long long>(run.Runs()), ending.nExitCode, ending.nSignal);
}

void ExpectNothingLeft(Run& run, std::uint64_t nFreeBytes) {
    for (const std::string& name : ShmEntries())
        run.Differs("after kill %llu and a load: %s is left", static_cast<unsigned long long>(run.Runs()),
                    name.c_str());
    run.Expect(FreeShmBytes() == nFreeBytes, "after kill %llu and a load: %llu bytes free, not %llu",
               static_cast<unsigned long long>(run.Runs()), static_cast<unsigned long long>(FreeShmBytes()),
               static_cast<unsigned long long>(nFreeBytes));
    EmptyShm();
}

void Print(const Tally& tally, std::uint64_t nKills) {
    std::printf("%-20s %10s %10s %10s   (places of %llu killed processes with two threads each)\n",
                "killed in", "load", "use", "unload", static_cast<unsigned long long>(nKills));
    for (std::size_t nPhase = 0; nPhase < kPhases; ++nPhase) {
        std::printf("%-20s", NameOf(static_cast<Phase>(nPhase)));
        for (const std::uint64_t nHits : tally.hits.at(nPhase))
            std::printf(" %10llu", static_cast<unsigned long long>(nHits));
        std::printf("\n");
    }
    std::printf(
        "%llu victims were through before they could be killed\n"
        "%llu kills left %llu objects for the next load; a reader found of them:\n",
        static_cast<unsigned long long>(tally.nEndedFirst),
        static_cast<unsigned long long>(tally.nWithObjects), static_cast<unsigned long long>(tally.nObjects));
    for (std::size_t nStatus = 0; nStatus < tally.views.size(); ++nStatus) {
        if (tally.views.at(nStatus) == 0) continue;
        std::printf("  %8llu %s\n", static_cast<unsigned long long>(tally.views.at(nStatus)),
                    ZtkViewStatusText(static_cast<ZtkViewStatus>(nStatus)));
    }
}

/// Kills that always fall on the same few places would prove little.
void ExpectAllPhasesHit(Run& run, const Tally& tally) {
    constexpr std::uint64_t kEnoughForAll = 500;
    if (run.Runs() < kEnoughForAll) return;
    for (std::size_t nPhase = 0; nPhase < kPhases; ++nPhase) {
        std::uint64_t nHits = 0;
        for (const std::uint64_t nOfStage : tally.hits.at(nPhase))
            nHits += nOfStage;
        run.Expect(nHits > 0, "no kill hit the phase: %s", NameOf(static_cast<Phase>(nPhase)));
    }
    run.Expect(tally.nWithObjects > 0, "no kill left an object: the loads had nothing to do");
}

int Main(int nCount, char** ppArguments) {
    Run run(kPart, nCount, ppArguments, 500);
    constexpr std::uint64_t kShmBytes = 1UL
                                        << 30;  // a limit, so that the system tells how much of it is free
    if (!EnterPrivateShm(kShmBytes)) return ReportSkipped(kPart, "this kernel refuses a /dev/shm of its own");
    Marker* const pMarker = MakeMarker();
    const std::uint64_t nFreeBytes = FreeShmBytes();
    const Life life = LiveOnce(run, pMarker);
    Tally tally;
    while (run.GoesOn()) {
        if (!KillOne(run, pMarker, life, tally)) {
            ++tally.nEndedFirst;
            EmptyShm();
            continue;
        }
        run.CountRun();
        ReadWhatIsLeft(ShmEntries(), tally);
        LoadOnce(run);
        ExpectNothingLeft(run, nFreeBytes);
    }
    Print(tally, run.Runs());
    ExpectAllPhasesHit(run, tally);
    return run.Finish();
}

}  // namespace
}  // namespace ztk::torture

int main(int nCount, char** ppArguments) {
    return ztk::torture::Main(nCount, ppArguments);
}
