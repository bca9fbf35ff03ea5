// Damaged logs: nothing crashes, nothing grows without bound, whatever is left makes sense.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <random>
#include <string>

#include "log/plot.h"
#include "log_writer.h"
#include "scanned.h"

namespace ztkmem::log::test {
namespace {

class Mutator {
  public:
    explicit Mutator(unsigned nSeed) : random_(nSeed) {}

    std::string Damage(std::string text) {
        const std::size_t nTimes = 1 + Below(40);
        for (std::size_t i = 0; i < nTimes && !text.empty(); ++i)
            Damage1(text);
        return text;
    }

  private:
    std::size_t Below(std::size_t nLimit) {
        return std::uniform_int_distribution<std::size_t>(0, nLimit - 1)(random_);
    }

    void Damage1(std::string& text) {
        const std::size_t nAt = Below(text.size());
        const std::size_t nCount = 1 + Below(200);
        static const std::string kBits[] = {"\n",
                                            "\r\n",
                                            std::string(1, '\0'),
                                            "\xff",
                                            "[",
                                            "@",
                                            ",",
                                            "0x",
                                            "18446744073709551615",
                                            "-1",
                                            "[AllocateMemory@160][ZtkCommon] ",
                                            "1024[0x7f:0], ",
                                            "9999-99-99T99:99:99",
                                            "0000-01-01T00:00:00Z ",
                                            "9999-12-31T23:59:59Z ",
                                            "[99999999999.9] "};
        switch (Below(6)) {
            case 0:
                text[nAt] = static_cast<char>(Below(256));
                break;
            case 1:
                text.erase(nAt, nCount);
                break;
            case 2:
                text.insert(nAt, text.substr(Below(text.size()), nCount));
                break;
            case 3:
                text.insert(nAt, kBits[Below(std::size(kBits))]);
                break;
            case 4:
                text.insert(nAt, std::string(nCount * 10, static_cast<char>(Below(256))));
                break;
            default:
                text.resize(nAt + 1);
                break;
        }
    }

    std::mt19937 random_;
};

void ReadEverything(const std::string& text, std::size_t nStep) {
    const Scanned log(text, nStep);
    const auto report = log.Report();
    EXPECT_FALSE(report.findings.empty());
    EXPECT_FALSE(ReportText(report).empty());
    EXPECT_TRUE(nlohmann::json::accept(ReportJson(report)));
    const Plot plot = MakePlot(report);
    EXPECT_LT(DrawSvg(plot).size(), 2'000'000U);
    for (const PlotCurve& curve : plot.curves) {
        for (const Point& point : curve.points) {
            ASSERT_FALSE(std::isnan(point.x) || std::isnan(point.y));
        }
    }
}

class Fuzzed : public testing::TestWithParam<const char*> {};

TEST_P(Fuzzed, LogsAreReadWithoutHarm) {
    const std::string text = ReadData(GetParam()).substr(0, 30'000);
    for (unsigned nSeed = 0; nSeed < 60; ++nSeed) {
        SCOPED_TRACE(nSeed);
        ReadEverything(Mutator(nSeed).Damage(text), nSeed % 2 == 0 ? 4096 : 97);
    }
}

INSTANTIATE_TEST_SUITE_P(Recorded, Fuzzed,
                         testing::Values("data/leak.log", "data/healthy.log", "data/demo.log"));

TEST(HostileLogs, BytesOfEveryKindAreRead) {
    std::mt19937 random(7);
    std::string text(300'000, '\0');
    for (char& ch : text)
        ch = static_cast<char>(random() & 0xFFU);
    ReadEverything(text, 4096);
    ReadEverything(std::string(100'000, '['), 4096);
    ReadEverything(std::string(100'000, '@'), 4096);
    ReadEverything(std::string(100'000, '\n'), 4096);
    ReadEverything(std::string(100'000, '\0'), 4096);
}

/// A dump of a large pool on one line, as a logger writes it that takes the line ends out.
TEST(HostileLogs, ADumpOfHalfAMegabyteOnOneLineIsRead) {
    LogWriter log;
    std::string dump =
        "[DumpMemoryInfo@438][ZtkCommon] *************OS Memory pool block list detail:*****************";
    std::uint64_t nBlocks = 0;
    for (; dump.size() < 600'000; ++nBlocks)
        dump += fmt::format(" {}[{:#x}:0], ", 4096 + nBlocks % 5, 0x7f0000000000 + 4096 * nBlocks);
    std::uint64_t nBytes = 0;
    for (std::uint64_t i = 0; i < nBlocks; ++i)
        nBytes += 4096 + i % 5;
    log.Line(dump);
    log.HeapTotal(nBlocks, nBytes);
    const Scanned scanned(log.Text(), 4096);
    EXPECT_EQ(scanned.Facts().Of(Memory::kHeap).nWholeDumps, 1U);
    EXPECT_EQ(scanned.Facts().Torn(), 0U);
}

/// Sizes, addresses, threads and processes that never repeat: everything that is kept has its bound.
TEST(HostileLogs, NothingIsKeptWithoutBound) {
    LogWriter log;
    for (int i = 0; i < 60'000; ++i) {
        log.By(1000 + i);
        if (i % 100 == 0) log.Start();
        log.Begin();
        log.Allocated(static_cast<std::uint64_t>(i) << 12U, 4096U + static_cast<unsigned>(i));
        if (i % 500 == 0) log.Limit(1);
        if (i % 50 == 0) log.Pass(1);
    }
    const Scanned scanned(log.Text());
    const Analysis& facts = scanned.Facts();
    EXPECT_LE(facts.Of(Pool::kLocal).sizesLeft.size(), kMostSizes + 1);
    EXPECT_LE(facts.Of(Pool::kLocal).owned.Spans().size(), Series::kMostSpans);
    EXPECT_LE(facts.Outcomes().size(), Analysis::kMostOutcomes + Lives::kMost);
    EXPECT_GT(facts.Processes(), 500U);
}

/// The time that a minute's lines take must not depend on what the pool holds.
TEST(HostileLogs, ManySizesAndThenManyMinutesAreRead) {
    LogWriter log;
    for (unsigned i = 0; i < 5000; ++i)
        log.Allocated(0x1000 + i, 100 + i);
    for (int i = 0; i < 100'000; ++i)
        log.Limit(1);
    const Scanned scanned(log.Text());
    EXPECT_EQ(scanned.Facts().Of(Pool::kLocal).nLimitLines, 100'000U);
    EXPECT_TRUE(scanned.Facts().Outcomes()[0].growing.empty());
}

TEST(HostileLogs, MoreBlocksThanAddressesAreKeptStillAddUp) {
    constexpr std::uint64_t kBlocks = PoolBooks::kMostAddresses + 1000;
    Analysis analysis;
    Scanner scanner(analysis);
    for (const bool bFree : {false, true}) {
        for (std::uint64_t i = 0; i < kBlocks; ++i) {
            scanner.Feed(fmt::format("[{}][ZtkCommon] {} system memory addr={:#x}, size=4096\n",
                                     bFree ? "FreeUnbusyMemory@373" : "AllocateMemory@160",
                                     bFree ? "Free" : "Allocate", (i + 1) << 12U));
        }
    }
    scanner.Finish();
    EXPECT_TRUE(analysis.AddressesFull());
    EXPECT_EQ(analysis.Of(Pool::kLocal).Peak(), static_cast<std::int64_t>(kBlocks * 4096));
    EXPECT_EQ(analysis.Of(Pool::kLocal).Owned(), 0);
    EXPECT_EQ(analysis.Of(Pool::kLocal).nBlocksLeft, 0U);
}

}  // namespace
}  // namespace ztkmem::log::test
