// The blocks of one place in a pool, sorted by ascending size.
//
// A brick: no lock, no clock, no log. A record has nSize and bBusy, and AddressOf(record) gives its address.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ztk {

template <class Block>
class BlockList {
  public:
    /// The smallest idle record of at least @p nSize and at most @p nTolerance bytes more, or null; the first
    /// in list order among equals.
    Block* FindIdle(std::uint64_t nSize, std::uint64_t nTolerance) {
        const auto isSmaller = [](const Block& block, std::uint64_t nWanted) {
            return block.nSize < nWanted;
        };
        auto it = std::lower_bound(records_.begin(), records_.end(), nSize, isSmaller);
        for (; it != records_.end() && it->nSize - nSize <= nTolerance; ++it) {
            if (!it->bBusy) return &*it;
        }
        return nullptr;
    }

    /// The first record in list order that bears the address, or null.
    Block* Find(std::uint64_t nAddress) {
        for (Block& block : records_) {
            if (AddressOf(block) == nAddress) return &block;
        }
        return nullptr;
    }

    /// Makes room for one more record, so that the next Insert() cannot fail. Throws std::bad_alloc.
    void ReserveOne() {
        if (records_.size() == records_.capacity())
            records_.reserve(std::max<std::size_t>(4, 2 * records_.size()));
    }

    /// Adds a record in its place by size; room must have been reserved.
    void Insert(const Block& block) {
        const auto isSmaller = [](std::uint64_t nSize, const Block& other) { return nSize < other.nSize; };
        records_.insert(std::upper_bound(records_.begin(), records_.end(), block.nSize, isSmaller), block);
    }

    /// Keeps the first @p nCount records.
    void Truncate(std::size_t nCount) { records_.resize(nCount); }

    std::size_t Size() const { return records_.size(); }
    Block& operator[](std::size_t nIndex) { return records_[nIndex]; }
    auto begin() const { return records_.begin(); }
    auto end() const { return records_.end(); }

  private:
    std::vector<Block> records_;
};

}  // namespace ztk
