// The clock that the tests move: it wakes who is due, and returns when they are done.
#include "support/virtual_time.h"

#include <gmock/gmock.h>
#include <pthread.h>
#include <time.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>
#include <vector>

namespace ztk::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr std::int64_t kStart = 1000;

/// Notes the time, @p nTimes, at intervals of a second.
class Ticker {
  public:
    Ticker(int nFirstSecond, int nTimes)
        : thread_([this, nFirstSecond, nTimes] { Run(nFirstSecond, nTimes); }) {}
    ~Ticker() { thread_.join(); }
    Ticker(const Ticker&) = delete;
    Ticker& operator=(const Ticker&) = delete;

    /// Not synchronised: the clock is to be at rest.
    const std::vector<std::int64_t>& Seconds() const { return seconds_; }

  private:
    void Run(int nFirstSecond, int nTimes) {
        pthread_mutex_lock(&mutex_);
        for (int i = 0; i < nTimes; ++i) {
            const timespec deadline{kStart + nFirstSecond + i, 0};
            while (pthread_cond_timedwait(&cond_, &mutex_, &deadline) != ETIMEDOUT) {
            }
            timespec now{};
            clock_gettime(CLOCK_REALTIME, &now);
            seconds_.push_back(now.tv_sec - kStart);
        }
        pthread_mutex_unlock(&mutex_);
    }

    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t cond_ = PTHREAD_COND_INITIALIZER;
    std::vector<std::int64_t> seconds_;
    std::thread thread_;
};

TEST(VirtualTime, StandsStillUntilMoved) {
    VirtualTime time(kStart);
    EXPECT_EQ(kStart * 1000, time.NowMilliseconds());
    time.Advance(milliseconds(1500));
    EXPECT_EQ(kStart * 1000 + 1500, time.NowMilliseconds());
    time.Step(milliseconds(-500));
    EXPECT_EQ(kStart * 1000 + 1000, time.NowMilliseconds());
}

TEST(VirtualTime, WakesEverySleeperAtItsOwnTime) {
    VirtualTime time(kStart);
    const Ticker early(1, 4);
    const Ticker late(3, 2);
    time.AwaitSleepers(2);
    time.Advance(seconds(10));
    EXPECT_THAT(early.Seconds(), testing::ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(late.Seconds(), testing::ElementsAre(3, 4));
}

TEST(VirtualTime, LeavesThoseAsleepThatAreNotDue) {
    VirtualTime time(kStart);
    const Ticker ticker(5, 1);
    time.AwaitSleepers(1);
    time.Advance(milliseconds(4999));
    EXPECT_THAT(ticker.Seconds(), testing::IsEmpty());
    time.Advance(milliseconds(1));
    EXPECT_THAT(ticker.Seconds(), testing::ElementsAre(5));
}

TEST(VirtualTime, StepsWithoutWakingAnybody) {
    VirtualTime time(kStart);
    const Ticker ticker(5, 1);
    time.AwaitSleepers(1);
    time.Step(seconds(7));
    time.AwaitSleepers(1);
    EXPECT_THAT(ticker.Seconds(), testing::IsEmpty());
    time.Advance(milliseconds(0));
    EXPECT_THAT(ticker.Seconds(), testing::ElementsAre(7));
}

TEST(VirtualTime, IsRealTimeAgainAfterItsEnd) {
    { const VirtualTime time(kStart); }
    timespec now{};
    ASSERT_EQ(0, clock_gettime(CLOCK_REALTIME, &now));
    EXPECT_GT(now.tv_sec, 1'600'000'000);
}

TEST(VirtualTime, EndsNotWhileAThreadSleepsOnIt) {
    const auto endTooEarly = [] {
        auto* pTime = new VirtualTime(kStart);
        const Ticker ticker(5, 1);
        pTime->AwaitSleepers(1);
        delete pTime;
    };
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(endTooEarly(), "VirtualTime ended with threads that sleep on it");
}

}  // namespace
}  // namespace ztk::test
