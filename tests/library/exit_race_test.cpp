// exit() with threads inside the exports of both pools.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tests/library/child.h"
#include "tests/library/private_place.h"
#include "tests/library/rounds.h"

namespace ztk::test {
namespace {

using testing::IsEmpty;

constexpr int kProcesses = Rounds(150);

class ExitRace : public testing::TestWithParam<const char*> {};

TEST_P(ExitRace, EveryProcessEndsCleanlyAndLeavesNoObject) {
    SKIP_WITHOUT_PRIVATE_SHM();
    SKIP_WITHOUT_PROGRAMS();
    setenv("ZTK_LOG_LEVEL", "5", 1);  // the empty-handed requests among them are errors to the log
    for (int i = 0; i < kProcesses; ++i) {
        ASSERT_EQ(RunProgram({ZTK_EXIT_RACE_PATH, GetParam(), std::to_string(1 + i % 23)}), Exited(0))
            << "in process " << i;
        ASSERT_THAT(ShmEntries(), IsEmpty()) << "in process " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Exiting, ExitRace, testing::Values("main", "worker"),
                         [](const auto& item) { return std::string(item.param); });

}  // namespace
}  // namespace ztk::test
