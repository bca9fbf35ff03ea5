#include "program.h"

#include <fmt/format.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <system_error>

namespace ztk_board {
namespace {

constexpr timespec kRenewal{0, 100'000'000};

sigset_t WatchedSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    // The terminal sends its own to the program, too: those are only kept from ending this process first.
    for (const int nSignal : {SIGCHLD, SIGTERM, SIGHUP, SIGINT, SIGQUIT})
        sigaddset(&signals, nSignal);
    return signals;
}

void Prepend(const char* szVariable, const std::string& path) {
    const char* szOld = std::getenv(szVariable);
    const std::string value = szOld == nullptr || szOld[0] == '\0' ? path : path + ":" + szOld;
    setenv(szVariable, value.c_str(), 1);
}

/// How the program finds its signals: as if it had been started without a board.
struct Signals {
    sigset_t mask;
    void (*pAtChildsEnd)(int);
};

[[noreturn]] void BecomeProgram(const Options& options, const Signals& former) {
    // Without this process nobody renews the board.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::signal(SIGCHLD, former.pAtChildsEnd);
    sigprocmask(SIG_SETMASK, &former.mask, nullptr);
    std::vector<char*> arguments;
    for (const std::string& argument : options.command)
        arguments.push_back(
            const_cast<char*>(argument.c_str()));  // NOLINT(cppcoreguidelines-pro-type-const-cast)
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    const int nError = errno;
    fmt::print(stderr, "ztk-board: cannot run {}: {}\n", options.command[0], std::strerror(nError));
    _exit(nError == ENOENT ? kExitNotFound : kExitNotRunnable);
}

int ExitStatusOf(int nStatus) {
    return WIFSIGNALED(nStatus) ? 128 + WTERMSIG(nStatus) : WEXITSTATUS(nStatus);
}

/// True when the program has ended.
bool HandleSignal(int nSignal, pid_t nProgram, int& nStatus) {
    if (nSignal == SIGTERM || nSignal == SIGHUP) kill(nProgram, nSignal);
    return nSignal == SIGCHLD && waitpid(nProgram, &nStatus, WNOHANG) == nProgram;
}

}  // namespace

void SetEnvironment(const Options& options, const std::string& boardFile) {
    setenv(kBoardVariable, boardFile.c_str(), 1);
    setenv("ZTK_BOARD_LAUNCHER", std::to_string(getpid()).c_str(), 1);
    Prepend("LD_LIBRARY_PATH", options.standins);
    Prepend("LD_PRELOAD", options.standins + "/libztk-board-preload.so");
    if (options.log.empty()) return;
    setenv("ZTK_LOG_FILE", options.log.c_str(), 1);
    setenv("ZTK_LOG_LEVEL", "0", 0);
}

int RunProgram(const Options& options, const std::function<void()>& renew) {
    const sigset_t watched = WatchedSignals();
    Signals former{};
    // Whoever starts this may ignore the ends of children, which is inherited: then none would be heard of.
    former.pAtChildsEnd = std::signal(SIGCHLD, SIG_DFL);
    sigprocmask(SIG_BLOCK, &watched, &former.mask);
    const pid_t nProgram = fork();
    if (nProgram < 0) throw std::system_error(errno, std::generic_category(), "fork");
    if (nProgram == 0) BecomeProgram(options, former);
    int nStatus = 0;
    for (bool bEnded = false; !bEnded;) {
        const int nSignal = sigtimedwait(&watched, nullptr, &kRenewal);
        renew();
        bEnded = nSignal > 0 && HandleSignal(nSignal, nProgram, nStatus);
    }
    return ExitStatusOf(nStatus);
}

}  // namespace ztk_board
