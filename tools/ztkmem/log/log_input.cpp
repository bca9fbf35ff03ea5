#include "log/log_input.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "log/progress.h"
#include "text.h"

namespace ztkmem::log {
namespace {

constexpr std::size_t kBufferSize = 256UL * 1024;

[[noreturn]] void Fail(const std::string& file, int nError) {
    throw std::runtime_error(
        fmt::format("{}: {}", file == "-" ? "standard input" : Escape(file), std::strerror(nError)));
}

class Input {
  public:
    explicit Input(const std::string& file)
        : file_(file),
          nFd_(file == "-" ? STDIN_FILENO : open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY)) {
        if (nFd_ < 0) Fail(file_, errno);
    }
    ~Input() {
        if (nFd_ != STDIN_FILENO) close(nFd_);
    }
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    /// 0 at the end.
    std::size_t Read(std::vector<char>& buffer) const {
        for (;;) {
            const ssize_t nRead = read(nFd_, buffer.data(), buffer.size());
            if (nRead >= 0) return static_cast<std::size_t>(nRead);
            if (errno != EINTR) Fail(file_, errno);
        }
    }

    std::uint64_t Size() const {
        struct stat facts {};
        return fstat(nFd_, &facts) == 0 && S_ISREG(facts.st_mode) ? static_cast<std::uint64_t>(facts.st_size)
                                                                  : 0;
    }

  private:
    const std::string& file_;
    const int nFd_;
};

/// On a terminal, the text that shows the progress stays in its line as long as this lives. Whatever ends it,
/// a signal included, leaves a clean line behind.
class ProgressLine {
  public:
    explicit ProgressLine(std::uint64_t nTotal)
        : bTerminal_(isatty(STDERR_FILENO) != 0), progress_(bTerminal_, nTotal) {}
    ~ProgressLine() {
        std::fputs(progress_.End().c_str(), stderr);
        for (std::size_t i = 0; i < nCaught_; ++i)
            sigaction(kEnding[i], &before_[i], nullptr);
    }
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    void Tell(std::uint64_t nRead) {
        const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start_;
        const auto text = progress_.At(passed.count(), nRead);
        if (!text) return;
        if (bTerminal_ && nCaught_ == 0) CatchSignals();
        fmt::print(stderr, "{}", *text);
    }

  private:
    static constexpr std::array<int, 4> kEnding{SIGINT, SIGTERM, SIGHUP, SIGQUIT};

    /// The signal's own action is back by then, and takes place on return.
    static void EndLine(int nSignal) {
        static_cast<void>(!write(STDERR_FILENO, "\n", 1));
        raise(nSignal);
    }

    void CatchSignals() {
        struct sigaction action {};
        action.sa_handler = EndLine;
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        for (; nCaught_ < kEnding.size(); ++nCaught_) {
            sigaction(kEnding[nCaught_], &action, &before_[nCaught_]);
            if (before_[nCaught_].sa_handler == SIG_IGN)
                sigaction(kEnding[nCaught_], &before_[nCaught_], nullptr);
        }
    }

    const bool bTerminal_;
    Progress progress_;
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::array<struct sigaction, 4> before_{};
    std::size_t nCaught_ = 0;
};

}  // namespace

void ReadLog(const std::string& file, const std::function<void(std::string_view)>& take) {
    const Input input(file);
    ProgressLine progress(input.Size());
    std::vector<char> buffer(kBufferSize);
    std::uint64_t nTotal = 0;
    while (const std::size_t nRead = input.Read(buffer)) {
        take({buffer.data(), nRead});
        nTotal += nRead;
        progress.Tell(nTotal);
    }
}

}  // namespace ztkmem::log
