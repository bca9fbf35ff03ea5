// addr2line, if it is there: not through a shell, since recordings come from anywhere.
#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

#include "record/call_sites.h"

namespace ztkmem::record {
namespace {

constexpr std::size_t kMostAtOnce = 500;

/// What the program writes; empty if it is not there.
std::string OutputOf(std::vector<std::string> words) {
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) return {};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    pid_t nChild = -1;
    const bool bRuns = posix_spawnp(&nChild, arguments[0], &actions, nullptr, arguments.data(), environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    std::string text;
    std::array<char, 4096> part{};
    ssize_t nRead = 0;
    while (bRuns && (nRead = read(ends[0], part.data(), part.size())) > 0)
        text.append(part.data(), static_cast<std::size_t>(nRead));
    close(ends[0]);
    if (bRuns) waitpid(nChild, nullptr, 0);
    return text;
}

bool IsFile(const std::string& path) {
    struct stat facts {};
    return stat(path.c_str(), &facts) == 0 && S_ISREG(facts.st_mode);
}

/// Two lines an address.
void Split(const std::string& text, std::vector<std::string>& answers) {
    for (std::size_t nAt = 0; nAt < text.size();) {
        const std::size_t nFirst = text.find('\n', nAt);
        const std::size_t nSecond = nFirst == std::string::npos ? nFirst : text.find('\n', nFirst + 1);
        if (nSecond == std::string::npos) return;
        answers.push_back(text.substr(nAt, nSecond - nAt));
        nAt = nSecond + 1;
    }
}

}  // namespace

std::vector<std::string> AskAddr2Line(const std::string& module,
                                      const std::vector<std::uint64_t>& addresses) {
    std::vector<std::string> answers;
    if (!IsFile(module)) return answers;
    for (std::size_t nAt = 0; nAt < addresses.size(); nAt += kMostAtOnce) {
        std::vector<std::string> words{"addr2line", "-f", "-C", "-e", module};
        for (std::size_t i = nAt; i < addresses.size() && i < nAt + kMostAtOnce; ++i)
            words.push_back(fmt::format("{:#x}", addresses[i]));
        Split(OutputOf(words), answers);
        if (answers.size() < std::min(addresses.size(), nAt + kMostAtOnce)) break;
    }
    return answers;
}

}  // namespace ztkmem::record
