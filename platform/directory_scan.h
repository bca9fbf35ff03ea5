// A directory, entry by entry, in the directory's own order, the two dot entries included.
#pragma once

#include <cstdint>

namespace ztk {

constexpr std::int32_t kFileTypeOther = 0;
constexpr std::int32_t kFileTypeRegular = 1;
constexpr std::int32_t kFileTypeDirectory = 2;

struct FindData {
    char szName[512];     ///< the entry's name, NUL-terminated, cut to 511 characters
    std::int32_t enType;  ///< a kFileType; links are not followed and count as other
};

struct FindHandle;

/// Starts a scan and reads the first entry. Returns a handle for the caller to close; or null if the
/// directory cannot be opened, is empty, its first entry cannot be inspected, or memory is out. If the entry
/// was the reason the directory's stream stays open.
FindHandle* portable_findfirst(const char* szPath, FindData* pFindData);

/// Reads the next entry. Returns 0 at the end, else 1; an entry that cannot be inspected leaves
/// @p pFindData as it was.
int portalbe_findnext(FindHandle* hFind, FindData* pFindData);

/// Ends the scan. Returns 1 if the stream closed cleanly, else 0.
int portable_findclose(FindHandle* hFind);

}  // namespace ztk
