// Raw blocks of the C heap. Refused when they would eat into the system's reserve.
#include <cstdlib>

#include "common/log.h"
#include "platform/aligned_place.h"
#include "platform/mem_info.h"
#include "platform/raw_memory.h"

namespace ztk {

void* Malloc_OS(std::uint64_t nSize) {
    if (nSize == 0) {
        ZTK_LOG_WriteLog(kLogError, PLAIN_LINE("Malloc_OS", 112, "size =%lu"), nSize);
        return nullptr;
    }
    const std::uint64_t nAvailable = GetMemAvailable_Linux();
    if (nAvailable < SumOfSizes({nSize, kMemoryReserve})) {
        ZTK_LOG_WriteLog(
            kLogError, PLAIN_LINE("Malloc_OS", 123, "Insufficient OS memory, size=%lu, available size = %lu"),
            nSize, nAvailable);
        return nullptr;
    }
    void* pBlock = std::malloc(nSize);
    if (pBlock == nullptr) {
        ZTK_LOG_WriteLog(kLogError, PLAIN_LINE("Malloc_OS", 133, "malloc Failed, size = %lu"), nSize);
    }
    return pBlock;
}

void* AlignMalloc_OS(std::uint64_t nSize, std::int32_t nAlign) {
    if (nSize == 0 || nAlign <= 0) {
        ZTK_LOG_WriteLog(kLogError, PLAIN_LINE("AlignMalloc_OS", 447, "size =%lu, align = %d"), nSize,
                         nAlign);
        return nullptr;
    }
    const std::uint64_t nTotal = SumOfSizes({nSize, static_cast<std::uint64_t>(nAlign), kBackPointerSize});
    const std::uint64_t nAvailable = GetMemAvailable_Linux();
    if (nAvailable < SumOfSizes({nTotal, kMemoryReserve})) {
        ZTK_LOG_WriteLog(kLogError,
                         PLAIN_LINE("AlignMalloc_OS", 458,
                                    "Insufficient OS memory, size=%lu, align=%d, available size = %lu"),
                         nSize, nAlign, nAvailable);
        return nullptr;
    }
    // NOLINTNEXTLINE(clang-analyzer-optin.portability.UnixAPI): the sum of three numbers above 0 is not 0
    void* pBase = std::malloc(nTotal);
    if (pBase == nullptr) {
        ZTK_LOG_WriteLog(kLogError, PLAIN_LINE("AlignMalloc_OS", 466, "malloc Failed, size = %lu"), nTotal);
        return nullptr;
    }
    return PlaceAligned(pBase, nAlign);
}

void Free_OS(void* pAddr) {
    std::free(pAddr);
}

}  // namespace ztk
