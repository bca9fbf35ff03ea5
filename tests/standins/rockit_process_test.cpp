// What the stand-in librockit.so reads from the environment and says when a process ends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "standins/rockit/capacity_text.h"
#include "tests/standins/child_process.h"
#include "tests/support/emulator.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using ztk_test::ProgramEnd;

ProgramEnd Probe(const std::string& command, int nArgument = 0,
                 const std::vector<std::string>& settings = {}) {
    return ztk_test::RunProgram({ROCKIT_PROBE, command, std::to_string(nArgument)}, settings);
}

std::ptrdiff_t LinesIn(const std::string& text) {
    return std::count(text.begin(), text.end(), '\n');
}

class WithPrograms : public testing::Test {
  protected:
    void SetUp() override { SKIP_WHERE_PROGRAMS_DO_NOT_START(ROCKIT_PROBE); }
};
class RockitReport : public WithPrograms {};
class RockitCapacity : public WithPrograms {};

TEST_F(RockitReport, NothingIsSaidWhenNothingIsLeft) {
    const ProgramEnd end = Probe("leak", 0);
    EXPECT_EQ(end.nExit, 0);
    EXPECT_THAT(end.szErr, IsEmpty());
}

TEST_F(RockitReport, BlocksLeftAreCountedAndListed) {
    const ProgramEnd end = Probe("leak", 2);
    EXPECT_EQ(end.nExit, 0);
    const std::string szFirst = end.szOut.substr(0, end.szOut.find('\n'));
    EXPECT_THAT(end.szErr,
                MatchesRegex("librockit stand-in: process [0-9]+ never freed 2 block\\(s\\), 8192 bytes: "
                             "0x[0-9a-f]+ \\(4096\\) 0x[0-9a-f]+ \\(4096\\)\n"));
    EXPECT_THAT(end.szErr, HasSubstr(" " + szFirst + " (4096)"));
}

TEST_F(RockitReport, OnlyTheFirstFewAreListed) {
    const ProgramEnd end = Probe("leak", 9);
    EXPECT_THAT(end.szErr, HasSubstr("never freed 9 block(s), 36864 bytes:"));
    EXPECT_THAT(end.szErr, MatchesRegex("[^(]*\\(s\\)( ?[^(]* \\(4096\\)){4} \\.\\.\\.\n"));
}

TEST_F(RockitReport, WhatDependentLibrariesFreeAtExitIsNotReported) {
    const ProgramEnd end = Probe("hold");
    EXPECT_EQ(end.nExit, 0);
    EXPECT_THAT(end.szErr, IsEmpty());
}

TEST_F(RockitReport, AChildsExitLeavesTheParentsBlocksAloneAndDoesNotReportThem) {
    const ProgramEnd end = Probe("fork", 0);
    EXPECT_EQ(end.nExit, 0);
    EXPECT_THAT(end.szErr, IsEmpty());
}

TEST_F(RockitReport, AChildReportsItsOwnBlocksOnly) {
    const ProgramEnd end = Probe("fork", 3);
    EXPECT_EQ(end.nExit, 0);
    std::string szBlocks = end.szOut;  // what the child allocated, an address a line
    for (std::size_t nEnd = 0; (nEnd = szBlocks.find('\n')) != std::string::npos;) {
        szBlocks.replace(nEnd, 1, " (4096) ");
    }
    szBlocks.back() = '\n';
    EXPECT_EQ(LinesIn(end.szErr), 1) << end.szErr;
    EXPECT_THAT(end.szErr, EndsWith("never freed 3 block(s), 12288 bytes: " + szBlocks));
}

TEST_F(RockitCapacity, TheDefaultIs256MiB) {
    EXPECT_EQ(Probe("fill").szOut, "256\n");
}

TEST_F(RockitCapacity, TheEnvironmentSetsIt) {
    EXPECT_EQ(Probe("fill", 0, {"ZTK_ROCKIT_CAPACITY=3M"}).szOut, "3\n");
    EXPECT_EQ(Probe("fill", 0, {"ZTK_ROCKIT_CAPACITY=2097152"}).szOut, "2\n");
    EXPECT_EQ(Probe("fill", 0, {"ZTK_ROCKIT_CAPACITY=0"}).szOut, "0\n");
}

TEST_F(RockitCapacity, AnUnreadableSettingIsIgnoredWithOneLine) {
    const ProgramEnd end = Probe("leak", 0, {"ZTK_ROCKIT_CAPACITY=plenty"});
    EXPECT_EQ(end.nExit, 0);
    EXPECT_EQ(LinesIn(end.szErr), 1) << end.szErr;
    EXPECT_THAT(end.szErr, HasSubstr("ZTK_ROCKIT_CAPACITY=plenty is not a number of bytes"));
    EXPECT_THAT(Probe("leak", 0, {"ZTK_ROCKIT_CAPACITY="}).szErr, IsEmpty());
}

TEST(RockitCapacityText, TextsAndTheirBytes) {
    using ztk_standin::ParseCapacity;
    EXPECT_EQ(ParseCapacity("0"), 0U);
    EXPECT_EQ(ParseCapacity("4096"), 4096U);
    EXPECT_EQ(ParseCapacity("2K"), 2048U);
    EXPECT_EQ(ParseCapacity("2k"), 2048U);
    EXPECT_EQ(ParseCapacity("256M"), 268435456U);
    EXPECT_EQ(ParseCapacity("16G"), 17179869184U);
    EXPECT_EQ(ParseCapacity("18446744073709551615"), 18446744073709551615U);
    for (const char* szBad : {"", "K", "-1", "+1", " 1", "1 ", "1T", "1KB", "1.5M", "0x10",
                              "18446744073709551616", "18446744073709551615K", "17179869184G"}) {
        EXPECT_EQ(ParseCapacity(szBad), std::nullopt) << szBad;
    }
}

}  // namespace
