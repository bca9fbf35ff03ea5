// What to tell the user when a pool hands out nothing.
#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <stdexcept>
#include <string>

#include "ztk_common.h"

namespace demo {

constexpr double kMiB = 1024.0 * 1024.0;

/// For heap and shared memory, of which the library refuses what would leave the system too little.
inline std::runtime_error PoolRefusal(const std::string& kind, std::uint64_t nSize, std::uint32_t nStatus) {
    return std::runtime_error(fmt::format(
        "the library refused {:.1f} MiB of {} memory (status {:#x}): the system has {:.0f} MiB "
        "available, and a request must leave 350 MiB of it",
        static_cast<double>(nSize) / kMiB, kind, nStatus, static_cast<double>(GetAvailableOSSize()) / kMiB));
}

inline std::runtime_error MmzRefusal(std::uint64_t nSize, std::uint32_t nStatus) {
    return std::runtime_error(fmt::format(
        "the library refused {:.1f} MiB of MMZ memory (status {:#x}): librockit has no such block left",
        static_cast<double>(nSize) / kMiB, nStatus));
}

}  // namespace demo
