// What a request receives: an idle block that fits, or a new one.
#include <cstring>

#include "pool_fixture.h"

namespace ztk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

template <class Kind>
class PoolHandOutTest : public PoolTest<Kind> {};

TYPED_TEST_SUITE(PoolHandOutTest, AllKinds, KindNames);

TYPED_TEST(PoolHandOutTest, ANewBlockIsLoggedWithItsAddressAndSize) {
    const Given given = this->Allocate(4096);
    EXPECT_THAT(TakeLog(), ElementsAre(TypeParam::Allocated(given.nAddress, 4096)));
    EXPECT_EQ(this->ThePool().RedundantSize(), 0U);
}

TYPED_TEST(PoolHandOutTest, ANewBlockCanBeWrittenToItsEnd) {
    const Given given = this->Allocate(10'000);
    std::memset(reinterpret_cast<void*>(given.nAddress), 0x5A, 10'000);
    this->Release(given);
}

TYPED_TEST(PoolHandOutTest, AReleasedBlockIsHandedOutAgainAsItWasWithoutALogLine) {
    const Given first = this->Allocate(4096);
    ClearLog();
    this->Release(first);
    EXPECT_EQ(this->ThePool().RedundantSize(), 4096U);
    EXPECT_EQ(this->Allocate(4096), first);
    EXPECT_EQ(this->ThePool().RedundantSize(), 0U);
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TYPED_TEST(PoolHandOutTest, AReuseAsksTheSystemForNothing) {
    this->AllocateIdle(4096);
    const int nAsked = TypeParam::TimesAsked();
    Bookkeeping::FailNew(0);
    Given given;
    const Status nStatus = TypeParam::Allocate(this->ThePool(), 4096, 0, given);
    const int nAllocations = Bookkeeping::Count();
    Bookkeeping::FailNew(-1);
    EXPECT_EQ(nStatus, ZTK_SUCCESS);
    EXPECT_EQ(nAllocations, 0);
    EXPECT_EQ(TypeParam::TimesAsked(), nAsked);
}

TYPED_TEST(PoolHandOutTest, ABusyBlockIsNeverHandedOutTwice) {
    const Given first = this->Allocate(4096);
    const Given second = this->Allocate(4096);
    EXPECT_NE(first.nAddress, second.nAddress);
    this->Release(first);
    EXPECT_EQ(this->Allocate(4096).nAddress, first.nAddress);
    EXPECT_NE(this->Allocate(4096).nAddress, first.nAddress);
}

TYPED_TEST(PoolHandOutTest, TheSmallestIdleBlockThatFitsIsTaken) {
    const Given eight = this->Allocate(8 * kMiB);
    const Given six = this->Allocate(6 * kMiB);
    const Given four = this->Allocate(4 * kMiB);
    this->Release(eight);
    this->Release(four);
    this->Release(six);
    EXPECT_EQ(this->Allocate(5 * kMiB).nAddress, six.nAddress);
    EXPECT_EQ(this->Allocate(5 * kMiB).nAddress, eight.nAddress);
    EXPECT_EQ(this->Allocate(kMiB).nAddress, four.nAddress);
}

TYPED_TEST(PoolHandOutTest, OfIdleBlocksOfOneSizeEachServesOneRequest) {
    const Given first = this->Allocate(4096);
    const Given second = this->Allocate(4096);
    this->Release(first);
    this->Release(second);
    const std::uint64_t nOne = this->Allocate(4096).nAddress;
    const std::uint64_t nOther = this->Allocate(4096).nAddress;
    EXPECT_THAT((std::vector{nOne, nOther}),
                ::testing::UnorderedElementsAre(first.nAddress, second.nAddress));
}

struct Reuse {
    const char* szWhy;
    std::uint64_t nIdle;
    std::uint64_t nWanted;
    bool bReused;
};

constexpr Reuse kReuses[] = {
    {"smaller, same class", 10 * kMiB, kMiB, true},
    {"one byte of ten megabytes", 10'485'760, 1, true},
    {"one byte too small", 4096, 4097, false},
    {"the request is of the next class", 10'485'760, 20'971'520, false},
    {"class 1 both, 19 MiB apart", 40 * kMiB, 21 * kMiB, true},
    {"within the tolerance, but of class 0", 40 * kMiB, 19 * kMiB, false},
    {"the largest of class 1 for the smallest", 52'428'799, 22'000'000, true},
    {"exactly the tolerance apart", 83'886'080, 52'428'800, true},
    {"one byte more than the tolerance apart", 83'886'081, 52'428'800, false},
    {"class 3 both, just below 20 MiB apart", 120 * kMiB, 100 * kMiB + 1, true},
    {"class 3 both, 49 MiB apart", 149 * kMiB, 100 * kMiB, false},
};

TYPED_TEST(PoolHandOutTest, AnIdleBlockServesItsSizeClassWithinTheTolerance) {
    for (const Reuse& reuse : kReuses) {
        SCOPED_TRACE(reuse.szWhy);
        const Given idle = this->AllocateIdle(reuse.nIdle);
        ASSERT_EQ(this->ThePool().RedundantSize(), reuse.nIdle);
        ClearLog();
        // A request for a single byte cannot be served by a new segment; here it need not be.
        const Given given = this->Allocate(reuse.nWanted);
        EXPECT_EQ(given.nAddress == idle.nAddress, reuse.bReused);
        EXPECT_EQ(this->ThePool().RedundantSize(), reuse.bReused ? 0 : reuse.nIdle);
        EXPECT_EQ(Log(),
                  reuse.bReused ? Lines{} : Lines{TypeParam::Allocated(given.nAddress, reuse.nWanted)});
        this->Release(given);
        FreeUnbusy(this->ThePool(), 0);
    }
}

TYPED_TEST(PoolHandOutTest, AReusedBlockKeepsItsOwnSize) {
    const Given ten = this->AllocateIdle(10 * kMiB);
    EXPECT_EQ(this->Allocate(kMiB).nAddress, ten.nAddress);
    EXPECT_EQ(this->ThePool().RedundantSize(), 0U);
    this->Release(ten);
    EXPECT_EQ(this->ThePool().RedundantSize(), 10 * kMiB);
    EXPECT_EQ(this->Allocate(10 * kMiB).nAddress, ten.nAddress);
}

TYPED_TEST(PoolHandOutTest, ANewBlockDoesNotChangeTheIdleTotal) {
    this->AllocateIdle(4096);
    this->Allocate(8192);
    EXPECT_EQ(this->ThePool().RedundantSize(), 4096U);
}

TYPED_TEST(PoolHandOutTest, BlocksOfDifferentAlignmentsAreNeverMixed) {
    const Given plain = this->AllocateIdle(8192, 0);
    const Given by64 = this->AllocateIdle(8192, 64);
    const Given by32 = this->AllocateIdle(8192, 32);
    const Given negative = this->AllocateIdle(8192, -1);
    EXPECT_EQ(this->ThePool().RedundantSize(), 4 * 8192U);
    EXPECT_EQ(this->Allocate(8192, -1).nAddress, negative.nAddress);
    EXPECT_EQ(this->Allocate(8192, 32).nAddress, by32.nAddress);
    EXPECT_EQ(this->Allocate(8192, 0).nAddress, plain.nAddress);
    EXPECT_EQ(this->Allocate(8192, 64).nAddress, by64.nAddress);
    EXPECT_EQ(this->ThePool().RedundantSize(), 0U);
}

TYPED_TEST(PoolHandOutTest, AnIdleBlockOfAnotherAlignmentIsNoHelp) {
    const Given by64 = this->AllocateIdle(8192, 64);
    ClearLog();
    const Given plain = this->Allocate(8192, 0);
    const Given by32 = this->Allocate(8192, 32);
    EXPECT_THAT(TakeLog(), ElementsAre(TypeParam::Allocated(plain.nAddress, 8192),
                                       TypeParam::Allocated(by32.nAddress, 8192)));
    EXPECT_EQ(this->ThePool().RedundantSize(), 8192U);
    EXPECT_EQ(this->Allocate(8192, 64).nAddress, by64.nAddress);
}

TYPED_TEST(PoolHandOutTest, AnAlignedBlockIsAMultipleOfItsAlignment) {
    for (const std::int32_t nAlign : {1, 2, 8, 16, 24, 64, 100, 4096, 5000}) {
        const Given given = this->Allocate(16'384, nAlign);
        EXPECT_EQ(given.nAddress % static_cast<std::uint64_t>(nAlign), 0U) << nAlign;
    }
}

TYPED_TEST(PoolHandOutTest, AnAlignmentOfZeroOrLessGivesAnUnalignedBlock) {
    for (const std::int32_t nAlign : {0, -1, -64, INT32_MIN}) {
        const Given given = this->AllocateIdle(4096, nAlign);
        EXPECT_EQ(given.nAddress % 8, 0U);
    }
    ClearLog();
    FreeUnbusy(this->ThePool(), 0);
    EXPECT_EQ(Log().size(), 4U);
    EXPECT_EQ(TypeParam::TimesGivenBack(), 4);
}

}  // namespace
}  // namespace ztk::test
