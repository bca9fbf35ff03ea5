#include "record/record_words.h"

#include <fmt/format.h>

#include <algorithm>

#include "common/ztk_common.h"
#include "text.h"

namespace ztkmem::record {

const char* NameOf(Kind enKind) {
    switch (enKind) {
        case Kind::kHeap:
            return "heap";
        case Kind::kMmz:
            return "MMZ";
        case Kind::kShared:
            return "shared";
        case Kind::kOther:
            break;
    }
    return "no kind";
}

std::string ClassName(std::int32_t nClass) {
    if (nClass == 0) return "below 20M";
    if (nClass == 1) return "20M to 50M";
    const std::uint64_t nTo = static_cast<std::uint64_t>(std::max(nClass, 1)) * 50;
    if (nTo > 10240) return "from " + HumanBytes((nTo - 50) << 20U);
    return fmt::format("{}M to {}M", nTo - 50, nTo);
}

std::string ShelfName(const Shelf& shelf) {
    return fmt::format("{} {}", NameOf(shelf.enKind), ClassName(shelf.nClass));
}

const char* NameOf(Operation enOperation) {
    switch (enOperation) {
        case Operation::kAllocate:
            return "AllocatePoolMemory";
        case Operation::kAllocateAligned:
            return "AllocateAlignedPoolMemory";
        case Operation::kAllocateShared:
            return "AllocatePoolSharedMemory";
        case Operation::kRelease:
            return "FreePoolMemory";
        case Operation::kReleaseShared:
            return "FreePoolSharedMemory";
        case Operation::kGiveBack:
        case Operation::kGiveBackShared:
            return "given back to the system";
        case Operation::kUnload:
            break;
    }
    return "unloaded";
}

std::string Seconds(std::uint64_t nNs) {
    return fmt::format("{:.3f} s", static_cast<double>(nNs) / 1e9);
}

std::string StatusName(std::uint32_t nStatus) {
    if (nStatus == ZTK_SUCCESS) return "ZTK_SUCCESS";
    if (nStatus == ERR_NO_MEMORY) return "ERR_NO_MEMORY";
    if (nStatus == ERR_INVALID_PARAM) return "ERR_INVALID_PARAM";
    return fmt::format("{:#x}", nStatus);
}

std::string Percent(std::uint64_t nPart, std::uint64_t nWhole) {
    if (nWhole == 0) return "-";
    return fmt::format("{:.1f}%", 100.0 * static_cast<double>(nPart) / static_cast<double>(nWhole));
}

}  // namespace ztkmem::record
