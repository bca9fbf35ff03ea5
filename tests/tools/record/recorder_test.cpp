// ztk-record on real programs, and what ztkmem makes of it.
#include <signal.h>

#include <cstdlib>
#include <fstream>
#include <regex>

#include "common/ztk_common.h"
#include "tools/record/record_test.h"

namespace ztkmem::test {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kMebi = std::uint64_t{1024} * 1024;

/// @p text with times, process ids, addresses and lines made alike.
std::string Plain(std::string text) {
    text = std::regex_replace(text, std::regex("[0-9]+\\.[0-9]{3} s"), "T s");
    text = std::regex_replace(text, std::regex("process [0-9]+"), "process P");
    text = std::regex_replace(text, std::regex("recorded\\.cpp:[0-9]+"), "recorded.cpp:N");
    text = std::regex_replace(text, std::regex(" +T s"), " T s");
    return std::regex_replace(text, std::regex("0x[0-9a-f]+ *"), "A ");
}

/// The lines from the one that begins with @p start up to the next empty one.
std::string Section(const std::string& text, const std::string& start) {
    const std::size_t nAt = ("\n" + text).find("\n" + start);
    if (nAt == std::string::npos) return "no such section";
    return text.substr(nAt, text.find("\n\n", nAt) - nAt + 1);
}

TEST_F(RecordTest, TellsExactlyWhatAProgramWithFaultsDid) {
    const Outcome run = Record({"faults"});
    EXPECT_EQ(run.nStatus, 7) << "the program's own status";
    EXPECT_EQ(run.out, "unknown\n");
    const Outcome report = ZtkMem({"report", File()});
    EXPECT_EQ(report.nStatus, 1);
    EXPECT_EQ(report.err, "");
    const std::string text = Plain(report.out);
    EXPECT_NE(text.find("31 calls in 1 thread, T s; it came to its exit\n"
                        "most at a time: 2.2M busy, 100.0K idle, 2.2M together\n"),
              std::string::npos)
        << text;
    EXPECT_NE(
        text.find("\nheap    below 20M         14   71.4%     4        0        0     109.0K     100.0K    "
                  "106.0K         0\n"),
        std::string::npos)
        << text;
    EXPECT_EQ(Section(text, "Held at the end"),
              "Held at the end: 5 blocks, 2.2M\n"
              " BYTES  BLOCKS  KIND      SINCE  TAKEN BY\n"
              "  2.0M       1  MMZ T s  TakeMedia() recorded.cpp:N\n"
              "100.0K       1  heap T s  TakeFrame() recorded.cpp:N\n"
              " 50.0K       1  shared T s  TakeShared() recorded.cpp:N\n"
              "  6.0K       2  heap T s  TakeTable() recorded.cpp:N\n");
    EXPECT_NE(text.find("\n    1  heap T s  A GiveBack(void*) recorded.cpp:N\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\n    1  FreePoolMemory T s  A GiveBack(void*) recorded.cpp:N\n"), std::string::npos)
        << text;
    EXPECT_NE(text.find("\n    1  AllocatePoolMemory T s  A Faults() recorded.cpp:N\n"), std::string::npos)
        << text;
    EXPECT_NE(
        text.find(
            "\nFirst refusal at T s: AllocatePoolMemory of 1.0P, alignment 0, kind heap gave ERR_NO_MEMORY\n"
            "  called by Faults() recorded.cpp:N\n"),
        std::string::npos)
        << text;
}

TEST_F(RecordTest, TellsCallersOfCallersOnRequest) {
    ASSERT_EQ(Record({"faults"}, {"--stacks"}).nStatus, 7);
    const std::string text = Plain(ZtkMem({"report", File()}).out);
    EXPECT_TRUE(std::regex_search(text, std::regex("TakeMedia\\(\\) recorded.cpp:N\n"
                                                   " +called by Faults\\(\\) recorded.cpp:N\n"
                                                   " +called by main recorded.cpp:N\n")))
        << text;
}

TEST_F(RecordTest, TellsTheSameAsJson) {
    ASSERT_EQ(Record({"faults"}).nStatus, 7);
    const Outcome outcome = ZtkMem({"report", File(), "--json"});
    EXPECT_EQ(outcome.nStatus, 1);
    const nlohmann::json report = nlohmann::json::parse(outcome.out);
    EXPECT_EQ(report["calls"], 31);
    EXPECT_EQ(report["healthy"], false);
    EXPECT_EQ(report["reuse_is_inferred"], false);
    ASSERT_EQ(report["held"].size(), 4U);
    EXPECT_EQ(report["held"][0]["bytes"], 2 * 1024 * 1024);
    EXPECT_EQ(report["held"][3]["blocks"], 2);
    ASSERT_EQ(report["double_releases"].size(), 1U);
    EXPECT_EQ(report["double_releases"][0]["times"], 1);
    EXPECT_EQ(report["unknown_releases"].size(), 1U);
    EXPECT_EQ(report["first_refusal"]["size"], std::uint64_t{1} << 50U);
    EXPECT_EQ(report["first_refusal"]["held"].size(), 4U);
}

TEST_F(RecordTest, TellsTheLineOfTheCall) {
    ASSERT_EQ(Record({"faults"}).nStatus, 7);
    std::ifstream source(ZTK_RECORDED_SOURCE);
    std::string line;
    int nLine = 1;
    while (std::getline(source, line) && line.find("ZTK_MEM_MMZ") == std::string::npos)
        ++nLine;
    const std::string report = ZtkMem({"report", File()}).out;
    EXPECT_NE(report.find("TakeMedia() recorded.cpp:" + std::to_string(nLine) + "\n"), std::string::npos)
        << report;
}

TEST_F(RecordTest, FindsNothingWrongWithACleanProgram) {
    EXPECT_EQ(Record({"clean"}).nStatus, 0);
    const Outcome report = ZtkMem({"report", File()});
    EXPECT_EQ(report.nStatus, 0) << report.out;
    EXPECT_EQ(report.out.find("Held"), std::string::npos);
}

TEST_F(RecordTest, LosesNothingWhenTheProgramIsKilled) {
    EXPECT_EQ(Record({"killed"}).nStatus, 128 + SIGKILL);
    const Outcome report = ZtkMem({"report", File()});
    EXPECT_EQ(report.nStatus, 1);
    EXPECT_NE(report.out.find("1001 calls in 1 thread"), std::string::npos) << report.out;
    EXPECT_NE(report.out.find("no end seen"), std::string::npos);
    EXPECT_NE(report.out.find("Held at the end: 1 block, 100.0K"), std::string::npos);
}

TEST_F(RecordTest, KeepsTheOrderOfSeveralThreads) {
    EXPECT_EQ(Record({"threads"}).nStatus, 0);
    const Outcome report = ZtkMem({"report", File()});
    EXPECT_EQ(report.nStatus, 0) << "every block is taken before it is released, in time's order\n"
                                 << report.out;
    EXPECT_NE(report.out.find("80000 calls in 4 threads"), std::string::npos) << report.out;
}

TEST_F(RecordTest, LetsAThreadGoOnInTheRoomOfOneThatEnded) {
    EXPECT_EQ(Record({"short-threads", "300"}).nStatus, 0);
    EXPECT_NE(ZtkMem({"report", File()}).out.find("30000 calls in 300 threads"), std::string::npos);
    constexpr std::uintmax_t kText = ztk_record::kChunkSize;
    constexpr std::uintmax_t kNeeded = 30000 * sizeof(ztk_record::Record);
    EXPECT_LE(fs::file_size(File()), kText + kNeeded + std::uintmax_t{2} * ztk_record::kChunkSize);
}

TEST_F(RecordTest, WritesAnotherFileForAForkedChild) {
    EXPECT_EQ(Record({"fork"}).nStatus, 0);
    std::vector<std::string> files;
    for (const auto& entry : fs::directory_iterator(Folder()))
        files.push_back(entry.path());
    ASSERT_EQ(files.size(), 2U);
    EXPECT_EQ(ZtkMem({"report", File()}).nStatus, 0);
    const Outcome child = ZtkMem({"report", files[files[0] == File() ? 1 : 0]});
    EXPECT_EQ(child.nStatus, 1);
    EXPECT_NE(child.out.find("2 calls in 1 thread"), std::string::npos) << child.out;
    EXPECT_NE(child.out.find("A forked child of process"), std::string::npos) << child.out;
    EXPECT_NE(child.out.find("1 release of blocks from before the recording"), std::string::npos)
        << child.out;
    EXPECT_NE(child.out.find("Held at the end: 1 block, 3.0K"), std::string::npos) << child.out;
}

TEST_F(RecordTest, RecordsAProgramThatLoadsTheLibraryItself) {
    EXPECT_EQ(RunProgram({ZTK_RECORD, "-o", File(), "--", ZTK_RECORDED_LOADER, ZTK_LIBRARY}).nStatus, 0);
    const Outcome report = ZtkMem({"report", File()});
    EXPECT_EQ(report.nStatus, 1);
    EXPECT_NE(report.out.find("6 calls in 1 thread"), std::string::npos) << report.out;
    EXPECT_NE(report.out.find("Held when the library was unloaded: 1 block, 3.0K"), std::string::npos)
        << report.out;
    EXPECT_NE(report.out.find("Held at the end: 1 block, 5.0K"), std::string::npos) << report.out;
}

TEST_F(RecordTest, LeavesTheProgramAloneWhenTheDiskIsFull) {
    const std::string command =
        "ulimit -f 400; exec " ZTK_RECORD " -o " + File() + " -- " ZTK_RECORDED " many 40000";
    EXPECT_EQ(RunProgram({"bash", "-c", command}).nStatus, 0);
    const Outcome report = ZtkMem({"report", File()});
    EXPECT_NE(report.out.find("The recording is not complete"), std::string::npos)
        << report.out << report.err;
}

TEST_F(RecordTest, SaysThatItCannotWriteAndLeavesTheProgramAlone) {
    const std::string folder = Folder() + "/gone";
    fs::create_directory(folder);
    const Outcome run = RunProgram({ZTK_RECORD, "-o", folder + "/t.rec", "--", "sh", "-c",
                                    "rmdir " + folder + "; exec " ZTK_RECORDED " clean"});
    EXPECT_EQ(run.nStatus, 0);
    EXPECT_TRUE(std::regex_match(run.err, std::regex("ztk-record: process [0-9]+ is not recorded: [^\n]+\n")))
        << run.err;
}

TEST_F(RecordTest, WritesNothingForAProgramWithoutPools) {
    EXPECT_EQ(RunProgram({ZTK_RECORD, "-o", File(), "--", "sh", "-c", "exit 5"}).nStatus, 5);
    EXPECT_FALSE(fs::exists(File()));
}

TEST_F(RecordTest, SaysInOneLineWhatIsWrongWithItsArguments) {
    std::ofstream(Folder() + "/precious") << "do not touch";
    const auto refused = [](const std::vector<std::string>& arguments) {
        std::vector<std::string> command{ZTK_RECORD};
        command.insert(command.end(), arguments.begin(), arguments.end());
        const Outcome outcome = RunProgram(command);
        EXPECT_TRUE(std::regex_match(outcome.err, std::regex("ztk-record: [^\n]+\n"))) << outcome.err;
        EXPECT_EQ(outcome.out, "");
        return outcome.nStatus;
    };
    EXPECT_EQ(refused({}), 125);
    EXPECT_EQ(refused({"--nonsense", "true"}), 125);
    EXPECT_EQ(refused({"-o"}), 125);
    EXPECT_EQ(refused({"-o", "/no/such/folder/t.rec", "true"}), 125);
    EXPECT_EQ(refused({"-o", Folder() + "/precious", "true"}), 125);
    EXPECT_EQ(refused({"no-such-program-anywhere"}), 127);
    EXPECT_EQ(refused({Folder()}), 126);
    std::string kept;
    std::getline(std::ifstream(Folder() + "/precious"), kept);
    EXPECT_EQ(kept, "do not touch");
}

TEST_F(RecordTest, ReplaysWithTheSameStatuses) {
    ASSERT_EQ(Record({"faults"}).nStatus, 7);
    const Outcome replay = ZtkMem({"replay", File(), "--library", ZTK_LIBRARY});
    EXPECT_EQ(replay.nStatus, 0) << replay.out << replay.err;
    EXPECT_NE(replay.out.find("every call gave the same status"), std::string::npos) << replay.out;
    EXPECT_NE(replay.out.find("\nrequests                               17        17\n"), std::string::npos)
        << replay.out;
    EXPECT_NE(replay.out.find("\nserved from idle blocks             62.5%     62.5%\n"), std::string::npos);
    EXPECT_NE(replay.out.find("\nblocks given back to the system         1         1\n"), std::string::npos);
    EXPECT_NE(replay.out.find("\npeak busy                            2.2M      2.2M\n"), std::string::npos);
    EXPECT_TRUE(fs::is_empty("/dev/shm"));
}

TEST_F(RecordTest, TellsWhichCallsARealLibraryRefusesNow) {
    MadeUpRecording recording;
    recording.AddChunk({Allocation(10, 0x1000, std::uint64_t{1} << 50U), Released(20, 0x1000)});
    recording.WriteTo(File());
    const Outcome replay = ZtkMem({"replay", File(), "--library", ZTK_LIBRARY});
    EXPECT_EQ(replay.nStatus, 1);
    EXPECT_NE(replay.out.find("1 call gave another status: 1 refused that had been served"),
              std::string::npos)
        << replay.out;
    EXPECT_NE(replay.out.find("AllocatePoolMemory of 1.0P gave ZTK_SUCCESS, now ERR_NO_MEMORY\n"),
              std::string::npos)
        << replay.out;
    EXPECT_NE(replay.out.find("1 release left out"), std::string::npos) << replay.out;
}

TEST_F(RecordTest, ReplaysOnAnotherBoard) {
    MadeUpRecording recording;
    std::vector<ztk_record::Record> records;
    for (std::uint64_t i = 0; i < 3; ++i) {
        records.push_back(Allocation(10 + i, 0x1000 + i, 40 * kMebi));
        records.back().enMemType = ZTK_MEM_MMZ;
    }
    recording.AddChunk(records);
    recording.WriteTo(File());
    const auto replay = [this](const std::string& mmz) {
        // preloaded libraries come before the address sanitizer's
        return RunProgram({"env", "ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=0", ZTK_BOARD, "--mmz",
                           mmz, "--quiet", "--", ZTKMEM, "replay", File(), "--library", ZTK_LIBRARY});
    };
    const Outcome small = replay("100M");
    if (small.err.find("the kernel refuses") != std::string::npos)
        GTEST_SKIP() << "NOT TESTED HERE: " << small.err;
    EXPECT_EQ(small.nStatus, 1) << small.err;
    EXPECT_NE(small.out.find("1 call gave another status: 1 refused that had been served"), std::string::npos)
        << small.out;
    EXPECT_EQ(replay("120M").nStatus, 0);
}

}  // namespace
}  // namespace ztkmem::test
