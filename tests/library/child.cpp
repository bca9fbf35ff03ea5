#include "tests/library/child.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "tests/library/process_state.h"

namespace ztk::test {
namespace {

constexpr unsigned kHangSeconds = 100;
constexpr int kCannotRun = 127;

/// In a forked child whose parent had several threads.
bool g_bLostThreads = false;

/// Neither a hang nor a test that was ended from outside leaves a process behind.
void EndIfHanging() {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    sigset_t alarms;
    sigemptyset(&alarms);
    sigaddset(&alarms, SIGALRM);
    pthread_sigmask(SIG_UNBLOCK, &alarms, nullptr);
    alarm(kHangSeconds);
}

pid_t Fork() {
    std::cout.flush();  // what is buffered would be written twice
    std::fflush(nullptr);
    const bool bHasThreads = CountThreads() > 1;
    const pid_t nChild = fork();
    if (nChild < 0) {
        std::perror("fork");
        std::abort();
    }
    if (nChild == 0) {
        g_bLostThreads = bHasThreads;
        EndIfHanging();
    }
    return nChild;
}

}  // namespace

bool operator==(const Ending& a, const Ending& b) {
    return a.nExitCode == b.nExitCode && a.nSignal == b.nSignal;
}

std::ostream& operator<<(std::ostream& out, const Ending& ending) {
    if (ending.nSignal != 0) return out << "killed by signal " << ending.nSignal;
    return out << "exit code " << ending.nExitCode;
}

pid_t StartChild(const std::function<int()>& body) {
    const pid_t nChild = Fork();
    if (nChild == 0) _exit(body());
    return nChild;
}

void Become(const std::vector<std::string>& arguments) {
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));  // execv() does not write to them
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    std::perror(argv[0]);
}

pid_t StartProgram(const std::vector<std::string>& arguments) {
    const pid_t nChild = Fork();
    if (nChild == 0) {
        Become(arguments);
        _exit(kCannotRun);
    }
    return nChild;
}

Ending AwaitEnd(pid_t nProcess) {
    int nStatus = 0;
    while (waitpid(nProcess, &nStatus, 0) < 0) {
        if (errno == EINTR) continue;
        std::perror("waitpid");
        std::abort();
    }
    return WIFSIGNALED(nStatus) ? Killed(WTERMSIG(nStatus)) : Exited(WEXITSTATUS(nStatus));
}

Latch::Latch() : ends_{-1, -1} {
    if (pipe(ends_) == 0) return;
    std::perror("pipe");
    std::abort();
}

Latch::~Latch() {
    close(ends_[0]);
    close(ends_[1]);
}

void Latch::Open() const {
    if (write(ends_[1], "", 1) != 1) std::abort();
}

void Latch::Await() const {
    char cByte = 0;
    while (read(ends_[0], &cByte, 1) < 0 && errno == EINTR) {
    }
}

}  // namespace ztk::test

/// Asked by LeakSanitizer before it looks for leaks at exit. In such a child it searches for the stacks of
/// threads that are not there, and takes what only those refer to for lost.
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off() {
    return ztk::test::g_bLostThreads ? 1 : 0;
}

/// Asked by ThreadSanitizer at start: a forked child may go on, and an exit does not wait a whole second for
/// other threads to show a race.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options() {
    return "die_after_fork=0:atexit_sleep_ms=50";
}
