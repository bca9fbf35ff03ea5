// Which segments may be removed, and the last look before each is. No system access.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "segment.h"

namespace ztkmem {

struct ReapPlan {
    std::vector<Segment> chosen;
    std::vector<Segment> kept;
    std::size_t nTooYoung = 0;  ///< of the kept ones: stale otherwise
};

/// Chooses what is stale and at least @p nMinAge seconds old.
ReapPlan PlanReap(std::vector<Segment> segments, std::int64_t nMinAge);

/// The objects at the moment of removal.
class ReapTarget {
  public:
    ReapTarget() = default;
    ReapTarget(const ReapTarget&) = delete;
    ReapTarget& operator=(const ReapTarget&) = delete;
    virtual ~ReapTarget() = default;

    /// As it is now, its owner judged anew; no value if it is gone.
    virtual std::optional<Segment> LookAgain(const std::string& name) = 0;
    /// 0, or the errno.
    virtual int Remove(const std::string& name) = 0;
};

enum class Removal {
    kRemoved,
    kGone,       ///< somebody else was faster
    kOther,      ///< the name is another object's now
    kNotProven,  ///< its owner is not proven dead any more
    kRefused,
};

struct RemovalResult {
    Removal enRemoval = Removal::kRemoved;
    int nError = 0;
};

/// Removes what was chosen, unless it is no longer what it was. Between the last look and the removal a
/// moment remains, since the system removes names, not objects; the library never makes a name twice.
RemovalResult RemoveIfStale(const Segment& chosen, ReapTarget& target);

/// "-", or why @p segment is kept, for the summary.
std::string KeptBecause(const Segment& segment);

/// What is to be removed, in columns, and what that would free.
std::string ReapText(const ReapPlan& plan, std::size_t nUnreadProcesses);

}  // namespace ztkmem
