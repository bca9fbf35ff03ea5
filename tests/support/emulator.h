/*
 * emulator.h - programs of another processor under an emulator of single programs, which makes system calls
 * of this machine's kernel for them. Of the emulator of a whole board nothing is seen here: nothing differs
 * there.
 */
#ifndef ZTK_TESTS_EMULATOR_H
#define ZTK_TESTS_EMULATOR_H

#include <errno.h>
#include <string.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

/** True if this program is not what the kernel runs: of the first name the emulator itself tells the target.
 */
static inline int IsEmulated(void) {
    char szProgram[4096];
    char szRun[4096];
    const ssize_t nProgram = readlink("/proc/self/exe", szProgram, sizeof(szProgram));
    const ssize_t nRun = readlink("/proc/thread-self/exe", szRun, sizeof(szRun));
    return nProgram > 0 && nRun > 0 && (nProgram != nRun || memcmp(szProgram, szRun, (size_t)nRun) != 0);
}

/** True if @p szProgram, tried without arguments and mute, can be started: the kernel knows what to start it
 * with. */
static inline int CanStart(const char* szProgram) {
    enum { kUnknown = 126 };
    int nStatus = 0;
    const pid_t nChild = fork();
    if (nChild == 0) {
        close(STDOUT_FILENO);
        close(STDERR_FILENO);
        execl(szProgram, szProgram, (char*)0);
        _exit(errno == ENOEXEC ? kUnknown : 0);
    }
    return waitpid(nChild, &nStatus, 0) == nChild &&
           !(WIFEXITED(nStatus) && WEXITSTATUS(nStatus) == kUnknown);
}

#ifdef __cplusplus
#define SKIP_WHERE_PROGRAMS_DO_NOT_START(szProgram)                                                      \
    if (IsEmulated() && !CanStart(szProgram))                                                            \
    GTEST_SKIP() << "NOT TESTED HERE: the kernel does not know how to start programs of this processor " \
                    "(see tests/support/with-binfmt.sh)"
#endif

#endif /* ZTK_TESTS_EMULATOR_H */
