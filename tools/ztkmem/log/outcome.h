// What is left to say of a process when it is forgotten, or the log is over.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "log/lives.h"

namespace ztkmem::log {

struct PoolOutcome {
    bool bExpected = false;  ///< started, used, or seen to write minute lines
    std::uint64_t nLimitLines = 0;
    Moment lastLimit;
    Silence silence;  ///< the longest, the one at the end included
    std::uint64_t nMostOverInARow = 0;
    std::uint64_t nImpossible = 0;
    std::uint64_t nLooks = 0;  ///< dumps with what was in use
    std::int64_t nInUseLast = 0;
    std::int64_t nInUseMost = 0;
    std::array<std::int64_t, 3> leastInUse{};  ///< in each third of the looks
    std::array<std::int64_t, 3> mostInUse{};

    /// The least of each third is above the most, or at least the least, of the one before it.
    bool RisingFloor() const;
};

struct GrowingBlocks {
    Memory enMemory = Memory::kUntold;
    bool bByDump = false;  ///< by the blocks of dumps; else by lines of allocations at every minute
    std::uint64_t nLooks = 0;
    GrowingSize size;
};

struct Outcome {
    std::uint64_t nProcess = 0;
    bool bEnded = false;
    Moment first;
    Moment last;
    std::array<PoolOutcome, kPools> pools;
    std::vector<GrowingBlocks> growing;  ///< the worst of each kind of memory first

    const PoolOutcome& At(Pool enPool) const { return pools[static_cast<std::size_t>(enPool)]; }
};

Outcome OutcomeOf(const Life& life);

}  // namespace ztkmem::log
