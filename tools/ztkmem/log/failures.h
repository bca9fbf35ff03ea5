// What failed, how often, and for which sizes.
#pragma once

#include <cstdint>
#include <vector>

#include "log/line_forms.h"
#include "log/log_line.h"
#include "log/series.h"

namespace ztkmem::log {

struct SizeRange {
    std::uint64_t nLeast = 0;
    std::uint64_t nMost = 0;
    std::uint64_t nLast = 0;
    std::uint64_t nCount = 0;

    void Add(std::uint64_t nSize);
};

/// One kind of error line. Lines without a size have none in the range.
struct Failure {
    const LineForm* pForm = nullptr;
    Memory enMemory = Memory::kUntold;
    std::uint64_t nCount = 0;
    SizeRange sizes;
    Moment first;
    Moment last;
    std::uint64_t nLeastAvailable = UINT64_MAX;  ///< of lines that tell what the system had left
};

class Failures {
  public:
    void Add(const LogLine& line, Memory enMemory, const Moment& moment);

    /// In the order in which they were first seen; there are no more than kinds of lines.
    const std::vector<Failure>& All() const { return failures_; }

  private:
    std::vector<Failure> failures_;
};

/// What a line about a failed allocation of the local pool says about its memory: "plat=0" is heap, 1 MMZ,
/// anything else a type that does not exist.
Memory MemoryOfType(std::uint64_t nType);

}  // namespace ztkmem::log
