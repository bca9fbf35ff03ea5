#include "fakes/fake_rockit.h"

#include <sys/mman.h>

#include <utility>

#include "external/rockit.h"
#include "support/interception.h"
#include "support/real_calls.h"

extern "C" void* __real_malloc(std::size_t nSize);
extern "C" void __real_free(void* pAddr);
extern "C" void* __real_mmap(void* pHint, std::size_t nLen, int nProtection, int nFlags, int hFile,
                             off_t nOffset);
extern "C" int __real_munmap(void* pAddr, std::size_t nLen);

namespace ztk::test {
namespace {

struct Block {
    void* pAddr;  ///< null: free again
    std::size_t nLength;
};

/// Which call is to fail: counts down; 0: every one; -1: none.
struct Countdown {
    int nLeft = -1;

    bool operator()() {
        if (nLeft > 0 && --nLeft == 0) {
            nLeft = -1;
            return true;
        }
        return nLeft == 0;
    }
};

struct Board {
    RealMutex mutex;
    std::vector<std::string> calls;
    std::vector<Block> blocks;
    Countdown failsAlloc;
    Countdown failsVirAddr;
    std::int32_t nCode = 0;
    bool bGiveNewestAgain = false;
};

Board& TheBoard() {
    static auto* pBoard = new Board;
    return *pBoard;
}

// Small blocks come from the heap, where the sanitizers see an overrun; large ones are only address space.
constexpr std::size_t kLarge = std::size_t{64} << 20U;

void* GetMemory(std::size_t nLength) {
    if (nLength < kLarge) return __real_malloc(nLength);
    return __real_mmap(nullptr, nLength, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE,
                       -1, 0);
}

void GiveBack(Block& block) {
    if (block.nLength < kLarge) {
        __real_free(block.pAddr);
    } else if (block.pAddr != nullptr) {
        __real_munmap(block.pAddr, block.nLength);
    }
    block.pAddr = nullptr;
}

constexpr std::uint64_t kHandleStep = 0x10'0000'0000;

MB_BLK HandleOf(std::size_t nIndex) {
    return reinterpret_cast<MB_BLK>((nIndex + 1) * kHandleStep);
}

/// The index of a block in use, or of none.
std::size_t Find(const Board& board, MB_BLK hBlock) {
    std::size_t i = 0;
    while (i < board.blocks.size() && (HandleOf(i) != hBlock || board.blocks[i].pAddr == nullptr))
        ++i;
    return i;
}

std::string Numbered(const Board& board, std::size_t nIndex) {
    return nIndex < board.blocks.size() ? "h" + std::to_string(nIndex + 1) : "?";
}

}  // namespace

void FakeRockit::Reset() {
    Board& board = TheBoard();
    const std::lock_guard lock(board.mutex);
    for (Block& block : board.blocks)
        GiveBack(block);
    board.blocks.clear();
    board.calls.clear();
    board.failsAlloc = {};
    board.failsVirAddr = {};
}

void FakeRockit::FailAlloc(int nOccurrence, std::int32_t nCode) {
    const std::lock_guard lock(TheBoard().mutex);
    TheBoard().failsAlloc = {nOccurrence};
    TheBoard().nCode = nCode;
}

void FakeRockit::GiveNewestAgain() {
    const std::lock_guard lock(TheBoard().mutex);
    TheBoard().bGiveNewestAgain = true;
}

void FakeRockit::FailVirAddr(int nOccurrence) {
    const std::lock_guard lock(TheBoard().mutex);
    TheBoard().failsVirAddr = {nOccurrence};
}

std::vector<std::string> FakeRockit::Calls() {
    const std::lock_guard lock(TheBoard().mutex);
    return TheBoard().calls;
}

std::size_t FakeRockit::LiveBlocks() {
    const std::lock_guard lock(TheBoard().mutex);
    std::size_t nLive = 0;
    for (const Block& block : TheBoard().blocks)
        nLive += block.pAddr != nullptr ? 1 : 0;
    return nLive;
}

std::uint64_t FakeRockit::HandleValue(int nBlock) {
    return reinterpret_cast<std::uintptr_t>(HandleOf(static_cast<std::size_t>(nBlock) - 1));
}

void* FakeRockit::Address(int nBlock) {
    const std::lock_guard lock(TheBoard().mutex);
    return TheBoard().blocks.at(static_cast<std::size_t>(nBlock) - 1).pAddr;
}

}  // namespace ztk::test

using ztk::test::OwnAllocations;
using ztk::test::TheBoard;

extern "C" {

int32_t RK_MPI_MMZ_Alloc(MB_BLK* pBlk, uint32_t u32Length, uint32_t u32Flags) {
    const OwnAllocations ours;
    auto& board = TheBoard();
    const std::lock_guard lock(board.mutex);
    board.calls.push_back("Alloc " + std::to_string(u32Length) + " flags " + std::to_string(u32Flags));
    const int32_t nResult = board.failsAlloc() ? board.nCode : 0;
    if (nResult < 0) return nResult;
    if (std::exchange(board.bGiveNewestAgain, false)) {
        void* pAgain = std::exchange(board.blocks.back().pAddr, nullptr);
        board.blocks.push_back({pAgain, u32Length});
    } else {
        board.blocks.push_back({ztk::test::GetMemory(u32Length), u32Length});
    }
    *pBlk = ztk::test::HandleOf(board.blocks.size() - 1);
    return nResult;
}

void* RK_MPI_MMZ_Handle2VirAddr(MB_BLK blk) {
    const OwnAllocations ours;
    auto& board = TheBoard();
    const std::lock_guard lock(board.mutex);
    const std::size_t nIndex = Find(board, blk);
    board.calls.push_back("VirAddr " + Numbered(board, nIndex));
    const bool bFails = board.failsVirAddr();
    return bFails || nIndex == board.blocks.size() ? nullptr : board.blocks[nIndex].pAddr;
}

MB_BLK RK_MPI_MMZ_VirAddr2Handle(void* pVirAddr) {
    const OwnAllocations ours;
    auto& board = TheBoard();
    const std::lock_guard lock(board.mutex);
    std::size_t nIndex = 0;
    while (nIndex < board.blocks.size() && (pVirAddr == nullptr || board.blocks[nIndex].pAddr != pVirAddr))
        ++nIndex;
    board.calls.push_back("Handle " + Numbered(board, nIndex));
    return nIndex == board.blocks.size() ? nullptr : ztk::test::HandleOf(nIndex);
}

int32_t RK_MPI_MMZ_Free(MB_BLK blk) {
    const OwnAllocations ours;
    auto& board = TheBoard();
    const std::lock_guard lock(board.mutex);
    const std::size_t nIndex = Find(board, blk);
    board.calls.push_back("Free " + Numbered(board, nIndex));
    if (nIndex == board.blocks.size()) return -1;
    ztk::test::GiveBack(board.blocks[nIndex]);
    return 0;
}

}  // extern "C"
