// `ztkmem top` in a terminal, and bash completion.
#include <signal.h>
#include <unistd.h>

#include <utility>
#include <vector>

#include "tools/program_test.h"
#include "tools/tmux_session.h"

namespace ztkmem::test {
namespace {

bool Has(const std::string& screen, const std::string& text) {
    return screen.find(text) != std::string::npos;
}

class Top : public ProgramTest {
  protected:
    void SetUp() override {
        ProgramTest::SetUp();
        if (RunProgram({"tmux", "-V"}).nStatus != 0) GTEST_SKIP() << "no tmux";
    }

    static void Start(const TmuxSession& terminal, const std::string& options = "--this-pid-namespace") {
        terminal.Type("clear; " ZTKMEM " top " + options);
        terminal.Press("Enter");
    }

    /// The settings of the terminal, and nothing left of the full screen.
    static void ExpectRestored(const TmuxSession& terminal, const std::string& prompt) {
        const std::string screen = terminal.AwaitText(prompt);
        EXPECT_TRUE(Has(screen, prompt)) << screen;
        EXPECT_FALSE(Has(screen, "sorted by")) << screen;
        terminal.Type("clear; stty -a | grep -ow -e '-*icanon' -e '-*echo' -e '-*onlcr' | xargs echo set:");
        terminal.Press("Enter");
        EXPECT_TRUE(Has(terminal.AwaitText("set: onlcr"), "set: onlcr icanon echo")) << terminal.Screen();
    }
};

TEST_F(Top, ShowsSegmentsAndLooksAgain) {
    WriteSegment(PoolName(kNobody), Pattern(100'000));
    const TmuxSession terminal(Folder());
    Start(terminal);
    const std::string screen = terminal.AwaitText("sorted by resident");
    EXPECT_TRUE(Has(screen, "1 process, 1 segment, 97.8K long, 100.0K resident")) << screen;
    EXPECT_TRUE(Has(screen, "1 stale with 100.0K")) << screen;
    EXPECT_TRUE(Has(screen, " 5000001  dead             1     0      0    97.8K    100.0K  -")) << screen;
    EXPECT_TRUE(Has(screen, PoolName(kNobody) + "  good  ")) << screen;
    WriteSegment("ZTKTool-" + std::to_string(kNobody) + "-" + std::string(32, 'a'), Pattern(100'000));
    const std::string grown = terminal.AwaitText("+100.0K");
    EXPECT_TRUE(Has(grown, "2 segments") && Has(grown, "+100.0K")) << grown;
    terminal.Press("q");
    ExpectRestored(terminal, "[0]ready>");
}

TEST_F(Top, KeysSortAndReverseAndMove) {
    WriteSegment(PoolName(kNobody), Pattern(100'000));
    WriteSegment(PoolName(kNobody + 1), Pattern(10));
    for (int i = 2; i < 12; ++i)
        WriteSegment(PoolName(kNobody + i), Pattern(5000));
    const TmuxSession terminal(Folder());
    Start(terminal);
    EXPECT_TRUE(Has(terminal.AwaitText("sorted by resident"), " 5000001  dead"));
    terminal.Press(">");
    EXPECT_TRUE(Has(terminal.AwaitText("sorted by length"), "sorted by length"));
    terminal.Press("R");
    EXPECT_TRUE(Has(terminal.AwaitText(" 5000002  dead"), "sorted by length, reversed")) << terminal.Screen();
    EXPECT_FALSE(Has(terminal.Screen(), " 5000001  dead")) << "the longest is below the window";
    terminal.Press("End");
    EXPECT_TRUE(Has(terminal.AwaitText(" 5000001  dead"), PoolName(kNobody))) << terminal.Screen();
    terminal.Press("Home");
    EXPECT_TRUE(Has(terminal.AwaitText(" 5000002  dead"), " 5000002  dead"));
    for (int i = 0; i < 9; ++i)
        terminal.Press("Down");
    const auto scrolled = [](const std::string& screen) { return !Has(screen, " 5000002  dead"); };
    EXPECT_TRUE(scrolled(terminal.Await(scrolled))) << terminal.Screen();
    for (int i = 0; i < 9; ++i)
        terminal.Press("Up");
    EXPECT_TRUE(Has(terminal.AwaitText(" 5000002  dead"), " 5000002  dead")) << terminal.Screen();
    terminal.Press("q");
    ExpectRestored(terminal, "[0]ready>");
}

TEST_F(Top, SortsByTheKeysOfTop) {
    const TmuxSession terminal(Folder());
    Start(terminal);
    terminal.AwaitText("sorted by resident");
    const std::vector<std::pair<std::string, std::string>> keys{{"N", "pid "}, {"M", "resident "},
                                                                {"<", "pid "}, {"<", "growth "},
                                                                {">", "pid "}, {">", "resident "}};
    for (const auto& [key, sort] : keys) {
        terminal.Press(key);
        EXPECT_TRUE(Has(terminal.AwaitText("sorted by " + sort), "sorted by " + sort)) << terminal.Screen();
    }
    terminal.Press("q");
    ExpectRestored(terminal, "[0]ready>");
}

TEST_F(Top, HelpsAndTakesAnotherDelay) {
    const TmuxSession terminal(Folder());
    Start(terminal);
    terminal.AwaitText("sorted by");
    terminal.Press("h");
    EXPECT_TRUE(Has(terminal.AwaitText("any key leaves it"), "looks again every 1.0 s")) << terminal.Screen();
    terminal.Press("q");
    EXPECT_TRUE(Has(terminal.AwaitText("sorted by"), "sorted by")) << "the key only left the help";
    terminal.Press("d");
    EXPECT_TRUE(Has(terminal.AwaitText("Change delay from 1.0 to _"), "1.0 to _")) << terminal.Screen();
    terminal.Type("36000");
    terminal.Press("Enter");
    EXPECT_TRUE(Has(terminal.AwaitText("that is no delay"), "0.1 to 3600 seconds")) << terminal.Screen();
    terminal.Type("36000");
    terminal.Press("BSpace");
    EXPECT_TRUE(Has(terminal.AwaitText("to 3600_"), "to 3600_")) << terminal.Screen();
    terminal.Press("Enter");
    terminal.AwaitText("sorted by");
    terminal.Press("?");
    EXPECT_TRUE(Has(terminal.AwaitText("any key leaves it"), "every 3600.0 s")) << terminal.Screen();
    terminal.Press("?");
    terminal.AwaitText("0 segments");
    WriteSegment(PoolName(kNobody), Pattern(10));
    terminal.Press("Space");
    EXPECT_TRUE(Has(terminal.AwaitText("1 segment,"), "1 segment,")) << "not only in an hour";
    terminal.Press("s");
    EXPECT_TRUE(Has(terminal.AwaitText("from 3600.0 to _"), "from 3600.0 to _")) << terminal.Screen();
    terminal.Press("Escape");
    EXPECT_TRUE(Has(terminal.AwaitText("sorted by"), "sorted by")) << terminal.Screen();
    terminal.Press("q");
    ExpectRestored(terminal, "[0]ready>");
}

TEST_F(Top, WideNamesStayInTheirRow) {
    std::string name = "ZTKTool-77-";
    for (int i = 0; i < 40; ++i)
        name += "\xe7\x9b\xb8";
    WriteObject(name, Bytes(1));
    const TmuxSession terminal(Folder());
    terminal.Resize(99, 12);
    Start(terminal);
    const std::string screen = terminal.AwaitText("ZTKTool-77-");
    const std::size_t nName = screen.find("ZTKTool-77-");
    ASSERT_NE(nName, std::string::npos) << screen;
    const std::size_t nEnd = screen.find('\n', nName);
    EXPECT_EQ(screen.find_first_not_of('\n', nEnd), std::string::npos) << screen;
    terminal.Press("q");
    ExpectRestored(terminal, "[0]ready>");
}

TEST_F(Top, FollowsTheWindowsSize) {
    WriteSegment(PoolName(kNobody), Pattern(10));
    const TmuxSession terminal(Folder());
    Start(terminal);
    terminal.AwaitText(PoolName(kNobody));
    terminal.Resize(60, 4);
    const auto narrow = [](const std::string& screen) {
        return Has(screen, " 5000001  dead") && !Has(screen, PoolName(kNobody));
    };
    EXPECT_TRUE(narrow(terminal.Await(narrow))) << terminal.Screen();
    terminal.Resize(140, 20);
    EXPECT_TRUE(Has(terminal.AwaitText(PoolName(kNobody)), PoolName(kNobody)));
    terminal.Press("q");
    ExpectRestored(terminal, "[0]ready>");
}

TEST_F(Top, HostileNamesDoNotReachTheTerminal) {
    WriteObject("ZTKTool-\x1b[2J\x1b]0;title\x07\n-x", Bytes(4));
    const TmuxSession terminal(Folder());
    Start(terminal);
    EXPECT_TRUE(Has(terminal.AwaitText("\\x1b[2J\\x1b]0;title\\x07\\x0a-x"), "sorted by"))
        << terminal.Screen();
    terminal.Press("q");
    ExpectRestored(terminal, "[0]ready>");
}

class TopEndedBy : public Top, public testing::WithParamInterface<int> {};

TEST_P(TopEndedBy, LeavesTheTerminalAsItWas) {
    const TmuxSession terminal(Folder());
    // a shell of its own, whose id the program then has
    terminal.Type("ulimit -c 0; clear; bash -c 'echo $$ > " + Folder() + "/pid; exec " ZTKMEM " top'");
    terminal.Press("Enter");
    ASSERT_TRUE(Has(terminal.AwaitText("sorted by"), "sorted by")) << terminal.Screen();
    if (GetParam() == SIGINT) {
        terminal.Press("C-c");
    } else {
        RunProgram({"sh", "-c", "kill -" + std::to_string(GetParam()) + " $(cat " + Folder() + "/pid)"});
    }
    ExpectRestored(terminal, "[" + std::to_string(128 + GetParam()) + "]ready>");
}

INSTANTIATE_TEST_SUITE_P(Signals, TopEndedBy,
                         testing::Values(SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2, SIGALRM, SIGPIPE,
                                         SIGXCPU, SIGXFSZ, SIGVTALRM, SIGPROF, SIGIO, SIGPWR));
INSTANTIATE_TEST_SUITE_P(Faults, TopEndedBy,
                         testing::Values(SIGSEGV, SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS));

TEST_F(Top, AnErrorLeavesTheTerminalAsItWas) {
#ifdef ZTK_ADDRESS_SANITIZER
    GTEST_SKIP() << "without descriptors the sanitizer takes every object for a bad one";
#endif
    const TmuxSession terminal(Folder());
    terminal.Type("clear; bash -c 'echo $$ > " + Folder() + "/pid; exec " ZTKMEM " top'");
    terminal.Press("Enter");
    ASSERT_TRUE(Has(terminal.AwaitText("sorted by"), "sorted by")) << terminal.Screen();
    // without descriptors the next look fails
    RunProgram({"sh", "-c", "prlimit --nofile=0 --pid $(cat " + Folder() + "/pid)"});
    EXPECT_TRUE(Has(terminal.AwaitText("[2]ready>"), "ztkmem: /dev/shm: Too many open files"))
        << terminal.Screen();
    ExpectRestored(terminal, "[2]ready>");
}

TEST_F(Top, MayBeStoppedAndContinued) {
    const TmuxSession terminal(Folder());
    Start(terminal);
    ASSERT_TRUE(Has(terminal.AwaitText("sorted by"), "sorted by"));
    terminal.Press("C-z");
    EXPECT_TRUE(Has(terminal.AwaitText("Stopped"), "Stopped")) << terminal.Screen();
    terminal.Type("fg");
    terminal.Press("Enter");
    EXPECT_TRUE(Has(terminal.AwaitText("sorted by"), "sorted by")) << terminal.Screen();
    terminal.Press("q");
    ExpectRestored(terminal, "[0]ready>");
}

TEST_F(Top, NeedsATerminalThatItKnows) {
    const Outcome outcome = ZtkMem({"top"});
    EXPECT_EQ(outcome.nStatus, 2);
    EXPECT_EQ(outcome.err, "ztkmem: top: needs a terminal (ztkmem ls shows the same, once)\n");
    const TmuxSession terminal(Folder());
    terminal.Type("clear; TERM=nonsense " ZTKMEM " top");
    terminal.Press("Enter");
    EXPECT_TRUE(Has(terminal.AwaitText("[2]ready>"), "the terminal's type (TERM) is unknown"))
        << terminal.Screen();
}

TEST_F(Top, WithoutNcursesSaysSo) {
    const Outcome outcome = RunProgram({ZTKMEM_WITHOUT_NCURSES, "top"});
    EXPECT_EQ(outcome.nStatus, 2);
    EXPECT_EQ(
        outcome.err,
        "ztkmem: this build has no top: it was made without ncurses (ztkmem ls shows the same, once)\n");
    EXPECT_EQ(RunProgram({ZTKMEM_WITHOUT_NCURSES, "ls"}).nStatus, 0);
}

class Completion : public Top {};

TEST_F(Completion, KnowsCommandsOptionsAndSegments) {
    WriteSegment(PoolName(kNobody), Pattern(10));
    WriteObject("ZTKTool-$(echo oops)-x", Bytes(1));
    const TmuxSession terminal(Folder());
    terminal.Type("clear; source " ZTKMEM_COMPLETION);
    terminal.Press("Enter");
    const auto completes = [&terminal](const std::string& typed, const std::string& whole) {
        terminal.Type(typed);
        terminal.Press("Tab");
        terminal.Type("#");  // blanks at a line's end are not to be seen
        EXPECT_TRUE(Has(terminal.AwaitText(whole + "#"), whole + "#")) << terminal.Screen();
        terminal.Press("C-u");
    };
    completes("ztkmem rea", "ztkmem reap ");
    completes("ztkmem repl", "ztkmem replay ");
    completes("ztkmem report --js", "ztkmem report --json ");
    completes("ztkmem ls --js", "ztkmem ls --json ");
    completes("ztkmem ls --sort re", "ztkmem ls --sort resident ");
    completes("ztkmem ls --sort=re", "ztkmem ls --sort=resident ");
    completes("ztkmem reap --older-than=3", "ztkmem reap --older-than=3d ");
    completes("ztkmem show ZTKTool-5", "ztkmem show " + PoolName(kNobody) + " ");
    completes("ztkmem show x --as nv", "ztkmem show x --as nv12:");
    completes("ztkmem reap --o", "ztkmem reap --older-than ");
}

}  // namespace
}  // namespace ztkmem::test
