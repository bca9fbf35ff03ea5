// A loaded library whose calls of the C library go through the program.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "tests/library/every_export.h"
#include "tests/library/library.h"
#include "tests/library/process_state.h"
#include "tests/library/recorded_log.h"
#include "tests/library/test_board.h"
#include "tests/library/thread_functions.h"

namespace ztk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kNoSharedThread[] = "4 [Init@64][ZtkCommon] Create free memory thread failed, return code: 11";
constexpr char kNoLocalThread[] = "4 [Init@52][ZtkCommon] Create free memory thread failed, return code: 11";

struct Case {
    const char* szName;
    int nOccurrence;
    int nThreads;
    std::vector<std::string> lines;
};

class ThreadCreationFails : public testing::TestWithParam<Case> {};

TEST_P(ThreadCreationFails, TheLibraryLoadsAndWorksWithoutThatReclaimer) {
    WarmUpThreads();
    const int nThreads = CountThreads();
    RecordedLog::Clear();
    FailThreadCreation(GetParam().nOccurrence, EAGAIN);
    Library library;
    LetThreadsBeCreated();
    EXPECT_THAT(RecordedLog::LinesWith("[Init@"), testing::ElementsAreArray(GetParam().lines));
    EXPECT_EQ(CountThreads(), nThreads + GetParam().nThreads);
    EXPECT_EQ(UseEveryExport(&library), 0);
    EXPECT_EQ(FillPools(&library), 0);
    RecordCalls();
    EXPECT_TRUE(library.Unload());
    EXPECT_THAT(RecordedLog::LinesWith("[UnInit@"), IsEmpty());
    EXPECT_EQ(AwaitThreads(nThreads), nThreads);
}

INSTANTIATE_TEST_SUITE_P(At, ThreadCreationFails,
                         testing::Values(Case{"TheFirst", 1, 1, {kNoSharedThread}},
                                         Case{"TheSecond", 2, 1, {kNoLocalThread}},
                                         Case{"Both", 0, 0, {kNoSharedThread, kNoLocalThread}}),
                         [](const auto& item) { return item.param.szName; });

TEST(ThreadRoutine, EndsAtOnceWithoutAPool) {
    RecordCalls();
    FailThreadCreation(0, EAGAIN);
    const Library library;
    LetThreadsBeCreated();
    const auto routines = ThreadRoutines();
    ASSERT_EQ(routines.size(), 2U);
    RecordedLog::Clear();
    for (auto* pRoutine : routines)
        EXPECT_EQ(pRoutine(nullptr), nullptr);
    EXPECT_THAT(RecordedLog::Lines(), IsEmpty());
}

TEST(UnloadOrder, BlocksThenThreadOfTheLocalPoolThenOfTheSharedOne) {
    Library library;
    ASSERT_EQ(FillPools(&library), 0);
    RecordCalls();
    TestRockitOnFree([] { AddCall("mmz free"); });
    EXPECT_TRUE(library.Unload());
    TestRockitOnFree(nullptr);
    EXPECT_THAT(RecordedCalls(), ElementsAre("mmz free", "mmz free", "mmz free", "mmz free", "join",
                                             "shm_unlink", "shm_unlink", "join"));
}

}  // namespace
}  // namespace ztk::test
