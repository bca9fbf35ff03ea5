#include "common/singletons.h"

#include <pthread.h>

namespace ztk {
namespace {

// Constructed at load in this order, destroyed in reverse. The shared pool comes first: its sweep must run
// before this process can have made a segment of its own.
SharedMemoryPool g_sharedMemoryPool;
LocalMemoryPool g_localMemoryPool;
PoolSettings g_poolSettings;

// The two pools never call each other, so any fixed order of their locks will do. While a fork waits for one
// pool, calls into the other wait as well.
void PrepareFork() {
    g_sharedMemoryPool.PrepareFork();
    g_localMemoryPool.PrepareFork();
}

void ResumeParent() {
    g_localMemoryPool.ResumeParent();
    g_sharedMemoryPool.ResumeParent();
}

void ResumeChild() {
    g_localMemoryPool.ResumeChild();
    g_sharedMemoryPool.ResumeChild();
}

// The C library drops these handlers when it unloads the library.
[[maybe_unused]] const int g_forkHandlers = pthread_atfork(PrepareFork, ResumeParent, ResumeChild);

}  // namespace

SharedMemoryPool* GetSharedMemoryPool() {
    return &g_sharedMemoryPool;
}
LocalMemoryPool* GetLocalMemoryPool() {
    return &g_localMemoryPool;
}
PoolSettings* GetPoolSettings() {
    return &g_poolSettings;
}

}  // namespace ztk
