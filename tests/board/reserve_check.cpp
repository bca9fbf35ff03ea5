// The reserve of 350 MiB on a machine that has little more than that: no file covers /proc/meminfo here, the
// memory is really there or not. Border is for boards with little more than the reserve, BelowTheReserve for
// one with less.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "support/private_shm.h"
#include "tests/board/blocks.h"
#include "tests/board/physical_pages.h"
#include "tests/library/recorded_log.h"

namespace ztk::test {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

constexpr std::uint64_t kReserve = 350 * kMiB;
/// What the kernel's figure moves by itself while a test looks at it.
constexpr std::uint64_t kUnrest = kMiB;

std::uint32_t Heap(std::uint64_t nSize, void** ppBlock, std::int32_t nAlign = 0) {
    return AllocateAlignedPoolMemory(nSize, nAlign, ZTK_MEM_OS, ppBlock, nullptr);
}

class Border : public testing::Test {
  protected:
    void SetUp() override {
        RecordedLog::ClearAfterLoad();
        const std::uint64_t nAvailable = GetAvailableOSSize();
        ASSERT_GT(nAvailable, kReserve + 4 * kMiB) << "too small a board for this";
        ASSERT_LT(nAvailable, kReserve + 100 * kMiB) << "too large a board for this";
        nRoom_ = nAvailable - kReserve;
        RecordedLog::Clear();
    }

    /// Takes blocks until there is no room for 4 MiB more. Heap blocks take memory when they are written.
    static std::vector<void*> FillUp(std::uint32_t (*take)(void**)) {
        std::vector<void*> blocks;
        void* pBlock = nullptr;
        while (GetAvailableOSSize() > kReserve + 3 * kMiB && take(&pBlock) == ZTK_SUCCESS)
            blocks.push_back(pBlock);
        return blocks;
    }
    static std::uint32_t WrittenHeap(void** ppBlock) {
        const std::uint32_t nStatus = Heap(kMiB, ppBlock);
        if (nStatus == ZTK_SUCCESS) TouchFromTheEnd(*ppBlock, kMiB);
        return nStatus;
    }
    static std::uint32_t UntouchedShared(void** ppBlock) { return TakeShared(kMiB, ppBlock); }

    std::uint64_t nRoom_ = 0;
    void* pBlock_ = nullptr;
};

TEST_F(Border, ARequestThatLeavesTheReserveIsMet) {
    EXPECT_EQ(Heap(nRoom_ - kUnrest, &pBlock_), ZTK_SUCCESS);
}

TEST_F(Border, ARequestThatWouldNotIsRefusedWithTheFigureInTheLog) {
    EXPECT_EQ(Heap(nRoom_ + kUnrest, &pBlock_), ERR_NO_MEMORY);
    const auto lines = RecordedLog::LinesWith("[Malloc_OS@123]Insufficient OS memory, ");
    ASSERT_THAT(lines, SizeIs(2)) << "the request and its retry";
    const std::string figure = "available size = ";
    const auto nSaid = std::strtoull(lines[0].c_str() + lines[0].find(figure) + figure.size(), nullptr, 10);
    EXPECT_NEAR(static_cast<double>(nSaid), static_cast<double>(kReserve + nRoom_), kUnrest);
}

TEST_F(Border, SharedBlocksHaveTheSameBorder) {
    EXPECT_EQ(TakeShared(nRoom_ + kUnrest, &pBlock_), ERR_NO_MEMORY);
    EXPECT_EQ(TakeShared(nRoom_ - kUnrest, &pBlock_), ZTK_SUCCESS);
}

TEST_F(Border, MemoryThatIsInUseIsNoLongerAvailable) {
    ASSERT_EQ(Heap(nRoom_ - kUnrest, &pBlock_), ZTK_SUCCESS);
    EXPECT_EQ(Heap(nRoom_ - kUnrest, &pBlock_, 64), ZTK_SUCCESS)
        << "a block that was never written to takes none";
    FillUp(WrittenHeap);
    EXPECT_EQ(Heap(4 * kMiB, &pBlock_, 64), ERR_NO_MEMORY);
    EXPECT_GT(GetAvailableOSSize(), kReserve - kUnrest) << "what the reserve is for";
}

TEST_F(Border, IdleMemoryIsGivenBackForARequestOfAnotherKind) {
    for (void* pBlock : FillUp(WrittenHeap))
        ASSERT_EQ(FreePoolMemory(pBlock), ZTK_SUCCESS);
    RecordedLog::Clear();
    EXPECT_EQ(Heap(4 * kMiB, &pBlock_, 64), ZTK_SUCCESS);
    EXPECT_THAT(RecordedLog::LinesWith("[AlignMalloc_OS@458]Insufficient OS memory"), SizeIs(1))
        << "at first";
    EXPECT_THAT(RecordedLog::LinesWith("[AllocateMemory@142]"), SizeIs(1));
    EXPECT_THAT(RecordedLog::LinesWith("[AllocateMemory@155]"), IsEmpty());
}

TEST_F(Border, SharedMemoryCountsAsItIsMadeAndComesBackWhenItGoes) {
    const std::vector<void*> blocks = FillUp(UntouchedShared);
    EXPECT_THAT(blocks, SizeIs(testing::Le(nRoom_ / kMiB + 8))) << "pages are taken, written or not";
    EXPECT_EQ(TakeShared(4 * kMiB, &pBlock_), ERR_NO_MEMORY);
    for (void* pBlock : blocks)
        ASSERT_EQ(FreePoolSharedMemory(pBlock), ZTK_SUCCESS);
    RecordedLog::Clear();
    EXPECT_EQ(TakeShared((blocks.size() - 1) * kMiB, &pBlock_), ZTK_SUCCESS);
    EXPECT_THAT(RecordedLog::LinesWith("[AllocateMemory@161]"), SizeIs(1)) << "refused at first";
}

TEST_F(Border, MmzIsNotMeasuredAgainstTheReserve) {
    FillUp(WrittenHeap);
    EXPECT_EQ(Heap(4 * kMiB, &pBlock_), ERR_NO_MEMORY);
    void* pMmz = nullptr;
    EXPECT_EQ(AllocatePoolMemory(8 * kMiB, ZTK_MEM_MMZ, &pMmz, nullptr), ZTK_SUCCESS);
}

TEST(BelowTheReserve, NoHeapAndNoSharedBlockIsMade) {
    ASSERT_LT(GetAvailableOSSize(), kReserve) << "too large a board for this";
    void* pBlock = nullptr;
    EXPECT_EQ(Heap(1, &pBlock), ERR_NO_MEMORY);
    EXPECT_EQ(Heap(1, &pBlock, 64), ERR_NO_MEMORY);
    EXPECT_EQ(TakeShared(ZTK_SHARED_HEADER_SIZE, &pBlock), ERR_NO_MEMORY);
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

TEST(BelowTheReserve, MmzBlocksAreMade) {
    ASSERT_LT(GetAvailableOSSize(), kReserve) << "too large a board for this";
    void* pBlock = nullptr;
    EXPECT_EQ(AllocatePoolMemory(8 * kMiB, ZTK_MEM_MMZ, &pBlock, nullptr), ZTK_SUCCESS);
    EXPECT_EQ(FreePoolMemory(pBlock), ZTK_SUCCESS);
}

}  // namespace
}  // namespace ztk::test
