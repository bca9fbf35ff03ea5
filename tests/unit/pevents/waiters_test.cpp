// Events between threads, in time that the tests move.
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "support/virtual_time.h"
#include "unit/pevents/event_fixture.h"

namespace neosmart {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::UnorderedElementsAre;
using ztk::test::kAutoReset;
using ztk::test::kManualReset;
using ztk::test::kTimedOut;
using ztk::test::kUnset;
using ztk::test::OwnedEvent;
using ztk::test::VirtualTime;

/// Threads that wait for an event, each once.
class Waiters {
  public:
    Waiters(neosmart_event_t event, std::size_t nCount, std::uint64_t nMilliseconds) : results_(nCount, -1) {
        for (int& nResult : results_) {
            threads_.emplace_back([this, event, nMilliseconds, &nResult] {
                nResult = WaitForEvent(event, nMilliseconds);
                std::call_once(isFirst_, [this] { firstEnded_.set_value(); });
            });
        }
    }
    ~Waiters() { Results(); }
    Waiters(const Waiters&) = delete;
    Waiters& operator=(const Waiters&) = delete;

    void AwaitFirst() { firstEnded_.get_future().wait(); }

    const std::vector<int>& Results() {
        for (std::thread& thread : threads_) {
            if (thread.joinable()) thread.join();
        }
        return results_;
    }

  private:
    std::vector<int> results_;
    std::once_flag isFirst_;
    std::promise<void> firstEnded_;
    std::vector<std::thread> threads_;
};

class WaitingThreads : public testing::Test {
  protected:
    VirtualTime time_;
    OwnedEvent manual_{kManualReset, kUnset};
    OwnedEvent auto_{kAutoReset, kUnset};
};

TEST_F(WaitingThreads, RunOutOfTimeExactlyAtTheLimit) {
    Waiters waiter(manual_, 1, 15'000);
    time_.AwaitSleepers(1);
    time_.Advance(milliseconds(14'999));
    time_.AwaitSleepers(1);  // still asleep
    time_.Advance(milliseconds(1));
    EXPECT_THAT(waiter.Results(), UnorderedElementsAre(kTimedOut));
    EXPECT_EQ(1'700'000'015'000, time_.NowMilliseconds());
}

TEST_F(WaitingThreads, AreWokenAtOnceByASet) {
    for (const OwnedEvent* pEvent : {&manual_, &auto_}) {
        Waiters waiter(*pEvent, 1, 15'000);
        time_.AwaitSleepers(1);
        SetEvent(*pEvent);
        EXPECT_THAT(waiter.Results(), UnorderedElementsAre(0));
    }
    EXPECT_EQ(1'700'000'000'000, time_.NowMilliseconds());
    EXPECT_EQ(0, WaitForEvent(manual_, 0));
    EXPECT_EQ(kTimedOut, WaitForEvent(auto_, 0));
}

TEST_F(WaitingThreads, AreAllWokenByAManualResetEvent) {
    Waiters waiters(manual_, 2, 15'000);
    time_.AwaitSleepers(2);
    SetEvent(manual_);
    EXPECT_THAT(waiters.Results(), UnorderedElementsAre(0, 0));
    EXPECT_EQ(0, WaitForEvent(manual_, 0));
}

TEST_F(WaitingThreads, AreWokenOneByOneByAnAutoResetEvent) {
    Waiters waiters(auto_, 2, 15'000);
    time_.AwaitSleepers(2);
    SetEvent(auto_);
    waiters.AwaitFirst();
    EXPECT_EQ(kTimedOut, WaitForEvent(auto_, 0));  // consumed
    time_.Advance(seconds(15));
    EXPECT_THAT(waiters.Results(), UnorderedElementsAre(0, kTimedOut));
}

TEST_F(WaitingThreads, RunOutOfTimeTogetherOnOneEvent) {
    Waiters first(auto_, 1, 10'000);
    Waiters second(auto_, 2, 15'000);
    time_.AwaitSleepers(3);
    time_.Advance(seconds(10));
    EXPECT_THAT(first.Results(), UnorderedElementsAre(kTimedOut));
    time_.AwaitSleepers(2);  // woken with the first, they sleep again
    time_.Advance(seconds(5));
    EXPECT_THAT(second.Results(), UnorderedElementsAre(kTimedOut, kTimedOut));
}

TEST_F(WaitingThreads, WaitWithoutLimitUntilTheSet) {
    Waiters waiters(manual_, 3, kWaitForever);
    time_.Advance(std::chrono::hours(24 * 365));
    SetEvent(manual_);
    EXPECT_THAT(waiters.Results(), UnorderedElementsAre(0, 0, 0));
}

TEST_F(WaitingThreads, WaitShorterWhenTheClockIsSetForward) {
    Waiters waiter(manual_, 1, 15'000);
    time_.AwaitSleepers(1);
    time_.Step(seconds(10));
    time_.Advance(seconds(5));
    EXPECT_THAT(waiter.Results(), UnorderedElementsAre(kTimedOut));
}

TEST_F(WaitingThreads, WaitLongerWhenTheClockIsSetBack) {
    Waiters waiter(manual_, 1, 15'000);
    time_.AwaitSleepers(1);
    time_.Step(-seconds(10));
    time_.Advance(milliseconds(24'999));
    time_.AwaitSleepers(1);
    time_.Advance(milliseconds(1));
    EXPECT_THAT(waiter.Results(), UnorderedElementsAre(kTimedOut));
}

// The waiter does not exist in the child, where destroying the event would wait for it.
TEST_F(WaitingThreads, AreNotAwaitedWhereTheEventIsAbandonedInAForkedChild) {
    Waiters waiter(manual_, 1, 15'000);
    time_.AwaitSleepers(1);
    const pid_t nChild = fork();
    if (nChild == 0) {
        AbandonEvent(manual_);
        _exit(0);
    }
    int nStatus = -1;
    EXPECT_EQ(nChild, waitpid(nChild, &nStatus, 0));
    EXPECT_EQ(0, nStatus);
    SetEvent(manual_);
    EXPECT_THAT(waiter.Results(), UnorderedElementsAre(0));
}

TEST_F(WaitingThreads, HandEachSetToOneOfThem) {
    constexpr int kRounds = 200;
    int nObtained = 0;
    const OwnedEvent done(kAutoReset, kUnset);
    std::vector<std::thread> takers;
    for (int i = 0; i < 4; ++i) {
        takers.emplace_back([this, &nObtained, &done] {
            for (int nRound = 0; nRound < kRounds / 4; ++nRound) {
                EXPECT_EQ(0, WaitForEvent(auto_, kWaitForever));
                ++nObtained;  // alone until the next set
                SetEvent(done);
            }
        });
    }
    for (int nRound = 1; nRound <= kRounds; ++nRound) {
        SetEvent(auto_);
        EXPECT_EQ(0, WaitForEvent(done, kWaitForever));
        EXPECT_EQ(nRound, nObtained);
    }
    for (std::thread& taker : takers)
        taker.join();
}

}  // namespace
}  // namespace neosmart
