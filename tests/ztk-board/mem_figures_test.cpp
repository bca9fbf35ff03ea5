// The board's /proc/meminfo.
#include "standins/board/mem_figures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

namespace {

using testing::HasSubstr;
using ztk_board::Available;
using ztk_board::BoardPlan;
using ztk_board::MemInfoText;
using ztk_board::Taken;

constexpr std::uint64_t kMiB = std::uint64_t{1024} * 1024;

BoardPlan Plan(std::uint64_t nMemory, std::uint64_t nMmz, std::uint64_t nSystem) {
    BoardPlan plan;
    plan.nMemory = nMemory * kMiB;
    plan.nMmz = nMmz * kMiB;
    plan.nSystem = nSystem * kMiB;
    return plan;
}

TEST(MemFigures, AvailableIsTheRamLessEverythingTaken) {
    EXPECT_EQ(Available(Plan(1000, 200, 50), {}), 750 * kMiB);
    EXPECT_EQ(Available(Plan(1000, 200, 50), Taken{100 * kMiB, 30 * kMiB}), 620 * kMiB);
    EXPECT_EQ(Available(Plan(1000, 200, 50), Taken{700 * kMiB, 100 * kMiB}), 0U) << "never below nothing";
}

TEST(MemFigures, TheTextIsTheKernels) {
    const std::string text = MemInfoText(Plan(1000, 200, 50), Taken{100 * kMiB, 30 * kMiB});
    EXPECT_THAT(text, HasSubstr("MemTotal:                819200 kB\n"));
    EXPECT_THAT(text, HasSubstr("\nMemAvailable:            634880 kB\n"));
    EXPECT_THAT(text, HasSubstr("\nShmem:                    30720 kB\n"));
}

TEST(MemFigures, TheTextKeepsItsLength) {
    EXPECT_EQ(MemInfoText(Plan(1, 0, 0), {}).size(),
              MemInfoText(Plan(1U << 30U, 12345, 1), Taken{123456789, 987654321}).size());
}

TEST(MemFigures, TouchedMemoryIsTaken) {
    constexpr std::size_t kBytes = 64 * kMiB;
    const std::vector<char> memory(kBytes, 1);
    EXPECT_GE(ztk_board::MeasureTaken(0).nPrivate, memory.size());
}

TEST(MemFigures, OnlyTheBoardsProcessesCountAndNotTheLauncher) {
    const pid_t nChild = fork();
    if (nChild == 0) {
        constexpr int kNotTested = 77;
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) _exit(kNotTested);
        const bool bItself = ztk_board::MeasureTaken(0).nPrivate > 0;
        const bool bNobodyElse = ztk_board::MeasureTaken(getpid()).nPrivate == 0;
        _exit(bItself && bNobodyElse ? 0 : 1);
    }
    int nStatus = -1;
    ASSERT_EQ(waitpid(nChild, &nStatus, 0), nChild);
    if (WEXITSTATUS(nStatus) == 77) GTEST_SKIP() << "NOT TESTED HERE: no user namespaces";
    EXPECT_EQ(nStatus, 0);
}

}  // namespace
