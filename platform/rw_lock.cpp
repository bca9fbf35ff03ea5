#include "platform/rw_lock.h"

namespace ztk {
namespace {

constexpr int kLooks = 8;
constexpr int kRestsBetweenLooks = 64;  // about a microsecond

/// A moment in which the processor does little.
void Rest() {
#if defined(__aarch64__)
    asm volatile("isb" ::: "memory");  // most cores take "yield" for nothing at all
#elif defined(__x86_64__)
    asm volatile("pause" ::: "memory");
#endif
}

}  // namespace

void RwLock::AwaitWriting() {
    for (int nLook = 0; nLook < kLooks; ++nLook) {
        for (int nRest = 0; nRest < kRestsBetweenLooks; ++nRest)
            Rest();
        if (pthread_rwlock_trywrlock(&lock_) == 0) return;
    }
    Require(pthread_rwlock_wrlock(&lock_));
}

}  // namespace ztk
