// A line's way out.
#pragma once

#include <cstddef>

namespace ztk_standin {

/// Writes @p nBytes with one write() as far as the kernel takes them at once, else with as few as it takes.
/// Gives up on an error, and on a reader that lets a non-blocking descriptor wait for a second.
void WriteWhole(int nFd, const char* pBytes, std::size_t nBytes);

}  // namespace ztk_standin
