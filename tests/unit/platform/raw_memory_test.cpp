#include "platform/raw_memory.h"

#include <gmock/gmock.h>

#include <array>
#include <cstdint>

#include "fakes/fake_log.h"
#include "fakes/fake_rockit.h"
#include "platform/aligned_place.h"
#include "support/available_memory.h"
#include "support/log_lines.h"
#include "support/system_calls.h"

namespace ztk {
namespace {

using test::AvailableMemory;
using test::FakeLog;
using test::FakeRockit;
using test::PlainLine;
using test::SystemCalls;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint64_t kPlenty = std::uint64_t{8} << 30U;
constexpr std::uint64_t kUntouched = 0x1234;

TEST(MallocMem, TakesHeapBlocksFromTheHeapAndLeavesTheHandleAlone) {
    const AvailableMemory plenty(kPlenty);
    std::uint64_t nHandle = kUntouched;
    SystemCalls::Record({"malloc"});
    void* pBlock = MallocMem(100, kMemTypeOs, &nHandle);
    EXPECT_NE(nullptr, pBlock);
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre("malloc 100"));
    EXPECT_EQ(kUntouched, nHandle);
    EXPECT_THAT(FakeRockit::Calls(), IsEmpty());
    FreeMem(pBlock, kMemTypeOs);
}

TEST(MallocMem, TakesMmzBlocksFromTheBoard) {
    std::uint64_t nHandle = kUntouched;
    void* pBlock = MallocMem(100, kMemTypeMmz, &nHandle);
    EXPECT_EQ(FakeRockit::Address(1), pBlock);
    EXPECT_EQ(FakeRockit::HandleValue(1), nHandle);
    EXPECT_EQ(0, SystemCalls::Count("malloc"));
}

TEST(MallocMem, RefusesMmzLengthsBeyond32Bits) {
    std::uint64_t nHandle = kUntouched;
    EXPECT_EQ(nullptr, MallocMem(0x100000000, kMemTypeMmz, &nHandle));
    EXPECT_THAT(FakeLog::Lines(),
                ElementsAre(PlainLine(4, "Malloc_MMZ_Q527", 154, "size=%lu", "size=4294967296")));
    EXPECT_THAT(FakeRockit::Calls(), IsEmpty());
}

TEST(MallocMem, PassesTheLargestMmzLengthOn) {
    FakeRockit::FailAlloc(1, -1);
    EXPECT_EQ(nullptr, MallocMem(0xFFFFFFFF, kMemTypeMmz, nullptr));
    EXPECT_THAT(FakeRockit::Calls(), ElementsAre("Alloc 4294967295 flags 0"));
}

TEST(AlignMallocMem, TakesHeapBlocksFromTheHeapAndLeavesTheHandleAlone) {
    const AvailableMemory plenty(kPlenty);
    std::uint64_t nHandle = kUntouched;
    void* pAligned = AlignMallocMem(100, 24, kMemTypeOs, &nHandle);
    ASSERT_NE(nullptr, pAligned);
    EXPECT_EQ(0U, reinterpret_cast<std::uintptr_t>(pAligned) % 24);
    EXPECT_EQ(kUntouched, nHandle);
    EXPECT_THAT(FakeRockit::Calls(), IsEmpty());
    AlignFreeMem(pAligned, kMemTypeOs);
}

TEST(AlignMallocMem, TakesMmzBlocksFromTheBoard) {
    std::uint64_t nHandle = kUntouched;
    void* pAligned = AlignMallocMem(100, 24, kMemTypeMmz, &nHandle);
    ASSERT_NE(nullptr, pAligned);
    EXPECT_EQ(FakeRockit::Address(1), LoadBackPointer(pAligned));
    EXPECT_GT(nHandle, FakeRockit::HandleValue(1));
}

TEST(AlignMallocMem, RefusesAlignmentsThatAreNotPositive) {
    EXPECT_EQ(nullptr, AlignMallocMem(100, 0, kMemTypeOs, nullptr));
    EXPECT_EQ(nullptr, AlignMallocMem(100, -8, kMemTypeOs, nullptr));
    EXPECT_THAT(
        FakeLog::Lines(),
        ElementsAre(PlainLine(4, "AlignMalloc_OS", 447, "size =%lu, align = %d", "size =100, align = 0"),
                    PlainLine(4, "AlignMalloc_OS", 447, "size =%lu, align = %d", "size =100, align = -8")));
}

TEST(FreeMem, GivesHeapBlocksToTheHeap) {
    const AvailableMemory plenty(kPlenty);
    FreeMem(MallocMem(100, kMemTypeOs, nullptr), kMemTypeOs);
    EXPECT_EQ(1, SystemCalls::Count("free"));
    EXPECT_THAT(FakeRockit::Calls(), IsEmpty());
}

TEST(FreeMem, GivesMmzBlocksToTheBoard) {
    FreeMem(MallocMem(100, kMemTypeMmz, nullptr), kMemTypeMmz);
    EXPECT_THAT(FakeRockit::Calls(), ElementsAre("Alloc 100 flags 0", "VirAddr h1", "Handle h1", "Free h1"));
    EXPECT_EQ(0U, FakeRockit::LiveBlocks());
    EXPECT_EQ(0, SystemCalls::Count("free"));
}

TEST(FreeMem, IgnoresAnMmzAddressTheBoardDoesNotKnow) {
    char cNoBlock = 0;
    FreeMem(&cNoBlock, kMemTypeMmz);
    EXPECT_THAT(FakeRockit::Calls(), ElementsAre("Handle ?"));
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());
}

TEST(FreeMem, PassesNullToTheHeapButNotToTheBoard) {
    FreeMem(nullptr, kMemTypeOs);
    FreeMem(nullptr, kMemTypeMmz);
    EXPECT_EQ(1, SystemCalls::Count("free"));
    EXPECT_THAT(FakeRockit::Calls(), IsEmpty());
}

TEST(AlignFreeMem, GivesTheBaseOfAHeapBlockToTheHeap) {
    const AvailableMemory plenty(kPlenty);
    void* pAligned = AlignMallocMem(100, 4096, kMemTypeOs, nullptr);
    ASSERT_NE(nullptr, pAligned);
    AlignFreeMem(pAligned, kMemTypeOs);
    EXPECT_EQ(1, SystemCalls::Count("free"));
    EXPECT_THAT(FakeRockit::Calls(), IsEmpty());
}

TEST(AlignFreeMem, GivesTheBlockOfAnMmzAddressToTheBoard) {
    AlignFreeMem(AlignMallocMem(100, 4096, kMemTypeMmz, nullptr), kMemTypeMmz);
    EXPECT_THAT(FakeRockit::Calls(), ElementsAre("Alloc 4204 flags 0", "VirAddr h1", "Handle h1", "Free h1"));
    EXPECT_EQ(0U, FakeRockit::LiveBlocks());
}

TEST(AlignFreeMem, IgnoresAnMmzBlockTheBoardDoesNotKnow) {
    alignas(8) std::array<char, 64> noBlock{};
    AlignFreeMem(PlaceAligned(noBlock.data(), 8), kMemTypeMmz);
    EXPECT_THAT(FakeRockit::Calls(), ElementsAre("Handle ?"));
}

class AnyMemoryType : public testing::TestWithParam<std::int32_t> {};

TEST_P(AnyMemoryType, HasNothingToFreeAtNullAligned) {
    AlignFreeMem(nullptr, GetParam());
    EXPECT_EQ(0, SystemCalls::Count("free"));
    EXPECT_THAT(FakeRockit::Calls(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(AllTypes, AnyMemoryType, testing::Values(-1, 0, 1, 2));

class UnknownMemoryType : public testing::TestWithParam<std::int32_t> {};

TEST_P(UnknownMemoryType, AllocatesAndFreesNothingSilently) {
    std::uint64_t nHandle = kUntouched;
    alignas(8) std::array<char, 64> block{};
    void* pAligned = PlaceAligned(block.data(), 8);
    EXPECT_EQ(nullptr, MallocMem(100, GetParam(), &nHandle));
    EXPECT_EQ(nullptr, MallocMem(0, GetParam(), nullptr));
    EXPECT_EQ(nullptr, AlignMallocMem(100, 8, GetParam(), &nHandle));
    EXPECT_EQ(nullptr, AlignMallocMem(0, -1, GetParam(), nullptr));
    FreeMem(block.data(), GetParam());
    AlignFreeMem(pAligned, GetParam());
    EXPECT_EQ(kUntouched, nHandle);
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());
    EXPECT_THAT(FakeRockit::Calls(), IsEmpty());
    EXPECT_EQ(0, SystemCalls::Count("malloc"));
    EXPECT_EQ(0, SystemCalls::Count("free"));
}

INSTANTIATE_TEST_SUITE_P(NeitherHeapNorMmz, UnknownMemoryType,
                         testing::Values(-1, 2, 3, INT32_MIN, INT32_MAX));

}  // namespace
}  // namespace ztk
