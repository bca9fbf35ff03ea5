// Memory straight from the system, by memory type: the C heap or the board's MMZ.
//
// No state, no lock: any function from any thread. The allocators return null on failure after logging why.
// A block goes back through the free that matches its allocator (plain or aligned), with the same memory
// type; nothing checks this. Memory types other than these two allocate nothing and free nothing, silently.
#pragma once

#include <cstdint>

namespace ztk {

constexpr std::int32_t kMemTypeOs = 0;
constexpr std::int32_t kMemTypeMmz = 1;

/// @p pHandle may be null; it receives the MMZ handle of an MMZ block and is not written for a heap block.
void* MallocMem(std::uint64_t nSize, std::int32_t enMemType, std::uint64_t* pHandle);

/// As MallocMem(), at a multiple of @p nAlign (any number above 0). The block's own address is kept in the
/// word below (see aligned_place.h). The handle of an aligned MMZ block is moved up by as much as the
/// address: callers know it so, and the free does not use it.
void* AlignMallocMem(std::uint64_t nSize, std::int32_t nAlign, std::int32_t enMemType,
                     std::uint64_t* pHandle);

void FreeMem(void* pAddr, std::int32_t enMemType);
void AlignFreeMem(void* pAddr, std::int32_t enMemType);

// The allocators behind them, one pair for each memory type.
void* Malloc_OS(std::uint64_t nSize);
void* AlignMalloc_OS(std::uint64_t nSize, std::int32_t nAlign);
void Free_OS(void* pAddr);

void* Malloc_MMZ_Q527(std::uint64_t nSize, std::uint64_t* pHandle);
void* AlignMalloc_MMZ_Q527(std::uint64_t nSize, std::int32_t nAlign, std::uint64_t* pHandle);
void Free_MMZ_Q527(void* pAddr);

}  // namespace ztk
