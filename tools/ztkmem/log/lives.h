// The processes in a log, as far as its lines can be told apart.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "log/books.h"
#include "log/line_forms.h"
#include "log/series.h"
#include "log/speaker.h"
#include "log/timeline.h"
#include "log/trend.h"

namespace ztkmem::log {

/// A stretch in which a process wrote lines, but a pool's reclaimer did not write its own.
struct Silence {
    Moment from;
    Moment to;
    double seconds = 0;  ///< of activity, not of clock: a suspended board writes nothing
};

/// One pool of one process, and what its reclaimer tells every minute.
struct PoolLife {
    bool bStarted = false;
    bool bUsed = false;
    PoolBooks books;

    std::uint64_t nLimitLines = 0;
    Moment lastLimit;
    double activeAtLimit = 0;
    Silence worst;  ///< before the last limit line
    std::uint64_t nRedundant = 0;
    std::uint64_t nFreedSince = 0;   ///< bytes given back since the last limit line
    std::uint64_t nFreedBefore = 0;  ///< and between the two last ones
    std::uint64_t nOverInARow = 0;   ///< limit lines above the limit with nothing given back in between
    std::uint64_t nMostOverInARow = 0;
    std::uint64_t nImpossible = 0;  ///< dumps that hold less than the line before called idle

    bool bDumped = false;  ///< a dump's totals have come (local pool: those of the heap)
    Series inUse;          ///< bytes of a dump that are not idle
    Growth bySizeOfLines;
};

struct Life {
    std::uint64_t nProcess = 0;  ///< 0: not told
    bool bKnownIds = false;      ///< its lines tell who writes
    bool bTold = false;          ///< it writes lines of the information level
    bool bEnded = false;  ///< silent for minutes in which it should have spoken, or another took its place
    Moment first;
    Moment last;
    double active = 0;           ///< seconds in which it was seen at work
    double logActiveAtLast = 0;  ///< the same of the whole log, when it last spoke
    std::array<PoolLife, kPools> pools;
    std::array<Growth, kMemories> byDumpedSize;
    std::array<std::uint64_t, kMemories> dumpedBytes{};

    PoolLife& At(Pool enPool) { return pools[static_cast<std::size_t>(enPool)]; }
    const PoolLife& At(Pool enPool) const { return pools[static_cast<std::size_t>(enPool)]; }
};

/// A line belongs to the life of its process id, else of its thread id; a thread not seen before, and lines
/// without ids, belong to the life that began last. A pool's start begins a life, and so does another process
/// id: a rotated log need not have the starts. Of a process nothing tells
/// its end: without ids it is over when another begins; with ids, when it has been silent for minutes in
/// which others spoke, since its reclaimers would have written every minute. It lives again when it speaks.
class Lives {
  public:
    static constexpr std::size_t kMost = 16;
    static constexpr std::size_t kMostSpeakers = 8192;
    static constexpr double kSilence = 150;  ///< two minute lines missing, and some

    Lives();

    /// The life of a line that starts a pool.
    Life& Begin(Pool enPool, const Speaker& speaker, const Moment& moment);

    /// The life of any other line; a new one, too, may be one too many.
    Life& Of(const Speaker& speaker, const Moment& moment);

    /// The speaker turns out to belong to this life.
    void Attach(const Speaker& speaker, Life& life);

    /// A segment's name tells the process.
    static void NameProcess(Life& life, std::uint64_t nProcess);

    /// The life has written a line.
    void Spoke(Life& life, bool bInformation, const Moment& moment);

    /// Those that have ended since. With many lives the oldest is forgotten: it comes first and is to be
    /// counted out; Forget() it then.
    std::vector<Life*> Ended(const Life& speaking) const;
    Life* OneTooMany() const;
    void Forget(const Life* pLife);

    const std::vector<std::unique_ptr<Life>>& All() const { return lives_; }
    std::uint64_t Begun() const { return nBegun_; }
    double Active() const { return active_; }

  private:
    Life& Add(const Moment& moment);
    Life& Likeliest(const Speaker& speaker) const;
    bool Joins(const Life& life, Pool enPool, const Speaker& speaker, const Moment& moment) const;
    std::unordered_map<std::uint64_t, Life*>& TableOf(const Speaker& speaker);

    std::vector<std::unique_ptr<Life>> lives_;
    std::unordered_map<std::uint64_t, Life*> byProcess_;
    std::unordered_map<std::uint64_t, Life*> byThread_;
    std::uint64_t nBegun_ = 0;
    double active_ = 0;
    Moment last_;
};

}  // namespace ztkmem::log
