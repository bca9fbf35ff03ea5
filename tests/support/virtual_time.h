// Time that moves only when told, for the product's objects: clock_gettime, gettimeofday and
// pthread_cond_timedwait.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace ztk::test {

/// While one exists the product's clocks stand at its time and timed waits end only when it is moved past
/// their deadlines (or their condition is signalled). Real time again after its end; no thread may wait then.
class VirtualTime {
  public:
    explicit VirtualTime(std::int64_t nEpochSeconds = 1'700'000'000);
    ~VirtualTime();
    VirtualTime(const VirtualTime&) = delete;
    VirtualTime& operator=(const VirtualTime&) = delete;

    /// Moves the clock in steps from deadline to deadline, waking exactly the sleepers due at each, and waits
    /// each time until every woken thread sleeps again or has left the clock for good: waits on a condition
    /// without limit, or has ended. (A thread that was signalled a moment ago may still count as asleep: let
    /// it run first, by joining it or by AwaitSleepers().)
    void Advance(std::chrono::nanoseconds span);

    /// Steps the clock without waking anybody, as an administrator would set it.
    void Step(std::chrono::nanoseconds span);

    /// Waits until @p nCount threads (or more) sleep on this clock.
    void AwaitSleepers(std::size_t nCount);

    std::int64_t NowMilliseconds() const;

    /// clock_gettime() fails from now on (true) or works again (false).
    void BreakClock(bool bBroken);
};

}  // namespace ztk::test
