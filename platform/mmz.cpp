// Raw blocks of MMZ, the board's physically contiguous media memory. librockit takes 32-bit lengths.
#include "common/log.h"
#include "external/rockit.h"
#include "platform/aligned_place.h"
#include "platform/raw_memory.h"

namespace ztk {
namespace {

bool IsMmzLength(std::uint64_t nSize) {
    return nSize >= 1 && nSize <= UINT32_MAX;
}

std::uint64_t HandleValue(MB_BLK hBlock) {
    return reinterpret_cast<std::uintptr_t>(hBlock);
}

}  // namespace

void* Malloc_MMZ_Q527(std::uint64_t nSize, std::uint64_t* pHandle) {
    if (!IsMmzLength(nSize)) {
        ZTK_LOG_WriteLog(kLogError, PLAIN_LINE("Malloc_MMZ_Q527", 154, "size=%lu"), nSize);
        return nullptr;
    }
    MB_BLK hBlock = nullptr;
    const std::int32_t nRet = RK_MPI_MMZ_Alloc(&hBlock, static_cast<std::uint32_t>(nSize), 0);
    if (nRet < 0) {
        ZTK_LOG_WriteLog(kLogError,
                         PLAIN_LINE("Malloc_MMZ_Q527", 162, "RK_MPI_MMZ_Alloc failed, nRet = %d, size = %lu"),
                         nRet, nSize);
        return nullptr;
    }
    void* pBlock = RK_MPI_MMZ_Handle2VirAddr(hBlock);
    if (pBlock == nullptr) {
        ZTK_LOG_WriteLog(kLogError,
                         PLAIN_LINE("Malloc_MMZ_Q527", 170, "RK_MPI_MMZ_Handle2VirAddr failed, size = %lu"),
                         nSize);
        RK_MPI_MMZ_Free(hBlock);
        return nullptr;
    }
    if (pHandle != nullptr) *pHandle = HandleValue(hBlock);
    return pBlock;
}

void* AlignMalloc_MMZ_Q527(std::uint64_t nSize, std::int32_t nAlign, std::uint64_t* pHandle) {
    if (nAlign < 1 || !IsMmzLength(nSize)) {
        ZTK_LOG_WriteLog(kLogError, PLAIN_LINE("AlignMalloc_MMZ_Q527", 506, "size=%lu, align=%d"), nSize,
                         nAlign);
        return nullptr;
    }
    // Near 4 GiB the length wraps round to a small one, as the board's callers know it.
    const std::uint64_t nTotal = nSize + static_cast<std::uint64_t>(nAlign) + kBackPointerSize;
    MB_BLK hBlock = nullptr;
    const std::int32_t nRet = RK_MPI_MMZ_Alloc(&hBlock, static_cast<std::uint32_t>(nTotal), 0);
    if (nRet < 0) {
        ZTK_LOG_WriteLog(
            kLogError,
            PLAIN_LINE("AlignMalloc_MMZ_Q527", 514, "RK_MPI_MMZ_Alloc failed, nRet = %d, size = %lu"), nRet,
            nTotal);
        return nullptr;
    }
    void* pBlock = RK_MPI_MMZ_Handle2VirAddr(hBlock);
    if (pBlock == nullptr) {
        RK_MPI_MMZ_Free(hBlock);
        return nullptr;
    }
    void* pAligned = PlaceAligned(pBlock, nAlign);
    if (pHandle != nullptr) {
        const auto nOffset = static_cast<char*>(pAligned) - static_cast<char*>(pBlock);
        *pHandle = HandleValue(hBlock) + static_cast<std::uint64_t>(nOffset);
    }
    return pAligned;
}

void Free_MMZ_Q527(void* pAddr) {
    MB_BLK hBlock = RK_MPI_MMZ_VirAddr2Handle(pAddr);
    if (hBlock != nullptr) RK_MPI_MMZ_Free(hBlock);
}

}  // namespace ztk
