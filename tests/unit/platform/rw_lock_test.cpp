#include "platform/rw_lock.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <thread>
#include <vector>

#include "support/system_calls.h"
#include "support/thread_sanitizer.h"

namespace ztk {
namespace {

using test::SystemCalls;

// Past the compiler's lock analysis.
void LockUnseen(RwLock& lock) ZTK_NO_LOCK_ANALYSIS {
    lock.LockForWriting();
}
void LockForReadingUnseen(RwLock& lock) ZTK_NO_LOCK_ANALYSIS {
    lock.LockForReading();
}
void UnlockUnseen(RwLock& lock) ZTK_NO_LOCK_ANALYSIS {
    lock.Unlock();
}

TEST(RwLock, LetsOneWriterInAtATime) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 2000;
    RwLock lock;
    int nCount = 0;
    std::vector<std::thread> writers;
    for (int i = 0; i < kThreads; ++i) {
        writers.emplace_back([&lock, &nCount] {
            for (int nRound = 0; nRound < kRounds; ++nRound) {
                const WriteGuard guard(lock);
                ++nCount;
            }
        });
    }
    for (std::thread& writer : writers)
        writer.join();
    EXPECT_EQ(kThreads * kRounds, nCount);
}

// A holder is about to leave in most cases; the kernel's way to wait costs more than such a moment.
TEST(RwLock, LooksAgainBeforeItWaits) {
    RwLock lock;
    SystemCalls::Reset();
    SystemCalls::Fail("pthread_rwlock_trywrlock", 1, EBUSY);
    SystemCalls::Fail("pthread_rwlock_trywrlock", 2, EBUSY);
    { const WriteGuard guard(lock); }
    EXPECT_EQ(SystemCalls::Count("pthread_rwlock_trywrlock"), 3);
    EXPECT_EQ(SystemCalls::Count("pthread_rwlock_wrlock"), 0);
}

// A holder that allocates may take long.
TEST(RwLock, WaitsAfterAFewLooks) {
    RwLock lock;
    SystemCalls::Reset();
    SystemCalls::Fail("pthread_rwlock_trywrlock", 0, EBUSY);
    { const WriteGuard guard(lock); }
    EXPECT_EQ(SystemCalls::Count("pthread_rwlock_trywrlock"), 9);
    EXPECT_EQ(SystemCalls::Count("pthread_rwlock_wrlock"), 1);
    SystemCalls::Reset();
}

TEST(RwLock, LetsReadersInTogether) {
    RwLock lock;
    bool bWasIn = false;
    const ReadGuard guard(lock);
    std::thread([&lock, &bWasIn] {
        const ReadGuard second(lock);
        bWasIn = true;
    }).join();
    EXPECT_TRUE(bWasIn);
}

TEST(RwLock, IsFreeBehindItsGuards) {
    RwLock lock;
    { const WriteGuard guard(lock); }
    { const ReadGuard guard(lock); }
    const WriteGuard guard(lock);
}

TEST(RwLock, IsNotTakenTwiceByItsWriterThatAsksFirst) {
    RwLock lock;
    EXPECT_TRUE(lock.LockForWritingUnlessMine());
    EXPECT_FALSE(lock.LockForWritingUnlessMine());
    UnlockUnseen(lock);
    EXPECT_TRUE(lock.LockForWritingUnlessMine());
    UnlockUnseen(lock);
}

// Going on would end with the lock released under the outer call.
TEST(RwLock, KeepsAWriterThatComesBackForEver) {
    for (void (*pComeBack)(RwLock&) : {LockUnseen, LockForReadingUnseen}) {
        const auto comeBack = [pComeBack] {
            RwLock lock;
            SystemCalls::Fail("pause", 1, EINTR);  // a signal handler ran
            SystemCalls::Before("pause", 2, [] { _exit(17); });
            LockUnseen(lock);
            pComeBack(lock);
        };
        EXPECT_EXIT(comeBack(), testing::ExitedWithCode(17), "");
    }
}

TEST(RwLock, ReportsTheResultOfItsEnd) {
    RwLock lock;
    SystemCalls::Fail("pthread_rwlock_destroy", 1, EBUSY);
    EXPECT_EQ(EBUSY, lock.Destroy());
    EXPECT_EQ(0, lock.Destroy());
}

// As in a forked child, which has the lock as the forking thread took it.
TEST(RwLock, CanBeTakenAfterARestartByItsHolder) {
    RwLock lock;
    LockUnseen(lock);
    lock.RestartInChild();
    const WriteGuard guard(lock);
}

TEST(RwLock, CanBeTakenAfterARestartThatWasRefused) {
    if (test::kUnderThreadSanitizer) GTEST_SKIP() << "it follows a lock by its calls alone";
    RwLock lock;
    LockUnseen(lock);
    SystemCalls::Fail("pthread_rwlock_init", 1, EAGAIN);
    lock.RestartInChild();
    const WriteGuard guard(lock);
}

// As in a forked child, where a reader of the parent does not exist.
TEST(RwLock, CanBeTakenAfterARestartWithoutItsReader) {
    RwLock lock;
    std::thread([&lock] { LockForReadingUnseen(lock); }).join();
    lock.RestartInChild();
    const WriteGuard guard(lock);
}

}  // namespace
}  // namespace ztk
