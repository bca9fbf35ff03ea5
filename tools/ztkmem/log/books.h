// The blocks that one pool of one process has from the system.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <unordered_map>

#include "log/dump_reader.h"
#include "log/line_forms.h"

namespace ztkmem::log {

/// Blocks and bytes of lines that say "allocated", or "freed". Nothing here overflows: no line's size is
/// above 2^48, and sums stop at the largest number.
struct Flow {
    std::uint64_t nBlocks = 0;
    std::uint64_t nBytes = 0;

    void Add(std::uint64_t nSize);
    void Subtract(std::uint64_t nSize);
};

struct Block {
    std::uint64_t nSize = 0;
    Memory enMemory = Memory::kUntold;
};

/// Sums of sizes; a hostile log must not overflow them.
constexpr std::int64_t kMostBytes = INT64_MAX / 8;
constexpr std::int64_t Clamped(std::int64_t nBytes) {
    return nBytes > kMostBytes ? kMostBytes : (nBytes < -kMostBytes ? -kMostBytes : nBytes);
}
constexpr std::int64_t Signed(std::uint64_t nBytes) {
    return nBytes > std::uint64_t{kMostBytes} ? kMostBytes : static_cast<std::int64_t>(nBytes);
}

class PoolBooks {
  public:
    /// Addresses known at a time in all books together. What is allocated beyond is counted by size only.
    static constexpr std::size_t kMostAddresses = 200'000;

    /// Blocks at one address in a log that mixes processes; further ones, too, are counted by size only.
    static constexpr std::size_t kMostAtAnAddress = 8;

    /// @return whether a block of that address was there already: two processes, or one that has ended, in
    /// one.
    bool Allocate(std::uint64_t nAddress, const Block& block, std::size_t& nAddresses);

    /// The block at the address if it has that size.
    Block* Find(std::uint64_t nAddress, std::uint64_t nSize);

    /// Takes a block out that Find() finds.
    Block Free(std::uint64_t nAddress, std::uint64_t nSize, std::size_t& nAddresses);

    /// A block beyond kMostAddresses, if there was one of this size.
    bool FreeUntracked(std::uint64_t nSize);

    /// A block that was there before the log began.
    void FreeOlder(std::uint64_t nSize);

    /// A dump counts @p nBytes. What the lines do not explain was there before the log began.
    void Calibrate(std::uint64_t nBytes);

    const SizeCounts& Sizes() const { return sizes_; }

    /// The sizes allocated or freed since the last call; no value if they were too many to be noted.
    std::optional<std::set<std::uint64_t>> TakeChanges();

    std::uint64_t Blocks() const { return live_.size() + nUntracked_; }
    std::int64_t Base() const { return nBase_; }  ///< what was there when the log began
    std::int64_t Owned() const { return nBytes_ + nBase_; }
    std::int64_t Balance() const { return nBytes_; }  ///< since the log began; may be below 0

    /// Forgets all blocks; returns how many addresses that were.
    std::size_t Clear();

  private:
    using BlocksByAddress = std::unordered_multimap<std::uint64_t, Block>;
    BlocksByAddress::iterator Locate(std::uint64_t nAddress, std::uint64_t nSize);
    void Uncount(std::uint64_t nSize);
    void NoteChange(std::uint64_t nSize);

    BlocksByAddress live_;
    SizeCounts sizes_;
    SizeCounts untracked_;
    std::set<std::uint64_t> changed_;
    bool bManyChanged_ = false;
    std::uint64_t nUntracked_ = 0;
    std::int64_t nBytes_ = 0;
    std::int64_t nBase_ = 0;
    std::int64_t nFreedOlder_ = 0;
};

}  // namespace ztkmem::log
