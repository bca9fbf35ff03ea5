#include <errno.h>
#include <gmock/gmock.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "fakes/fake_log.h"
#include "platform/aligned_place.h"
#include "platform/mem_info.h"
#include "platform/raw_memory.h"
#include "support/available_memory.h"
#include "support/log_lines.h"
#include "support/mem_info_file.h"
#include "support/system_calls.h"

namespace ztk {
namespace {

using test::AvailableMemory;
using test::FakeLog;
using test::PlainLine;
using test::SystemCalls;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint64_t kPlenty = std::uint64_t{8} << 30U;

// ---- plain blocks ----------------------------------------------------------------------------------

TEST(MallocOs, GivesABlockOfTheSizeAndLogsNothing) {
    const AvailableMemory plenty(kPlenty);
    SystemCalls::Record({"malloc"});
    void* pBlock = Malloc_OS(100);
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre("malloc 100"));
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());
    ASSERT_NE(nullptr, pBlock);
    std::memset(pBlock, 0x5A, 100);
    Free_OS(pBlock);
}

TEST(MallocOs, RefusesNoBytes) {
    EXPECT_EQ(nullptr, Malloc_OS(0));
    EXPECT_THAT(FakeLog::Lines(), ElementsAre(PlainLine(4, "Malloc_OS", 112, "size =%lu", "size =0")));
    EXPECT_EQ(0, SystemCalls::Count("malloc"));
}

TEST(MallocOs, SucceedsWhenExactlyTheReserveIsLeft) {
    const AvailableMemory exact(100 + kMemoryReserve);
    void* pBlock = Malloc_OS(100);
    EXPECT_NE(nullptr, pBlock);
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());
    Free_OS(pBlock);
}

TEST(MallocOs, SucceedsWhenOneByteMoreThanTheReserveIsLeft) {
    const AvailableMemory more(100 + kMemoryReserve + 1);
    void* pBlock = Malloc_OS(100);
    EXPECT_NE(nullptr, pBlock);
    Free_OS(pBlock);
}

TEST(MallocOs, FailsWhenOneByteOfTheReserveWouldBeUsed) {
    const AvailableMemory less(100 + kMemoryReserve - 1);
    EXPECT_EQ(nullptr, Malloc_OS(100));
    EXPECT_THAT(
        FakeLog::Lines(),
        ElementsAre(PlainLine(4, "Malloc_OS", 123, "Insufficient OS memory, size=%lu, available size = %lu",
                              "Insufficient OS memory, size=100, available size = 367001699")));
    EXPECT_EQ(0, SystemCalls::Count("malloc"));
}

class HugeSize : public testing::TestWithParam<std::uint64_t> {};

TEST_P(HugeSize, IsRefusedByThePlainAllocatorForWantOfMemory) {
    const AvailableMemory plenty(kPlenty);
    EXPECT_EQ(nullptr, Malloc_OS(GetParam()));
    const std::string text =
        "Insufficient OS memory, size=" + std::to_string(GetParam()) + ", available size = 8589934592";
    EXPECT_THAT(FakeLog::Lines(),
                ElementsAre(PlainLine(4, "Malloc_OS", 123,
                                      "Insufficient OS memory, size=%lu, available size = %lu", text)));
    EXPECT_EQ(0, SystemCalls::Count("malloc"));
}

TEST_P(HugeSize, IsRefusedByTheAlignedAllocatorForWantOfMemory) {
    const AvailableMemory plenty(kPlenty);
    EXPECT_EQ(nullptr, AlignMalloc_OS(GetParam(), 64));
    const std::string text = "Insufficient OS memory, size=" + std::to_string(GetParam()) +
                             ", align=64, available size = 8589934592";
    EXPECT_THAT(
        FakeLog::Lines(),
        ElementsAre(PlainLine(4, "AlignMalloc_OS", 458,
                              "Insufficient OS memory, size=%lu, align=%d, available size = %lu", text)));
    EXPECT_EQ(0, SystemCalls::Count("malloc"));
}

INSTANTIATE_TEST_SUITE_P(NearTheEndOf64Bits, HugeSize,
                         testing::Values(UINT64_MAX, UINT64_MAX - 8, UINT64_MAX - 71, UINT64_MAX - 72,
                                         UINT64_MAX - kMemoryReserve, UINT64_MAX - kMemoryReserve + 1,
                                         UINT64_MAX - kMemoryReserve - 72, std::uint64_t{1} << 63U));

TEST(MallocOs, LogsAFailureOfTheHeap) {
    const AvailableMemory plenty(kPlenty);
    SystemCalls::Fail("malloc", 1, ENOMEM);
    EXPECT_EQ(nullptr, Malloc_OS(4096));
    EXPECT_THAT(FakeLog::Lines(), ElementsAre(PlainLine(4, "Malloc_OS", 133, "malloc Failed, size = %lu",
                                                        "malloc Failed, size = 4096")));
}

TEST(MallocOs, RefusesWhenTheAvailableMemoryCannotBeRead) {
    const test::NoMoreDescriptors none;
    EXPECT_EQ(nullptr, Malloc_OS(1));
    EXPECT_THAT(
        FakeLog::Lines(),
        ElementsAre(PlainLine(4, "Malloc_OS", 123, "Insufficient OS memory, size=%lu, available size = %lu",
                              "Insufficient OS memory, size=1, available size = 0")));
}

TEST(FreeOs, TakesNull) {
    Free_OS(nullptr);
    EXPECT_EQ(1, SystemCalls::Count("free"));
}

// ---- aligned blocks --------------------------------------------------------------------------------

class HeapAlignment : public testing::TestWithParam<std::int32_t> {};

TEST_P(HeapAlignment, IsHonouredInsideTheBlockWithTheBaseInTheWordBelow) {
    const AvailableMemory plenty(kPlenty);
    const std::int32_t nAlign = GetParam();
    SystemCalls::Record({"malloc"});
    void* pAligned = AlignMalloc_OS(100, nAlign);
    ASSERT_NE(nullptr, pAligned);
    const auto nTotal = 100 + static_cast<std::uint64_t>(nAlign) + 8;
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre("malloc " + std::to_string(nTotal)));
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());

    void* pBase = LoadBackPointer(pAligned);
    const auto nBase = reinterpret_cast<std::uintptr_t>(pBase);
    const auto nAligned = reinterpret_cast<std::uintptr_t>(pAligned);
    EXPECT_EQ(0U, nAligned % static_cast<std::uintptr_t>(nAlign));
    EXPECT_EQ(AlignedPlace(nBase, nAlign), nAligned);
    EXPECT_LE(nAligned + 100, nBase + nTotal);
    std::memset(pAligned, 0x5A, 100);
    EXPECT_EQ(pBase, LoadBackPointer(pAligned));
    Free_OS(pBase);
}

INSTANTIATE_TEST_SUITE_P(PowersOfTwoAndOthers, HeapAlignment,
                         testing::Values(1, 2, 3, 8, 24, 64, 1000, 4096, 1 << 30));

struct BadRequest {
    std::uint64_t nSize;
    std::int32_t nAlign;
    const char* szText;
};

class BadAlignedRequest : public testing::TestWithParam<BadRequest> {};

TEST_P(BadAlignedRequest, IsRefusedWithItsValues) {
    EXPECT_EQ(nullptr, AlignMalloc_OS(GetParam().nSize, GetParam().nAlign));
    EXPECT_THAT(FakeLog::Lines(),
                ElementsAre(PlainLine(4, "AlignMalloc_OS", 447, "size =%lu, align = %d", GetParam().szText)));
    EXPECT_EQ(0, SystemCalls::Count("malloc"));
}

INSTANTIATE_TEST_SUITE_P(SizeOrAlignment, BadAlignedRequest,
                         testing::Values(BadRequest{100, 0, "size =100, align = 0"},
                                         BadRequest{100, -8, "size =100, align = -8"},
                                         BadRequest{100, INT32_MIN, "size =100, align = -2147483648"},
                                         BadRequest{0, 8, "size =0, align = 8"},
                                         BadRequest{0, 0, "size =0, align = 0"},
                                         BadRequest{UINT64_MAX, 0, "size =18446744073709551615, align = 0"}));

TEST(AlignMallocOs, SucceedsWhenExactlyTheReserveIsLeft) {
    const AvailableMemory exact(100 + 64 + kMemoryReserve + 8);
    void* pAligned = AlignMalloc_OS(100, 64);
    ASSERT_NE(nullptr, pAligned);
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());
    Free_OS(LoadBackPointer(pAligned));
}

TEST(AlignMallocOs, SucceedsWhenOneByteMoreThanTheReserveIsLeft) {
    const AvailableMemory more(100 + 64 + kMemoryReserve + 8 + 1);
    void* pAligned = AlignMalloc_OS(100, 64);
    ASSERT_NE(nullptr, pAligned);
    Free_OS(LoadBackPointer(pAligned));
}

TEST(AlignMallocOs, FailsWhenOneByteOfTheReserveWouldBeUsed) {
    const AvailableMemory less(100 + 64 + kMemoryReserve + 8 - 1);
    EXPECT_EQ(nullptr, AlignMalloc_OS(100, 64));
    EXPECT_THAT(
        FakeLog::Lines(),
        ElementsAre(PlainLine(4, "AlignMalloc_OS", 458,
                              "Insufficient OS memory, size=%lu, align=%d, available size = %lu",
                              "Insufficient OS memory, size=100, align=64, available size = 367001771")));
    EXPECT_EQ(0, SystemCalls::Count("malloc"));
}

TEST(AlignMallocOs, LogsAFailureOfTheHeapWithTheWholeLength) {
    const AvailableMemory plenty(kPlenty);
    SystemCalls::Fail("malloc", 1, ENOMEM);
    EXPECT_EQ(nullptr, AlignMalloc_OS(100, 24));
    EXPECT_THAT(FakeLog::Lines(), ElementsAre(PlainLine(4, "AlignMalloc_OS", 466, "malloc Failed, size = %lu",
                                                        "malloc Failed, size = 132")));
}

}  // namespace
}  // namespace ztk
