// Where an axis has its ticks, and what they are called.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "log/stamp.h"

namespace ztkmem::log {

struct Tick {
    double at = 0;  ///< in the unit of the axis
    std::string label;
};

struct Axis {
    double from = 0;
    double to = 1;
    std::string title;
    std::vector<Tick> ticks;
};

/// From 0 to at least @p nMost bytes. Values are divided by @p unit to be on it.
struct SizeAxis : Axis {
    double unit = 1;
};

SizeAxis MakeSizeAxis(std::int64_t nMost);

/// @p shownOffset is what has to be added to have what the log's clock shows.
Axis MakeTimeAxis(ClockKind enKind, double from, double to, double shownOffset);

Axis MakeLineAxis(double from, double to);

}  // namespace ztkmem::log
