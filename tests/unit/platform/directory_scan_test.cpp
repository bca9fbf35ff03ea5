#include "platform/directory_scan.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "fakes/fake_log.h"
#include "support/log_lines.h"
#include "support/system_calls.h"

namespace ztk {
namespace {

namespace fs = std::filesystem;

using test::Bookkeeping;
using test::FakeLog;
using test::PlainLine;
using test::SystemCalls;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

using Entry = std::pair<std::string, std::int32_t>;

class DirectoryScan : public testing::Test {
  protected:
    DirectoryScan() { fs::create_directory(kPath); }
    ~DirectoryScan() override { fs::remove_all(kPath); }

    static void MakeFile(const std::string& name) {
        std::ofstream(std::string(kPath) + '/' + name) << "text";
    }

    static std::vector<Entry> Scan(const std::string& path = kPath) {
        FindData data{};
        std::vector<Entry> entries;
        FindHandle* hFind = portable_findfirst(path.c_str(), &data);
        if (hFind == nullptr) return entries;
        do {
            entries.emplace_back(data.szName, data.enType);
        } while (portalbe_findnext(hFind, &data) != 0);
        EXPECT_EQ(1, portable_findclose(hFind));
        return entries;
    }

    static constexpr char kPath[] = "/dev/shm/scan";
    FindData data_{"before", 42};
};

// ---- a scan ----------------------------------------------------------------------------------------

TEST_F(DirectoryScan, OfOneFileYieldsTheDotEntriesAndTheFile) {
    MakeFile("file");
    EXPECT_THAT(Scan(), UnorderedElementsAre(Pair(".", 2), Pair("..", 2), Pair("file", 1)));
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());
    EXPECT_EQ(0U, SystemCalls::CloseLeftStreams());
}

TEST_F(DirectoryScan, TellsFilesAndDirectoriesFromEverythingElse) {
    MakeFile("file");
    fs::create_directory(std::string(kPath) + "/directory");
    fs::create_symlink("file", std::string(kPath) + "/link to a file");
    fs::create_symlink("directory", std::string(kPath) + "/link to a directory");
    fs::create_symlink("nothing", std::string(kPath) + "/link to nothing");
    ASSERT_EQ(0, mkfifo((std::string(kPath) + "/pipe").c_str(), 0600));
    EXPECT_THAT(Scan(),
                UnorderedElementsAre(Pair(".", 2), Pair("..", 2), Pair("file", 1), Pair("directory", 2),
                                     Pair("link to a file", 0), Pair("link to a directory", 0),
                                     Pair("link to nothing", 0), Pair("pipe", 0)));
}

TEST_F(DirectoryScan, KeepsTheDirectorysOwnOrder) {
    for (const char* szName : {"b", "c", "a", "e", "d"})
        MakeFile(szName);
    std::vector<std::string> inOrder;
    for (const auto& entry : fs::directory_iterator(kPath))
        inOrder.push_back(entry.path().filename());
    std::vector<std::string> scanned;
    for (const auto& [name, enType] : Scan()) {
        if (enType == kFileTypeRegular) scanned.push_back(name);
    }
    EXPECT_EQ(inOrder, scanned);
}

TEST_F(DirectoryScan, TakesTheLongestNames) {
    const std::string name(255, 'n');
    MakeFile(name);
    EXPECT_THAT(Scan(), testing::Contains(Pair(name, 1)));
}

TEST_F(DirectoryScan, InspectsTheEntriesUnderThePathGiven) {
    MakeFile("file");
    SystemCalls::Record({"opendir", "lstat", "closedir"});
    Scan();
    EXPECT_THAT(SystemCalls::Recorded(),
                UnorderedElementsAre("opendir /dev/shm/scan", "lstat /dev/shm/scan/.",
                                     "lstat /dev/shm/scan/..", "lstat /dev/shm/scan/file", "closedir"));
}

// ---- the start fails -------------------------------------------------------------------------------

TEST_F(DirectoryScan, OfNoDirectoryDoesNotStart) {
    EXPECT_EQ(nullptr, portable_findfirst("/dev/shm/no such directory", &data_));
    EXPECT_STREQ("before", data_.szName);
    EXPECT_EQ(42, data_.enType);
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());
}

TEST_F(DirectoryScan, DoesNotStartWithoutADescriptor) {
    SystemCalls::Fail("opendir", 1, EMFILE);
    EXPECT_EQ(nullptr, portable_findfirst(kPath, &data_));
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());
}

class UnreadableStart : public DirectoryScan, public testing::WithParamInterface<int> {};

TEST_P(UnreadableStart, ClosesTheStreamAgain) {
    SystemCalls::Fail("readdir", 1, GetParam());
    EXPECT_EQ(nullptr, portable_findfirst(kPath, &data_));
    EXPECT_STREQ("before", data_.szName);
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());
    EXPECT_EQ(1, SystemCalls::Count("closedir"));
    EXPECT_EQ(0U, SystemCalls::CloseLeftStreams());
}

INSTANTIATE_TEST_SUITE_P(EmptyOrBroken, UnreadableStart, testing::Values(0, EIO));

TEST_F(DirectoryScan, LogsAFirstEntryThatCannotBeInspectedAndLeavesTheStreamOpen) {
    SystemCalls::Fail("lstat", 1, EACCES);
    SystemCalls::Record({"lstat"});
    EXPECT_EQ(nullptr, portable_findfirst(kPath, &data_));
    const std::string path = SystemCalls::Recorded().at(0).substr(std::strlen("lstat "));
    EXPECT_THAT(FakeLog::Lines(),
                ElementsAre(PlainLine(4, "portable_findfirst", 104, "lstat %s fail, error = %d",
                                      "lstat " + path + " fail, error = 13")));
    EXPECT_STREQ("before", data_.szName);
    EXPECT_EQ(42, data_.enType);
    EXPECT_EQ(0, SystemCalls::Count("closedir"));
    EXPECT_EQ(1U, SystemCalls::CloseLeftStreams());
}

TEST_F(DirectoryScan, DoesNotStartWithoutMemoryForTheHandle) {
    Bookkeeping::FailNew(1);
    EXPECT_EQ(nullptr, portable_findfirst(kPath, &data_));
    Bookkeeping::FailNew(-1);
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());
    EXPECT_EQ(0U, SystemCalls::CloseLeftStreams());
}

// ---- long paths ------------------------------------------------------------------------------------

/// A directory below kPath whose path has @p nLength characters.
std::string MakeDeepDirectory(const std::string& top, std::size_t nLength) {
    std::string path = top;
    while (nLength - path.size() > 256)
        path += '/' + std::string(200, 'd');
    path += '/' + std::string(nLength - path.size() - 1, 'e');
    fs::create_directories(path);
    return path;
}

TEST_F(DirectoryScan, TakesThePathsThatFitItsBuffers) {
    const std::string path = MakeDeepDirectory(kPath, 1021);
    std::ofstream(path + "/file") << "text";
    EXPECT_THAT(Scan(path), UnorderedElementsAre(Pair(".", 2), Pair("..", 2), Pair("file", 1)));
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());
}

TEST_F(DirectoryScan, CutsThePathOfTheFirstEntryAt1023Characters) {
    const std::string path = MakeDeepDirectory(kPath, 1024);
    EXPECT_EQ(nullptr, portable_findfirst(path.c_str(), &data_));
    EXPECT_THAT(FakeLog::Lines(),
                ElementsAre(PlainLine(4, "portable_findfirst", 104, "lstat %s fail, error = %d",
                                      "lstat " + path.substr(0, 1023) + " fail, error = 2")));
    EXPECT_EQ(1U, SystemCalls::CloseLeftStreams());
}

// ---- the scan goes on ------------------------------------------------------------------------------

/// A scan that has read the first of three entries.
class RunningScan : public DirectoryScan {
  protected:
    RunningScan() {
        MakeFile("file");
        hFind_ = portable_findfirst(kPath, &data_);
    }
    ~RunningScan() override {
        if (hFind_ != nullptr) portable_findclose(hFind_);
    }

    FindHandle* hFind_ = nullptr;
};

TEST_F(RunningScan, LogsAnEntryThatCannotBeInspectedAndKeepsThePreviousOne) {
    ASSERT_NE(nullptr, hFind_);
    const FindData before = data_;
    SystemCalls::Fail("lstat", 1, ENOENT);
    SystemCalls::Record({"lstat"});
    EXPECT_EQ(1, portalbe_findnext(hFind_, &data_));
    const std::string path = SystemCalls::Recorded().at(0).substr(std::strlen("lstat "));
    EXPECT_THAT(FakeLog::Lines(),
                ElementsAre(PlainLine(4, "portalbe_findnext", 149, "lstat %s fail, error = %d",
                                      "lstat " + path + " fail, error = 2")));
    EXPECT_STREQ(before.szName, data_.szName);
    EXPECT_EQ(before.enType, data_.enType);
}

TEST_F(RunningScan, GoesOnBehindAnEntryThatCannotBeInspected) {
    SystemCalls::Fail("lstat", 1, ENOENT);
    ASSERT_EQ(1, portalbe_findnext(hFind_, &data_));
    EXPECT_EQ(1, portalbe_findnext(hFind_, &data_));
    EXPECT_EQ(0, portalbe_findnext(hFind_, &data_));
}

TEST_F(RunningScan, EndsWithTheDirectoryAndStaysAtItsEnd) {
    ASSERT_EQ(1, portalbe_findnext(hFind_, &data_));
    ASSERT_EQ(1, portalbe_findnext(hFind_, &data_));
    const FindData last = data_;
    EXPECT_EQ(0, portalbe_findnext(hFind_, &data_));
    EXPECT_EQ(0, portalbe_findnext(hFind_, &data_));
    EXPECT_STREQ(last.szName, data_.szName);
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());
}

TEST_F(RunningScan, EndsWhereTheDirectoryCannotBeRead) {
    SystemCalls::Fail("readdir", 1, EIO);
    EXPECT_EQ(0, portalbe_findnext(hFind_, &data_));
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());
}

TEST_F(RunningScan, IsClosedWithItsHandle) {
    EXPECT_EQ(1, portable_findclose(std::exchange(hFind_, nullptr)));
    EXPECT_EQ(0U, SystemCalls::CloseLeftStreams());
}

TEST_F(RunningScan, TellsWhenTheStreamDidNotCloseCleanly) {
    SystemCalls::Fail("closedir", 1, EBADF);
    EXPECT_EQ(0, portable_findclose(std::exchange(hFind_, nullptr)));
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());
}

}  // namespace
}  // namespace ztk
