#include "tests/standins/child_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "tests/standins/scratch_directory.h"

namespace ztk_test {
namespace {

constexpr unsigned kHangLimitSeconds = 40;

int EndOf(pid_t nChild) {
    int nStatus = 0;
    while (waitpid(nChild, &nStatus, 0) < 0) {
        if (errno != EINTR) throw std::runtime_error(std::string("waitpid: ") + std::strerror(errno));
    }
    return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -WTERMSIG(nStatus);
}

std::vector<char*> Pointers(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (const std::string& text : texts) {
        pointers.push_back(
            const_cast<char*>(text.c_str()));  // what posix_spawn() asks for; it does not write
    }
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> EnvironmentWith(const std::vector<std::string>& settings) {
    std::vector<std::string> environment = settings;
    for (char** ppEntry = environ; *ppEntry != nullptr; ++ppEntry) {
        if (std::strncmp(*ppEntry, "ZTK_", 4) != 0) environment.emplace_back(*ppEntry);
    }
    return environment;
}

}  // namespace

ProgramEnd RunProgram(const std::vector<std::string>& command, const std::vector<std::string>& settings) {
    const ScratchDirectory scratch;
    const std::string szOut = scratch.File("out");
    const std::string szErr = scratch.File("err");
    const std::vector<std::string> environment = EnvironmentWith(settings);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    constexpr int kAppend = O_WRONLY | O_CREAT | O_APPEND;
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, szOut.c_str(), kAppend, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, szErr.c_str(), kAppend, 0600);
    pid_t nChild = -1;
    const int nError = posix_spawn(&nChild, command.front().c_str(), &actions, nullptr,
                                   Pointers(command).data(), Pointers(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    if (nError != 0) throw std::runtime_error(command.front() + ": " + std::strerror(nError));
    ProgramEnd end;
    end.nExit = EndOf(nChild);
    end.szOut = ContentOf(szOut);
    end.szErr = ContentOf(szErr);
    return end;
}

int RunForked(const std::function<int()>& body) {
    const pid_t nChild = fork();
    if (nChild < 0) throw std::runtime_error(std::string("fork: ") + std::strerror(errno));
    if (nChild == 0) {
        alarm(kHangLimitSeconds);
        _exit(body());
    }
    return EndOf(nChild);
}

}  // namespace ztk_test
