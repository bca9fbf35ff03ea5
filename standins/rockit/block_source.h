// Where the memory of a block comes from: a CMA heap of the kernel, or a memfd.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace ztk_standin {

constexpr const char* kDmaHeapDirectory = "/dev/dma_heap";

/// The heap among @p names that gives physically contiguous memory, or an empty string. The kernel's
/// default CMA area comes first, uncached heaps come last; the rest is by name, so that a desk always gets
/// the same one.
std::string ChooseCmaHeap(const std::vector<std::string>& names);

/// Maps @p nBytes (whole pages) of zeroed memory, shared with forked children. Without a usable CMA heap
/// in @p szHeapDirectory it is a memfd's; a heap that is there but has no memory left is a failure.
/// Holds no descriptor afterwards: the mapping keeps the memory.
/// Returns null with errno set on failure; may throw std::bad_alloc.
void* MapBlock(const std::string& szHeapDirectory, std::size_t nBytes);

/// Undoes MapBlock().
void UnmapBlock(void* pBlock, std::size_t nBytes);

}  // namespace ztk_standin
