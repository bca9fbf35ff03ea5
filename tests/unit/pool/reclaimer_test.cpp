#include "pool/reclaimer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>

#include "fakes/fake_log.h"
#include "log_texts.h"
#include "support/system_calls.h"
#include "support/thread_sanitizer.h"
#include "support/virtual_time.h"

// A child starts a thread of its own, which the thread sanitizer must be told to bear.
extern "C" [[gnu::visibility("default")]] const char* __tsan_default_options() {
    return "die_after_fork=0";
}

namespace ztk::test {
namespace {

using std::chrono::seconds;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(FourthTickTest, IsEveryFourthOne) {
    FourthTick tick;
    std::string ticks;
    for (int i = 0; i < 13; ++i)
        ticks += tick() ? 'X' : '.';
    EXPECT_EQ(ticks, "...X...X...X.");
}

/// Stands for a pool: counts what its reclaimer asks of it.
struct Owner {
    Owner() : reclaimer({1045, 1052, 1072}) {}

    static void* Routine(void* pOwner) {
        auto* pThis = static_cast<Owner*>(pOwner);
        pThis->reclaimer.Run([pThis] { ++pThis->nChecks; }, [pThis] { ++pThis->nDumps; });
        return nullptr;
    }
    bool Start() { return reclaimer.Start(Routine, this); }

    std::atomic<int> nChecks{0};
    std::atomic<int> nDumps{0};
    Reclaimer reclaimer;
};

class ReclaimerTest : public ::testing::Test {
  protected:
    void StartAsleep() {
        ASSERT_TRUE(owner_.Start());
        time_.AwaitSleepers(1);
    }

    VirtualTime time_;
    Owner owner_;
};

TEST_F(ReclaimerTest, WakesEveryFifteenSecondsAndActsEveryFourthTime) {
    StartAsleep();
    time_.Advance(std::chrono::milliseconds(59'999));
    EXPECT_EQ(owner_.nChecks, 0);
    EXPECT_EQ(SystemCalls::Count("pthread_cond_timedwait"), 4);
    time_.Advance(std::chrono::milliseconds(1));
    EXPECT_EQ(owner_.nChecks, 1);
    EXPECT_EQ(owner_.nDumps, 1);
    time_.Advance(seconds(240));
    EXPECT_EQ(owner_.nChecks, 5);
    EXPECT_EQ(owner_.nDumps, 5);
    owner_.reclaimer.Stop();
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(ReclaimerTest, DumpsOnlyAtLevelsThatAdmitInformation) {
    FakeLog::SetLevel(2);
    StartAsleep();
    time_.Advance(seconds(300));
    EXPECT_EQ(owner_.nDumps, 0);
    FakeLog::SetLevel(1);
    time_.Advance(seconds(45));
    EXPECT_EQ(owner_.nDumps, 0);
    time_.Advance(seconds(15));
    EXPECT_EQ(owner_.nDumps, 1);
    EXPECT_EQ(owner_.nChecks, 6);
    owner_.reclaimer.Stop();
}

TEST_F(ReclaimerTest, StopsWithinItsWaitAndCanBeStartedAgain) {
    StartAsleep();
    owner_.reclaimer.Stop();
    EXPECT_EQ(SystemCalls::Count("pthread_join"), 1);
    StartAsleep();
    time_.Advance(seconds(60));
    EXPECT_EQ(owner_.nChecks, 1);
    owner_.reclaimer.Stop();
    EXPECT_EQ(SystemCalls::Count("pthread_join"), 2);
}

TEST_F(ReclaimerTest, StoppingWhatNeverStartedDoesNothing) {
    SystemCalls::Record({"pthread_join", "pthread_cond_broadcast", "pthread_cond_destroy"});
    owner_.reclaimer.Stop();
    EXPECT_THAT(SystemCalls::Recorded(), IsEmpty());
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(ReclaimerTest, StoppingTwiceJoinsOnce) {
    StartAsleep();
    owner_.reclaimer.Stop();
    owner_.reclaimer.Stop();
    EXPECT_EQ(SystemCalls::Count("pthread_join"), 1);
    EXPECT_EQ(SystemCalls::Count("pthread_cond_destroy"), 1);
}

// The numbers of these lines are the owner's; here they are none that a pool has.

TEST_F(ReclaimerTest, WithoutMemoryForTheEventNoThreadIsStarted) {
    Bookkeeping::FailNew(1);
    const bool bStarted = owner_.Start();
    Bookkeeping::FailNew(-1);
    EXPECT_FALSE(bStarted);
    EXPECT_EQ(SystemCalls::Count("pthread_create"), 0);
    EXPECT_THAT(Log(), ElementsAre(Tagged(4, "Init", 1045, "Create exit event failed")));
    FakeLog::Clear();
    owner_.reclaimer.Stop();
}

TEST_F(ReclaimerTest, AThreadThatCannotBeStartedIsLoggedWithItsError) {
    SystemCalls::Fail("pthread_create", 1, EPERM);
    EXPECT_FALSE(owner_.Start());
    EXPECT_THAT(Log(),
                ElementsAre(Tagged(4, "Init", 1052, "Create free memory thread failed, return code: 1")));
    FakeLog::Clear();
    owner_.reclaimer.Stop();
    EXPECT_EQ(SystemCalls::Count("pthread_join"), 0);
}

TEST_F(ReclaimerTest, AForkedChildForgetsItAndMayStartItsOwn) {
    ZTK_NEEDS_THREADS_IN_A_CHILD();
    StartAsleep();
    const pid_t nChild = fork();
    if (nChild == 0) {
        owner_.reclaimer.ForgetInChild();
        SystemCalls::Record({"pthread_join", "pthread_cond_broadcast", "pthread_cond_destroy"});
        EXPECT_TRUE(owner_.Start());
        time_.AwaitSleepers(2);  // the parent's, which is only a memory here, and the new one
        owner_.reclaimer.Stop();
        EXPECT_THAT(SystemCalls::Recorded(),
                    ElementsAre("pthread_cond_broadcast", "pthread_join", "pthread_cond_destroy"));
        _exit(HasFailure() ? 1 : 0);
    }
    int nStatus = -1;
    waitpid(nChild, &nStatus, 0);
    EXPECT_EQ(nStatus, 0) << "the child failed, see its messages";
    owner_.reclaimer.Stop();
}

TEST_F(ReclaimerTest, AForkedChildThatForgotItHasNothingToStop) {
    StartAsleep();
    const pid_t nChild = fork();
    if (nChild == 0) {
        owner_.reclaimer.ForgetInChild();
        SystemCalls::Record({"pthread_join", "pthread_cond_broadcast", "pthread_cond_destroy"});
        owner_.reclaimer.Stop();
        EXPECT_THAT(SystemCalls::Recorded(), IsEmpty());
        _exit(HasFailure() ? 1 : 0);
    }
    int nStatus = -1;
    waitpid(nChild, &nStatus, 0);
    EXPECT_EQ(nStatus, 0) << "the child failed, see its messages";
    owner_.reclaimer.Stop();
}

}  // namespace
}  // namespace ztk::test
