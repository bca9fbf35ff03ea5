// What `ztkmem show` prints of a segment. No system access.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "segment.h"

namespace ztkmem {

/// The facts, then the header field by field, then the verdict with its reasons.
std::string ShowText(const Segment& segment, std::size_t nUnreadProcesses);

/// The names that the user may mean, the likeliest first: as typed, without /dev/shm/ or a slash in front,
/// and with the escapes undone in which this program prints names. Empty if no object can have such a name.
std::vector<std::string> NamesMeant(std::string_view typed);

}  // namespace ztkmem
