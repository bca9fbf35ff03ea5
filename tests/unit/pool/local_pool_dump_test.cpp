// The dump of the heap and MMZ lists, letter for letter.
#include <atomic>

#include "pool_fixture.h"

namespace ztk::test {
namespace {

using ::testing::ElementsAre;

const std::string kOsHeading = "*************OS Memory pool block list detail:*****************\n";
const std::string kMmzHeading = "----------------MMZ Memory pool block list detail: ----------------------\n";

class LocalPoolDumpTest : public PoolTest<HeapKind> {
  protected:
    Given Heap(std::uint64_t nSize, std::int32_t nAlign = 0) { return Allocate(nSize, nAlign); }

    Given Mmz(std::uint64_t nSize, std::int32_t nAlign = 0) {
        Given given;
        EXPECT_EQ(MmzKind::Allocate(ThePool(), nSize, nAlign, given), ZTK_SUCCESS);
        return given;
    }

    Lines Dump() {
        ClearLog();
        ThePool().DumpMemoryInfo();
        return TakeLog();
    }

    static Lines DumpOf(const std::string& os, int nOs, std::uint64_t nOsTotal, const std::string& mmz,
                        int nMmz, std::uint64_t nMmzTotal) {
        const auto summary = [](int nBlocks, std::uint64_t nTotal) {
            return " Memory pool contains " + std::to_string(nBlocks) +
                   " block(s), total size: " + std::to_string(nTotal) + " bytes";
        };
        return {Tagged(0, "DumpMemoryInfo", 438, kOsHeading + os),
                Tagged(1, "DumpMemoryInfo", 439, "OS" + summary(nOs, nOsTotal)),
                Tagged(0, "DumpMemoryInfo", 475, kMmzHeading + mmz),
                Tagged(1, "DumpMemoryInfo", 476, "MMZ" + summary(nMmz, nMmzTotal))};
    }

    static std::string Entry(const Given& given, std::uint64_t nSize) {
        const std::string handle = given.nHandle == 0 ? "0" : Hex(given.nHandle);
        return std::to_string(nSize) + "[" + Hex(given.nAddress) + ":" + handle + "], ";
    }
};

TEST_F(LocalPoolDumpTest, OfAnEmptyPoolIsTwoHeadingsAndTwoZeros) {
    EXPECT_EQ(Dump(), DumpOf("", 0, 0, "", 0, 0));
}

TEST_F(LocalPoolDumpTest, AHeapBlockHasItsSizeItsAddressAndAZeroWithoutPrefix) {
    const Given given = Heap(1'048'576);
    EXPECT_EQ(Dump(), DumpOf("1048576[" + Hex(given.nAddress) + ":0], ", 1, 1'048'576, "", 0, 0));
}

TEST_F(LocalPoolDumpTest, AnMmzBlockHasItsHandle) {
    const Given given = Mmz(4096);
    ASSERT_NE(given.nHandle, 0U);
    EXPECT_EQ(Dump(),
              DumpOf("", 0, 0, "4096[" + Hex(given.nAddress) + ":" + Hex(given.nHandle) + "], ", 1, 4096));
}

TEST_F(LocalPoolDumpTest, BusyAndIdleBlocksAreListedAlike) {
    const Given idle = Heap(4096);
    const Given busy = Heap(8192);
    Release(idle);
    EXPECT_EQ(Dump(), DumpOf(Entry(idle, 4096) + Entry(busy, 8192), 2, 12'288, "", 0, 0));
}

TEST_F(LocalPoolDumpTest, GoesByAlignmentThenSizeClassThenSize) {
    const Given by64 = Heap(100, 64);
    const Given large = Heap(21 * kMiB);
    const Given second = Heap(200);
    const Given first = Heap(150);
    const Given by8 = Heap(300, 8);
    const Given negative = Heap(400, -2);
    const Given mmz = Mmz(500, 16);
    const Given mmzNegative = Mmz(600, INT32_MIN);
    EXPECT_EQ(Dump(), DumpOf(Entry(negative, 400) + Entry(first, 150) + Entry(second, 200) +
                                 Entry(large, 21 * kMiB) + Entry(by8, 300) + Entry(by64, 100),
                             6, 21 * kMiB + 1150, Entry(mmzNegative, 600) + Entry(mmz, 500), 2, 1100));
}

TEST_F(LocalPoolDumpTest, TwentyFiveBlocksAreBrokenAfterTheTenthAndTheTwentieth) {
    std::string expected;
    std::uint64_t nTotal = 0;
    for (std::uint64_t n = 1; n <= 25; ++n) {
        // The count goes on from one alignment to the next.
        expected += Entry(Heap(n * 16, n <= 13 ? 0 : 64), n * 16);
        if (n == 10 || n == 20) expected += '\n';
        nTotal += n * 16;
    }
    EXPECT_EQ(Dump(), DumpOf(expected, 25, nTotal, "", 0, 0));
}

TEST_F(LocalPoolDumpTest, EachSectionCountsItsOwnBlocks) {
    std::string os;
    std::string mmz;
    for (std::uint64_t n = 1; n <= 7; ++n)
        os += Entry(Heap(n), n);
    for (std::uint64_t n = 1; n <= 10; ++n)
        mmz += Entry(Mmz(n), n);
    EXPECT_EQ(Dump(), DumpOf(os, 7, 28, mmz + "\n", 10, 55));
}

TEST_F(LocalPoolDumpTest, YieldsTheProcessorAfterEachAlignment) {
    Heap(100);
    Heap(21 * kMiB);
    Heap(100, 8);
    Mmz(100, 8);
    SystemCalls::Record({"usleep"});
    ThePool().DumpMemoryInfo();
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre("usleep 0", "usleep 0", "usleep 0"));
}

// ---- the lock --------------------------------------------------------------------------------------

LocalMemoryPool* g_pPool = nullptr;
void* g_pBlock = nullptr;
std::thread g_releaser;
std::atomic<bool> g_bReleased{false};
bool g_bReleasedDuringDump = false;

void ReleaseDuringDump(const LogLine& line) {
    if (line.nLine == 438) {
        g_releaser = std::thread([] {
            g_pPool->ReleaseMemory(g_pBlock);
            g_bReleased = true;
        });
        for (int i = 0; i < 1000; ++i)
            std::this_thread::yield();
    }
    if (line.nLine == 476) g_bReleasedDuringDump = g_bReleased;
}

TEST_F(LocalPoolDumpTest, ReleasesWaitUntilBothSectionsAreWritten) {
    g_pPool = &ThePool();
    g_pBlock = reinterpret_cast<void*>(Heap(4096).nAddress);
    FakeLog::OnLine(ReleaseDuringDump);
    ThePool().DumpMemoryInfo();
    g_releaser.join();
    EXPECT_FALSE(g_bReleasedDuringDump);
    EXPECT_TRUE(g_bReleased);
}

}  // namespace
}  // namespace ztk::test
