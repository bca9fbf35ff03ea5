// How blocks are taken back.
#include "pool_fixture.h"

namespace ztk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

template <class Kind>
class PoolReleaseTest : public PoolTest<Kind> {
  protected:
    Status ReleaseAddress(std::uint64_t nAddress) { return Kind::Release(this->ThePool(), nAddress); }

    void ExpectRefusedAsUnknown(std::uint64_t nAddress) {
        ClearLog();
        EXPECT_EQ(ReleaseAddress(nAddress), ERR_INVALID_PARAM);
        EXPECT_THAT(TakeLog(), ElementsAre(Kind::UnknownAddress()));
    }
};

TYPED_TEST_SUITE(PoolReleaseTest, AllKinds, KindNames);

TYPED_TEST(PoolReleaseTest, AddsTheBlocksOwnSizeToTheIdleTotal) {
    const Given small = this->Allocate(4096);
    const Given large = this->Allocate(10'000, 64);
    this->Release(small);
    EXPECT_EQ(this->ThePool().RedundantSize(), 4096U);
    this->Release(large);
    EXPECT_EQ(this->ThePool().RedundantSize(), 14'096U);
}

TYPED_TEST(PoolReleaseTest, WritesNoLogLineAndGivesNothingBack) {
    const Given given = this->Allocate(4096);
    ClearLog();
    const int nGivenBack = TypeParam::TimesGivenBack();
    this->Release(given);
    EXPECT_EQ(TypeParam::TimesGivenBack(), nGivenBack);
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TYPED_TEST(PoolReleaseTest, NeedsNoMemory) {
    const Given given = this->Allocate(4096);
    Bookkeeping::FailNew(0);
    const Status nStatus = this->ReleaseAddress(given.nAddress);
    Bookkeeping::FailNew(-1);
    EXPECT_EQ(nStatus, ZTK_SUCCESS);
    EXPECT_EQ(this->ThePool().RedundantSize(), 4096U);
}

TYPED_TEST(PoolReleaseTest, ANullAddressIsRefusedWithoutALogLine) {
    this->AllocateIdle(4096);
    ClearLog();
    EXPECT_EQ(this->ReleaseAddress(0), ERR_INVALID_PARAM);
    EXPECT_THAT(TakeLog(), IsEmpty());
    EXPECT_EQ(this->ThePool().RedundantSize(), 4096U);
}

TYPED_TEST(PoolReleaseTest, ANullAddressIsRefusedEvenWhileTheLockIsHeld) ZTK_NO_LOCK_ANALYSIS {
    this->ThePool().PrepareFork();
    Status nStatus = ZTK_SUCCESS;
    std::thread([&] { nStatus = this->ReleaseAddress(0); }).join();
    this->ThePool().ResumeParent();
    EXPECT_EQ(nStatus, ERR_INVALID_PARAM);
}

TYPED_TEST(PoolReleaseTest, AnAddressNeverHandedOutIsRefusedAndLogged) {
    this->AllocateIdle(4096);
    this->ExpectRefusedAsUnknown(0x123456);
    this->ExpectRefusedAsUnknown(UINT64_MAX);
    EXPECT_EQ(this->ThePool().RedundantSize(), 4096U);
    ExpectLockIsFree(this->ThePool());
}

TYPED_TEST(PoolReleaseTest, AnAddressInsideABlockIsUnknown) {
    const Given given = this->Allocate(4096);
    this->ExpectRefusedAsUnknown(given.nAddress + 1);
    this->ExpectRefusedAsUnknown(given.nAddress + 128);
    this->ExpectRefusedAsUnknown(given.nAddress - 8);
    this->Release(given);
}

TYPED_TEST(PoolReleaseTest, AnEmptyPoolKnowsNoAddress) {
    this->ExpectRefusedAsUnknown(0x123456);
}

TYPED_TEST(PoolReleaseTest, AnUnknownAddressIsRecordedOnce) {
    const auto newsOfRelease = [this](std::uint64_t nAddress) {
        Bookkeeping::FailNew(-1);
        this->ReleaseAddress(nAddress);
        return Bookkeeping::Count();
    };
    EXPECT_EQ(newsOfRelease(0x123456), 1);
    EXPECT_EQ(newsOfRelease(0x123456), 0);
    EXPECT_EQ(newsOfRelease(0x123457), 1);
}

TYPED_TEST(PoolReleaseTest, AnUnknownAddressIsRefusedAlikeWhenThereIsNoMemoryToRecordIt) {
    Bookkeeping::FailNew(0);
    const Status nStatus = this->ReleaseAddress(0x123456);
    Bookkeeping::FailNew(-1);
    EXPECT_EQ(nStatus, ERR_INVALID_PARAM);
    EXPECT_THAT(TakeLog(), ElementsAre(TypeParam::UnknownAddress()));
    ExpectLockIsFree(this->ThePool());
    this->Release(this->Allocate(4096));
}

TYPED_TEST(PoolReleaseTest, AnUnknownAddressDoesNotDisturbTheBlocksThereAre) {
    const Given idle = this->AllocateIdle(4096);
    const Given busy = this->Allocate(8192, 64);
    this->ExpectRefusedAsUnknown(0x123456);
    this->Release(busy);
    EXPECT_EQ(this->Allocate(4096).nAddress, idle.nAddress);
    EXPECT_EQ(this->ThePool().RedundantSize(), 8192U);
}

TYPED_TEST(PoolReleaseTest, ABlockGivenBackToTheSystemIsUnknown) {
    const Given given = this->AllocateIdle(4096);
    FreeUnbusy(this->ThePool(), 0);
    this->ExpectRefusedAsUnknown(given.nAddress);
}

TYPED_TEST(PoolReleaseTest, ASecondReleaseSucceedsAndCountsAgain) {
    const Given given = this->Allocate(4096);
    ClearLog();
    this->Release(given);
    this->Release(given);
    EXPECT_EQ(this->ThePool().RedundantSize(), 8192U);
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TYPED_TEST(PoolReleaseTest, ABlockReleasedTwiceServesOneRequestAndLeavesItsSurplusInTheTotal) {
    const Given given = this->AllocateIdle(4096);
    this->Release(given);
    EXPECT_EQ(this->Allocate(4096).nAddress, given.nAddress);
    EXPECT_EQ(this->ThePool().RedundantSize(), 4096U);
    EXPECT_NE(this->Allocate(4096).nAddress, given.nAddress);
}

TYPED_TEST(PoolReleaseTest, ALateReleaseTakesTheBlockFromItsNewHolder) {
    const Given given = this->AllocateIdle(4096);
    ASSERT_EQ(this->Allocate(4096).nAddress, given.nAddress);
    this->Release(given);
    EXPECT_EQ(this->Allocate(4096).nAddress, given.nAddress);
}

// ---- giving idle blocks back -----------------------------------------------------------------------

template <class Kind>
class PoolFreeUnbusyTest : public PoolTest<Kind> {};

TYPED_TEST_SUITE(PoolFreeUnbusyTest, AllKinds, KindNames);

TYPED_TEST(PoolFreeUnbusyTest, GivesBackEveryIdleBlockAndLeavesBusyOnes) {
    const Given idle = this->Allocate(4096);
    const Given busy = this->Allocate(8192);
    const Given aligned = this->Allocate(12'288, 64);
    this->Release(idle);
    this->Release(aligned);
    ClearLog();
    FreeUnbusy(this->ThePool(), 0);
    EXPECT_THAT(TakeLog(), ElementsAre(TypeParam::Freed(idle.nAddress, 4096),
                                       TypeParam::Freed(aligned.nAddress, 12'288)));
    EXPECT_EQ(TypeParam::TimesGivenBack(), 2);
    EXPECT_EQ(this->ThePool().RedundantSize(), 0U);
    this->Release(busy);
}

TYPED_TEST(PoolFreeUnbusyTest, GoesByAlignmentThenSizeClassThenSize) {
    const Given by64 = this->Allocate(4096, 64);
    const Given large = this->Allocate(21 * kMiB, 0);
    const Given by8 = this->Allocate(4096, 8);
    const Given medium = this->Allocate(8192, 0);
    const Given negative = this->Allocate(4096, -8);
    const Given small = this->Allocate(4096, 0);
    for (const Given& given : {by64, large, by8, medium, negative, small})
        this->Release(given);
    ClearLog();
    FreeUnbusy(this->ThePool(), 0);
    EXPECT_THAT(
        TakeLog(),
        ElementsAre(TypeParam::Freed(negative.nAddress, 4096), TypeParam::Freed(small.nAddress, 4096),
                    TypeParam::Freed(medium.nAddress, 8192), TypeParam::Freed(large.nAddress, 21 * kMiB),
                    TypeParam::Freed(by8.nAddress, 4096), TypeParam::Freed(by64.nAddress, 4096)));
}

TYPED_TEST(PoolFreeUnbusyTest, FindsIdleBlocksBetweenBusyOnesAndKeepsTheOthersInOrder) {
    std::vector<Given> given;
    for (std::uint64_t n = 1; n <= 7; ++n)
        given.push_back(this->Allocate(n * 4096));
    for (const std::size_t i : {1U, 2U, 4U, 6U})
        this->Release(given[i]);
    ClearLog();
    FreeUnbusy(this->ThePool(), 0);
    EXPECT_THAT(TakeLog(), ElementsAre(TypeParam::Freed(given[1].nAddress, 2 * 4096),
                                       TypeParam::Freed(given[2].nAddress, 3 * 4096),
                                       TypeParam::Freed(given[4].nAddress, 5 * 4096),
                                       TypeParam::Freed(given[6].nAddress, 7 * 4096)));
    for (const std::size_t i : {5U, 0U, 3U})
        this->Release(given[i]);
    EXPECT_EQ(this->Allocate(2 * 4096).nAddress, given[3].nAddress);
    EXPECT_EQ(this->Allocate(4096).nAddress, given[0].nAddress);
    EXPECT_EQ(this->Allocate(4096).nAddress, given[5].nAddress);
}

TYPED_TEST(PoolFreeUnbusyTest, OfAnEmptyPoolDoesNothing) {
    FreeUnbusy(this->ThePool(), 0);
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TYPED_TEST(PoolFreeUnbusyTest, ABlockReleasedTwiceIsGivenBackOnce) {
    const Given given = this->AllocateIdle(4096);
    this->Release(given);
    ClearLog();
    FreeUnbusy(this->ThePool(), 0);
    EXPECT_THAT(TakeLog(), ElementsAre(TypeParam::Freed(given.nAddress, 4096)));
    EXPECT_EQ(TypeParam::TimesGivenBack(), 1);
    EXPECT_EQ(this->ThePool().RedundantSize(), 4096U);
}

TYPED_TEST(PoolFreeUnbusyTest, ComparesWholeSecondsSinceTheRelease) {
    using std::chrono::milliseconds;
    const Given first = this->Allocate(4096);
    const Given second = this->Allocate(8192);
    const Given third = this->Allocate(12'288);
    this->time_.Advance(milliseconds(1'999));
    this->Release(first);  // in second 1
    this->time_.Advance(milliseconds(1));
    this->Release(second);  // in second 2
    this->time_.Advance(milliseconds(1'000));
    this->Release(third);                       // in second 3
    this->time_.Advance(milliseconds(29'000));  // second 32
    ClearLog();
    FreeUnbusy(this->ThePool(), 30);
    EXPECT_THAT(TakeLog(),
                ElementsAre(TypeParam::Freed(first.nAddress, 4096), TypeParam::Freed(second.nAddress, 8192)));
    EXPECT_EQ(this->ThePool().RedundantSize(), 12'288U);
}

TYPED_TEST(PoolFreeUnbusyTest, AClockSetBackKeepsEveryBlock) {
    this->AllocateIdle(4096);
    ClearLog();
    this->time_.Step(std::chrono::seconds(-1));
    FreeUnbusy(this->ThePool(), 0);
    EXPECT_THAT(TakeLog(), IsEmpty());
    EXPECT_EQ(this->ThePool().RedundantSize(), 4096U);
    this->time_.Step(std::chrono::seconds(1));
    FreeUnbusy(this->ThePool(), 0);
    EXPECT_EQ(this->ThePool().RedundantSize(), 0U);
}

TYPED_TEST(PoolFreeUnbusyTest, AReleaseThatCannotReadTheClockKeepsTheTimeOfTheHandOut) {
    using std::chrono::seconds;
    const Given given = this->Allocate(4096);
    this->time_.Advance(seconds(30));
    this->time_.BreakClock(true);
    this->Release(given);
    this->time_.BreakClock(false);
    ClearLog();
    FreeUnbusy(this->ThePool(), 31);
    EXPECT_THAT(TakeLog(), IsEmpty());
    FreeUnbusy(this->ThePool(), 30);
    EXPECT_THAT(TakeLog(), ElementsAre(TypeParam::Freed(given.nAddress, 4096)));
}

TYPED_TEST(PoolFreeUnbusyTest, AReuseRenewsTheTimeOfLastUse) {
    using std::chrono::seconds;
    const Given given = this->AllocateIdle(4096);
    this->time_.Advance(seconds(100));
    ASSERT_EQ(this->Allocate(4096).nAddress, given.nAddress);
    this->time_.BreakClock(true);
    this->Release(given);  // the time of the hand-out stays
    this->time_.BreakClock(false);
    FreeUnbusy(this->ThePool(), 1);
    EXPECT_EQ(this->ThePool().RedundantSize(), 4096U);
}

}  // namespace
}  // namespace ztk::test
