#include "tests/library/thread_functions.h"

#include <dlfcn.h>
#include <pthread.h>
#include <sys/mman.h>

#include <atomic>
#include <cstdlib>
#include <mutex>

namespace ztk::test {
namespace {

constexpr int kNone = -1;
constexpr int kAll = 0;

std::atomic<int> g_nCreationsToFailure{kNone};
std::atomic<int> g_nError{0};

std::mutex g_lock;
std::vector<std::string> g_calls;
std::vector<void* (*)(void*)> g_routines;

using Routine = void*(void*);
int (*g_pCreate)(pthread_t*, const pthread_attr_t*, Routine*, void*) = nullptr;
int (*g_pJoin)(pthread_t, void**) = nullptr;
int (*g_pUnlink)(const char*) = nullptr;

template <class Function>
void Find(const char* szName, Function*& pFunction) {
    pFunction = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, szName));
    if (pFunction == nullptr) std::abort();
}

// Before any library is loaded: the one under test starts and joins its threads while the loader holds its
// lock, and a look-up on such a thread deadlocks.
constexpr int kBeforeAllOthers = 101;
[[gnu::constructor(kBeforeAllOthers)]] void FindRealFunctions() {
    Find("pthread_create", g_pCreate);
    Find("pthread_join", g_pJoin);
    Find("shm_unlink", g_pUnlink);
}

bool CreationFails() {
    if (g_nCreationsToFailure == kNone) return false;
    if (g_nCreationsToFailure == kAll) return true;
    if (--g_nCreationsToFailure > 0) return false;
    g_nCreationsToFailure = kNone;
    return true;
}

}  // namespace

void FailThreadCreation(int nOccurrence, int nError) {
    g_nError = nError;
    g_nCreationsToFailure = nOccurrence;
}

void LetThreadsBeCreated() {
    g_nCreationsToFailure = kNone;
}

void RecordCalls() {
    const std::lock_guard guard(g_lock);
    g_calls.clear();
    g_routines.clear();
}

std::vector<void* (*)(void*)> ThreadRoutines() {
    const std::lock_guard guard(g_lock);
    return g_routines;
}

void AddCall(const std::string& call) {
    const std::lock_guard guard(g_lock);
    g_calls.push_back(call);
}

std::vector<std::string> RecordedCalls() {
    const std::lock_guard guard(g_lock);
    return g_calls;
}

}  // namespace ztk::test

#define ZTK_IN_PLACE_OF_LIBC extern "C" __attribute__((visibility("default")))

ZTK_IN_PLACE_OF_LIBC int pthread_create(pthread_t* pThread, const pthread_attr_t* pAttributes,
                                        void* (*pRoutine)(void*), void* pArgument) noexcept {
    {
        const std::lock_guard guard(ztk::test::g_lock);
        ztk::test::g_routines.push_back(pRoutine);
    }
    if (ztk::test::CreationFails()) return ztk::test::g_nError;
    return ztk::test::g_pCreate(pThread, pAttributes, pRoutine, pArgument);
}

ZTK_IN_PLACE_OF_LIBC int pthread_join(pthread_t thread, void** ppResult) {
    ztk::test::AddCall("join");
    return ztk::test::g_pJoin(thread, ppResult);
}

ZTK_IN_PLACE_OF_LIBC int shm_unlink(const char* szName) {
    ztk::test::AddCall("shm_unlink");
    return ztk::test::g_pUnlink(szName);
}
