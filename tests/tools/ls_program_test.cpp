// `ztkmem ls` on made-up contents of /dev/shm.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>

#include "tools/program_test.h"

namespace ztkmem::test {
namespace {

class Ls : public ProgramTest {
  protected:
    /// One of each kind; nobody who could be alive.
    static void FillWithEverything() {
        WriteSegment(PoolName(kNobody), Pattern(100'000));
        SetAge(PoolName(kNobody), 3 * kDay + kHour);
        WriteObject(PoolName(kNobody + 1), Bytes(8192, 0x55));
        SetAge(PoolName(kNobody + 1), 2 * kHour + kHour / 2);
        WriteObject(PoolName(kNobody + 2), Bytes(100, 'x'));
        Bytes mmz = HeaderOf(PoolName(kNobody + 3), 0);
        mmz[9] = 1;
        std::memcpy(&mmz[96], "MMZ_4096_0x7f00", 15);
        WriteObject(PoolName(kNobody + 3), mmz);
        WriteObject(PoolName(kNobody + 4), Bytes(4096));
        WriteObject(PoolName(kNobody + 5), HeaderOf(PoolName(kNobody), 0));
        WriteObject("ZTKTool-77-\x1b[31mred\xff", Bytes(1));
        WriteObject("sem.other", Bytes(32, 'o'));
        mkdir("/dev/shm/ZTKTool-1-2", 0755);
        for (const int nOwner : {kNobody + 2, kNobody + 3, kNobody + 4, kNobody + 5})
            SetAge(PoolName(nOwner), 5 * kHour + kHour / 2);
        for (const char* szName : {"ZTKTool-77-\x1b[31mred\xff", "sem.other", "ZTKTool-1-2"})
            SetAge(szName, 5 * kHour + kHour / 2);
    }
};

TEST_F(Ls, OfNothing) {
    WriteObject("sem.other", Bytes(32, 'o'));
    const Outcome outcome = ZtkMem({"ls"});
    EXPECT_EQ(outcome.nStatus, 0);
    EXPECT_EQ(WithoutUnread(outcome.out), "0 segments, 0 long, 0 resident; nothing stale\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_F(Ls, ShowsEveryKindAsItIs) {
    FillWithEverything();
    const Outcome outcome = ZtkMem({"ls", "--this-pid-namespace"});
    EXPECT_EQ(outcome.nStatus, 1);
    EXPECT_EQ(WithoutUnread(outcome.out), Golden("ls.txt"));
    EXPECT_EQ(outcome.err, "");
}

TEST_F(Ls, AllSortedInBytes) {
    FillWithEverything();
    const Outcome outcome =
        ZtkMem({"ls", "--all", "--bytes", "--sort", "resident", "-r", "--this-pid-namespace"});
    EXPECT_EQ(WithoutUnread(outcome.out), Golden("ls-all.txt"));
}

TEST_F(Ls, JsonHasAllOfIt) {
    FillWithEverything();
    const auto document = Listed();
    EXPECT_EQ(document["segments"].size(), 8U);
    EXPECT_EQ(document["total"]["segments"], 8);
    EXPECT_EQ(document["total"]["stale"], 6);
    const auto good = SegmentNamed(document, PoolName(kNobody));
    EXPECT_EQ(good["data_length"], 100'000);
    EXPECT_EQ(good["length"], 100'128);
    EXPECT_EQ(good["mode"], "0600");
    EXPECT_EQ(good["owner"]["state"], "dead");
    EXPECT_EQ(good["sweep_would_remove"], true);
    EXPECT_GE(good["age_seconds"], 3 * kDay + kHour);
    EXPECT_EQ(SegmentNamed(document, PoolName(kNobody + 3))["header"]["reasons"][0],
              "physical 0x1000, virtual 0x7f00");
    EXPECT_FALSE(SegmentNamed(document, "ZTKTool-77-\\x1b[31mred\\xff").is_null());
}

TEST_F(Ls, OwnerThatMayNotBeSignalledIsAlive) {
    WriteSegment(PoolName(1), Pattern(10));
    const auto segment = SegmentNamed(Listed(As::kGuest), PoolName(1));
    EXPECT_EQ(segment["owner"]["state"], "alive");
    EXPECT_EQ(segment["stale"], false);
}

TEST_F(Ls, WhatMayNotBeReadIsSaidToBeSo) {
    if (!GuestExists()) GTEST_SKIP() << "no other user to be";
    WriteSegment(PoolName(kNobody), Pattern(10));
    ASSERT_EQ(chmod(("/dev/shm/" + PoolName(kNobody)).c_str(), 0), 0);
    const auto segment = SegmentNamed(Listed(As::kGuest), PoolName(kNobody));
    ASSERT_FALSE(segment.is_null());
    EXPECT_EQ(segment["header"]["state"], "unreadable");
    EXPECT_EQ(segment["header"]["reasons"][0], "Permission denied");
}

TEST_F(Ls, OwnerYoungerThanItsObjectMayBeAStranger) {
    const std::string name = PoolName(getpid());
    WriteSegment(name, Pattern(10));
    EXPECT_EQ(SegmentNamed(Listed(), name)["owner"]["state"], "alive");
    SetAge(name, 400 * kDay);
    const auto segment = SegmentNamed(Listed(), name);
    EXPECT_EQ(segment["owner"]["state"], "pid reused?");
    EXPECT_EQ(segment["stale"], false);
}

TEST_F(Ls, ZombieIsDead) {
    const pid_t nChild = fork();
    if (nChild == 0) _exit(0);
    siginfo_t info{};
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(nChild), &info, WEXITED | WNOWAIT), 0);
    WriteSegment(PoolName(nChild), Pattern(10));
    const auto segment = SegmentNamed(Listed(), PoolName(nChild));
    EXPECT_EQ(segment["owner"]["state"], "zombie");
    EXPECT_EQ(segment["stale"], true);
    EXPECT_EQ(segment["sweep_would_remove"], false);
    waitpid(nChild, nullptr, 0);
    EXPECT_EQ(SegmentNamed(Listed(), PoolName(nChild))["owner"]["state"], "dead");
}

TEST_F(Ls, TellsWhoElseMapsIt) {
    WriteSegment(PoolName(kNobody), Pattern(10));
    const int hFile = open(("/dev/shm/" + PoolName(kNobody)).c_str(), O_RDONLY | O_CLOEXEC);
    void* pView = mmap(nullptr, 138, PROT_READ, MAP_SHARED, hFile, 0);
    close(hFile);
    ASSERT_NE(pView, MAP_FAILED);
    const auto users = SegmentNamed(Listed(), PoolName(kNobody))["mapped_by"];
    ASSERT_EQ(users.size(), 1U);
    EXPECT_EQ(users[0]["pid"], getpid());
    munmap(pView, 138);
    EXPECT_TRUE(SegmentNamed(Listed(), PoolName(kNobody))["mapped_by"].empty());
}

TEST_F(Ls, PipesAndLinksAreNotFollowed) {
    ASSERT_EQ(mkfifo(("/dev/shm/" + PoolName(kNobody)).c_str(), 0600), 0);
    ASSERT_EQ(symlink("/etc/passwd", ("/dev/shm/" + PoolName(kNobody + 1)).c_str()), 0);
    const auto document = Listed();
    for (const auto& segment : document["segments"]) {
        EXPECT_EQ(segment["header"]["state"], "no object");
        EXPECT_EQ(segment["stale"], false) << "not the library's";
    }
    EXPECT_EQ(document["segments"].size(), 2U);
}

TEST_F(Ls, BearsObjectsThatComeAndGo) {
    const pid_t nChurner = fork();
    if (nChurner == 0) {
        for (int i = 0;; ++i) {
            const std::string name = PoolName(kNobody + i % 50);
            WriteSegment(name, Pattern(5000));
            unlink(("/dev/shm/" + PoolName(kNobody + (i + 25) % 50)).c_str());
        }
    }
    for (int i = 0; i < 20; ++i) {
        const Outcome outcome = ZtkMem({"ls", "--json", "--this-pid-namespace"});
        EXPECT_TRUE(outcome.nStatus == 0 || outcome.nStatus == 1) << outcome.err;
        EXPECT_TRUE(nlohmann::json::accept(outcome.out));
        EXPECT_EQ(outcome.err, "");
    }
    kill(nChurner, SIGKILL);
    waitpid(nChurner, nullptr, 0);
}

TEST_F(Ls, ErrorsAreOneLine) {
    const auto expectOneLine = [](const std::vector<std::string>& arguments, const std::string& words) {
        const Outcome outcome = ZtkMem(arguments);
        EXPECT_EQ(outcome.nStatus, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
        EXPECT_NE(outcome.err.find(words), std::string::npos) << outcome.err;
    };
    expectOneLine({}, "subcommand");
    expectOneLine({"nonsense"}, "nonsense");
    expectOneLine({"ls", "--nonsense"}, "--nonsense");
    expectOneLine({"ls", "--sort", "size"}, "\"size\" is no order; want name, pid");
    expectOneLine({"show"}, "NAME is required");
    expectOneLine({"reap", "--older-than", "soon"}, "\"soon\" is no age");
}

TEST_F(Ls, ErrorsOfACommandNameItsHelp) {
    const auto complaint = [](const std::vector<std::string>& arguments) { return ZtkMem(arguments).err; };
    EXPECT_NE(complaint({"ls", "--nonsense"}).find("(see ztkmem ls --help)\n"), std::string::npos);
    EXPECT_NE(complaint({"show"}).find("(see ztkmem show --help)\n"), std::string::npos);
    EXPECT_NE(complaint({"--nonsense"}).find("(see ztkmem --help)\n"), std::string::npos);
}

TEST_F(Ls, ErrorsCarryNothingThatHarmsATerminal) {
    const std::string hostile = "\x1b[31m\n";
    const std::string harmless = "\\x1b[31m";
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{hostile},
                                                      {"ls", "--" + hostile},
                                                      {"ls", hostile},
                                                      {"ls", "--sort", hostile},
                                                      {"show", "x", "--hex", "--length", hostile},
                                                      {"reap", "--older-than", hostile}}) {
        const Outcome outcome = ZtkMem(arguments);
        EXPECT_EQ(outcome.nStatus, 2);
        EXPECT_EQ(outcome.err.find('\x1b'), std::string::npos) << outcome.err;
        EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
        EXPECT_NE(outcome.err.find(harmless), std::string::npos) << outcome.err;
    }
}

TEST_F(Ls, NamesAreShownAsTheLocaleAllows) {
    const std::string wide = "ZTKTool-77-\xe7\x9b\xb8\xe6\x9c\xba";
    const std::string ascii = "ZTKTool-77-\\xe7\\x9b\\xb8\\xe6\\x9c\\xba";
    WriteObject(wide, Bytes(1));
    const auto shown = [](const std::string& locale, const std::vector<std::string>& arguments) {
        std::vector<std::string> command{"env", "LC_ALL=" + locale, ZTKMEM};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return RunProgram(command).out;
    };
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"ls"}, {"show", wide}}) {
        EXPECT_NE(shown("C", arguments).find(ascii), std::string::npos) << shown("C", arguments);
        EXPECT_EQ(shown("C", arguments).find(wide), std::string::npos);
        EXPECT_NE(shown("C.UTF-8", arguments).find(wide), std::string::npos);
    }
    EXPECT_NE(shown("C", {"ls", "--json"}).find(wide), std::string::npos) << "JSON is UTF-8 everywhere";
    EXPECT_EQ(RunProgram({"env", "LC_ALL=C", ZTKMEM, "show", ascii}).nStatus, 1) << "found as printed";
}

TEST_F(Ls, FullOutputIsAnError) {
    const Outcome outcome = RunProgram({"sh", "-c", std::string(ZTKMEM) + " ls > /dev/full"});
    EXPECT_EQ(outcome.nStatus, 2);
    EXPECT_EQ(outcome.err, "ztkmem: cannot write the output\n");
}

TEST_F(Ls, EveryCommandExplainsItselfWithExamples) {
    for (const char* szCommand : {"ls", "show", "reap", "top", "report", "plot", "trace", "replay"}) {
        const Outcome outcome = ZtkMem({szCommand, "--help"});
        EXPECT_EQ(outcome.nStatus, 0);
        EXPECT_NE(outcome.out.find("Examples:\n  "), std::string::npos) << szCommand;
        EXPECT_NE(outcome.out.find("Exit status:"), std::string::npos) << szCommand;
        EXPECT_NE(ZtkMem({"--help"}).out.find(szCommand), std::string::npos);
    }
}

}  // namespace
}  // namespace ztkmem::test
