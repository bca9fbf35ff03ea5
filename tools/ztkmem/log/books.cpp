#include "log/books.h"

#include <algorithm>
#include <utility>

namespace ztkmem::log {
namespace {

/// Takes one of a size out of the counts, if it is there.
bool TakeOut(SizeCounts& counts, std::uint64_t nSize) {
    auto found = counts.find(nSize);
    if (found == counts.end()) found = counts.find(0);
    if (found == counts.end()) return false;
    if (--found->second == 0) counts.erase(found);
    return true;
}

}  // namespace

void Flow::Add(std::uint64_t nSize) {
    ++nBlocks;
    nBytes = nBytes > UINT64_MAX - nSize ? UINT64_MAX : nBytes + nSize;
}

void Flow::Subtract(std::uint64_t nSize) {
    nBlocks -= std::min<std::uint64_t>(nBlocks, 1);
    nBytes -= std::min(nBytes, nSize);
}

bool PoolBooks::Allocate(std::uint64_t nAddress, const Block& block, std::size_t& nAddresses) {
    const std::size_t nThere = live_.count(nAddress);
    if (nAddresses < kMostAddresses && nThere < kMostAtAnAddress) {
        live_.emplace(nAddress, block);
        ++nAddresses;
    } else {
        ++CountOf(untracked_, block.nSize);
        ++nUntracked_;
    }
    ++CountOf(sizes_, block.nSize);
    NoteChange(block.nSize);
    nBytes_ = Clamped(nBytes_ + Signed(block.nSize));
    return nThere != 0;
}

PoolBooks::BlocksByAddress::iterator PoolBooks::Locate(std::uint64_t nAddress, std::uint64_t nSize) {
    const auto [begin, end] = live_.equal_range(nAddress);
    const auto found =
        std::find_if(begin, end, [nSize](const auto& entry) { return entry.second.nSize == nSize; });
    return found == end ? live_.end() : found;
}

Block* PoolBooks::Find(std::uint64_t nAddress, std::uint64_t nSize) {
    const auto found = Locate(nAddress, nSize);
    return found == live_.end() ? nullptr : &found->second;
}

Block PoolBooks::Free(std::uint64_t nAddress, std::uint64_t nSize, std::size_t& nAddresses) {
    const auto found = Locate(nAddress, nSize);
    const Block block = found->second;
    live_.erase(found);
    --nAddresses;
    Uncount(nSize);
    return block;
}

void PoolBooks::NoteChange(std::uint64_t nSize) {
    if (changed_.size() < 2 * kMostSizes) {
        changed_.insert(nSize);
    } else {
        bManyChanged_ = true;
    }
}

std::optional<std::set<std::uint64_t>> PoolBooks::TakeChanges() {
    std::set<std::uint64_t> changed = std::exchange(changed_, {});
    if (std::exchange(bManyChanged_, false)) return std::nullopt;
    return changed;
}

void PoolBooks::Uncount(std::uint64_t nSize) {
    TakeOut(sizes_, nSize);
    NoteChange(nSize);
    nBytes_ = Clamped(nBytes_ - Signed(nSize));
}

bool PoolBooks::FreeUntracked(std::uint64_t nSize) {
    if (!TakeOut(untracked_, nSize)) return false;
    --nUntracked_;
    Uncount(nSize);
    return true;
}

void PoolBooks::FreeOlder(std::uint64_t nSize) {
    nFreedOlder_ = Clamped(nFreedOlder_ + Signed(nSize));
    nBase_ = std::max(nBase_, nFreedOlder_);
    nBytes_ = Clamped(nBytes_ - Signed(nSize));
}

void PoolBooks::Calibrate(std::uint64_t nBytes) {
    nBase_ = std::max(nBase_, Clamped(Signed(nBytes) - nBytes_));
}

std::size_t PoolBooks::Clear() {
    const std::size_t nAddresses = live_.size();
    *this = PoolBooks();
    return nAddresses;
}

}  // namespace ztkmem::log
