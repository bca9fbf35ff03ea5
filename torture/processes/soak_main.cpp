// Hours on the real clock: several processes work with the library, one of them is killed now and then and
// started again, and one lives from the beginning to the end. What that one holds in descriptors, mappings
// and memory must be the same every ten seconds, and what is in /dev/shm no more than the processes can have.
#include <malloc.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "tests/library/child.h"
#include "tests/library/library.h"
#include "tests/library/process_state.h"
#include "torture/processes/place.h"
#include "torture/report.h"
#include "torture/run.h"

namespace ztk::torture {
namespace {

constexpr char kPart[] = "soak";
constexpr char kWorkerArgument[] = "--worker";
constexpr int kWorkers = 4;
constexpr std::uint64_t kMiB = 1UL << 20;
constexpr std::array<std::uint64_t, 6> kSizes = {4096, 65'536, kMiB, 3 * kMiB, 8 * kMiB, 21 * kMiB};
constexpr std::size_t kMostHeld = 12;
// Of a size a process has at most as many segments as it ever held of it at once. One more process: what the
// last one that was killed has left, until its successor has loaded the library.
constexpr std::size_t kMostObjects = kSizes.size() * kMostHeld * (kWorkers + 1);

using Clock = std::chrono::steady_clock;

/// A process's use of the library: takes and gives back blocks of all kinds, of sizes that come again.
class Worker {
  public:
    explicit Worker(std::uint64_t nSeed) : random_(nSeed) {}

    bool Step() {
        Held& held = held_.at(random_() % held_.size());
        const bool bGood = held.pAddr == nullptr ? Take(held) : GiveBack(held);
        return bGood;
    }

    bool GiveBackAll() {
        bool bGood = true;
        for (Held& held : held_)
            bGood = (held.pAddr == nullptr || GiveBack(held)) && bGood;
        return bGood;
    }

  private:
    struct Held {
        void* pAddr = nullptr;
        bool bShared = false;
    };

    bool Take(Held& held) {
        const std::uint64_t nSize = kSizes.at(random_() % kSizes.size());
        held.bShared = random_() % 2 == 0;
        char szName[ZTK_SHARED_NAME_SIZE];
        const std::uint32_t nStatus =
            held.bShared ? library_.AllocatePoolSharedMemory(nSize, &held.pAddr, szName)
                         : library_.AllocateAlignedPoolMemory(nSize, random_() % 2 == 0 ? 0 : 64, ZTK_MEM_OS,
                                                              &held.pAddr, nullptr);
        if (nStatus != ZTK_SUCCESS) return false;
        std::memset(static_cast<char*>(held.pAddr) + ZTK_SHARED_HEADER_SIZE, 0x5a,
                    nSize - ZTK_SHARED_HEADER_SIZE);
        return true;
    }

    bool GiveBack(Held& held) {
        void* const pAddr = held.pAddr;
        held.pAddr = nullptr;
        return (held.bShared ? library_.FreePoolSharedMemory(pAddr) : library_.FreePoolMemory(pAddr)) ==
               ZTK_SUCCESS;
    }

    test::Library library_;
    std::mt19937_64 random_;
    std::array<Held, kMostHeld> held_{};
};

/// Steps in bursts with a rest between them, as frames come.
int WorkForEver(std::uint64_t nSeed) {
    // It may live as long as the soak (a program of a test may not), and no longer.
    alarm(0);
    if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0) return 1;
    Worker worker(nSeed);
    for (;;) {
        for (int i = 0; i < 50; ++i) {
            if (!worker.Step()) return 1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

struct Figures {
    int nDescriptors, nMappings;
    long nResident;
    std::size_t nObjects;
};

Figures FiguresNow() {
    return {CountDescriptors(), CountAllMappings(), Kilobytes("RssAnon:"), ShmEntries().size()};
}

class Soak {
  public:
    explicit Soak(Run& run) : run_(run), steady_(run.Random()()) {
        for (pid_t& nWorker : workers_)
            nWorker = StartWorker();
    }

    void KillOne() {
        pid_t& nWorker = workers_.at(run_.Pick(0, workers_.size() - 1));
        kill(nWorker, SIGKILL);
        const auto ending = test::AwaitEnd(nWorker);
        run_.Expect(ending == test::Killed(SIGKILL), "a worker ended with exit code %d, signal %d",
                    ending.nExitCode, ending.nSignal);
        nWorker = StartWorker();  // its load sweeps what the dead one left
        run_.CountRun();
    }

    void Work() {
        for (int i = 0; i < 50; ++i)
            run_.Expect(steady_.Step(), "the steady process was refused a block");
    }

    /// With nothing held, and nothing idle: this process is what it was at its start.
    Figures Rest() {
        run_.Expect(steady_.GiveBackAll(), "the steady process cannot give back a block");
        Flush();
        malloc_trim(0);  // what the C library keeps of freed memory is its own affair
        return FiguresNow();
    }

    void End() {
        for (const pid_t nWorker : workers_) {
            kill(nWorker, SIGKILL);
            test::AwaitEnd(nWorker);
        }
        run_.Expect(steady_.GiveBackAll(), "the steady process cannot give back a block");
        Flush();
        run_.Expect(test::RunProgram({ZTK_LINKED_HOST_PATH}) == test::Exited(0),
                    "the load in the end failed");
        for (const std::string& name : ShmEntries())
            run_.Differs("left in the end: %s", name.c_str());
    }

  private:
    /// A fork alone would inherit the library that this process has loaded; a worker is to load it itself.
    pid_t StartWorker() {
        return test::StartProgram({"/proc/self/exe", kWorkerArgument, std::to_string(run_.Random()())});
    }

    /// Requests that cannot be served make the pools give back all that is idle.
    static void Flush() {
        test::Library library;
        void* pAddr = nullptr;
        char szName[ZTK_SHARED_NAME_SIZE];
        library.AllocatePoolMemory(1, 2, &pAddr, nullptr);
        library.AllocatePoolSharedMemory(UINT64_MAX, &pAddr, szName);
    }

    Run& run_;
    Worker steady_;
    std::array<pid_t, kWorkers> workers_{};
};

void Print(const Run& run, std::chrono::seconds since, const Figures& figures) {
    std::printf("%6lld s %8llu kills %6zu objects %6d descriptors %6d mappings %8ld kB\n",
                static_cast<long long>(since.count()), static_cast<unsigned long long>(run.Runs()),
                figures.nObjects, figures.nDescriptors, figures.nMappings, figures.nResident);
    static_cast<void>(std::fflush(stdout));
}

void Compare(Run& run, const Figures& first, const Figures& now) {
    constexpr long kMostGrowth = 1024;  // kilobytes
    run.Expect(now.nDescriptors == first.nDescriptors, "%d descriptors, not %d", now.nDescriptors,
               first.nDescriptors);
    run.Expect(now.nMappings <= first.nMappings + 2, "%d mappings, not %d", now.nMappings, first.nMappings);
    run.Expect(now.nResident <= first.nResident + kMostGrowth, "%ld kB of own memory, not %ld", now.nResident,
               first.nResident);
    run.Expect(now.nObjects <= kMostObjects, "%zu objects", now.nObjects);
}

int Main(int nCount, char** ppArguments) {
    constexpr auto kRest = std::chrono::seconds(10);
    Run run(kPart, nCount, ppArguments, 100);
    if (!EnterPrivateShm()) return ReportSkipped(kPart, "this kernel refuses a /dev/shm of its own");
    setenv("ZTK_LOG_LEVEL", "5", 1);
    const auto started = Clock::now();
    Soak soak(run);
    soak.Work();
    const Figures first = soak.Rest();
    auto nextRest = started + kRest;
    while (run.GoesOn()) {
        soak.Work();
        std::this_thread::sleep_for(std::chrono::milliseconds(run.Pick(5, 100)));
        soak.KillOne();
        if (Clock::now() < nextRest) continue;
        nextRest = Clock::now() + kRest;
        const Figures now = soak.Rest();
        Print(run, std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - started), now);
        Compare(run, first, now);
    }
    soak.End();
    return run.Finish();
}

}  // namespace
}  // namespace ztk::torture

int main(int nCount, char** ppArguments) {
    if (nCount == 3 && std::strcmp(ppArguments[1], ztk::torture::kWorkerArgument) == 0)
        return ztk::torture::WorkForEver(std::strtoull(ppArguments[2], nullptr, 10));
    return ztk::torture::Main(nCount, ppArguments);
}
