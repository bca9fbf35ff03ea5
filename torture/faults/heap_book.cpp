#include "torture/faults/heap_book.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <cstdlib>

namespace ztk::torture {
namespace {

// Slots found by an address's own bits and searched from there on; a struck one stays marked, for those
// behind it.
constexpr std::size_t kSlots = std::size_t{1} << 16U;
const char kStruck = 0;

std::array<const void*, kSlots> g_slots;
std::size_t g_nBlocks = 0;
std::atomic_flag g_lock = ATOMIC_FLAG_INIT;

class Guard {
  public:
    Guard() {
        while (g_lock.test_and_set(std::memory_order_acquire)) {
        }
    }
    ~Guard() { g_lock.clear(std::memory_order_release); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;
};

std::size_t FirstSlot(const void* pBlock) {
    return (reinterpret_cast<std::uintptr_t>(pBlock) >> 4U) % kSlots;
}

}  // namespace

void EnterHeapBlock(const void* pBlock) {
    if (pBlock == nullptr) return;
    const Guard guard;
    if (++g_nBlocks == kSlots) std::abort();
    std::size_t n = FirstSlot(pBlock);
    while (g_slots.at(n) != nullptr && g_slots.at(n) != &kStruck)
        n = (n + 1) % kSlots;
    g_slots.at(n) = pBlock;
}

bool StrikeHeapBlock(const void* pBlock) {
    const Guard guard;
    std::size_t n = FirstSlot(pBlock);
    for (std::size_t nTried = 0; g_slots.at(n) != nullptr && nTried < kSlots; ++nTried) {
        if (g_slots.at(n) == pBlock) {
            g_slots.at(n) = &kStruck;
            --g_nBlocks;
            return true;
        }
        n = (n + 1) % kSlots;
    }
    return false;
}

std::size_t CountHeapBlocks() {
    const Guard guard;
    return g_nBlocks;
}

}  // namespace ztk::torture
