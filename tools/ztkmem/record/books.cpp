#include "record/books.h"

#include <algorithm>

#include "common/ztk_common.h"
#include "pool/pool_limits.h"

namespace ztkmem::record {
namespace {

Kind KindOf(const Event& event) {
    if (event.IsShared()) return Kind::kShared;
    if (event.enMemType == ZTK_MEM_OS) return Kind::kHeap;
    return event.enMemType == ZTK_MEM_MMZ ? Kind::kMmz : Kind::kOther;
}

void Note(Faults& faults, const Event& event, std::uint32_t nEarlierSite, Kind enKind) {
    Fault& fault = faults[{event.nSite, nEarlierSite}];
    if (fault.nTimes++ == 0) {
        fault.first = event;
        fault.nEarlierSite = nEarlierSite;
        fault.enKind = enKind;
    }
}

}  // namespace

Shelf ShelfOf(const Event& event) {
    return {KindOf(event), ztk::GetSizeClass(event.nSize)};
}

Verdict Books::Take(const Event& event) {
    touched_.clear();
    nLast_ = std::max(nLast_, event.nAt + (event.IsRelease() ? event.nDuration : 0));
    if (event.IsCall()) {
        ++nCalls_;
        ++threads_[event.nThread];
    }
    if (event.IsAllocation()) return TakeAllocation(event);
    if (event.IsRelease()) return TakeRelease(event);
    if (event.enOperation != Operation::kUnload) return TakeGiveBack(event);
    Unload();
    return Verdict::kUnloaded;
}

Verdict Books::TakeAllocation(const Event& event) {
    if (event.bNoOutput) {
        Note(badCalls_, event, 0, KindOf(event));
        return Verdict::kBadCall;
    }
    ShelfFacts& facts = shelves_[ShelfOf(event)];
    ++facts.nRequests;
    facts.nRetried += event.bRetried ? 1 : 0;
    if (event.nStatus != ZTK_SUCCESS) {
        TakeRefusal(event, facts);
        return Verdict::kRefused;
    }
    Blocks& blocks = Of(event);
    const auto it = blocks.find(event.nAddress);
    const bool bReuse = IsReuse(event, blocks, it);
    if (bReuse && it != blocks.end()) {
        HandOut(it->second, event);
    } else {
        // What was here before went back to the system, unseen.
        if (it != blocks.end()) Remove(blocks, it);
        Block& block = blocks[event.nAddress];
        block.shelf = ShelfOf(event);
        block.nSize = event.nSize;
        AddBusy(block.shelf, block.nSize);
        block.bBusy = true;
        HandOut(block, event);
    }
    ++(bReuse ? facts.nReused : facts.nMade);
    return bReuse ? Verdict::kReused : Verdict::kMade;
}

bool Books::IsReuse(const Event& event, const Blocks& blocks, Blocks::const_iterator it) const {
    if (bSawLog_) return !event.bNew;
    if (it == blocks.end() || it->second.bBusy) return false;
    const Block& block = it->second;
    return block.shelf.enKind == KindOf(event) && block.nSize >= event.nSize &&
           block.shelf.nClass == ztk::GetSizeClass(event.nSize);
}

void Books::HandOut(Block& block, const Event& event) {
    if (!block.bBusy) {
        TakeIdle(block.shelf, block.nSize);
        AddBusy(block.shelf, block.nSize);
    }
    block.bBusy = true;
    block.nSince = event.nAt;
    block.nSite = event.nSite;
}

void Books::TakeRefusal(const Event& event, ShelfFacts& facts) {
    ++facts.nRefused;
    if (firstRefusal_) return;
    firstRefusal_ = Refusal{event, shelves_, Holdings()};
}

Verdict Books::TakeRelease(const Event& event) {
    Blocks& blocks = Of(event);
    const auto it = blocks.find(event.nAddress);
    if (event.nStatus != ZTK_SUCCESS) {
        Note(unknowns_, event, 0, event.IsShared() ? Kind::kShared : Kind::kHeap);
        return Verdict::kUnknown;
    }
    if (it == blocks.end()) {
        ++nUnseen_;
        return Verdict::kUnseen;
    }
    Block& block = it->second;
    if (!block.bBusy) {
        Note(doubles_, event, block.nSite, block.shelf.enKind);
        return Verdict::kReleasedTwice;
    }
    TakeBusy(block.shelf, block.nSize);
    AddIdle(block.shelf, block.nSize);
    block.bBusy = false;
    block.nSince = event.nAt;
    block.nSite = event.nSite;
    return Verdict::kReleased;
}

Verdict Books::TakeGiveBack(const Event& event) {
    Blocks& blocks = Of(event);
    const auto it = blocks.find(event.nAddress);
    if (it != blocks.end()) Remove(blocks, it);
    return Verdict::kGivenBack;
}

void Books::Remove(Blocks& blocks, Blocks::iterator it) {
    const Block& block = it->second;
    if (block.bBusy) {
        TakeBusy(block.shelf, block.nSize);
    } else {
        TakeIdle(block.shelf, block.nSize);
    }
    blocks.erase(it);
}

void Totals::AddBusy(std::uint64_t nSize) {
    nBusy += nSize;
    nPeakBusy = std::max(nPeakBusy, nBusy);
    nPeakOwned = std::max(nPeakOwned, nBusy + nIdle);
}

void Totals::AddIdle(std::uint64_t nSize) {
    nIdle += nSize;
    nPeakIdle = std::max(nPeakIdle, nIdle);
}

void Books::AddBusy(const Shelf& shelf, std::uint64_t nSize) {
    ShelfFacts& facts = shelves_[shelf];
    facts.busy.Add(nSize);
    facts.nPeakBusy = std::max(facts.nPeakBusy, facts.busy.nBytes);
    totals_.AddBusy(nSize);
    kinds_[static_cast<std::size_t>(shelf.enKind)].AddBusy(nSize);
    touched_.push_back(shelf);
}

void Books::AddIdle(const Shelf& shelf, std::uint64_t nSize) {
    ShelfFacts& facts = shelves_[shelf];
    facts.idle.Add(nSize);
    facts.nPeakIdle = std::max(facts.nPeakIdle, facts.idle.nBytes);
    totals_.AddIdle(nSize);
    kinds_[static_cast<std::size_t>(shelf.enKind)].AddIdle(nSize);
    touched_.push_back(shelf);
}

void Books::TakeBusy(const Shelf& shelf, std::uint64_t nSize) {
    shelves_[shelf].busy.Take(nSize);
    totals_.nBusy -= nSize;
    kinds_[static_cast<std::size_t>(shelf.enKind)].nBusy -= nSize;
    touched_.push_back(shelf);
}

void Books::TakeIdle(const Shelf& shelf, std::uint64_t nSize) {
    shelves_[shelf].idle.Take(nSize);
    totals_.nIdle -= nSize;
    kinds_[static_cast<std::size_t>(shelf.enKind)].nIdle -= nSize;
    touched_.push_back(shelf);
}

void Books::Unload() {
    const auto holdings = Holdings();
    lost_.insert(lost_.end(), holdings.begin(), holdings.end());
    for (auto& [shelf, facts] : shelves_) {
        facts.busy = facts.idle = {};
        touched_.push_back(shelf);
    }
    totals_.nBusy = totals_.nIdle = 0;
    for (Totals& kind : kinds_)
        kind.nBusy = kind.nIdle = 0;
    local_.clear();
    shared_.clear();
}

std::vector<Holding> Books::Holdings() const {
    std::map<std::pair<Kind, std::uint32_t>, Holding> bySite;
    for (const Blocks* pBlocks : {&local_, &shared_}) {
        for (const auto& [nAddress, block] : *pBlocks) {
            if (!block.bBusy) continue;
            Holding& holding = bySite[{block.shelf.enKind, block.nSite}];
            if (holding.amount.nBlocks == 0 || block.nSince < holding.nOldest) holding.nOldest = block.nSince;
            holding.enKind = block.shelf.enKind;
            holding.nSite = block.nSite;
            holding.amount.Add(block.nSize);
        }
    }
    std::vector<Holding> holdings;
    holdings.reserve(bySite.size());
    for (const auto& [key, holding] : bySite)
        holdings.push_back(holding);
    std::stable_sort(holdings.begin(), holdings.end(), [](const Holding& one, const Holding& other) {
        return one.amount.nBytes > other.amount.nBytes;
    });
    return holdings;
}

const Block* Books::Find(bool bShared, std::uint64_t nAddress) const {
    const Blocks& blocks = bShared ? shared_ : local_;
    const auto it = blocks.find(nAddress);
    return it == blocks.end() ? nullptr : &it->second;
}

}  // namespace ztkmem::record
