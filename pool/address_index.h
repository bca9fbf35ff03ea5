// What a pool knows of an address: where its block lives.
//
// A brick: no lock, no log. Addresses that the pool never gave may be entered, too; they are at Where{}. The
// hash table beside the ordered map finds the addresses of blocks in the same time however many there are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <unordered_map>
#include <utility>

namespace ztk {

template <class Where>
class AddressIndex {
    using Map = std::map<std::uint64_t, Where>;
    using Table = std::unordered_map<std::uint64_t, Where*>;

  public:
    /// Memory for one more address, so that the entry of a block can be had before the block.
    struct Entry {
        typename Map::node_type inMap;
        typename Table::node_type inTable;
    };

    /// Throws std::bad_alloc.
    Entry NewEntry() {
        if (table_.size() >= nRoom_) {
            const std::size_t nRoom = 8 + 2 * nRoom_;
            table_.reserve(nRoom);
            nRoom_ = nRoom;
        }
        Map map;
        Table table;
        map.emplace();
        table.emplace();
        return {map.extract(map.begin()), table.extract(table.begin())};
    }

    /// Enters or overwrites where @p nAddress lives. Cannot fail, if nothing was entered since NewEntry().
    void Set(Entry entry, std::uint64_t nAddress, const Where& where) {
        entry.inMap.key() = nAddress;
        Where& known = map_.insert(std::move(entry.inMap)).position->second;
        known = where;
        entry.inTable.key() = nAddress;
        entry.inTable.mapped() = &known;
        table_.insert(std::move(entry.inTable));
    }

    /// Where @p nAddress lives; an unknown address is entered at Where{}. Throws std::bad_alloc.
    const Where& Enter(std::uint64_t nAddress) {
        const auto it = table_.find(nAddress);
        return it != table_.end() ? *it->second : map_[nAddress];
    }

    /// Where @p nAddress lives; Where{} if unknown.
    Where Find(std::uint64_t nAddress) const {
        const auto it = table_.find(nAddress);
        return it != table_.end() ? *it->second : Where{};
    }

    void Erase(std::uint64_t nAddress) {
        table_.erase(nAddress);
        map_.erase(nAddress);
    }

    void Clear() {
        table_.clear();
        map_.clear();
    }

    std::size_t Size() const { return map_.size(); }

  private:
    Map map_;
    Table table_;
    std::size_t nRoom_ = 0;  ///< how many the table takes without growing
};

}  // namespace ztk
