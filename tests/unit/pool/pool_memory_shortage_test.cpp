// Out of memory in the pool's own records: the request fails whole, before anything was obtained.
#include "pool_fixture.h"

namespace ztk::test {
namespace {

using ::testing::ElementsAre;

template <class Kind>
class PoolMemoryShortageTest : public PoolTest<Kind> {
  protected:
    static constexpr int kMoreThanEnough = 100;

    /// One request during which the @p nOccurrence-th operator new fails. Returns false if it did not come
    /// to that one.
    bool RequestFailing(int nOccurrence, std::uint64_t nSize, std::int32_t nAlign, Status& nStatus,
                        Given& given) {
        Bookkeeping::FailNew(nOccurrence);
        nStatus = Kind::Allocate(this->ThePool(), nSize, nAlign, given);
        const int nNews = Bookkeeping::Count();
        Bookkeeping::FailNew(-1);
        return nNews >= nOccurrence;
    }

    void ExpectRefusedWhole(Status nStatus, const Given& given, std::uint64_t nSize, std::int32_t nAlign,
                            int nAskedBefore) {
        EXPECT_EQ(nStatus, ERR_NO_MEMORY);
        EXPECT_EQ(given, Given{});
        EXPECT_EQ(Kind::TimesAsked(), nAskedBefore) << "nothing was obtained that could be lost";
        EXPECT_THAT(TakeLog(), ElementsAre(Kind::Failed(nSize, nAlign)));
        ExpectLockIsFree(this->ThePool());
    }

    /// Fails the first, the second, ... operator new of such a request until it succeeds; the n-th time it
    /// is for alignment @p alignOf(n). Returns how many there are.
    template <class AlignOf>
    int FailEachInTurn(std::uint64_t nSize, const AlignOf& alignOf) {
        for (int nOccurrence = 1; nOccurrence < kMoreThanEnough; ++nOccurrence) {
            SCOPED_TRACE(nOccurrence);
            const std::int32_t nAlign = alignOf(nOccurrence);
            ClearLog();
            const int nAsked = Kind::TimesAsked();
            Status nStatus = 0;
            Given given;
            if (!RequestFailing(nOccurrence, nSize, nAlign, nStatus, given)) {
                EXPECT_EQ(nStatus, ZTK_SUCCESS);
                EXPECT_THAT(TakeLog(), ElementsAre(Kind::Allocated(given.nAddress, nSize)));
                this->Release(given);
                return nOccurrence - 1;
            }
            ExpectRefusedWhole(nStatus, given, nSize, nAlign, nAsked);
        }
        ADD_FAILURE() << "the request never succeeds";
        return kMoreThanEnough;
    }
};

TYPED_TEST_SUITE(PoolMemoryShortageTest, AllKinds, KindNames);

// The first request of a place needs a list, room in it and an entry in the index; segments have a name
// besides. Each attempt is for a place of its own, since the lists made on the way stay.

TYPED_TEST(PoolMemoryShortageTest, EveryFailingAllocationOfTheFirstRequestRefusesIt) {
    EXPECT_GE(this->FailEachInTurn(4096, [](int n) { return -n; }), 3);
    EXPECT_EQ(this->ThePool().RedundantSize(), 4096U);
}

TYPED_TEST(PoolMemoryShortageTest, EveryFailingAllocationOfAnAlignedRequestRefusesIt) {
    EXPECT_GE(this->FailEachInTurn(4096, [](int n) { return 64 * n; }), 3);
}

TYPED_TEST(PoolMemoryShortageTest, EveryFailingAllocationOfAFurtherRequestRefusesIt) {
    const Given busy = this->Allocate(4096, 64);
    EXPECT_GE(this->FailEachInTurn(4096, [](int) { return 64; }), 1);
    this->Release(busy);
}

TYPED_TEST(PoolMemoryShortageTest, IdleAndBusyBlocksStayAsTheyWere) {
    const Given idle = this->AllocateIdle(4096);
    const Given busy = this->Allocate(4096, 64);
    this->FailEachInTurn(8192, [](int) { return 64; });
    this->FailEachInTurn(8192, [](int) { return 0; });
    EXPECT_EQ(this->ThePool().RedundantSize(), 4096U + 8192 + 8192);
    EXPECT_EQ(this->Allocate(4096).nAddress, idle.nAddress);
    this->Release(busy);
    EXPECT_EQ(TypeParam::TimesGivenBack(), 0);
}

TYPED_TEST(PoolMemoryShortageTest, AListThatGrowsIsNotHarmed) {
    std::vector<Given> all;
    for (std::uint64_t n = 1; n <= 33; ++n) {
        all.push_back(this->Allocate(n * 1024));
        Status nStatus = 0;
        Given given;
        EXPECT_TRUE(this->RequestFailing(1, n * 1024, 0, nStatus, given));
        EXPECT_EQ(nStatus, ERR_NO_MEMORY);
    }
    for (const Given& given : all)
        this->Release(given);
    EXPECT_EQ(this->ThePool().RedundantSize(), 33 * 34 / 2 * 1024U);
    ClearLog();
    FreeUnbusy(this->ThePool(), 0);
    EXPECT_EQ(Log().size(), 33U);
    EXPECT_EQ(this->ThePool().RedundantSize(), 0U);
}

TYPED_TEST(PoolMemoryShortageTest, WithoutAnyMemoryTheRequestFailsAndAReleaseStillWorks) {
    const Given busy = this->Allocate(4096);
    ClearLog();
    Given given;
    Bookkeeping::FailNew(0);
    const Status nAllocated = TypeParam::Allocate(this->ThePool(), 8192, 8, given);
    const Status nReleased = TypeParam::Release(this->ThePool(), busy.nAddress);
    Bookkeeping::FailNew(-1);
    EXPECT_EQ(nAllocated, ERR_NO_MEMORY);
    EXPECT_EQ(nReleased, ZTK_SUCCESS);
    EXPECT_THAT(TakeLog(), ElementsAre(TypeParam::Failed(8192, 8)));
    EXPECT_EQ(given, Given{});
    EXPECT_EQ(this->ThePool().RedundantSize(), 4096U);
}

TYPED_TEST(PoolMemoryShortageTest, GivingIdleBlocksBackNeedsNoMemory) {
    const Given idle = this->AllocateIdle(4096);
    const Given other = this->AllocateIdle(4096, 64);
    ClearLog();
    Bookkeeping::FailNew(0);
    FreeUnbusy(this->ThePool(), 0);
    Bookkeeping::FailNew(-1);
    EXPECT_THAT(TakeLog(),
                ElementsAre(TypeParam::Freed(idle.nAddress, 4096), TypeParam::Freed(other.nAddress, 4096)));
}

TYPED_TEST(PoolMemoryShortageTest, ADumpWithoutMemoryForItsTextIsLeftOut) {
    this->AllocateIdle(4096);
    ClearLog();
    Bookkeeping::FailNew(0);
    this->ThePool().DumpMemoryInfo();
    Bookkeeping::FailNew(-1);
    EXPECT_THAT(TakeLog(), ElementsAre());
    ExpectLockIsFree(this->ThePool());
    this->ThePool().DumpMemoryInfo();
    EXPECT_EQ(Log().size(), TypeParam::kLinesOfADump);
}

}  // namespace
}  // namespace ztk::test
