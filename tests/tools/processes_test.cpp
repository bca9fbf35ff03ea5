// A /proc of plain files.
#include "processes.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace ztkmem {
namespace {

namespace fs = std::filesystem;

class MadeUpProc : public testing::Test {
  protected:
    void SetUp() override {
        std::string pattern = fs::temp_directory_path() / "ztkmem-proc-XXXXXX";
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        root_ = pattern;
        Add(1, "init");
        BeInNamespace("pid:[4026531836]");
        fs::create_directory_symlink(std::to_string(getpid()), root_ / "self");
    }
    void TearDown() override { fs::remove_all(root_); }

    void Add(int nId, const std::string& command, const std::string& innerIds = "") {
        const fs::path folder = root_ / std::to_string(nId);
        fs::create_directories(folder);
        std::ofstream(folder / "stat")
            << nId << " (" << command << ") S 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 1 18 100 20 3 22\n";
        std::ofstream(folder / "status") << "Name:\tx\nNSpid:\t" << nId << innerIds << "\n";
        std::ofstream(folder / "maps") << "7f00-7f01 rw-s 00000000 00:01 42 /dev/shm/x\n";
    }
    void BeInNamespace(const std::string& link) {
        const fs::path folder = root_ / std::to_string(getpid()) / "ns";
        fs::create_directories(folder);
        fs::remove(folder / "pid");
        fs::create_symlink(link, folder / "pid");
    }
    ProcessTable Read() const { return ReadProcesses(Mappings::kRead, 1, root_.string()); }

    fs::path root_;
};

TEST_F(MadeUpProc, IsReadByProcess) {
    Add(77, "camera");
    fs::create_directory(root_ / "sys");
    fs::create_directory(root_ / "88");  // ended while we look
    const ProcessTable table = Read();
    EXPECT_EQ(table.processes.size(), 2U);
    ASSERT_NE(table.Find(77), nullptr);
    EXPECT_EQ(table.Find(77)->command, "camera");
    EXPECT_EQ(table.Find(77)->mappedInodes, std::vector<std::uint64_t>{42});
    EXPECT_EQ(table.Find(77)->nResident, 3U * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)));
    EXPECT_EQ(table.Find(88), nullptr);
    EXPECT_EQ(table.nUnread, 0U);
    EXPECT_TRUE(SeesEveryProcess(table.visibility));
}

TEST_F(MadeUpProc, MappingsMayBeLeftOut) {
    const ProcessTable table = ReadProcesses(Mappings::kLeaveOut, 1, root_.string());
    EXPECT_TRUE(table.Find(1)->mappedInodes.empty());
}

TEST_F(MadeUpProc, InnerIdsAreKnown) {
    Add(77, "camera", "\t12");
    EXPECT_TRUE(Read().HasInnerId(12));
    EXPECT_FALSE(Read().HasInnerId(77));
}

TEST_F(MadeUpProc, OtherNamespaceSeesNotEveryProcess) {
    BeInNamespace("pid:[4026532000]");
    EXPECT_FALSE(Read().visibility.bInitialNamespace);
    EXPECT_FALSE(SeesEveryProcess(Read().visibility));
    BeInNamespace("nonsense");
    EXPECT_FALSE(Read().visibility.bInitialNamespace);
}

TEST_F(MadeUpProc, OfAnotherNamespaceIsNotBelieved) {
    fs::remove(root_ / "self");
    fs::create_directory_symlink("1", root_ / "self");
    EXPECT_FALSE(Read().visibility.bProcIsOurs);
    fs::remove(root_ / "self");
    EXPECT_FALSE(Read().visibility.bProcIsOurs);
}

TEST_F(MadeUpProc, WithoutTheFirstProcessHidesSome) {
    fs::remove_all(root_ / "1");
    EXPECT_FALSE(Read().visibility.bNothingHidden);
}

TEST_F(MadeUpProc, ThatIsMissingShowsNobody) {
    const ProcessTable table = ReadProcesses(Mappings::kRead, 1, (root_ / "none").string());
    EXPECT_TRUE(table.processes.empty());
    EXPECT_FALSE(SeesEveryProcess(table.visibility));
}

TEST(AskFor, NeverAddressesGroups) {
    EXPECT_EQ(AskFor(0), Signalled::kUnclear);
    EXPECT_EQ(AskFor(-1), Signalled::kUnclear);
    EXPECT_EQ(AskFor(getpid()), Signalled::kReached);
    EXPECT_EQ(AskFor(5000001), Signalled::kNoSuchProcess);
}

TEST(RealProc, ShowsThisProcess) {
    const ProcessTable table = ReadProcesses(Mappings::kRead, 0);
    ASSERT_NE(table.Find(getpid()), nullptr);
    EXPECT_EQ(table.Find(getpid())->vitals.chState, 'R');
    EXPECT_LE(table.Find(getpid())->vitals.nStartedAt, std::time(nullptr) + 2);
    EXPECT_GT(table.Find(getpid())->vitals.nStartedAt, 0);
    EXPECT_TRUE(table.visibility.bProcIsOurs);
}

}  // namespace
}  // namespace ztkmem
