#pragma once

#include <cstdint>

namespace ztk::torture {

void SetLogLevel(int nLevel);

/// What was done while the threads worked: checks of the idle total, dumps and blocks that went back to the
/// system.
struct Background {
    std::uint64_t nChecks;
    std::uint64_t nDumpLines;
    std::uint64_t nFreed;
};
Background CountBackground();

}  // namespace ztk::torture
