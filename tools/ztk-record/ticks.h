// The processor's counter: a fifth of what the clock costs, which matters twice per call.
#pragma once

#include <cstdint>
#include <ctime>

#if defined(__x86_64__)
#include <x86intrin.h>
#endif

namespace ztk_record {

constexpr std::uint64_t kNsPerSecond = 1'000'000'000;

inline std::uint64_t NowNs(clockid_t nClock = CLOCK_MONOTONIC) {
    timespec now{};
    clock_gettime(nClock, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * kNsPerSecond + static_cast<std::uint64_t>(now.tv_nsec);
}

inline std::uint64_t NowTicks() {
#if defined(__x86_64__)
    return __rdtsc();
#elif defined(__aarch64__)
    std::uint64_t nTicks = 0;
    asm volatile("mrs %0, cntvct_el0" : "=r"(nTicks));
    return nTicks;
#else
    return NowNs();
#endif
}

}  // namespace ztk_record
