// The sweep of /dev/shm that every load begins with.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include "tests/library/child.h"
#include "tests/library/library.h"
#include "tests/library/private_place.h"
#include "tests/library/process_state.h"
#include "tests/library/recorded_log.h"

namespace ztk::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
using testing::UnorderedElementsAreArray;

/// Larger than any process id that Linux gives out, so never alive.
const std::string kDead = "4999999";

std::string Path(const std::string& name) {
    return "/dev/shm/" + name;
}

void PutFile(const std::string& name) {
    std::ofstream(Path(name)) << "content";
}

/// A process that lives until the end of the test.
class LiveProcess {
  public:
    LiveProcess()
        : nId_(StartChild([this] {
              end_.Await();
              return 0;
          })) {}
    ~LiveProcess() {
        end_.Open();
        AwaitEnd(nId_);
    }
    LiveProcess(const LiveProcess&) = delete;
    LiveProcess& operator=(const LiveProcess&) = delete;

    std::string Id() const { return std::to_string(nId_); }

  private:
    Latch end_;
    pid_t nId_;
};

class Sweep : public testing::Test {
  protected:
    void SetUp() override {
        SKIP_WITHOUT_PRIVATE_SHM();
        RecordedLog::Clear();
    }

    const std::string own_ = std::to_string(getpid());
    const LiveProcess live_;
};

TEST_F(Sweep, ObjectsOfLiveProcessesStayAllOthersGo) {
    const std::vector<std::string> kept = {"ZTKTool-" + live_.Id() + "-0a",
                                           "ZTKTool-" + live_.Id() + "-0b-0c",
                                           "xZTKTool-" + live_.Id() + "-y",
                                           "ZTKTool-abc-ff",
                                           "ZTKTool--ff",
                                           "ZTKTool-0" + own_ + "-ff",
                                           "ZTKTool-" + live_.Id() + "trailing-x"};
    const std::vector<std::string> removed = {"ZTKTool-" + kDead + "-0a", "ZTKTool-" + kDead + "-0b-0c",
                                              "xZTKTool-" + kDead + "-y", "ZTKTool-" + kDead + "abc-x",
                                              "ZTKTool-" + own_ + "-0a",  kDead + "-" + kDead + "-ZTKTool"};
    std::for_each(kept.begin(), kept.end(), PutFile);
    std::for_each(removed.begin(), removed.end(), PutFile);
    const Library library;
    EXPECT_THAT(ShmEntries(), UnorderedElementsAreArray(kept));
}

TEST_F(Sweep, WhatIsNotMarkedIsNotTouched) {
    const std::vector<std::string> foreign = {"sem.other", "ztktool-" + kDead + "-ff",
                                              "ZTKToo-" + kDead + "-ff", "pulse-shm-1"};
    std::for_each(foreign.begin(), foreign.end(), PutFile);
    const Library library;
    EXPECT_THAT(ShmEntries(), UnorderedElementsAreArray(foreign));
    EXPECT_THAT(RecordedLog::LinesWith("ReleaseMemoryRes@7"), IsEmpty()) << "named once and no more said";
}

TEST_F(Sweep, WhatIsNoRegularFileIsReportedAndKept) {
    const std::string dead = "ZTKTool-" + kDead + "-";
    const std::string target = "target";
    PutFile(target);
    ASSERT_EQ(mkdir(Path(dead + "directory").c_str(), 0700), 0);
    ASSERT_EQ(mkfifo(Path(dead + "fifo").c_str(), 0600), 0);
    ASSERT_EQ(symlink(Path(target).c_str(), Path(dead + "link").c_str()), 0);
    ASSERT_EQ(symlink("/nowhere", Path(dead + "dangling").c_str()), 0);
    const Library library;
    EXPECT_THAT(ShmEntries(),
                ElementsAre(dead + "dangling", dead + "directory", dead + "fifo", dead + "link", target));
    EXPECT_THAT(RecordedLog::LinesWith("@739]"),
                testing::UnorderedElementsAre(
                    "4 [ReleaseMemoryRes@739]SHM File Type=2, Name = " + dead + "directory",
                    "4 [ReleaseMemoryRes@739]SHM File Type=0, Name = " + dead + "fifo",
                    "4 [ReleaseMemoryRes@739]SHM File Type=0, Name = " + dead + "link",
                    "4 [ReleaseMemoryRes@739]SHM File Type=0, Name = " + dead + "dangling"));
}

TEST_F(Sweep, AMarkWithoutAnOwnerIsReportedAndKept) {
    const std::vector<std::string> malformed = {"ZTKTool", "ZTKTool-" + kDead, "-ZTKTool", "ZTKTool-"};
    std::for_each(malformed.begin(), malformed.end(), PutFile);
    const Library library;
    EXPECT_THAT(ShmEntries(), UnorderedElementsAreArray(malformed));
    std::vector<std::string> lines;
    for (const std::string& name : malformed) {
        lines.push_back("3 [ReleaseMemoryRes@730]ReleaseMemoryRes FileName[" + name +
                        "],Type[1] is not normal file");
    }
    EXPECT_THAT(RecordedLog::LinesWith("@730]"), UnorderedElementsAreArray(lines));
}

TEST_F(Sweep, EveryEntryIsNamedInALine) {
    PutFile("foreign");
    PutFile("ZTKTool-" + kDead + "-ff");
    ASSERT_EQ(mkdir(Path("folder").c_str(), 0700), 0);
    const Library library;
    const std::string line = "1 [ReleaseMemoryRes@696]ReleaseMemoryRes  find SHM Name[";
    EXPECT_THAT(
        RecordedLog::LinesWith("@696]"),
        testing::UnorderedElementsAre(line + ".],Type[2]", line + "..],Type[2]", line + "foreign],Type[1]",
                                      line + "ZTKTool-" + kDead + "-ff],Type[1]", line + "folder],Type[2]"));
}

TEST_F(Sweep, NamesOfAnyLengthAreTaken) {
    const std::string zeroes(200, '0');
    PutFile("ZTKTool-" + kDead + "-" + std::string(255 - 9 - kDead.size(), 'f'));
    PutFile("ZTKTool-" + zeroes + kDead + "-ff");
    PutFile("ZTKTool-" + zeroes + live_.Id() + "-ff");
    const Library library;
    EXPECT_THAT(ShmEntries(), ElementsAre("ZTKTool-" + zeroes + live_.Id() + "-ff"));
}

TEST_F(Sweep, AMissingDirectoryIsReportedAndTheLibraryLoads) {
    if (mount("tmpfs", "/dev", "tmpfs", 0, nullptr) != 0)
        GTEST_SKIP() << "NOT TESTED HERE: cannot cover /dev";
    Library library;
    umount2("/dev", MNT_DETACH);
    EXPECT_THAT(RecordedLog::LinesWith("ReleaseMemoryRes"),
                ElementsAre("4 [ReleaseMemoryRes@689]ReleaseMemoryRes portable_findfirst failed"));
    RecordedLog::Await(" memory thread, tid=", 2);
    EXPECT_TRUE(library.Unload());
}

TEST_F(Sweep, ObjectsOfAKilledProcessGoWithTheNextLoadOnceItIsReaped) {
    const Latch filled;
    const Latch never;
    const pid_t nOwner = StartChild([&filled, &never] {
        const Library library;
        void* pAddr = nullptr;
        char szName[ZTK_SHARED_NAME_SIZE];
        if (library.AllocatePoolSharedMemory(4096, &pAddr, szName) != ZTK_SUCCESS) return 1;
        filled.Open();
        never.Await();
        return 2;
    });
    filled.Await();
    kill(nOwner, SIGKILL);
    siginfo_t info;
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(nOwner), &info, WEXITED | WNOWAIT), 0);
    EXPECT_EQ(ObjectsOf(nOwner).size(), 1U) << "nobody removed it";
    Library beforeReaping;
    EXPECT_EQ(ObjectsOf(nOwner).size(), 1U) << "a process that has ended but was not waited for still counts";
    ASSERT_TRUE(beforeReaping.Unload());
    EXPECT_EQ(AwaitEnd(nOwner), Killed(SIGKILL));
    const Library afterReaping;
    EXPECT_THAT(ObjectsOf(nOwner), IsEmpty());
}

TEST_F(Sweep, ASecondLoadLeavesTheFirstProcessesObjectsAlone) {
    SKIP_WITHOUT_PROGRAMS();
    const Library library;
    void* pAddr = nullptr;
    char szName[ZTK_SHARED_NAME_SIZE];
    ASSERT_EQ(library.AllocatePoolSharedMemory(4096, &pAddr, szName), ZTK_SUCCESS);
    EXPECT_EQ(RunProgram({ZTK_HOST_PATH, kLibraryPath, "once", "standin"}), Exited(0));
    EXPECT_THAT(ShmEntries(), ElementsAre(szName));
}

}  // namespace
}  // namespace ztk::test
