// What happens in which order when the library is loaded and unloaded.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include "tests/library/every_export.h"
#include "tests/library/library.h"
#include "tests/library/private_place.h"
#include "tests/library/process_state.h"
#include "tests/library/recorded_log.h"
#include "tests/library/test_board.h"

namespace ztk::test {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

bool Contains(const std::string& line, const char* szPart) {
    return line.find(szPart) != std::string::npos;
}

class LoadOrder : public testing::Test {
  protected:
    void SetUp() override { SKIP_WITHOUT_PRIVATE_SHM(); }
};

TEST_F(LoadOrder, TheSweepHasEndedBeforeAnyThreadStarts) {
    for (int i = 0; i < 20; ++i)
        std::ofstream("/dev/shm/foreign" + std::to_string(i)) << "x";
    const Library library;
    RecordedLog::Await(" memory thread, tid=", 2);
    std::vector<bool> isSweep;
    for (const std::string& line : RecordedLog::Lines())
        isSweep.push_back(Contains(line, "[ReleaseMemoryRes@"));
    EXPECT_EQ(std::count(isSweep.begin(), isSweep.end(), true), 22) << "the dot entries are named, too";
    EXPECT_TRUE(std::is_partitioned(isSweep.begin(), isSweep.end(), [](bool b) { return b; }));
}

TEST_F(LoadOrder, ALoadWritesTheSweepsAndTheThreadsLinesAlone) {
    const Library library;
    RecordedLog::Await(" memory thread, tid=", 2);
    std::vector<std::string> lines = RecordedLog::Lines();
    for (std::string& line : lines) {
        const auto nId = line.find("tid=");
        if (nId != std::string::npos) line.erase(nId);
    }
    EXPECT_THAT(lines,
                UnorderedElementsAre(
                    "1 [ReleaseMemoryRes@696]ReleaseMemoryRes  find SHM Name[.],Type[2]",
                    "1 [ReleaseMemoryRes@696]ReleaseMemoryRes  find SHM Name[..],Type[2]",
                    "1 [FreeUnbusySharedMemoryThread@25][ZtkCommon] Free unbusy shared memory thread, ",
                    "1 [FreeUnbusyMemoryThread@17][ZtkCommon] Free unbusy memory thread, "));
}

// ---- unload ----------------------------------------------------------------------------------------

struct Moment {
    std::size_t nObjects;
    int nThreads;
};

std::vector<Moment>* g_pMoments = nullptr;

void NoteMoment() {
    g_pMoments->push_back({ObjectsOf(getpid()).size(), CountThreads()});
}

TEST_F(LoadOrder, TheLocalPoolGoesFirstAndBothGiveBlocksBackBeforeTheyStop) {
    std::vector<Moment> moments;
    g_pMoments = &moments;
    WarmUpThreads();
    const int nThreads = CountThreads();
    Library library;
    ASSERT_EQ(FillPools(&library), 0);
    TestRockitOnFree(NoteMoment);
    const bool bUnloaded = library.Unload();
    TestRockitOnFree(nullptr);
    ASSERT_TRUE(bUnloaded);
    ASSERT_EQ(moments.size(), 4U) << "busy and idle, plain and aligned";
    for (const Moment& moment : moments) {
        EXPECT_EQ(moment.nObjects, 2U) << "the shared pool is still whole";
        EXPECT_EQ(moment.nThreads, nThreads + 2) << "and both reclaimers wait";
    }
    EXPECT_EQ(AwaitThreads(nThreads), nThreads);
    EXPECT_THAT(ObjectsOf(getpid()), ElementsAre());
}

TEST_F(LoadOrder, AnUnloadOfFilledPoolsWritesNoLine) {
    Library library;
    ASSERT_EQ(FillPools(&library), 0);
    RecordedLog::ClearAfterLoad();
    ASSERT_TRUE(library.Unload());
    EXPECT_THAT(RecordedLog::Lines(), ElementsAre());
}

}  // namespace
}  // namespace ztk::test
