// How a program of the campaign says what it found (see README.md).
#pragma once

#include <cinttypes>
#include <cstdint>
#include <cstdio>

namespace ztk::torture {

/// Prints the last line of a part. Returns the program's exit status.
inline int Report(const char* szPart, std::uint64_t nRuns, std::uint64_t nDifferences, std::uint64_t nSeed) {
    std::printf("{\"part\": \"%s\", \"runs\": %" PRIu64 ", \"differences\": %" PRIu64 ", \"seed\": %" PRIu64
                "}\n",
                szPart, nRuns, nDifferences, nSeed);
    return nDifferences == 0 ? 0 : 1;
}

/// Instead of Report(), where the machine does not allow what the part needs.
inline int ReportSkipped(const char* szPart, const char* szReason) {
    std::printf("{\"part\": \"%s\", \"skipped\": \"%s\"}\n", szPart, szReason);
    return 0;
}

}  // namespace ztk::torture
