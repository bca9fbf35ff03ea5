// `ztkmem log` in a terminal.
#include <signal.h>

#include <regex>

#include "tools/program_test.h"
#include "tools/tmux_session.h"

namespace ztkmem::test {
namespace {

class LogInTerminal : public ProgramTest, public testing::WithParamInterface<int> {};

TEST_P(LogInTerminal, LeavesACleanLineWhenASignalEndsIt) {
    if (RunProgram({"tmux", "-V"}).nStatus != 0) GTEST_SKIP() << "no tmux";
    const TmuxSession terminal(Folder());
    terminal.Type("clear; while sleep 0.1; do echo x; done | bash -c 'echo $$ > " + Folder() +
                  "/pid; exec " ZTKMEM " log -'");
    terminal.Press("Enter");
    terminal.AwaitText("ztkmem log: read ");
    RunProgram({"sh", "-c", "kill -" + std::to_string(GetParam()) + " $(cat " + Folder() + "/pid)"});
    const std::string prompt = "[" + std::to_string(128 + GetParam()) + "]ready>";
    const std::string screen = terminal.AwaitText(prompt);
    EXPECT_NE(screen.find(prompt), std::string::npos) << screen;
    static const std::regex alone("ztkmem log: read [0-9]+ *\n");
    EXPECT_TRUE(std::regex_search(screen, alone)) << screen;
}

INSTANTIATE_TEST_SUITE_P(Signals, LogInTerminal, testing::Values(SIGTERM, SIGHUP));

}  // namespace
}  // namespace ztkmem::test
