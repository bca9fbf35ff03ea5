// Time that moves only when told, for the built library: the program's own clock_gettime(), gettimeofday()
// and pthread_cond_timedwait() take the place of the C library's. In a program with these the wall clock
// stands still from its start, and timed waits end when it is moved past their deadlines or when they are
// woken.
#pragma once

#include <cstddef>

namespace ztk::test {

/// Waits until @p nCount threads sleep.
void AwaitSleepers(std::size_t nCount);

/// Moves the clock, wakes the sleepers that are due and waits until they all sleep again.
void AdvanceClock(int nSeconds);

}  // namespace ztk::test
