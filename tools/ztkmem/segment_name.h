// What a name in /dev/shm says: whether it is one of the library's, and who owns the object.
#pragma once

#include <optional>
#include <string_view>

namespace ztkmem {

enum class NameKind {
    kPool,  ///< exactly as the library makes them: ZTKTool-<pid>-<32 lower-case hex digits>
    kOdd,   ///< marked "ZTKTool", so that the library's sweep looks at it, but not as the library makes them
    kForeign,  ///< another program's
};

struct SegmentName {
    NameKind enKind = NameKind::kForeign;
    int nOwner = 0;  ///< process id; 0 unless kPool
};

/// Trusts nothing: anyone may put names into the directory.
SegmentName ParseSegmentName(std::string_view name);

/// The process id by which the library's sweep judges the name: 0 and below stand for process groups, no
/// value for a name that it keeps unjudged. It reads the digits between the first and the last dash.
std::optional<int> SweepOwner(std::string_view name);

}  // namespace ztkmem
