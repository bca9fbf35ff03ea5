// One axis for all lines of a log, whatever their clocks do.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include "log/stamp.h"

namespace ztkmem::log {

/// When a line was written: its number, and its time if there was one up to here.
struct Moment {
    std::uint64_t nLine = 0;
    double seconds = std::numeric_limits<double>::quiet_NaN();

    bool HasTime() const { return !std::isnan(seconds); }
};

/// The first form of time that a line shows is the log's; lines without, or with another form, take the time
/// of the line before. Midnight passes. A clock that is set (a jump back of more than a minute, or ahead by
/// more than half a year, as on a board without a battery) does not move the axis: later times are shifted.
class Timeline {
  public:
    Moment At(std::uint64_t nLine, const std::optional<Stamp>& stamp);

    ClockKind Kind() const { return enKind_; }
    unsigned ClockSets() const { return nSets_; }

    /// Those of them that were jumps back, and seconds of the largest: a clock that is set, or parts of a log
    /// in the wrong order.
    unsigned ClockSetsBack() const { return nSetsBack_; }
    double LargestStepBack() const { return largestStepBack_; }

    /// The moment in the log's own terms: what its clock showed after it was last set, or "line 17".
    std::string Text(const Moment& moment) const;

    /// What has to be added to a moment's seconds to have what the log's clock showed.
    double ShownOffset() const { return 60.0 * nZoneMinutes_ - shift_; }

  private:
    double Shifted(double seconds);

    ClockKind enKind_ = ClockKind::kNone;
    int nZoneMinutes_ = 0;
    double shift_ = 0;
    Moment last_;
    unsigned nSets_ = 0;
    unsigned nSetsBack_ = 0;
    double largestStepBack_ = 0;
};

}  // namespace ztkmem::log
