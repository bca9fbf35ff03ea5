// The wrappers of thread and lock calls that do not wait for time (those are in virtual_time.cpp).
#include <pthread.h>
#include <signal.h>

#include "support/interception.h"

using ztk::test::IndexOf;
using ztk::test::PlannedFailure;

extern "C" {

int __real_pthread_create(pthread_t* pThread, const pthread_attr_t* pAttributes, void* (*routine)(void*),
                          void* arg);
int __wrap_pthread_create(pthread_t* pThread, const pthread_attr_t* pAttributes, void* (*routine)(void*),
                          void* arg) {
    if (const auto nError = PlannedFailure<IndexOf("pthread_create")>()) return *nError;
    return __real_pthread_create(pThread, pAttributes, routine, arg);
}

int __real_pthread_join(pthread_t thread, void** pResult);
int __wrap_pthread_join(pthread_t thread, void** pResult) {
    if (const auto nError = PlannedFailure<IndexOf("pthread_join")>()) return *nError;
    return __real_pthread_join(thread, pResult);
}

int __real_pthread_sigmask(int nHow, const sigset_t* pSet, sigset_t* pBefore);
int __wrap_pthread_sigmask(int nHow, const sigset_t* pSet, sigset_t* pBefore) {
    if (const auto nError = PlannedFailure<IndexOf("pthread_sigmask")>()) return *nError;
    return __real_pthread_sigmask(nHow, pSet, pBefore);
}

int __real_pthread_attr_init(pthread_attr_t* pAttributes);
int __wrap_pthread_attr_init(pthread_attr_t* pAttributes) {
    if (const auto nError = PlannedFailure<IndexOf("pthread_attr_init")>()) return *nError;
    return __real_pthread_attr_init(pAttributes);
}

int __real_pthread_mutex_init(pthread_mutex_t* pMutex, const pthread_mutexattr_t* pAttributes);
int __wrap_pthread_mutex_init(pthread_mutex_t* pMutex, const pthread_mutexattr_t* pAttributes) {
    if (const auto nError = PlannedFailure<IndexOf("pthread_mutex_init")>()) return *nError;
    return __real_pthread_mutex_init(pMutex, pAttributes);
}

int __real_pthread_mutex_lock(pthread_mutex_t* pMutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t* pMutex) {
    if (const auto nError = PlannedFailure<IndexOf("pthread_mutex_lock")>()) return *nError;
    return __real_pthread_mutex_lock(pMutex);
}

int __real_pthread_mutex_trylock(pthread_mutex_t* pMutex);
int __wrap_pthread_mutex_trylock(pthread_mutex_t* pMutex) {
    if (const auto nError = PlannedFailure<IndexOf("pthread_mutex_trylock")>()) return *nError;
    return __real_pthread_mutex_trylock(pMutex);
}

int __real_pthread_mutex_unlock(pthread_mutex_t* pMutex);
int __wrap_pthread_mutex_unlock(pthread_mutex_t* pMutex) {
    if (const auto nError = PlannedFailure<IndexOf("pthread_mutex_unlock")>()) return *nError;
    return __real_pthread_mutex_unlock(pMutex);
}

int __real_pthread_mutex_destroy(pthread_mutex_t* pMutex);
int __wrap_pthread_mutex_destroy(pthread_mutex_t* pMutex) {
    if (const auto nError = PlannedFailure<IndexOf("pthread_mutex_destroy")>()) return *nError;
    return __real_pthread_mutex_destroy(pMutex);
}

int __real_pthread_cond_init(pthread_cond_t* pCond, const pthread_condattr_t* pAttributes);
int __wrap_pthread_cond_init(pthread_cond_t* pCond, const pthread_condattr_t* pAttributes) {
    if (const auto nError = PlannedFailure<IndexOf("pthread_cond_init")>()) return *nError;
    return __real_pthread_cond_init(pCond, pAttributes);
}

int __real_pthread_cond_signal(pthread_cond_t* pCond);
int __wrap_pthread_cond_signal(pthread_cond_t* pCond) {
    if (const auto nError = PlannedFailure<IndexOf("pthread_cond_signal")>()) return *nError;
    return __real_pthread_cond_signal(pCond);
}

int __real_pthread_cond_broadcast(pthread_cond_t* pCond);
int __wrap_pthread_cond_broadcast(pthread_cond_t* pCond) {
    if (const auto nError = PlannedFailure<IndexOf("pthread_cond_broadcast")>()) return *nError;
    return __real_pthread_cond_broadcast(pCond);
}

int __real_pthread_cond_destroy(pthread_cond_t* pCond);
int __wrap_pthread_cond_destroy(pthread_cond_t* pCond) {
    if (const auto nError = PlannedFailure<IndexOf("pthread_cond_destroy")>()) return *nError;
    return __real_pthread_cond_destroy(pCond);
}

int __real_pthread_rwlock_init(pthread_rwlock_t* pLock, const pthread_rwlockattr_t* pAttributes);
int __wrap_pthread_rwlock_init(pthread_rwlock_t* pLock, const pthread_rwlockattr_t* pAttributes) {
    if (const auto nError = PlannedFailure<IndexOf("pthread_rwlock_init")>()) return *nError;
    return __real_pthread_rwlock_init(pLock, pAttributes);
}

int __real_pthread_rwlock_destroy(pthread_rwlock_t* pLock);
int __wrap_pthread_rwlock_destroy(pthread_rwlock_t* pLock) {
    if (const auto nError = PlannedFailure<IndexOf("pthread_rwlock_destroy")>()) return *nError;
    return __real_pthread_rwlock_destroy(pLock);
}

int __real_pthread_rwlock_trywrlock(pthread_rwlock_t* pLock);
int __wrap_pthread_rwlock_trywrlock(pthread_rwlock_t* pLock) {
    if (const auto nError = PlannedFailure<IndexOf("pthread_rwlock_trywrlock")>()) return *nError;
    return __real_pthread_rwlock_trywrlock(pLock);
}

int __real_pthread_rwlock_wrlock(pthread_rwlock_t* pLock);
int __wrap_pthread_rwlock_wrlock(pthread_rwlock_t* pLock) {
    if (const auto nError = PlannedFailure<IndexOf("pthread_rwlock_wrlock")>()) return *nError;
    return __real_pthread_rwlock_wrlock(pLock);
}

}  // extern "C"
