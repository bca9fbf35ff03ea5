// A pool across a fork: the child keeps what it has copies of and leaves the rest to the parent.
#include <sys/wait.h>

#include <atomic>
#include <cstring>
#include <functional>

#include "pool_fixture.h"
#include "support/thread_sanitizer.h"

// The child starts a thread of its own, which the thread sanitizer must be told to bear.
extern "C" [[gnu::visibility("default")]] const char* __tsan_default_options() {
    return "die_after_fork=0";
}

// _Fork() goes past the thread sanitizer: it takes the child for a process with the parent's threads.
extern "C" [[gnu::visibility("default")]] const char* __tsan_default_suppressions() {
    return "race:neosmart::AbandonEvent";
}

namespace ztk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

template <class Kind>
class PoolForkTest : public PoolTest<Kind> {
  protected:
    PoolForkTest()
        : idle_(this->AllocateIdle(4096)), busy_(this->Allocate(12288)), aligned_(this->Allocate(4096, 64)) {
        this->Release(aligned_);
        ClearLog();
    }

    /// Forks as fork() does with the pool's handlers, runs @p inChild in the child and ends it; what failed
    /// there fails the test here.
    template <class InChild>
    void Fork(const InChild& inChild) ZTK_NO_LOCK_ANALYSIS {
        this->ThePool().PrepareFork();
        const pid_t nChild = fork();
        if (nChild == 0) {
            this->ThePool().ResumeChild();
            inChild();
            _exit(::testing::Test::HasFailure() ? 1 : 0);
        }
        this->ThePool().ResumeParent();
        int nStatus = -1;
        ASSERT_EQ(waitpid(nChild, &nStatus, 0), nChild);
        EXPECT_EQ(nStatus, 0) << "the child failed, see its messages";
    }

    /// The lines of the log that are not about the child's new reclaimer.
    Lines TakeLogOfCalls() {
        return Of({"AllocateMemory", "ReleaseMemory", "FreeUnbusyMemory", "Init", "UnInit"}, TakeLog());
    }

    void ExpectParentUnharmed() {
        EXPECT_EQ(this->ThePool().RedundantSize(), 4096U + 4096);
        EXPECT_EQ(this->Allocate(4096), idle_);
        EXPECT_EQ(this->Allocate(4096, 64), aligned_);
        this->Release(busy_);
        EXPECT_EQ(Kind::TimesGivenBack(), nGivenBackBefore_);
    }

    const Given idle_;
    const Given busy_;
    const Given aligned_;
    const int nGivenBackBefore_ = Kind::TimesGivenBack();
};

TYPED_TEST_SUITE(PoolForkTest, AllKinds, KindNames);

TYPED_TEST(PoolForkTest, TheParentGoesOnAsBefore) {
    this->Fork([] {});
    EXPECT_THAT(TakeLog(), IsEmpty());
    this->ExpectParentUnharmed();
    this->time_.Advance(std::chrono::minutes(1));
    EXPECT_EQ(Of({"DoFreeUnbusyMemoryWork"}, Log()).size(), 1U);
}

TYPED_TEST(PoolForkTest, TheChildKeepsHeapBlocksAndDisownsAllOthers) {
    ZTK_NEEDS_THREADS_IN_A_CHILD();
    this->Fork([this] {
        auto& pool = this->ThePool();
        const bool bKept = TypeParam::kSurvivesFork;
        EXPECT_EQ(TypeParam::Release(pool, this->busy_.nAddress), bKept ? ZTK_SUCCESS : ERR_INVALID_PARAM);
        EXPECT_EQ(this->TakeLogOfCalls(), bKept ? Lines{} : Lines{TypeParam::UnknownAddress()});
        EXPECT_EQ(pool.RedundantSize(), bKept ? 4096U + 4096 + 12288 : 0U);
        EXPECT_EQ(this->Allocate(4096).nAddress == this->idle_.nAddress, bKept);
        EXPECT_EQ(this->Allocate(4096, 64).nAddress == this->aligned_.nAddress, bKept);
        EXPECT_EQ(pool.RedundantSize(), bKept ? 12288U : 0U);
    });
    this->ExpectParentUnharmed();
}

TYPED_TEST(PoolForkTest, AnAllocationMayBeTheChildsFirstCallToo) {
    ZTK_NEEDS_THREADS_IN_A_CHILD();
    this->Fork([this] {
        EXPECT_EQ(this->Allocate(4096).nAddress == this->idle_.nAddress, TypeParam::kSurvivesFork);
        EXPECT_EQ(TypeParam::Release(this->ThePool(), this->aligned_.nAddress),
                  TypeParam::kSurvivesFork ? ZTK_SUCCESS : ERR_INVALID_PARAM);
    });
    this->ExpectParentUnharmed();
}

TYPED_TEST(PoolForkTest, TheChildCanUseThePool) {
    ZTK_NEEDS_THREADS_IN_A_CHILD();
    this->Fork([this] {
        const Given given = this->Allocate(20'000);
        std::memset(reinterpret_cast<void*>(given.nAddress), 1, 20'000);
        EXPECT_EQ(this->TakeLogOfCalls(), Lines{TypeParam::Allocated(given.nAddress, 20'000)});
        this->Release(given);
        EXPECT_EQ(this->Allocate(20'000), given);
        FreeUnbusy(this->ThePool(), 0);
        this->pool_.reset();
    });
    this->ExpectParentUnharmed();
}

TYPED_TEST(PoolForkTest, TheChildsFirstCallStartsAReclaimerOfItsOwn) {
    ZTK_NEEDS_THREADS_IN_A_CHILD();
    this->Fork([this] {
        const int nStarted = SystemCalls::Count("pthread_create");
        EXPECT_EQ(TypeParam::Release(this->ThePool(), 0), ERR_INVALID_PARAM);
        EXPECT_EQ(SystemCalls::Count("pthread_create"), nStarted);
        this->Allocate(20'000);
        EXPECT_EQ(SystemCalls::Count("pthread_create"), nStarted + 1);
        this->Allocate(20'000);
        EXPECT_EQ(SystemCalls::Count("pthread_create"), nStarted + 1);
        this->time_.AwaitSleepers(2);  // the parent's, which is only a memory here, and the new one
        EXPECT_EQ(Of({TypeParam::kThreadFunction}, Log()).size(), 1U);
        this->ThePool().UnInit();
        EXPECT_EQ(SystemCalls::Count("pthread_join"), 1);
    });
}

TYPED_TEST(PoolForkTest, AReleaseStartsTheChildsReclaimerToo) {
    ZTK_NEEDS_THREADS_IN_A_CHILD();
    this->Fork([this] {
        const int nStarted = SystemCalls::Count("pthread_create");
        TypeParam::Release(this->ThePool(), this->busy_.nAddress);
        EXPECT_EQ(SystemCalls::Count("pthread_create"), nStarted + 1);
    });
}

TYPED_TEST(PoolForkTest, AChildWhoseReclaimerCannotBeStartedWorksWithout) {
    this->Fork([this] {
        SystemCalls::Fail("pthread_create", 1, EAGAIN);
        ClearLog();
        const Given given = this->Allocate(20'000);
        EXPECT_EQ(TakeLog(), (Lines{Tagged(4, "Init", TypeParam::kThreadFailedLine,
                                           "Create free memory thread failed, return code: 11"),
                                    TypeParam::Allocated(given.nAddress, 20'000)}));
        this->Release(given);
        this->pool_.reset();
    });
}

TYPED_TEST(PoolForkTest, TheEndOfTheChildTouchesNothingOfTheParents) {
    const std::vector<std::string> entries = ShmEntries();
    std::memset(reinterpret_cast<void*>(this->busy_.nAddress + 256), 0x5A, 256);
    this->Fork([this] {
        SystemCalls::Record({"munmap", "shm_unlink", "close", "pthread_join", "pthread_cond_destroy"});
        const std::vector<std::string> calls = FakeRockit::Calls();
        this->pool_.reset();
        EXPECT_THAT(SystemCalls::Recorded(), IsEmpty());
        EXPECT_EQ(FakeRockit::Calls(), calls);
        EXPECT_THAT(TakeLog(), IsEmpty());
    });
    EXPECT_EQ(ShmEntries(), entries);
    const auto* pBytes = reinterpret_cast<const unsigned char*>(this->busy_.nAddress + 256);
    for (int i = 0; i < 256; ++i)
        ASSERT_EQ(pBytes[i], 0x5A);
    this->ExpectParentUnharmed();
}

TYPED_TEST(PoolForkTest, WhatTheChildObtainsIsGivenBackAtItsEnd) {
    ZTK_NEEDS_THREADS_IN_A_CHILD();
    const std::vector<std::string> entries = ShmEntries();
    this->Fork([this] {
        const std::size_t nLive = FakeRockit::LiveBlocks();
        this->Allocate(20'000);
        this->pool_.reset();
        EXPECT_EQ(FakeRockit::LiveBlocks(), nLive);
    });
    EXPECT_EQ(ShmEntries(), entries);
}

TYPED_TEST(PoolForkTest, AGrandchildIsTreatedAlike) {
    ZTK_NEEDS_THREADS_IN_A_CHILD();
    this->Fork([this] {
        const Given mine = this->Allocate(20'000);
        this->time_.AwaitSleepers(2);  // the new reclaimer must not be inside the log or the heap at the fork
        this->Fork([this, mine] {
            EXPECT_EQ(TypeParam::Release(this->ThePool(), mine.nAddress),
                      TypeParam::kSurvivesFork ? ZTK_SUCCESS : ERR_INVALID_PARAM);
            this->pool_.reset();
        });
        this->Release(mine);
        this->pool_.reset();
    });
    this->ExpectParentUnharmed();
}

TYPED_TEST(PoolForkTest, AClosedPoolStaysClosedInTheChild) {
    this->ThePool().UnInit();
    this->Fork([this] {
        Given given;
        EXPECT_EQ(TypeParam::Allocate(this->ThePool(), 4096, 0, given), ERR_NO_MEMORY);
        EXPECT_EQ(SystemCalls::Count("pthread_create"), 1);
    });
}

TYPED_TEST(PoolForkTest, AForkPastTheHandlersLeavesTheParentsBlocksAloneAtTheChildsEnd) {
    const std::vector<std::string> entries = ShmEntries();
    const pid_t nChild = _Fork();
    if (nChild == 0) {
        SystemCalls::Record({"munmap", "shm_unlink", "close", "pthread_join", "pthread_cond_destroy"});
        const std::vector<std::string> calls = FakeRockit::Calls();
        this->pool_.reset();
        EXPECT_THAT(SystemCalls::Recorded(), IsEmpty());
        EXPECT_EQ(FakeRockit::Calls(), calls);
        _exit(::testing::Test::HasFailure() ? 1 : 0);
    }
    int nStatus = -1;
    ASSERT_EQ(waitpid(nChild, &nStatus, 0), nChild);
    EXPECT_EQ(nStatus, 0) << "the child failed, see its messages";
    EXPECT_EQ(ShmEntries(), entries);
    this->ExpectParentUnharmed();
}

// ---- a fork while another thread is inside the pool -------------------------------------------------

std::atomic<bool> g_bInside{false};
std::atomic<bool> g_bLeaving{false};

/// Runs under the pool's lock.
void LingerInside(const LogLine& line) {
    if (line.function != "AllocateMemory" || g_bInside.exchange(true)) return;
    for (int i = 0; i < 1000; ++i)
        std::this_thread::yield();
    g_bLeaving = true;
}

TYPED_TEST(PoolForkTest, AForkWaitsForAThreadInsideThePool) {
    ZTK_NEEDS_THREADS_IN_A_CHILD();
    g_bInside = false;
    g_bLeaving = false;
    FakeLog::OnLine(LingerInside);
    std::atomic<bool> bForked{false};
    std::thread other([this, &bForked] {
        Given given;
        TypeParam::Allocate(this->ThePool(), 20'000, 0, given);
        while (!bForked)
            std::this_thread::yield();
    });
    while (!g_bInside)
        std::this_thread::yield();
    this->Fork([this] {
        EXPECT_TRUE(g_bLeaving);
        this->Allocate(20'000);
    });
    bForked = true;
    other.join();
    this->ExpectParentUnharmed();
}

// ---- a child that ends while another of its threads settles in the pool -------------------------------

TYPED_TEST(PoolForkTest, TheChildsEndWaitsForItsFirstCall) {
    ZTK_NEEDS_THREADS_IN_A_CHILD();
    this->Fork([this] {
        std::thread ending;
        std::atomic<bool> bBegun{false};
        std::atomic<bool> bEnded{false};
        const auto endMeanwhile = [&] {
            if (bBegun.exchange(true)) return;
            const int nCalls = SystemCalls::Count("getpid");
            ending = std::thread([&] {
                this->ThePool().UnInit();
                bEnded = true;
            });
            while (SystemCalls::Count("getpid") == nCalls)
                std::this_thread::yield();
            for (int i = 0; i < 1000; ++i)
                std::this_thread::yield();
            EXPECT_FALSE(bEnded);
        };
        SystemCalls::Before("getpid", 1, endMeanwhile);
        SystemCalls::Before("pthread_sigmask", 1, endMeanwhile);
        this->Allocate(20'000);
        ending.join();
        EXPECT_TRUE(bEnded);
    });
    this->ExpectParentUnharmed();
}

// ---- a fork by the thread that is inside the pool ----------------------------------------------------

std::function<void()> g_fork;

TYPED_TEST(PoolForkTest, AForkInTheMiddleOfACallLeavesTheChildAClosedPool) {
    g_fork = [this] {
        this->Fork([this] {
            FakeLog::OnLine(nullptr);
            Given given;
            EXPECT_EQ(TypeParam::Allocate(this->ThePool(), 4096, 0, given), ERR_NO_MEMORY);
            EXPECT_EQ(TypeParam::Release(this->ThePool(), this->busy_.nAddress), ERR_INVALID_PARAM);
            SystemCalls::Record({"munmap", "shm_unlink", "close", "free"});
            this->ThePool().UnInit();
            EXPECT_THAT(SystemCalls::Recorded(), IsEmpty());
        });
    };
    FakeLog::OnLine([](const LogLine& line) {
        if (line.function == "AllocateMemory") g_fork();
    });
    const Given given = this->Allocate(20'000);
    FakeLog::OnLine(nullptr);
    ExpectLockIsFree(this->ThePool());
    this->Release(given);
    EXPECT_EQ(this->Allocate(20'000), given);
    this->ExpectParentUnharmed();
}

}  // namespace
}  // namespace ztk::test
