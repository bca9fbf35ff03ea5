// MMZ blocks from the kernel's heap of contiguous memory: that they are contiguous, what happens when there
// is no more, and that all of it comes back. Needs root and /dev/dma_heap with at least 48 MiB.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "tests/board/blocks.h"
#include "tests/board/physical_pages.h"
#include "tests/library/child.h"
#include "tests/library/process_state.h"
#include "tests/library/recorded_log.h"

namespace ztk::test {
namespace {

using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::uint64_t kPiece = 4 * kMiB;

void* Take(std::uint64_t nSize, std::int32_t nAlign = 0, std::int32_t enType = ZTK_MEM_MMZ) {
    void* pBlock = nullptr;
    return AllocateAlignedPoolMemory(nSize, nAlign, enType, &pBlock, nullptr) == ZTK_SUCCESS ? pBlock
                                                                                             : nullptr;
}

std::size_t PiecesOf(void* pBlock, std::uint64_t nSize) {
    TouchFromTheEnd(pBlock, nSize);
    return CountPieces(FramesOf(pBlock, nSize));
}

std::vector<void*> TakeAllThereIs() {
    std::vector<void*> blocks;
    while (void* pBlock = Take(kPiece))
        blocks.push_back(pBlock);
    return blocks;
}

void FreeAll(const std::vector<void*>& blocks) {
    for (void* pBlock : blocks)
        EXPECT_EQ(FreePoolMemory(pBlock), ZTK_SUCCESS);
}

/// What lies behind an address, by the kernel's words.
std::string BackingOf(const void* pBlock) {
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        const auto nStart = std::stoull(line, nullptr, 16);
        const auto nEnd = std::stoull(line.substr(line.find('-') + 1), nullptr, 16);
        const auto nAddress = reinterpret_cast<std::uintptr_t>(pBlock);
        if (nStart <= nAddress && nAddress < nEnd) return line;
    }
    return "not mapped";
}

class Mmz : public testing::Test {
  protected:
    void SetUp() override { RecordedLog::ClearAfterLoad(); }
};

TEST_F(Mmz, EveryBlockIsOnePieceOfPhysicalMemory) {
    for (const std::uint64_t nSize :
         {std::uint64_t{1}, std::uint64_t{4096}, 3UL * 4096 + 1, kMiB, 8 * kMiB + 4, 24 * kMiB}) {
        void* pBlock = Take(nSize);
        ASSERT_NE(pBlock, nullptr) << nSize;
        EXPECT_THAT(BackingOf(pBlock), HasSubstr("dmabuf"));
        EXPECT_EQ(PiecesOf(pBlock, nSize), 1U) << nSize;
        EXPECT_EQ(FreePoolMemory(pBlock), ZTK_SUCCESS);
        GiveIdleBlocksBack();
    }
}

TEST_F(Mmz, AnAlignedBlockIsOnePieceToo) {
    for (const std::int32_t nAlign : {1, 24, 64, 4096, 65536}) {
        void* pBlock = Take(5 * kMiB, nAlign);
        ASSERT_NE(pBlock, nullptr) << nAlign;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(pBlock) % static_cast<std::uintptr_t>(nAlign), 0U);
        EXPECT_EQ(PiecesOf(pBlock, 5 * kMiB), 1U) << nAlign;
        EXPECT_EQ(FreePoolMemory(pBlock), ZTK_SUCCESS);
    }
}

// Controls: the check must not find contiguous what is not.
TEST_F(Mmz, AHeapBlockIsInPieces) {
    void* pBlock = Take(8 * kMiB, 0, ZTK_MEM_OS);
    ASSERT_NE(pBlock, nullptr);
    EXPECT_GT(PiecesOf(pBlock, 8 * kMiB), 1U);
}

TEST_F(Mmz, ASharedBlockIsInPieces) {
    void* pBlock = nullptr;
    ASSERT_EQ(TakeShared(8 * kMiB, &pBlock), ZTK_SUCCESS);
    EXPECT_NE(PiecesOf(pBlock, 8 * kMiB), 1U);
    EXPECT_THAT(FramesOf(pBlock, 8 * kMiB), SizeIs(2048)) << "it was looked at";
}

TEST_F(Mmz, WithoutTheKernelsHeapABlockIsInPieces) {
    ASSERT_EQ(unshare(CLONE_NEWNS), 0);
    ASSERT_EQ(mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
    ASSERT_EQ(mount("tmpfs", "/dev/dma_heap", "tmpfs", 0, nullptr), 0);
    void* pBlock = Take(8 * kMiB);
    ASSERT_NE(pBlock, nullptr);
    EXPECT_THAT(BackingOf(pBlock), HasSubstr("memfd:"));
    EXPECT_GT(PiecesOf(pBlock, 8 * kMiB), 1U);
}

TEST_F(Mmz, AnExhaustedHeapRefusesAfterOneRetry) {
    const std::vector<void*> blocks = TakeAllThereIs();
    ASSERT_THAT(blocks, SizeIs(testing::Gt(8U)));
    for (void* pBlock : blocks)
        EXPECT_EQ(PiecesOf(pBlock, kPiece), 1U);
    EXPECT_THAT(RecordedLog::LinesWith("[Malloc_MMZ_Q527@"),
                Each("4 [Malloc_MMZ_Q527@162]RK_MPI_MMZ_Alloc failed, nRet = -12, size = 4194304"));
    EXPECT_THAT(RecordedLog::LinesWith("[Malloc_MMZ_Q527@"), SizeIs(2)) << "the request and its retry";
    EXPECT_THAT(RecordedLog::LinesWith("[AllocateMemory@142]"), SizeIs(1));
    EXPECT_THAT(RecordedLog::LinesWith("[AllocateMemory@155]"), SizeIs(1));
    EXPECT_NE(Take(kPiece, 0, ZTK_MEM_OS), nullptr) << "the heap is another matter";
    FreeAll(blocks);
}

TEST_F(Mmz, IdleBlocksAreGivenBackSoThatALargerRequestIsMet) {
    FreeAll(TakeAllThereIs());
    RecordedLog::Clear();
    void* pLarge = Take(32 * kMiB);
    ASSERT_NE(pLarge, nullptr);
    EXPECT_THAT(RecordedLog::LinesWith("[Malloc_MMZ_Q527@162]"), SizeIs(1)) << "refused at first";
    EXPECT_THAT(RecordedLog::LinesWith("[AllocateMemory@142]"), SizeIs(1));
    EXPECT_THAT(RecordedLog::LinesWith("[AllocateMemory@155]"), IsEmpty());
    EXPECT_EQ(PiecesOf(pLarge, 32 * kMiB), 1U);
    EXPECT_EQ(FreePoolMemory(pLarge), ZTK_SUCCESS);
}

TEST_F(Mmz, BusyBlocksAreNotGivenBack) {
    std::vector<void*> blocks = TakeAllThereIs();
    ASSERT_THAT(blocks, SizeIs(testing::Gt(8U)));
    EXPECT_EQ(FreePoolMemory(blocks.back()), ZTK_SUCCESS);
    blocks.pop_back();
    for (void* pBlock : blocks)
        *static_cast<unsigned char*>(pBlock) = 'b';
    EXPECT_EQ(Take(32 * kMiB), nullptr);
    for (const void* pBlock : blocks)
        EXPECT_EQ(*static_cast<const unsigned char*>(pBlock), 'b');
    EXPECT_NE(Take(kPiece), nullptr) << "what the idle one held is there again";
    FreeAll(blocks);
}

TEST_F(Mmz, AProcessThatEndsWithBlocksLeavesAWholeHeap) {
    constexpr char kEnding[] = "ZTK_END_WITH_ALL_BLOCKS";
    if (std::getenv(kEnding) != nullptr) _exit(static_cast<int>(TakeAllThereIs().size()));
    ASSERT_EQ(setenv(kEnding, "1", 1), 0);
    const Ending first =
        RunProgram({"/proc/self/exe", "--gtest_filter=Mmz.AProcessThatEndsWithBlocksLeavesAWholeHeap"});
    ASSERT_GT(first.nExitCode, 8);
    EXPECT_EQ(TakeAllThereIs().size(), static_cast<std::size_t>(first.nExitCode));
}

}  // namespace
}  // namespace ztk::test
