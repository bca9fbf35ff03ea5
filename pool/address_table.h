// A hash table from addresses to values: one array, half full at most, searched from an address's own slot
// on.
//
// A brick: no lock, no log. Beside the ordered address index it finds a block in the same time however many
// there are, and in one place of memory. 0 is no address.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace ztk {

template <class Value>
class AddressTable {
  public:
    /// Makes room for one address more, so that the next Set() cannot fail. Throws std::bad_alloc.
    void ReserveOne() {
        if (2 * (nUsed_ + 1) <= slots_.size()) return;
        AddressTable larger(slots_.empty() ? kFirstBits : nBits_ + 1);
        for (const Slot& slot : slots_) {
            if (slot.nAddress != 0) larger.Set(slot.nAddress, slot.value);
        }
        *this = std::move(larger);
    }

    /// Enters an address or gives it another value; room must have been reserved.
    void Set(std::uint64_t nAddress, const Value& value) {
        Slot& slot = slots_[SlotOf(nAddress)];
        if (slot.nAddress == 0) ++nUsed_;
        slot = {nAddress, value};
    }

    /// The value of an address, or null. It stays there until another address is entered or erased.
    const Value* Find(std::uint64_t nAddress) const {
        if (nUsed_ == 0) return nullptr;
        const Slot& slot = slots_[SlotOf(nAddress)];
        return slot.nAddress == 0 ? nullptr : &slot.value;
    }

    /// Forgets an address, if it is known. Those behind it that it kept from their slots move up.
    void Erase(std::uint64_t nAddress) {
        if (nUsed_ == 0) return;
        std::size_t nGap = SlotOf(nAddress);
        if (slots_[nGap].nAddress == 0) return;
        for (std::size_t n = Next(nGap); slots_[n].nAddress != 0; n = Next(n)) {
            if (Distance(Home(slots_[n].nAddress), n) < Distance(nGap, n)) continue;
            slots_[nGap] = slots_[n];
            nGap = n;
        }
        slots_[nGap] = {};
        --nUsed_;
    }

    void Clear() { *this = AddressTable(); }

    std::size_t Size() const { return nUsed_; }

    AddressTable() = default;

  private:
    struct Slot {
        std::uint64_t nAddress = 0;
        Value value{};
    };

    static constexpr unsigned kFirstBits = 4;

    explicit AddressTable(unsigned nBits) : slots_(std::size_t{1} << nBits), nBits_(nBits) {}

    /// Multiplied by 2^64 over the golden ratio, near addresses end far from each other.
    std::size_t Home(std::uint64_t nAddress) const {
        return static_cast<std::size_t>((nAddress * 0x9E3779B97F4A7C15) >> (64 - nBits_));
    }
    std::size_t Next(std::size_t nSlot) const { return (nSlot + 1) & (slots_.size() - 1); }
    std::size_t Distance(std::size_t nFrom, std::size_t nTo) const {
        return (nTo - nFrom) & (slots_.size() - 1);
    }

    /// The slot of an address, or the empty one where it would be.
    std::size_t SlotOf(std::uint64_t nAddress) const {
        std::size_t n = Home(nAddress);
        while (slots_[n].nAddress != nAddress && slots_[n].nAddress != 0)
            n = Next(n);
        return n;
    }

    std::vector<Slot> slots_;  ///< a power of two
    unsigned nBits_ = 0;       ///< of its size
    std::size_t nUsed_ = 0;
};

}  // namespace ztk
