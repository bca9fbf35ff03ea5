// Events: a flag that threads can wait for, on one mutex and one condition variable.
//
// A manual-reset event stays set until it is reset and wakes every waiter; an auto-reset event is consumed
// by the one waiter it wakes. Any number of threads may set, reset and wait; destroying an event that a
// thread waits on is an error. Every function does nothing and returns 0 for a null event. A failing mutex
// or condition call is a defect of the program and ends it with an assertion message.
#pragma once

#include <cstdint>

namespace neosmart {

struct neosmart_event_t_;
using neosmart_event_t = neosmart_event_t_*;

constexpr std::uint64_t kWaitForever = UINT64_MAX;

/// A new event, owned by the caller until DestroyEvent(); null when out of memory.
neosmart_event_t CreateEvent(bool manualReset, bool initialState);

int SetEvent(neosmart_event_t event);

int ResetEvent(neosmart_event_t event);

/// Waits at most @p milliseconds of the wall clock (0: test without blocking; kWaitForever: no limit).
/// Returns 0 when the event was obtained, ETIMEDOUT when the time ran out, or another error number of the
/// condition wait. A step of the system's clock lengthens or shortens a pending wait.
int WaitForEvent(neosmart_event_t event, std::uint64_t milliseconds);

int DestroyEvent(neosmart_event_t event);

/// For a forked child: frees the memory of an event that a thread of the parent may be waiting on. To destroy
/// it would wait for that thread, which does not exist in the child.
void AbandonEvent(neosmart_event_t event);

}  // namespace neosmart
