// The pool of heap and MMZ blocks.
#pragma once

#include <cstdint>

#include "pool/block_pool.h"

namespace ztk {

/// One block that the pool owns.
struct BlockInfo {
    void* pAddr = nullptr;      ///< as handed to the caller
    std::uint64_t nHandle = 0;  ///< of an MMZ block; 0 for a heap block
    std::uint64_t nSize = 0;    ///< as asked for when the block was made; a reuse does not change it
    bool bBusy = false;         ///< true while handed out
    TimeStamp tmLastUse;        ///< of the last hand-out or release
};

inline std::uint64_t AddressOf(const BlockInfo& block) {
    return reinterpret_cast<std::uintptr_t>(block.pAddr);
}
inline TimeStamp& LastUse(BlockInfo& block) {
    return block.tmLastUse;
}
inline const TimeStamp& LastUse(const BlockInfo& block) {
    return block.tmLastUse;
}

/// The list a block lives in. Heap and MMZ blocks, and blocks of different alignments, are never mixed.
struct BlockPlace {
    std::int32_t nAlign = 0;
    std::int32_t nSizeClass = 0;
    std::int32_t enMemType = 0;
};

inline bool operator<(const BlockPlace& a, const BlockPlace& b) {
    if (a.enMemType != b.enMemType) return a.enMemType < b.enMemType;
    return a.nAlign != b.nAlign ? a.nAlign < b.nAlign : a.nSizeClass < b.nSizeClass;
}

class LocalMemoryPool : public BlockPool<LocalMemoryPool, BlockInfo, BlockPlace> {
  public:
    /// Starts the reclaimer. If that fails the pool works without: then only a failing allocation gives idle
    /// blocks back.
    LocalMemoryPool();
    ~LocalMemoryPool();

    /// Hands out a block; an alignment of 0 or less means unaligned. @p pHandle may be null. The outputs are
    /// written on success only. Returns 0 or ERR_NO_MEMORY.
    Status AllocateMemory(std::uint64_t nSize, std::int32_t nAlign, std::int32_t enMemType, void** ppAddr,
                          std::uint64_t* pHandle) ZTK_EXCLUDES(lock_);

    /// Takes a block back and keeps it idle. Returns 0, or ERR_INVALID_PARAM for null or an unknown address.
    Status ReleaseMemory(void* pAddr) ZTK_EXCLUDES(lock_);

    /// Writes the lists of heap and of MMZ blocks to the log. Gives up silently when out of memory.
    void DumpMemoryInfo() ZTK_EXCLUDES(lock_);

  private:
    friend class BlockPool<LocalMemoryPool, BlockInfo, BlockPlace>;

    bool Init();
    bool StartReclaimer();
    static void* FreeUnbusyMemoryThread(void* pPool);

    static BlockInfo NewBlock(std::uint64_t nSize);
    static Status MakeBlock(BlockInfo& block, const BlockPlace& place);
    static void UnmakeBlock(const BlockInfo& block, const BlockPlace& place);
    static bool SurvivesFork(const BlockPlace& place);
    static void Describe(const BlockInfo& block, BlockDump& dump);
    BlockDump DumpOf(const char* szHeading, std::int32_t enMemType) ZTK_REQUIRES_SHARED(lock_);

    static void LogRetry();
    static void LogFailed(Status nStatus, std::uint64_t nSize, const BlockPlace& place);
    static void LogAllocated(const BlockInfo& block);
    static void LogUnknownAddress();
    static void LogFreed(const BlockInfo& block);
    static void LogLimit(std::uint64_t nRedundantSize);
};

}  // namespace ztk
