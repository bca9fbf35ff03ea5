// The plot's numbers, from logs written down here.
#include "timeline.h"

#include <gmock/gmock.h>

#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace demo {
namespace {

using ::testing::ElementsAre;

// A log of the stand-in's form, a millisecond from line to line.
class Log {
  public:
    explicit Log(int nHour = 12) : nHour_(nHour) {}

    Log& Line(const std::string& message) {
        char szTime[64];
        std::snprintf(szTime, sizeof(szTime), "2024-02-29T%02d:00:00.%03dZ trace   77 ", nHour_,
                      nMilliseconds_++);
        text_ += szTime + message + "\n";
        return *this;
    }
    Log& NewSystem(const std::string& address, int nSize) {
        return Line("[AllocateMemory@160][ZtkCommon] Allocate system memory addr=" + address +
                    ", size=" + std::to_string(nSize));
    }
    Log& Result(int nSize, int enMemType) {
        return Line("[AllocatePoolMemory@74][ZtkCommon] Allocate memory return 0, nSize = " +
                    std::to_string(nSize) + ", enMemType=" + std::to_string(enMemType));
    }
    Log& AlignedResult(int nSize, int enMemType) {
        return Line("[AllocateAlignedPoolMemory@47][ZtkCommon] Allocate align memory return 0, nSize = " +
                    std::to_string(nSize) + ", nAlign = 64, enMemType=" + std::to_string(enMemType));
    }
    Log& Raw(const std::string& text) {
        text_ += text;
        return *this;
    }
    Log& GoOnAtHour(int nHour) {
        nHour_ = nHour;
        return *this;
    }

    Timeline Read() const {
        std::istringstream stream(text_);
        return Timeline(stream);
    }

  private:
    std::string text_;
    int nHour_;
    int nMilliseconds_ = 0;
};

const KindBytes& LastOf(const Timeline& timeline, MemoryKind enKind) {
    return timeline.Samples().back().bytes[static_cast<std::size_t>(enKind)];
}

std::tuple<std::uint64_t, std::uint64_t> OwnedAndInUse(const Timeline& timeline, MemoryKind enKind) {
    return {LastOf(timeline, enKind).nOwned, LastOf(timeline, enKind).nInUse};
}

std::tuple<std::size_t, std::size_t, std::size_t> Counts(const Timeline& timeline, MemoryKind enKind) {
    const KindCounts& counts = timeline.CountsOf(enKind);
    return {counts.nRequests, counts.nFromSystem, counts.nToSystem};
}

TEST(Timeline, TellsHeapFromMmzByTheResultLine) {
    const Timeline timeline =
        Log().NewSystem("0x1000", 100).AlignedResult(100, 0).NewSystem("0x2000", 300).Result(300, 1).Read();
    EXPECT_EQ(OwnedAndInUse(timeline, MemoryKind::kHeap), std::make_tuple(100, 0));
    EXPECT_EQ(OwnedAndInUse(timeline, MemoryKind::kMmz), std::make_tuple(300, 0));
    EXPECT_EQ(timeline.Samples().size(), 2U);
}

TEST(Timeline, CountsTheBlockAndNotTheRequestAsInUse) {
    Log log;
    log.NewSystem("0xabc0", 100).Result(100, 0).Line("[demo]held 0xabc0").Line("[demo]given back 0xabc0");
    log.Result(60, 0).Line("[demo]held 0xabc0");  // reused for less
    const Timeline timeline = log.Read();
    EXPECT_EQ(OwnedAndInUse(timeline, MemoryKind::kHeap), std::make_tuple(100, 100));
    EXPECT_EQ(Counts(timeline, MemoryKind::kHeap), std::make_tuple(2, 1, 0));
    std::vector<std::uint64_t> inUse;
    for (const Sample& sample : timeline.Samples())
        inUse.push_back(sample.bytes[0].nInUse);
    EXPECT_THAT(inUse, ElementsAre(0, 100, 0, 100));
}

TEST(Timeline, FollowsBlocksThatGoBackToTheSystem) {
    Log log;
    log.NewSystem("0x1000", 100).Result(100, 0).NewSystem("0x2000", 300).Result(300, 1);
    log.Line("[FreeUnbusyMemory@373][ZtkCommon] Free system memory addr=0x2000, size=300");
    log.Line("[FreeUnbusyMemory@373][ZtkCommon] Free system memory addr=0x9999, size=300");  // never seen
    const Timeline timeline = log.Read();
    EXPECT_EQ(OwnedAndInUse(timeline, MemoryKind::kHeap), std::make_tuple(100, 0));
    EXPECT_EQ(OwnedAndInUse(timeline, MemoryKind::kMmz), std::make_tuple(0, 0));
    EXPECT_EQ(Counts(timeline, MemoryKind::kMmz), std::make_tuple(1, 1, 1));
}

TEST(Timeline, CountsSharedRequestsByTheMarks) {
    Log log;
    log.Line("[AllocateMemory@180][ZtkCommon] Allocate shared memory addr=0x5000, size=4096");
    log.Line("[demo]held 0x5000").Line("[demo]given back 0x5000").Line("[demo]held 0x5000");
    const Timeline timeline = log.Read();
    EXPECT_EQ(OwnedAndInUse(timeline, MemoryKind::kShared), std::make_tuple(4096, 4096));
    EXPECT_EQ(Counts(timeline, MemoryKind::kShared), std::make_tuple(2, 1, 0));
}

TEST(Timeline, TakesNoRefusedRequestForARequestServed) {
    Log log;
    log.NewSystem("0x1000", 100).Result(100, 0);
    log.Line("[AllocatePoolMemory@74][ZtkCommon] Allocate memory return 0x80100009, nSize = 7, enMemType=0");
    EXPECT_EQ(Counts(log.Read(), MemoryKind::kHeap), std::make_tuple(1, 1, 0));
}

TEST(Timeline, PassesOverTheLinesOfADump) {
    Log log;
    log.NewSystem("0x1000", 100).Result(100, 0);
    log.Raw("100[0x1000:0], 200[0x2000:0], \nAllocate system memory addr=0x3000, size=5\n");
    log.Line("[DumpMemoryInfo@439][ZtkCommon] OS Memory pool contains 1 block(s), total size: 100 bytes");
    EXPECT_EQ(OwnedAndInUse(log.Read(), MemoryKind::kHeap), std::make_tuple(100, 0));
}

TEST(Timeline, CountsTimeFromTheFirstSampleAndOverMidnight) {
    Log log(23);
    log.Line("[GetAvailableOSSize@12][ZtkCommon] GetAvailableOSSize()").Line("[demo]phase first of all");
    log.GoOnAtHour(0).Line("[demo]phase second");
    const Timeline timeline = log.Read();
    ASSERT_EQ(timeline.Phases().size(), 2U);
    EXPECT_EQ(timeline.Phases()[0].name, "first of all");
    EXPECT_DOUBLE_EQ(timeline.Phases()[0].dSeconds, 0);
    EXPECT_NEAR(timeline.Phases()[1].dSeconds, 3600.001, 1e-9);
}

}  // namespace
}  // namespace demo
