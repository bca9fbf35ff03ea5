// Threads, locks, conditions, and the ends that the library may come to.
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "torture/faults/interposer.h"
#include "torture/faults/reclaimers.h"
#include "torture/faults/run.h"

using ztk::torture::Call;

namespace {

using Routine = void*(void*);
ztk::torture::Real<int(pthread_t*, const pthread_attr_t*, Routine*, void*)> g_create("pthread_create");
ztk::torture::Real<int(pthread_t, void**)> g_join("pthread_join");
ztk::torture::Real<int(int, const sigset_t*, sigset_t*)> g_sigmask("pthread_sigmask");
ztk::torture::Real<int(pthread_attr_t*)> g_attrInit("pthread_attr_init");
ztk::torture::Real<int(pthread_attr_t*, int)> g_attrSetDetach("pthread_attr_setdetachstate");
ztk::torture::Real<int(pthread_attr_t*)> g_attrDestroy("pthread_attr_destroy");
ztk::torture::Real<int(pthread_mutex_t*, const pthread_mutexattr_t*)> g_mutexInit("pthread_mutex_init");
ztk::torture::Real<int(pthread_mutex_t*)> g_mutexLock("pthread_mutex_lock");
ztk::torture::Real<int(pthread_mutex_t*)> g_mutexUnlock("pthread_mutex_unlock");
ztk::torture::Real<int(pthread_mutex_t*)> g_mutexDestroy("pthread_mutex_destroy");
ztk::torture::Real<int(pthread_cond_t*, const pthread_condattr_t*)> g_condInit("pthread_cond_init");
ztk::torture::Real<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)> g_condTimedwait(
    "pthread_cond_timedwait");
ztk::torture::Real<int(pthread_cond_t*)> g_condBroadcast("pthread_cond_broadcast");
ztk::torture::Real<int(pthread_cond_t*)> g_condDestroy("pthread_cond_destroy");
ztk::torture::Real<int(pthread_rwlock_t*, const pthread_rwlockattr_t*)> g_rwInit("pthread_rwlock_init");
ztk::torture::Real<int(pthread_rwlock_t*)> g_rwTrywrlock("pthread_rwlock_trywrlock");
ztk::torture::Real<int(pthread_rwlock_t*)> g_rwWrlock("pthread_rwlock_wrlock");
ztk::torture::Real<int(pthread_rwlock_t*)> g_rwRdlock("pthread_rwlock_rdlock");
ztk::torture::Real<int(pthread_rwlock_t*)> g_rwUnlock("pthread_rwlock_unlock");
ztk::torture::Real<int(pthread_rwlock_t*)> g_rwDestroy("pthread_rwlock_destroy");
using ForkHandler = void();
ztk::torture::Real<int(ForkHandler*, ForkHandler*, ForkHandler*, void*)> g_registerAtfork(
    "__register_atfork");

[[gnu::constructor(ztk::torture::kFindEarly)]] void FindRealThreadCalls() {
    g_create.Find();
    g_join.Find();
    g_sigmask.Find();
    g_attrInit.Find();
    g_attrSetDetach.Find();
    g_attrDestroy.Find();
    g_mutexInit.Find();
    g_mutexLock.Find();
    g_mutexUnlock.Find();
    g_mutexDestroy.Find();
    g_condInit.Find();
    g_condTimedwait.Find();
    g_condBroadcast.Find();
    g_condDestroy.Find();
    g_rwInit.Find();
    g_rwTrywrlock.Find();
    g_rwWrlock.Find();
    g_rwRdlock.Find();
    g_rwUnlock.Find();
    g_rwDestroy.Find();
    g_registerAtfork.Find();
}

/// What a thread of the library is started with; its place in the array is its role.
struct Start {
    Routine* pRoutine;
    void* pArgument;
};
Start g_starts[ztk::torture::kRoles];

void* RunLibrarysThread(void* pStart) {
    const auto* pMine = static_cast<Start*>(pStart);
    const ztk::torture::LibrarysThread thread(static_cast<int>(pMine - g_starts));
    const ztk::torture::Inside inside;
    return pMine->pRoutine(pMine->pArgument);
}

}  // namespace

ZTK_IN_PLACE_OF_LIBC int pthread_create(pthread_t* pThread, const pthread_attr_t* pAttributes,
                                        Routine* pRoutine, void* pArgument) noexcept {
    if (!ztk::torture::IsLibrarysCall(__builtin_return_address(0))) {
        return g_create(pThread, pAttributes, pRoutine, pArgument);
    }
    const int nRole = ztk::torture::NextRole();
    if (const auto* pKind = ztk::torture::CountCall(Call::kThreadCreate)) return pKind->nErrno;
    g_starts[nRole] = {pRoutine, pArgument};
    return ztk::torture::StartLibrarysThread([&] {
        const ztk::torture::OwnCode ours;  // what the C library does for it is one call, made or not
        return g_create(pThread, pAttributes, RunLibrarysThread, &g_starts[nRole]);
    });
}

// The thread is awaited all the same: it would run on in code that is no longer there.
ZTK_IN_PLACE_OF_LIBC int pthread_join(pthread_t thread, void** ppResult) {
    const auto* pKind = ZTK_DUE(Call::kThreadJoin);
    const int nResult = g_join(thread, ppResult);
    return pKind != nullptr ? pKind->nErrno : nResult;
}

ZTK_IN_PLACE_OF_LIBC int pthread_sigmask(int nHow, const sigset_t* pSet, sigset_t* pBefore) noexcept {
    if (const auto* pKind = ZTK_DUE(Call::kSigmask)) return pKind->nErrno;
    return g_sigmask(nHow, pSet, pBefore);
}

ZTK_IN_PLACE_OF_LIBC int pthread_attr_init(pthread_attr_t* pAttributes) noexcept {
    if (const auto* pKind = ZTK_DUE(Call::kAttrInit)) return pKind->nErrno;
    return g_attrInit(pAttributes);
}
ZTK_IN_PLACE_OF_LIBC int pthread_attr_setdetachstate(pthread_attr_t* pAttributes, int nState) noexcept {
    if (const auto* pKind = ZTK_DUE(Call::kAttrSetDetach)) return pKind->nErrno;
    return g_attrSetDetach(pAttributes, nState);
}
ZTK_IN_PLACE_OF_LIBC int pthread_attr_destroy(pthread_attr_t* pAttributes) noexcept {
    if (const auto* pKind = ZTK_DUE(Call::kAttrDestroy)) return pKind->nErrno;
    return g_attrDestroy(pAttributes);
}

ZTK_IN_PLACE_OF_LIBC int pthread_mutex_init(pthread_mutex_t* pMutex,
                                            const pthread_mutexattr_t* pAttributes) noexcept {
    if (const auto* pKind = ZTK_DUE(Call::kMutexInit)) return pKind->nErrno;
    return g_mutexInit(pMutex, pAttributes);
}
ZTK_IN_PLACE_OF_LIBC int pthread_mutex_lock(pthread_mutex_t* pMutex) noexcept {
    if (const auto* pKind = ZTK_DUE(Call::kMutexLock)) return pKind->nErrno;
    return g_mutexLock(pMutex);
}
ZTK_IN_PLACE_OF_LIBC int pthread_mutex_unlock(pthread_mutex_t* pMutex) noexcept {
    if (const auto* pKind = ZTK_DUE(Call::kMutexUnlock)) return pKind->nErrno;
    return g_mutexUnlock(pMutex);
}
ZTK_IN_PLACE_OF_LIBC int pthread_mutex_destroy(pthread_mutex_t* pMutex) noexcept {
    if (const auto* pKind = ZTK_DUE(Call::kMutexDestroy)) return pKind->nErrno;
    return g_mutexDestroy(pMutex);
}

ZTK_IN_PLACE_OF_LIBC int pthread_cond_init(pthread_cond_t* pCond,
                                           const pthread_condattr_t* pAttributes) noexcept {
    if (const auto* pKind = ZTK_DUE(Call::kCondInit)) return pKind->nErrno;
    return g_condInit(pCond, pAttributes);
}

// A failing wait waits, too, or a thread that tries again at once would leave no other a turn.
ZTK_IN_PLACE_OF_LIBC int pthread_cond_timedwait(pthread_cond_t* pCond, pthread_mutex_t* pMutex,
                                                const timespec* pDeadline) {
    if (!ztk::torture::IsLibrarysCall(__builtin_return_address(0)))
        return g_condTimedwait(pCond, pMutex, pDeadline);
    const auto* pKind = ztk::torture::CountCall(Call::kCondTimedwait);
    const ztk::torture::OwnCode ours;
    const bool bTimeIsUp = ztk::torture::WaitToBeWoken(pCond, pMutex);
    if (pKind != nullptr) return pKind->nErrno;
    return bTimeIsUp ? ETIMEDOUT : 0;
}
ZTK_IN_PLACE_OF_LIBC int pthread_cond_broadcast(pthread_cond_t* pCond) noexcept {
    if (const auto* pKind = ZTK_DUE(Call::kCondBroadcast)) return pKind->nErrno;
    return g_condBroadcast(pCond);
}
ZTK_IN_PLACE_OF_LIBC int pthread_cond_destroy(pthread_cond_t* pCond) noexcept {
    if (const auto* pKind = ZTK_DUE(Call::kCondDestroy)) return pKind->nErrno;
    return g_condDestroy(pCond);
}

ZTK_IN_PLACE_OF_LIBC int pthread_rwlock_init(pthread_rwlock_t* pLock,
                                             const pthread_rwlockattr_t* pAttributes) noexcept {
    if (const auto* pKind = ZTK_DUE(Call::kRwInit)) return pKind->nErrno;
    return g_rwInit(pLock, pAttributes);
}
ZTK_IN_PLACE_OF_LIBC int pthread_rwlock_trywrlock(pthread_rwlock_t* pLock) noexcept {
    if (const auto* pKind = ZTK_DUE(Call::kRwTrywrlock)) return pKind->nErrno;
    return g_rwTrywrlock(pLock);
}
ZTK_IN_PLACE_OF_LIBC int pthread_rwlock_wrlock(pthread_rwlock_t* pLock) noexcept {
    if (const auto* pKind = ZTK_DUE(Call::kRwWrlock)) return pKind->nErrno;
    return g_rwWrlock(pLock);
}
ZTK_IN_PLACE_OF_LIBC int pthread_rwlock_rdlock(pthread_rwlock_t* pLock) noexcept {
    if (const auto* pKind = ZTK_DUE(Call::kRwRdlock)) return pKind->nErrno;
    return g_rwRdlock(pLock);
}
// Unlocks all the same: nobody looks at the result, and the lock is this thread's to unlock.
ZTK_IN_PLACE_OF_LIBC int pthread_rwlock_unlock(pthread_rwlock_t* pLock) noexcept {
    const auto* pKind = ZTK_DUE(Call::kRwUnlock);
    const int nResult = g_rwUnlock(pLock);
    return pKind != nullptr ? pKind->nErrno : nResult;
}
ZTK_IN_PLACE_OF_LIBC int pthread_rwlock_destroy(pthread_rwlock_t* pLock) noexcept {
    if (const auto* pKind = ZTK_DUE(Call::kRwDestroy)) return pKind->nErrno;
    return g_rwDestroy(pLock);
}

// What pthread_atfork() is, in the C library.
ZTK_IN_PLACE_OF_LIBC int __register_atfork(ForkHandler* pPrepare, ForkHandler* pParent, ForkHandler* pChild,
                                           void* pObject) noexcept {
    const bool bLibrarys =
        ztk::torture::IsLibrarysCall(__builtin_return_address(0)) || ztk::torture::IsCallAtEndOfLoad();
    const auto* pKind = bLibrarys ? ztk::torture::CountCall(Call::kRegisterAtfork) : nullptr;
    if (pKind != nullptr) return pKind->nErrno;
    return g_registerAtfork(pPrepare, pParent, pChild, pObject);
}

// ---- ends ------------------------------------------------------------------------------------------

extern "C" [[noreturn]] __attribute__((visibility("default"))) void __assert_fail(
    const char* szAssertion, const char* szFile, unsigned nLine, const char* szFunction) noexcept {
    char szEnd[512];
    static_cast<void>(std::snprintf(szEnd, sizeof(szEnd), "%s:%u: %s: Assertion `%s' failed", szFile, nLine,
                                    szFunction, szAssertion));
    ztk::torture::EndRun(szEnd);
}

// Only the pool's lock waits like this: for ever.
ZTK_IN_PLACE_OF_LIBC int pause() {
    if (ztk::torture::IsLibrarysOwnCode(__builtin_return_address(0)))
        ztk::torture::EndRun("waits for itself for ever");
    return -1;
}
