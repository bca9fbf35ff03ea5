#include "tests/library/virtual_clock.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

namespace ztk::test {
namespace {

/// Seconds since the epoch.
std::atomic<int64_t> g_nNow{1'700'000'000};

struct Sleeper {
    pthread_cond_t* pCond;
    pthread_mutex_t* pMutex;
    int64_t nDeadline;
};

std::mutex g_lock;
std::condition_variable g_changed;
std::vector<Sleeper> g_sleepers;

void Enter(const Sleeper& sleeper) {
    const std::lock_guard guard(g_lock);
    g_sleepers.push_back(sleeper);
    g_changed.notify_all();
}

/// A sleeper that the clock has woken is no longer in the list; one that was woken otherwise is.
void Leave(const pthread_cond_t* pCond) {
    const std::lock_guard guard(g_lock);
    const auto isIts = [pCond](const Sleeper& sleeper) { return sleeper.pCond == pCond; };
    g_sleepers.erase(std::remove_if(g_sleepers.begin(), g_sleepers.end(), isIts), g_sleepers.end());
}

/// Sleeps until woken, by the clock or by anybody. Called with the mutex held.
int SleepVirtually(pthread_cond_t* pCond, pthread_mutex_t* pMutex, int64_t nDeadline) {
    Enter({pCond, pMutex, nDeadline});
    const int nResult = pthread_cond_wait(pCond, pMutex);
    Leave(pCond);
    return g_nNow >= nDeadline ? ETIMEDOUT : nResult;
}

std::vector<Sleeper> TakeDueSleepers() {
    const std::lock_guard guard(g_lock);
    const auto firstDue = std::stable_partition(g_sleepers.begin(), g_sleepers.end(),
                                                [](const Sleeper& s) { return s.nDeadline > g_nNow; });
    std::vector<Sleeper> due(firstDue, g_sleepers.end());
    g_sleepers.erase(firstDue, g_sleepers.end());
    return due;
}

/// Whoever entered the list before it waited does so while its mutex can be taken.
void Wake(const Sleeper& sleeper) {
    pthread_mutex_lock(sleeper.pMutex);
    pthread_cond_broadcast(sleeper.pCond);
    pthread_mutex_unlock(sleeper.pMutex);
}

}  // namespace

void AwaitSleepers(std::size_t nCount) {
    std::unique_lock guard(g_lock);
    g_changed.wait(guard, [nCount] { return g_sleepers.size() == nCount; });
}

void AdvanceClock(int nSeconds) {
    g_nNow += nSeconds;
    const std::vector<Sleeper> due = TakeDueSleepers();
    std::size_t nAsleep = 0;
    {
        const std::lock_guard guard(g_lock);
        nAsleep = g_sleepers.size();
    }
    std::for_each(due.begin(), due.end(), Wake);
    AwaitSleepers(nAsleep + due.size());
}

}  // namespace ztk::test

#define ZTK_IN_PLACE_OF_LIBC extern "C" __attribute__((visibility("default")))

ZTK_IN_PLACE_OF_LIBC int pthread_cond_timedwait(pthread_cond_t* pCond, pthread_mutex_t* pMutex,
                                                const timespec* pDeadline) {
    return ztk::test::SleepVirtually(pCond, pMutex, pDeadline->tv_sec);
}

ZTK_IN_PLACE_OF_LIBC int clock_gettime(clockid_t clock, timespec* pTime) noexcept {
    if (clock != CLOCK_REALTIME) return static_cast<int>(syscall(SYS_clock_gettime, clock, pTime));
    *pTime = {ztk::test::g_nNow, 0};
    return 0;
}

ZTK_IN_PLACE_OF_LIBC int gettimeofday(timeval* pTime, void* /*pZone*/) noexcept {
    *pTime = {ztk::test::g_nNow, 0};
    return 0;
}
