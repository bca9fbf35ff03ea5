#include "torture/processes/inside_calls.h"

#include <sched.h>
#include <sys/mman.h>

#include <atomic>

#include "torture/processes/real_functions.h"

namespace ztk::torture {
namespace {

std::atomic<int> g_nInside{0};
std::atomic<bool> g_bAwaited{false};

int (*g_pShmOpen)(const char*, int, mode_t) = nullptr;
int (*g_pShmUnlink)(const char*) = nullptr;

[[gnu::constructor(kBeforeAllOthers)]] void FindRealFunctions() {
    FindReal("shm_open", g_pShmOpen);
    FindReal("shm_unlink", g_pShmUnlink);
}

class Inside {
  public:
    Inside() {
        ++g_nInside;
        while (g_bAwaited)
            sched_yield();
    }
    ~Inside() { --g_nInside; }
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;
};

}  // namespace

void AwaitThreadInside() {
    g_bAwaited = true;
    while (g_nInside == 0)
        sched_yield();
    g_bAwaited = false;
}

}  // namespace ztk::torture

ZTK_IN_PLACE_OF_LIBC int shm_open(const char* szName, int nFlags, mode_t nMode) {
    const ztk::torture::Inside inside;
    return ztk::torture::g_pShmOpen(szName, nFlags, nMode);
}

ZTK_IN_PLACE_OF_LIBC int shm_unlink(const char* szName) {
    const ztk::torture::Inside inside;
    return ztk::torture::g_pShmUnlink(szName);
}
