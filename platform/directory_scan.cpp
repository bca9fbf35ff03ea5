#include "platform/directory_scan.h"

#include <dirent.h>
#include <errno.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstdio>
#include <new>

#include "common/log.h"

namespace ztk {

struct FindHandle {
    DIR* pStream;
    char szPath[1024];
};

namespace {

/// snprintf() that may cut its text: the sizes of these buffers are the limits.
template <std::size_t nSize>
void CopyCut(char (&szDest)[nSize], const char* szSource) {
    static_cast<void>(std::snprintf(szDest, nSize, "%.*s", static_cast<int>(nSize - 1), szSource));
}

template <std::size_t nSize>
void JoinCut(char (&szDest)[nSize], const char* szPath, const char* szName) {
    const int nLength = std::snprintf(szDest, nSize, "%s/%s", szPath, szName);
    static_cast<void>(nLength);  // cut when too long
}

std::int32_t TypeOf(mode_t nMode) {
    if (S_ISREG(nMode)) return kFileTypeRegular;
    return S_ISDIR(nMode) ? kFileTypeDirectory : kFileTypeOther;
}

/// Inspects an entry of @p szPath; the joined path is cut to nPathSize - 1 characters. Returns false, with
/// the path in @p szJoined and errno set, if that fails.
template <std::size_t nPathSize>
bool Inspect(const char* szPath, const char* szName, char (&szJoined)[nPathSize], FindData* pFindData) {
    JoinCut(szJoined, szPath, szName);
    struct stat status {};
    if (lstat(szJoined, &status) != 0) return false;
    pFindData->enType = TypeOf(status.st_mode);
    CopyCut(pFindData->szName, szName);
    return true;
}

}  // namespace

FindHandle* portable_findfirst(const char* szPath, FindData* pFindData) {
    DIR* pStream = opendir(szPath);
    if (pStream == nullptr) return nullptr;
    const dirent* pEntry = readdir(pStream);
    if (pEntry == nullptr) {
        closedir(pStream);
        return nullptr;
    }
    char szJoined[1024] = {};
    if (!Inspect(szPath, pEntry->d_name, szJoined, pFindData)) {
        ZTK_LOG_WriteLog(kLogError, PLAIN_LINE("portable_findfirst", 104, "lstat %s fail, error = %d"),
                         szJoined, errno);
        return nullptr;  // with the stream open, as callers of this scan know it
    }
    auto* hFind = new (std::nothrow) FindHandle();
    if (hFind == nullptr) {
        closedir(pStream);
        return nullptr;
    }
    hFind->pStream = pStream;
    CopyCut(hFind->szPath, szPath);
    return hFind;
}

int portalbe_findnext(FindHandle* hFind, FindData* pFindData) {
    const dirent* pEntry = readdir(hFind->pStream);
    if (pEntry == nullptr) return 0;
    char szJoined[2048] = {};
    if (!Inspect(hFind->szPath, pEntry->d_name, szJoined, pFindData)) {
        ZTK_LOG_WriteLog(kLogError, PLAIN_LINE("portalbe_findnext", 149, "lstat %s fail, error = %d"),
                         szJoined, errno);
    }
    return 1;
}

int portable_findclose(FindHandle* hFind) {
    const int nResult = closedir(hFind->pStream);
    delete hFind;
    return nResult == 0 ? 1 : 0;
}

}  // namespace ztk
