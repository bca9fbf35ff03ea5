// What only grows.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <vector>

#include "log/dump_reader.h"

namespace ztkmem::log {

/// A number seen again and again.
struct Trend {
    std::uint64_t nFirst = 0;
    std::uint64_t nLast = 0;
    std::uint64_t nGrew = 0;
    std::uint64_t nShrank = 0;
    std::uint64_t nLastGrowth = 0;  ///< the look at which it grew last

    void Look(std::uint64_t nValue, std::uint64_t nLook);
};

struct GrowingSize {
    std::uint64_t nSize = 0;  ///< 0: sizes that were too many to tell apart
    Trend trend;
};

/// The blocks of each size, from look to look. A pool that warms up grows, too: what is reported grew at
/// three looks or more, never shrank, and grew at one of the last third of all looks.
class Growth {
  public:
    static constexpr std::uint64_t kFewestLooks = 4;
    static constexpr std::uint64_t kFewestSteps = 3;

    void Look(const SizeCounts& counts);

    /// The same where only these sizes have changed since the last look.
    void Look(const SizeCounts& counts, const std::set<std::uint64_t>& changed);

    std::uint64_t Looks() const { return nLooks_; }

    /// Those that only grow, the most bytes gained first.
    std::vector<GrowingSize> OnlyGrowing() const;

  private:
    void LookAt(std::uint64_t nSize, const SizeCounts& counts);
    bool OnlyGrows(const Trend& trend) const;

    std::map<std::uint64_t, Trend> trends_;
    std::uint64_t nLooks_ = 0;
};

}  // namespace ztkmem::log
