// What a recorded process has of each kind, kept call by call.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <unordered_map>
#include <vector>

#include "record/recording_reader.h"

namespace ztkmem::record {

enum class Kind : std::uint8_t { kHeap, kMmz, kShared, kOther };
constexpr std::size_t kKinds = 4;

/// Where blocks are exchangeable, up to their alignment.
struct Shelf {
    Kind enKind = Kind::kHeap;
    std::int32_t nClass = 0;

    bool operator<(const Shelf& other) const {
        return enKind != other.enKind ? enKind < other.enKind : nClass < other.nClass;
    }
};

struct Amount {
    std::uint64_t nBlocks = 0;
    std::uint64_t nBytes = 0;

    void Add(std::uint64_t nSize) {
        ++nBlocks;
        nBytes += nSize;
    }
    void Take(std::uint64_t nSize) {
        --nBlocks;
        nBytes -= nSize;
    }
};

struct ShelfFacts {
    std::uint64_t nRequests = 0;
    std::uint64_t nReused = 0;
    std::uint64_t nMade = 0;
    std::uint64_t nRetried = 0;
    std::uint64_t nRefused = 0;
    Amount busy;
    Amount idle;
    std::uint64_t nPeakBusy = 0;  ///< bytes
    std::uint64_t nPeakIdle = 0;
};

/// Of all shelves together.
struct Totals {
    void AddBusy(std::uint64_t nSize);
    void AddIdle(std::uint64_t nSize);

    std::uint64_t nBusy = 0;
    std::uint64_t nIdle = 0;
    std::uint64_t nPeakBusy = 0;
    std::uint64_t nPeakIdle = 0;
    std::uint64_t nPeakOwned = 0;
};

struct Block {
    Shelf shelf;
    std::uint64_t nSize = 0;
    std::uint64_t nSince = 0;  ///< nanoseconds; of the last hand-out or release
    std::uint32_t nSite = 0;   ///< whose that was
    bool bBusy = false;
};

/// Busy bytes by who asked for them.
struct Holding {
    Kind enKind = Kind::kHeap;
    std::uint32_t nSite = 0;
    Amount amount;
    std::uint64_t nOldest = 0;  ///< nanoseconds
};

/// The same fault from the same place.
struct Fault {
    std::uint64_t nTimes = 0;
    Event first;
    std::uint32_t nEarlierSite = 0;  ///< of a double release: who had released before
    Kind enKind = Kind::kHeap;
};
using Faults = std::map<std::pair<std::uint32_t, std::uint32_t>, Fault>;  ///< by the sites of both

struct Refusal {
    Event event;
    std::map<Shelf, ShelfFacts> shelves;
    std::vector<Holding> holdings;
};

enum class Verdict : std::uint8_t {
    kReused,
    kMade,
    kRefused,  ///< no memory
    kBadCall,  ///< nowhere to put the address
    kReleased,
    kReleasedTwice,  ///< idle already
    kUnknown,        ///< an address that the pool does not know
    kUnseen,         ///< a block from before the recording
    kGivenBack,
    kUnloaded,
};

class Books {
  public:
    /// @p bSawLog: which blocks are new, and which went back to the system, is recorded. Else it is inferred
    /// from addresses, and idle bytes are the most that they can be.
    explicit Books(bool bSawLog) : bSawLog_(bSawLog) {}

    Verdict Take(const Event& event);

    const std::map<Shelf, ShelfFacts>& Shelves() const { return shelves_; }
    const Totals& Sum() const { return totals_; }
    /// Busy and idle bytes.
    const Totals& SumOf(Kind enKind) const { return kinds_[static_cast<std::size_t>(enKind)]; }
    /// Whose bytes the last event changed.
    const std::vector<Shelf>& Touched() const { return touched_; }
    /// The largest first.
    std::vector<Holding> Holdings() const;
    const Faults& Doubles() const { return doubles_; }
    const Faults& Unknowns() const { return unknowns_; }
    const Faults& BadCalls() const { return badCalls_; }
    const std::optional<Refusal>& FirstRefusal() const { return firstRefusal_; }
    /// Busy blocks of a library that was unloaded.
    const std::vector<Holding>& LostAtUnload() const { return lost_; }
    std::uint64_t Calls() const { return nCalls_; }
    std::uint64_t Unseen() const { return nUnseen_; }
    std::uint64_t Last() const { return nLast_; }  ///< nanoseconds
    std::size_t Threads() const { return threads_.size(); }
    /// The block at an address, or null.
    const Block* Find(bool bShared, std::uint64_t nAddress) const;

  private:
    using Blocks = std::unordered_map<std::uint64_t, Block>;

    Verdict TakeAllocation(const Event& event);
    Verdict TakeRelease(const Event& event);
    Verdict TakeGiveBack(const Event& event);
    void TakeRefusal(const Event& event, ShelfFacts& facts);
    void Unload();
    void HandOut(Block& block, const Event& event);
    void Remove(Blocks& blocks, Blocks::iterator it);
    void AddIdle(const Shelf& shelf, std::uint64_t nSize);
    void AddBusy(const Shelf& shelf, std::uint64_t nSize);
    void TakeIdle(const Shelf& shelf, std::uint64_t nSize);
    void TakeBusy(const Shelf& shelf, std::uint64_t nSize);
    bool IsReuse(const Event& event, const Blocks& blocks, Blocks::const_iterator it) const;
    Blocks& Of(const Event& event) { return event.IsShared() ? shared_ : local_; }

    const bool bSawLog_;
    Blocks local_;
    Blocks shared_;
    std::map<Shelf, ShelfFacts> shelves_;
    Totals totals_;
    std::array<Totals, kKinds> kinds_{};
    std::vector<Shelf> touched_;
    std::map<std::uint32_t, std::uint64_t> threads_;
    Faults doubles_;
    Faults unknowns_;
    Faults badCalls_;
    std::optional<Refusal> firstRefusal_;
    std::vector<Holding> lost_;
    std::uint64_t nCalls_ = 0;
    std::uint64_t nUnseen_ = 0;
    std::uint64_t nLast_ = 0;
};

/// Of an allocation.
Shelf ShelfOf(const Event& event);

}  // namespace ztkmem::record
