// The world of the thread campaign: time runs a thousand times as fast, so that the reclaimers wake every 15
// ms and an idle block is old after 30 ms; memory is short now and then; the board and the log are there and
// do little.
#include <pthread.h>
#include <sys/time.h>
#include <time.h>

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "external/rockit.h"
#include "external/ztk_log.h"
#include "torture/threads/hasty_world.h"

extern "C" int __real_clock_gettime(clockid_t nClock, timespec* pNow);
extern "C" int __real_pthread_cond_timedwait(pthread_cond_t* pCond, pthread_mutex_t* pMutex,
                                             const timespec* pDeadline);

namespace ztk::torture {
namespace {

constexpr std::int64_t kHaste = 1000;
constexpr std::int64_t kNanoseconds = 1'000'000'000;
constexpr std::uint64_t kPlenty = std::uint64_t{1} << 40U;
constexpr std::uint64_t kReserve = std::uint64_t{350} << 20U;
constexpr unsigned kShortEvery = 9973;
constexpr std::uint64_t kPage = 4096;

std::atomic<unsigned> g_nReadings{0};
std::atomic<std::uint64_t> g_nChecks{0};
std::atomic<std::uint64_t> g_nDumps{0};
std::atomic<std::uint64_t> g_nFreed{0};
std::atomic<int> g_nLevel{0};
thread_local bool g_bReclaimer = false;

}  // namespace

void SetLogLevel(int nLevel) {
    g_nLevel.store(nLevel, std::memory_order_relaxed);
}
Background CountBackground() {
    return {g_nChecks.load(std::memory_order_relaxed), g_nDumps.load(std::memory_order_relaxed),
            g_nFreed.load(std::memory_order_relaxed)};
}

}  // namespace ztk::torture

extern "C" {

int __wrap_clock_gettime(clockid_t nClock, timespec* pNow) {
    const int nResult = __real_clock_gettime(nClock, pNow);
    if (nClock != CLOCK_REALTIME) return nResult;
    static const std::int64_t nStart = pNow->tv_sec;
    const std::int64_t nSince = (pNow->tv_sec - nStart) * ztk::torture::kNanoseconds + pNow->tv_nsec;
    pNow->tv_sec = nStart + nSince / (ztk::torture::kNanoseconds / ztk::torture::kHaste);
    return nResult;
}

int __wrap_pthread_cond_timedwait(pthread_cond_t* pCond, pthread_mutex_t* pMutex,
                                  const timespec* /*pDeadline*/) {
    timespec soon{};
    __real_clock_gettime(CLOCK_REALTIME, &soon);
    soon.tv_nsec += 15'000'000;
    if (soon.tv_nsec >= ztk::torture::kNanoseconds) {
        soon.tv_nsec -= ztk::torture::kNanoseconds;
        ++soon.tv_sec;
    }
    return __real_pthread_cond_timedwait(pCond, pMutex, &soon);
}

std::uint64_t __wrap__ZN3ztk21GetMemAvailable_LinuxEv() {
    const unsigned nReading = ztk::torture::g_nReadings.fetch_add(1, std::memory_order_relaxed);
    return nReading % ztk::torture::kShortEvery == 0 ? ztk::torture::kReserve : ztk::torture::kPlenty;
}

// ---- the board: a block's handle is its address ------------------------------------------------------

int32_t RK_MPI_MMZ_Alloc(MB_BLK* pBlk, uint32_t u32Length, uint32_t /*u32Flags*/) {
    const std::uint64_t nLength =
        (u32Length + ztk::torture::kPage - 1) / ztk::torture::kPage * ztk::torture::kPage;
    *pBlk = std::aligned_alloc(ztk::torture::kPage, nLength);
    return *pBlk == nullptr ? -1 : 0;
}
void* RK_MPI_MMZ_Handle2VirAddr(MB_BLK blk) {
    return blk;
}
MB_BLK RK_MPI_MMZ_VirAddr2Handle(void* pVirAddr) {
    return pVirAddr;
}
int32_t RK_MPI_MMZ_Free(MB_BLK blk) {
    std::free(blk);
    return 0;
}

void ZTK_LOG_WriteLog(int /*level*/, const char* format, ...) {
    va_list values;
    va_start(values, format);
    const std::string_view function = va_arg(values, const char*);
    va_end(values);
    if (function == "DoFreeUnbusyMemoryWork") {
        ztk::torture::g_bReclaimer = true;
        ztk::torture::g_nChecks.fetch_add(1, std::memory_order_relaxed);
    }
    if (function == "DumpMemoryInfo") ztk::torture::g_nDumps.fetch_add(1, std::memory_order_relaxed);
    if (function == "FreeUnbusyMemory" && ztk::torture::g_bReclaimer)
        ztk::torture::g_nFreed.fetch_add(1, std::memory_order_relaxed);
}
int ZTK_LOG_GetLogLevel(void) {
    return ztk::torture::g_nLevel.load(std::memory_order_relaxed);
}

}  // extern "C"
