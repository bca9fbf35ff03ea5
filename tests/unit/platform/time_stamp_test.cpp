#include "platform/time_stamp.h"

#include <gmock/gmock.h>

#include <chrono>

#include "support/virtual_time.h"

namespace ztk {
namespace {

using std::chrono::nanoseconds;
using test::VirtualTime;

struct Moment {
    std::int64_t nSeconds;
    std::int64_t nNanoseconds;
    int nMilliseconds;
};

class TimeStampAt : public testing::TestWithParam<Moment> {};

TEST_P(TimeStampAt, HasWholeSecondsAndTruncatedMilliseconds) {
    VirtualTime time(GetParam().nSeconds);
    time.Step(nanoseconds(GetParam().nNanoseconds));
    TimeStamp now;
    GetTimeStamp(now);
    EXPECT_EQ(GetParam().nSeconds, now.nSeconds);
    EXPECT_EQ(GetParam().nMilliseconds, now.nMilliseconds);
}

INSTANTIATE_TEST_SUITE_P(Moments, TimeStampAt,
                         testing::Values(Moment{0, 0, 0}, Moment{1'700'000'000, 999'999, 0},
                                         Moment{1'700'000'000, 1'000'000, 1},
                                         Moment{1'700'000'000, 1'999'999, 1},
                                         Moment{1'700'000'000, 999'999'999, 999},
                                         Moment{5'000'000'000, 0, 0}));

TEST(GetTimeStamp, LeavesTheStampAloneWhenTheClockCannotBeRead) {
    VirtualTime time;
    time.BreakClock(true);
    TimeStamp stamp{7, 8};
    GetTimeStamp(stamp);
    EXPECT_EQ(7, stamp.nSeconds);
    EXPECT_EQ(8, stamp.nMilliseconds);
    time.BreakClock(false);
    GetTimeStamp(stamp);
    EXPECT_EQ(1'700'000'000, stamp.nSeconds);
    EXPECT_EQ(0, stamp.nMilliseconds);
}

TEST(GetTimeStamp, ReadsTheRealTimeClock) {
    const auto seconds = [] {
        return std::chrono::duration_cast<std::chrono::seconds>(
                   std::chrono::system_clock::now().time_since_epoch())
            .count();
    };
    const auto nBefore = seconds();
    TimeStamp now;
    GetTimeStamp(now);
    EXPECT_GE(now.nSeconds, nBefore);
    EXPECT_LE(now.nSeconds, seconds());
    EXPECT_LT(now.nMilliseconds, 1000);
}

}  // namespace
}  // namespace ztk
