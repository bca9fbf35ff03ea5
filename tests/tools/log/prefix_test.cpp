// Times and writers in front of lines.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "log/speaker.h"
#include "log/stamp.h"
#include "log/timeline.h"

namespace ztkmem::log {
namespace {

struct StampCase {
    std::string text;
    ClockKind enKind;
    std::string shown;
    double fraction;
};

TEST(Stamps, TheCommonFormsAreRead) {
    const std::vector<StampCase> table{
        {"2024-02-29T23:59:59.042Z info 12 ", ClockKind::kDate, "2024-02-29 23:59:59", 0.042},
        {"2024-02-29 23:59:59 ", ClockKind::kDate, "2024-02-29 23:59:59", 0},
        {"[2024/03/01 00:00:00,5]", ClockKind::kDate, "2024-03-01 00:00:00", 0.5},
        {"2024-03-01T01:30:00+01:30 ", ClockKind::kDate, "2024-03-01 00:00:00", 0},
        {"2024-02-29T18:30:00-0530", ClockKind::kDate, "2024-03-01 00:00:00", 0},
        {"2024-02-29T23:00:00 -01 ", ClockKind::kDate, "2024-03-01 00:00:00", 0},
        {"1970-01-01 00:00:01", ClockKind::kDate, "1970-01-01 00:00:01", 0},
        {"size=10242024-02-29T23:59:59Z x ", ClockKind::kDate, "2024-02-29 23:59:59", 0},
        {"10:11:12.250 D ", ClockKind::kTimeOfDay, "10:11:12", 0.25},
        {"Feb 29 10:11:12 host camera[812]: ", ClockKind::kTimeOfDay, "10:11:12", 0},
        {"02-29 10:11:12.250  812  815 I ", ClockKind::kTimeOfDay, "10:11:12", 0.25},
        {"[  123.456] ", ClockKind::kSeconds, "123.456 s", 0.456},
        {"1732185600.123 ", ClockKind::kDate, "2024-11-21 10:40:00", 0.123},
        {"1732185600 camera: ", ClockKind::kDate, "2024-11-21 10:40:00", 0},
        {"[1732185600.5] ", ClockKind::kDate, "2024-11-21 10:40:00", 0.5},
        {"20261121T100000 ", ClockKind::kDate, "2026-11-21 10:00:00", 0},
        {"20261121T100000.25Z camera ", ClockKind::kDate, "2026-11-21 10:00:00", 0.25},
        {"20261121T100000,5+0100 ", ClockKind::kDate, "2026-11-21 09:00:00", 0.5},
        {"20261121T100000.250 812 ", ClockKind::kDate, "2026-11-21 10:00:00", 0.25},
        {"Feb 29 10:11:12 x: 2024-02-29T23:59:59Z ", ClockKind::kDate, "2024-02-29 23:59:59", 0},
    };
    for (const StampCase& expected : table) {
        const auto stamp = FindStamp(expected.text);
        ASSERT_TRUE(stamp.has_value()) << expected.text;
        EXPECT_EQ(stamp->enKind, expected.enKind) << expected.text;
        EXPECT_EQ(FormatTime(stamp->enKind, stamp->seconds), expected.shown) << expected.text;
        EXPECT_NEAR(stamp->seconds - static_cast<double>(static_cast<std::int64_t>(stamp->seconds)),
                    expected.fraction, 1e-6)
            << expected.text;
    }
}

TEST(Stamps, WhatIsNoTimeIsNone) {
    for (const char* szText : {"",
                               "info 812 ",
                               "[123]",
                               "[12",
                               "1.2.3.4:80",
                               "2024-13-01T24:00:00",
                               "25:00:00",
                               "2024-02-29",
                               "10:11",
                               "version 1.2",
                               "[.5]",
                               "99:99:99",
                               "123:45:07x",
                               "17321856001.5 ",
                               "173218560.5 ",
                               "size 1732185600.5 ",
                               "1732185600x",
                               "2732185600 ",
                               "20261321T100000",
                               "20261121T250000",
                               "120261121T1000001"})
        EXPECT_FALSE(FindStamp(szText).has_value()) << szText;
}

struct SpeakerCase {
    std::string text;
    std::uint64_t nProcess;
    std::uint64_t nThread;
};

TEST(Speakers, IdsAreReadFromTheCommonForms) {
    const std::vector<SpeakerCase> table{
        {"", 0, 0},
        {" info    815 ", 0, 815},
        {" error [815] ", 0, 815},
        {" host camera[812]: ", 812, 0},
        {"  812  815 I tag: ", 812, 815},
        {" [812:815] ", 812, 815},
        {" 812/815 ", 812, 815},
        {" pid=812 tid=815 ", 812, 815},
        {" (tid:815) ", 0, 815},
        {" 0x7f001200 ", 0, 0x7f001200},
        {" 3 ", 0, 0},
        {" <6> camera: ", 0, 0},
        {" [main.cpp:77] ", 0, 0},
        {" 99999999999999999999999 ", 0, 0},
    };
    for (const SpeakerCase& expected : table) {
        const Speaker speaker = ReadSpeaker(expected.text);
        EXPECT_EQ(speaker.nProcess, expected.nProcess) << expected.text;
        EXPECT_EQ(speaker.nThread, expected.nThread) << expected.text;
    }
}

// ---- the axis --------------------------------------------------------------------------------------

Stamp Shown(ClockKind enKind, double seconds) {
    Stamp stamp;
    stamp.enKind = enKind;
    stamp.seconds = seconds;
    return stamp;
}

TEST(Timeline, LinesWithoutATimeHaveThatOfTheLineBefore) {
    Timeline times;
    EXPECT_FALSE(times.At(1, std::nullopt).HasTime());
    EXPECT_EQ(times.Text({1}), "line 1");
    EXPECT_EQ(times.At(2, Shown(ClockKind::kSeconds, 5)).seconds, 5);
    EXPECT_EQ(times.At(3, std::nullopt).seconds, 5);
    EXPECT_EQ(times.At(4, Shown(ClockKind::kTimeOfDay, 77)).seconds, 5);
}

TEST(Timeline, MidnightPasses) {
    Timeline times;
    times.At(1, Shown(ClockKind::kTimeOfDay, 86399));
    const Moment after = times.At(2, Shown(ClockKind::kTimeOfDay, 1));
    EXPECT_EQ(after.seconds, 86401);
    EXPECT_EQ(times.Text(after), "00:00:01");
    EXPECT_EQ(times.ClockSets(), 0U);
}

TEST(Timeline, AClockThatIsSetDoesNotMoveTheAxis) {
    Timeline times;
    const double now = FindStamp("2024-02-29 12:00:00")->seconds;
    times.At(1, Shown(ClockKind::kDate, 10));
    EXPECT_EQ(times.At(2, Shown(ClockKind::kDate, 11)).seconds, 11);
    EXPECT_EQ(times.At(3, Shown(ClockKind::kDate, now)).seconds, 11);
    const Moment later = times.At(4, Shown(ClockKind::kDate, now + 5));
    EXPECT_EQ(later.seconds, 16);
    EXPECT_EQ(times.Text(later), "2024-02-29 12:00:05");
    EXPECT_EQ(times.ClockSets(), 1U);
    EXPECT_EQ(times.At(5, Shown(ClockKind::kDate, now - 3600)).seconds, 16);
    EXPECT_EQ(times.ClockSets(), 2U);
}

TEST(Timeline, AClockThatGoesBackIsCountedApart) {
    Timeline times;
    times.At(1, Shown(ClockKind::kSeconds, 10000));
    times.At(2, Shown(ClockKind::kSeconds, 6400));
    times.At(3, Shown(ClockKind::kSeconds, 6410));
    times.At(4, Shown(ClockKind::kSeconds, 6300));
    times.At(5, Shown(ClockKind::kSeconds, 1e9));
    EXPECT_EQ(times.ClockSets(), 3U);
    EXPECT_EQ(times.ClockSetsBack(), 2U);
    EXPECT_EQ(times.LargestStepBack(), 3600);
}

TEST(Timeline, LinesOutOfOrderByMomentsAreNoClockSet) {
    Timeline times;
    times.At(1, Shown(ClockKind::kSeconds, 100));
    EXPECT_EQ(times.At(2, Shown(ClockKind::kSeconds, 99.5)).seconds, 99.5);
    EXPECT_EQ(times.ClockSets(), 0U);
}

TEST(Timeline, TimesAreShownInTheLogsOwnZone) {
    Timeline times;
    const Moment moment = times.At(1, FindStamp("2024-03-01T01:30:00+01:30"));
    EXPECT_EQ(times.Text(moment), "2024-03-01 01:30:00");
}

}  // namespace
}  // namespace ztkmem::log
