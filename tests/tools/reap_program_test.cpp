// `ztkmem reap`, and other pid namespaces.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/program_test.h"

namespace ztkmem::test {
namespace {

class Reap : public ProgramTest {
  protected:
    const std::string old_ = PoolName(kNobody);
    const std::string young_ = PoolName(kNobody + 1);
    const std::string alive_ = PoolName(getpid());

    void Fill() const {
        WriteSegment(old_, Pattern(100'000));
        SetAge(old_, 3 * kDay + 3600);
        WriteSegment(young_, Pattern(1000));
        SetAge(young_, 5 * 3600 + 1800);
        WriteSegment(alive_, Pattern(1000));
        WriteObject("ZTKTool-77-x", Bytes(10));
        WriteObject("sem.other", Bytes(10));
    }
};

Outcome Reaped(std::vector<std::string> arguments, As enAs = As::kSelf) {
    arguments.insert(arguments.begin(), {"reap", "--this-pid-namespace"});
    return ZtkMem(arguments, enAs);
}

TEST_F(Reap, WithoutYesOnlyLists) {
    Fill();
    const Outcome outcome = Reaped({});
    EXPECT_EQ(outcome.nStatus, 1);
    EXPECT_EQ(WithoutUnread(outcome.out), Golden("reap.txt"));
    EXPECT_TRUE(Exists(old_) && Exists(young_) && Exists(alive_));
}

TEST_F(Reap, RemovesWhatIsProvenDead) {
    Fill();
    const Outcome outcome = Reaped({"--yes"});
    EXPECT_EQ(outcome.nStatus, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("removed " + old_ + "\nremoved " + young_ + "\n2 segments removed\n"),
              std::string::npos);
    EXPECT_FALSE(Exists(old_) || Exists(young_));
    EXPECT_TRUE(Exists(alive_) && Exists("ZTKTool-77-x") && Exists("sem.other"));
    EXPECT_EQ(Reaped({"--yes"}).nStatus, 0);
    EXPECT_EQ(Reaped({}).nStatus, 0) << "nothing is left";
}

TEST_F(Reap, LeavesYoungOnes) {
    Fill();
    const Outcome outcome = Reaped({"--yes", "--older-than", "1d"});
    EXPECT_EQ(outcome.nStatus, 0);
    EXPECT_NE(outcome.out.find("1 too young"), std::string::npos) << outcome.out;
    EXPECT_FALSE(Exists(old_));
    EXPECT_TRUE(Exists(young_));
}

TEST_F(Reap, LeavesOwnersThatMayNotBeSignalledOrMayBeStrangers) {
    WriteSegment(PoolName(1), Pattern(10));
    WriteSegment(alive_, Pattern(10));
    SetAge(alive_, 400 * kDay);
    ASSERT_EQ(chmod("/dev/shm", 0777), 0);  // so that only the program's own caution protects them
    const Outcome outcome = Reaped({"--yes"}, As::kGuest);
    EXPECT_EQ(outcome.nStatus, 0) << outcome.err;
    EXPECT_TRUE(Exists(PoolName(1)) && Exists(alive_));
    EXPECT_NE(outcome.out.find("whose pid may be reused"), std::string::npos) << outcome.out;
}

TEST_F(Reap, NeedsPermissionToRemove) {
    if (!GuestExists()) GTEST_SKIP() << "no other user to be";
    WriteSegment(old_, Pattern(10));
    ASSERT_EQ(chmod("/dev/shm", 01777), 0);
    const Outcome outcome = Reaped({"--yes"}, As::kGuest);
    EXPECT_EQ(outcome.nStatus, 2);
    EXPECT_EQ(outcome.err, "cannot remove " + old_ + ": Operation not permitted\n");
    EXPECT_TRUE(Exists(old_));
}

TEST_F(Reap, RefusalsComeBehindTheTable) {
    const std::string readOnly = "mount -o remount,bind,ro /dev/shm";
    if (RunProgram({"unshare", "--mount", "sh", "-c", readOnly}).nStatus != 0)
        GTEST_SKIP() << "/dev/shm cannot be made read-only here";
    WriteSegment(old_, Pattern(10));
    const Outcome outcome =
        RunProgram({"unshare", "--mount", "sh", "-c",
                    readOnly + " && exec " ZTKMEM " reap --yes --this-pid-namespace 2>&1"});
    EXPECT_EQ(outcome.nStatus, 2);
    const std::size_t nTable = outcome.out.find("1 segment of dead owners");
    const std::size_t nRefusal = outcome.out.find("cannot remove " + old_ + ": Read-only file system\n");
    const std::size_t nTotal = outcome.out.find("0 segments removed");
    EXPECT_LT(nTable, nRefusal) << outcome.out;
    EXPECT_LT(nRefusal, nTotal) << outcome.out;
    EXPECT_NE(nTotal, std::string::npos) << outcome.out;
}

TEST_F(Reap, OneNeedsNoRootForOnesOwn) {
    if (!GuestExists()) GTEST_SKIP() << "no other user to be";
    WriteSegment(old_, Pattern(10));
    ASSERT_EQ(chown(("/dev/shm/" + old_).c_str(), 65534, 65534), 0);
    EXPECT_EQ(Reaped({"--yes"}, As::kGuest).nStatus, 0);
    EXPECT_FALSE(Exists(old_));
}

TEST_F(Reap, SaysWhenMemoryStaysMapped) {
    WriteSegment(old_, Pattern(10));
    const int hFile = open(("/dev/shm/" + old_).c_str(), O_RDONLY | O_CLOEXEC);
    void* pView = mmap(nullptr, 138, PROT_READ, MAP_SHARED, hFile, 0);
    close(hFile);
    ASSERT_NE(pView, MAP_FAILED);
    const Outcome outcome = Reaped({});
    EXPECT_NE(WithoutUnread(outcome.out).find("frees 0, and 4.0K when those who map them let go"),
              std::string::npos)
        << outcome.out;
    munmap(pView, 138);
}

class OtherNamespace : public Reap {
  protected:
    static Outcome InsideOf(const std::vector<std::string>& options,
                            const std::vector<std::string>& arguments) {
        std::vector<std::string> command{"unshare", "--pid", "--fork"};
        command.insert(command.end(), options.begin(), options.end());
        command.emplace_back(ZTKMEM);
        command.insert(command.end(), arguments.begin(), arguments.end());
        return RunProgram(command);
    }
    static bool IsPossible() {
        return RunProgram({"unshare", "--pid", "--fork", "--mount-proc", "true"}).nStatus == 0;
    }
};

TEST_F(OtherNamespace, ProvesNobodyDead) {
    if (!IsPossible()) GTEST_SKIP() << "no pid namespace to be had here";
    Fill();
    const Outcome listed = InsideOf({"--mount-proc"}, {"ls"});
    EXPECT_EQ(listed.nStatus, 0) << listed.err;
    EXPECT_NE(listed.out.find("3 owners not visible: this pid namespace does not see those of others"),
              std::string::npos)
        << listed.out;
    const Outcome reaped = InsideOf({"--mount-proc"}, {"reap", "--yes"});
    EXPECT_EQ(reaped.nStatus, 0);
    EXPECT_NE(reaped.out.find("nothing can be proven dead: "), std::string::npos) << reaped.out;
    EXPECT_TRUE(Exists(old_) && Exists(young_) && Exists(alive_));
}

TEST_F(OtherNamespace, MayBeVouchedFor) {
    if (!IsPossible()) GTEST_SKIP() << "no pid namespace to be had here";
    WriteSegment(old_, Pattern(10));
    const Outcome reaped = InsideOf({"--mount-proc"}, {"reap", "--yes", "--this-pid-namespace"});
    EXPECT_EQ(reaped.nStatus, 0) << reaped.err;
    EXPECT_FALSE(Exists(old_));
}

TEST_F(OtherNamespace, WithAStrangersProcIsNotVouchedFor) {
    if (!IsPossible()) GTEST_SKIP() << "no pid namespace to be had here";
    WriteSegment(old_, Pattern(10));
    const Outcome reaped = InsideOf({}, {"reap", "--yes", "--this-pid-namespace"});
    EXPECT_EQ(reaped.nStatus, 0) << reaped.err;
    EXPECT_NE(reaped.out.find("/proc is missing or belongs to another pid namespace"), std::string::npos)
        << reaped.out;
    EXPECT_TRUE(Exists(old_));
}

}  // namespace
}  // namespace ztkmem::test
