// The reclaimers of a loaded library, on a clock that the test moves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/library/library.h"
#include "tests/library/private_place.h"
#include "tests/library/recorded_log.h"
#include "tests/library/virtual_clock.h"

namespace ztk::test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using testing::UnorderedElementsAre;

constexpr int kWakeUp = 15;
constexpr int kMinute = 60;

class VirtualMinute : public testing::Test {
  protected:
    void SetUp() override {
        SKIP_WITHOUT_PRIVATE_SHM();
        RecordedLog::SetLevel(2);
        AwaitSleepers(2);
        RecordedLog::ClearAfterLoad();
    }

    void* AllocateHeap(uint64_t nSize) {
        void* pAddr = nullptr;
        EXPECT_EQ(lib_.AllocatePoolMemory(nSize, ZTK_MEM_OS, &pAddr, nullptr), ZTK_SUCCESS);
        return pAddr;
    }

    void* AllocateShared(uint64_t nSize) {
        void* pAddr = nullptr;
        char szName[ZTK_SHARED_NAME_SIZE];
        EXPECT_EQ(lib_.AllocatePoolSharedMemory(nSize, &pAddr, szName), ZTK_SUCCESS);
        return pAddr;
    }

    void FreeHeap(void* pAddr) { EXPECT_EQ(lib_.FreePoolMemory(pAddr), ZTK_SUCCESS); }

    static void PassAMinute() {
        for (int nPassed = 0; nPassed < kMinute; nPassed += kWakeUp)
            AdvanceClock(kWakeUp);
    }

    static std::string Limit(int nLine, uint64_t nSize) {
        return "1 [DoFreeUnbusyMemoryWork@" + std::to_string(nLine) +
               "][ZtkCommon] Current redundant memory size: " + std::to_string(nSize) +
               " bytes, allow limit size: 314572800 bytes";
    }
    static std::string LocalLimit(uint64_t nSize) { return Limit(318, nSize); }
    static std::string SharedLimit(uint64_t nSize) { return Limit(321, nSize); }

    const Library lib_;
};

TEST_F(VirtualMinute, EveryFourthWakeUpWritesTheLimitLinesOfBothPools) {
    FreeHeap(AllocateHeap(2 * kMiB));
    EXPECT_EQ(lib_.FreePoolSharedMemory(AllocateShared(3 * kMiB)), ZTK_SUCCESS);
    RecordedLog::Clear();
    for (int nWakeUp = 1; nWakeUp <= 3; ++nWakeUp) {
        AdvanceClock(kWakeUp);
        EXPECT_THAT(RecordedLog::Lines(), IsEmpty()) << "at wake-up " << nWakeUp;
    }
    AdvanceClock(kWakeUp);
    EXPECT_THAT(RecordedLog::Lines(), UnorderedElementsAre(LocalLimit(2 * kMiB), SharedLimit(3 * kMiB)));
    RecordedLog::Clear();
    PassAMinute();
    EXPECT_THAT(RecordedLog::Lines(), UnorderedElementsAre(LocalLimit(2 * kMiB), SharedLimit(3 * kMiB)));
}

TEST_F(VirtualMinute, NoReclaimerWakesBeforeItsTime) {
    AdvanceClock(kWakeUp - 1);
    AwaitSleepers(2);
    AdvanceClock(1);
    EXPECT_THAT(RecordedLog::Lines(), IsEmpty());
}

TEST_F(VirtualMinute, AboveTheLimitEveryBlockIdleForHalfAMinuteGoes) {
    void* pLong = AllocateHeap(151 * kMiB);
    void* pLongToo = AllocateHeap(151 * kMiB);
    void* pShort = AllocateHeap(kMiB);
    void* pBusy = AllocateHeap(kMiB);
    FreeHeap(pLong);
    FreeHeap(pLongToo);
    AdvanceClock(kWakeUp);
    AdvanceClock(kWakeUp);
    AdvanceClock(kWakeUp);
    FreeHeap(pShort);
    RecordedLog::Clear();
    AdvanceClock(kWakeUp);
    const std::string freed = "1 [FreeUnbusyMemory@373][ZtkCommon] Free system memory addr=0x";
    EXPECT_THAT(RecordedLog::LinesWith(freed), SizeIs(2));
    EXPECT_THAT(RecordedLog::LinesWith(freed), Each(HasSubstr(", size=158334976")));
    EXPECT_THAT(RecordedLog::LinesWith("@318]"), ElementsAre(LocalLimit(303 * kMiB)));
    RecordedLog::Clear();
    PassAMinute();
    EXPECT_THAT(RecordedLog::LinesWith("@318]"), ElementsAre(LocalLimit(kMiB)));
    EXPECT_THAT(RecordedLog::LinesWith(freed), IsEmpty());
    EXPECT_EQ(AllocateHeap(kMiB), pShort);
    FreeHeap(pBusy);
}

TEST_F(VirtualMinute, TheLimitItselfFreesNothing) {
    FreeHeap(AllocateHeap(300 * kMiB));
    PassAMinute();
    EXPECT_THAT(RecordedLog::LinesWith("@318]"), ElementsAre(LocalLimit(300 * kMiB)));
    EXPECT_THAT(RecordedLog::LinesWith("@373]"), IsEmpty());
}

TEST_F(VirtualMinute, TheListsAreDumpedAtLevelOneAndLower) {
    void* pHeap = AllocateHeap(kMiB);
    AllocateShared(4096);
    RecordedLog::SetLevel(1);
    RecordedLog::Clear();
    PassAMinute();
    char szBlock[64];
    std::snprintf(szBlock, sizeof(szBlock), "1048576[%p:0], ", pHeap);
    const std::string function = "[DumpMemoryInfo@";
    EXPECT_THAT(
        RecordedLog::LinesWith(function),
        UnorderedElementsAre(
            "0 [DumpMemoryInfo@438][ZtkCommon] *************OS Memory pool block list "
            "detail:*****************\n" +
                std::string(szBlock),
            "1 [DumpMemoryInfo@439][ZtkCommon] OS Memory pool contains 1 block(s), total size: 1048576 bytes",
            "0 [DumpMemoryInfo@475][ZtkCommon] ----------------MMZ Memory pool block list detail: "
            "----------------------\n",
            "1 [DumpMemoryInfo@476][ZtkCommon] MMZ Memory pool contains 0 block(s), total size: 0 bytes",
            "0 [DumpMemoryInfo@437][ZtkCommon] ##############Shared memory pool block list detail: "
            "#####################\n4096, ",
            "1 [DumpMemoryInfo@438][ZtkCommon] Shared memory pool contains 1 block(s), total size: 4096 "
            "bytes"));
    RecordedLog::SetLevel(2);
    RecordedLog::Clear();
    PassAMinute();
    EXPECT_THAT(RecordedLog::LinesWith(function), IsEmpty());
}

}  // namespace
}  // namespace ztk::test
