#include <fmt/format.h>

#include "log/findings.h"
#include "log/stamp.h"
#include "text.h"

namespace ztkmem::log {

std::string_view NameOf(Pool enPool) {
    return enPool == Pool::kLocal ? "local" : "shared";
}

std::string_view NameOf(Memory enMemory) {
    switch (enMemory) {
        case Memory::kHeap:
            return "heap";
        case Memory::kMmz:
            return "MMZ";
        case Memory::kShared:
            return "shared";
        case Memory::kUntold:
            break;
    }
    return "heap or MMZ";
}

std::string Bytes(std::uint64_t nBytes) {
    constexpr std::uint64_t kKibi = 1024;
    return nBytes < kKibi ? Counted(nBytes, "byte") : HumanBytes(nBytes);
}

std::string Bytes(std::int64_t nBytes) {
    if (nBytes >= 0) return Bytes(static_cast<std::uint64_t>(nBytes));
    return '-' + Bytes(static_cast<std::uint64_t>(-nBytes));
}

std::string Duration(double seconds) {
    if (seconds < 10) return fmt::format("{:.1f} s", seconds);
    if (seconds < 2 * kMinute) return fmt::format("{:.0f} s", seconds);
    if (seconds < 2 * kHour) return fmt::format("{:.0f} min", seconds / kMinute);
    if (seconds < 2 * kDay) return fmt::format("{:.1f} h", seconds / kHour);
    return fmt::format("{:.1f} days", seconds / kDay);
}

}  // namespace ztkmem::log
