// A pool's reader-writer lock.
//
// Thinner than std::shared_mutex in two respects that the pools need: destroying it is a step of its own
// with a result, and a forked child can start it afresh. It has no destructor: a thread that is late at
// process exit may still take the lock of a pool that is gone, and must find it working.
#pragma once

#include <pthread.h>
#include <unistd.h>

#include "platform/thread_annotations.h"

namespace ztk {

class ZTK_CAPABILITY("pool lock") RwLock {
  public:
    RwLock() { pthread_rwlock_init(&lock_, nullptr); }
    RwLock(const RwLock&) = delete;
    RwLock& operator=(const RwLock&) = delete;

    void LockForWriting() ZTK_ACQUIRE() {
        if (pthread_rwlock_trywrlock(&lock_) != 0) AwaitWriting();
    }
    void LockForReading() ZTK_ACQUIRE_SHARED() { Require(pthread_rwlock_rdlock(&lock_)); }
    /// Returns false, having done nothing, if this thread holds the lock for writing already.
    bool LockForWritingUnlessMine() ZTK_NO_LOCK_ANALYSIS { return pthread_rwlock_wrlock(&lock_) == 0; }
    void Unlock() ZTK_RELEASE_GENERIC() { pthread_rwlock_unlock(&lock_); }

    /// Ends the lock's use by its pool. Returns 0 or an error number. glibc keeps nothing outside the lock
    /// and leaves it as it is, so latecomers still get through.
    int Destroy() { return pthread_rwlock_destroy(&lock_); }

    /// For a forked child: the threads that held or awaited the lock do not exist here, so their traces in
    /// it would block the child for ever, as they would if the lock could not be started afresh.
    void RestartInChild() {
        constexpr pthread_rwlock_t kFree = PTHREAD_RWLOCK_INITIALIZER;
        if (pthread_rwlock_init(&lock_, nullptr) != 0) lock_ = kFree;
    }

  private:
    /// Looks a few times whether the lock is free again before the kernel is asked to wait for it. Looks
    /// about a microsecond apart, of 8 in all, won or drew in every mix measured (two to eight threads, bare
    /// pairs and pairs with work between: 1 to 3 times as fast); looks without a pause between lost in half
    /// of them.
    void AwaitWriting();

    /// The one refusal is EDEADLK: this thread holds the lock, having come back through a log callback. It
    /// waits for itself, as callers are told; going on would end with the lock released under the outer call.
    static void Require(int nResult) {
        if (nResult == 0) return;
        for (;;)
            pause();
    }

    pthread_rwlock_t lock_ = PTHREAD_RWLOCK_INITIALIZER;
};

class ZTK_SCOPED_CAPABILITY WriteGuard {
  public:
    explicit WriteGuard(RwLock& lock) ZTK_ACQUIRE(lock) : lock_(lock) { lock_.LockForWriting(); }
    ~WriteGuard() ZTK_RELEASE() { lock_.Unlock(); }
    WriteGuard(const WriteGuard&) = delete;
    WriteGuard& operator=(const WriteGuard&) = delete;

  private:
    RwLock& lock_;
};

class ZTK_SCOPED_CAPABILITY ReadGuard {
  public:
    explicit ReadGuard(RwLock& lock) ZTK_ACQUIRE_SHARED(lock) : lock_(lock) { lock_.LockForReading(); }
    ~ReadGuard() ZTK_RELEASE_GENERIC() { lock_.Unlock(); }
    ReadGuard(const ReadGuard&) = delete;
    ReadGuard& operator=(const ReadGuard&) = delete;

  private:
    RwLock& lock_;
};

}  // namespace ztk
