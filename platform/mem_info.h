// The system's memory figures and the reserve that is measured against them.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <istream>
#include <string_view>

namespace ztk {

/// Memory that every heap allocation and every shared segment must leave available: 350 MiB.
constexpr std::uint64_t kMemoryReserve = 367'001'600;

/// Available memory ("MemAvailable:" of /proc/meminfo) in bytes, read afresh; 0 when it cannot be read, so
/// that the pools fail closed.
std::uint64_t GetMemAvailable_Linux();

/// Shared memory in use ("Shmem:") in bytes; 0 when it cannot be read.
std::uint64_t GetShmemSize_Linux();

/// The figure behind the first line that begins with @p key and carries a number as its second field, in
/// bytes (the text gives kB); 0 if there is none.
std::uint64_t ReadMemInfo(std::istream& text, std::string_view key);

/// The sum of @p addends, or all ones where it does not fit: sizes are added as numbers, never modulo 2^64.
constexpr std::uint64_t SumOfSizes(std::initializer_list<std::uint64_t> addends) {
    std::uint64_t nSum = 0;
    for (const std::uint64_t nAddend : addends) {
        if (nAddend > UINT64_MAX - nSum) return UINT64_MAX;
        nSum += nAddend;
    }
    return nSum;
}

}  // namespace ztk
