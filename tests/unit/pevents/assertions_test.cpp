// A failing mutex or condition call ends the process, in every build, with a message whose line and
// signature do not depend on the compiler.
#include <errno.h>
#include <signal.h>

#include <string>

#include "support/system_calls.h"
#include "unit/pevents/event_fixture.h"

namespace neosmart {
namespace {

using testing::KilledBySignal;
using ztk::test::kAutoReset;
using ztk::test::kManualReset;
using ztk::test::kSet;
using ztk::test::kUnset;
using ztk::test::OwnedEvent;
using ztk::test::SystemCalls;

using Action = void (*)(neosmart_event_t);

struct AssertionCase {
    const char* szBehaviour;
    const char* szCall;
    int nError;
    bool bManualReset;
    Action action;
    const char* szMessage;
};

/// As a regular expression that matches just this text.
std::string Literally(const std::string& text) {
    std::string expression;
    for (const char c : text) {
        if (std::string("()*.[]+?{}|^$\\").find(c) != std::string::npos) expression += '\\';
        expression += c;
    }
    return expression;
}

class Assertion : public testing::TestWithParam<AssertionCase> {};

TEST_P(Assertion, EndsTheProcessWithItsMessage) {
    const AssertionCase& param = GetParam();
    const OwnedEvent event(param.bManualReset, kUnset);
    const auto act = [&param, &event] {
        SystemCalls::Fail(param.szCall, 1, param.nError);
        param.action(event);
    };
    EXPECT_EXIT(act(), KilledBySignal(SIGABRT), ": " + Literally(param.szMessage));
}

void Create(neosmart_event_t /*event*/) {
    CreateEvent(kManualReset, kUnset);
}
void CreateSet(neosmart_event_t /*event*/) {
    CreateEvent(kManualReset, kSet);
}
void Set(neosmart_event_t event) {
    SetEvent(event);
}
void Reset(neosmart_event_t event) {
    ResetEvent(event);
}
void Test(neosmart_event_t event) {
    WaitForEvent(event, 0);
}
void Wait(neosmart_event_t event) {
    WaitForEvent(event, 1);
}
void Destroy(neosmart_event_t event) {
    DestroyEvent(event);
}

INSTANTIATE_TEST_SUITE_P(
    Create, Assertion,
    testing::Values(
        AssertionCase{"condition", "pthread_cond_init", EAGAIN, kManualReset, Create,
                      "pevents:98: neosmart::neosmart_event_t_* neosmart::CreateEvent(bool, bool): "
                      "Assertion `result == 0' failed."},
        AssertionCase{"mutex", "pthread_mutex_init", ENOMEM, kManualReset, Create,
                      "pevents:101: neosmart::neosmart_event_t_* neosmart::CreateEvent(bool, bool): "
                      "Assertion `result == 0' failed."},
        AssertionCase{"initialSet", "pthread_mutex_lock", EINVAL, kManualReset, CreateSet,
                      "pevents:354: int neosmart::SetEvent(neosmart::neosmart_event_t): "
                      "Assertion `result == 0' failed."}),
    [](const auto& assertion) { return assertion.param.szBehaviour; });

INSTANTIATE_TEST_SUITE_P(
    Wait, Assertion,
    testing::Values(
        AssertionCase{"lock", "pthread_mutex_lock", EINVAL, kManualReset, Wait,
                      "pevents:174: int neosmart::WaitForEvent(neosmart::neosmart_event_t, uint64_t): "
                      "Assertion `tempResult == 0' failed."},
        AssertionCase{"busyIsNoExcuseForABlockingLock", "pthread_mutex_lock", EBUSY, kManualReset, Wait,
                      "pevents:174: int neosmart::WaitForEvent(neosmart::neosmart_event_t, uint64_t): "
                      "Assertion `tempResult == 0' failed."},
        AssertionCase{"tryLockThatIsNotBusy", "pthread_mutex_trylock", EINVAL, kManualReset, Test,
                      "pevents:174: int neosmart::WaitForEvent(neosmart::neosmart_event_t, uint64_t): "
                      "Assertion `tempResult == 0' failed."},
        AssertionCase{"unlock", "pthread_mutex_unlock", EPERM, kManualReset, Test,
                      "pevents:179: int neosmart::WaitForEvent(neosmart::neosmart_event_t, uint64_t): "
                      "Assertion `tempResult == 0' failed."}),
    [](const auto& assertion) { return assertion.param.szBehaviour; });

INSTANTIATE_TEST_SUITE_P(
    Destroy, Assertion,
    testing::Values(AssertionCase{"condition", "pthread_cond_destroy", EBUSY, kManualReset, Destroy,
                                  "pevents:339: int neosmart::DestroyEvent(neosmart::neosmart_event_t): "
                                  "Assertion `result == 0' failed."},
                    AssertionCase{"mutex", "pthread_mutex_destroy", EBUSY, kManualReset, Destroy,
                                  "pevents:342: int neosmart::DestroyEvent(neosmart::neosmart_event_t): "
                                  "Assertion `result == 0' failed."}),
    [](const auto& assertion) { return assertion.param.szBehaviour; });

INSTANTIATE_TEST_SUITE_P(
    Set, Assertion,
    testing::Values(AssertionCase{"lock", "pthread_mutex_lock", EINVAL, kAutoReset, Set,
                                  "pevents:354: int neosmart::SetEvent(neosmart::neosmart_event_t): "
                                  "Assertion `result == 0' failed."},
                    AssertionCase{"unlockOfAutoReset", "pthread_mutex_unlock", EPERM, kAutoReset, Set,
                                  "pevents:412: int neosmart::SetEvent(neosmart::neosmart_event_t): "
                                  "Assertion `result == 0' failed."},
                    AssertionCase{"signal", "pthread_cond_signal", EINVAL, kAutoReset, Set,
                                  "pevents:415: int neosmart::SetEvent(neosmart::neosmart_event_t): "
                                  "Assertion `result == 0' failed."},
                    AssertionCase{"unlockOfManualReset", "pthread_mutex_unlock", EPERM, kManualReset, Set,
                                  "pevents:462: int neosmart::SetEvent(neosmart::neosmart_event_t): "
                                  "Assertion `result == 0' failed."},
                    AssertionCase{"broadcast", "pthread_cond_broadcast", EINVAL, kManualReset, Set,
                                  "pevents:465: int neosmart::SetEvent(neosmart::neosmart_event_t): "
                                  "Assertion `result == 0' failed."}),
    [](const auto& assertion) { return assertion.param.szBehaviour; });

INSTANTIATE_TEST_SUITE_P(
    Reset, Assertion,
    testing::Values(AssertionCase{"lock", "pthread_mutex_lock", EINVAL, kManualReset, Reset,
                                  "pevents:476: int neosmart::ResetEvent(neosmart::neosmart_event_t): "
                                  "Assertion `result == 0' failed."},
                    AssertionCase{"unlock", "pthread_mutex_unlock", EPERM, kManualReset, Reset,
                                  "pevents:481: int neosmart::ResetEvent(neosmart::neosmart_event_t): "
                                  "Assertion `result == 0' failed."}),
    [](const auto& assertion) { return assertion.param.szBehaviour; });

}  // namespace
}  // namespace neosmart
