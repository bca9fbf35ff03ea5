// What a pool does when the system refuses a block: it gives all idle blocks back and asks once more.
#include "pool_fixture.h"

namespace ztk::test {
namespace {

using ::testing::ElementsAre;

template <class Kind>
class PoolRetryTest : public PoolTest<Kind> {
  protected:
    static constexpr std::uint64_t kSize = 9000;

    /// An allocation that fails for good.
    void ExpectFailure(std::uint64_t nSize, std::int32_t nAlign) {
        Given given;
        EXPECT_EQ(Kind::Allocate(this->ThePool(), nSize, nAlign, given), ERR_NO_MEMORY);
        EXPECT_EQ(given, Given{}) << "outputs are written on success only";
        ExpectLockIsFree(this->ThePool());
    }

    void ExpectUsable() {
        Kind::LetMakingSucceed();
        this->Release(this->Allocate(kSize));
    }
};

TYPED_TEST_SUITE(PoolRetryTest, AllKinds, KindNames);

TYPED_TEST(PoolRetryTest, OneFailureGivesEveryIdleBlockBackAndSucceeds) {
    const Given by64 = this->Allocate(4096, 64);
    const Given plain = this->Allocate(8192);
    const Given busy = this->Allocate(4096);
    const Given large = this->Allocate(21 * kMiB);
    for (const Given& given : {by64, plain, large})
        this->Release(given);
    ClearLog();
    TypeParam::FailMaking(1);
    const Given given = this->Allocate(this->kSize);
    EXPECT_THAT(TakeLog(), ElementsAre(TypeParam::MakingFailed(this->kSize, 0), TypeParam::Retry(),
                                       TypeParam::Freed(plain.nAddress, 8192),
                                       TypeParam::Freed(large.nAddress, 21 * kMiB),
                                       TypeParam::Freed(by64.nAddress, 4096),
                                       TypeParam::Allocated(given.nAddress, this->kSize)));
    EXPECT_EQ(this->ThePool().RedundantSize(), 0U);
    this->Release(given);
    this->Release(busy);
}

TYPED_TEST(PoolRetryTest, IdleBlocksGoWhateverTheirAge) {
    this->AllocateIdle(4096);
    TypeParam::FailMaking(1);
    this->Allocate(this->kSize);
    EXPECT_EQ(this->ThePool().RedundantSize(), 0U);
    EXPECT_EQ(TypeParam::TimesGivenBack(), 1);
}

TYPED_TEST(PoolRetryTest, ASecondFailureEndsTheRequest) {
    const Given idle = this->AllocateIdle(4096);
    const Given busy = this->Allocate(8192);
    ClearLog();
    TypeParam::FailMaking(0);
    this->ExpectFailure(this->kSize, 0);
    EXPECT_THAT(TakeLog(),
                ElementsAre(TypeParam::MakingFailed(this->kSize, 0), TypeParam::Retry(),
                            TypeParam::Freed(idle.nAddress, 4096), TypeParam::MakingFailed(this->kSize, 0),
                            TypeParam::Failed(this->kSize, 0)));
    EXPECT_EQ(this->ThePool().RedundantSize(), 0U);
    this->Release(busy);
    this->ExpectUsable();
}

TYPED_TEST(PoolRetryTest, AnEmptyPoolRetriesAllTheSame) {
    TypeParam::FailMaking(0);
    const int nAskedBefore = TypeParam::TimesAsked();
    this->ExpectFailure(this->kSize, 0);
    EXPECT_EQ(TypeParam::TimesAsked(), nAskedBefore + 2);
    EXPECT_THAT(TakeLog(),
                ElementsAre(TypeParam::MakingFailed(this->kSize, 0), TypeParam::Retry(),
                            TypeParam::MakingFailed(this->kSize, 0), TypeParam::Failed(this->kSize, 0)));
    this->ExpectUsable();
}

TYPED_TEST(PoolRetryTest, AnAlignedRequestIsRetriedAndLoggedWithItsAlignment) {
    TypeParam::FailMaking(0);
    this->ExpectFailure(this->kSize, 64);
    EXPECT_THAT(TakeLog(),
                ElementsAre(TypeParam::MakingFailed(this->kSize, 64), TypeParam::Retry(),
                            TypeParam::MakingFailed(this->kSize, 64), TypeParam::Failed(this->kSize, 64)));
    this->ExpectUsable();
}

TYPED_TEST(PoolRetryTest, AnAlignedRequestSucceedsOnItsRetry) {
    TypeParam::FailMaking(1);
    const Given given = this->Allocate(this->kSize, 64);
    EXPECT_EQ(given.nAddress % 64, 0U);
    EXPECT_THAT(TakeLog(), ElementsAre(TypeParam::MakingFailed(this->kSize, 64), TypeParam::Retry(),
                                       TypeParam::Allocated(given.nAddress, this->kSize)));
}

TYPED_TEST(PoolRetryTest, ANegativeAlignmentIsLoggedAsItIs) {
    TypeParam::FailMaking(0);
    this->ExpectFailure(this->kSize, -7);
    EXPECT_THAT(TakeLog(),
                ElementsAre(TypeParam::MakingFailed(this->kSize, -7), TypeParam::Retry(),
                            TypeParam::MakingFailed(this->kSize, -7), TypeParam::Failed(this->kSize, -7)));
}

TYPED_TEST(PoolRetryTest, ARequestThatFailedLeavesNothingBehind) {
    TypeParam::FailMaking(0);
    this->ExpectFailure(this->kSize, 0);
    TypeParam::LetMakingSucceed();
    ClearLog();
    FreeUnbusy(this->ThePool(), 0);
    EXPECT_THAT(TakeLog(), ElementsAre());
    EXPECT_EQ(TypeParam::TimesGivenBack(), 0);
    const Given given = this->Allocate(this->kSize);
    EXPECT_THAT(TakeLog(), ElementsAre(TypeParam::Allocated(given.nAddress, this->kSize)));
}

TYPED_TEST(PoolRetryTest, IdleBlocksOfTheRequestsOwnListGoToo) {
    // The list that the request searched is emptied under its feet and then takes the new block.
    const Given small = this->AllocateIdle(4096);
    ClearLog();
    TypeParam::FailMaking(1);
    const Given given = this->Allocate(8192);
    EXPECT_THAT(TakeLog(), ElementsAre(TypeParam::MakingFailed(8192, 0), TypeParam::Retry(),
                                       TypeParam::Freed(small.nAddress, 4096),
                                       TypeParam::Allocated(given.nAddress, 8192)));
    this->Release(given);
    EXPECT_EQ(this->Allocate(8192).nAddress, given.nAddress);
}

TYPED_TEST(PoolRetryTest, SizesNearTheLargestNumberAreRefused) {
    const Given idle = this->AllocateIdle(4096);
    for (const std::uint64_t nSize :
         {UINT64_MAX, UINT64_MAX - 7, UINT64_MAX - 64, UINT64_MAX - 367'001'600 + 1, UINT64_MAX / 2 + 1}) {
        for (const std::int32_t nAlign : {0, 1, 64, INT32_MAX}) {
            SCOPED_TRACE(testing::Message() << nSize << " by " << nAlign);
            ClearLog();
            this->ExpectFailure(nSize, nAlign);
            const Lines lines = Of({"AllocateMemory"}, TakeLog());
            EXPECT_THAT(lines, ElementsAre(TypeParam::Retry(), TypeParam::Failed(nSize, nAlign)));
        }
    }
    EXPECT_EQ(TypeParam::TimesGivenBack(), 1) << "the idle block " << idle.nAddress;
    this->ExpectUsable();
}

TYPED_TEST(PoolRetryTest, ASizeOfZeroIsRefused) {
    this->AllocateIdle(4096, 8);
    ClearLog();
    this->ExpectFailure(0, 0);
    const Lines lines = Of({"AllocateMemory"}, TakeLog());
    EXPECT_THAT(lines, ElementsAre(TypeParam::Retry(), TypeParam::Failed(0, 0)));
    EXPECT_EQ(this->ThePool().RedundantSize(), 0U);
}

}  // namespace
}  // namespace ztk::test
