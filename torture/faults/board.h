// The board's two libraries: MMZ blocks of a board with little memory, and a log whose lines are kept.
#pragma once

#include <cstddef>

namespace ztk::torture {

constexpr std::size_t kRoomyMmz = std::size_t{16} << 20U;

/// Bytes of MMZ blocks that there can be at a time.
void SetMmzCapacity(std::size_t nBytes);
std::size_t CountMmzBlocks();

void SetLogLevel(int nLevel);

}  // namespace ztk::torture
