// The parts that keep count, on numbers alone.
#include "log/books.h"

#include <gmock/gmock.h>

#include <random>

#include "log/calls.h"
#include "log/dump_reader.h"
#include "log/plot_axis.h"
#include "log/progress.h"
#include "log/series.h"
#include "log/trend.h"

namespace ztkmem::log {
namespace {

using testing::ElementsAre;
using testing::Pair;

TEST(Books, ABlockIsFoundByAddressAndSize) {
    PoolBooks books;
    std::size_t nAddresses = 0;
    EXPECT_FALSE(books.Allocate(0x10, {100}, nAddresses));
    EXPECT_TRUE(books.Allocate(0x10, {200}, nAddresses));
    EXPECT_EQ(books.Owned(), 300);
    EXPECT_EQ(books.Find(0x10, 150), nullptr);
    EXPECT_EQ(books.Free(0x10, 200, nAddresses).nSize, 200U);
    EXPECT_THAT(books.Sizes(), ElementsAre(Pair(100, 1)));
    EXPECT_EQ(nAddresses, 1U);
    EXPECT_EQ(books.Clear(), 1U);
    EXPECT_EQ(books.Owned(), 0);
}

TEST(Books, BlocksOfBeforeTheLogWereThereFromItsBegin) {
    PoolBooks books;
    std::size_t nAddresses = 0;
    books.Allocate(0x10, {100}, nAddresses);
    books.FreeOlder(40);
    EXPECT_EQ(books.Base(), 40);
    EXPECT_EQ(books.Owned(), 100);
    books.Calibrate(170);
    EXPECT_EQ(books.Base(), 110);
    EXPECT_EQ(books.Owned(), 170);
    books.FreeOlder(70);
    EXPECT_EQ(books.Owned(), 100);
}

TEST(Books, BeyondTheCapSizesStillCount) {
    PoolBooks books;
    std::size_t nAddresses = PoolBooks::kMostAddresses;
    books.Allocate(0x10, {100}, nAddresses);
    EXPECT_EQ(nAddresses, PoolBooks::kMostAddresses);
    EXPECT_EQ(books.Blocks(), 1U);
    EXPECT_FALSE(books.FreeUntracked(99));
    EXPECT_TRUE(books.FreeUntracked(100));
    EXPECT_FALSE(books.FreeUntracked(100));
    EXPECT_EQ(books.Owned(), 0);
    EXPECT_EQ(books.Blocks(), 0U);
}

TEST(Books, AnAddressThatIsNeverFreedIsKeptAFewTimesOnly) {
    PoolBooks books;
    std::size_t nAddresses = 0;
    for (int i = 0; i < 1000; ++i)
        books.Allocate(0x10, {100}, nAddresses);
    EXPECT_EQ(nAddresses, PoolBooks::kMostAtAnAddress);
    EXPECT_EQ(books.Blocks(), 1000U);
    EXPECT_EQ(books.Owned(), 100'000);
}

TEST(Books, SumsStopInsteadOfOverflowing) {
    PoolBooks books;
    std::size_t nAddresses = 0;
    for (std::uint64_t i = 0; i < 100; ++i)
        books.Allocate(i, {UINT64_MAX / 2}, nAddresses);
    EXPECT_EQ(books.Owned(), kMostBytes);
    Flow flow;
    flow.Add(UINT64_MAX);
    flow.Add(UINT64_MAX);
    EXPECT_EQ(flow.nBytes, UINT64_MAX);
}

TEST(Books, SizesBeyondTheCapAreCountedTogether) {
    SizeCounts counts;
    for (std::uint64_t nSize = 1; nSize <= kMostSizes + 50; ++nSize)
        ++CountOf(counts, nSize);
    EXPECT_LE(counts.size(), kMostSizes + 1);
    EXPECT_EQ(counts[0], 50U);
}

// ---- lines in a row --------------------------------------------------------------------------------

TEST(Calls, TheResultTellsTheMemoryOfTheThreadsOwnBlock) {
    Calls calls;
    const Speaker one{0, 1001};
    const Speaker other{0, 1002};
    calls.Begins(one);
    calls.Begins(other);
    calls.Allocated(one, {0x10, 100});
    calls.Allocated(other, {0x20, 100});
    EXPECT_EQ(calls.Ends(other, 100)->nAddress, 0x20U);
    EXPECT_EQ(calls.Ends(one, 100)->nAddress, 0x10U);
    EXPECT_FALSE(calls.Ends(one, 100).has_value());
}

TEST(Calls, WithoutIdsOnlyACallAloneIsBelieved) {
    Calls calls;
    const Speaker nobody;
    calls.Begins(nobody);
    calls.Allocated(nobody, {0x10, 100});
    EXPECT_EQ(calls.Ends(nobody, 100)->nAddress, 0x10U);
    calls.Begins(nobody);
    calls.Begins(nobody);
    calls.Allocated(nobody, {0x20, 100});
    EXPECT_FALSE(calls.Ends(nobody, 100).has_value());
    EXPECT_FALSE(calls.Ends(nobody, 100).has_value());
    calls.Begins(nobody);
    calls.Allocated(nobody, {0x30, 100});
    EXPECT_FALSE(calls.Ends(nobody, 200).has_value());
}

TEST(Calls, ARetryHasOneOutcomeInItsPool) {
    Calls calls;
    const Speaker nobody;
    calls.Retries(nobody, Pool::kLocal);
    EXPECT_FALSE(calls.TakeRetry(nobody, Pool::kShared));
    EXPECT_TRUE(calls.TakeRetry(nobody, Pool::kLocal));
    EXPECT_FALSE(calls.TakeRetry(nobody, Pool::kLocal));
}

// ---- curves and trends -----------------------------------------------------------------------------

TEST(Series, StaysBoundedAndKeepsTheExtremes) {
    Series series;
    constexpr std::int64_t kValues = 100'000;
    for (std::int64_t i = 0; i < kValues; ++i)
        series.Add({static_cast<std::uint64_t>(i + 1)}, i == 77'777 ? 1'000'000 : i % 10);
    EXPECT_LE(series.Spans().size(), Series::kMostSpans);
    EXPECT_GE(series.Spans().size(), Series::kMostSpans / 2);
    EXPECT_EQ(series.Most(), 1'000'000);
    EXPECT_EQ(series.Last(), (kValues - 1) % 10);
    std::uint64_t nCount = 0;
    std::uint64_t nLine = 0;
    std::int64_t nMost = 0;
    for (const Span& span : series.Spans()) {
        EXPECT_EQ(span.first.nLine, nLine + 1);
        nLine = span.last.nLine;
        nCount += span.nCount;
        nMost = std::max(nMost, span.nMost);
    }
    EXPECT_EQ(nCount, static_cast<std::uint64_t>(kValues));
    EXPECT_EQ(nMost, 1'000'000);
}

struct GrowthCase {
    std::vector<std::uint64_t> counts;
    bool bGrows;
};

TEST(Growth, OnlyWhatNeverShrinksAndStillGrowsIsReported) {
    const std::vector<GrowthCase> table{
        {{1, 2, 3, 4, 5}, true},
        {{0, 0, 1, 2, 3}, true},
        {{1, 2, 3, 2, 5, 6}, false},
        {{1, 2, 3, 4, 4, 4, 4, 4, 4, 4}, false},  // a pool that warmed up
        {{1, 2, 3}, false},
        {{5, 5, 5, 5, 5, 5}, false},
        {{1, 1, 1, 1, 1, 9}, false},
        {{9, 8, 7, 6, 5}, false},
        {{1, 2, 2, 3, 3, 4, 4}, true},
    };
    for (const GrowthCase& expected : table) {
        Growth growth;
        for (const std::uint64_t nCount : expected.counts)
            growth.Look(nCount == 0 ? SizeCounts{} : SizeCounts{{4096, nCount}});
        EXPECT_EQ(!growth.OnlyGrowing().empty(), expected.bGrows) << testing::PrintToString(expected.counts);
    }
}

/// What only the changed sizes tell is what all of them would.
TEST(Growth, IsTheSameByChangesAsByEverything) {
    std::mt19937 random(5);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same steps every time
    PoolBooks books;
    Growth byAll;
    Growth byChanges;
    std::size_t nAddresses = 0;
    for (int nLook = 0; nLook < 60; ++nLook) {
        for (unsigned i = 0; i < random() % 40; ++i) {
            const std::uint64_t nSize = 1 + random() % 30;
            if (nSize > 10 && books.Find(nSize, nSize) != nullptr) {
                books.Free(nSize, nSize, nAddresses);
            } else {
                books.Allocate(nSize, {nSize}, nAddresses);
            }
        }
        const auto changed = books.TakeChanges();
        ASSERT_TRUE(changed.has_value());
        byAll.Look(books.Sizes());
        byChanges.Look(books.Sizes(), *changed);
        const auto expected = byAll.OnlyGrowing();
        const auto growing = byChanges.OnlyGrowing();
        ASSERT_EQ(growing.size(), expected.size()) << nLook;
        for (std::size_t i = 0; i < growing.size(); ++i) {
            EXPECT_EQ(growing[i].nSize, expected[i].nSize);
            EXPECT_EQ(growing[i].trend.nFirst, expected[i].trend.nFirst);
            EXPECT_EQ(growing[i].trend.nLast, expected[i].trend.nLast);
            EXPECT_EQ(growing[i].trend.nGrew, expected[i].trend.nGrew);
        }
    }
    EXPECT_FALSE(byAll.OnlyGrowing().empty());
}

TEST(Books, TooManyChangesAreSaidToBe) {
    PoolBooks books;
    std::size_t nAddresses = 0;
    books.Allocate(0x10, {7}, nAddresses);
    EXPECT_THAT(*books.TakeChanges(), ElementsAre(7));
    for (std::uint64_t nSize = 1; nSize <= 2 * kMostSizes + 1; ++nSize) {
        books.Allocate(0x20, {nSize}, nAddresses);
        books.Free(0x20, nSize, nAddresses);
    }
    EXPECT_FALSE(books.TakeChanges().has_value());
    EXPECT_TRUE(books.TakeChanges()->empty());
}

TEST(Growth, TheMostBytesComeFirst) {
    Growth growth;
    for (std::uint64_t i = 1; i <= 5; ++i)
        growth.Look({{100, 10 * i}, {5000, i}});
    ASSERT_EQ(growth.OnlyGrowing().size(), 2U);
    EXPECT_EQ(growth.OnlyGrowing()[0].nSize, 5000U);
    EXPECT_EQ(growth.OnlyGrowing()[0].trend.nFirst, 1U);
    EXPECT_EQ(growth.OnlyGrowing()[0].trend.nLast, 5U);
}

// ---- dumps -----------------------------------------------------------------------------------------

struct DumpCase {
    Memory enMemory;
    std::vector<std::string> lines;
    std::uint64_t nBlocks;
    std::uint64_t nBytes;
    bool bWhole;
};

TEST(Dumps, AreWholeIfTheirTotalsSaySo) {
    const std::vector<DumpCase> table{
        {Memory::kHeap, {"", "100[0x10:0], 200[0x20:0], ", "300[0x30:0], "}, 3, 600, true},
        {Memory::kHeap, {" 100[0x10:0], 200[0x20:0], 300[0x30:0], "}, 3, 600, true},
        {Memory::kHeap, {"#012100[0x10:0], #012200[0x20:0], "}, 2, 300, true},
        {Memory::kHeap, {"\\n100[0x10:0], "}, 1, 100, true},
        {Memory::kHeap, {"100[0x10:0], another program speaks, 7, ", "200[0x20:0], "}, 2, 300, true},
        {Memory::kHeap, {"100[0x10:0], 200[0x2"}, 2, 300, false},
        {Memory::kHeap, {"100[0x10:0], "}, 1, 101, false},
        {Memory::kMmz, {"100[0x10:0x7f00], "}, 1, 100, true},
        {Memory::kShared, {"100, 200, ", "300, "}, 3, 600, true},
        {Memory::kShared, {""}, 0, 0, true},
    };
    for (const DumpCase& expected : table) {
        DumpReader reader([](Memory, const DumpedBlock&) {});
        reader.Begin(expected.enMemory);
        for (const std::string& line : expected.lines)
            reader.Feed(line, true, true);
        EXPECT_EQ(reader.End(expected.enMemory, expected.nBlocks, expected.nBytes), expected.bWhole)
            << testing::PrintToString(expected.lines);
        EXPECT_FALSE(reader.IsOpen());
    }
}

TEST(Dumps, BlocksAreReadAcrossPieces) {
    const std::string text = "100[0x10:0], 200[0xffffffffffffffff:0x7f], ";
    for (std::size_t nCut = 1; nCut < text.size(); ++nCut) {
        std::vector<std::uint64_t> handles;
        DumpReader reader([&handles](Memory, const DumpedBlock& block) { handles.push_back(block.nHandle); });
        reader.Begin(Memory::kMmz);
        reader.Feed(text.substr(0, nCut), true, false);
        reader.Feed(text.substr(nCut), false, true);
        ASSERT_TRUE(reader.End(Memory::kMmz, 2, 300)) << nCut;
        EXPECT_THAT(handles, ElementsAre(0, 0x7f));
    }
}

// ---- axes and progress -----------------------------------------------------------------------------

std::vector<std::string> Labels(const Axis& axis) {
    std::vector<std::string> labels;
    for (const Tick& tick : axis.ticks)
        labels.push_back(tick.label);
    return labels;
}

TEST(Axes, TicksAreRoundInTheLogsOwnTime) {
    constexpr double kDay = 86400;
    EXPECT_THAT(Labels(MakeTimeAxis(ClockKind::kTimeOfDay, 36030, 36330, 0)),
                ElementsAre("10:01", "10:02", "10:03", "10:04", "10:05"));
    EXPECT_THAT(Labels(MakeTimeAxis(ClockKind::kTimeOfDay, 36000, 36000.3, 0)),
                ElementsAre("10:00:00.000", "10:00:00.050", "10:00:00.100", "10:00:00.150", "10:00:00.200",
                            "10:00:00.250", "10:00:00.300"));
    EXPECT_THAT(Labels(MakeTimeAxis(ClockKind::kDate, 0, 3 * kDay, 0)),
                ElementsAre("00:00", "12:00", "00:00", "12:00", "00:00", "12:00", "00:00"));
    EXPECT_THAT(Labels(MakeTimeAxis(ClockKind::kDate, 0, 20 * kDay, 0)).front(), "01-01");
    EXPECT_THAT(Labels(MakeTimeAxis(ClockKind::kSeconds, 0, 10, 0)),
                ElementsAre("0", "2", "4", "6", "8", "10"));
    EXPECT_EQ(MakeTimeAxis(ClockKind::kTimeOfDay, 0, 3600, 1800).ticks.front().label, "00:30");
}

TEST(Axes, SizesHaveAUnitThatFits) {
    constexpr std::int64_t kMiB = 1024L * 1024;
    const SizeAxis axis = MakeSizeAxis(300 * kMiB);
    EXPECT_EQ(axis.title, "MiB");
    EXPECT_GE(axis.to, 300);
    EXPECT_THAT(Labels(axis), ElementsAre("0", "50", "100", "150", "200", "250", "300", "350"));
    EXPECT_EQ(MakeSizeAxis(0).title, "bytes");
    EXPECT_EQ(MakeSizeAxis(INT64_MAX).title, "PiB");
}

TEST(Axes, NothingAtAllStillHasAnAxis) {
    EXPECT_LT(MakeTimeAxis(ClockKind::kDate, 5, 5, 0).from, MakeTimeAxis(ClockKind::kDate, 5, 5, 0).to);
    EXPECT_LT(MakeLineAxis(1, 1).from, MakeLineAxis(1, 1).to);
    EXPECT_GT(MakeSizeAxis(0).to, 0);
}

TEST(Progress, SaysNothingInTheFirstSecond) {
    Progress progress(true, 1000);
    EXPECT_FALSE(progress.At(0.9, 100).has_value());
    EXPECT_EQ(progress.End(), "");
    EXPECT_EQ(progress.At(1.0, 500).value(), "\rztkmem log: read 500 of 1000 (50%)\033[K");
    EXPECT_FALSE(progress.At(1.5, 600).has_value());
    EXPECT_TRUE(progress.At(2.1, 700).has_value());
    EXPECT_EQ(progress.End(), "\r\033[K");
}

TEST(Progress, InAFileItIsALineNowAndThen) {
    Progress progress(false, 0);
    EXPECT_EQ(progress.At(1, 2048).value(), "ztkmem log: read 2.0K\n");
    EXPECT_FALSE(progress.At(10.9, 4096).has_value());
    EXPECT_TRUE(progress.At(11, 4096).has_value());
    EXPECT_EQ(progress.End(), "");
}

}  // namespace
}  // namespace ztkmem::log
