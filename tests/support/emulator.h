// Programs of another processor under an emulator of single programs, which makes system calls of this
// machine's kernel for them. Not the emulator of a whole board: nothing is known, and nothing differs, there.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace ztk::test {

inline std::string LinkTarget(const char* szLink) {
    char szTarget[4096];
    const ssize_t nLength = readlink(szLink, szTarget, sizeof(szTarget));
    return nLength < 0 ? "" : std::string(szTarget, static_cast<std::size_t>(nLength));
}

/// True if this program is not what the kernel runs: the emulator gives the answer for the first name itself.
inline bool IsEmulated() {
    return LinkTarget("/proc/self/exe") != LinkTarget("/proc/thread-self/exe");
}

/// True if @p szProgram, which is tried without arguments, can be started: the kernel knows what to start it
/// with.
inline bool CanStart(const char* szProgram) {
    const pid_t nChild = fork();
    if (nChild == 0) {
        close(STDOUT_FILENO);
        close(STDERR_FILENO);
        execl(szProgram, szProgram, nullptr);
        _exit(errno == ENOEXEC ? 126 : 0);
    }
    int nStatus = 0;
    waitpid(nChild, &nStatus, 0);
    return !WIFEXITED(nStatus) || WEXITSTATUS(nStatus) != 126;
}

}  // namespace ztk::test

#define SKIP_WHERE_PROGRAMS_DO_NOT_START(szProgram)                                             \
    if (ztk::test::IsEmulated() && !ztk::test::CanStart(szProgram))                             \
    GTEST_SKIP() << "NOT TESTED HERE: the kernel cannot start programs of this processor (see " \
                    "tests/support/with-binfmt.sh)"

#define SKIP_IF_EMULATED(szWhy) \
    if (ztk::test::IsEmulated()) GTEST_SKIP() << "NOT TESTED HERE: the emulator " << (szWhy)
