#pragma once

#include <cstdint>

namespace ztk::torture {

void SetLogLevel(int nLevel);

/// What the reclaimers did while the threads worked: checks of the idle total, dumps, and blocks that they
/// gave back to the system since it was too large.
struct Background {
    std::uint64_t nChecks;
    std::uint64_t nDumpLines;
    std::uint64_t nFreed;
};
Background CountBackground();

}  // namespace ztk::torture
