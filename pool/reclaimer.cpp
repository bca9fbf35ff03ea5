#include "pool/reclaimer.h"

#include <signal.h>

#include "common/log.h"

namespace ztk {
namespace {

/// Blocks all signals of this thread for its life: a thread started meanwhile inherits that for good, and so
/// never takes a signal that the program's own threads wait for.
class SignalsBlocked {
  public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        bBlocked_ = pthread_sigmask(SIG_SETMASK, &all, &before_) == 0;
    }
    ~SignalsBlocked() {
        if (bBlocked_) pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

  private:
    sigset_t before_{};
    bool bBlocked_ = false;
};

int CreateThreadWithoutSignals(std::uint64_t* pThread, ThreadRoutine routine, void* arg) {
    const SignalsBlocked blocked;
    return CreateThreadEx(pThread, routine, arg);
}

}  // namespace

bool Reclaimer::Start(ThreadRoutine routine, void* pPool) {
    hExitEvent_ = neosmart::CreateEvent(true, false);
    if (hExitEvent_ == nullptr) {
        ZTK_LOG_WriteLog(kLogError, TAGGED_LINE("Init", lines_.nEventFailed, "Create exit event failed"));
        return false;
    }
    const int nResult = CreateThreadWithoutSignals(&hThread_, routine, pPool);
    if (nResult != 0) {
        ZTK_LOG_WriteLog(
            kLogError,
            TAGGED_LINE("Init", lines_.nThreadFailed, "Create free memory thread failed, return code: %d"),
            nResult);
        return false;
    }
    return true;
}

void Reclaimer::Run(const std::function<void()>& checkLimit, const std::function<void()>& dump) const {
    FourthTick isLimitDue;
    FourthTick isDumpDue;
    while (neosmart::WaitForEvent(hExitEvent_, kWakeUpPeriodMs) != 0) {
        if (isLimitDue()) checkLimit();
        if (ZTK_LOG_GetLogLevel() <= kLogInfo && isDumpDue()) dump();
    }
}

void Reclaimer::Stop() {
    neosmart::SetEvent(hExitEvent_);
    const int nResult = JoinThread(hThread_, nullptr);
    if (nResult != 0) {
        ZTK_LOG_WriteLog(
            kLogError,
            TAGGED_LINE("UnInit", lines_.nJoinFailed, "Wait for thread to exit failed, return code: %d"),
            nResult);
    }
    hThread_ = 0;
    neosmart::DestroyEvent(hExitEvent_);
    hExitEvent_ = nullptr;
    neosmart::AbandonEvent(hParentsEvent_);
    hParentsEvent_ = nullptr;
}

void Reclaimer::ForgetInChild() {
    hThread_ = 0;
    if (hExitEvent_ == nullptr) return;
    hParentsEvent_ = hExitEvent_;
    hExitEvent_ = nullptr;
}

}  // namespace ztk
