// Where a block goes in an area of contiguous memory: in the first gap, from below, that is long enough.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace ztk_board {

/// One block in the area, and the process that has it.
struct Extent {
    std::uint64_t nStart;
    std::uint64_t nBytes;
    std::int64_t nPid;
};

struct Place {
    std::size_t nIndex;  ///< among the extents, which are sorted by where they start
    std::uint64_t nStart;
};

/// Calls @p visit(index, start, bytes) for every gap in an area of @p nCapacity bytes, also for empty ones,
/// from below, until it returns true.
template <class Visitor>
void VisitGaps(const Extent* pExtents, std::size_t nCount, std::uint64_t nCapacity, Visitor visit) {
    std::uint64_t nStart = 0;
    for (std::size_t i = 0; i < nCount; ++i) {
        if (visit(i, nStart, pExtents[i].nStart - nStart)) return;
        nStart = pExtents[i].nStart + pExtents[i].nBytes;
    }
    visit(nCount, nStart, nCapacity - nStart);
}

inline std::optional<Place> FirstFit(const Extent* pExtents, std::size_t nCount, std::uint64_t nCapacity,
                                     std::uint64_t nBytes) {
    std::optional<Place> place;
    VisitGaps(pExtents, nCount, nCapacity, [&](std::size_t nIndex, std::uint64_t nStart, std::uint64_t nGap) {
        if (nGap >= nBytes) place = Place{nIndex, nStart};
        return place.has_value();
    });
    return place;
}

inline std::uint64_t LargestGap(const Extent* pExtents, std::size_t nCount, std::uint64_t nCapacity) {
    std::uint64_t nLargest = 0;
    VisitGaps(pExtents, nCount, nCapacity, [&](std::size_t, std::uint64_t, std::uint64_t nGap) {
        nLargest = std::max(nLargest, nGap);
        return false;
    });
    return nLargest;
}

}  // namespace ztk_board
