// The blocks of this process, by handle and by address, and what happened to them so far.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>

#include "external/rockit.h"
#include "standins/board/board.h"
#include "standins/rockit/ztk_rockit_standin.h"

namespace ztk_standin {

/// One lock guards everything; it is held across the system calls too, so a fork, which takes it first,
/// finds every mapping recorded and the lock free in the child.
///
/// Blocks that a process inherited by fork stay in the maps, since a child between fork and exec should not
/// touch the heap, and are passed over because their owner is another process. Their addresses are not
/// reused: they stay mapped.
class BlockRegistry {
  public:
    /// @param pBoard where every block also needs a place in the board's one area; null on a plain desk.
    explicit BlockRegistry(std::uint64_t nCapacity, ztk_board::Board* pBoard = nullptr);

    /// Returns 0 or a negative errno value.
    std::int32_t Allocate(std::uint32_t nLength, MB_BLK* pHandle);
    std::int32_t Free(MB_BLK hBlock);
    void* AddressOf(MB_BLK hBlock);
    MB_BLK HandleAt(void* pAddr);

    ZtkRockitCounters Counters();
    void SetCapacity(std::uint64_t nBytes);

    /// One line on stderr if there are live blocks.
    void ReportLiveBlocks();

    void BeforeFork() { lock_.lock(); }
    void AfterForkInParent() { lock_.unlock(); }
    void AfterForkInChild();

  private:
    struct Block {
        void* pAddr;
        std::size_t nBytes;
        pid_t nOwner;
        std::uint64_t nPlace;  ///< where it starts in the board's area
    };
    using Blocks = std::map<std::uintptr_t, Block>;

    std::int32_t MakeBlock(std::uint32_t nLength, MB_BLK* pHandle);
    std::int32_t MapAndRecord(std::size_t nBytes, std::uint64_t nPlace, MB_BLK* pHandle);
    void GivePlaceBack(std::uint64_t nPlace);
    std::uintptr_t Record(const Block& block);
    Blocks::iterator Find(MB_BLK hBlock);
    [[nodiscard]] bool IsOwn(const Block& block) const { return block.nOwner == owner_; }

    std::mutex lock_;
    Blocks blocks_;
    std::map<void*, std::uintptr_t> handles_;
    ZtkRockitCounters counters_{};
    std::uint64_t capacity_;
    ztk_board::Board* pBoard_;
    std::uintptr_t nextSerial_ = 1;
    pid_t owner_;
};

}  // namespace ztk_standin
