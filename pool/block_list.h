// The blocks of one place in a pool, sorted by ascending size, and by address among equal sizes.
//
// A brick: no lock, no clock, no log. A block has nSize and bBusy, and AddressOf(block) gives its address;
// bBusy is changed here only. Nodes stay where they are in memory until they are removed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>

#include "pool/idle_blocks.h"

namespace ztk {

template <class Block>
class BlockList {
    struct Key {
        std::uint64_t nSize;
        std::uint64_t nAddress;
        bool operator<(const Key& other) const {
            return nSize != other.nSize ? nSize < other.nSize : nAddress < other.nAddress;
        }
    };

  public:
    struct Node {
        Block block;
        typename IdleBlocks<Node>::Seat seat;
        Node* pNextReleased = nullptr;
    };

  private:
    using Map = std::multimap<Key, Node>;

  public:
    /// The memory for one more block, to be had before the block.
    using Entry = typename Map::node_type;

    /// Throws std::bad_alloc.
    static Entry NewEntry() {
        Map map;
        map.insert({Key{}, Node{{}, IdleBlocks<Node>::NewSeat(), nullptr}});
        return map.extract(map.begin());
    }

    /// Adds a busy block in its place. Cannot fail.
    Node& InsertBusy(Entry entry, const Block& block) {
        entry.key() = {block.nSize, AddressOf(block)};
        entry.mapped().block = block;
        entry.mapped().block.bBusy = true;
        return nodes_.insert(std::move(entry))->second;
    }

    /// Marks the smallest idle block of at least @p nSize and at most @p nTolerance bytes more as busy; the
    /// first in list order among equals. Null if there is none.
    Block* TakeIdle(std::uint64_t nSize, std::uint64_t nTolerance) {
        Node* pNode = idle_.Take(nSize, nTolerance);
        if (pNode == nullptr) return nullptr;
        pNode->block.bBusy = true;
        return &pNode->block;
    }

    /// Marks a block of this list as idle, if it is not.
    void MakeIdle(Node& node) {
        if (!node.block.bBusy) return;
        node.block.bBusy = false;
        idle_.Add(node);
    }

    /// The first block in list order that bears the address, or null. Walks the list.
    Node* Find(std::uint64_t nAddress) {
        for (auto& [key, node] : nodes_) {
            if (key.nAddress == nAddress) return &node;
        }
        return nullptr;
    }

    /// Asks @p isToGo about each idle block, in list order, and removes those for which it says so.
    template <class IsToGo>
    void RemoveIdleIf(const IsToGo& isToGo) {
        auto next = nodes_.begin();  // of those that go, most are neighbours
        idle_.RemoveIf([&isToGo](const Node& node) { return isToGo(node.block); },
                       [this, &next](const Node& node) {
                           if (next == nodes_.end() || &next->second != &node) next = PlaceOf(node);
                           next = nodes_.erase(next);
                       });
    }

    void Clear() {
        idle_.Clear();
        nodes_.clear();
    }

    std::size_t Size() const { return nodes_.size(); }

    /// Every block, in list order.
    template <class Visit>
    void ForEach(const Visit& visit) const {
        for (const auto& [key, node] : nodes_)
            visit(node.block);
    }

  private:
    typename Map::iterator PlaceOf(const Node& node) {
        auto it = nodes_.lower_bound({node.block.nSize, AddressOf(node.block)});
        while (&it->second != &node)  // twins: the same address, given twice by the system
            ++it;
        return it;
    }

    Map nodes_;
    IdleBlocks<Node> idle_;
};

}  // namespace ztk
