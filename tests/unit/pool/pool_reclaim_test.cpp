// The reclaimer's minute: the limit line, the idle blocks it gives back, the dumps.
#include "pool_fixture.h"

namespace ztk::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint64_t kLimit = 314'572'800;

// ---- the limit -------------------------------------------------------------------------------------

template <class Kind>
class PoolLimitTest : public PoolTest<Kind> {};

TYPED_TEST_SUITE(PoolLimitTest, AllKinds, KindNames);

TYPED_TEST(PoolLimitTest, IsLoggedEveryMinuteWhetherExceededOrNot) {
    this->time_.Advance(milliseconds(59'999));
    EXPECT_THAT(TakeLog(), IsEmpty());
    this->time_.Advance(milliseconds(1));
    EXPECT_THAT(TakeLog(), ElementsAre(TypeParam::Limit(0)));
    this->AllocateIdle(4096);
    ClearLog();
    this->time_.Advance(minutes(1));
    EXPECT_THAT(TakeLog(), ElementsAre(TypeParam::Limit(4096)));
    this->time_.Advance(minutes(10));
    EXPECT_EQ(TakeLog(), Lines(10, TypeParam::Limit(4096)));
}

TYPED_TEST(PoolLimitTest, AnIdleTotalOfExactlyTheLimitFreesNothing) {
    this->RaiseIdleTotal(300);
    ASSERT_EQ(this->ThePool().RedundantSize(), kLimit);
    ClearLog();
    this->time_.Advance(minutes(2));
    EXPECT_THAT(TakeLog(), ElementsAre(TypeParam::Limit(kLimit), TypeParam::Limit(kLimit)));
}

TYPED_TEST(PoolLimitTest, OneByteMoreFreesTheIdleBlocks) {
    const Given busy = this->Allocate(4096);
    const Given idle = this->Allocate(kMiB + 1);
    const Given raised = this->RaiseIdleTotal(299);
    this->Release(idle);
    ASSERT_EQ(this->ThePool().RedundantSize(), kLimit + 1);
    ClearLog();
    this->time_.Advance(minutes(1));
    EXPECT_THAT(TakeLog(), ElementsAre(TypeParam::Limit(kLimit + 1), TypeParam::Freed(raised.nAddress, kMiB),
                                       TypeParam::Freed(idle.nAddress, kMiB + 1)));
    this->Release(busy);
}

TYPED_TEST(PoolLimitTest, FourHundredIdleMegabytesAllGoNotOnlyTheSurplus) {
    std::vector<Given> given;
    for (int i = 0; i < 4; ++i)
        given.push_back(this->Allocate(100 * kMiB, 64));
    for (const Given& one : given)
        this->Release(one);
    ClearLog();
    this->time_.Advance(minutes(1));
    Lines lines = TakeLog();
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(lines[0], TypeParam::Limit(400 * kMiB));
    Lines expected;
    for (const Given& one : given)
        expected.push_back(TypeParam::Freed(one.nAddress, 100 * kMiB));
    EXPECT_THAT((Lines{lines.begin() + 1, lines.end()}), ::testing::UnorderedElementsAreArray(expected));
    EXPECT_EQ(this->ThePool().RedundantSize(), 0U);
    this->time_.Advance(minutes(1));
    EXPECT_THAT(TakeLog(), ElementsAre(TypeParam::Limit(0)));
}

TYPED_TEST(PoolLimitTest, BlocksIdleForLessThanHalfAMinuteStayEvenAboveTheLimit) {
    const Given late = this->Allocate(8192);
    const Given inTime = this->Allocate(12'288);
    const Given early = this->Allocate(16'384);
    const Given raised = this->RaiseIdleTotal(400);
    this->time_.Advance(seconds(29));
    this->Release(early);  // 31 s before the check
    this->time_.Advance(milliseconds(1'999));
    this->Release(inTime);  // in second 30: 30 s as whole seconds count
    this->time_.Advance(milliseconds(1));
    this->Release(late);  // 29 s
    ClearLog();
    this->time_.Advance(seconds(29));
    const std::uint64_t nTotal = 400 * kMiB + 8192 + 12'288 + 16'384;
    EXPECT_THAT(TakeLog(), ElementsAre(TypeParam::Limit(nTotal), TypeParam::Freed(inTime.nAddress, 12'288),
                                       TypeParam::Freed(early.nAddress, 16'384),
                                       TypeParam::Freed(raised.nAddress, kMiB)));
    EXPECT_EQ(this->ThePool().RedundantSize(), 399 * kMiB + 8192);
    this->time_.Advance(minutes(1));
    EXPECT_THAT(TakeLog(),
                ElementsAre(TypeParam::Limit(399 * kMiB + 8192), TypeParam::Freed(late.nAddress, 8192)));
}

TYPED_TEST(PoolLimitTest, WhatBecameIdleTenSecondsAgoStays) {
    const Given early = this->Allocate(150 * kMiB);
    const Given late = this->Allocate(50 * kMiB);
    this->RaiseIdleTotal(200);
    this->Release(early);
    this->time_.Advance(seconds(50));
    this->Release(late);
    ClearLog();
    this->time_.Advance(seconds(10));
    EXPECT_EQ(Log().front(), TypeParam::Limit(400 * kMiB));
    EXPECT_EQ(Log().size(), 3U);
    EXPECT_EQ(this->ThePool().RedundantSize(), (199 + 50) * kMiB);
    EXPECT_EQ(this->Allocate(50 * kMiB).nAddress, late.nAddress);
}

TYPED_TEST(PoolLimitTest, BusyBlocksAreNeverFreed) {
    const Given busy = this->Allocate(4096);
    this->RaiseIdleTotal(400);
    this->time_.Advance(minutes(60));
    EXPECT_EQ(TypeParam::TimesGivenBack(), 1);
    this->Release(busy);
    EXPECT_EQ(this->Allocate(4096).nAddress, busy.nAddress);
}

TYPED_TEST(PoolLimitTest, BelowTheLimitIdleBlocksStayForEver) {
    const Given idle = this->AllocateIdle(4096);
    this->time_.Advance(std::chrono::hours(24));
    EXPECT_EQ(TypeParam::TimesGivenBack(), 0);
    EXPECT_EQ(this->Allocate(4096).nAddress, idle.nAddress);
}

// ---- the dumps -------------------------------------------------------------------------------------

template <class Kind>
class PoolDumpTimeTest : public PoolTest<Kind> {
  protected:
    std::size_t DumpsIn(seconds span) {
        ClearLog();
        this->time_.Advance(span);
        return Of({"DumpMemoryInfo"}, TakeLog()).size() / Kind::kLinesOfADump;
    }
    static constexpr seconds kWakeUp{15};
};

TYPED_TEST_SUITE(PoolDumpTimeTest, AllKinds, KindNames);

TYPED_TEST(PoolDumpTimeTest, AtLevelsZeroAndOneADumpComesEveryMinute) {
    for (const int nLevel : {0, 1}) {
        FakeLog::SetLevel(nLevel);
        EXPECT_EQ(this->DumpsIn(seconds(45)), 0U);
        EXPECT_EQ(this->DumpsIn(seconds(15)), 1U);
        EXPECT_EQ(this->DumpsIn(minutes(10)), 10U);
    }
}

TYPED_TEST(PoolDumpTimeTest, TheFirstDumpFollowsTheFirstLimitLine) {
    FakeLog::SetLevel(0);
    this->time_.Advance(minutes(1));
    const Lines lines = TakeLog();
    ASSERT_EQ(lines.size(), 1 + TypeParam::kLinesOfADump);
    EXPECT_EQ(lines[0], TypeParam::Limit(0));
    EXPECT_EQ(Of({"DumpMemoryInfo"}, lines).size(), TypeParam::kLinesOfADump);
}

TYPED_TEST(PoolDumpTimeTest, AboveLevelOneNoDumpIsWritten) {
    for (const int nLevel : {2, 3, 4, 5}) {
        FakeLog::SetLevel(nLevel);
        EXPECT_EQ(this->DumpsIn(minutes(10)), 0U) << nLevel;
    }
}

TYPED_TEST(PoolDumpTimeTest, OnlyWakeUpsAtALowLevelCount) {
    FakeLog::SetLevel(1);
    EXPECT_EQ(this->DumpsIn(3 * this->kWakeUp), 0U);
    FakeLog::SetLevel(2);
    EXPECT_EQ(this->DumpsIn(7 * this->kWakeUp), 0U);
    FakeLog::SetLevel(0);
    EXPECT_EQ(this->DumpsIn(this->kWakeUp), 1U);
    EXPECT_EQ(this->DumpsIn(3 * this->kWakeUp), 0U);
    EXPECT_EQ(this->DumpsIn(this->kWakeUp), 1U);
}

TYPED_TEST(PoolDumpTimeTest, TheLimitLineKeepsItsOwnCount) {
    FakeLog::SetLevel(4);
    this->time_.Advance(2 * this->kWakeUp);
    FakeLog::SetLevel(1);
    ClearLog();
    this->time_.Advance(2 * this->kWakeUp);
    EXPECT_THAT(TakeLog(), ElementsAre(TypeParam::Limit(0)));
    this->time_.Advance(2 * this->kWakeUp);
    EXPECT_EQ(TakeLog().size(), TypeParam::kLinesOfADump);
}

TYPED_TEST(PoolDumpTimeTest, TheLevelCountsAtTheWakeUpNotBetween) {
    FakeLog::SetLevel(0);
    this->time_.Advance(seconds(59));
    FakeLog::SetLevel(2);
    EXPECT_EQ(this->DumpsIn(seconds(1)), 0U);
    FakeLog::SetLevel(0);
    EXPECT_EQ(this->DumpsIn(this->kWakeUp), 1U);
}

}  // namespace
}  // namespace ztk::test
