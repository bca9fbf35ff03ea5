// Aligned addresses inside a larger block, shared by heap, MMZ and shared-memory blocks.
//
// The block's own address is kept in the 64-bit word just below the aligned one, where the matching free
// finds it. That word need not be aligned itself: any positive alignment is honoured, 1 and 24 included.
#pragma once

#include <cstdint>
#include <cstring>

namespace ztk {

constexpr std::uint64_t kBackPointerSize = sizeof(std::uint64_t);

/// The first multiple of @p nAlign (> 0) at or above @p nBase + 8. Computed, not searched: an alignment of
/// 1 GiB must not hold a pool's lock for a second.
constexpr std::uint64_t AlignedPlace(std::uint64_t nBase, std::int32_t nAlign) {
    const auto nDivisor = static_cast<std::uint64_t>(nAlign);
    const std::uint64_t nFirst = nBase + kBackPointerSize;
    const std::uint64_t nBeyond = nFirst % nDivisor;
    return nBeyond == 0 ? nFirst : nFirst + (nDivisor - nBeyond);
}

inline void StoreBackPointer(void* pAligned, const void* pBase) {
    std::memcpy(static_cast<char*>(pAligned) - kBackPointerSize, &pBase, kBackPointerSize);
}

inline void* LoadBackPointer(const void* pAligned) {
    void* pBase = nullptr;
    std::memcpy(&pBase, static_cast<const char*>(pAligned) - kBackPointerSize, kBackPointerSize);
    return pBase;
}

/// The aligned address inside the block at @p pBase, with the back pointer stored below it.
inline void* PlaceAligned(void* pBase, std::int32_t nAlign) {
    const auto nBase = reinterpret_cast<std::uintptr_t>(pBase);
    void* pAligned = static_cast<char*>(pBase) + (AlignedPlace(nBase, nAlign) - nBase);
    StoreBackPointer(pAligned, pBase);
    return pAligned;
}

static_assert(sizeof(void*) == kBackPointerSize, "the word below an aligned address holds a pointer");

}  // namespace ztk
