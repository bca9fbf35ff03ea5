#include "log/analysis.h"

#include <algorithm>
#include <charconv>

namespace ztkmem::log {
namespace {

/// The process in "ZTKTool-812-0123...".
std::uint64_t ProcessOfSegment(std::string_view name) {
    const std::size_t nDash = name.find('-');
    std::uint64_t nProcess = 0;
    if (nDash != std::string_view::npos)
        std::from_chars(name.data() + nDash + 1, name.data() + name.size(), nProcess);
    return nProcess;
}

}  // namespace

// ---- what is owned ---------------------------------------------------------------------------------

void Analysis::Own(Pool enPool, std::int64_t nChange, const Moment& moment) {
    PoolFacts& facts = At(enPool);
    facts.nOwned = Clamped(facts.nOwned + nChange);
    facts.owned.Add(moment, facts.nOwned);
}

void Analysis::Revive(Life& life, const Moment& moment) {
    life.bEnded = false;
    Own(Pool::kLocal, life.At(Pool::kLocal).books.Owned(), moment);
    Own(Pool::kShared, life.At(Pool::kShared).books.Owned(), moment);
}

void Analysis::LookAfterOthers(const Life& life, const Moment& moment) {
    for (Life* pOther : lives_.Ended(life)) {
        pOther->bEnded = true;
        Own(Pool::kLocal, -pOther->At(Pool::kLocal).books.Owned(), moment);
        Own(Pool::kShared, -pOther->At(Pool::kShared).books.Owned(), moment);
    }
}

void Analysis::ForgetOldest() {
    Life* pLife = lives_.OneTooMany();
    if (pLife == nullptr) return;
    if (!pLife->bEnded) {
        Own(Pool::kLocal, -pLife->At(Pool::kLocal).books.Owned(), last_);
        Own(Pool::kShared, -pLife->At(Pool::kShared).books.Owned(), last_);
        pLife->bEnded = true;
    }
    if (outcomes_.size() < kMostOutcomes) {
        outcomes_.push_back(OutcomeOf(*pLife));
    } else {
        ++nForgotten_;
    }
    for (PoolLife& pool : pLife->pools)
        nAddresses_ -= pool.books.Clear();
    lives_.Forget(pLife);
}

// ---- blocks ----------------------------------------------------------------------------------------

void Analysis::Tell(Block& block, Memory enMemory) {
    if (block.enMemory != Memory::kUntold || enMemory == Memory::kUntold) return;
    block.enMemory = enMemory;
    At(Memory::kUntold).allocated.Subtract(block.nSize);
    At(enMemory).allocated.Add(block.nSize);
}

void Analysis::OnAllocated(const LogLine& line, const Speaker& speaker, Life& life, const Moment& moment) {
    const std::uint64_t nAddress = line.Number(0);
    PoolLife& pool = life.At(line.Where());
    if (pool.books.Allocate(nAddress, {line.Size(), line.Kind()}, nAddresses_)) ++nTwice_;
    bAddressesFull_ = bAddressesFull_ || nAddresses_ >= PoolBooks::kMostAddresses;
    pool.bUsed = true;
    At(line.Kind()).allocated.Add(line.Size());
    Own(line.Where(), Signed(line.Size()), moment);
    if (line.Where() == Pool::kLocal) calls_.Allocated(speaker, {nAddress, line.Size()});
    if (calls_.TakeRetry(speaker, line.Where())) At(line.Where()).rescued.Add(line.Size());
}

/// The life whose block it is. A thread that frees another's block was taken for the wrong process.
Life& Analysis::Holder(Life& life, const Speaker& speaker, Pool enPool, std::uint64_t nAddress,
                       std::uint64_t nSize) {
    if (life.At(enPool).books.Find(nAddress, nSize) != nullptr || speaker.nProcess != 0) return life;
    for (const auto& pOther : lives_.All()) {
        if (pOther->At(enPool).books.Find(nAddress, nSize) == nullptr) continue;
        lives_.Attach(speaker, *pOther);
        return *pOther;
    }
    return life;
}

void Analysis::FreeUnknown(const LogLine& line, PoolLife& pool, const Moment& moment) {
    const std::int64_t nBase = pool.books.Base();
    if (pool.books.FreeUntracked(line.Size())) {
        At(line.Kind()).freed.Add(line.Size());
    } else if (pool.bStarted) {
        ++nUnmatched_;
        return;
    } else {
        pool.books.FreeOlder(line.Size());
        At(line.Where()).nBase = Clamped(At(line.Where()).nBase + pool.books.Base() - nBase);
    }
    Own(line.Where(), -Signed(line.Size()), moment);
}

void Analysis::OnFreed(const LogLine& line, const Speaker& speaker, Life& life, const Moment& moment) {
    const std::uint64_t nAddress = line.Number(0);
    Life& holder = Holder(life, speaker, line.Where(), nAddress, line.Size());
    if (holder.bEnded) Revive(holder, moment);
    PoolLife& pool = holder.At(line.Where());
    pool.nFreedSince += line.Size();
    if (pool.books.Find(nAddress, line.Size()) == nullptr) return FreeUnknown(line, pool, moment);
    const Block block = pool.books.Free(nAddress, line.Size(), nAddresses_);
    At(block.enMemory).freed.Add(line.Size());
    Own(line.Where(), -Signed(line.Size()), moment);
}

void Analysis::OnCallEnds(const LogLine& line, const Speaker& speaker, Life& life) {
    const auto block = calls_.Ends(speaker, line.Size());
    if (!block || line.Number(0) != 0) return;
    Block* pBlock = life.At(Pool::kLocal).books.Find(block->nAddress, block->nSize);
    if (pBlock != nullptr) Tell(*pBlock, MemoryOfType(line.Number(line.values.nNumbers - 1)));
}

void Analysis::OnDumpedBlock(Memory enMemory, std::uint64_t nAddress, std::uint64_t nSize) {
    if (enMemory == Memory::kShared) return;
    for (const auto& pLife : lives_.All()) {
        Block* pBlock = pLife->At(Pool::kLocal).books.Find(nAddress, nSize);
        if (pBlock != nullptr) return Tell(*pBlock, enMemory);
    }
}

// ---- failures --------------------------------------------------------------------------------------

void Analysis::OnRetry(const LogLine& line, const Speaker& speaker, const Moment& moment) {
    ++At(line.Where()).nRetries;
    retriedMarks_.Add(moment, 1);
    calls_.Retries(speaker, line.Where());
}

void Analysis::OnFailed(const LogLine& line, const Speaker& speaker, const Moment& moment) {
    PoolFacts& facts = At(line.Where());
    const bool bLocal = line.Where() == Pool::kLocal;
    facts.failed.Add(line.Size());
    if (calls_.TakeRetry(speaker, line.Where())) ++facts.nFailedAfterRetry;
    failures_.Add(line, bLocal ? MemoryOfType(line.Number(2)) : Memory::kShared, moment);
    failedMarks_.Add(moment, 1);
}

// ---- every line ------------------------------------------------------------------------------------

void Analysis::Dispatch(const LogLine& line, const Speaker& speaker, Life& life, const Moment& moment) {
    switch (line.What()) {
        case Meaning::kCallBegins:
            return calls_.Begins(speaker);
        case Meaning::kCallEnds:
            return OnCallEnds(line, speaker, life);
        case Meaning::kRetry:
            return OnRetry(line, speaker, moment);
        case Meaning::kFailed:
            return OnFailed(line, speaker, moment);
        case Meaning::kAllocated:
            return OnAllocated(line, speaker, life, moment);
        case Meaning::kFreed:
            return OnFreed(line, speaker, life, moment);
        case Meaning::kLimit:
            return OnLimit(line, life, moment);
        case Meaning::kPoolStarts:
            return LookAfterOthers(life, moment);
        case Meaning::kSegmentMade:
            return Lives::NameProcess(life, ProcessOfSegment(line.values.text));
        case Meaning::kUnknownRelease:
            ++At(line.Where()).nUnknownReleases;
            return failures_.Add(line, line.Kind(), moment);
        case Meaning::kPoolBroken:
            ++At(line.Where()).nBroken;
            return failures_.Add(line, line.Kind(), moment);
        case Meaning::kCause:
            return failures_.Add(line, line.Kind(), moment);
        case Meaning::kDumpDetail:
        case Meaning::kDumpTotal:
        case Meaning::kRemark:
            break;
    }
}

void Analysis::OnLine(const LogLine& line, const Speaker& speaker, const Moment& moment) {
    if (nLines_++ == 0) first_ = moment;
    if (!first_.HasTime()) first_.seconds = moment.seconds;
    last_ = moment;
    const bool bInformation = line.pForm->nLevel <= kInfo;
    if (bInformation) ++nInformation_;
    Life& life = line.What() == Meaning::kPoolStarts ? lives_.Begin(line.Where(), speaker, moment)
                                                     : lives_.Of(speaker, moment);
    ForgetOldest();
    if (life.bEnded && (line.pForm->nLevel <= kInfo)) Revive(life, moment);
    lives_.Spoke(life, bInformation, moment);
    Dispatch(line, speaker, life, moment);
}

}  // namespace ztkmem::log
