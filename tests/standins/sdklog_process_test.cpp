// The stand-in libZTKSDKLogC.so in whole programs: its environment, its file, and writers side by side.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tests/standins/child_process.h"
#include "tests/standins/scratch_directory.h"
#include "tests/support/emulator.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using ztk_test::ContentOf;
using ztk_test::ProgramEnd;
using ztk_test::ScratchDirectory;

ProgramEnd Probe(std::vector<std::string> command, const std::vector<std::string>& settings = {}) {
    command.insert(command.begin(), SDKLOG_PROBE);
    return ztk_test::RunProgram(command, settings);
}

std::vector<std::string> LinesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

class WithPrograms : public testing::Test {
  protected:
    void SetUp() override { SKIP_WHERE_PROGRAMS_DO_NOT_START(SDKLOG_PROBE); }
};
class SdkLogEnvironment : public WithPrograms {};
class SdkLogExit : public WithPrograms {};
class SdkLogStorm : public WithPrograms {};

TEST_F(SdkLogEnvironment, TheDefaultLevelIsWarningAndGoesToStderr) {
    const ProgramEnd end = Probe({"levels"});
    EXPECT_EQ(end.szOut, "3\n");
    EXPECT_THAT(LinesOf(end.szErr), ElementsAre(EndsWith("level 3"), EndsWith("level 4")));
}

TEST_F(SdkLogEnvironment, TheLevelCanBeSet) {
    for (int nLevel = 0; nLevel <= 5; ++nLevel) {
        const ProgramEnd end = Probe({"levels"}, {"ZTK_LOG_LEVEL=" + std::to_string(nLevel)});
        EXPECT_EQ(end.szOut, std::to_string(nLevel) + "\n");
        EXPECT_THAT(LinesOf(end.szErr), SizeIs(5 - nLevel));
    }
}

TEST_F(SdkLogEnvironment, ABadLevelIsIgnoredWithOneLine) {
    for (const char* szBad : {"6", "-1", "debug", "3x", "03", " 3"}) {
        const ProgramEnd end = Probe({"levels"}, {std::string("ZTK_LOG_LEVEL=") + szBad});
        EXPECT_EQ(end.szOut, "3\n") << szBad;
        EXPECT_THAT(LinesOf(end.szErr),
                    ElementsAre(AllOf(StartsWith("libZTKSDKLogC stand-in: "),
                                      HasSubstr(std::string("ZTK_LOG_LEVEL=") + szBad + " is not a level")),
                                EndsWith("level 3"), EndsWith("level 4")));
    }
    EXPECT_THAT(LinesOf(Probe({"levels"}, {"ZTK_LOG_LEVEL="}).szErr), SizeIs(2));
}

TEST_F(SdkLogEnvironment, TheFileIsAppendedTo) {
    const ScratchDirectory scratch;
    const std::string szFile = scratch.File("log");
    for (int nRun = 1; nRun <= 2; ++nRun) {
        const ProgramEnd end = Probe({"levels"}, {"ZTK_LOG_FILE=" + szFile});
        EXPECT_THAT(end.szErr, IsEmpty());
        EXPECT_THAT(LinesOf(ContentOf(szFile)), SizeIs(2 * nRun));
    }
}

TEST_F(SdkLogEnvironment, AFileThatCannotBeOpenedIsReportedAndStderrIsUsed) {
    const ProgramEnd end = Probe({"levels"}, {"ZTK_LOG_FILE=/proc/no/such/file"});
    EXPECT_EQ(end.nExit, 0);
    EXPECT_THAT(
        LinesOf(end.szErr),
        ElementsAre("libZTKSDKLogC stand-in: cannot open ZTK_LOG_FILE=/proc/no/such/file (No such file or "
                    "directory); logging to stderr",
                    EndsWith("level 3"), EndsWith("level 4")));
}

TEST_F(SdkLogExit, LinesAreWrittenUntilTheVeryEnd) {
    EXPECT_THAT(
        LinesOf(Probe({"exit"}).szErr),
        ElementsAre(EndsWith("atexit handler"), EndsWith("static object"), EndsWith("destructor function")));
}

/// "process.thread.line" of a whole line "<time> error <id> <process.thread.line fill>" with nFill bytes of
/// its thread's letter; empty for any other.
std::string WholeLine(const std::string& line, std::size_t nFill) {
    const std::size_t nStart = line.find('<') + 1;
    const std::size_t nDot = line.find('.', nStart);
    const std::size_t nBlank = line.find(' ', nStart);
    if (nStart == 0 || nDot > nBlank || nBlank == std::string::npos) return "";
    const std::string szFill(nFill,
                             static_cast<char>('a' + std::strtol(line.c_str() + nDot + 1, nullptr, 10)));
    if (line.compare(24, 9, " error   ") != 0 || line.substr(nBlank) != " " + szFill + ">") return "";
    return line.substr(nStart, nBlank - nStart);
}

/// How often each line is there. Every one must be whole.
std::map<std::string, int> WholeLines(const std::string& text, std::size_t nFill) {
    std::map<std::string, int> seen;
    for (const std::string& line : LinesOf(text)) {
        const std::string szLine = WholeLine(line, nFill);
        if (szLine.empty()) ADD_FAILURE() << "torn: " << line.substr(0, 100);
        ++seen[szLine];
    }
    return seen;
}

void ExpectEachOnce(const std::map<std::string, int>& seen) {
    for (const auto& [szLine, nTimes] : seen)
        EXPECT_EQ(nTimes, 1) << szLine;
}

TEST_F(SdkLogStorm, LinesOfThreadsAndProcessesAreNotTornInAFile) {
    const ScratchDirectory scratch;
    const std::string szFile = scratch.File("log");
    for (const std::size_t nFill : {std::size_t{20}, std::size_t{20000}}) {
        const ProgramEnd end = Probe({"storm", "3", "4", "20", std::to_string(nFill)},
                                     {"ZTK_LOG_FILE=" + szFile + std::to_string(nFill)});
        EXPECT_EQ(end.nExit, 0);
        const auto seen = WholeLines(ContentOf(szFile + std::to_string(nFill)), nFill);
        EXPECT_THAT(seen, SizeIs(3 * 4 * 20));
        ExpectEachOnce(seen);
    }
}

TEST_F(SdkLogStorm, NorWhereStderrIsAFile) {
    const ProgramEnd end = Probe({"storm", "3", "4", "20", "5000"});
    EXPECT_EQ(end.nExit, 0);
    const auto seen = WholeLines(end.szErr, 5000);
    EXPECT_THAT(seen, SizeIs(3 * 4 * 20));
    ExpectEachOnce(seen);
}

TEST_F(SdkLogStorm, AChildForkedWhileThreadsLogWritesItsLine) {
    const ScratchDirectory scratch;
    const std::string szFile = scratch.File("log");
    const ProgramEnd end = Probe({"fork", "25"}, {"ZTK_LOG_FILE=" + szFile});
    EXPECT_EQ(end.nExit, 0);
    const auto seen = WholeLines(ContentOf(szFile), 100);
    for (int i = 0; i < 25; ++i)
        EXPECT_EQ(seen.count(std::to_string(i) + ".25.0"), 1U) << i;
}

}  // namespace
