#include "platform/rw_lock.h"

#include <errno.h>
#include <gmock/gmock.h>

#include <thread>
#include <vector>

#include "support/system_calls.h"

namespace ztk {
namespace {

using test::SystemCalls;

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

TEST(RwLock, ReportsTheResultOfItsEnd) {
    RwLock lock;
    SystemCalls::Fail("pthread_rwlock_destroy", 1, EBUSY);
    EXPECT_EQ(EBUSY, lock.Destroy());
    EXPECT_EQ(0, lock.Destroy());
}

void LockWithoutUnlock(RwLock& lock) ZTK_NO_LOCK_ANALYSIS {
    lock.LockForWriting();
}

void LockForReadingWithoutUnlock(RwLock& lock) ZTK_NO_LOCK_ANALYSIS {
    lock.LockForReading();
}

// As in a forked child, which has the lock as the forking thread took it.
TEST(RwLock, CanBeTakenAfterARestartByItsHolder) {
    RwLock lock;
    LockWithoutUnlock(lock);
    lock.RestartInChild();
    const WriteGuard guard(lock);
}

// As in a forked child, where a reader of the parent does not exist.
TEST(RwLock, CanBeTakenAfterARestartWithoutItsReader) {
    RwLock lock;
    std::thread([&lock] { LockForReadingWithoutUnlock(lock); }).join();
    lock.RestartInChild();
    const WriteGuard guard(lock);
}

}  // namespace
}  // namespace ztk
