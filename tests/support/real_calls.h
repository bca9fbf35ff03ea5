// The functions behind the wrapped names, and locks made of them: what the tests' own machinery uses, so
// that it neither counts nor fails as the product's calls do.
#pragma once

#include <pthread.h>

#include <mutex>

extern "C" {
int __real_pthread_mutex_lock(pthread_mutex_t* pMutex);
int __real_pthread_mutex_unlock(pthread_mutex_t* pMutex);
int __real_pthread_cond_wait(pthread_cond_t* pCond, pthread_mutex_t* pMutex);
int __real_pthread_cond_broadcast(pthread_cond_t* pCond);
}

namespace ztk::test {

/// A mutex for std::lock_guard and std::unique_lock; needs no constructor and no destructor to run.
class RealMutex {
  public:
    constexpr RealMutex() = default;
    RealMutex(const RealMutex&) = delete;
    RealMutex& operator=(const RealMutex&) = delete;

    void lock() { __real_pthread_mutex_lock(&mutex_); }
    void unlock() { __real_pthread_mutex_unlock(&mutex_); }

  private:
    friend class RealCondition;
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

class RealCondition {
  public:
    constexpr RealCondition() = default;
    RealCondition(const RealCondition&) = delete;
    RealCondition& operator=(const RealCondition&) = delete;

    template <class Predicate>
    void Wait(std::unique_lock<RealMutex>& lock, const Predicate& isMet) {
        while (!isMet())
            __real_pthread_cond_wait(&cond_, &lock.mutex()->mutex_);
    }
    void NotifyAll() { __real_pthread_cond_broadcast(&cond_); }

  private:
    pthread_cond_t cond_ = PTHREAD_COND_INITIALIZER;
};

}  // namespace ztk::test
