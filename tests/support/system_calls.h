// The system calls of the product's objects, counted, recorded and made to fail.
//
// Every call that the product makes by one of the names below goes through here (the linker's --wrap), in
// every build variant: malloc free mmap munmap shm_open shm_unlink ftruncate fallocate close opendir readdir
// closedir lstat kill getpid usleep pause strtol dlopen dlsym clock_gettime gettimeofday pthread_create
// pthread_join pthread_sigmask pthread_attr_init pthread_mutex_{init,lock,trylock,unlock,destroy}
// pthread_cond_{init,wait,timedwait,signal,broadcast,destroy} pthread_rwlock_{init,destroy,trywrlock,wrlock}.
//
// The calls of the test's own code go through here, too (std::mutex locks by pthread_mutex_lock); calls
// inside the shared libstdc++ and libc do not (std::thread, std::filesystem). Another name is refused by an
// exception.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace ztk::test {

class SystemCalls {
  public:
    static void Reset();  ///< no failures, no recording, nothing recorded or counted

    /// The @p nOccurrence-th call of @p name from now on (1: the next; 0: every one) is not made but fails
    /// with
    /// @p nErrno: result -1, null for calls that return pointers (mmap: null, not MAP_FAILED), the error
    /// number itself for pthread_*; readdir with errno 0 is the end of the directory. closedir is made all
    /// the same: nobody else could close the stream. Several plans for one name add up.
    static void Fail(const std::string& name, int nOccurrence, int nErrno);

    /// Failures of mmap give MAP_FAILED, as the kernel's do, instead of null.
    static void FailMmapWithMarker();

    /// Runs before the @p nOccurrence-th call of @p name is made (for a second process or thread that acts in
    /// the middle).
    static void Before(const std::string& name, int nOccurrence, std::function<void()> action);

    /// Starts to record the calls named; others only count.
    static void Record(const std::vector<std::string>& names);
    /// "shm_open ZTKTool-1-ab 66 600", "ftruncate 4096", "munmap 128", "shm_unlink x", "close": the call's
    /// name and the arguments that tests compare (no addresses, no descriptors). Further: "malloc 100",
    /// "mmap 128 3 1" (length, protection, flags), "fallocate 0 0 4096" (mode, offset, length), "opendir x",
    /// "lstat x/y", "kill 12 0", "usleep 0", "strtol 12 10", "dlopen x 2", "dlsym y",
    /// "pthread_cond_timedwait 17 500" (the deadline's seconds and nanoseconds).
    static std::vector<std::string> Recorded();
    static int Count(const std::string& name);

    /// Closes the directory streams that the product opened and left open. Returns how many.
    static std::size_t CloseLeftStreams();
};

/// Allocations by operator new (the bookkeeping of the product) made to fail.
class Bookkeeping {
  public:
    /// The @p nOccurrence-th operator new of this thread from now on (0: every one) throws std::bad_alloc (or
    /// gives null where it is the nothrow form); -1: none.
    static void FailNew(int nOccurrence);
    /// Allocations by operator new of this thread since FailNew() was last called.
    static int Count();
};

}  // namespace ztk::test
