#include "pool/segment_sweep.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/log.h"
#include "platform/directory_scan.h"

namespace ztk {
namespace {

constexpr char kFunction[] = "ReleaseMemoryRes";

bool IsAlive(const OwnerText& owner) {
    constexpr int kDecimal = 10;
    const auto nProcess = static_cast<pid_t>(std::strtol(owner.szText, nullptr, kDecimal));
    return kill(nProcess, 0) != -1;
}

bool IsStale(const OwnerText& owner, const OwnerText& own) {
    return std::strcmp(owner.szText, own.szText) == 0 || !IsAlive(owner);
}

/// The descriptor of a name that cannot be removed stays open.
void Remove(const char* szName) {
    const int hObject = shm_open(szName, O_RDWR, 0600);
    if (shm_unlink(szName) == 0) close(hObject);
}

void SweepEntry(const FindData& entry, const OwnerText& own) {
    ZTK_LOG_WriteLog(kLogInfo, PLAIN_LINE(kFunction, 696, "ReleaseMemoryRes  find SHM Name[%s],Type[%d]"),
                     entry.szName, entry.enType);
    if (std::strcmp(entry.szName, ".") == 0 || std::strcmp(entry.szName, "..") == 0) return;
    if (entry.enType != kFileTypeRegular) {
        ZTK_LOG_WriteLog(kLogError, PLAIN_LINE(kFunction, 739, "SHM File Type=%d, Name = %s"), entry.enType,
                         entry.szName);
        return;
    }
    OwnerText owner;
    switch (ParseSegmentName(entry.szName, owner)) {
        case SegmentName::kForeign:
            break;
        case SegmentName::kMalformed:
            ZTK_LOG_WriteLog(
                kLogWarning,
                PLAIN_LINE(kFunction, 730, "ReleaseMemoryRes FileName[%s],Type[%d] is not normal file"),
                entry.szName, entry.enType);
            break;
        case SegmentName::kOwned:
            if (IsStale(owner, own)) Remove(entry.szName);
            break;
    }
}

}  // namespace

SegmentName ParseSegmentName(const char* szName, OwnerText& owner) {
    if (std::strstr(szName, "ZTKTool") == nullptr) return SegmentName::kForeign;
    const char* pFirst = std::strchr(szName, '-');
    const char* pLast = std::strrchr(szName, '-');
    if (pFirst == pLast) return SegmentName::kMalformed;
    const auto nLength = static_cast<std::size_t>(pLast - pFirst) - 1;
    if (nLength >= sizeof(owner.szText)) return SegmentName::kMalformed;  // longer than any entry's name
    std::memcpy(owner.szText, pFirst + 1, nLength);
    owner.szText[nLength] = '\0';
    return SegmentName::kOwned;
}

void ReleaseMemoryRes() {
    OwnerText own;
    std::snprintf(own.szText, sizeof(own.szText), "%d", getpid());
    FindData entry{};
    FindHandle* hFind = portable_findfirst("/dev/shm", &entry);
    if (hFind == nullptr) {
        ZTK_LOG_WriteLog(kLogError, PLAIN_LINE(kFunction, 689, "ReleaseMemoryRes portable_findfirst failed"));
        return;
    }
    do {
        SweepEntry(entry, own);
    } while (portalbe_findnext(hFind, &entry) != 0);
    portable_findclose(hFind);
}

}  // namespace ztk
