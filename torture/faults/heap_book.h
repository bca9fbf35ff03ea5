// The blocks of the C heap that the library, or the C++ library for it, has and has not given back.
#pragma once

#include <cstddef>

namespace ztk::torture {

void EnterHeapBlock(const void* pBlock);

/// Returns false if the block is not in the book.
bool StrikeHeapBlock(const void* pBlock);

std::size_t CountHeapBlocks();

}  // namespace ztk::torture
