// The sweep at load: removes the segments that dead processes left behind.
#pragma once

namespace ztk {

enum class SegmentName {
    kForeign,    ///< not marked as one of this library's
    kMalformed,  ///< marked, without a process id between two dashes
    kOwned,      ///< marked, with an owner
};

/// The owner's text in a segment's name, as long as a directory entry's name can be.
struct OwnerText {
    char szText[512];
};

/// Reads the owner out of a name: all between its first and its last dash. Writes @p owner for kOwned only.
/// Needs no memory and trusts nothing: anyone may put names into the directory.
SegmentName ParseSegmentName(const char* szName, OwnerText& owner);

/// Removes every segment under /dev/shm whose owner is not alive, and every one with this process's own id.
/// To be run before this process has made any. A failing kill() counts as a dead owner whatever the reason,
/// and an owner without a number counts as alive: the kit's processes rely on both.
void ReleaseMemoryRes();

}  // namespace ztk
