#include "log/log_input.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

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

}  // namespace

void ReadLog(const std::string& file, const std::function<void(std::string_view)>& take) {
    const Input input(file);
    const auto start = std::chrono::steady_clock::now();
    Progress progress(isatty(STDERR_FILENO) != 0, input.Size());
    std::vector<char> buffer(kBufferSize);
    std::uint64_t nTotal = 0;
    while (const std::size_t nRead = input.Read(buffer)) {
        take({buffer.data(), nRead});
        nTotal += nRead;
        const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
        if (const auto text = progress.At(passed.count(), nTotal)) fmt::print(stderr, "{}", *text);
    }
    fmt::print(stderr, "{}", progress.End());
}

}  // namespace ztkmem::log
