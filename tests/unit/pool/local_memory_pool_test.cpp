// What is particular to heap and MMZ blocks.
#include "pool_fixture.h"

namespace ztk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class LocalMemoryPoolTest : public PoolTest<HeapKind> {
  protected:
    void* Obtain(std::int32_t enMemType, std::uint64_t nSize, std::int32_t nAlign,
                 std::uint64_t* pHandle = nullptr) {
        void* pAddr = nullptr;
        EXPECT_EQ(ThePool().AllocateMemory(nSize, nAlign, enMemType, &pAddr, pHandle), ZTK_SUCCESS);
        return pAddr;
    }
    void* ObtainIdle(std::int32_t enMemType, std::uint64_t nSize, std::int32_t nAlign) {
        void* pAddr = Obtain(enMemType, nSize, nAlign);
        EXPECT_EQ(ThePool().ReleaseMemory(pAddr), ZTK_SUCCESS);
        return pAddr;
    }
    static std::string Freed(const void* pAddr, std::uint64_t nSize) {
        return HeapKind::Freed(reinterpret_cast<std::uintptr_t>(pAddr), nSize);
    }
};

constexpr std::int32_t kOs = ZTK_MEM_OS;
constexpr std::int32_t kMmz = ZTK_MEM_MMZ;

// ---- two blocks of one address ---------------------------------------------------------------------

TEST_F(LocalMemoryPoolTest, OfTwinsInOneListTheFirstInListOrderIsReleased) {
    void* pAddr = Obtain(kMmz, 4096, 0);
    FakeRockit::GiveNewestAgain();
    ASSERT_EQ(Obtain(kMmz, 2048, 0), pAddr);
    EXPECT_EQ(ThePool().ReleaseMemory(pAddr), ZTK_SUCCESS);
    EXPECT_EQ(ThePool().RedundantSize(), 2048U);
    EXPECT_EQ(ThePool().ReleaseMemory(pAddr), ZTK_SUCCESS);
    EXPECT_EQ(ThePool().RedundantSize(), 2048U + 2048);
    EXPECT_EQ(Obtain(kMmz, 1024, 0), pAddr);
    EXPECT_EQ(ThePool().RedundantSize(), 2048U) << "the one of 2048 bytes, not its busy twin";
}

TEST_F(LocalMemoryPoolTest, OfTwinsTheFirstInListOrderIsReleasedAlsoIfItIsTheOlder) {
    void* pAddr = Obtain(kMmz, 2048, 0);
    FakeRockit::GiveNewestAgain();  // too short for the next, but nobody writes into it
    ASSERT_EQ(Obtain(kMmz, 4096, 0), pAddr);
    EXPECT_EQ(ThePool().ReleaseMemory(pAddr), ZTK_SUCCESS);
    EXPECT_EQ(ThePool().RedundantSize(), 2048U);
}

TEST_F(LocalMemoryPoolTest, OfTwinsInTwoListsTheNewerIsReleased) {
    void* pAddr = Obtain(kMmz, 25UL << 20U, 0);
    FakeRockit::GiveNewestAgain();
    ASSERT_EQ(Obtain(kMmz, 2048, 0), pAddr);
    EXPECT_EQ(ThePool().ReleaseMemory(pAddr), ZTK_SUCCESS);
    EXPECT_EQ(ThePool().RedundantSize(), 2048U);
}

// ---- handles ---------------------------------------------------------------------------------------

TEST_F(LocalMemoryPoolTest, AHeapBlockHasTheHandleZero) {
    std::uint64_t nHandle = 7;
    Obtain(kOs, 4096, 0, &nHandle);
    EXPECT_EQ(nHandle, 0U);
    nHandle = 7;
    Obtain(kOs, 4096, 64, &nHandle);
    EXPECT_EQ(nHandle, 0U);
}

TEST_F(LocalMemoryPoolTest, AnMmzBlockHasItsBoardHandleAlsoWhenReused) {
    std::uint64_t nHandle = 0;
    void* pAddr = Obtain(kMmz, 4096, 0, &nHandle);
    EXPECT_EQ(nHandle, FakeRockit::HandleValue(1));
    EXPECT_EQ(pAddr, FakeRockit::Address(1));
    ThePool().ReleaseMemory(pAddr);
    nHandle = 0;
    EXPECT_EQ(Obtain(kMmz, 100, 0, &nHandle), pAddr);
    EXPECT_EQ(nHandle, FakeRockit::HandleValue(1));
}

TEST_F(LocalMemoryPoolTest, TheHandleOfAnAlignedMmzBlockIsMovedUpLikeItsAddress) {
    std::uint64_t nHandle = 0;
    const void* pAddr = Obtain(kMmz, 4096, 4096, &nHandle);
    const auto nOffset = static_cast<std::uint64_t>(static_cast<const char*>(pAddr) -
                                                    static_cast<const char*>(FakeRockit::Address(1)));
    EXPECT_GE(nOffset, 8U);
    EXPECT_EQ(nHandle, FakeRockit::HandleValue(1) + nOffset);
}

TEST_F(LocalMemoryPoolTest, TheHandleMayBeLeftOut) {
    void* pAddr = ObtainIdle(kMmz, 4096, 0);
    EXPECT_EQ(Obtain(kMmz, 4096, 0), pAddr);
}

// ---- memory types ----------------------------------------------------------------------------------

TEST_F(LocalMemoryPoolTest, HeapAndMmzBlocksAreNeverMixed) {
    void* pHeap = ObtainIdle(kOs, 4096, 0);
    void* pMmz = ObtainIdle(kMmz, 4096, 0);
    EXPECT_NE(pHeap, pMmz);
    EXPECT_EQ(ThePool().RedundantSize(), 8192U);
    EXPECT_EQ(Obtain(kMmz, 4096, 0), pMmz);
    EXPECT_EQ(Obtain(kOs, 4096, 0), pHeap);
    EXPECT_EQ(ThePool().RedundantSize(), 0U);
}

TEST_F(LocalMemoryPoolTest, IdleBlocksAreGivenBackByTypeThenAlignmentThenSize) {
    const void* pMmz = ObtainIdle(kMmz, 4096, 0);
    const void* pMmzNegative = ObtainIdle(kMmz, 4096, -1);
    const void* pHeapBy64 = ObtainIdle(kOs, 4096, 64);
    const void* pHeap = ObtainIdle(kOs, 8192, 0);
    ClearLog();
    FreeUnbusy(ThePool(), 0);
    EXPECT_THAT(TakeLog(), ElementsAre(Freed(pHeap, 8192), Freed(pHeapBy64, 4096), Freed(pMmzNegative, 4096),
                                       Freed(pMmz, 4096)));
}

TEST_F(LocalMemoryPoolTest, EachMmzBlockIsGivenBackFromItsOwnStart) {
    Obtain(kMmz, 4096, 0);
    const void* pPlain = ObtainIdle(kMmz, 8192, 0);
    const void* pAligned = ObtainIdle(kMmz, 4096, 64);
    ASSERT_NE(pAligned, FakeRockit::Address(3));
    const std::size_t nCallsBefore = FakeRockit::Calls().size();
    ClearLog();
    FreeUnbusy(ThePool(), 0);
    const auto calls = FakeRockit::Calls();
    EXPECT_THAT(std::vector(calls.begin() + static_cast<std::ptrdiff_t>(nCallsBefore), calls.end()),
                ElementsAre("Handle h2", "Free h2", "Handle h3", "Free h3"));
    EXPECT_THAT(TakeLog(), ElementsAre(Freed(pPlain, 8192), Freed(pAligned, 4096)));
}

TEST_F(LocalMemoryPoolTest, TheTeardownGivesEachMmzBlockBackFromItsOwnStart) {
    Obtain(kMmz, 4096, 64);
    ObtainIdle(kMmz, 8192, 0);
    const std::size_t nCallsBefore = FakeRockit::Calls().size();
    pool_.reset();
    const auto calls = FakeRockit::Calls();
    EXPECT_THAT(std::vector(calls.begin() + static_cast<std::ptrdiff_t>(nCallsBefore), calls.end()),
                ElementsAre("Handle h2", "Free h2", "Handle h1", "Free h1"));
}

TEST_F(LocalMemoryPoolTest, AShortageOfOneTypeFlushesTheOtherToo) {
    const void* pMmz = ObtainIdle(kMmz, 4096, 0);
    ClearLog();
    HeapKind::FailMaking(1);
    const void* pHeap = Obtain(kOs, 4096, 0);
    EXPECT_THAT(TakeLog(), ElementsAre(HeapKind::MakingFailed(4096, 0), HeapKind::Retry(), Freed(pMmz, 4096),
                                       HeapKind::Allocated(reinterpret_cast<std::uintptr_t>(pHeap), 4096)));
    EXPECT_EQ(FakeRockit::LiveBlocks(), 0U);
}

class UnknownMemoryTypeTest : public LocalMemoryPoolTest,
                              public ::testing::WithParamInterface<std::int32_t> {};

TEST_P(UnknownMemoryTypeTest, IsRefusedAfterEveryIdleBlockWasGivenBack) {
    const std::int32_t enMemType = GetParam();
    const void* pHeap = ObtainIdle(kOs, 4096, 0);
    const void* pMmz = ObtainIdle(kMmz, 8192, 64);
    void* pBusy = Obtain(kOs, 4096, 64);
    const std::string type = std::to_string(enMemType);
    for (const std::int32_t nAlign : {0, 64}) {
        ClearLog();
        void* pAddr = &pBusy;
        std::uint64_t nHandle = 7;
        EXPECT_EQ(ThePool().AllocateMemory(4096, nAlign, enMemType, &pAddr, &nHandle), ERR_NO_MEMORY);
        EXPECT_EQ(pAddr, &pBusy);
        EXPECT_EQ(nHandle, 7U);
        Lines expected{HeapKind::Retry()};
        if (nAlign == 0) expected.insert(expected.end(), {Freed(pHeap, 4096), Freed(pMmz, 8192)});
        expected.push_back(
            Tagged(4, "AllocateMemory", 155,
                   "Allocate memory failed, size=4096, align=" + std::to_string(nAlign) + ", plat=" + type));
        EXPECT_EQ(TakeLog(), expected);
    }
    EXPECT_EQ(ThePool().RedundantSize(), 0U);
    EXPECT_EQ(ThePool().ReleaseMemory(pBusy), ZTK_SUCCESS);
}

INSTANTIATE_TEST_SUITE_P(Types, UnknownMemoryTypeTest, ::testing::Values(2, -1, INT32_MAX, INT32_MIN));

// ---- the limit with real sizes -----------------------------------------------------------------------

TEST_F(LocalMemoryPoolTest, OfFourHundredMegabytesThoseIdleForTenSecondsStay) {
    std::vector<void*> blocks;
    for (int i = 0; i < 4; ++i)
        blocks.push_back(Obtain(kMmz, 100 * kMiB, 0));
    for (int i = 0; i < 3; ++i)
        ThePool().ReleaseMemory(blocks[static_cast<std::size_t>(i)]);
    time_.Advance(std::chrono::seconds(50));
    ThePool().ReleaseMemory(blocks[3]);
    ClearLog();
    time_.Advance(std::chrono::seconds(10));
    EXPECT_EQ(Log().front(), HeapKind::Limit(400 * kMiB));
    EXPECT_EQ(Of({"FreeUnbusyMemory"}, Log()).size(), 3U);
    EXPECT_EQ(ThePool().RedundantSize(), 100 * kMiB);
    EXPECT_EQ(Obtain(kMmz, 100 * kMiB, 0), blocks[3]);
}

TEST_F(LocalMemoryPoolTest, HeapAndMmzCountTowardsTheSameLimit) {
    const void* pHeap = ObtainIdle(kOs, 200 * kMiB, 0);
    const void* pMmz = ObtainIdle(kMmz, 100 * kMiB + 1, 0);
    ClearLog();
    time_.Advance(std::chrono::minutes(1));
    EXPECT_THAT(TakeLog(), ElementsAre(HeapKind::Limit(300 * kMiB + 1), Freed(pHeap, 200 * kMiB),
                                       Freed(pMmz, 100 * kMiB + 1)));
}

// ---- what the system refuses -----------------------------------------------------------------------

TEST_F(LocalMemoryPoolTest, AHeapBlockMustLeaveTheReserve) {
    constexpr std::uint64_t kReserve = 367'001'600;
    const AvailableMemory memory(kReserve + 4096);
    void* pAddr = Obtain(kOs, 4096, 0);
    ClearLog();
    EXPECT_EQ(ThePool().AllocateMemory(4097, 0, kOs, &pAddr, nullptr), ERR_NO_MEMORY);
    const std::string refused =
        Plain(4, "Malloc_OS", 123, "Insufficient OS memory, size=4097, available size = 367005696");
    EXPECT_THAT(TakeLog(), ElementsAre(refused, HeapKind::Retry(), refused, HeapKind::Failed(4097, 0)));
}

TEST_F(LocalMemoryPoolTest, AReuseIsNotMeasuredAgainstTheReserve) {
    void* pAddr = ObtainIdle(kOs, 4096, 0);
    const AvailableMemory memory(0);
    EXPECT_EQ(Obtain(kOs, 4096, 0), pAddr);
}

TEST_F(LocalMemoryPoolTest, AnMmzBlockIsNotMeasuredAgainstTheReserve) {
    const AvailableMemory memory(0);
    EXPECT_NE(Obtain(kMmz, 4096, 0), nullptr);
}

TEST_F(LocalMemoryPoolTest, AnMmzBlockThatHasNoAddressIsGivenBackAndRetried) {
    FakeRockit::FailVirAddr(1);
    const void* pAddr = Obtain(kMmz, 4096, 0);
    EXPECT_THAT(FakeRockit::Calls(), ElementsAre("Alloc 4096 flags 0", "VirAddr h1", "Free h1",
                                                 "Alloc 4096 flags 0", "VirAddr h2"));
    EXPECT_THAT(
        TakeLog(),
        ElementsAre(Plain(4, "Malloc_MMZ_Q527", 170, "RK_MPI_MMZ_Handle2VirAddr failed, size = 4096"),
                    HeapKind::Retry(), HeapKind::Allocated(reinterpret_cast<std::uintptr_t>(pAddr), 4096)));
}

TEST_F(LocalMemoryPoolTest, AnMmzBlockOfFourGigabytesIsRefusedWithoutAskingTheBoard) {
    void* pAddr = nullptr;
    EXPECT_EQ(ThePool().AllocateMemory(0x100000000, 0, kMmz, &pAddr, nullptr), ERR_NO_MEMORY);
    EXPECT_THAT(FakeRockit::Calls(), IsEmpty());
    const std::string refused = Plain(4, "Malloc_MMZ_Q527", 154, "size=4294967296");
    EXPECT_THAT(TakeLog(), ElementsAre(refused, HeapKind::Retry(), refused, MmzKind::Failed(0x100000000, 0)));
}

TEST_F(LocalMemoryPoolTest, AnUnreadableMemoryFigureIsAFailureLikeAnyOther) {
    // Out of memory below the pool: the figure counts as 0, and the retry reads it again.
    const AvailableMemory memory(0);
    void* pAddr = nullptr;
    EXPECT_EQ(ThePool().AllocateMemory(4096, 0, kOs, &pAddr, nullptr), ERR_NO_MEMORY);
    const std::string refused =
        Plain(4, "Malloc_OS", 123, "Insufficient OS memory, size=4096, available size = 0");
    EXPECT_THAT(TakeLog(), ElementsAre(refused, HeapKind::Retry(), refused, HeapKind::Failed(4096, 0)));
}

}  // namespace
}  // namespace ztk::test
