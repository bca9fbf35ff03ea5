// The lines that come every minute: the limit line and the dump.
#include <algorithm>

#include "log/analysis.h"

namespace ztkmem::log {
namespace {

void NoteSilence(const Life& life, PoolLife& pool, const Moment& moment) {
    const double seconds = life.active - pool.activeAtLimit;
    if (seconds > pool.worst.seconds)
        pool.worst = {pool.nLimitLines != 0 ? pool.lastLimit : life.first, moment, seconds};
    pool.activeAtLimit = life.active;
    pool.lastLimit = moment;
    ++pool.nLimitLines;
}

/// Above the limit, everything idle for half a minute goes: with nothing gone for minutes, nothing is.
void NoteOverLimit(PoolLife& pool, bool bOver) {
    pool.nOverInARow = !bOver ? 0 : (pool.nFreedSince == 0 ? pool.nOverInARow + 1 : 1);
    pool.nMostOverInARow = std::max(pool.nMostOverInARow, pool.nOverInARow);
}

void LookForGrowth(PoolLife& pool) {
    const auto changed = pool.books.TakeChanges();
    if (changed) {
        pool.bySizeOfLines.Look(pool.books.Sizes(), *changed);
    } else {
        pool.bySizeOfLines.Look(pool.books.Sizes());
    }
}

}  // namespace

void Analysis::OnLimit(const LogLine& line, Life& life, const Moment& moment) {
    PoolFacts& facts = At(line.Where());
    PoolLife& pool = life.At(line.Where());
    const std::uint64_t nRedundant = line.Number(0);
    facts.nLimit = line.Number(1);
    ++facts.nLimitLines;
    if (nRedundant > facts.nLimit) ++facts.nOverLimit;
    facts.redundant.Add(moment, static_cast<std::int64_t>(nRedundant));
    NoteSilence(life, pool, moment);
    NoteOverLimit(pool, nRedundant > facts.nLimit);
    pool.nRedundant = nRedundant;
    pool.nFreedBefore = pool.nFreedSince;
    pool.nFreedSince = 0;
    LookForGrowth(pool);
    LookAfterOthers(life, moment);
}

void Analysis::Calibrate(PoolLife& pool, Pool enPool, std::uint64_t nBytes) {
    if (pool.bStarted) return;
    const std::int64_t nBase = pool.books.Base();
    pool.books.Calibrate(nBytes);
    At(enPool).nBase = Clamped(At(enPool).nBase + pool.books.Base() - nBase);
}

/// A pool holds at least what it calls idle. What was freed since its line is allowed for, and what was freed
/// shortly before, since the number is older than its line.
void Analysis::NoteInUse(Life& life, Pool enPool, const Moment& moment) {
    PoolLife& pool = life.At(enPool);
    const auto bytes = [&life](Memory enMemory) {
        return life.dumpedBytes[static_cast<std::size_t>(enMemory)];
    };
    const std::uint64_t nBytes =
        enPool == Pool::kShared ? bytes(Memory::kShared) : bytes(Memory::kHeap) + bytes(Memory::kMmz);
    Calibrate(pool, enPool, nBytes);
    if (pool.nLimitLines == 0) return;
    const bool bMixed = !life.bKnownIds && lives_.Begun() > 1;
    if (!bMixed && pool.nRedundant > nBytes + pool.nFreedSince + pool.nFreedBefore) ++pool.nImpossible;
    const std::uint64_t nIdle = pool.nRedundant - std::min(pool.nRedundant, pool.nFreedSince);
    pool.inUse.Add(moment, static_cast<std::int64_t>(nBytes - std::min(nBytes, nIdle)));
}

void Analysis::OnDump(const LogLine& line, const SizeCounts* pSizes, const Speaker& speaker,
                      const Moment& moment) {
    Life& life = lives_.Of(speaker, moment);
    PoolLife& pool = life.At(line.Where());
    MemoryFacts& facts = At(line.Kind());
    const auto nMemory = static_cast<std::size_t>(line.Kind());
    life.dumpedBytes[nMemory] = line.Size();
    ++facts.nDumps;
    std::uint64_t nAll = 0;
    for (const auto& pLife : lives_.All()) {
        if (!pLife->bEnded) nAll += pLife->dumpedBytes[nMemory];
    }
    facts.dumped.Add(moment, static_cast<std::int64_t>(nAll));
    if (pSizes != nullptr) {
        ++facts.nWholeDumps;
        life.byDumpedSize[nMemory].Look(*pSizes);
    }
    if (line.Kind() != Memory::kMmz) pool.bDumped = true;
    if (line.Kind() != Memory::kHeap && pool.bDumped) NoteInUse(life, line.Where(), moment);
}

void Analysis::Finish() {
    for (const auto& pLife : lives_.All()) {
        if (pLife->first.nLine == 0) continue;
        outcomes_.push_back(OutcomeOf(*pLife));
        if (pLife->bEnded) continue;
        for (std::size_t i = 0; i < kPools; ++i) {
            const PoolBooks& books = pLife->pools[i].books;
            pools_[i].nBlocksLeft += books.Blocks();
            for (const auto& [nSize, nCount] : books.Sizes())
                CountOf(pools_[i].sizesLeft, nSize) += nCount;
        }
    }
}

}  // namespace ztkmem::log
