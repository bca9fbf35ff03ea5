// main() of the unit tests: a private /dev/shm, and every test starts with nothing recorded or planned.
#include <gmock/gmock.h>

#include <cstdio>

#include "fakes/fake_log.h"
#include "fakes/fake_rockit.h"
#include "support/private_shm.h"
#include "support/system_calls.h"

namespace {

using ztk::test::Bookkeeping;
using ztk::test::FakeLog;
using ztk::test::FakeRockit;
using ztk::test::SystemCalls;

bool g_bPrivateShm = false;

constexpr int kAllSkipped = 77;  ///< as ctest knows it

// Before the constructors of the objects under test: the pools sweep /dev/shm and start threads in theirs.
constexpr int kBeforeAllOthers = 101;
[[gnu::constructor(kBeforeAllOthers)]] void EnterOwnShm() {
    g_bPrivateShm = ztk::test::EnterPrivateShm();
}

class FreshStart : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo& /*test*/) override {
        SystemCalls::Reset();
        FakeLog::OnLine(nullptr);
        FakeLog::SetLevel(0);
        FakeLog::Clear();
        FakeRockit::Reset();
    }

    void OnTestEnd(const testing::TestInfo& /*test*/) override {
        Bookkeeping::FailNew(-1);
        SystemCalls::Reset();
    }
};

}  // namespace

int main(int nCount, char** ppArguments) {
    testing::InitGoogleMock(&nCount, ppArguments);
    if (!g_bPrivateShm && !GTEST_FLAG_GET(list_tests)) {
        std::puts("[  SKIPPED ] all tests of this program: they need a /dev/shm of their own (see above)");
        return kAllSkipped;
    }
    testing::UnitTest::GetInstance()->listeners().Append(new FreshStart);
    return RUN_ALL_TESTS();
}
