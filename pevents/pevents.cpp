#include "pevents/pevents.h"

#include <errno.h>
#include <pthread.h>
#include <sys/time.h>
#include <time.h>

#include <new>

// The C library's own reporter of failed assertions: declared here because <cassert> hides it in builds
// with NDEBUG, and these checks hold in every build.
extern "C" [[noreturn]] void __assert_fail(const char* szAssertion, const char* szFile, unsigned int nLine,
                                           const char* szFunction) noexcept;

namespace neosmart {

/// The state is read and written with the mutex held.
struct neosmart_event_t_ {
    pthread_cond_t cond;
    pthread_mutex_t mutex;
    bool autoReset;
    bool state;
};

namespace {

// Lines and signatures are data: crash reports are grouped by them, whatever compiler built the library.
constexpr char kCreateEvent[] = "neosmart::neosmart_event_t_* neosmart::CreateEvent(bool, bool)";
constexpr char kWaitForEvent[] = "int neosmart::WaitForEvent(neosmart::neosmart_event_t, uint64_t)";
constexpr char kDestroyEvent[] = "int neosmart::DestroyEvent(neosmart::neosmart_event_t)";
constexpr char kSetEvent[] = "int neosmart::SetEvent(neosmart::neosmart_event_t)";
constexpr char kResetEvent[] = "int neosmart::ResetEvent(neosmart::neosmart_event_t)";

void Require(int result, const char* szAssertion, unsigned int nLine, const char* szFunction) {
    if (result != 0) __assert_fail(szAssertion, "pevents", nLine, szFunction);
}

void MustSucceed(int result, unsigned int nLine, const char* szFunction) {
    Require(result, "result == 0", nLine, szFunction);
}

timespec DeadlineIn(std::uint64_t milliseconds) {
    constexpr std::uint64_t kNanosecondsPerSecond = 1'000'000'000;
    timeval now{};
    gettimeofday(&now, nullptr);
    const std::uint64_t total = static_cast<std::uint64_t>(now.tv_usec) * 1000 +
                                static_cast<std::uint64_t>(now.tv_sec) * kNanosecondsPerSecond +
                                milliseconds * 1'000'000;
    timespec deadline{};
    deadline.tv_sec = static_cast<time_t>(total / kNanosecondsPerSecond);
    deadline.tv_nsec = static_cast<long>(total % kNanosecondsPerSecond);
    return deadline;
}

/// Waits with the event's mutex held until the state is true (0) or a wait reports an error.
int AwaitState(neosmart_event_t event, std::uint64_t milliseconds) {
    if (event->state) return 0;
    if (milliseconds == 0) return ETIMEDOUT;
    const bool hasLimit = milliseconds != kWaitForever;
    const timespec deadline = hasLimit ? DeadlineIn(milliseconds) : timespec{};
    do {
        const int result = hasLimit ? pthread_cond_timedwait(&event->cond, &event->mutex, &deadline)
                                    : pthread_cond_wait(&event->cond, &event->mutex);
        if (result != 0) return result;
    } while (!event->state);
    return 0;
}

}  // namespace

neosmart_event_t CreateEvent(bool manualReset, bool initialState) {
    auto* event = new (std::nothrow) neosmart_event_t_();
    if (event == nullptr) return nullptr;
    MustSucceed(pthread_cond_init(&event->cond, nullptr), 98, kCreateEvent);
    MustSucceed(pthread_mutex_init(&event->mutex, nullptr), 101, kCreateEvent);
    event->autoReset = !manualReset;
    event->state = false;
    if (initialState) MustSucceed(SetEvent(event), 108, kCreateEvent);
    return event;
}

int SetEvent(neosmart_event_t event) {
    if (event == nullptr) return 0;
    MustSucceed(pthread_mutex_lock(&event->mutex), 354, kSetEvent);
    event->state = true;
    if (event->autoReset) {
        MustSucceed(pthread_mutex_unlock(&event->mutex), 412, kSetEvent);
        MustSucceed(pthread_cond_signal(&event->cond), 415, kSetEvent);
    } else {
        MustSucceed(pthread_mutex_unlock(&event->mutex), 462, kSetEvent);
        MustSucceed(pthread_cond_broadcast(&event->cond), 465, kSetEvent);
    }
    return 0;
}

int ResetEvent(neosmart_event_t event) {
    if (event == nullptr) return 0;
    MustSucceed(pthread_mutex_lock(&event->mutex), 476, kResetEvent);
    event->state = false;
    MustSucceed(pthread_mutex_unlock(&event->mutex), 481, kResetEvent);
    return 0;
}

int WaitForEvent(neosmart_event_t event, std::uint64_t milliseconds) {
    if (event == nullptr) return 0;
    int tempResult =
        milliseconds == 0 ? pthread_mutex_trylock(&event->mutex) : pthread_mutex_lock(&event->mutex);
    if (milliseconds == 0 && tempResult == EBUSY) return ETIMEDOUT;
    Require(tempResult, "tempResult == 0", 174, kWaitForEvent);
    const int result = AwaitState(event, milliseconds);
    if (result == 0 && event->autoReset) event->state = false;
    tempResult = pthread_mutex_unlock(&event->mutex);
    Require(tempResult, "tempResult == 0", 179, kWaitForEvent);
    return result;
}

int DestroyEvent(neosmart_event_t event) {
    if (event == nullptr) return 0;
    MustSucceed(pthread_cond_destroy(&event->cond), 339, kDestroyEvent);
    MustSucceed(pthread_mutex_destroy(&event->mutex), 342, kDestroyEvent);
    delete event;
    return 0;
}

void AbandonEvent(neosmart_event_t event) {
    delete event;
}

}  // namespace neosmart
