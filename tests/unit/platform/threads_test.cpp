#include "platform/threads.h"

#include <errno.h>
#include <gmock/gmock.h>

#include "fakes/fake_log.h"
#include "support/system_calls.h"

namespace ztk {
namespace {

using test::FakeLog;
using test::SystemCalls;
using testing::ElementsAre;
using testing::IsEmpty;

void* AnswerArgument(void* arg) {
    return arg;
}

void* StoreOwnId(void* pId) {
    *static_cast<std::uint64_t*>(pId) = GetCurrentThreadIdEx();
    return nullptr;
}

TEST(Threads, RunTheRoutineWithItsArgumentUntilJoined) {
    std::uint64_t thread = 0;
    int nArgument = 0;
    void* pResult = nullptr;
    ASSERT_EQ(0, CreateThreadEx(&thread, AnswerArgument, &nArgument));
    EXPECT_NE(0U, thread);
    EXPECT_EQ(0, JoinThread(thread, &pResult));
    EXPECT_EQ(&nArgument, pResult);
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());
}

TEST(Threads, AreJoinedWithoutAskingForTheResult) {
    std::uint64_t thread = 0;
    ASSERT_EQ(0, CreateThreadEx(&thread, AnswerArgument, nullptr));
    EXPECT_EQ(0, JoinThread(thread, nullptr));
}

TEST(Threads, KnowTheirHandleAsTheirIdentifier) {
    std::uint64_t thread = 0;
    std::uint64_t nId = 0;
    ASSERT_EQ(0, CreateThreadEx(&thread, StoreOwnId, &nId));
    ASSERT_EQ(0, JoinThread(thread, nullptr));
    EXPECT_EQ(thread, nId);
    EXPECT_NE(GetCurrentThreadIdEx(), nId);
}

TEST(Threads, ThatCannotBeStartedLeaveTheHandleAlone) {
    std::uint64_t thread = 17;
    SystemCalls::Fail("pthread_create", 1, EAGAIN);
    EXPECT_EQ(EAGAIN, CreateThreadEx(&thread, AnswerArgument, nullptr));
    EXPECT_EQ(17U, thread);
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());
}

TEST(Threads, WithoutTheirAttributesAreNotStarted) {
    std::uint64_t thread = 17;
    SystemCalls::Fail("pthread_attr_init", 1, ENOMEM);
    EXPECT_EQ(ENOMEM, CreateThreadEx(&thread, AnswerArgument, nullptr));
    EXPECT_EQ(17U, thread);
    EXPECT_EQ(0, SystemCalls::Count("pthread_create"));
}

TEST(JoinThread, OfNoThreadReturnsAtOnce) {
    int nUntouched = 0;
    void* pResult = &nUntouched;
    EXPECT_EQ(0, JoinThread(0, &pResult));
    EXPECT_EQ(0, JoinThread(0, nullptr));
    EXPECT_EQ(&nUntouched, pResult);
    EXPECT_EQ(0, SystemCalls::Count("pthread_join"));
}

TEST(JoinThread, PassesTheResultOfTheJoinOn) {
    std::uint64_t thread = 0;
    ASSERT_EQ(0, CreateThreadEx(&thread, AnswerArgument, nullptr));
    SystemCalls::Fail("pthread_join", 1, EDEADLK);
    EXPECT_EQ(EDEADLK, JoinThread(thread, nullptr));
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());
    EXPECT_EQ(0, JoinThread(thread, nullptr));
}

struct Nap {
    std::uint32_t nMilliseconds;
    const char* szCall;
};

class SleepMsOf : public testing::TestWithParam<Nap> {};

TEST_P(SleepMsOf, SleepsForMicrosecondsFormedIn32Bits) {
    SystemCalls::Record({"usleep"});
    SystemCalls::Fail("usleep", 1, EINTR);  // without the sleep
    SleepMs(GetParam().nMilliseconds);
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre(GetParam().szCall));
}

INSTANTIATE_TEST_SUITE_P(Milliseconds, SleepMsOf,
                         testing::Values(Nap{0, "usleep 0"}, Nap{1, "usleep 1000"},
                                         Nap{15'000, "usleep 15000000"}, Nap{4'294'967, "usleep 4294967000"},
                                         Nap{4'294'968, "usleep 704"}, Nap{UINT32_MAX, "usleep 4294966296"}));

}  // namespace
}  // namespace ztk
