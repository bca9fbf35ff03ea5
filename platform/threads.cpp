#include "platform/threads.h"

#include <pthread.h>
#include <unistd.h>

namespace ztk {

int CreateThreadEx(std::uint64_t* pThread, ThreadRoutine startRoutine, void* arg) {
    pthread_attr_t attributes;
    int nResult = pthread_attr_init(&attributes);
    if (nResult != 0) return nResult;
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_JOINABLE);
    pthread_t thread{};
    nResult = pthread_create(&thread, &attributes, startRoutine, arg);
    pthread_attr_destroy(&attributes);
    if (nResult == 0) *pThread = thread;
    return nResult;
}

int JoinThread(std::uint64_t thread, void** pResult) {
    return thread == 0 ? 0 : pthread_join(static_cast<pthread_t>(thread), pResult);
}

std::uint64_t GetCurrentThreadIdEx() {
    return pthread_self();
}

void SleepMs(std::uint32_t nMilliseconds) {
    usleep(nMilliseconds * 1000U);
}

}  // namespace ztk
