#include "standins/rockit/block_registry.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <new>
#include <optional>

#include "standins/rockit/block_source.h"

namespace ztk_standin {
namespace {

constexpr std::size_t kReportedBlocks = 4;
constexpr std::size_t kReportedBlockText = 48;  // " 0x<16 digits> (<10 digits>)" and room

static_assert(sizeof(std::uintptr_t) == 8, "a handle holds a serial number above 32 bits of distance");

std::size_t WholePages(std::uint32_t nLength) {
    static const auto nPage = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return (nLength + nPage - 1) / nPage * nPage;
}

// Serial numbers, so a stale handle never names a newer block; far apart, so that a handle to which a
// caller added an offset within its block is recognised as foreign; odd, so it is never an address.
std::uintptr_t HandleOf(std::uintptr_t nSerial) {
    return (nSerial << 32U) | 0x4d5a01U;
}

MB_BLK AsHandle(std::uintptr_t nHandle) {
    return reinterpret_cast<MB_BLK>(nHandle);  // NOLINT(performance-no-int-to-ptr): opaque, never an address
}

}  // namespace

BlockRegistry::BlockRegistry(std::uint64_t nCapacity, ztk_board::Board* pBoard)
    : capacity_(nCapacity), pBoard_(pBoard), owner_(getpid()) {}

std::int32_t BlockRegistry::Allocate(std::uint32_t nLength, MB_BLK* pHandle) {
    const std::lock_guard<std::mutex> guard(lock_);
    std::int32_t nResult = -ENOMEM;
    try {
        const bool bScripted = pBoard_ != nullptr && pBoard_->Fails(ztk_board::Call::kMmz);
        if (!bScripted) nResult = MakeBlock(nLength, pHandle);
    } catch (const std::bad_alloc&) {
        // The maps or the heap directory's names: short of memory all the same.
    }
    if (nResult != 0) ++counters_.nFailedAllocs;
    return nResult;
}

std::int32_t BlockRegistry::MakeBlock(std::uint32_t nLength, MB_BLK* pHandle) {
    if (nLength == 0 || pHandle == nullptr) return -EINVAL;
    const std::size_t nBytes = WholePages(nLength);
    if (counters_.nLiveBytes > capacity_ || nBytes > capacity_ - counters_.nLiveBytes) return -ENOMEM;
    if (pBoard_ == nullptr) return MapAndRecord(nBytes, 0, pHandle);
    const std::optional<std::uint64_t> nPlace = pBoard_->PlaceMmz(nBytes);
    if (!nPlace) return -ENOMEM;
    try {
        const std::int32_t nResult = MapAndRecord(nBytes, *nPlace, pHandle);
        if (nResult != 0) GivePlaceBack(*nPlace);
        return nResult;
    } catch (const std::bad_alloc&) {
        GivePlaceBack(*nPlace);
        throw;
    }
}

std::int32_t BlockRegistry::MapAndRecord(std::size_t nBytes, std::uint64_t nPlace, MB_BLK* pHandle) {
    void* pAddr = MapBlock(kDmaHeapDirectory, nBytes);
    if (pAddr == nullptr) return -errno;
    try {
        *pHandle = AsHandle(Record({pAddr, nBytes, owner_, nPlace}));
    } catch (const std::bad_alloc&) {
        UnmapBlock(pAddr, nBytes);
        throw;
    }
    ++counters_.nAllocs;
    ++counters_.nLiveBlocks;
    counters_.nLiveBytes += nBytes;
    counters_.nPeakBytes = std::max(counters_.nPeakBytes, counters_.nLiveBytes);
    return 0;
}

void BlockRegistry::GivePlaceBack(std::uint64_t nPlace) {
    if (pBoard_ != nullptr) pBoard_->RemoveMmz(nPlace);
}

std::uintptr_t BlockRegistry::Record(const Block& block) {
    const std::uintptr_t nHandle = HandleOf(nextSerial_++);
    const auto entry = handles_.insert_or_assign(block.pAddr, nHandle).first;
    try {
        blocks_.emplace(nHandle, block);
    } catch (const std::bad_alloc&) {
        handles_.erase(entry);
        throw;
    }
    return nHandle;
}

BlockRegistry::Blocks::iterator BlockRegistry::Find(MB_BLK hBlock) {
    const auto entry = blocks_.find(reinterpret_cast<std::uintptr_t>(hBlock));
    return entry != blocks_.end() && IsOwn(entry->second) ? entry : blocks_.end();
}

std::int32_t BlockRegistry::Free(MB_BLK hBlock) {
    const std::lock_guard<std::mutex> guard(lock_);
    const auto entry = Find(hBlock);
    if (entry == blocks_.end()) {
        ++counters_.nInvalidFrees;
        return -EINVAL;
    }
    const Block block = entry->second;
    handles_.erase(block.pAddr);
    blocks_.erase(entry);
    UnmapBlock(block.pAddr, block.nBytes);
    GivePlaceBack(block.nPlace);
    ++counters_.nFrees;
    --counters_.nLiveBlocks;
    counters_.nLiveBytes -= block.nBytes;
    return 0;
}

void* BlockRegistry::AddressOf(MB_BLK hBlock) {
    const std::lock_guard<std::mutex> guard(lock_);
    const auto entry = Find(hBlock);
    return entry == blocks_.end() ? nullptr : entry->second.pAddr;
}

MB_BLK BlockRegistry::HandleAt(void* pAddr) {
    const std::lock_guard<std::mutex> guard(lock_);
    const auto entry = handles_.find(pAddr);
    if (entry == handles_.end()) return nullptr;
    MB_BLK hBlock = AsHandle(entry->second);
    return Find(hBlock) == blocks_.end() ? nullptr : hBlock;
}

ZtkRockitCounters BlockRegistry::Counters() {
    const std::lock_guard<std::mutex> guard(lock_);
    return counters_;
}

void BlockRegistry::SetCapacity(std::uint64_t nBytes) {
    const std::lock_guard<std::mutex> guard(lock_);
    capacity_ = nBytes;
}

void BlockRegistry::AfterForkInChild() {
    owner_ = getpid();
    counters_ = {};
    lock_.unlock();
}

void BlockRegistry::ReportLiveBlocks() {
    const std::lock_guard<std::mutex> guard(lock_);
    if (counters_.nLiveBlocks == 0) return;
    char szBlocks[kReportedBlocks * kReportedBlockText] = "";
    std::size_t nListed = 0;
    std::size_t nUsed = 0;
    for (const auto& [nHandle, block] : blocks_) {
        if (!IsOwn(block)) continue;
        if (nListed == kReportedBlocks) break;
        const int nText =
            std::snprintf(szBlocks + nUsed, kReportedBlockText, " %p (%zu)", block.pAddr, block.nBytes);
        nUsed += static_cast<std::size_t>(std::max(nText, 0));
        ++nListed;
    }
    // Whole in one write, beside what other processes say at their exit.
    dprintf(STDERR_FILENO,
            "librockit stand-in: process %d never freed %" PRIu64 " block(s), %" PRIu64 " bytes:%s%s\n",
            static_cast<int>(owner_), counters_.nLiveBlocks, counters_.nLiveBytes, szBlocks,
            counters_.nLiveBlocks > nListed ? " ..." : "");
}

}  // namespace ztk_standin
