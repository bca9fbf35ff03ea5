// The command as a user gives it: its output, its files, its errors and its exit status.
#include "log/log_command.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "log_writer.h"
#include "scanned.h"

namespace ztkmem::log::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;
namespace fs = std::filesystem;

struct Ran {
    int nStatus = -1;
    std::string out;
    std::string error;
};

Ran ZtkMemLog(std::vector<std::string> arguments) {
    CLI::App program{"", "ztkmem"};
    Ran ran;
    AddLogCommand(program, ran.nStatus);
    arguments.insert(arguments.begin(), "log");
    std::reverse(arguments.begin(), arguments.end());
    testing::internal::CaptureStdout();
    try {
        program.parse(arguments);
    } catch (const std::exception& error) {  // main() makes one line and status 2 of it
        ran.error = error.what();
    }
    std::fflush(stdout);
    ran.out = testing::internal::GetCapturedStdout();
    return ran;
}

std::string DataFile(const std::string& name) {
    return std::string(ZTKMEM_LOG_TESTS) + "/data/" + name;
}

class Command : public testing::Test {
  protected:
    void SetUp() override {
        std::string name = (fs::temp_directory_path() / "ztkmem-log-XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        folder_ = name;
    }
    void TearDown() override { fs::remove_all(folder_); }

    std::string File(const std::string& name) const { return (folder_ / name).string(); }
    std::string Written(const std::string& name, const std::string& text) const {
        std::ofstream(File(name), std::ios::binary) << text;
        return File(name);
    }
    std::size_t Files() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(folder_), fs::directory_iterator()));
    }

    fs::path folder_;
};

// ---- logs of real runs -----------------------------------------------------------------------------

struct RealLog {
    std::string name;
    int nStatus;
};

class RealLogs : public testing::TestWithParam<RealLog> {};

TEST_P(RealLogs, AreReportedAsTheyShould) {
    const Ran ran = ZtkMemLog({DataFile(GetParam().name + ".log")});
    EXPECT_EQ(ran.nStatus, GetParam().nStatus);
    const std::string golden = "golden/" + GetParam().name + ".txt";
    if (std::getenv("ZTKMEM_LOG_WRITE_GOLDEN") != nullptr)
        std::ofstream(std::string(ZTKMEM_LOG_TESTS) + '/' + golden) << ran.out;
    EXPECT_EQ(ran.out, ReadData(golden));
}

TEST_P(RealLogs, SayTheSameHoweverTheyAreCutIntoReads) {
    const std::string text = ReadData("data/" + GetParam().name + ".log");
    const Scanned whole(text);
    for (const std::size_t nStep : {1U, 61U, 4096U})
        EXPECT_EQ(ReportText(Scanned(text, nStep).Report()), ReportText(whole.Report())) << nStep;
}

TEST_P(RealLogs, MakeValidJsonWithTheSameVerdict) {
    const Ran ran = ZtkMemLog({DataFile(GetParam().name + ".log"), "--json"});
    EXPECT_EQ(ran.nStatus, GetParam().nStatus);
    const auto json = nlohmann::json::parse(ran.out);
    EXPECT_EQ(json["healthy"], GetParam().nStatus == 0);
    EXPECT_GT(json["library_lines"], 0);
    EXPECT_EQ(json["pools"]["local"]["owned"].back()["last"], json["pools"]["local"]["owned_bytes"]);
    EXPECT_FALSE(json["verdict"].empty());
}

/// A board's logging library writes other prefixes, or none.
std::string WithPrefixes(const std::string& text, const std::string& prefix) {
    std::string changed;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const auto place = FindPlace(line, 0);
        const bool bDated = line.size() > 23 && line[10] == 'T';
        if (prefix.empty() || !place || !bDated) {
            changed += place ? line.substr(place->nBegin) : line;
        } else {
            changed += prefix + line.substr(11, 12) + ' ' + line.substr(place->nBegin);
        }
        changed += '\n';
    }
    return changed;
}

TEST_P(RealLogs, MeanTheSameBehindAnotherPrefix) {
    const std::string text = ReadData("data/" + GetParam().name + ".log");
    const Scanned original(text);
    for (const char* szPrefix : {"", "board camera: ", "Feb 29 "}) {
        const Scanned changed(WithPrefixes(text, szPrefix));
        EXPECT_EQ(changed.Problems(), original.Problems()) << szPrefix;
        for (const Pool enPool : {Pool::kLocal, Pool::kShared}) {
            EXPECT_EQ(changed.Facts().Of(enPool).Owned(), original.Facts().Of(enPool).Owned()) << szPrefix;
            EXPECT_EQ(changed.Facts().Of(enPool).Peak(), original.Facts().Of(enPool).Peak()) << szPrefix;
        }
        EXPECT_EQ(changed.Facts().Lines(), original.Facts().Lines()) << szPrefix;
    }
}

INSTANTIATE_TEST_SUITE_P(Recorded, RealLogs,
                         testing::Values(RealLog{"healthy", 0}, RealLog{"leak", 1}, RealLog{"demo", 1}),
                         [](const auto& log) { return log.param.name; });

// ---- errors ----------------------------------------------------------------------------------------

TEST_F(Command, ComplainsInOneLine) {
    EXPECT_THAT(ZtkMemLog({File("none.log")}).error, HasSubstr("No such file"));
    EXPECT_THAT(ZtkMemLog({folder_.string()}).error, HasSubstr("Is a directory"));
    const std::string log = Written("a.log", "");
    EXPECT_THAT(ZtkMemLog({log, "--plot", File("a.gif")}).error, HasSubstr(".svg or .png"));
    EXPECT_THAT(ZtkMemLog({log, "--plot", File("no/a.svg")}).error, HasSubstr("No such file"));
    for (const char* szWrong : {"--plott", "--json=x"})
        EXPECT_FALSE(ZtkMemLog({log, szWrong}).error.empty());
    EXPECT_FALSE(ZtkMemLog({}).error.empty());
    EXPECT_EQ(Files(), 1U);
}

TEST_F(Command, NamesThatHarmTerminalsAreEscaped) {
    EXPECT_THAT(ZtkMemLog({"\x1b[31m.log"}).error, StartsWith("\\x1b[31m.log"));
}

TEST_F(Command, ALogWithoutLinesOfTheLibraryIsNoProofOfHealth) {
    const Ran ran = ZtkMemLog({Written("a.log", "hello\n")});
    EXPECT_EQ(ran.nStatus, 1);
    EXPECT_THAT(ran.out, HasSubstr("No line of the library"));
    const Ran json = ZtkMemLog({File("a.log"), "--json"});
    EXPECT_EQ(json.nStatus, 1);
    EXPECT_TRUE(nlohmann::json::parse(json.out).at("healthy").is_null());
}

TEST_F(Command, WhatIsNotUtf8StaysOutOfTheJson) {
    LogWriter log;
    log.Line(
        "\xff\xfe[AllocateMemory@155][ZtkCommon] Allocate memory failed, size=18446744073709551615, align=0, "
        "plat=7");
    const auto json = nlohmann::json::parse(ZtkMemLog({Written("\xff.log", log.Text()), "--json"}).out);
    EXPECT_EQ(json["log"], "\\xff.log");
    EXPECT_EQ(json["errors"][0]["sizes"]["largest"], UINT64_MAX);
}

// ---- plots -----------------------------------------------------------------------------------------

class Variable {
  public:
    Variable(std::string name, const std::string& value) : name_(std::move(name)) {
        const char* szBefore = std::getenv(name_.c_str());
        before_ = szBefore == nullptr ? "" : szBefore;
        setenv(name_.c_str(), value.c_str(), 1);
    }
    ~Variable() { setenv(name_.c_str(), before_.c_str(), 1); }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

  private:
    const std::string name_;
    std::string before_;
};

std::string Head(const std::string& file, std::size_t nCount) {
    std::ifstream stream(file, std::ios::binary);
    std::string text(nCount, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(nCount));
    return text.substr(0, static_cast<std::size_t>(stream.gcount()));
}

TEST_F(Command, PlotsWithoutGnuplot) {
    const Variable none("PATH", "/nonexistent");
    EXPECT_EQ(ZtkMemLog({DataFile("leak.log"), "--plot", File("a.svg")}).nStatus, 1);
    EXPECT_THAT(Head(File("a.svg"), 4096),
                StartsWith("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"1120\""));
    EXPECT_THAT(ZtkMemLog({DataFile("leak.log"), "--plot", File("a.png")}).error, HasSubstr("gnuplot"));
    EXPECT_EQ(Files(), 1U);
}

TEST_F(Command, PlotsThroughGnuplot) {
    if (std::system("gnuplot --version >/dev/null 2>&1") != 0) GTEST_SKIP() << "no gnuplot here";
    for (const std::string& log : {DataFile("leak.log"), DataFile("demo.log"), Written("empty.log", "")}) {
        EXPECT_EQ(ZtkMemLog({log, "--plot", File("a.svg")}).error, "");
        EXPECT_THAT(Head(File("a.svg"), 4096), HasSubstr("gnuplot"));
        EXPECT_EQ(ZtkMemLog({log, "--plot", File("a.png")}).error, "");
        EXPECT_EQ(Head(File("a.png"), 8), "\x89PNG\r\n\x1a\n");
        fs::remove(File("a.svg"));
        fs::remove(File("a.png"));
    }
    EXPECT_EQ(Files(), 1U);
}

TEST_F(Command, TheUsersSettingsForGnuplotAreLeftOut) {
    if (std::system("gnuplot --version >/dev/null 2>&1") != 0) GTEST_SKIP() << "no gnuplot here";
    const Variable home("HOME", folder_.string());
    Written(".gnuplot", "system 'touch " + File("settings-were-read") + "'\n");
    EXPECT_EQ(ZtkMemLog({DataFile("demo.log"), "--plot", File("a.svg")}).error, "");
    EXPECT_FALSE(fs::exists(File("settings-were-read")));
}

TEST_F(Command, APlotThatCannotBeWrittenIsSaidBeforeTheLogIsRead) {
    EXPECT_THAT(ZtkMemLog({File("none.log"), "--plot", File("no/a.svg")}).error,
                HasSubstr("no/a.svg: No such file"));
    const std::string log = Written("a.log", "");
    EXPECT_THAT(ZtkMemLog({File("none.log"), "--plot", log + "/a.svg"}).error,
                HasSubstr("a.svg: Not a directory"));
    fs::create_directory(File("b.svg"));
    EXPECT_THAT(ZtkMemLog({File("none.log"), "--plot", File("b.svg")}).error,
                HasSubstr("b.svg: Is a directory"));
}

TEST_F(Command, TheReportIsThereEvenIfThePlotIsNot) {
    const Variable none("PATH", "/nonexistent");
    const std::string plot = File(std::string(250, 'x') + ".svg");  // its unfinished file's name is too long
    const Ran ran = ZtkMemLog({DataFile("demo.log"), "--plot", plot});
    EXPECT_THAT(ran.error, HasSubstr("File name too long"));
    EXPECT_EQ(ran.out, ReadData("golden/demo.txt"));
}

TEST_F(Command, ANameThatIsHostileToGnuplotIsOnlyAName) {
    const std::string log = Written("a\" ; set output '`touch hostile`'\n.log", ReadData("data/demo.log"));
    EXPECT_EQ(ZtkMemLog({log, "--plot", File("q\"$x`touch hostile`.svg")}).error, "");
    EXPECT_TRUE(fs::exists(File("q\"$x`touch hostile`.svg")));
    EXPECT_FALSE(fs::exists("hostile"));
    EXPECT_EQ(Files(), 2U);
}

}  // namespace
}  // namespace ztkmem::log::test
