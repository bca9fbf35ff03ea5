#pragma once

#include <cstdint>

namespace ztk {

using ThreadRoutine = void* (*)(void*);

/// Starts a joinable thread that runs startRoutine(arg); stores its handle (0 means no thread) in
/// @p pThread. Returns 0 or the error number of the thread's creation, with @p pThread untouched.
int CreateThreadEx(std::uint64_t* pThread, ThreadRoutine startRoutine, void* arg);

/// Waits for a thread's end; @p pResult, which may be null, receives what its routine returned. Returns 0 at
/// once for a zero handle, else the result of the join.
int JoinThread(std::uint64_t thread, void** pResult);

std::uint64_t GetCurrentThreadIdEx();

/// Sleeps; 0 yields the processor. The microseconds are formed in 32 bits: 4,294,968 ms and more wrap.
void SleepMs(std::uint32_t nMilliseconds);

}  // namespace ztk
