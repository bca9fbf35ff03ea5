#include "log/outcome.h"

#include <algorithm>

namespace ztkmem::log {
namespace {

constexpr std::size_t kMostGrowing = 8;
constexpr std::uint64_t kFewestLooks = 6;

void FillThirds(const Series& series, PoolOutcome& outcome) {
    const std::vector<Span>& spans = series.Spans();
    for (std::size_t nThird = 0; nThird < 3; ++nThird) {
        const std::size_t nFrom = spans.size() * nThird / 3;
        const std::size_t nTo = spans.size() * (nThird + 1) / 3;
        for (std::size_t i = nFrom; i < nTo; ++i) {
            std::int64_t& nLeast = outcome.leastInUse[nThird];
            std::int64_t& nMost = outcome.mostInUse[nThird];
            nLeast = i == nFrom ? spans[i].nLeast : std::min(nLeast, spans[i].nLeast);
            nMost = i == nFrom ? spans[i].nMost : std::max(nMost, spans[i].nMost);
        }
    }
}

/// The silence that lasts until the life's last line.
Silence LongestSilence(const Life& life, const PoolLife& pool) {
    const double sinceLast = life.active - pool.activeAtLimit;
    if (sinceLast <= pool.worst.seconds) return pool.worst;
    return {pool.nLimitLines != 0 ? pool.lastLimit : life.first, life.last, sinceLast};
}

PoolOutcome OutcomeOf(const Life& life, const PoolLife& pool) {
    PoolOutcome outcome;
    outcome.bExpected = pool.bStarted || pool.bUsed || pool.nLimitLines != 0;
    outcome.nLimitLines = pool.nLimitLines;
    outcome.lastLimit = pool.lastLimit;
    outcome.silence = LongestSilence(life, pool);
    outcome.nMostOverInARow = pool.nMostOverInARow;
    outcome.nImpossible = pool.nImpossible;
    outcome.nLooks = pool.inUse.Count();
    outcome.nInUseLast = pool.inUse.Last();
    outcome.nInUseMost = pool.inUse.Most();
    FillThirds(pool.inUse, outcome);
    return outcome;
}

void AddGrowing(const Growth& growth, Memory enMemory, bool bByDump, Outcome& outcome) {
    std::size_t nTaken = 0;
    for (const GrowingSize& size : growth.OnlyGrowing()) {
        if (++nTaken > kMostGrowing) break;
        outcome.growing.push_back({enMemory, bByDump, growth.Looks(), size});
    }
}

/// Dumps with their blocks tell it best; without them, which takes the trace level, lines have to do.
void FillGrowing(const Life& life, Outcome& outcome) {
    const auto dumped = [&life](Memory enMemory) -> const Growth& {
        return life.byDumpedSize[static_cast<std::size_t>(enMemory)];
    };
    if (dumped(Memory::kHeap).Looks() + dumped(Memory::kMmz).Looks() != 0) {
        AddGrowing(dumped(Memory::kHeap), Memory::kHeap, true, outcome);
        AddGrowing(dumped(Memory::kMmz), Memory::kMmz, true, outcome);
    } else {
        AddGrowing(life.At(Pool::kLocal).bySizeOfLines, Memory::kUntold, false, outcome);
    }
    const bool bShared = dumped(Memory::kShared).Looks() != 0;
    AddGrowing(bShared ? dumped(Memory::kShared) : life.At(Pool::kShared).bySizeOfLines, Memory::kShared,
               bShared, outcome);
}

}  // namespace

bool PoolOutcome::RisingFloor() const {
    return nLooks >= kFewestLooks && leastInUse[2] > mostInUse[0] && leastInUse[1] >= leastInUse[0] &&
           leastInUse[2] >= leastInUse[1] && mostInUse[2] > mostInUse[1];
}

Outcome OutcomeOf(const Life& life) {
    Outcome outcome;
    outcome.nProcess = life.nProcess;
    outcome.bEnded = life.bEnded;
    outcome.first = life.first;
    outcome.last = life.last;
    for (std::size_t i = 0; i < kPools; ++i)
        outcome.pools[i] = OutcomeOf(life, life.pools[i]);
    FillGrowing(life, outcome);
    return outcome;
}

}  // namespace ztkmem::log
