// Where in a pool the block of an address lives.
//
// A brick: no lock, no log. Addresses that the pool never gave may be entered, too, with an all-zero place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>

namespace ztk {

template <class Place>
class AddressIndex {
    using Map = std::map<std::uint64_t, Place>;

  public:
    /// An entry that holds its memory but no address yet, so that the entry of a block can be had before
    /// the block.
    using Entry = typename Map::node_type;

    /// Throws std::bad_alloc.
    static Entry NewEntry() {
        Map map;
        map.emplace();
        return map.extract(map.begin());
    }

    /// Enters or overwrites the place of @p nAddress. Cannot fail.
    void Set(Entry entry, std::uint64_t nAddress, const Place& place) {
        entry.key() = nAddress;
        map_.insert(std::move(entry)).position->second = place;
    }

    /// The place of @p nAddress; an unknown address is entered at the zero place. Throws std::bad_alloc.
    const Place& Enter(std::uint64_t nAddress) { return map_[nAddress]; }

    /// The place of @p nAddress; the zero place if unknown.
    Place PlaceOf(std::uint64_t nAddress) const {
        const auto it = map_.find(nAddress);
        return it == map_.end() ? Place{} : it->second;
    }

    void Erase(std::uint64_t nAddress) { map_.erase(nAddress); }
    void Clear() { map_.clear(); }
    std::size_t Size() const { return map_.size(); }

  private:
    Map map_;
};

}  // namespace ztk
