// A program that ends while its threads are inside the exports of both pools, and go on calling.
// Usage: exit_race_host <main|worker> <laps>: the thread that calls exit() once all threads have gone round
// that often. The exit code is 0, or 3 after a status that no caller may see.
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "common/ztk_common.h"

namespace {

constexpr int kThreads = 4;
constexpr int kUnexpected = 3;

std::atomic<int> g_nLaps[kThreads];
int g_nLapsToExit = 0;
bool g_bWorkerExits = false;

bool AllHaveGoneRound() {
    for (const auto& nLaps : g_nLaps) {
        if (nLaps < g_nLapsToExit) return false;
    }
    return true;
}

/// Success, or the refusal of a pool that is gone. Who is refused lets the one that ends the process run.
void Expect(uint32_t nStatus, uint32_t nRefusal) {
    if (nStatus == ZTK_SUCCESS) return;
    if (nStatus != nRefusal) _exit(kUnexpected);
    sched_yield();
}

void UseMemory(uint64_t nSize, int32_t nAlign, int32_t enMemType) {
    void* pAddr = nullptr;
    const uint32_t nStatus = AllocateAlignedPoolMemory(nSize, nAlign, enMemType, &pAddr, nullptr);
    Expect(nStatus, ERR_NO_MEMORY);
    if (nStatus == ZTK_SUCCESS) Expect(FreePoolMemory(pAddr), ERR_INVALID_PARAM);
}

void UseShared(uint64_t nSize) {
    void* pAddr = nullptr;
    char szName[ZTK_SHARED_NAME_SIZE];
    const uint32_t nStatus = AllocatePoolSharedMemory(nSize, &pAddr, szName);
    Expect(nStatus, ERR_NO_MEMORY);
    if (nStatus == ZTK_SUCCESS) Expect(FreePoolSharedMemory(pAddr), ERR_INVALID_PARAM);
}

/// The last of these empties the pools: new blocks are made and old ones given back all the time.
void GoRound(int nThread, int nLap) {
    const auto nSize = static_cast<uint64_t>(1 + nLap % 5) * 4096;
    switch ((nThread + nLap) % 5) {
        case 0:
            return UseMemory(nSize, 0, ZTK_MEM_OS);
        case 1:
            return UseMemory(nSize, 64, ZTK_MEM_OS);
        case 2:
            return UseMemory(nSize, 0, ZTK_MEM_MMZ);
        case 3:
            return UseShared(nSize);
        default:
            UseMemory(1, 0, 2);
            return UseShared(UINT64_MAX);
    }
}

void* Work(void* pLaps) {
    auto& nLaps = *static_cast<std::atomic<int>*>(pLaps);
    const auto nThread = static_cast<int>(&nLaps - g_nLaps);
    for (;;) {
        GoRound(nThread, nLaps);
        ++nLaps;
        if (g_bWorkerExits && nThread == 0 && AllHaveGoneRound()) std::exit(0);
    }
}

}  // namespace

/// Asked by ThreadSanitizer at start. A pool destroys its lock at the end although a late thread, past the
/// check that the pool is open, may still ask for it or just hold it (to find the pool closed). That is
/// relied upon (see platform/rw_lock.h): the C library's locks go on working.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions() {
    return "race:ztk::RwLock::Destroy\n"
           "mutex:ztk::RwLock::Destroy\n";
}

/// Also asked: how long late threads may go on calling when all is torn down; a whole second otherwise.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options() {
    return "atexit_sleep_ms=100";
}

int main(int nCount, char** ppArguments) {
    if (nCount != 3) return 2;
    g_bWorkerExits = std::strcmp(ppArguments[1], "worker") == 0;
    g_nLapsToExit = std::atoi(ppArguments[2]);
    for (auto& nLaps : g_nLaps) {
        pthread_t thread{};
        if (pthread_create(&thread, nullptr, Work, &nLaps) != 0) return 2;
    }
    while (g_bWorkerExits)
        UseShared(8192);
    while (!AllHaveGoneRound())
        sched_yield();
    return 0;
}
