#include "torture/faults/board.h"

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "external/rockit.h"
#include "external/ztk_log.h"
#include "torture/faults/interposer.h"
#include "torture/faults/shared_result.h"

namespace ztk::torture {
namespace {

struct MmzBlock {
    void* pMemory;
    std::size_t nLength;
};

constexpr std::size_t kPage = 4096;
std::array<MmzBlock, 64> g_blocks;  // a block's handle is its number in here, from 1 on
std::size_t g_nCapacity = kRoomyMmz;
std::atomic<int> g_nLogLevel{0};

std::size_t UsedBytes() {
    std::size_t nUsed = 0;
    for (const MmzBlock& block : g_blocks)
        nUsed += block.nLength;
    return nUsed;
}

MmzBlock* BlockOf(MB_BLK hBlock) {
    const auto n = reinterpret_cast<std::uintptr_t>(hBlock);
    return n >= 1 && n <= g_blocks.size() && g_blocks.at(n - 1).pMemory != nullptr ? &g_blocks.at(n - 1)
                                                                                   : nullptr;
}

MB_BLK HandleOf(const MmzBlock& block) {
    return reinterpret_cast<MB_BLK>(static_cast<std::uintptr_t>(&block - g_blocks.data() + 1));
}

}  // namespace

void SetMmzCapacity(std::size_t nBytes) {
    g_nCapacity = nBytes;
}

std::size_t CountMmzBlocks() {
    std::size_t nCount = 0;
    for (const MmzBlock& block : g_blocks)
        nCount += block.pMemory != nullptr ? 1 : 0;
    return nCount;
}

void SetLogLevel(int nLevel) {
    g_nLogLevel = nLevel;
}

}  // namespace ztk::torture

using ztk::torture::Call;

ZTK_IN_PLACE_OF_LIBC int32_t RK_MPI_MMZ_Alloc(MB_BLK* pBlk, uint32_t u32Length, uint32_t /*u32Flags*/) {
    if (const auto* pKind = ZTK_DUE(Call::kMmzAlloc)) return pKind->nErrno;
    const ztk::torture::OwnCode ours;
    if (ztk::torture::UsedBytes() + u32Length > ztk::torture::g_nCapacity) return -1;
    for (auto& block : ztk::torture::g_blocks) {
        if (block.pMemory != nullptr) continue;
        const std::size_t nLength =
            (u32Length + ztk::torture::kPage - 1) / ztk::torture::kPage * ztk::torture::kPage;
        block = {aligned_alloc(ztk::torture::kPage, nLength), u32Length};
        *pBlk = ztk::torture::HandleOf(block);
        return 0;
    }
    return -1;
}

ZTK_IN_PLACE_OF_LIBC void* RK_MPI_MMZ_Handle2VirAddr(MB_BLK blk) {
    if (ZTK_DUE(Call::kMmzAddress) != nullptr) return nullptr;
    const auto* pBlock = ztk::torture::BlockOf(blk);
    return pBlock != nullptr ? pBlock->pMemory : nullptr;
}

ZTK_IN_PLACE_OF_LIBC MB_BLK RK_MPI_MMZ_VirAddr2Handle(void* pVirAddr) {
    if (ZTK_DUE(Call::kMmzHandle) != nullptr) return nullptr;
    for (const auto& block : ztk::torture::g_blocks) {
        if (pVirAddr != nullptr && block.pMemory == pVirAddr) return ztk::torture::HandleOf(block);
    }
    return nullptr;
}

ZTK_IN_PLACE_OF_LIBC int32_t RK_MPI_MMZ_Free(MB_BLK blk) {
    if (const auto* pKind = ZTK_DUE(Call::kMmzFree)) return pKind->nErrno;
    const ztk::torture::OwnCode ours;
    auto* pBlock = ztk::torture::BlockOf(blk);
    if (pBlock == nullptr) {
        ztk::torture::NoteResult("WRONG RK_MPI_MMZ_Free: there is no such block");
        return -1;
    }
    free(pBlock->pMemory);
    *pBlock = {nullptr, 0};
    return 0;
}

ZTK_IN_PLACE_OF_LIBC void ZTK_LOG_WriteLog(int level, const char* format, ...) {
    const ztk::torture::OwnCode ours;
    char szLine[4096];
    const int nLevel = std::snprintf(szLine, sizeof(szLine), "%d ", level);
    va_list values;
    va_start(values, format);
    static_cast<void>(
        std::vsnprintf(szLine + nLevel, sizeof(szLine) - static_cast<std::size_t>(nLevel), format, values));
    va_end(values);
    ztk::torture::NoteLogLine(ztk::torture::RoleOfThisThread(), szLine);
}

ZTK_IN_PLACE_OF_LIBC int ZTK_LOG_GetLogLevel(void) {
    return ztk::torture::g_nLogLevel;
}
