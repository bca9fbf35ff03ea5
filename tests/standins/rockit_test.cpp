// The stand-in librockit.so through its exported functions, within one process.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <limits>
#include <set>
#include <thread>
#include <vector>

#include "external/rockit.h"
#include "standins/rockit/ztk_rockit_standin.h"
#include "tests/standins/child_process.h"
#include "tests/standins/descriptor_count.h"

namespace {

const auto kPage = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));

ZtkRockitCounters Counters() {
    ZtkRockitCounters counters{};
    ZtkRockitGetCounters(&counters);
    return counters;
}

class CapacityForThisTest {
  public:
    explicit CapacityForThisTest(std::uint64_t nBytes) { ZtkRockitSetCapacity(nBytes); }
    ~CapacityForThisTest() { ZtkRockitSetCapacity(std::uint64_t{256} << 20U); }
    CapacityForThisTest(const CapacityForThisTest&) = delete;
    CapacityForThisTest& operator=(const CapacityForThisTest&) = delete;
};

MB_BLK Alloc(std::uint32_t nLength) {
    MB_BLK hBlock = nullptr;
    return RK_MPI_MMZ_Alloc(&hBlock, nLength, 0) == 0 ? hBlock : nullptr;
}

unsigned char* AddressOf(MB_BLK hBlock) {
    return static_cast<unsigned char*>(RK_MPI_MMZ_Handle2VirAddr(hBlock));
}

MB_BLK Offset(MB_BLK hBlock, std::ptrdiff_t nOffset) {
    return static_cast<char*>(hBlock) + nOffset;
}

TEST(Rockit, ABlockIsZeroedMemoryUpToItsLastPage) {
    MB_BLK hBlock = Alloc(static_cast<std::uint32_t>(kPage + 1));
    ASSERT_NE(hBlock, nullptr);
    unsigned char* pBlock = AddressOf(hBlock);
    ASSERT_NE(pBlock, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(pBlock) % kPage, 0U);
    EXPECT_EQ(std::count(pBlock, pBlock + 2 * kPage, 0), static_cast<std::ptrdiff_t>(2 * kPage));
    std::memset(pBlock, 0xa5, 2 * kPage);
    EXPECT_EQ(pBlock[2 * kPage - 1], 0xa5);
    EXPECT_EQ(RK_MPI_MMZ_Free(hBlock), 0);
}

TEST(Rockit, LengthsAreRoundedUpToPages) {
    const struct {
        std::uint64_t nLength;
        std::uint64_t nBytes;
    } cases[] = {{1, kPage}, {kPage - 1, kPage}, {kPage, kPage}, {kPage + 1, 2 * kPage}};
    for (const auto& c : cases) {
        const std::uint64_t nBefore = Counters().nLiveBytes;
        MB_BLK hBlock = Alloc(static_cast<std::uint32_t>(c.nLength));
        EXPECT_EQ(Counters().nLiveBytes - nBefore, c.nBytes) << c.nLength;
        EXPECT_EQ(RK_MPI_MMZ_Free(hBlock), 0);
        EXPECT_EQ(Counters().nLiveBytes, nBefore);
    }
}

TEST(Rockit, NothingToAllocateOrNoPlaceForTheHandleFails) {
    const ZtkRockitCounters before = Counters();
    MB_BLK hUntouched = &hUntouched;
    EXPECT_LT(RK_MPI_MMZ_Alloc(&hUntouched, 0, 0), 0);
    EXPECT_EQ(hUntouched, &hUntouched);
    EXPECT_LT(RK_MPI_MMZ_Alloc(nullptr, 4096, 0), 0);
    EXPECT_EQ(Counters().nFailedAllocs, before.nFailedAllocs + 2);
    EXPECT_EQ(Counters().nLiveBlocks, before.nLiveBlocks);
    EXPECT_EQ(Counters().nAllocs, before.nAllocs);
}

TEST(Rockit, AHandleIsNeitherNullNorAnAddressNorReissued) {
    std::set<MB_BLK> seen;
    for (int i = 0; i < 100; ++i) {
        MB_BLK hBlock = Alloc(4096);
        ASSERT_NE(hBlock, nullptr);
        EXPECT_NE(hBlock, RK_MPI_MMZ_Handle2VirAddr(hBlock));
        EXPECT_NE(reinterpret_cast<std::uintptr_t>(hBlock) % kPage, 0U);
        EXPECT_TRUE(seen.insert(hBlock).second);
        ASSERT_EQ(RK_MPI_MMZ_Free(hBlock), 0);
    }
}

TEST(Rockit, OnlyAStartAddressLeadsToItsHandle) {
    MB_BLK hBlock = Alloc(3 * 4096);
    unsigned char* pBlock = AddressOf(hBlock);
    EXPECT_EQ(RK_MPI_MMZ_VirAddr2Handle(pBlock), hBlock);
    EXPECT_EQ(RK_MPI_MMZ_VirAddr2Handle(pBlock + 1), nullptr);
    EXPECT_EQ(RK_MPI_MMZ_VirAddr2Handle(pBlock + kPage), nullptr);
    EXPECT_EQ(RK_MPI_MMZ_VirAddr2Handle(nullptr), nullptr);
    EXPECT_EQ(RK_MPI_MMZ_Free(hBlock), 0);
    EXPECT_EQ(RK_MPI_MMZ_VirAddr2Handle(pBlock), nullptr);
}

TEST(Rockit, UnknownHandlesAreRefusedAndCounted) {
    MB_BLK hBlock = Alloc(4096);
    void* pBlock = RK_MPI_MMZ_Handle2VirAddr(hBlock);
    const std::uint64_t nBefore = Counters().nInvalidFrees;
    for (MB_BLK hUnknown : {MB_BLK{nullptr}, MB_BLK{pBlock}, Offset(hBlock, 1), Offset(hBlock, 64),
                            Offset(hBlock, std::numeric_limits<std::int32_t>::max()), Offset(hBlock, -1)}) {
        EXPECT_LT(RK_MPI_MMZ_Free(hUnknown), 0) << hUnknown;
        EXPECT_EQ(RK_MPI_MMZ_Handle2VirAddr(hUnknown), nullptr) << hUnknown;
    }
    EXPECT_EQ(RK_MPI_MMZ_Free(hBlock), 0);
    EXPECT_LT(RK_MPI_MMZ_Free(hBlock), 0);
    EXPECT_EQ(RK_MPI_MMZ_Handle2VirAddr(hBlock), nullptr);
    EXPECT_EQ(Counters().nInvalidFrees, nBefore + 7);
}

// The pools hand out handles with an alignment offset added; such a one must not name a neighbour.
TEST(Rockit, AHandlePlusAnOffsetNeverNamesAnotherBlock) {
    std::vector<MB_BLK> blocks(50);
    for (MB_BLK& hBlock : blocks)
        hBlock = Alloc(4096);
    for (std::ptrdiff_t nOffset = 1; nOffset <= 5000; ++nOffset) {
        ASSERT_EQ(RK_MPI_MMZ_Handle2VirAddr(Offset(blocks.front(), nOffset)), nullptr) << nOffset;
    }
    for (MB_BLK hBlock : blocks)
        EXPECT_EQ(RK_MPI_MMZ_Free(hBlock), 0);
}

TEST(Rockit, CountersFollowTheBlocks) {
    const ZtkRockitCounters before = Counters();
    MB_BLK hFirst = Alloc(static_cast<std::uint32_t>(2 * kPage));
    MB_BLK hSecond = Alloc(static_cast<std::uint32_t>(kPage));
    EXPECT_EQ(Counters().nLiveBlocks, before.nLiveBlocks + 2);
    EXPECT_EQ(Counters().nLiveBytes, before.nLiveBytes + 3 * kPage);
    RK_MPI_MMZ_Free(hFirst);
    RK_MPI_MMZ_Free(hSecond);
    const ZtkRockitCounters after = Counters();
    EXPECT_EQ(after.nLiveBlocks, before.nLiveBlocks);
    EXPECT_EQ(after.nLiveBytes, before.nLiveBytes);
    EXPECT_EQ(after.nPeakBytes, std::max(before.nPeakBytes, before.nLiveBytes + 3 * kPage));
    EXPECT_EQ(after.nAllocs, before.nAllocs + 2);
    EXPECT_EQ(after.nFrees, before.nFrees + 2);
}

TEST(Rockit, CapacityCountsWholePagesAndComesBackWithAFree) {
    ASSERT_EQ(Counters().nLiveBytes, 0U);
    const CapacityForThisTest capacity(3 * kPage);
    const std::uint64_t nFailed = Counters().nFailedAllocs;
    MB_BLK hBlock = Alloc(static_cast<std::uint32_t>(kPage + 1));
    ASSERT_NE(hBlock, nullptr);
    EXPECT_EQ(Alloc(static_cast<std::uint32_t>(kPage + 1)), nullptr);
    MB_BLK hLast = Alloc(static_cast<std::uint32_t>(kPage));
    EXPECT_NE(hLast, nullptr);
    EXPECT_EQ(Alloc(1), nullptr);
    EXPECT_EQ(Counters().nFailedAllocs, nFailed + 2);
    RK_MPI_MMZ_Free(hBlock);
    MB_BLK hAgain = Alloc(1);
    EXPECT_NE(hAgain, nullptr);
    RK_MPI_MMZ_Free(hLast);
    RK_MPI_MMZ_Free(hAgain);
}

TEST(Rockit, ACapacityBelowWhatIsLiveOnlyStopsNewBlocks) {
    MB_BLK hBlock = Alloc(1);
    const CapacityForThisTest capacity(0);
    EXPECT_EQ(Alloc(1), nullptr);
    EXPECT_NE(RK_MPI_MMZ_Handle2VirAddr(hBlock), nullptr);
    EXPECT_EQ(RK_MPI_MMZ_Free(hBlock), 0);
    EXPECT_EQ(Alloc(1), nullptr);
}

TEST(Rockit, TheLargestLengthIsOverTheDefaultCapacity) {
    EXPECT_EQ(Alloc(std::numeric_limits<std::uint32_t>::max()), nullptr);
}

TEST(Rockit, BlocksHoldNoDescriptors) {
    const std::ptrdiff_t nBefore = ztk_test::OpenDescriptors();
    std::vector<MB_BLK> blocks;
    blocks.reserve(10);
    for (int i = 0; i < 10; ++i)
        blocks.push_back(Alloc(4096));
    EXPECT_EQ(ztk_test::OpenDescriptors(), nBefore);
    for (MB_BLK hBlock : blocks)
        EXPECT_EQ(RK_MPI_MMZ_Free(hBlock), 0);
}

// Every thread writes its own mark into its blocks and must find it again.
int ChurnBlocks(unsigned char nMark, int nRounds) {
    int nFaults = 0;
    for (int i = 0; i < nRounds; ++i) {
        MB_BLK hBlock = Alloc(static_cast<std::uint32_t>(1 + (i % 3) * 4096));
        unsigned char* pBlock = AddressOf(hBlock);
        if (pBlock == nullptr) return nFaults + 1;
        *pBlock = nMark;
        if (RK_MPI_MMZ_VirAddr2Handle(pBlock) != hBlock || *pBlock != nMark) ++nFaults;
        if (RK_MPI_MMZ_Free(hBlock) != 0) ++nFaults;
    }
    return nFaults;
}

TEST(Rockit, ThreadsDoNotDisturbEachOther) {
    constexpr int kRounds = 500;
    constexpr unsigned char kThreads = 4;
    const ZtkRockitCounters before = Counters();
    std::atomic<int> nFaults{0};
    std::vector<std::thread> threads;
    for (unsigned char nThread = 0; nThread < kThreads; ++nThread) {
        threads.emplace_back([&nFaults, nThread] { nFaults += ChurnBlocks(nThread, kRounds); });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(nFaults, 0);
    EXPECT_EQ(Counters().nAllocs - before.nAllocs, std::uint64_t{kThreads} * kRounds);
    EXPECT_EQ(Counters().nFrees - before.nFrees, std::uint64_t{kThreads} * kRounds);
    EXPECT_EQ(Counters().nLiveBlocks, before.nLiveBlocks);
}

// In a child every block of its own must work, and its counters must tell of nothing else.
int UseInChild() {
    if (Counters().nAllocs != 0 || Counters().nLiveBytes != 0) return 1;
    if (ChurnBlocks(7, 3) != 0) return 2;
    return Counters().nAllocs == 3 && Counters().nLiveBlocks == 0 ? 0 : 3;
}

TEST(RockitFork, AChildOfABusyProcessCanAllocate) {
    std::atomic<bool> bStop{false};
    std::vector<std::thread> threads;
    threads.reserve(3);
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&bStop] {
            while (!bStop)
                ChurnBlocks(1, 10);
        });
    }
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(ztk_test::RunForked(UseInChild), 0);
    bStop = true;
    for (std::thread& thread : threads)
        thread.join();
}

TEST(RockitFork, AChildSharesItsParentsBlocksButDoesNotOwnThem) {
    MB_BLK hBlock = Alloc(4096);
    unsigned char* pBlock = AddressOf(hBlock);
    *pBlock = 1;
    const ZtkRockitCounters before = Counters();
    EXPECT_EQ(ztk_test::RunForked([&] {
                  if (*pBlock != 1) return 1;
                  *pBlock = 2;
                  if (RK_MPI_MMZ_Handle2VirAddr(hBlock) != nullptr) return 2;
                  if (RK_MPI_MMZ_VirAddr2Handle(pBlock) != nullptr) return 3;
                  if (RK_MPI_MMZ_Free(hBlock) >= 0 || Counters().nInvalidFrees != 1) return 4;
                  MB_BLK hOwn = Alloc(4096);
                  return hOwn != hBlock && AddressOf(hOwn) != pBlock ? 0 : 5;
              }),
              0);
    EXPECT_EQ(*pBlock, 2);
    EXPECT_EQ(RK_MPI_MMZ_VirAddr2Handle(pBlock), hBlock);
    EXPECT_EQ(Counters().nInvalidFrees, before.nInvalidFrees);
    EXPECT_EQ(RK_MPI_MMZ_Free(hBlock), 0);
}

TEST(RockitFork, AChildHasTheWholeCapacityForItself) {
    const CapacityForThisTest capacity(2 * kPage);
    MB_BLK hBlock = Alloc(static_cast<std::uint32_t>(2 * kPage));
    ASSERT_NE(hBlock, nullptr);
    EXPECT_EQ(ztk_test::RunForked([] {
                  MB_BLK hOwn = Alloc(static_cast<std::uint32_t>(2 * kPage));
                  return hOwn != nullptr && Alloc(1) == nullptr ? 0 : 1;
              }),
              0);
    EXPECT_EQ(RK_MPI_MMZ_Free(hBlock), 0);
}

}  // namespace
