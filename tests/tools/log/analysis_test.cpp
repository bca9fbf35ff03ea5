// What logs mean, on small logs written for the purpose.
#include <gmock/gmock.h>

#include <string>

#include "log_writer.h"
#include "scanned.h"

namespace ztkmem::log::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using Prefix = LogWriter::Prefix;

Flow AllocatedOf(const Scanned& log, Memory enMemory) {
    return log.Facts().Of(enMemory).allocated;
}

// ---- what is owned ---------------------------------------------------------------------------------

TEST(Owned, FollowsAllocationsAndFrees) {
    LogWriter log;
    log.Start();
    log.Allocated(0x10, 3 * kMiB);
    log.Allocated(0x20, 5 * kMiB);
    log.Freed(0x10, 3 * kMiB);
    log.Allocated(0x30, 2 * kMiB, true);
    const Scanned scanned(log.Text());
    EXPECT_EQ(scanned.Facts().Of(Pool::kLocal).Owned(), 5 * kMiB);
    EXPECT_EQ(scanned.Facts().Of(Pool::kLocal).Peak(), 8 * kMiB);
    EXPECT_EQ(scanned.Facts().Of(Pool::kShared).Owned(), 2 * kMiB);
    EXPECT_THAT(scanned.Facts().Of(Pool::kLocal).sizesLeft, ElementsAre(Pair(5 * kMiB, 1)));
    EXPECT_THAT(scanned.Problems(), IsEmpty());
}

TEST(Owned, ResultLinesTellHeapFromMmz) {
    LogWriter log;
    for (int enMemType = 0; enMemType < 2; ++enMemType) {
        log.Begin();
        log.Allocated(0x10U + static_cast<unsigned>(enMemType), 100);
        log.End(100, enMemType);
    }
    log.Allocated(0x30, 100);
    const Scanned scanned(log.Text());
    EXPECT_EQ(AllocatedOf(scanned, Memory::kHeap).nBlocks, 1U);
    EXPECT_EQ(AllocatedOf(scanned, Memory::kMmz).nBlocks, 1U);
    EXPECT_EQ(AllocatedOf(scanned, Memory::kUntold).nBlocks, 1U);
    EXPECT_THAT(scanned.Remarks(), Contains("untold"));
}

TEST(Owned, MixedCallsWithoutIdsAreNotGuessedAt) {
    LogWriter log(Prefix::kNone);
    log.Begin();
    log.Begin();
    log.Allocated(0x10, 100);
    log.End(100, 0);
    log.End(100, 1);
    EXPECT_EQ(AllocatedOf(Scanned(log.Text()), Memory::kUntold).nBlocks, 1U);
}

TEST(Owned, DumpsTellHeapFromMmz) {
    LogWriter log;
    log.Allocated(0x10, 100);
    log.Allocated(0x20, 100);
    log.Line(
        "[DumpMemoryInfo@438][ZtkCommon] *************OS Memory pool block list detail:*****************\n"
        "100[0x10:0], ");
    log.HeapTotal(1, 100);
    log.Line(
        "[DumpMemoryInfo@475][ZtkCommon] ----------------MMZ Memory pool block list detail: "
        "----------------------\n100[0x20:0x7], ");
    log.MmzTotal(1, 100);
    const Scanned scanned(log.Text());
    EXPECT_EQ(AllocatedOf(scanned, Memory::kHeap).nBlocks, 1U);
    EXPECT_EQ(AllocatedOf(scanned, Memory::kMmz).nBlocks, 1U);
    EXPECT_EQ(scanned.Facts().Of(Memory::kHeap).nWholeDumps, 1U);
}

TEST(Owned, ALogThatBeginsInTheMiddleStartsWithWhatItsLinesShow) {
    LogWriter log;
    log.Freed(0x99, 7 * kMiB);
    log.Limit(0);
    log.HeapTotal(2, 20 * kMiB);
    log.MmzTotal(0, 0);
    log.Allocated(0x10, kMiB);
    const Scanned scanned(log.Text());
    EXPECT_EQ(scanned.Facts().Of(Pool::kLocal).nBase, 27 * kMiB);
    EXPECT_EQ(scanned.Facts().Of(Pool::kLocal).Owned(), 21 * kMiB);
}

TEST(Owned, GluedAndTornLinesDoNotCount) {
    LogWriter log;
    log.Start();
    log.Allocated(0x10, 4096);
    std::string text = log.Text();
    text.pop_back();
    LogWriter next;
    next.Allocated(0x20, 8192);
    const Scanned glued(text + next.Text());
    EXPECT_EQ(glued.Facts().Torn(), 1U);
    EXPECT_EQ(glued.Facts().Of(Pool::kLocal).Owned(), 8192);
    EXPECT_THAT(glued.Remarks(), Contains("torn"));
}

// ---- order -----------------------------------------------------------------------------------------

TEST(Order, PartsOfALogInTheWrongOrderAreTheFirstRemark) {
    LogWriter newer;
    newer.Pass(7200);
    newer.Allocated(0x20, 100);
    LogWriter older;
    older.Allocated(0x10, 100);
    const Scanned scanned(newer.Text() + older.Text());
    ASSERT_FALSE(scanned.Remarks().empty());
    EXPECT_EQ(scanned.Remarks().front(), "clock");
    EXPECT_THAT(ReportText(scanned.Report()), HasSubstr("The clock went back 1 time, by 2.0 h at most"));
}

// ---- processes -------------------------------------------------------------------------------------

TEST(Processes, WithoutIdsAStartEndsTheOneBefore) {
    LogWriter log(Prefix::kTimeOfDay);
    log.Start();
    log.Allocated(0x10, 5 * kMiB);
    log.Pass(30);
    log.Start();
    log.Allocated(0x20, 2 * kMiB);
    EXPECT_EQ(Scanned(log.Text()).Facts().Of(Pool::kLocal).Owned(), 2 * kMiB);
    log.Freed(0x10, 5 * kMiB);  // it lives after all
    log.Allocated(0x30, kMiB);
    EXPECT_EQ(Scanned(log.Text()).Facts().Of(Pool::kLocal).Owned(), 3 * kMiB);
}

TEST(Processes, WithIdsASilentOneHasEnded) {
    LogWriter log;
    log.By(701);
    log.Start();
    log.Allocated(0x10, 5 * kMiB);
    log.Pass(30);
    log.By(801);
    log.Start();
    log.Allocated(0x20, 2 * kMiB);
    EXPECT_EQ(Scanned(log.Text()).Facts().Of(Pool::kLocal).Owned(), 7 * kMiB);
    for (int i = 0; i < 4; ++i) {
        log.Pass(60);
        log.Limit(0);
        log.Limit(0, true);
    }
    const Scanned scanned(log.Text());
    EXPECT_EQ(scanned.Facts().Of(Pool::kLocal).Owned(), 2 * kMiB);
    EXPECT_EQ(scanned.Facts().Processes(), 2U);
    EXPECT_THAT(scanned.Problems(), IsEmpty());
}

/// Two processes that work side by side; nothing in the log shows them start. The reclaimer of the first
/// one ends after two minutes.
std::string RotatedLog() {
    LogWriter log(Prefix::kTimeAndProcess);
    for (int nMinute = 0; nMinute < 10; ++nMinute) {
        for (int i = 0; i < 6; ++i) {
            log.Pass(10);
            for (const int nProcess : {812, 913}) {
                log.By(nProcess);
                log.Begin();
                if (nMinute == 0) log.Allocated(0x1000U * static_cast<unsigned>(i + 1), 4096);
                log.End(4096, 0);
            }
        }
        log.By(812);
        if (nMinute < 2) log.Limit(0);
        log.By(913);
        log.Limit(0);
    }
    return log.Text();
}

TEST(Processes, OfARotatedLogAreKeptApartByTheirIds) {
    const Scanned scanned(RotatedLog());
    ASSERT_EQ(scanned.Facts().Outcomes().size(), 2U);
    EXPECT_EQ(scanned.Facts().Outcomes()[0].nProcess, 812U);
    EXPECT_EQ(scanned.Facts().Outcomes()[1].nProcess, 913U);
    EXPECT_EQ(scanned.Facts().Twice(), 0U);
    EXPECT_THAT(scanned.Problems(), ElementsAre("reclaimer-silent"));
    EXPECT_THAT(ReportText(scanned.Report()), HasSubstr("local pool of process 812 from"));
}

TEST(Processes, WithIdsJoinTheirOwnStarts) {
    LogWriter log(Prefix::kTimeAndProcess);
    for (const bool bShared : {false, true}) {
        for (const int nProcess : {812, 913}) {
            log.By(nProcess);
            log.Start(bShared);
        }
    }
    const Scanned scanned(log.Text());
    EXPECT_EQ(scanned.Facts().Processes(), 2U);
    EXPECT_EQ(scanned.Facts().Outcomes().size(), 2U);
}

TEST(Processes, ManyWithoutStartsAreForgottenOneByOne) {
    LogWriter log(Prefix::kTimeAndProcess);
    for (int i = 0; i < 200; ++i) {
        log.By(1000 + i);
        log.Allocated(0x10, kMiB);
    }
    const Scanned scanned(log.Text());
    EXPECT_LE(scanned.Facts().Outcomes().size(), Analysis::kMostOutcomes + Lives::kMost);
    EXPECT_EQ(scanned.Facts().Of(Pool::kLocal).Owned(), static_cast<std::int64_t>(Lives::kMost * kMiB));
    EXPECT_THAT(scanned.Remarks(), Contains("forgotten"));
}

TEST(Processes, AFreeByAnotherThreadFindsItsBlock) {
    LogWriter log;
    log.By(701);
    log.Start();
    log.Allocated(0x10, 100);
    log.Pass(30);
    log.By(801);
    log.Start();
    log.By(709);  // not seen before; belongs to the first
    log.Freed(0x10, 100);
    const Scanned scanned(log.Text());
    EXPECT_EQ(scanned.Facts().Of(Pool::kLocal).Owned(), 0);
    EXPECT_EQ(scanned.Facts().Unmatched(), 0U);
}

TEST(Processes, ManyAreForgottenOneByOne) {
    LogWriter log;
    for (int i = 0; i < 200; ++i) {
        log.By(1000 + i);
        log.Start();
        log.Allocated(0x10, kMiB);
        log.Pass(10);
    }
    const Scanned scanned(log.Text());
    EXPECT_EQ(scanned.Facts().Processes(), 200U);
    EXPECT_LE(scanned.Facts().Outcomes().size(), Analysis::kMostOutcomes + Lives::kMost);
    EXPECT_LE(scanned.Facts().Of(Pool::kLocal).Owned(), static_cast<std::int64_t>(Lives::kMost * kMiB));
    EXPECT_THAT(scanned.Remarks(), Contains("forgotten"));
}

TEST(Processes, MixedOnesAreSaidToBe) {
    LogWriter log(Prefix::kTimeOfDay);
    log.Allocated(0x10, 100);
    log.Allocated(0x10, 100);
    log.Allocated(0x10, 100);
    EXPECT_THAT(ReportText(Scanned(log.Text()).Report()), HasSubstr("2 addresses handed out again"));
}

// ---- failures --------------------------------------------------------------------------------------

TEST(Failed, RequestsAndRetriesHaveTheirSizes) {
    LogWriter log;
    log.Retry();
    log.Allocated(0x10, 7 * kMiB);
    log.Retry();
    log.Failed(9 * kMiB, 1);
    log.Failed(4 * kMiB, 0);
    log.Retry();
    const Scanned scanned(log.Text());
    const PoolFacts& facts = scanned.Facts().Of(Pool::kLocal);
    EXPECT_EQ(facts.nRetries, 3U);
    EXPECT_EQ(facts.rescued.nLast, 7 * kMiB);
    EXPECT_EQ(facts.failed.nCount, 2U);
    EXPECT_EQ(facts.failed.nLeast, 4 * kMiB);
    EXPECT_EQ(facts.failed.nMost, 9 * kMiB);
    EXPECT_EQ(facts.nFailedAfterRetry, 1U);
    EXPECT_EQ(scanned.Facts().AllFailures().All()[0].enMemory, Memory::kMmz);
    EXPECT_THAT(scanned.Problems(), ElementsAre("failed", "retried", "retry-unfinished"));
}

TEST(Failed, CausesTellWhatTheSystemHadLeft) {
    LogWriter log;
    log.Line("[Malloc_OS@123]Insufficient OS memory, size=4096, available size = 77");
    log.Line("[AlignMalloc_OS@458]Insufficient OS memory, size=4096, align=64, available size = 33");
    const Scanned scanned(log.Text());
    ASSERT_EQ(scanned.Facts().AllFailures().All().size(), 2U);
    EXPECT_EQ(scanned.Facts().AllFailures().All()[0].nLeastAvailable, 77U);
    EXPECT_EQ(scanned.Facts().AllFailures().All()[1].nLeastAvailable, 33U);
    EXPECT_THAT(scanned.Problems(), ElementsAre("system-error"));
    EXPECT_THAT(scanned.Remarks(), ElementsAre("level"));
}

TEST(Failed, UnknownReleasesAreFound) {
    for (const char* szPlace : {"224", "238"}) {
        LogWriter log;
        log.Line(std::string("[ReleaseMemory@") + szPlace +
                 "][ZtkCommon] Memory pointer is not corrected, may be "
                 "corrupted!");
        EXPECT_THAT(Scanned(log.Text()).Problems(), ElementsAre("unknown-release"));
    }
}

TEST(Failed, WhatTheSweepFindsInDevShmIsNoFailure) {
    LogWriter log;
    log.Line("[ReleaseMemoryRes@739]SHM File Type=4, Name = pulse");
    EXPECT_THAT(Scanned(log.Text()).Problems(), IsEmpty());
}

}  // namespace
}  // namespace ztkmem::log::test
