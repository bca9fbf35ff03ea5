// Where memory lies physically, by /proc/self/pagemap. Only root is told.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ztk::test {

/// Writes to every page, the last one first: pages that the kernel finds only now come in an order in which
/// no free memory lies.
void TouchFromTheEnd(void* pStart, std::size_t nBytes);

/// The numbers of the physical pages behind a block, in its order. Empty if one is not there or not told.
std::vector<std::uint64_t> FramesOf(const void* pStart, std::size_t nBytes);

/// How many physically contiguous pieces they are: 1 is what a device can be given.
std::size_t CountPieces(const std::vector<std::uint64_t>& frames);

}  // namespace ztk::test
