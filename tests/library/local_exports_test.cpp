// Heap and MMZ memory through the exports, with every line that is written on the way.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <string>

#include "tests/library/library.h"
#include "tests/library/recorded_log.h"
#include "tests/library/test_board.h"

namespace ztk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

constexpr uint64_t kAllOnes = UINT64_MAX;
constexpr char kRetry[] =
    "4 [AllocateMemory@142][ZtkCommon] Insufficient memory, free all unbusy block(s) and try again";

std::string AddressText(const void* pAddr) {
    char szText[32];
    std::snprintf(szText, sizeof(szText), "%p", pAddr);
    return szText;
}

uint64_t Number(const void* pAddr) {
    return reinterpret_cast<uintptr_t>(pAddr);
}

class LocalExports : public testing::Test {
  protected:
    LocalExports() {
        TestRockitFailAllocs(0);
        RecordedLog::ClearAfterLoad();
    }

    void* Allocate(uint64_t nSize, int32_t nAlign = 0, int32_t enMemType = ZTK_MEM_OS) {
        void* pAddr = nullptr;
        EXPECT_EQ(lib_.AllocateAlignedPoolMemory(nSize, nAlign, enMemType, &pAddr, nullptr), ZTK_SUCCESS);
        return pAddr;
    }

    void Free(void* pAddr) { EXPECT_EQ(lib_.FreePoolMemory(pAddr), ZTK_SUCCESS); }

    /// The address of a block that is idle again.
    void* Idle(uint64_t nSize, int32_t nAlign = 0, int32_t enMemType = ZTK_MEM_OS) {
        void* pAddr = Allocate(nSize, nAlign, enMemType);
        Free(pAddr);
        return pAddr;
    }

    /// A refused request writes neither output.
    void ExpectRefused(uint64_t nSize, int32_t nAlign, int32_t enMemType) {
        void* pAddr = this;
        uint64_t nHandle = 77;
        EXPECT_EQ(lib_.AllocateAlignedPoolMemory(nSize, nAlign, enMemType, &pAddr, &nHandle), ERR_NO_MEMORY);
        EXPECT_EQ(pAddr, this);
        EXPECT_EQ(nHandle, 77U);
    }

    Library lib_;
};

TEST_F(LocalExports, NullForTheAddressIsRefusedWithoutALine) {
    uint64_t nHandle = 77;
    EXPECT_EQ(lib_.AllocatePoolMemory(4096, ZTK_MEM_OS, nullptr, &nHandle), ERR_INVALID_PARAM);
    EXPECT_EQ(lib_.AllocateAlignedPoolMemory(4096, 64, ZTK_MEM_OS, nullptr, &nHandle), ERR_INVALID_PARAM);
    EXPECT_EQ(nHandle, 77U);
    EXPECT_THAT(RecordedLog::Lines(), IsEmpty());
}

TEST_F(LocalExports, ANewHeapBlockWithoutAHandleAsked) {
    void* pAddr = nullptr;
    EXPECT_EQ(lib_.AllocatePoolMemory(4096, ZTK_MEM_OS, &pAddr, nullptr), ZTK_SUCCESS);
    EXPECT_THAT(RecordedLog::Lines(),
                ElementsAre("0 [AllocatePoolMemory@72][ZtkCommon] AllocatePoolMemory()",
                            "1 [AllocateMemory@160][ZtkCommon] Allocate system memory addr=" +
                                AddressText(pAddr) + ", size=4096",
                            "0 [AllocatePoolMemory@74][ZtkCommon] Allocate memory return 0, nSize = 4096, "
                            "enMemType=0"));
}

TEST_F(LocalExports, AReusedBlockWritesTheExportsLinesOnly) {
    void* pAddr = Idle(4096, 64);
    RecordedLog::Clear();
    EXPECT_EQ(Allocate(4000, 64), pAddr);
    EXPECT_THAT(RecordedLog::Lines(),
                ElementsAre("0 [AllocateAlignedPoolMemory@45][ZtkCommon] AllocateAlignedPoolMemory()",
                            "0 [AllocateAlignedPoolMemory@47][ZtkCommon] Allocate align memory return 0, "
                            "nSize = 4000, nAlign = 64, enMemType=0"));
}

TEST_F(LocalExports, HandlesAreZeroForHeapAndRockitsForMmz) {
    void* pAddr = nullptr;
    uint64_t nHandle = 77;
    EXPECT_EQ(lib_.AllocatePoolMemory(4096, ZTK_MEM_OS, &pAddr, &nHandle), ZTK_SUCCESS);
    EXPECT_EQ(nHandle, 0U);
    EXPECT_EQ(lib_.AllocatePoolMemory(4096, ZTK_MEM_MMZ, &pAddr, &nHandle), ZTK_SUCCESS);
    EXPECT_EQ(nHandle, Number(pAddr)) << "this board's handles are addresses";
    EXPECT_EQ(lib_.AllocateAlignedPoolMemory(4096, 24, ZTK_MEM_MMZ, &pAddr, &nHandle), ZTK_SUCCESS);
    EXPECT_EQ(nHandle, Number(pAddr)) << "the block's handle, moved up with the address";
    EXPECT_EQ(Number(pAddr) % 24, 0U);
}

TEST_F(LocalExports, BlocksAreReusedWithinTheToleranceOfTheirClass) {
    void* pTenMiB = Idle(10 * kMiB);
    EXPECT_EQ(Allocate(1 * kMiB), pTenMiB);
    void* pFortyMiB = Idle(40 * kMiB);
    EXPECT_NE(Allocate(19 * kMiB), pFortyMiB) << "another size class";
    EXPECT_EQ(Allocate(21 * kMiB), pFortyMiB);
    void* pLarge = Idle(149 * kMiB);
    EXPECT_NE(Allocate(100 * kMiB), pLarge) << "more than 30 MiB larger";
}

TEST_F(LocalExports, BlocksArePooledByExactAlignmentAndType) {
    void* pUnaligned = Idle(4096, 0);
    void* p64 = Idle(4096, 64);
    void* pNegative = Idle(4096, -8);
    void* pMmz = Idle(4096, 0, ZTK_MEM_MMZ);
    EXPECT_NE(Allocate(4096, 32), p64);
    EXPECT_EQ(Allocate(4096, -8), pNegative) << "unaligned, but in a group of its own";
    void* pAddr = nullptr;
    EXPECT_EQ(lib_.AllocatePoolMemory(4096, ZTK_MEM_OS, &pAddr, nullptr), ZTK_SUCCESS);
    EXPECT_EQ(pAddr, pUnaligned) << "an alignment of 0 is no alignment";
    EXPECT_NE(Allocate(4096, 0), p64);
    EXPECT_EQ(Allocate(4096, 0, ZTK_MEM_MMZ), pMmz);
    EXPECT_EQ(Allocate(4096, 64), p64);
}

TEST_F(LocalExports, EveryPositiveAlignmentIsHonoured) {
    for (const int32_t nAlign : {1, 2, 3, 24, 64, 1000, 4096, 1'000'003}) {
        for (const int32_t enMemType : {ZTK_MEM_OS, ZTK_MEM_MMZ}) {
            EXPECT_EQ(Number(Allocate(100, nAlign, enMemType)) % static_cast<uint64_t>(nAlign), 0U) << nAlign;
        }
    }
}

TEST_F(LocalExports, AnAlignmentOfAGibibyteIsServedOrRefusedByTheReserve) {
    constexpr int32_t kGiB = 1 << 30;
    constexpr uint64_t kNeeded = 64 + uint64_t{kGiB} + 8 + 350 * kMiB;
    constexpr uint64_t kUnrest = 64 * kMiB;  // what others may take or give back meanwhile
    const uint64_t nAvailable = lib_.GetAvailableOSSize();
    if (nAvailable < kNeeded - kUnrest) {
        ExpectRefused(64, kGiB, ZTK_MEM_OS);
    } else if (nAvailable > kNeeded + kUnrest) {
        EXPECT_EQ(Number(Allocate(64, kGiB)) % kGiB, 0U);
    }
}

TEST_F(LocalExports, AnUnknownTypeIsRefusedAfterARetryThatFlushesThePool) {
    void* pIdle = Idle(4096);
    RecordedLog::Clear();
    void* pAddr = nullptr;
    EXPECT_EQ(lib_.AllocatePoolMemory(4096, 2, &pAddr, nullptr), ERR_NO_MEMORY);
    EXPECT_EQ(pAddr, nullptr);
    EXPECT_THAT(
        RecordedLog::Lines(),
        ElementsAre("0 [AllocatePoolMemory@72][ZtkCommon] AllocatePoolMemory()", kRetry,
                    "1 [FreeUnbusyMemory@373][ZtkCommon] Free system memory addr=" + AddressText(pIdle) +
                        ", size=4096",
                    "4 [AllocateMemory@155][ZtkCommon] Allocate memory failed, size=4096, align=0, plat=2",
                    "0 [AllocatePoolMemory@74][ZtkCommon] Allocate memory return 0x80100009, nSize = 4096, "
                    "enMemType=2"));
}

TEST_F(LocalExports, SizesThatDoNotFitTheMachineAreRefused) {
    ExpectRefused(kAllOnes, 0, ZTK_MEM_OS);
    ExpectRefused(kAllOnes, 64, ZTK_MEM_OS);
    ExpectRefused(kAllOnes - 39, 64, ZTK_MEM_OS);  // 2^64 - 40: with alignment and header the sum wraps
    ExpectRefused(kAllOnes - 367'001'600, 0, ZTK_MEM_OS);
    ExpectRefused(kAllOnes, 0, ZTK_MEM_MMZ);
    ExpectRefused(uint64_t{1} << 32, 0, ZTK_MEM_MMZ);
    ExpectRefused(0, 0, ZTK_MEM_OS);
    ExpectRefused(0, 64, ZTK_MEM_OS);
    ExpectRefused(0, 0, ZTK_MEM_MMZ);
    EXPECT_THAT(RecordedLog::LinesWith("AllocateMemory@160"), IsEmpty());
}

TEST_F(LocalExports, ARefusalOfRockitIsTriedTwiceAndReported) {
    TestRockitFailAllocs(-3);
    ExpectRefused(4096, 0, ZTK_MEM_MMZ);
    EXPECT_THAT(
        RecordedLog::Lines(),
        ElementsAre(StartsWith("0 [AllocateAligned"),
                    "4 [Malloc_MMZ_Q527@162]RK_MPI_MMZ_Alloc failed, nRet = -3, size = 4096", kRetry,
                    "4 [Malloc_MMZ_Q527@162]RK_MPI_MMZ_Alloc failed, nRet = -3, size = 4096",
                    "4 [AllocateMemory@155][ZtkCommon] Allocate memory failed, size=4096, align=0, plat=1",
                    "0 [AllocateAlignedPoolMemory@47][ZtkCommon] Allocate align memory return 0x80100009, "
                    "nSize = 4096, nAlign = 0, enMemType=1"));
    TestRockitFailAllocs(0);
    EXPECT_NE(Allocate(4096, 0, ZTK_MEM_MMZ), nullptr);
}

TEST_F(LocalExports, OnlyAddressesOfThePoolAreTakenBack) {
    int nForeign = 0;
    EXPECT_EQ(lib_.FreePoolMemory(nullptr), ERR_INVALID_PARAM);
    EXPECT_THAT(RecordedLog::Lines(), IsEmpty());
    EXPECT_EQ(lib_.FreePoolMemory(&nForeign), ERR_INVALID_PARAM);
    EXPECT_EQ(lib_.FreePoolMemory(&nForeign), ERR_INVALID_PARAM);
    const std::string line =
        "4 [ReleaseMemory@224][ZtkCommon] Memory pointer is not corrected, may be corrupted!";
    EXPECT_THAT(RecordedLog::Lines(), ElementsAre(line, line));
}

TEST_F(LocalExports, ABlockCanBeTakenBackTwice) {
    void* pAddr = Idle(4096);
    Free(pAddr);
    EXPECT_EQ(Allocate(4096), pAddr);
}

TEST_F(LocalExports, TheNodeNumberIsOneAtLoadAndClampedAfterwards) {
    EXPECT_EQ(lib_.GetImageBufferNodeNum(), 1);
    EXPECT_THAT(RecordedLog::Lines(),
                ElementsAre("0 [GetImageBufferNodeNum@153][ZtkCommon] GetImageBufferNodeNum()",
                            "0 [GetImageBufferNodeNum@157][ZtkCommon] image buffer node number: 1"));
    const struct {
        int32_t nGiven, nStored;
    } cases[] = {{0, 1}, {-5, 1}, {INT32_MIN, 1}, {1, 1}, {2, 2}, {64, 64}, {65, 64}, {INT32_MAX, 64}};
    for (const auto& item : cases) {
        RecordedLog::Clear();
        lib_.SetImageBufferNodeNum(item.nGiven);
        EXPECT_THAT(RecordedLog::Lines(),
                    ElementsAre("2 [SetImageBufferNodeNum@145][ZtkCommon] SetImageBufferNodeNum(nNum=" +
                                std::to_string(item.nGiven) + ")"));
        EXPECT_EQ(lib_.GetImageBufferNodeNum(), item.nStored) << item.nGiven;
    }
}

TEST_F(LocalExports, TheNodeNumberDoesNotSurviveAReload) {
    lib_.SetImageBufferNodeNum(9);
    ASSERT_TRUE(lib_.Unload());
    const Library again;
    EXPECT_EQ(again.GetImageBufferNodeNum(), 1);
}

TEST_F(LocalExports, AvailableMemoryIsReportedWithItsLines) {
    const uint64_t nAvailable = lib_.GetAvailableOSSize();
    EXPECT_GT(nAvailable, 0U);
    EXPECT_EQ(nAvailable % 1024, 0U);
    EXPECT_THAT(RecordedLog::Lines(), ElementsAre("0 [GetAvailableOSSize@12][ZtkCommon] GetAvailableOSSize()",
                                                  "0 [GetAvailableOSSize@14][ZtkCommon] Available os size: " +
                                                      std::to_string(nAvailable)));
}

TEST_F(LocalExports, FixedAnswersWriteNoLine) {
    EXPECT_EQ(lib_.GetAvailableShareOSSize(), 0U);
    EXPECT_EQ(lib_.NotifyIncToolCount(), 0U);
    EXPECT_EQ(lib_.NotifyDecToolCount(), 0U);
    EXPECT_EQ(lib_.ZTKMemMap(), nullptr);
    EXPECT_EQ(lib_.ZTKMemUnmap(), -1);
    EXPECT_THAT(RecordedLog::Lines(), IsEmpty());
}

}  // namespace
}  // namespace ztk::test
