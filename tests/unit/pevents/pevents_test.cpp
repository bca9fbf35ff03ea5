// Events as one thread sees them.
#include "pevents/pevents.h"

#include <errno.h>

#include <thread>

#include "support/system_calls.h"
#include "unit/pevents/event_fixture.h"

namespace neosmart {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using ztk::test::Bookkeeping;
using ztk::test::kAutoReset;
using ztk::test::kManualReset;
using ztk::test::kSet;
using ztk::test::kTimedOut;
using ztk::test::kUnset;
using ztk::test::OwnedEvent;
using ztk::test::SystemCalls;

// ---- states ----------------------------------------------------------------------------------------

TEST(ManualResetEvent, StaysSetUntilItIsReset) {
    const OwnedEvent event(kManualReset, kUnset);
    EXPECT_EQ(kTimedOut, WaitForEvent(event, 0));
    EXPECT_EQ(0, SetEvent(event));
    EXPECT_EQ(0, WaitForEvent(event, 0));
    EXPECT_EQ(0, WaitForEvent(event, 0));
    EXPECT_EQ(0, ResetEvent(event));
    EXPECT_EQ(kTimedOut, WaitForEvent(event, 0));
}

TEST(AutoResetEvent, IsConsumedByTheWait) {
    const OwnedEvent event(kAutoReset, kUnset);
    EXPECT_EQ(kTimedOut, WaitForEvent(event, 0));
    EXPECT_EQ(0, SetEvent(event));
    EXPECT_EQ(0, WaitForEvent(event, 0));
    EXPECT_EQ(kTimedOut, WaitForEvent(event, 0));
}

TEST(AutoResetEvent, CountsSeveralSetsAsOne) {
    const OwnedEvent event(kAutoReset, kUnset);
    SetEvent(event);
    SetEvent(event);
    EXPECT_EQ(0, WaitForEvent(event, 0));
    EXPECT_EQ(kTimedOut, WaitForEvent(event, 0));
}

TEST(AutoResetEvent, CanBeReset) {
    const OwnedEvent event(kAutoReset, kSet);
    EXPECT_EQ(0, ResetEvent(event));
    EXPECT_EQ(kTimedOut, WaitForEvent(event, 0));
}

class SetFromTheStart : public testing::TestWithParam<std::uint64_t> {};

TEST_P(SetFromTheStart, IsObtainedByTheFirstWaitWithoutBlocking) {
    for (const bool bManualReset : {kManualReset, kAutoReset}) {
        const OwnedEvent event(bManualReset, kSet);
        EXPECT_EQ(0, WaitForEvent(event, GetParam()));
        EXPECT_EQ(bManualReset ? 0 : kTimedOut, WaitForEvent(event, 0));
    }
    EXPECT_EQ(0, SystemCalls::Count("pthread_cond_wait"));
    EXPECT_EQ(0, SystemCalls::Count("pthread_cond_timedwait"));
    EXPECT_EQ(0, SystemCalls::Count("gettimeofday"));
}

INSTANTIATE_TEST_SUITE_P(Limits, SetFromTheStart, testing::Values(0, 1, 15'000, kWaitForever));

TEST(NullEvent, DoesNothingAndReturns0) {
    SystemCalls::Record({"pthread_mutex_lock", "pthread_mutex_trylock", "pthread_cond_destroy"});
    EXPECT_EQ(0, SetEvent(nullptr));
    EXPECT_EQ(0, ResetEvent(nullptr));
    EXPECT_EQ(0, WaitForEvent(nullptr, 0));
    EXPECT_EQ(0, WaitForEvent(nullptr, 15'000));
    EXPECT_EQ(0, WaitForEvent(nullptr, kWaitForever));
    EXPECT_EQ(0, DestroyEvent(nullptr));
    EXPECT_THAT(SystemCalls::Recorded(), IsEmpty());
}

TEST(CreateEvent, GivesNullWhenOutOfMemory) {
    Bookkeeping::FailNew(1);
    neosmart_event_t event = CreateEvent(kManualReset, kSet);
    Bookkeeping::FailNew(-1);
    EXPECT_EQ(nullptr, event);
    EXPECT_EQ(0, SystemCalls::Count("pthread_cond_init"));
}

// ---- calls and their order -------------------------------------------------------------------------

const std::vector<std::string> kCalls = {
    "pthread_cond_init",      "pthread_mutex_init",   "pthread_mutex_lock",     "pthread_mutex_trylock",
    "pthread_mutex_unlock",   "pthread_cond_signal",  "pthread_cond_broadcast", "pthread_cond_wait",
    "pthread_cond_timedwait", "pthread_cond_destroy", "pthread_mutex_destroy"};

TEST(EventCalls, OfTheCreationAreTwo) {
    SystemCalls::Record(kCalls);
    neosmart_event_t event = CreateEvent(kManualReset, kUnset);
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre("pthread_cond_init", "pthread_mutex_init"));
    DestroyEvent(event);
}

TEST(EventCalls, OfASetManualResetEventWakeAllWithTheMutexFree) {
    const OwnedEvent event(kManualReset, kUnset);
    SystemCalls::Record(kCalls);
    SetEvent(event);
    EXPECT_THAT(SystemCalls::Recorded(),
                ElementsAre("pthread_mutex_lock", "pthread_mutex_unlock", "pthread_cond_broadcast"));
}

TEST(EventCalls, OfASetAutoResetEventWakeOneWithTheMutexFree) {
    const OwnedEvent event(kAutoReset, kUnset);
    SystemCalls::Record(kCalls);
    SetEvent(event);
    EXPECT_THAT(SystemCalls::Recorded(),
                ElementsAre("pthread_mutex_lock", "pthread_mutex_unlock", "pthread_cond_signal"));
}

TEST(EventCalls, OfAResetWakeNobody) {
    const OwnedEvent event(kManualReset, kSet);
    SystemCalls::Record(kCalls);
    ResetEvent(event);
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre("pthread_mutex_lock", "pthread_mutex_unlock"));
}

TEST(EventCalls, OfATestDoNotBlock) {
    const OwnedEvent event(kManualReset, kUnset);
    SystemCalls::Record(kCalls);
    WaitForEvent(event, 0);
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre("pthread_mutex_trylock", "pthread_mutex_unlock"));
}

TEST(EventCalls, OfAnAbandonedEventAreNone) {
    neosmart_event_t event = CreateEvent(kManualReset, kSet);
    SystemCalls::Record(kCalls);
    AbandonEvent(event);  // frees it; the leak sanitizer is the judge
    AbandonEvent(nullptr);
    EXPECT_THAT(SystemCalls::Recorded(), IsEmpty());
}

TEST(EventCalls, OfTheEndDestroyTheConditionFirst) {
    neosmart_event_t event = CreateEvent(kManualReset, kUnset);
    SystemCalls::Record(kCalls);
    EXPECT_EQ(0, DestroyEvent(event));
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre("pthread_cond_destroy", "pthread_mutex_destroy"));
}

// ---- a busy mutex ----------------------------------------------------------------------------------

TEST(WaitForEvent, Returns110AtOnceWhileAnotherThreadHoldsTheMutex) {
    const OwnedEvent event(kManualReset, kSet);
    int nResult = -1;
    SystemCalls::Before("pthread_mutex_unlock", 1, [&event, &nResult] {
        std::thread([&event, &nResult] { nResult = WaitForEvent(event, 0); }).join();
    });
    SetEvent(event);  // holds the mutex until the other thread is through
    EXPECT_EQ(kTimedOut, nResult);
    EXPECT_EQ(0, WaitForEvent(event, 0));
}

TEST(WaitForEvent, LeavesAnAutoResetEventSetWhenTheMutexIsBusy) {
    const OwnedEvent event(kAutoReset, kSet);
    SystemCalls::Fail("pthread_mutex_trylock", 1, EBUSY);
    EXPECT_EQ(kTimedOut, WaitForEvent(event, 0));
    EXPECT_EQ(0, WaitForEvent(event, 0));
}

// ---- waits that end with an error ------------------------------------------------------------------

struct FailingWait {
    std::uint64_t nMilliseconds;
    const char* szCall;
};

class WaitError : public testing::TestWithParam<FailingWait> {};

TEST_P(WaitError, IsTheResultAndLeavesTheEventAsItIs) {
    const OwnedEvent event(kAutoReset, kUnset);
    SystemCalls::Fail(GetParam().szCall, 1, EINVAL);
    EXPECT_EQ(EINVAL, WaitForEvent(event, GetParam().nMilliseconds));
    EXPECT_EQ(kTimedOut, WaitForEvent(event, 0));  // the mutex is free again
    SetEvent(event);
    EXPECT_EQ(0, WaitForEvent(event, 0));
}

TEST_P(WaitError, EndsTheWaitAfterWakeUpsWithoutASet) {
    const OwnedEvent event(kManualReset, kUnset);
    SystemCalls::Fail(GetParam().szCall, 1, 0);
    SystemCalls::Fail(GetParam().szCall, 2, 0);
    SystemCalls::Fail(GetParam().szCall, 3, EPERM);
    EXPECT_EQ(EPERM, WaitForEvent(event, GetParam().nMilliseconds));
    EXPECT_EQ(3, SystemCalls::Count(GetParam().szCall));
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutLimit, WaitError,
                         testing::Values(FailingWait{15'000, "pthread_cond_timedwait"},
                                         FailingWait{kWaitForever, "pthread_cond_wait"}));

}  // namespace
}  // namespace neosmart
