#include "support/virtual_time.h"

#include <pthread.h>
#include <sys/time.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "support/interception.h"
#include "support/real_calls.h"

namespace ztk::test {
namespace {

constexpr std::uint64_t kNanosecondsPerSecond = 1'000'000'000;

/// A thread in a timed wait. Lives on its stack.
struct Sleeper {
    std::uint64_t nDeadline;
    pthread_cond_t* pCond;
    pthread_mutex_t* pMutex;
    bool bExpired = false;  ///< its time has come; Advance() still needs the two above
    bool bReleased = false;
};

/// The time is atomic, to be read without a lock: a lock would order the threads that read the clock and
/// hide their races. Everything else is guarded by the mutex; a sleeper's own mutex is taken before it.
struct Clock {
    std::atomic<bool> bRunning{false};
    std::atomic<bool> bBroken{false};
    std::atomic<std::uint64_t> nNow{0};
    RealMutex mutex;
    RealCondition changed;
    std::vector<Sleeper*> sleepers;
    std::size_t nAwake = 0;  ///< threads that woke from a sleep on this clock and are not at rest again
};

Clock& TheClock() {
    static auto* pClock = new Clock;  // outlives every thread and destructor
    return *pClock;
}

/// Whether this thread counts as awake. It is at rest again when it sleeps, waits without limit or ends.
class ThisThread {
  public:
    ThisThread() = default;
    ~ThisThread() { Rest(); }
    ThisThread(const ThisThread&) = delete;
    ThisThread& operator=(const ThisThread&) = delete;

    void WasWoken() { bAwake_ = true; }
    void Rest() {
        if (!bAwake_) return;
        bAwake_ = false;
        Clock& clock = TheClock();
        const std::lock_guard lock(clock.mutex);
        --clock.nAwake;
        clock.changed.NotifyAll();
    }

  private:
    bool bAwake_ = false;
};

thread_local ThisThread t_thisThread;

void Register(Sleeper& sleeper) {
    const OwnAllocations ours;
    Clock& clock = TheClock();
    const std::lock_guard lock(clock.mutex);
    clock.sleepers.push_back(&sleeper);
    clock.changed.NotifyAll();
}

/// Whether the wait goes on: an expired sleeper stays until Advance() is done with its mutex and condition.
/// One that was signalled leaves the clock by itself.
bool GoesOn(Sleeper& sleeper) {
    Clock& clock = TheClock();
    const std::lock_guard lock(clock.mutex);
    if (sleeper.bExpired) return !sleeper.bReleased;
    auto& sleepers = clock.sleepers;
    sleepers.erase(std::remove(sleepers.begin(), sleepers.end(), &sleeper), sleepers.end());
    ++clock.nAwake;
    return false;
}

/// A wait that only Advance() or a signal ends.
int Sleep(pthread_cond_t* pCond, pthread_mutex_t* pMutex, std::uint64_t nDeadline) {
    if (nDeadline <= TheClock().nNow) {  // still lets others have the mutex
        __real_pthread_mutex_unlock(pMutex);
        __real_pthread_mutex_lock(pMutex);
        return ETIMEDOUT;
    }
    // The first use allocates: before others may take this thread for asleep, and fork.
    ThisThread& thisThread = t_thisThread;
    Sleeper sleeper{nDeadline, pCond, pMutex};
    Register(sleeper);
    thisThread.Rest();
    do {
        __real_pthread_cond_wait(pCond, pMutex);
    } while (GoesOn(sleeper));
    thisThread.WasWoken();
    return sleeper.bExpired ? ETIMEDOUT : 0;
}

/// Takes the sleepers that are due off the clock. They count as awake from here on.
std::vector<Sleeper*> Expire(Clock& clock) {
    const auto isDue = [&clock](const Sleeper* pSleeper) { return pSleeper->nDeadline <= clock.nNow; };
    const auto due = std::stable_partition(clock.sleepers.begin(), clock.sleepers.end(),
                                           [&](const Sleeper* pSleeper) { return !isDue(pSleeper); });
    std::vector<Sleeper*> expired(due, clock.sleepers.end());
    clock.sleepers.erase(due, clock.sleepers.end());
    for (Sleeper* pSleeper : expired)
        pSleeper->bExpired = true;
    clock.nAwake += expired.size();
    return expired;
}

/// Nobody touches the sleeper any more once its mutex is free again.
void Wake(Clock& clock, Sleeper* pSleeper) {
    pthread_mutex_t* pMutex = pSleeper->pMutex;
    __real_pthread_mutex_lock(pMutex);
    {
        const std::lock_guard lock(clock.mutex);
        pSleeper->bReleased = true;
    }
    __real_pthread_cond_broadcast(pSleeper->pCond);
    __real_pthread_mutex_unlock(pMutex);
}

timespec SplitNow() {
    const std::uint64_t nNow = TheClock().nNow;
    timespec now{};
    now.tv_sec = static_cast<time_t>(nNow / kNanosecondsPerSecond);
    now.tv_nsec = static_cast<long>(nNow % kNanosecondsPerSecond);
    return now;
}

}  // namespace

VirtualTime::VirtualTime(std::int64_t nEpochSeconds) {
    Clock& clock = TheClock();
    clock.nNow = static_cast<std::uint64_t>(nEpochSeconds) * kNanosecondsPerSecond;
    clock.bBroken = false;
    clock.bRunning = true;
}

VirtualTime::~VirtualTime() {
    Clock& clock = TheClock();
    const std::lock_guard lock(clock.mutex);
    clock.bRunning = false;
    if (clock.sleepers.empty()) return;
    static_cast<void>(std::fputs("VirtualTime ended with threads that sleep on it\n", stderr));
    std::abort();
}

void VirtualTime::Advance(std::chrono::nanoseconds span) {
    Clock& clock = TheClock();
    t_thisThread.Rest();
    const std::uint64_t nEnd = clock.nNow + static_cast<std::uint64_t>(span.count());
    while (true) {
        std::unique_lock lock(clock.mutex);
        clock.changed.Wait(lock, [&clock] { return clock.nAwake == 0; });
        std::uint64_t nNext = nEnd;
        for (const Sleeper* pSleeper : clock.sleepers)
            nNext = std::min(nNext, pSleeper->nDeadline);
        clock.nNow = std::max(clock.nNow.load(), nNext);
        const std::vector<Sleeper*> expired = Expire(clock);
        if (expired.empty()) return;
        lock.unlock();
        for (Sleeper* pSleeper : expired)
            Wake(clock, pSleeper);
    }
}

void VirtualTime::Step(std::chrono::nanoseconds span) {
    TheClock().nNow += static_cast<std::uint64_t>(span.count());
}

void VirtualTime::AwaitSleepers(std::size_t nCount) {
    Clock& clock = TheClock();
    std::unique_lock lock(clock.mutex);
    clock.changed.Wait(lock, [&clock, nCount] { return clock.sleepers.size() >= nCount; });
}

std::int64_t VirtualTime::NowMilliseconds() const {
    return static_cast<std::int64_t>(TheClock().nNow / 1'000'000);
}

void VirtualTime::BreakClock(bool bBroken) {
    TheClock().bBroken = bBroken;
}

}  // namespace ztk::test

using ztk::test::FailWith;
using ztk::test::IndexOf;
using ztk::test::PlannedFailure;
using ztk::test::TheClock;

extern "C" {

int __real_clock_gettime(clockid_t nClock, timespec* pNow);
int __wrap_clock_gettime(clockid_t nClock, timespec* pNow) {
    if (const auto nError = PlannedFailure<IndexOf("clock_gettime")>()) return FailWith(*nError);
    if (!TheClock().bRunning || nClock != CLOCK_REALTIME) return __real_clock_gettime(nClock, pNow);
    if (TheClock().bBroken) return FailWith(EINVAL);
    *pNow = ztk::test::SplitNow();
    return 0;
}

int __real_gettimeofday(timeval* pNow, void* pZone);
int __wrap_gettimeofday(timeval* pNow, void* pZone) {
    if (const auto nError = PlannedFailure<IndexOf("gettimeofday")>()) return FailWith(*nError);
    if (!TheClock().bRunning) return __real_gettimeofday(pNow, pZone);
    const timespec now = ztk::test::SplitNow();
    *pNow = {now.tv_sec, now.tv_nsec / 1000};
    return 0;
}

int __wrap_pthread_cond_wait(pthread_cond_t* pCond, pthread_mutex_t* pMutex) {
    if (const auto nError = PlannedFailure<IndexOf("pthread_cond_wait")>()) return *nError;
    ztk::test::t_thisThread.Rest();
    return __real_pthread_cond_wait(pCond, pMutex);
}

int __real_pthread_cond_timedwait(pthread_cond_t* pCond, pthread_mutex_t* pMutex, const timespec* pDeadline);
int __wrap_pthread_cond_timedwait(pthread_cond_t* pCond, pthread_mutex_t* pMutex, const timespec* pDeadline) {
    if (const auto nError =
            PlannedFailure<IndexOf("pthread_cond_timedwait")>(pDeadline->tv_sec, ' ', pDeadline->tv_nsec)) {
        return *nError;
    }
    if (!TheClock().bRunning) {
        ztk::test::t_thisThread.Rest();
        return __real_pthread_cond_timedwait(pCond, pMutex, pDeadline);
    }
    const auto nSeconds = static_cast<std::uint64_t>(pDeadline->tv_sec);
    return ztk::test::Sleep(
        pCond, pMutex,
        nSeconds * ztk::test::kNanosecondsPerSecond + static_cast<std::uint64_t>(pDeadline->tv_nsec));
}

}  // extern "C"
