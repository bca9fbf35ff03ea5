// How a pool begins: its exit event, its thread, and how it works without them.
#include <pthread.h>
#include <signal.h>

#include <atomic>

#include "pool_fixture.h"

namespace ztk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::atomic<std::uint64_t> g_nThread{0};
std::atomic<int> g_nBlocked{0};

bool IsStartLine(const LogLine& line) {
    return line.function == HeapKind::kThreadFunction || line.function == SharedKind::kThreadFunction;
}

int CountBlockedSignals() {
    sigset_t blocked;
    sigemptyset(&blocked);
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    int nBlocked = 0;
    for (int nSignal = 1; nSignal <= SIGRTMAX; ++nSignal)
        nBlocked += sigismember(&blocked, nSignal) == 1 ? 1 : 0;
    return nBlocked;
}

/// As many as can be blocked at all: fewer under an emulator, which keeps two for itself.
int CountBlockableSignals() {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const int nBlocked = CountBlockedSignals();
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return nBlocked;
}

template <class Kind>
class PoolStartTest : public ::testing::Test {
  protected:
    using Pool = typename Kind::Pool;

    PoolStartTest() { FakeLog::SetLevel(2); }

    void ExpectWorksWithoutReclaimer(Pool& pool) {
        FakeLog::SetLevel(0);
        ClearLog();
        Given first;
        Given second;
        EXPECT_EQ(Kind::Allocate(pool, 4096, 0, first), ZTK_SUCCESS);
        EXPECT_EQ(Kind::Release(pool, first.nAddress), ZTK_SUCCESS);
        time_.Advance(std::chrono::hours(1));
        EXPECT_THAT(TakeLog(), ElementsAre(Kind::Allocated(first.nAddress, 4096)));
        EXPECT_EQ(Kind::Allocate(pool, 4096, 0, second), ZTK_SUCCESS);
        EXPECT_EQ(second, first);
        EXPECT_EQ(Kind::Release(pool, first.nAddress), ZTK_SUCCESS);
        Kind::FailMaking(1);
        EXPECT_EQ(Kind::Allocate(pool, 4097, 0, second), ZTK_SUCCESS);
        EXPECT_THAT(TakeLog(),
                    ElementsAre(Kind::MakingFailed(4097, 0), Kind::Retry(), Kind::Freed(first.nAddress, 4096),
                                Kind::Allocated(second.nAddress, 4097)));
    }

    AvailableMemory memory_{std::uint64_t{1} << 40U};
    VirtualTime time_;
};

TYPED_TEST_SUITE(PoolStartTest, AllKinds, KindNames);

/// What a start writes; the shared pool's sweep lists its directory first.
Lines WithoutSweep(const Lines& lines) {
    return Of({"Init", "UnInit", HeapKind::kThreadFunction, SharedKind::kThreadFunction}, lines);
}

TYPED_TEST(PoolStartTest, TheReclaimerThreadAnnouncesItselfWithItsOwnId) {
    g_nThread = 0;
    FakeLog::OnLine([](const LogLine& line) {
        if (IsStartLine(line)) g_nThread = pthread_self();
    });
    const typename TestFixture::Pool pool;
    this->time_.AwaitSleepers(1);
    EXPECT_NE(g_nThread, pthread_self());
    EXPECT_THAT(WithoutSweep(TakeLog()),
                ElementsAre(Tagged(1, TypeParam::kThreadFunction, TypeParam::kThreadLine,
                                   TypeParam::kThreadText + std::to_string(g_nThread))));
    EXPECT_EQ(SystemCalls::Count("pthread_create"), 1);
}

TYPED_TEST(PoolStartTest, ThePoolBeginsEmpty) {
    const typename TestFixture::Pool pool;
    this->time_.AwaitSleepers(1);
    EXPECT_EQ(pool.RedundantSize(), 0U);
}

TYPED_TEST(PoolStartTest, TheReclaimerThreadTakesNoSignalsAndTheStarterKeepsItsOwn) {
    g_nBlocked = 0;
    FakeLog::OnLine([](const LogLine& line) {
        if (IsStartLine(line)) g_nBlocked = CountBlockedSignals();
    });
    sigset_t before;
    sigset_t mine;
    sigemptyset(&mine);
    sigaddset(&mine, SIGUSR2);
    pthread_sigmask(SIG_SETMASK, &mine, &before);
    const typename TestFixture::Pool pool;
    const int nBlockedHere = CountBlockedSignals();
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, &before, &after);
    this->time_.AwaitSleepers(1);
    EXPECT_EQ(g_nBlocked, CountBlockableSignals());
    EXPECT_EQ(nBlockedHere, 1);
    EXPECT_EQ(sigismember(&after, SIGUSR2), 1);
}

TYPED_TEST(PoolStartTest, TheStarterKeepsItsSignalsWhenTheThreadCannotBeStarted) {
    SystemCalls::Fail("pthread_create", 1, EAGAIN);
    const int nBefore = CountBlockedSignals();
    const typename TestFixture::Pool pool;
    EXPECT_EQ(CountBlockedSignals(), nBefore);
}

TYPED_TEST(PoolStartTest, TheStarterKeepsItsSignalsWhenTheyCannotBeBlocked) {
    sigset_t before;
    sigset_t mine;
    sigemptyset(&mine);
    sigaddset(&mine, SIGUSR2);
    pthread_sigmask(SIG_SETMASK, &mine, &before);
    SystemCalls::Fail("pthread_sigmask", 1, EINVAL);
    {
        const typename TestFixture::Pool pool;
        this->time_.AwaitSleepers(1);
    }
    EXPECT_EQ(CountBlockedSignals(), 1);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TYPED_TEST(PoolStartTest, WithoutAnExitEventThePoolWorksWithoutReclaimer) {
    Bookkeeping::FailNew(TypeParam::kNewsBeforeEvent + 1);
    typename TestFixture::Pool pool;
    Bookkeeping::FailNew(-1);
    EXPECT_THAT(WithoutSweep(TakeLog()),
                ElementsAre(Tagged(4, "Init", TypeParam::kEventLine, "Create exit event failed")));
    EXPECT_EQ(SystemCalls::Count("pthread_create"), 0);
    this->ExpectWorksWithoutReclaimer(pool);
}

TYPED_TEST(PoolStartTest, WithoutAThreadThePoolWorksWithoutReclaimer) {
    SystemCalls::Fail("pthread_create", 1, EAGAIN);
    typename TestFixture::Pool pool;
    EXPECT_THAT(WithoutSweep(TakeLog()),
                ElementsAre(Tagged(4, "Init", TypeParam::kThreadFailedLine,
                                   "Create free memory thread failed, return code: 11")));
    this->ExpectWorksWithoutReclaimer(pool);
}

TYPED_TEST(PoolStartTest, APoolWithoutEventEndsQuietly) {
    Bookkeeping::FailNew(TypeParam::kNewsBeforeEvent + 1);
    typename TestFixture::Pool pool;
    Bookkeeping::FailNew(-1);
    ClearLog();
    EXPECT_EQ(pool.UnInit(), 0U);
    EXPECT_THAT(TakeLog(), IsEmpty());
    EXPECT_EQ(SystemCalls::Count("pthread_join"), 0);
    EXPECT_EQ(SystemCalls::Count("pthread_cond_broadcast"), 0);
    EXPECT_EQ(SystemCalls::Count("pthread_cond_destroy"), 0);
    EXPECT_EQ(SystemCalls::Count("pthread_rwlock_destroy"), 1);
}

TYPED_TEST(PoolStartTest, APoolWithoutThreadEndsWithoutAJoinAndDestroysItsEvent) {
    SystemCalls::Fail("pthread_create", 1, ENOMEM);
    typename TestFixture::Pool pool;
    ClearLog();
    SystemCalls::Record({"pthread_cond_broadcast", "pthread_join", "pthread_cond_destroy",
                         "pthread_mutex_destroy", "pthread_rwlock_destroy"});
    EXPECT_EQ(pool.UnInit(), 0U);
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre("pthread_cond_broadcast", "pthread_cond_destroy",
                                                     "pthread_mutex_destroy", "pthread_rwlock_destroy"));
    EXPECT_THAT(TakeLog(), IsEmpty());
}

}  // namespace
}  // namespace ztk::test
