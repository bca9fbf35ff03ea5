#include "viewer_process.h"

#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <utility>

namespace demo {

namespace {

// The number that the viewer finds its end of the socket under.
constexpr int kViewerSocket = 3;

std::string HowItEnded(int nStatus) {
    if (WIFSIGNALED(nStatus)) return fmt::format("was killed by signal {}", WTERMSIG(nStatus));
    return fmt::format("ended with status {}", WEXITSTATUS(nStatus));
}

pid_t Spawn(const std::string& program, const std::string& folder, int nSocket) {
    std::array<std::string, 5> words{program, "--socket", std::to_string(kViewerSocket), "--folder", folder};
    std::array<char*, 6> arguments{};
    for (std::size_t i = 0; i < words.size(); ++i)
        arguments[i] = words[i].data();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, nSocket, kViewerSocket);
    pid_t nProcess = -1;
    const int nError = posix_spawn(&nProcess, program.c_str(), &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (nError != 0) throw std::runtime_error(fmt::format("{}: {}", program, std::strerror(nError)));
    return nProcess;
}

}  // namespace

ViewerProcess::ViewerProcess(const std::string& program, const std::string& folder) {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw std::runtime_error(fmt::format("socketpair: {}", std::strerror(errno)));
    }
    nSocket_ = ends[0];
    try {
        nProcess_ = Spawn(program, folder, ends[1]);
    } catch (...) {
        close(ends[0]);
        close(ends[1]);
        throw;
    }
    close(ends[1]);  // the viewer's end is the viewer's alone: its death must be seen here
}

ViewerProcess::~ViewerProcess() {
    if (nProcess_ > 0) {
        const FrameMessage end;
        send(nSocket_, &end, sizeof(end), MSG_NOSIGNAL);
        waitpid(nProcess_, nullptr, 0);
    }
    close(nSocket_);
}

std::runtime_error ViewerProcess::Gone() {
    int nStatus = 0;
    waitpid(std::exchange(nProcess_, -1), &nStatus, 0);
    return std::runtime_error(fmt::format("the viewer is gone: it {}", HowItEnded(nStatus)));
}

void ViewerProcess::Show(const FrameMessage& frame) {
    if (!Send(nSocket_, frame)) throw Gone();
}

AnswerMessage ViewerProcess::WaitForAnswer() {
    AnswerMessage answer;
    if (!Receive(nSocket_, answer)) throw Gone();
    return answer;
}

void ViewerProcess::End() {
    Show(FrameMessage{});
    int nStatus = 0;
    waitpid(std::exchange(nProcess_, -1), &nStatus, 0);
    if (nStatus != 0) throw std::runtime_error(fmt::format("the viewer {}", HowItEnded(nStatus)));
}

}  // namespace demo
