// The sweep of /dev/shm at load: what stays, what goes, and what is written of it.
#include "pool/segment_sweep.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>

#include "support/private_shm.h"
#include "sweep_fixture.h"

namespace ztk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

// ---- whose process -----------------------------------------------------------------------------------

TEST_F(SegmentSweepTest, AnEmptyDirectoryHasItsTwoDotEntries) {
    ClearLog();
    ReleaseMemoryRes();
    EXPECT_THAT(TakeLog(), UnorderedElementsAre(Found(".", 2), Found("..", 2)));
}

TEST_F(SegmentSweepTest, RemovesTheSegmentsOfADeadProcess) {
    const EndedProcess dead;
    const std::string name = "ZTKTool-" + dead.Id() + "-0a";
    Put(name);
    Put("ZTKTool-" + dead.Id() + "-0b");
    Sweep();
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

TEST_F(SegmentSweepTest, RemovesByOpeningUnlinkingAndClosing) {
    const EndedProcess dead;
    const std::string name = "ZTKTool-" + dead.Id() + "-0a";
    Put(name);
    const std::size_t nOpen = OpenDescriptors();
    SystemCalls::Record({"kill", "shm_open", "shm_unlink", "close"});
    ReleaseMemoryRes();
    EXPECT_THAT(SystemCalls::Recorded(),
                ElementsAre("kill " + dead.Id() + " 0", "shm_open " + name + " 2 600", "shm_unlink " + name,
                            "close"));
    EXPECT_EQ(OpenDescriptors(), nOpen);
}

TEST_F(SegmentSweepTest, KeepsTheSegmentsOfALiveProcess) {
    const LiveProcess live;
    const std::string name = "ZTKTool-" + live.Id() + "-0a";
    Put(name);
    Sweep();
    EXPECT_THAT(ShmEntries(), ElementsAre(name));
}

TEST_F(SegmentSweepTest, KeepsTheSegmentsOfAZombie) {
    const EndedProcess zombie(false);
    const std::string name = "ZTKTool-" + zombie.Id() + "-0a";
    Put(name);
    Sweep();
    EXPECT_THAT(ShmEntries(), ElementsAre(name));
}

TEST_F(SegmentSweepTest, RemovesWhatBearsTheOwnIdWithoutAskingTheSystem) {
    Put("ZTKTool-" + OwnId() + "-0a");
    SystemCalls::Record({"kill", "strtol"});
    Sweep();
    EXPECT_THAT(SystemCalls::Recorded(), IsEmpty());
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

TEST_F(SegmentSweepTest, TheOwnIdIsComparedAsText) {
    const std::vector<std::string> names = {"ZTKTool- " + OwnId() + "-b", "ZTKTool-" + OwnId() + " -c",
                                            "ZTKTool-" + OwnId() + "-d-e", "ZTKTool-+" + OwnId() + "-a",
                                            "ZTKTool-0" + OwnId() + "-f"};
    for (const std::string& name : names)
        Put(name);
    Sweep();
    EXPECT_EQ(ShmEntries().size(), names.size()) << "this process is alive";
}

TEST_F(SegmentSweepTest, AProcessThatMayNotBeAskedCountsAsDead) {
    const LiveProcess live;
    Put("ZTKTool-" + live.Id() + "-0a");
    SystemCalls::Fail("kill", 1, EPERM);
    Sweep();
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

// An owner without a number is 0, which asks for the own process group: it is always there.
TEST_F(SegmentSweepTest, KeepsWhatHasNoNumber) {
    for (const char* szName : {"ZTKTool-abc-ff", "ZTKTool-0-ff", "ZTKTool--x", "ZTKTool--5", "ZTKTool---5",
                               "ZTKTool-4294967296-ff", "ZTKTool-00-ff", "a-ZTKTool-7-z"}) {
        SCOPED_TRACE(szName);
        Put(szName);
        SystemCalls::Reset();
        SystemCalls::Record({"kill"});
        Sweep();
        EXPECT_THAT(SystemCalls::Recorded(), ElementsAre("kill 0 0"));
        EXPECT_THAT(ShmEntries(), ElementsAre(szName));
        std::filesystem::remove(Path(szName));
    }
}

struct Asked {
    const char* szName;
    const char* szCall;
};

class SweepAsksTest : public SegmentSweepTest, public ::testing::WithParamInterface<Asked> {};

TEST_P(SweepAsksTest, ForTheNumberThatTheOwnerBeginsWith) {
    Put(GetParam().szName);
    SystemCalls::Record({"kill"});
    SystemCalls::Fail("kill", 1, ESRCH);
    Sweep();
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre(GetParam().szCall));
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Owners, SweepAsksTest,
    ::testing::Values(Asked{"ZTKTool-12-ab-cd", "kill 12 0"}, Asked{"xZTKTool-5-y", "kill 5 0"},
                      Asked{"ZTKTool-12ab-x", "kill 12 0"}, Asked{"ZTKTool--5-x", "kill -5 0"},
                      Asked{"ZTKTool-007-x", "kill 7 0"}, Asked{"1-2-ZTKTool", "kill 2 0"},
                      Asked{"ZTKTool-4294967303-x", "kill 7 0"},
                      Asked{"ZTKTool-99999999999999999999-x", "kill -1 0"}));

TEST_F(SegmentSweepTest, AnOwnerWithMoreDashesIsJudgedByItsLeadingNumber) {
    const EndedProcess dead;
    const LiveProcess live;
    Put("ZTKTool-" + dead.Id() + "-ab-cd");
    Put("xZTKTool-" + dead.Id() + "-y");
    const std::string kept = "ZTKTool-" + live.Id() + "-ab-cd";
    Put(kept);
    Sweep();
    EXPECT_THAT(ShmEntries(), ElementsAre(kept));
}

// ---- what is no segment ------------------------------------------------------------------------------

TEST_F(SegmentSweepTest, MarkedNamesWithoutTwoDashesAreKeptAndReported) {
    Put("ZTKTool");
    Put("ZTKTool-1234");
    Sweep({{"ZTKTool", NotNormal("ZTKTool")}, {"ZTKTool-1234", NotNormal("ZTKTool-1234")}});
    EXPECT_THAT(ShmEntries(), ElementsAre("ZTKTool", "ZTKTool-1234"));
}

TEST_F(SegmentSweepTest, OtherProgramsFilesAreNotTouched) {
    const EndedProcess dead;
    const std::vector<std::string> names = {"sem.other", "ztktool-" + dead.Id() + "-0a", "a-1-b"};
    for (const std::string& name : names)
        Put(name);
    SystemCalls::Record({"kill", "shm_open", "shm_unlink"});
    Sweep();
    EXPECT_THAT(SystemCalls::Recorded(), IsEmpty());
    EXPECT_EQ(ShmEntries().size(), names.size());
}

TEST_F(SegmentSweepTest, OnlyRegularFilesAreSegments) {
    const EndedProcess dead;
    const std::string start = "ZTKTool-" + dead.Id() + "-";
    Put("target");
    std::filesystem::create_directory(Path(start + "directory"));
    std::filesystem::create_directory(Path("foreign-directory"));
    std::filesystem::create_symlink(Path("target"), Path(start + "link"));
    std::filesystem::create_symlink("nowhere", Path(start + "broken"));
    ASSERT_EQ(mkfifo(Path(start + "fifo").c_str(), 0600), 0);
    const int hSocket = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    Path(start + "socket").copy(address.sun_path, sizeof(address.sun_path) - 1);
    ASSERT_EQ(bind(hSocket, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    std::map<std::string, std::string> further;
    for (const char* szName : {"link", "broken", "fifo", "socket"})
        further[start + szName] = NotRegular(start + szName, 0);
    further[start + "directory"] = NotRegular(start + "directory", 2);
    further["foreign-directory"] = NotRegular("foreign-directory", 2);
    SystemCalls::Record({"kill", "shm_open", "shm_unlink"});
    Sweep(further);
    EXPECT_THAT(SystemCalls::Recorded(), IsEmpty());
    EXPECT_EQ(ShmEntries().size(), 7U);
    close(hSocket);
}

TEST_F(SegmentSweepTest, EverythingAtOnceIsHandledEntryByEntry) {
    const EndedProcess dead;
    const LiveProcess live;
    const std::string kept = "ZTKTool-" + live.Id() + "-0a";
    Put("ZTKTool-" + dead.Id() + "-0a");
    Put(kept);
    Put("ZTKTool-" + OwnId() + "-0a");
    Put("ZTKTool-abc-ff");
    Put("ZTKTool-1234");
    Put("foreign");
    std::filesystem::create_directory(Path("ZTKTool-1-2"));
    Sweep({{"ZTKTool-1234", NotNormal("ZTKTool-1234")}, {"ZTKTool-1-2", NotRegular("ZTKTool-1-2", 2)}});
    EXPECT_THAT(ShmEntries(),
                UnorderedElementsAre(kept, "ZTKTool-abc-ff", "ZTKTool-1234", "foreign", "ZTKTool-1-2"));
}

// ---- what fails ----------------------------------------------------------------------------------------

class SweepFailureTest : public SegmentSweepTest {
  protected:
    static std::string NoDirectory() {
        return Plain(4, "ReleaseMemoryRes", 689, "ReleaseMemoryRes portable_findfirst failed");
    }

    const EndedProcess dead_;
    const std::string stale_ = "ZTKTool-" + dead_.Id() + "-0a";
};

TEST_F(SweepFailureTest, ASegmentThatCannotBeRemovedStaysSilentlyWithItsDescriptor) {
    Put(stale_);
    SystemCalls::Record({"close"});
    SystemCalls::Fail("shm_unlink", 1, EACCES);
    const std::size_t nOpen = OpenDescriptors();
    Sweep();
    EXPECT_EQ(OpenDescriptors(), nOpen + 1);
    EXPECT_THAT(SystemCalls::Recorded(), IsEmpty());
    EXPECT_THAT(ShmEntries(), ElementsAre(stale_));
}

TEST_F(SweepFailureTest, ASegmentThatCannotBeOpenedIsRemovedAllTheSame) {
    Put(stale_);
    SystemCalls::Record({"shm_unlink", "close"});
    SystemCalls::Fail("shm_open", 1, EACCES);
    Sweep();
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre("shm_unlink " + stale_, "close"))
        << "the close is of no descriptor";
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

TEST_F(SweepFailureTest, ASegmentThatVanishesMeanwhileIsPassedOver) {
    Put(stale_);
    Put("foreign");
    SystemCalls::Record({"close"});
    SystemCalls::Before("shm_open", 1, [this] { std::filesystem::remove(Path(stale_)); });
    Sweep();
    EXPECT_THAT(ShmEntries(), ElementsAre("foreign"));
    EXPECT_THAT(SystemCalls::Recorded(), IsEmpty());
}

TEST_F(SweepFailureTest, OneFailureDoesNotEndTheSweep) {
    Put(stale_);
    Put("ZTKTool-" + dead_.Id() + "-0b");
    SystemCalls::Fail("shm_unlink", 1, EACCES);
    Sweep();
    EXPECT_EQ(ShmEntries().size(), 1U);
}

TEST_F(SweepFailureTest, WithoutTheDirectoryThereIsOneLine) {
    Put(stale_);
    ClearLog();
    SystemCalls::Fail("opendir", 1, ENOENT);
    SystemCalls::Record({"opendir", "readdir", "closedir", "shm_unlink"});
    ReleaseMemoryRes();
    EXPECT_THAT(TakeLog(), ElementsAre(NoDirectory()));
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre("opendir /dev/shm"));
}

TEST_F(SweepFailureTest, ADirectoryWithoutAnyEntryCountsAsMissing) {
    ClearLog();
    SystemCalls::Fail("readdir", 1, 0);
    SystemCalls::Record({"closedir"});
    ReleaseMemoryRes();
    EXPECT_THAT(TakeLog(), ElementsAre(NoDirectory()));
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre("closedir"));
}

TEST_F(SweepFailureTest, WithoutMemoryForTheScanThereIsNoSweep) {
    Put(stale_);
    ClearLog();
    SystemCalls::Record({"closedir"});
    Bookkeeping::FailNew(1);
    ReleaseMemoryRes();
    Bookkeeping::FailNew(-1);
    EXPECT_THAT(TakeLog(), ElementsAre(NoDirectory()));
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre("closedir"));
    EXPECT_THAT(ShmEntries(), ElementsAre(stale_));
}

TEST_F(SweepFailureTest, AFirstEntryThatCannotBeInspectedEndsTheSweepWithTheStreamOpen) {
    Put(stale_);
    const std::string first = InDirectoryOrder().front();
    SystemCalls::CloseLeftStreams();
    ClearLog();
    SystemCalls::Fail("lstat", 1, EACCES);
    ReleaseMemoryRes();
    EXPECT_THAT(TakeLog(), ElementsAre(Plain(4, "portable_findfirst", 104,
                                             "lstat /dev/shm/" + first + " fail, error = 13"),
                                       NoDirectory()));
    EXPECT_EQ(SystemCalls::CloseLeftStreams(), 1U);
    EXPECT_THAT(ShmEntries(), ElementsAre(stale_));
}

TEST_F(SweepFailureTest, ALaterEntryThatCannotBeInspectedHasThePreviousOneHandledAgain) {
    Put(stale_);
    Put("foreign");
    const std::vector<std::string> names = InDirectoryOrder();
    ASSERT_EQ(names.size(), 4U);
    for (std::size_t nFailing = 1; nFailing < names.size(); ++nFailing) {
        SCOPED_TRACE(nFailing);
        Put(stale_);
        const std::vector<std::string> order = InDirectoryOrder();
        Lines expected;
        for (std::size_t i = 0; i < order.size(); ++i) {
            if (i == nFailing) {
                expected.push_back(
                    Plain(4, "portalbe_findnext", 149, "lstat /dev/shm/" + order[i] + " fail, error = 2"));
            }
            const std::string& handled = i == nFailing ? order[i - 1] : order[i];
            expected.push_back(Found(handled, TypeOf(handled)));
        }
        ClearLog();
        SystemCalls::Reset();
        SystemCalls::Fail("lstat", static_cast<int>(nFailing) + 1, ENOENT);
        ReleaseMemoryRes();
        EXPECT_EQ(TakeLog(), expected);
        EXPECT_EQ(ShmEntries().size(), order[nFailing] == stale_ ? 2U : 1U);
    }
}

TEST_F(SweepFailureTest, AnUncleanEndOfTheScanIsNotReported) {
    Put(stale_);
    SystemCalls::Fail("closedir", 1, EBADF);
    ClearLog();
    ReleaseMemoryRes();
    EXPECT_EQ(Log().size(), 3U);
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

}  // namespace
}  // namespace ztk::test
