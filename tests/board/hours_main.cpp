// Three hours beside the reclaimers, for a board in virtual time, where sleeping costs nothing: what is taken
// and freed when. The log is the result; hours.py says what stands in it. Ten seconds after a full minute,
// unless said: far from the reclaimers' wake-ups.
#include <time.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "common/ztk_common.h"

namespace {

constexpr std::uint64_t kMiB = std::uint64_t{1} << 20U;
constexpr time_t kMinute = 60;

timespec g_start;

void SleepUntil(time_t nMinutes, time_t nSeconds = 10) {
    timespec end = g_start;
    end.tv_sec += nMinutes * kMinute + nSeconds;
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) != 0) {
    }
}

[[noreturn]] void Fail(const char* szWhat) {
    std::fprintf(stderr, "hours: %s\n", szWhat);
    std::exit(1);
}

void* Take(std::uint64_t nSize, std::int32_t enType) {
    void* pBlock = nullptr;
    if (AllocatePoolMemory(nSize, enType, &pBlock, nullptr) != ZTK_SUCCESS) Fail("a request was refused");
    return pBlock;
}

void* TakeShared(std::uint64_t nSize) {
    void* pBlock = nullptr;
    char szName[ZTK_SHARED_NAME_SIZE];
    if (AllocatePoolSharedMemory(nSize, &pBlock, szName) != ZTK_SUCCESS) Fail("a shared request was refused");
    return pBlock;
}

/// So many blocks, taken together and freed together.
void LeaveIdle(int nBlocks, std::uint64_t nSize, std::int32_t enType = ZTK_MEM_OS) {
    std::vector<void*> blocks;
    for (int i = 0; i < nBlocks; ++i)
        blocks.push_back(Take(nSize, enType));
    for (void* pBlock : blocks) {
        if (FreePoolMemory(pBlock) != ZTK_SUCCESS) Fail("a block was not taken back");
    }
}

void LeaveSharedIdle(int nBlocks, std::uint64_t nSize) {
    std::vector<void*> blocks;
    for (int i = 0; i < nBlocks; ++i)
        blocks.push_back(TakeShared(nSize));
    for (void* pBlock : blocks) {
        if (FreePoolSharedMemory(pBlock) != ZTK_SUCCESS) Fail("a shared block was not taken back");
    }
}

}  // namespace

int main() {
    clock_gettime(CLOCK_MONOTONIC, &g_start);
    SleepUntil(10);
    LeaveIdle(4, 100 * kMiB);  // above the limit
    SleepUntil(20, 40);
    LeaveIdle(2, 151 * kMiB);  // above it, but young at the next full minute
    SleepUntil(30);
    LeaveIdle(3, 100 * kMiB);  // the limit to the byte
    SleepUntil(60);
    LeaveIdle(1, 4096);  // what goes beyond it
    SleepUntil(70);
    LeaveSharedIdle(2, 151 * kMiB);
    SleepUntil(80);
    LeaveIdle(1, 8 * kMiB, ZTK_MEM_MMZ);
    SleepUntil(90);
    LeaveIdle(3, 100 * kMiB);  // heap and MMZ count together
    for (time_t nMinute = 100; nMinute < 160; ++nMinute) {
        SleepUntil(nMinute);
        LeaveIdle(1, 10 * kMiB);
        LeaveSharedIdle(1, 4096);
    }
    SleepUntil(180);
    return 0;
}
