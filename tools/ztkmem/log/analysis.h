// Everything a log tells about the pools, gathered line by line in bounded memory.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "log/calls.h"
#include "log/failures.h"
#include "log/lives.h"
#include "log/log_line.h"
#include "log/outcome.h"
#include "log/series.h"

namespace ztkmem::log {

struct PoolFacts {
    Series owned;      ///< what lines tell since the log began: add nBase
    Series redundant;  ///< every limit line of every process
    std::int64_t nOwned = 0;
    std::int64_t nBase = 0;
    std::uint64_t nLimitLines = 0;
    std::uint64_t nOverLimit = 0;
    std::uint64_t nLimit = 0;  ///< as the lines say; 0 if there was none
    std::uint64_t nRetries = 0;
    SizeRange rescued;  ///< requests that a retry served
    SizeRange failed;
    std::uint64_t nFailedAfterRetry = 0;
    std::uint64_t nUnknownReleases = 0;
    std::uint64_t nBroken = 0;
    std::uint64_t nBlocksLeft = 0;  ///< allocated, never freed, by processes not known to have ended
    SizeCounts sizesLeft;

    std::int64_t Peak() const { return owned.Most() + nBase; }
    std::int64_t Owned() const { return nOwned + nBase; }
};

struct MemoryFacts {
    Flow allocated;
    Flow freed;
    Series dumped;  ///< bytes in dumps, of all processes
    std::uint64_t nWholeDumps = 0;
    std::uint64_t nDumps = 0;
};

struct Mark {
    Moment moment;
    Pool enPool;
};

class Analysis {
  public:
    static constexpr std::size_t kMostMarks = 2048;
    static constexpr std::size_t kMostOutcomes = 64;

    void OnLine(const LogLine& line, const Speaker& speaker, const Moment& moment);

    /// A dump told what memory a block has.
    void OnDumpedBlock(Memory enMemory, std::uint64_t nAddress, std::uint64_t nSize);

    /// The line with a dump's totals, with the dump's sizes if it came whole.
    void OnDump(const LogLine& line, const SizeCounts* pSizes, const Speaker& speaker, const Moment& moment);

    void OnTorn() { ++nTorn_; }
    void Finish();

    const PoolFacts& Of(Pool enPool) const { return pools_[static_cast<std::size_t>(enPool)]; }
    const MemoryFacts& Of(Memory enMemory) const { return memories_[static_cast<std::size_t>(enMemory)]; }
    const Failures& AllFailures() const { return failures_; }
    const std::vector<Outcome>& Outcomes() const { return outcomes_; }
    const Series& Failed() const { return failedMarks_; }
    const Series& Retried() const { return retriedMarks_; }
    std::uint64_t Lines() const { return nLines_; }
    std::uint64_t InformationLines() const { return nInformation_; }
    std::uint64_t Torn() const { return nTorn_; }
    std::uint64_t Twice() const { return nTwice_; }
    std::uint64_t Processes() const { return lives_.Begun(); }
    std::uint64_t Forgotten() const { return nForgotten_; }
    bool HasTimes() const { return last_.HasTime(); }
    std::uint64_t Unmatched() const { return nUnmatched_; }
    bool AddressesFull() const { return bAddressesFull_; }
    const Moment& First() const { return first_; }
    const Moment& Last() const { return last_; }
    double Active() const { return lives_.Active(); }

  private:
    PoolFacts& At(Pool enPool) { return pools_[static_cast<std::size_t>(enPool)]; }
    MemoryFacts& At(Memory enMemory) { return memories_[static_cast<std::size_t>(enMemory)]; }

    void OnAllocated(const LogLine& line, const Speaker& speaker, Life& life, const Moment& moment);
    void OnFreed(const LogLine& line, const Speaker& speaker, Life& life, const Moment& moment);
    void OnLimit(const LogLine& line, Life& life, const Moment& moment);
    void OnFailed(const LogLine& line, const Speaker& speaker, const Moment& moment);
    void OnCallEnds(const LogLine& line, const Speaker& speaker, Life& life);
    void OnRetry(const LogLine& line, const Speaker& speaker, const Moment& moment);
    void Dispatch(const LogLine& line, const Speaker& speaker, Life& life, const Moment& moment);
    void FreeUnknown(const LogLine& line, PoolLife& pool, const Moment& moment);
    void Calibrate(PoolLife& pool, Pool enPool, std::uint64_t nBytes);
    void NoteInUse(Life& life, Pool enPool, const Moment& moment);
    void Tell(Block& block, Memory enMemory);
    Life& Holder(Life& life, const Speaker& speaker, Pool enPool, std::uint64_t nAddress,
                 std::uint64_t nSize);
    void Own(Pool enPool, std::int64_t nChange, const Moment& moment);
    void Revive(Life& life, const Moment& moment);
    void LookAfterOthers(const Life& life, const Moment& moment);
    void ForgetOldest();

    std::array<PoolFacts, kPools> pools_;
    std::array<MemoryFacts, kMemories> memories_;
    Failures failures_;
    Lives lives_;
    Calls calls_;
    Series failedMarks_;
    Series retriedMarks_;
    std::vector<Outcome> outcomes_;
    std::size_t nAddresses_ = 0;
    bool bAddressesFull_ = false;
    std::uint64_t nLines_ = 0;
    std::uint64_t nInformation_ = 0;
    std::uint64_t nTorn_ = 0;
    std::uint64_t nTwice_ = 0;
    std::uint64_t nForgotten_ = 0;
    std::uint64_t nUnmatched_ = 0;
    Moment first_;
    Moment last_;
};

}  // namespace ztkmem::log
