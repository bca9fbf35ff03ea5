// How a pool ends: all blocks are given back, then the reclaimer is stopped, then event and lock go.
#include <pthread.h>

#include <atomic>

#include "pool_fixture.h"

/// The join itself, neither counted nor made to fail.
extern "C" int __real_pthread_join(pthread_t thread, void** pResult);

namespace ztk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::vector<std::string> kSteps = {"pthread_cond_broadcast", "pthread_join", "pthread_cond_destroy",
                                         "pthread_mutex_destroy", "pthread_rwlock_destroy"};

template <class Kind>
class PoolTeardownTest : public PoolTest<Kind> {};

TYPED_TEST_SUITE(PoolTeardownTest, AllKinds, KindNames);

TYPED_TEST(PoolTeardownTest, GivesBackIdleAndBusyBlocksWithoutALogLine) {
    this->AllocateIdle(4096);
    this->Allocate(8192);
    this->Allocate(8192, 64);
    this->AllocateIdle(4096, 64);
    ClearLog();
    this->pool_.reset();
    EXPECT_THAT(TakeLog(), IsEmpty());
    EXPECT_EQ(TypeParam::TimesGivenBack(), 4);
    EXPECT_EQ(FakeRockit::LiveBlocks(), 0U);
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

TYPED_TEST(PoolTeardownTest, GoesStepByStep) {
    this->Allocate(4096);
    this->AllocateIdle(8192, 64);
    SystemCalls::Record(kSteps);
    int nGivenBackFirst = 0;
    SystemCalls::Before("pthread_cond_broadcast", 1, [&] { nGivenBackFirst = TypeParam::TimesGivenBack(); });
    this->pool_.reset();
    EXPECT_THAT(SystemCalls::Recorded(), ::testing::ElementsAreArray(kSteps));
    EXPECT_EQ(nGivenBackFirst, 2);
}

TYPED_TEST(PoolTeardownTest, StopsTheReclaimerWithinItsWait) {
    const std::int64_t nBefore = this->time_.NowMilliseconds();
    EXPECT_EQ(this->ThePool().UnInit(), 0U);
    EXPECT_EQ(SystemCalls::Count("pthread_join"), 1);
    EXPECT_EQ(this->time_.NowMilliseconds(), nBefore);
    ClearLog();
    this->time_.Advance(std::chrono::hours(1));
    EXPECT_THAT(TakeLog(), IsEmpty()) << "nobody is left to write";
}

TYPED_TEST(PoolTeardownTest, ReportsHowTheLockWasDestroyed) {
    SystemCalls::Fail("pthread_rwlock_destroy", 1, EBUSY);
    EXPECT_EQ(this->ThePool().UnInit(), static_cast<Status>(EBUSY));
}

TYPED_TEST(PoolTeardownTest, EndsOnlyOnce) {
    EXPECT_EQ(this->ThePool().UnInit(), 0U);
    SystemCalls::Record(kSteps);
    EXPECT_EQ(this->ThePool().UnInit(), 0U);
    this->pool_.reset();
    EXPECT_THAT(SystemCalls::Recorded(), IsEmpty());
}

TYPED_TEST(PoolTeardownTest, AClosedPoolRefusesRequestsQuietly) {
    const Given idle = this->AllocateIdle(4096);
    const Given busy = this->Allocate(8192);
    this->ThePool().UnInit();
    ClearLog();
    const int nAsked = TypeParam::TimesAsked();
    Given given;
    EXPECT_EQ(TypeParam::Allocate(this->ThePool(), 4096, 0, given), ERR_NO_MEMORY);
    EXPECT_EQ(TypeParam::Allocate(this->ThePool(), 4096, 64, given), ERR_NO_MEMORY);
    EXPECT_EQ(given, Given{});
    EXPECT_EQ(TypeParam::Release(this->ThePool(), busy.nAddress), ERR_INVALID_PARAM);
    EXPECT_EQ(TypeParam::Release(this->ThePool(), idle.nAddress), ERR_INVALID_PARAM);
    EXPECT_EQ(TypeParam::Release(this->ThePool(), 0), ERR_INVALID_PARAM);
    EXPECT_EQ(TypeParam::TimesAsked(), nAsked);
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TYPED_TEST(PoolTeardownTest, ARequestThatComesWhileTheReclaimerIsStoppedIsRefused) {
    const Given busy = this->Allocate(4096);
    ClearLog();
    Status nAllocated = 0;
    Status nReleased = 0;
    Given given;
    SystemCalls::Before("pthread_join", 1, [&] {
        nAllocated = TypeParam::Allocate(this->ThePool(), 4096, 0, given);
        nReleased = TypeParam::Release(this->ThePool(), busy.nAddress);
    });
    this->pool_.reset();
    EXPECT_EQ(nAllocated, ERR_NO_MEMORY);
    EXPECT_EQ(nReleased, ERR_INVALID_PARAM);
    EXPECT_EQ(TypeParam::TimesAsked(), TypeParam::TimesGivenBack());
    EXPECT_THAT(TakeLog(), IsEmpty());
}

// ---- a join that fails -----------------------------------------------------------------------------

std::atomic<pthread_t> g_reclaimer{};

TYPED_TEST(PoolTeardownTest, AFailedJoinIsLoggedAndTheTeardownGoesOn) {
    FakeLog::OnLine([](const LogLine& line) {
        if (line.function == TypeParam::kThreadFunction) g_reclaimer = pthread_self();
    });
    this->pool_.reset();
    this->StartPool();
    SystemCalls::Reset();
    SystemCalls::Record(kSteps);
    // The thread must be gone before its event is; only the report is made to fail.
    SystemCalls::Before("pthread_join", 1, [] { EXPECT_EQ(__real_pthread_join(g_reclaimer, nullptr), 0); });
    SystemCalls::Fail("pthread_join", 1, EINVAL);
    this->pool_.reset();
    EXPECT_THAT(TakeLog(), ElementsAre(Tagged(4, "UnInit", TypeParam::kJoinLine,
                                              "Wait for thread to exit failed, return code: 22")));
    EXPECT_THAT(SystemCalls::Recorded(), ::testing::ElementsAreArray(kSteps));
}

// ---- giving everything back ------------------------------------------------------------------------

template <class Kind>
class PoolFreeAllTest : public PoolTest<Kind> {};

TYPED_TEST_SUITE(PoolFreeAllTest, AllKinds, KindNames);

TYPED_TEST(PoolFreeAllTest, GivesBackEveryBlockAndKeepsTheIdleTotal) {
    this->AllocateIdle(4096);
    const Given busy = this->Allocate(8192, 64);
    ClearLog();
    this->ThePool().FreeAllMemory();
    EXPECT_THAT(TakeLog(), IsEmpty());
    EXPECT_EQ(TypeParam::TimesGivenBack(), 2);
    EXPECT_EQ(this->ThePool().RedundantSize(), 4096U);
    EXPECT_EQ(TypeParam::Release(this->ThePool(), busy.nAddress), ERR_INVALID_PARAM);
    EXPECT_THAT(TakeLog(), ElementsAre(TypeParam::UnknownAddress()));
}

TYPED_TEST(PoolFreeAllTest, LeavesAnEmptyPoolThatTheReclaimerAndTheDumpStandIn) {
    this->AllocateIdle(4096);
    this->ThePool().FreeAllMemory();
    FakeLog::SetLevel(1);
    ClearLog();
    this->time_.Advance(std::chrono::minutes(1));
    EXPECT_EQ(Log().size(), 1 + TypeParam::kLinesOfADump);
    EXPECT_EQ(Log().front(), TypeParam::Limit(4096));
}

}  // namespace
}  // namespace ztk::test
