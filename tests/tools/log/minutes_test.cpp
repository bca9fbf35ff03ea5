// What the lines of every minute tell, on small logs written for the purpose.
#include <gmock/gmock.h>

#include <string>

#include "log_writer.h"
#include "scanned.h"

namespace ztkmem::log::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using Prefix = LogWriter::Prefix;

// ---- minutes ---------------------------------------------------------------------------------------

class Minutes : public testing::TestWithParam<Prefix> {
  protected:
    /// One minute of a process with both pools; work goes on every ten seconds.
    static void Minute(LogWriter& log, std::uint64_t nIdle, std::uint64_t nHeap, bool bLimit = true) {
        for (int i = 0; i < 6; ++i) {
            log.Pass(10);
            log.Begin();
            log.End(100, 0);
        }
        if (bLimit) log.Limit(nIdle);
        log.Limit(0, true);
        log.HeapTotal(nHeap / kMiB, nHeap);
        log.MmzTotal(0, 0);
        log.SharedTotal(0, 0);
    }

    static LogWriter Started() {
        LogWriter log(GetParam());
        log.Start();
        log.Start(true);
        return log;
    }
};

TEST_P(Minutes, AHealthyPoolIsSaidToBe) {
    LogWriter log = Started();
    for (int i = 0; i < 12; ++i)
        Minute(log, 10 * kMiB, 20 * kMiB);
    const Scanned scanned(log.Text());
    EXPECT_THAT(scanned.Problems(), IsEmpty());
    EXPECT_THAT(scanned.Remarks(), Contains("healthy"));
    EXPECT_EQ(scanned.Facts().Of(Pool::kLocal).nLimitLines, 12U);
}

TEST_P(Minutes, UseThatOnlyRisesIsFound) {
    LogWriter log = Started();
    for (unsigned i = 0; i < 12; ++i)
        Minute(log, 10 * kMiB, (20 + 3 * i + i % 2) * kMiB);
    EXPECT_THAT(Scanned(log.Text()).Problems(), ElementsAre("use-grows"));
}

TEST_P(Minutes, APoolThatWarmsUpIsHealthy) {
    LogWriter log = Started();
    for (unsigned i = 0; i < 30; ++i)
        Minute(log, 10 * kMiB, std::min(20 + 5 * i, 60U) * kMiB);
    EXPECT_THAT(Scanned(log.Text()).Problems(), IsEmpty());
}

TEST_P(Minutes, ASizeThatOnlyGrowsIsFoundByItsLines) {
    LogWriter log = Started();
    for (unsigned i = 0; i < 8; ++i) {
        log.Allocated(0x1000U + i, 3 * kMiB);
        log.Allocated(0x9000, 2 * kMiB);
        Minute(log, 0, 5 * kMiB);
        log.Freed(0x9000, 2 * kMiB);
    }
    const Scanned scanned(log.Text());
    EXPECT_THAT(scanned.Problems(), Contains("growth"));
    const auto& growing = scanned.Facts().Outcomes()[0].growing;
    ASSERT_EQ(growing.size(), 1U);
    EXPECT_EQ(growing[0].size.nSize, 3 * kMiB);
    EXPECT_EQ(growing[0].size.trend.nLast, 8U);
}

TEST_P(Minutes, BytesIdleThatThePoolDoesNotHaveWereFreedTwice) {
    LogWriter log = Started();
    for (int i = 0; i < 3; ++i)
        Minute(log, 30 * kMiB, 20 * kMiB);
    EXPECT_THAT(Scanned(log.Text()).Problems(), ElementsAre("double-free"));
}

TEST_P(Minutes, BytesGivenBackBetweenLimitLineAndDumpAreAllowedFor) {
    LogWriter log = Started();
    log.Allocated(0x10, 400 * kMiB);
    log.Pass(60);
    log.Limit(400 * kMiB);
    log.Freed(0x10, 400 * kMiB);
    log.HeapTotal(0, 0);
    log.MmzTotal(0, 0);
    EXPECT_THAT(Scanned(log.Text()).Problems(), IsEmpty());
}

TEST_P(Minutes, MinutesAboveTheLimitWithNothingGivenBackAreFound) {
    LogWriter log = Started();
    for (int i = 0; i < 3; ++i)
        Minute(log, 301 * kMiB, 400 * kMiB);
    const Scanned scanned(log.Text());
    EXPECT_THAT(scanned.Problems(), ElementsAre("over-limit"));
    EXPECT_EQ(scanned.Facts().Of(Pool::kLocal).nOverLimit, 3U);
}

INSTANTIATE_TEST_SUITE_P(Prefixes, Minutes,
                         testing::Values(Prefix::kDateAndThread, Prefix::kTimeOfDay, Prefix::kSeconds,
                                         Prefix::kNone));

// ---- reclaimers: only with times -------------------------------------------------------------------

using Reclaimers = Minutes;

TEST_P(Reclaimers, OneThatFallsSilentIsFound) {
    LogWriter log = Started();
    Minute(log, 0, kMiB);
    for (int i = 0; i < 3; ++i)
        Minute(log, 0, kMiB, false);
    const Scanned scanned(log.Text());
    EXPECT_THAT(scanned.Problems(), ElementsAre("reclaimer-silent"));
    const Silence& silence = scanned.Facts().Outcomes()[0].At(Pool::kLocal).silence;
    EXPECT_NEAR(silence.seconds, 180, 1);
}

TEST_P(Reclaimers, OneThatWasHeldUpIsFound) {
    LogWriter log = Started();
    for (int i = 0; i < 8; ++i)
        Minute(log, 0, kMiB, i < 2 || i > 5);
    EXPECT_THAT(Scanned(log.Text()).Problems(), ElementsAre("reclaimer-silent"));
}

TEST_P(Reclaimers, OneThatNeverSpeaksIsFound) {
    LogWriter log = Started();
    for (int i = 0; i < 4; ++i)
        Minute(log, 0, kMiB, false);
    EXPECT_THAT(Scanned(log.Text()).Problems(), ElementsAre("reclaimer-silent"));
}

TEST_P(Reclaimers, OneMinuteLateIsNotSilent) {
    LogWriter log = Started();
    for (int i = 0; i < 8; ++i)
        Minute(log, 0, kMiB, i % 2 == 0);
    EXPECT_THAT(Scanned(log.Text()).Problems(), IsEmpty());
}

TEST_P(Reclaimers, ABoardThatSleepsIsNotSilent) {
    LogWriter log = Started();
    Minute(log, 0, kMiB);
    log.Pass(3600);
    Minute(log, 0, kMiB);
    EXPECT_THAT(Scanned(log.Text()).Problems(), IsEmpty());
}

TEST_P(Reclaimers, AProgramThatEndsIsNotSilent) {
    LogWriter log = Started();
    Minute(log, 0, kMiB);
    for (int i = 0; i < 500; ++i) {
        log.Pass(1);
        log.Line("[somebody@7] else");
    }
    EXPECT_THAT(Scanned(log.Text()).Problems(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Prefixes, Reclaimers,
                         testing::Values(Prefix::kDateAndThread, Prefix::kTimeOfDay, Prefix::kSeconds));

TEST(ReclaimersWithoutTimes, AreNotJudged) {
    LogWriter log(Prefix::kNone);
    log.Start();
    for (int i = 0; i < 1000; ++i)
        log.Allocated(0x10U + static_cast<unsigned>(i), 100);
    const Scanned scanned(log.Text());
    EXPECT_THAT(scanned.Problems(), IsEmpty());
    EXPECT_THAT(scanned.Remarks(), Contains("no-times"));
}

TEST(Reclaimer, ThatCannotBeStartedIsFound) {
    LogWriter log;
    log.Line("[Init@52][ZtkCommon] Create free memory thread failed, return code: 11");
    EXPECT_THAT(Scanned(log.Text()).Problems(), ElementsAre("reclaimer-broken"));
}

TEST(AnyLog, WithoutLinesOfTheLibrarySaysSo) {
    EXPECT_THAT(Scanned("").Remarks(), ElementsAre("no-lines"));
    EXPECT_THAT(Scanned("hello\nworld\n").Remarks(), ElementsAre("no-lines"));
    const Scanned torn("[AllocateMemory@160][ZtkCommon] Allocate sys\n");
    EXPECT_THAT(torn.Remarks(), ElementsAre("no-lines", "torn"));
    EXPECT_THAT(ReportText(torn.Report()), testing::HasSubstr("No whole line of the library"));
}

}  // namespace
}  // namespace ztkmem::log::test
