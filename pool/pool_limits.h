// The fixed limits that both pools share. None of them is a setting.
#pragma once

#include <cstdint>

namespace ztk {

/// The most by which a reused block may exceed the request: 30 MiB.
constexpr std::uint64_t kReuseTolerance = 31'457'280;

/// Idle bytes above which the reclaimer frees blocks: 300 MiB.
constexpr std::uint64_t kAllowedLimit = 314'572'800;

/// How long a block must have been idle for the reclaimer to free it.
constexpr std::uint32_t kIdleSeconds = 30;

/// The size class of a size: below 20 MiB 0, below 50 MiB 1, then steps of 50 MiB from 2 on. A request is
/// matched against blocks of its own class only. Of the quotient the low 32 bits count.
constexpr std::int32_t GetSizeClass(std::uint64_t nSize) {
    constexpr std::uint64_t kFirstBoundary = 20'971'520;
    constexpr std::uint64_t kStep = 52'428'800;
    const auto nQuotient = static_cast<std::uint32_t>(nSize / kStep);
    if (nQuotient != 0) return static_cast<std::int32_t>(nQuotient + 1);
    return nSize >= kFirstBoundary ? 1 : 0;
}

}  // namespace ztk
