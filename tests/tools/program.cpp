#include "tools/program.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

namespace ztkmem::test {
namespace {

/// What a child wrote into it.
class Capture {
  public:
    Capture() : hFile_(memfd_create("capture", MFD_CLOEXEC)) {
        if (hFile_ < 0) throw std::runtime_error("memfd_create");
    }
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;
    ~Capture() { close(hFile_); }

    int File() const { return hFile_; }

    std::string Text() const {
        std::string text;
        std::array<char, 4096> part{};
        ssize_t nRead = 0;
        while ((nRead = pread(hFile_, part.data(), part.size(), static_cast<off_t>(text.size()))) > 0)
            text.append(part.data(), static_cast<std::size_t>(nRead));
        return text;
    }

  private:
    int hFile_;
};

/// Fails where there is no other user to become; then this one is none too mighty either.
void BecomeNobody() {
    constexpr unsigned kNobody = 65534;
    if (setgroups(0, nullptr) == 0 && setresgid(kNobody, kNobody, kNobody) == 0)
        static_cast<void>(!setresuid(kNobody, kNobody, kNobody));
}

[[noreturn]] void Become(std::vector<char*>& arguments, const Capture& out, const Capture& err, As enAs) {
    // opened while it may still be: the folders above need not be open to everybody
    const int hProgram = open(arguments[0], O_RDONLY | O_CLOEXEC);
    const int hNothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    dup2(hNothing, STDIN_FILENO);
    dup2(out.File(), STDOUT_FILENO);
    dup2(err.File(), STDERR_FILENO);
    if (enAs == As::kGuest) BecomeNobody();
    if (hProgram >= 0) fexecve(hProgram, arguments.data(), environ);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

}  // namespace

Outcome RunProgram(const std::vector<std::string>& command, As enAs) {
    std::vector<std::string> words = command;
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const Capture out;
    const Capture err;
    const pid_t nChild = fork();
    if (nChild < 0) throw std::runtime_error("fork");
    if (nChild == 0) Become(arguments, out, err, enAs);
    int nStatus = 0;
    if (waitpid(nChild, &nStatus, 0) != nChild) throw std::runtime_error("waitpid");
    return {WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 128 + WTERMSIG(nStatus), out.Text(), err.Text()};
}

Outcome ZtkMem(std::vector<std::string> arguments, As enAs) {
    arguments.insert(arguments.begin(), ZTKMEM);
    return RunProgram(arguments, enAs);
}

}  // namespace ztkmem::test
