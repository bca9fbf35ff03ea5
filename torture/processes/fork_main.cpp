// fork() while other threads are inside both pools, and all that a child may do then: it gets through, and
// nothing of the parent's is touched. Every fork is held back until another thread has a pool's lock.
#include <pthread.h>
#include <sched.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tests/library/child.h"
#include "tests/library/every_export.h"
#include "tests/library/hammer.h"
#include "torture/processes/inside_calls.h"
#include "torture/processes/place.h"
#include "torture/report.h"
#include "torture/run.h"

namespace ztk::torture {
namespace {

constexpr char kPart[] = "forks";
constexpr int kHammers = 3;
constexpr int kObjectsOfAFilledPool = 2;

pid_t g_nParent = 0;

/// Runs before the library's own handler, since it is registered after it.
void HoldBackFork() {
    if (getpid() == g_nParent) AwaitThreadInside();
}

/// One way that a child goes: what it does, and how many objects it leaves for a sweep.
struct Case {
    const char* szName;
    std::function<pid_t(test::Library&)> start;
    std::size_t nLeaves;
};

int UseAll(const LoadedLibrary& library) {
    return UseEveryExport(&library) + FillPools(&library);
}

pid_t StartUsing(test::Library& library, bool bExit) {
    return test::StartChild([&library, bExit] {
        const int nFailures = UseAll(library);
        if (bExit) std::exit(nFailures);
        return nFailures;
    });
}

/// A child that forks in its turn, after it has used the pools or before.
pid_t StartForking(test::Library& library, bool bUsesFirst) {
    return test::StartChild([&library, bUsesFirst]() -> int {
        int nFailures = bUsesFirst ? UseAll(library) : 0;
        const auto ending = test::RunChild([&library]() -> int { std::exit(UseAll(library)); });
        nFailures += ending == test::Exited(0) ? 0 : 1;
        nFailures += UseEveryExport(&library);
        std::exit(nFailures);
    });
}

pid_t StartUnloading(test::Library& library) {
    return test::StartChild([&library]() -> int {
        const bool bUnloaded = library.Unload();
        std::exit(bUnloaded ? 0 : 1);
    });
}

/// Past the handlers that run around fork().
pid_t Spawn() {
    pid_t nChild = -1;
    char szProgram[] = ZTK_LINKED_HOST_PATH;
    char* arguments[] = {szProgram, nullptr};
    if (posix_spawn(&nChild, szProgram, nullptr, nullptr, arguments, environ) != 0) std::abort();
    return nChild;
}

std::vector<Case> AllCases() {
    return {
        {"_exit()", [](test::Library&) { return test::StartChild([] { return 0; }); }, 0},
        {"exit()", [](test::Library&) { return test::StartChild([]() -> int { std::exit(0); }); }, 0},
        {"exec of a program that sweeps",
         [](test::Library&) { return test::StartProgram({ZTK_LINKED_HOST_PATH}); }, 0},
        {"uses the exports, exit()", [](test::Library& library) { return StartUsing(library, true); }, 0},
        {"uses the exports, _exit()", [](test::Library& library) { return StartUsing(library, false); },
         kObjectsOfAFilledPool},
        {"uses the exports, forks a child that does",
         [](test::Library& library) { return StartForking(library, true); }, 0},
        {"forks a child that uses the exports",
         [](test::Library& library) { return StartForking(library, false); }, 0},
        {"dlclose(), exit()", StartUnloading, 0},
        {"posix_spawn() of a program that sweeps", [](test::Library&) { return Spawn(); }, 0},
    };
}

class Forks {
  public:
    explicit Forks(Run& run) : run_(run) {
        for (int i = 0; i < kHammers; ++i)
            hammers_.push_back(std::make_unique<test::Hammer>(library_, static_cast<char>('a' + i)));
        for (const auto& hammer : hammers_) {
            while (hammer->Laps() == 0)
                sched_yield();
        }
        g_nParent = getpid();
        if (pthread_atfork(HoldBackFork, nullptr, nullptr) != 0) std::abort();
    }

    void Do(const Case& way) {
        const pid_t nChild = way.start(library_);
        const auto ending = test::AwaitEnd(nChild);
        run_.Expect(ending == test::Exited(0), "%s: exit code %d, signal %d", way.szName, ending.nExitCode,
                    ending.nSignal);
        ExpectLeft(way, nChild);
        run_.CountRun();
    }

    void End() {
        g_nParent = 0;
        for (const auto& hammer : hammers_) {
            hammer->Stop();
            run_.Expect(hammer->Failures() == 0, "%d failures of a thread of the parent", hammer->Failures());
            nLaps_ += static_cast<std::uint64_t>(hammer->Laps());
        }
        run_.Expect(library_.Unload(), "the library was not unloaded");
        for (const std::string& name : ShmEntries())
            run_.Differs("left in the end: %s", name.c_str());
    }

    std::uint64_t Laps() const { return nLaps_; }

  private:
    /// The parent's are there, the child's are gone, except those that an _exit() leaves.
    void ExpectLeft(const Case& way, pid_t nChild) {
        const std::vector<std::string> names = ShmEntries();
        const std::set<std::string> entries(names.begin(), names.end());
        for (const auto& hammer : hammers_)
            run_.Expect(entries.count(hammer->KeptName()) == 1, "%s: the parent's %s is gone", way.szName,
                        hammer->KeptName());
        const std::string own = "ZTKTool-" + std::to_string(getpid()) + "-";
        std::size_t nLeft = 0;
        for (const std::string& name : names) {
            if (name.compare(0, own.size(), own) == 0) continue;
            ++nLeft;
            unlink(("/dev/shm/" + name).c_str());
        }
        run_.Expect(nLeft == way.nLeaves, "%s: child %d left %zu objects, not %zu", way.szName, nChild, nLeft,
                    way.nLeaves);
    }

    Run& run_;
    test::Library library_;
    std::vector<std::unique_ptr<test::Hammer>> hammers_;
    std::uint64_t nLaps_ = 0;
};

int Main(int nCount, char** ppArguments) {
    Run run(kPart, nCount, ppArguments, 900);
    if (!EnterPrivateShm()) return ReportSkipped(kPart, "this kernel refuses a /dev/shm of its own");
    setenv("ZTK_LOG_LEVEL", "5", 1);
    const std::vector<Case> cases = AllCases();
    std::vector<std::uint64_t> counts(cases.size());
    Forks forks(run);
    for (std::size_t nCase = 0; run.GoesOn(); nCase = (nCase + 1) % cases.size()) {
        forks.Do(cases.at(nCase));
        ++counts.at(nCase);
    }
    forks.End();
    for (std::size_t nCase = 0; nCase < cases.size(); ++nCase)
        std::printf("%8llu forks: %s\n", static_cast<unsigned long long>(counts.at(nCase)),
                    cases.at(nCase).szName);
    std::printf("%8llu laps of the parent's %d threads meanwhile\n",
                static_cast<unsigned long long>(forks.Laps()), kHammers);
    return run.Finish();
}

}  // namespace
}  // namespace ztk::torture

int main(int nCount, char** ppArguments) {
    return ztk::torture::Main(nCount, ppArguments);
}
