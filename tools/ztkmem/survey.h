// Looks at /dev/shm and /proc once and puts together what belongs together.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "processes.h"
#include "segment.h"
#include "shm_directory.h"

namespace ztkmem {

enum class Which { kPoolSegments, kEveryObject };

struct Survey {
    std::vector<Segment> segments;  ///< in no order
    ProcessTable processes;
    bool bEveryProcessSeen = false;
};

/// Objects and processes that vanish while it looks are left out.
/// @p bVouchedFor: see Visibility.
Survey TakeSurvey(const ShmDirectory& directory, Which enWhich, bool bVouchedFor);

/// One object. @p processes must be newer than the object's listing: a process in another pid namespace that
/// was not there yet when they were read would look dead. No value if it is gone.
std::optional<Segment> LookAtSegment(const ShmDirectory& directory, const std::string& name,
                                     const ProcessTable& processes);

}  // namespace ztkmem
