// The deadline of a wait: the wall clock plus the limit, in unsigned 64-bit nanoseconds.
#include <errno.h>

#include <chrono>
#include <string>
#include <vector>

#include "support/system_calls.h"
#include "support/virtual_time.h"
#include "unit/pevents/event_fixture.h"

namespace neosmart {
namespace {

using std::chrono::nanoseconds;
using testing::ElementsAre;
using ztk::test::kManualReset;
using ztk::test::kTimedOut;
using ztk::test::kUnset;
using ztk::test::OwnedEvent;
using ztk::test::SystemCalls;
using ztk::test::VirtualTime;

struct DeadlineCase {
    std::int64_t nNowSeconds;
    std::int64_t nNowNanoseconds;
    std::uint64_t nMilliseconds;
    const char* szCall;
};

class Deadline : public testing::TestWithParam<DeadlineCase> {};

TEST_P(Deadline, IsNowPlusTheLimit) {
    VirtualTime time(GetParam().nNowSeconds);
    time.Step(nanoseconds(GetParam().nNowNanoseconds));
    const OwnedEvent event(kManualReset, kUnset);
    SystemCalls::Record({"pthread_cond_timedwait"});
    SystemCalls::Fail("pthread_cond_timedwait", 1, ETIMEDOUT);
    EXPECT_EQ(kTimedOut, WaitForEvent(event, GetParam().nMilliseconds));
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre(GetParam().szCall));
}

INSTANTIATE_TEST_SUITE_P(
    PlainLimits, Deadline,
    testing::Values(DeadlineCase{1'700'000'000, 0, 1, "pthread_cond_timedwait 1700000000 1000000"},
                    DeadlineCase{1'700'000'000, 0, 15'000, "pthread_cond_timedwait 1700000015 0"},
                    DeadlineCase{1'700'000'000, 0, 15'001, "pthread_cond_timedwait 1700000015 1000000"},
                    DeadlineCase{1'700'000'000, 999'999'000, 1, "pthread_cond_timedwait 1700000001 999000"},
                    // microseconds are what the clock gives
                    DeadlineCase{1'700'000'000, 1'999, 1, "pthread_cond_timedwait 1700000000 1001000"}));

INSTANTIATE_TEST_SUITE_P(
    NearTheEndOf64Bits, Deadline,
    testing::Values(
        // the last sum that fits
        DeadlineCase{1'700'000'000, 0, 16'746'744'073'709, "pthread_cond_timedwait 18446744073 709000000"},
        DeadlineCase{1'700'000'000, 551'615'000, 16'746'744'073'709, "pthread_cond_timedwait 0 551063384"},
        // the sum wraps
        DeadlineCase{1'700'000'000, 0, 16'746'744'073'710, "pthread_cond_timedwait 0 448384"},
        DeadlineCase{1'700'000'000, 0, 18'446'744'073'709, "pthread_cond_timedwait 1699999999 999448384"},
        // the product wraps as well
        DeadlineCase{1'700'000'000, 0, 18'446'744'073'710, "pthread_cond_timedwait 1700000000 448384"},
        DeadlineCase{1'700'000'000, 0, UINT64_MAX - 1, "pthread_cond_timedwait 1699999999 998000000"}));

TEST(WrappedDeadline, IsInThePastAndEndsTheWaitAtOnce) {
    const VirtualTime time;
    const OwnedEvent event(kManualReset, kUnset);
    EXPECT_EQ(kTimedOut, WaitForEvent(event, kWaitForever - 1));
}

TEST(DeadlineOfAWait, IsNotMovedByWakeUpsWithoutASet) {
    VirtualTime time;
    const OwnedEvent event(kManualReset, kUnset);
    SystemCalls::Record({"pthread_cond_timedwait"});
    SystemCalls::Fail("pthread_cond_timedwait", 1, 0);
    SystemCalls::Before("pthread_cond_timedwait", 2, [&time] { time.Step(nanoseconds(5)); });
    SystemCalls::Fail("pthread_cond_timedwait", 2, 0);
    SystemCalls::Fail("pthread_cond_timedwait", 3, ETIMEDOUT);
    EXPECT_EQ(kTimedOut, WaitForEvent(event, 15'000));
    EXPECT_EQ(std::vector<std::string>(3, "pthread_cond_timedwait 1700000015 0"), SystemCalls::Recorded());
    EXPECT_EQ(1, SystemCalls::Count("gettimeofday"));
}

TEST(DeadlineOfAWait, IsNotAskedForWithoutALimit) {
    const OwnedEvent event(kManualReset, kUnset);
    SystemCalls::Fail("pthread_cond_wait", 1, EINVAL);
    WaitForEvent(event, kWaitForever);
    WaitForEvent(event, 0);
    EXPECT_EQ(0, SystemCalls::Count("gettimeofday"));
    EXPECT_EQ(0, SystemCalls::Count("pthread_cond_timedwait"));
}

}  // namespace
}  // namespace neosmart
