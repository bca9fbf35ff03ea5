// A peer that changes a segment's header in the worst moment: when its owner has stamped it and is about to
// read it back. The owner's mmap() of the header comes through here.
#pragma once

#include <array>
#include <cstdint>

#include "torture/fuzz/header_oracle.h"

namespace ztk::torture {

/// From now on every header reads as @p pHeader says, with the segment's own name; null: as it is.
void ChangeHeadersTo(const HeaderBytes* pHeader);

/// How often the lines 201, 227, 231 and 252 have been logged since the last call.
struct HeaderLines {
    int nBadLength, nUnreadable, nMmz, nNotSupported;
};
HeaderLines TakeHeaderLines();

}  // namespace ztk::torture
