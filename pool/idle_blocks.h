// The idle blocks of one list, in list order: by size, and by address among equal sizes.
//
// A brick: no lock, no clock, no log. It stands beside a list in which busy blocks would have to be walked
// past. Every node brings the memory for its place in the tree, its seat, so that nothing here can fail.
//
// Released blocks wait outside the tree until the next search. So a release costs the same however many
// blocks are idle; and one that is handed out again before another is released, as most are, costs no change
// to the tree at all.
#pragma once

#include <cstdint>
#include <set>
#include <utility>

namespace ztk {

/// A Node has a block, whose nSize and AddressOf(block) do not change while it is in here, a seat, and a
/// pointer pNextReleased. The tree repeats size and address, so that a search stays within the tree.
template <class Node>
class IdleBlocks {
    struct Listed {
        std::uint64_t nSize;
        std::uint64_t nAddress;
        Node* pNode;
        bool operator<(const Listed& other) const {
            return nSize != other.nSize ? nSize < other.nSize : nAddress < other.nAddress;
        }
    };
    using Tree = std::multiset<Listed>;

  public:
    using Seat = typename Tree::node_type;

    /// Throws std::bad_alloc.
    static Seat NewSeat() {
        Tree tree;
        tree.insert(Listed{});
        return tree.extract(tree.begin());
    }

    /// Adds a node that is not in here.
    void Add(Node& node) {
        node.pNextReleased = pReleased_;
        pReleased_ = &node;
    }

    /// Takes out and returns the first of at least @p nSize and at most @p nTolerance bytes more, or null.
    Node* Take(std::uint64_t nSize, std::uint64_t nTolerance) {
        const bool bOnlyOne = tree_.empty() && pReleased_ != nullptr && pReleased_->pNextReleased == nullptr;
        if (!bOnlyOne) return Search(nSize, nTolerance);
        return Fits(*pReleased_, nSize, nTolerance) ? std::exchange(pReleased_, nullptr) : nullptr;
    }

    /// Asks @p isToGo about each node, in order; those for which it says so are taken out and given to
    /// @p drop.
    template <class IsToGo, class Drop>
    void RemoveIf(const IsToGo& isToGo, const Drop& drop) {
        SeatReleased();
        for (auto it = tree_.begin(); it != tree_.end();) {
            Node& node = *it->pNode;
            if (isToGo(node)) {
                it = tree_.erase(it);
                drop(node);
            } else {
                ++it;
            }
        }
    }

    void Clear() {
        pReleased_ = nullptr;
        tree_.clear();
    }

  private:
    static Listed ListedAs(Node& node) { return {node.block.nSize, AddressOf(node.block), &node}; }

    static bool Fits(const Node& node, std::uint64_t nSize, std::uint64_t nTolerance) {
        return node.block.nSize >= nSize && node.block.nSize - nSize <= nTolerance;
    }

    Node* Search(std::uint64_t nSize, std::uint64_t nTolerance) {
        if (pReleased_ != nullptr && pReleased_->pNextReleased != nullptr) SeatReleased();
        const auto it = tree_.lower_bound({nSize, 0, nullptr});
        const bool bFits = it != tree_.end() && Fits(*it->pNode, nSize, nTolerance);
        const bool bReleasedFits = pReleased_ != nullptr && Fits(*pReleased_, nSize, nTolerance);
        if (bReleasedFits && !(bFits && *it < ListedAs(*pReleased_)))
            return std::exchange(pReleased_, nullptr);
        return bFits ? TakeFromTree(it) : nullptr;
    }

    void SeatReleased() {
        for (; pReleased_ != nullptr; pReleased_ = pReleased_->pNextReleased) {
            pReleased_->seat.value() = ListedAs(*pReleased_);
            tree_.insert(std::move(pReleased_->seat));
        }
    }

    Node* TakeFromTree(typename Tree::iterator it) {
        Node* pNode = it->pNode;
        pNode->seat = tree_.extract(it);
        return pNode;
    }

    Tree tree_;
    Node* pReleased_ = nullptr;  ///< those not in the tree, the last first
};

}  // namespace ztk
