// The pool of named shared-memory blocks. Every block is one segment (see shared_segment.h).
#pragma once

#include <cstdint>

#include "pool/block_pool.h"
#include "pool/shared_segment.h"

namespace ztk {

/// One segment that the pool owns.
struct SharedMemoryBlock {
    std::uint64_t pAddr = 0;  ///< as handed to the caller: the segment's start, or the aligned address in it
    std::uint64_t nSize = 0;  ///< as asked for when the segment was made; a reuse does not change it
    bool bBusy = false;       ///< true while handed out
    TimeStamp tsLastTime;     ///< of the last hand-out or release
    std::uint32_t hOsMapping = 0;  ///< kNoOsMapping: none
    char szName[ZTK_SHARED_NAME_SIZE] = {};
};

inline std::uint64_t AddressOf(const SharedMemoryBlock& block) {
    return block.pAddr;
}
inline TimeStamp& LastUse(SharedMemoryBlock& block) {
    return block.tsLastTime;
}
inline const TimeStamp& LastUse(const SharedMemoryBlock& block) {
    return block.tsLastTime;
}

/// The list a block lives in.
struct BlockLocation {
    std::int32_t nAlign = 0;
    std::int32_t nSizeClass = 0;
};

inline bool operator<(const BlockLocation& a, const BlockLocation& b) {
    return a.nAlign != b.nAlign ? a.nAlign < b.nAlign : a.nSizeClass < b.nSizeClass;
}

class SharedMemoryPool : public BlockPool<SharedMemoryPool, SharedMemoryBlock, BlockLocation> {
  public:
    /// Removes the segments of dead processes, then starts the reclaimer. If that fails the pool works
    /// without.
    SharedMemoryPool();
    ~SharedMemoryPool();

    /// Hands out a block and its name; an alignment of 0 or less means unaligned. @p pszName takes
    /// ZTK_SHARED_NAME_SIZE characters and is not checked. The outputs are written on success only. Returns
    /// 0 or ERR_NO_MEMORY.
    Status AllocateMemory(std::uint64_t nSize, std::int32_t nAlign, std::uint64_t* pAddr, char* pszName)
        ZTK_EXCLUDES(lock_);

    /// Takes a block back and keeps it idle, mapped and named. Returns 0, or ERR_INVALID_PARAM for 0 or an
    /// unknown address.
    Status ReleaseMemory(std::uint64_t pAddr) ZTK_EXCLUDES(lock_);

    /// Writes the list of blocks to the log. Gives up silently when out of memory.
    void DumpMemoryInfo() ZTK_EXCLUDES(lock_);

  private:
    friend class BlockPool<SharedMemoryPool, SharedMemoryBlock, BlockLocation>;

    bool Init();
    bool StartReclaimer();
    static void* FreeUnbusySharedMemoryThread(void* pPool);

    static SharedMemoryBlock NewBlock(std::uint64_t nSize);
    static Status MakeBlock(SharedMemoryBlock& block, const BlockLocation& location);
    static void UnmakeBlock(const SharedMemoryBlock& block, const BlockLocation& location);
    static bool SurvivesFork(const BlockLocation& location);
    static void Describe(const SharedMemoryBlock& block, BlockDump& dump);

    static void LogRetry();
    static void LogFailed(Status nStatus, std::uint64_t nSize, const BlockLocation& location);
    static void LogAllocated(const SharedMemoryBlock& block);
    static void LogUnknownAddress();
    static void LogFreed(const SharedMemoryBlock& block);
    static void LogLimit(std::uint64_t nRedundantSize);
};

}  // namespace ztk
