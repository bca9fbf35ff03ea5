#include "torture/faults/scenarios.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <memory>

#include "torture/faults/board.h"
#include "torture/faults/mem_info_text.h"
#include "torture/faults/reclaimers.h"
#include "torture/faults/run.h"

namespace ztk::torture {
namespace {

constexpr std::uint64_t kSize = 4096;
constexpr std::int32_t kAlign = 64;
constexpr std::int32_t kNoSuchType = 7;
constexpr std::uint64_t kMiB = std::uint64_t{1} << 20U;

/// A block that a scenario's two halves share.
struct Held {
    void* pBlock = nullptr;
    void* pOther = nullptr;
};

void LoadOnly(World& world) {
    world.Load();
}

// ---- the life of the library -------------------------------------------------------------------------

/// One object of every sort that the sweep meets. The kernel lists the newest first.
void LeaveObjects(World& /*world*/) {
    const std::string digits(32, '0');
    PutIntoShm("ZTKTool-99999999-" + digits);  // no process has such an id
    PutIntoShm("ZTKTool-" + std::to_string(getpid()) + '-' + digits);
    PutIntoShm("ZTKTool-" + std::to_string(getppid()) + '-' + digits);
    PutIntoShm("ZTKTool-1234");
    PutIntoShm("somebody-else-s");
    PutIntoShm("ZTKTool-1-2", true);
}

void LoadAndRest(World& world) {
    world.Load();
    AwaitRest();
}

/// Every kind of block, one busy and one idle.
void FillPools(World& world) {
    world.Load();
    for (const std::int32_t enMemType : {kHeap, kMmz}) {
        for (const std::int32_t nAlign : {0, kAlign}) {
            world.Allocate(kSize, nAlign, enMemType);
            world.Free(world.Allocate(kSize, nAlign, enMemType));
        }
    }
    world.AllocateShared(kSize);
    world.FreeShared(world.AllocateShared(kSize));
}

void Unload(World& world) {
    world.Unload();
}

void Exit(World& /*world*/) {
    EndRunByExit();
}

/// The run goes on in a child; the parent ends as the child does.
void Fork(World& world) {
    const pid_t nChild = fork();
    if (nChild < 0) EndRun("no fork");
    if (nChild > 0) {
        int nStatus = 0;
        waitpid(nChild, &nStatus, 0);
        if (WIFSIGNALED(nStatus)) raise(WTERMSIG(nStatus));
        _exit(WEXITSTATUS(nStatus));
    }
    alarm(kPatienceSeconds);
    ForgetThreads();
    void* pHeap = world.Allocate(kSize, 0, kHeap);
    world.Free(pHeap);
    void* pShared = world.AllocateShared(kSize);
    world.FreeShared(pShared);
    AwaitRest();
}

// ---- requests ------------------------------------------------------------------------------------------

Scenario NewBlock(const std::string& name, std::int32_t nAlign, std::int32_t enMemType) {
    return {name,
            [=](World& world) {
                world.Load();
                world.Free(world.Allocate(2 * kSize, 128, kHeap));  // idle; fits nothing
            },
            [=](World& world) { world.Allocate(kSize, nAlign, enMemType); }};
}

/// The first attempt fails for lack of memory, and idle blocks of every kind go back; the second has enough,
/// or not.
Scenario Retry(const std::string& name, std::int32_t nAlign, bool bSucceeds) {
    return {name, FillPools, [=](World& world) {
                LetMemoryBeScarce(bSucceeds ? 1 : -1);
                world.Allocate(3 * kSize, nAlign, kHeap);
            }};
}

Scenario RetryMmz(const std::string& name, std::int32_t nAlign) {
    return {name,
            [](World& world) {
                SetMmzCapacity(16 * kSize);
                world.Load();
                world.Free(world.Allocate(10 * kSize, 0, kMmz));
                world.Free(world.Allocate(kSize, 0, kHeap));
            },
            [=](World& world) { world.Allocate(12 * kSize, nAlign, kMmz); }};
}

Scenario RetryShared(const std::string& name, bool bSucceeds) {
    return {name,
            [](World& world) {
                world.Load();
                void* pFirst = world.AllocateShared(kSize);
                void* pSecond = world.AllocateShared(2 * kSize);
                world.FreeShared(pFirst);
                world.FreeShared(pSecond);
            },
            [=](World& world) {
                LetMemoryBeScarce(bSucceeds ? 1 : -1);
                world.AllocateShared(3 * kSize);
            }};
}

Scenario Reuse(const std::string& name, std::int32_t nAlign, std::int32_t enMemType) {
    return {name,
            [=](World& world) {
                world.Load();
                world.Free(world.Allocate(kSize, nAlign, enMemType));
            },
            [=](World& world) { world.Allocate(kSize / 2, nAlign, enMemType); }};
}

Scenario Release(const std::string& name, std::int32_t enMemType) {
    auto pHeld = std::make_shared<Held>();
    return {name,
            [=](World& world) {
                world.Load();
                pHeld->pBlock = world.Allocate(kSize, 0, enMemType);
            },
            [=](World& world) {
                world.Free(pHeld->pBlock);
                world.Free(pHeld->pBlock);   // counted again
                world.Free(&pHeld->pOther);  // never given
            }};
}

Scenario ReleaseShared(const std::string& name) {
    auto pHeld = std::make_shared<Held>();
    return {name,
            [=](World& world) {
                world.Load();
                pHeld->pBlock = world.AllocateShared(kSize);
            },
            [=](World& world) {
                world.FreeShared(pHeld->pBlock);
                world.FreeShared(pHeld->pBlock);
                world.FreeShared(&pHeld->pOther);
            }};
}

// ---- a minute of the reclaimers --------------------------------------------------------------------------

void PassAMinute(World& /*world*/) {
    for (int i = 0; i < 4; ++i)
        LetWakeUp();
}

/// Idle for a minute and, freed again and again, counted as more than the limit.
void OverTheLimit(World& world) {
    constexpr int kTimes = 301;
    world.Load();
    void* pHeap = world.Allocate(kMiB, 0, kHeap);
    void* pAligned = world.Allocate(kMiB, kAlign, kHeap);
    void* pMmz = world.Allocate(kMiB, 0, kMmz);
    void* pShared = world.AllocateShared(kMiB);
    for (int i = 0; i < kTimes; ++i) {
        world.Free(pHeap);
        world.FreeShared(pShared);
    }
    world.Free(pAligned);
    world.Free(pMmz);
    AwaitRest();
    SetLogLevel(2);
}

/// More than one line of blocks in each dump.
void ManyBlocks(World& world) {
    world.Load();
    for (int i = 0; i < 12; ++i) {
        world.Allocate(kSize, i % 2 == 0 ? 0 : kAlign, kHeap);
        world.Allocate(kSize, 0, kMmz);
        world.AllocateShared(kSize);
    }
    AwaitRest();
}

// ---- all of them -----------------------------------------------------------------------------------------

std::vector<Scenario> MakeScenarios() {
    std::vector<Scenario> all = {
        {"load", LeaveObjects, LoadAndRest},
        {"unload", FillPools, Unload},
        {"unload-empty", [](World& world) { LoadAndRest(world); }, Unload},
        {"exit", FillPools, Exit},
        {"fork", FillPools, Fork},
        NewBlock("heap", 0, kHeap),
        NewBlock("heap-aligned", kAlign, kHeap),
        NewBlock("mmz", 0, kMmz),
        NewBlock("mmz-aligned", kAlign, kMmz),
        NewBlock("no-such-type", 0, kNoSuchType),
        {"shared", LoadOnly, [](World& world) { world.AllocateShared(kSize); }},
        {"shared-too-short", LoadOnly, [](World& world) { world.AllocateShared(100); }},
        Retry("heap-retry", 0, true),
        Retry("heap-aligned-retry", kAlign, true),
        Retry("heap-retry-in-vain", 0, false),
        RetryMmz("mmz-retry", 0),
        RetryMmz("mmz-aligned-retry", kAlign),
        RetryShared("shared-retry", true),
        RetryShared("shared-retry-in-vain", false),
        Reuse("heap-reuse", 0, kHeap),
        Reuse("mmz-aligned-reuse", kAlign, kMmz),
        {"shared-reuse",
         [](World& world) {
             world.Load();
             world.FreeShared(world.AllocateShared(kSize));
         },
         [](World& world) { world.AllocateShared(kSize / 2); }},
        Release("heap-release", kHeap),
        Release("mmz-release", kMmz),
        ReleaseShared("shared-release"),
        {"reclaim", OverTheLimit, PassAMinute},
        {"dump", ManyBlocks, PassAMinute},
        {"available", LoadOnly, [](World& world) { world.AskForMemory(); }},
        {"settings", LoadOnly, [](World& world) { world.UseSettings(); }},
    };
    return all;
}

}  // namespace

const std::vector<Scenario>& AllScenarios() {
    static const auto* pScenarios = new std::vector<Scenario>(MakeScenarios());
    return *pScenarios;
}

}  // namespace ztk::torture
