// How a wrapped call is counted, recorded and judged; for the files of this folder that define wrappers.
#pragma once

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace ztk::test {

/// Every name here is also in the list of --wrap options in tests/unit/CMakeLists.txt.
inline constexpr std::array kWrappedNames = {
    std::string_view("malloc"),
    std::string_view("free"),
    std::string_view("mmap"),
    std::string_view("munmap"),
    std::string_view("shm_open"),
    std::string_view("shm_unlink"),
    std::string_view("ftruncate"),
    std::string_view("fallocate"),
    std::string_view("close"),
    std::string_view("opendir"),
    std::string_view("readdir"),
    std::string_view("closedir"),
    std::string_view("lstat"),
    std::string_view("kill"),
    std::string_view("getpid"),
    std::string_view("usleep"),
    std::string_view("pause"),
    std::string_view("strtol"),
    std::string_view("dlopen"),
    std::string_view("dlsym"),
    std::string_view("clock_gettime"),
    std::string_view("gettimeofday"),
    std::string_view("pthread_create"),
    std::string_view("pthread_join"),
    std::string_view("pthread_sigmask"),
    std::string_view("pthread_attr_init"),
    std::string_view("pthread_mutex_init"),
    std::string_view("pthread_mutex_lock"),
    std::string_view("pthread_mutex_trylock"),
    std::string_view("pthread_mutex_unlock"),
    std::string_view("pthread_mutex_destroy"),
    std::string_view("pthread_cond_init"),
    std::string_view("pthread_cond_wait"),
    std::string_view("pthread_cond_timedwait"),
    std::string_view("pthread_cond_signal"),
    std::string_view("pthread_cond_broadcast"),
    std::string_view("pthread_cond_destroy"),
    std::string_view("pthread_rwlock_init"),
    std::string_view("pthread_rwlock_destroy"),
    std::string_view("pthread_rwlock_trywrlock"),
    std::string_view("pthread_rwlock_wrlock"),
};

constexpr std::size_t IndexOf(std::string_view name) {
    for (std::size_t i = 0; i < kWrappedNames.size(); ++i) {
        if (kWrappedNames[i] == name) return i;
    }
    throw std::invalid_argument("not a wrapped call");
}

/// Relaxed atomics on the common path: a lock here would order the product's threads and hide their races
/// from the thread sanitizer.
struct CallState {
    std::atomic<int> nCount{0};
    std::atomic<bool> bWatched{false};  ///< recorded, or with plans
};
extern std::array<CallState, kWrappedNames.size()> g_callStates;

/// Records the call and carries out what is planned for it. Returns the error it is to fail with, if any.
std::optional<int> Judge(std::size_t nCall, const std::string& arguments);

/// SystemCalls::FailMmapWithMarker() was called.
bool MmapFailsWithMarker();

/// Allocations made while one exists are the tests' own: neither counted nor made to fail.
class OwnAllocations {
  public:
    OwnAllocations();
    ~OwnAllocations();
    OwnAllocations(const OwnAllocations&) = delete;
    OwnAllocations& operator=(const OwnAllocations&) = delete;
};

/// Counts the call; Judge() if it is watched. The product's errno stays as it is.
template <std::size_t nCall, class... Arguments>
std::optional<int> PlannedFailure(const Arguments&... arguments) {
    g_callStates[nCall].nCount.fetch_add(1, std::memory_order_relaxed);
    if (!g_callStates[nCall].bWatched.load(std::memory_order_relaxed)) return std::nullopt;
    const int nErrno = errno;
    std::optional<int> failure;
    {
        const OwnAllocations ours;
        std::ostringstream text;
        static_cast<void>((text << ... << arguments));
        failure = Judge(nCall, text.str());
    }
    errno = nErrno;
    return failure;
}

/// For calls that report by -1 and errno.
inline int FailWith(int nErrno) {
    errno = nErrno;
    return -1;
}

/// For calls that report by null and errno.
inline std::nullptr_t NullWith(int nErrno) {
    errno = nErrno;
    return nullptr;
}

}  // namespace ztk::test
