#include "platform/raw_memory.h"

#include "platform/aligned_place.h"

namespace ztk {

void* MallocMem(std::uint64_t nSize, std::int32_t enMemType, std::uint64_t* pHandle) {
    switch (enMemType) {
        case kMemTypeOs:
            return Malloc_OS(nSize);
        case kMemTypeMmz:
            return Malloc_MMZ_Q527(nSize, pHandle);
        default:
            return nullptr;
    }
}

void* AlignMallocMem(std::uint64_t nSize, std::int32_t nAlign, std::int32_t enMemType,
                     std::uint64_t* pHandle) {
    switch (enMemType) {
        case kMemTypeOs:
            return AlignMalloc_OS(nSize, nAlign);
        case kMemTypeMmz:
            return AlignMalloc_MMZ_Q527(nSize, nAlign, pHandle);
        default:
            return nullptr;
    }
}

void FreeMem(void* pAddr, std::int32_t enMemType) {
    if (enMemType == kMemTypeOs) {
        Free_OS(pAddr);
    } else if (enMemType == kMemTypeMmz && pAddr != nullptr) {
        Free_MMZ_Q527(pAddr);
    }
}

void AlignFreeMem(void* pAddr, std::int32_t enMemType) {
    if (pAddr == nullptr) return;
    if (enMemType == kMemTypeOs) {
        Free_OS(LoadBackPointer(pAddr));
    } else if (enMemType == kMemTypeMmz) {
        Free_MMZ_Q527(LoadBackPointer(pAddr));
    }
}

}  // namespace ztk
