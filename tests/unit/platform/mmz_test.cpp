#include <gmock/gmock.h>

#include <cstdint>
#include <cstring>

#include "fakes/fake_log.h"
#include "fakes/fake_rockit.h"
#include "platform/aligned_place.h"
#include "platform/raw_memory.h"
#include "support/available_memory.h"
#include "support/log_lines.h"

namespace ztk {
namespace {

using test::AvailableMemory;
using test::FakeLog;
using test::FakeRockit;
using test::PlainLine;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint64_t kUntouched = 0x1234;
constexpr std::int32_t kBoardError = -1072594932;

// ---- plain blocks ----------------------------------------------------------------------------------

TEST(MallocMmz, GivesTheBlocksAddressAndHandleAndLogsNothing) {
    std::uint64_t nHandle = kUntouched;
    void* pBlock = Malloc_MMZ_Q527(4096, &nHandle);
    EXPECT_EQ(FakeRockit::Address(1), pBlock);
    EXPECT_EQ(FakeRockit::HandleValue(1), nHandle);
    EXPECT_THAT(FakeRockit::Calls(), ElementsAre("Alloc 4096 flags 0", "VirAddr h1"));
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());
}

TEST(MallocMmz, DoesWithoutAHandleArgument) {
    void* pBlock = Malloc_MMZ_Q527(1, nullptr);
    EXPECT_EQ(FakeRockit::Address(1), pBlock);
}

TEST(MallocMmz, AsksNotForTheSystemsMemory) {
    const AvailableMemory none(0);
    EXPECT_NE(nullptr, Malloc_MMZ_Q527(4096, nullptr));
}

TEST(MallocMmz, PassesTheLargest32BitLengthOn) {
    EXPECT_NE(nullptr, Malloc_MMZ_Q527(0xFFFFFFFF, nullptr));
    EXPECT_THAT(FakeRockit::Calls(), ElementsAre("Alloc 4294967295 flags 0", "VirAddr h1"));
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());
}

struct BadLength {
    std::uint64_t nSize;
    const char* szText;
};

class BadMmzLength : public testing::TestWithParam<BadLength> {};

TEST_P(BadMmzLength, IsRefusedWithoutACall) {
    std::uint64_t nHandle = kUntouched;
    EXPECT_EQ(nullptr, Malloc_MMZ_Q527(GetParam().nSize, &nHandle));
    EXPECT_THAT(FakeLog::Lines(),
                ElementsAre(PlainLine(4, "Malloc_MMZ_Q527", 154, "size=%lu", GetParam().szText)));
    EXPECT_THAT(FakeRockit::Calls(), IsEmpty());
    EXPECT_EQ(kUntouched, nHandle);
}

INSTANTIATE_TEST_SUITE_P(NoneOrMoreThan32Bits, BadMmzLength,
                         testing::Values(BadLength{0, "size=0"}, BadLength{0x100000000, "size=4294967296"},
                                         BadLength{UINT64_MAX, "size=18446744073709551615"}));

class FailingAlloc : public testing::TestWithParam<std::int32_t> {};

TEST_P(FailingAlloc, IsLoggedWithItsResult) {
    FakeRockit::FailAlloc(1, GetParam());
    std::uint64_t nHandle = kUntouched;
    EXPECT_EQ(nullptr, Malloc_MMZ_Q527(4096, &nHandle));
    EXPECT_THAT(FakeLog::Lines(),
                ElementsAre(PlainLine(
                    4, "Malloc_MMZ_Q527", 162, "RK_MPI_MMZ_Alloc failed, nRet = %d, size = %lu",
                    "RK_MPI_MMZ_Alloc failed, nRet = " + std::to_string(GetParam()) + ", size = 4096")));
    EXPECT_THAT(FakeRockit::Calls(), ElementsAre("Alloc 4096 flags 0"));
    EXPECT_EQ(kUntouched, nHandle);
}

INSTANTIATE_TEST_SUITE_P(NegativeResults, FailingAlloc, testing::Values(-1, kBoardError, INT32_MIN));

TEST(MallocMmz, TakesAPositiveResultForSuccess) {
    FakeRockit::FailAlloc(1, 1);
    EXPECT_NE(nullptr, Malloc_MMZ_Q527(4096, nullptr));
    EXPECT_NE(nullptr, AlignMalloc_MMZ_Q527(4096, 8, nullptr));
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());
}

TEST(MallocMmz, GivesABlockWithoutAnAddressBack) {
    FakeRockit::FailVirAddr(1);
    std::uint64_t nHandle = kUntouched;
    EXPECT_EQ(nullptr, Malloc_MMZ_Q527(4096, &nHandle));
    EXPECT_THAT(FakeLog::Lines(), ElementsAre(PlainLine(4, "Malloc_MMZ_Q527", 170,
                                                        "RK_MPI_MMZ_Handle2VirAddr failed, size = %lu",
                                                        "RK_MPI_MMZ_Handle2VirAddr failed, size = 4096")));
    EXPECT_THAT(FakeRockit::Calls(), ElementsAre("Alloc 4096 flags 0", "VirAddr h1", "Free h1"));
    EXPECT_EQ(kUntouched, nHandle);
}

// ---- aligned blocks --------------------------------------------------------------------------------

class MmzAlignment : public testing::TestWithParam<std::int32_t> {};

TEST_P(MmzAlignment, IsHonouredWithTheBlocksStartInTheWordBelow) {
    const std::int32_t nAlign = GetParam();
    void* pAligned = AlignMalloc_MMZ_Q527(100, nAlign, nullptr);
    ASSERT_NE(nullptr, pAligned);
    const auto nTotal = 100 + static_cast<std::uint64_t>(nAlign) + 8;
    EXPECT_THAT(FakeRockit::Calls(),
                ElementsAre("Alloc " + std::to_string(nTotal) + " flags 0", "VirAddr h1"));
    const auto nBase = reinterpret_cast<std::uintptr_t>(FakeRockit::Address(1));
    EXPECT_EQ(AlignedPlace(nBase, nAlign), reinterpret_cast<std::uintptr_t>(pAligned));
    EXPECT_EQ(FakeRockit::Address(1), LoadBackPointer(pAligned));
    std::memset(pAligned, 0x5A, 100);
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(PowersOfTwoAndOthers, MmzAlignment, testing::Values(1, 8, 24, 4096, 1 << 30));

TEST(AlignMallocMmz, MovesTheHandleUpByAsMuchAsTheAddress) {
    std::uint64_t nHandle = kUntouched;
    const auto* pAligned = static_cast<char*>(AlignMalloc_MMZ_Q527(100, 4096, &nHandle));
    ASSERT_NE(nullptr, pAligned);
    const auto nOffset = pAligned - static_cast<char*>(FakeRockit::Address(1));
    EXPECT_GE(nOffset, 8);
    EXPECT_EQ(FakeRockit::HandleValue(1) + static_cast<std::uint64_t>(nOffset), nHandle);
}

TEST(AlignMallocMmz, AsksNotForTheSystemsMemory) {
    const AvailableMemory none(0);
    EXPECT_NE(nullptr, AlignMalloc_MMZ_Q527(100, 8, nullptr));
}

// 0xFFFFFFFF + 100 + 8 = 0x1'0000006B.
TEST(AlignMallocMmz, WrapsTheLengthRoundNear4Gigabytes) {
    void* pAligned = AlignMalloc_MMZ_Q527(0xFFFFFFFF, 100, nullptr);
    ASSERT_NE(nullptr, pAligned);
    EXPECT_THAT(FakeRockit::Calls(), ElementsAre("Alloc 107 flags 0", "VirAddr h1"));
    EXPECT_EQ(0U, reinterpret_cast<std::uintptr_t>(pAligned) % 100);
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());
}

TEST(AlignMallocMmz, PassesTheLargestLengthThatDoesNotWrap) {
    EXPECT_NE(nullptr, AlignMalloc_MMZ_Q527(0xFFFFFFFF - 16, 8, nullptr));
    EXPECT_THAT(FakeRockit::Calls(), ElementsAre("Alloc 4294967295 flags 0", "VirAddr h1"));
}

struct BadMmzRequest {
    std::uint64_t nSize;
    std::int32_t nAlign;
    const char* szText;
};

class BadAlignedMmzRequest : public testing::TestWithParam<BadMmzRequest> {};

TEST_P(BadAlignedMmzRequest, IsRefusedWithoutACall) {
    std::uint64_t nHandle = kUntouched;
    EXPECT_EQ(nullptr, AlignMalloc_MMZ_Q527(GetParam().nSize, GetParam().nAlign, &nHandle));
    EXPECT_THAT(FakeLog::Lines(), ElementsAre(PlainLine(4, "AlignMalloc_MMZ_Q527", 506, "size=%lu, align=%d",
                                                        GetParam().szText)));
    EXPECT_THAT(FakeRockit::Calls(), IsEmpty());
    EXPECT_EQ(kUntouched, nHandle);
}

INSTANTIATE_TEST_SUITE_P(SizeOrAlignment, BadAlignedMmzRequest,
                         testing::Values(BadMmzRequest{0, 8, "size=0, align=8"},
                                         BadMmzRequest{0x100000000, 8, "size=4294967296, align=8"},
                                         BadMmzRequest{UINT64_MAX, 8, "size=18446744073709551615, align=8"},
                                         BadMmzRequest{100, 0, "size=100, align=0"},
                                         BadMmzRequest{100, -8, "size=100, align=-8"}));

TEST(AlignMallocMmz, LogsAFailureWithTheWholeLength) {
    FakeRockit::FailAlloc(1, kBoardError);
    EXPECT_EQ(nullptr, AlignMalloc_MMZ_Q527(100, 24, nullptr));
    EXPECT_THAT(FakeLog::Lines(),
                ElementsAre(PlainLine(4, "AlignMalloc_MMZ_Q527", 514,
                                      "RK_MPI_MMZ_Alloc failed, nRet = %d, size = %lu",
                                      "RK_MPI_MMZ_Alloc failed, nRet = -1072594932, size = 132")));
}

TEST(AlignMallocMmz, LogsAFailureWithTheLengthBeforeItWrapped) {
    FakeRockit::FailAlloc(1, -1);
    EXPECT_EQ(nullptr, AlignMalloc_MMZ_Q527(0xFFFFFFFF, 100, nullptr));
    EXPECT_THAT(FakeLog::Lines(),
                ElementsAre(PlainLine(4, "AlignMalloc_MMZ_Q527", 514,
                                      "RK_MPI_MMZ_Alloc failed, nRet = %d, size = %lu",
                                      "RK_MPI_MMZ_Alloc failed, nRet = -1, size = 4294967403")));
}

TEST(AlignMallocMmz, GivesABlockWithoutAnAddressBackSilently) {
    FakeRockit::FailVirAddr(1);
    std::uint64_t nHandle = kUntouched;
    EXPECT_EQ(nullptr, AlignMalloc_MMZ_Q527(100, 8, &nHandle));
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());
    EXPECT_THAT(FakeRockit::Calls(), ElementsAre("Alloc 116 flags 0", "VirAddr h1", "Free h1"));
    EXPECT_EQ(kUntouched, nHandle);
}

}  // namespace
}  // namespace ztk
