// A process dies with a shared block in its hands. The next one that loads the library cleans up after it.
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "ztk_common.h"

namespace {

// The process that will be killed: it makes a block and sends its name to standard output.
int Hold() {
    void* pBlock = nullptr;
    char szName[ZTK_SHARED_NAME_SIZE] = {};
    if (AllocatePoolSharedMemory(4096, &pBlock, szName) != ZTK_SUCCESS) return 1;
    if (write(STDOUT_FILENO, szName, sizeof(szName)) != sizeof(szName)) return 1;
    return pause();
}

// This program once more, its output going to @p nOutput.
pid_t Run(const char* szMode, int nOutput) {
    char* arguments[] = {const_cast<char*>("crash"), const_cast<char*>(szMode), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, nOutput, STDOUT_FILENO);
    pid_t nChild = -1;
    posix_spawn(&nChild, "/proc/self/exe", &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    return nChild;
}

void Tell(const char* szWhen, const char* szName) {
    const std::string path = std::string("/dev/shm/") + szName;
    std::printf("%s: the object is %s\n", szWhen, access(path.c_str(), F_OK) == 0 ? "there" : "gone");
}

}  // namespace

int main(int nArguments, char** ppArguments) {
    if (nArguments == 2) return std::strcmp(ppArguments[1], "hold") == 0 ? Hold() : 0;
    int ends[2];
    char szName[ZTK_SHARED_NAME_SIZE] = {};
    if (pipe2(ends, O_CLOEXEC) != 0) return 1;
    const pid_t nHolder = Run("hold", ends[1]);
    close(ends[1]);
    if (read(ends[0], szName, sizeof(szName)) != sizeof(szName)) return 1;
    kill(nHolder, SIGKILL);
    waitpid(nHolder, nullptr, 0);  // until then it is a zombie, and its id looks alive
    Tell("after the kill", szName);
    waitpid(Run("load", STDOUT_FILENO), nullptr, 0);
    Tell("after the next load", szName);
    return 0;
}
