// A pool of one kind in virtual time, with its reclaimer asleep and an empty log.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <thread>

#include "fakes/fake_log.h"
#include "pool_kinds.h"
#include "support/available_memory.h"
#include "support/virtual_time.h"

namespace ztk::test {

constexpr std::uint64_t kMiB = std::uint64_t{1024} * 1024;

using AllKinds = ::testing::Types<HeapKind, MmzKind, SharedKind>;

struct KindNames {
    template <class Kind>
    static std::string GetName(int /*nIndex*/) {
        if (std::is_same_v<Kind, HeapKind>) return "Heap";
        return std::is_same_v<Kind, MmzKind> ? "Mmz" : "Shared";
    }
};

/// FreeUnbusyMemory() as its callers call it, with the pool's lock held.
template <class Pool>
void FreeUnbusy(Pool& pool, std::uint32_t nIdleSeconds) ZTK_NO_LOCK_ANALYSIS {
    pool.PrepareFork();
    pool.FreeUnbusyMemory(nIdleSeconds);
    pool.ResumeParent();
}

/// Hangs if the pool's lock is held.
template <class Pool>
void ExpectLockIsFree(Pool& pool) ZTK_NO_LOCK_ANALYSIS {
    std::thread([&pool]() ZTK_NO_LOCK_ANALYSIS {
        pool.PrepareFork();
        pool.ResumeParent();
    }).join();
}

template <class Kind>
class PoolTest : public ::testing::Test {
  protected:
    using Pool = typename Kind::Pool;

    static constexpr int kLevelWithoutDumps = 2;
    static constexpr std::uint64_t kPlenty = std::uint64_t{1} << 40U;

    PoolTest() {
        FakeLog::SetLevel(kLevelWithoutDumps);
        StartPool();
    }
    void StartPool() {
        pool_.emplace();
        time_.AwaitSleepers(1);
        ClearLog();
    }

    Pool& ThePool() { return *pool_; }

    Given Allocate(std::uint64_t nSize, std::int32_t nAlign = 0) {
        Given given;
        EXPECT_EQ(Kind::Allocate(*pool_, nSize, nAlign, given), ZTK_SUCCESS);
        return given;
    }

    void Release(const Given& given) { EXPECT_EQ(Kind::Release(*pool_, given.nAddress), ZTK_SUCCESS); }

    /// A block that waits in the pool.
    Given AllocateIdle(std::uint64_t nSize, std::int32_t nAlign = 0) {
        const Given given = Allocate(nSize, nAlign);
        Release(given);
        return given;
    }

    /// Raises the idle total by @p nTimes MiB at the price of one: each release counts. To be freed with the
    /// rest; the total keeps what it was raised by.
    Given RaiseIdleTotal(int nTimes) {
        const Given given = Allocate(kMiB);
        for (int i = 0; i < nTimes; ++i)
            Release(given);
        return given;
    }

    AvailableMemory memory_{kPlenty};
    VirtualTime time_;
    std::optional<Pool> pool_;
};

}  // namespace ztk::test
