// Other processes: forked children and programs, and how they ended.
//
// A process that hangs is ended by SIGALRM after a minute or more: that is no measurement, it only keeps a
// hang from blocking the whole run.
#pragma once

#include <sys/types.h>

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace ztk::test {

/// Not under ThreadSanitizer: it ends a forked child that starts a thread while its parent had several ("dup
/// thread with used id"), and a child's first call into a pool starts one. A child made past the C library's
/// fork() it takes for the parent, with all its threads.
#if defined(__SANITIZE_THREAD__)
constexpr bool kChildrenMayDoAnything = false;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
constexpr bool kChildrenMayDoAnything = false;
#else
constexpr bool kChildrenMayDoAnything = true;
#endif
#else
constexpr bool kChildrenMayDoAnything = true;
#endif

struct Ending {
    int nExitCode;  ///< -1 if a signal ended it
    int nSignal;    ///< 0 if it exited
};

bool operator==(const Ending& a, const Ending& b);
std::ostream& operator<<(std::ostream& out, const Ending& ending);

inline Ending Exited(int nCode) {
    return {nCode, 0};
}
inline Ending Killed(int nSignal) {
    return {-1, nSignal};
}

/// Forks. The child runs @p body and ends with _exit() and its result, unless the body ends it otherwise.
pid_t StartChild(const std::function<int()>& body);

/// Starts a program by its path; it has this process's environment.
pid_t StartProgram(const std::vector<std::string>& arguments);

/// Becomes another program, as execv() does; returns only if that fails.
void Become(const std::vector<std::string>& arguments);

Ending AwaitEnd(pid_t nProcess);

inline Ending RunChild(const std::function<int()>& body) {
    return AwaitEnd(StartChild(body));
}
inline Ending RunProgram(const std::vector<std::string>& arguments) {
    return AwaitEnd(StartProgram(arguments));
}

/// Opened by one process, awaited by another; to be made before the fork.
class Latch {
  public:
    Latch();
    ~Latch();
    Latch(const Latch&) = delete;
    Latch& operator=(const Latch&) = delete;

    void Open() const;
    void Await() const;

  private:
    int ends_[2];
};

}  // namespace ztk::test

#define SKIP_IF_CHILDREN_ARE_LIMITED()      \
    if (!ztk::test::kChildrenMayDoAnything) \
    GTEST_SKIP() << "NOT TESTED HERE: ThreadSanitizer does not support such a forked child"
