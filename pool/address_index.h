// What a pool knows of an address: where its block lives.
//
// A brick: no lock, no log. Addresses that the pool never gave may be entered, too; they are at Where{}. The
// table beside the ordered map finds the addresses of blocks in the same time however many there are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>

#include "pool/address_table.h"

namespace ztk {

template <class Where>
class AddressIndex {
    using Map = std::map<std::uint64_t, Where>;

  public:
    /// Memory for one more address, so that the entry of a block can be had before the block.
    using Entry = typename Map::node_type;

    /// Throws std::bad_alloc.
    Entry NewEntry() {
        table_.ReserveOne();
        Map map;
        map.emplace();
        return map.extract(map.begin());
    }

    /// Enters or overwrites where @p nAddress (not 0) lives. Cannot fail, if nothing was set since
    /// NewEntry().
    void Set(Entry entry, std::uint64_t nAddress, const Where& where) {
        entry.key() = nAddress;
        const auto it = map_.insert(std::move(entry)).position;
        it->second = where;
        table_.Set(nAddress, it);
    }

    /// Where @p nAddress lives; an unknown address is entered at Where{}. Throws std::bad_alloc.
    const Where& Enter(std::uint64_t nAddress) {
        const auto* pKnown = table_.Find(nAddress);
        return pKnown != nullptr ? (*pKnown)->second : map_[nAddress];
    }

    /// Where @p nAddress lives; Where{} if unknown.
    Where Find(std::uint64_t nAddress) const {
        const auto* pKnown = table_.Find(nAddress);
        return pKnown != nullptr ? (*pKnown)->second : Where{};
    }

    void Erase(std::uint64_t nAddress) {
        const auto* pKnown = table_.Find(nAddress);
        if (pKnown == nullptr) {
            map_.erase(nAddress);
        } else {
            map_.erase(*pKnown);
            table_.Erase(nAddress);
        }
    }

    void Clear() {
        table_.Clear();
        map_.clear();
    }

    std::size_t Size() const { return map_.size(); }

  private:
    Map map_;
    AddressTable<typename Map::iterator> table_;  ///< those that were set
};

}  // namespace ztk
