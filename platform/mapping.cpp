#include "platform/mapping.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "common/log.h"
#include "platform/mem_info.h"

namespace ztk {
namespace {

constexpr mode_t kOwnerOnly = 0600;

// Descriptors are logged with %p, as 32-bit handles: no handle is 0xffffffff.
void* HandleAsPointer(std::int32_t hOsMapping) {
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(static_cast<std::uint32_t>(hOsMapping)));
}

// Failed maps count only when they are null; the system's own failure marker is taken for an address.
void* MapShared(std::int32_t hOsMapping, std::uint64_t nLen, int nProtection) {
    return mmap(nullptr, nLen, nProtection, MAP_SHARED, hOsMapping, 0);
}

bool IsOutOfSpace(int nError) {
    return nError == ENOSPC || nError == ENOMEM || nError == EDQUOT || nError == EFBIG;
}

/// Has the kernel set the object's pages aside. ftruncate() reserves nothing: on a full /dev/shm the first
/// touch of a page would kill the process instead. Returns false, with errno, when the pages cannot be had;
/// a file system that cannot reserve is no failure, as long as the object has its length (@p bSized). Signals
/// interrupt the call and undo its work, so it goes on in smaller steps until one fits between two signals.
bool ReservePages(std::int32_t hOsMapping, std::uint64_t nLen, bool bSized) {
    constexpr std::uint64_t kSmallestStep = 65'536;
    std::uint64_t nStep = nLen;
    for (std::uint64_t nDone = 0; nDone < nLen;) {
        nStep = std::min(nStep, nLen - nDone);
        if (fallocate(hOsMapping, 0, static_cast<off_t>(nDone), static_cast<off_t>(nStep)) == 0) {
            nDone += nStep;
        } else if (errno == EINTR) {
            nStep = std::max(nStep / 2, kSmallestStep);
        } else {
            return bSized && !IsOutOfSpace(errno);
        }
    }
    return true;
}

void WriteHeader(void* pHead, const char* pName, std::uint64_t nMappingLen) {
    std::memset(pHead, 0, kHeaderSize);
    auto* pHeader = static_cast<MappingHeader*>(pHead);
    pHeader->nHeaderLen = kHeaderSize;
    // Unbounded as the format is: callers keep names well below the field's 80 bytes.
    std::memcpy(static_cast<char*>(pHead) + offsetof(MappingHeader, szName), pName, std::strlen(pName));
    pHeader->nDataLen = nMappingLen - kHeaderSize;
}

void LogHeadNotUnmapped(int nLine, void* pHead) {
    ZTK_LOG_WriteLog(kLogError,
                     PLAIN_LINE("CreateMapping_Linux", nLine,
                                "CreateMapping_Linux munmap pOSMemoryHead[%p] nErrCode[%d]\r\n"),
                     pHead, errno);
}

/// Backs the object with memory and stamps its header. Returns 0 or a status code.
Status StampHeader(std::int32_t hOsMapping, const char* pName, std::uint64_t nMappingLen, bool bSized) {
    const bool bReserved = ReservePages(hOsMapping, nMappingLen, bSized);
    void* pHead = bReserved ? MapShared(hOsMapping, kHeaderSize, PROT_READ | PROT_WRITE) : nullptr;
    if (pHead == nullptr) {
        ZTK_LOG_WriteLog(kLogError,
                         PLAIN_LINE("CreateMapping_Linux", 87,
                                    "CreateMapping_Linux mmap pOSMemoryHead[%p] nErrCode[%d]\r\n"),
                         pHead, errno);
        return ERR_NO_MEMORY;
    }
    WriteHeader(pHead, pName, nMappingLen);
    if (munmap(pHead, kHeaderSize) == 0) return ZTK_SUCCESS;
    LogHeadNotUnmapped(110, pHead);
    if (munmap(pHead, kHeaderSize) != 0) LogHeadNotUnmapped(131, pHead);
    return ERR_NO_MEMORY;
}

/// A name that cannot be removed keeps its descriptor, too: the object is still there to be looked at.
void UndoCreation(std::int32_t hOsMapping, const char* pName) {
    if (shm_unlink(pName) == 0) {
        close(hOsMapping);
    } else {
        ZTK_LOG_WriteLog(
            kLogError,
            PLAIN_LINE("CreateMapping_Linux", 144, "CreateMapping_Linux shm_unlink nErrCode[%d]\r\n"), errno);
    }
}

/// Opens or creates the object with its length and header. Returns its descriptor or kNoMapping.
std::int32_t CreateObject(const char* pName, std::uint64_t nMappingLen, std::uint32_t* pErr) {
    const std::int32_t hOsMapping = shm_open(pName, O_RDWR | O_CREAT, kOwnerOnly);
    // No failure in itself: reserving the pages gives the object its length, too. It runs on a missing
    // descriptor as well, so the number in the next line is this call's EBADF; field tooling knows it so.
    const bool bSized = ftruncate(hOsMapping, static_cast<off_t>(nMappingLen)) == 0;
    if (hOsMapping == kNoMapping) {
        ZTK_LOG_WriteLog(kLogError,
                         PLAIN_LINE("CreateMapping_Linux", 78,
                                    "CreateMapping_Linux ---shm_open hOsMapping[%p], nErrCode[%d] \r\n"),
                         HandleAsPointer(hOsMapping), errno);
        *pErr = ERR_NO_MEMORY;
        return kNoMapping;
    }
    *pErr = StampHeader(hOsMapping, pName, nMappingLen, bSized);
    if (*pErr == ZTK_SUCCESS) return hOsMapping;
    UndoCreation(hOsMapping, pName);
    return kNoMapping;
}

/// Copies the header of an object. Returns what the view's result is so far: null, or on a failed unmap the
/// address that was given up, as callers know it; then and on a failed map *pErr is set.
void* CopyHeader(std::int32_t hOsMapping, MappingHeader& header, std::uint32_t* pErr) {
    void* pHead = MapShared(hOsMapping, kHeaderSize, PROT_READ);
    if (pHead == nullptr) {
        ZTK_LOG_WriteLog(kLogError, PLAIN_LINE("MapView_Linux", 178, "MapView_Linux mmap nErrCode[%d]\r\n"),
                         errno);
        *pErr = ERR_NO_MEMORY;
        return nullptr;
    }
    std::memcpy(&header, pHead, kHeaderSize);
    if (munmap(pHead, kHeaderSize) == 0) return nullptr;
    ZTK_LOG_WriteLog(kLogError, PLAIN_LINE("MapView_Linux", 189, "MapView_Linux munmap nErrCode[%d]\r\n"),
                     errno);
    *pErr = ERR_NO_MEMORY;
    return pHead;
}

/// Judges a header that describes an MMZ block; this platform cannot share those by name.
Status JudgeMmz(std::int32_t hOsMapping, const MappingHeader& header) {
    char szMmz[sizeof(header.szMmz) + 1] = {};  // a peer need not have terminated its text
    std::memcpy(szMmz, header.szMmz, sizeof(header.szMmz));
    long nPhyAddr = 0;
    void* pVirAddr = nullptr;
    // NOLINTNEXTLINE(cert-err34-c): a number out of range is one more odd address, and only logged
    if (std::sscanf(szMmz, "MMZ_%ld_%p", &nPhyAddr, &pVirAddr) != 2) {
        ZTK_LOG_WriteLog(kLogError,
                         PLAIN_LINE("MapView_Linux", 227, "MapView_Linux Failed to parse phy and vir addr"));
        return ERR_BAD_HEADER;
    }
    ZTK_LOG_WriteLog(
        kLogInfo,
        PLAIN_LINE("MapView_Linux", 231, "MapView_Linux hMapping[%p],pVirAddr[%p], lPhyAddr[%p] \r\n"),
        HandleAsPointer(hOsMapping), pVirAddr, reinterpret_cast<void*>(nPhyAddr));
    ZTK_LOG_WriteLog(kLogError, PLAIN_LINE("MapView_Linux", 252, "MapView_Linux current palt not support"));
    return ERR_NOT_SUPPORTED;
}

/// Returns 0 if the segment itself holds the data, else a status code.
Status JudgeHeader(std::int32_t hOsMapping, const MappingHeader& header) {
    if ((header.nHeaderLen & ~kHeaderSize) != 0) {
        ZTK_LOG_WriteLog(kLogError,
                         PLAIN_LINE("MapView_Linux", 201, "MapView_Linux nHeaderLen[%d] is not correct!\r\n"),
                         header.nHeaderLen);
        return ERR_BAD_HEADER;
    }
    return header.byMMZ == 0 ? ZTK_SUCCESS : JudgeMmz(hOsMapping, header);
}

/// Has the kernel map all pages of a view at once, which takes it less than a fault for each. Only a kernel
/// of 5.14 or later knows how (MADV_POPULATE_WRITE, a name that older C libraries do not know); the others
/// map them one by one as they are cleared.
void MapAllPages(void* pView, std::uint64_t nLen) {
    constexpr int kPopulateForWriting = 23;
    madvise(pView, nLen, kPopulateForWriting);
}

/// Maps the whole object and clears what an earlier view wrote behind the header.
void* MapWhole(std::int32_t hOsMapping, std::uint64_t nMappingLen, std::uint32_t* pErr) {
    void* pView = MapShared(hOsMapping, nMappingLen, PROT_READ | PROT_WRITE);
    if (pView == nullptr) {
        ZTK_LOG_WriteLog(kLogError, PLAIN_LINE("MapView_Linux", 213, "MapView_Linux mmap nErrCode[%d]\r\n"),
                         errno);
        *pErr = ERR_NO_MEMORY;
        return nullptr;
    }
    MapAllPages(pView, nMappingLen);
    std::memset(static_cast<char*>(pView) + kHeaderSize, 0, nMappingLen - kHeaderSize);
    return pView;
}

void* MapChecked(std::int32_t hOsMapping, std::uint64_t nMappingLen, MappingHeader& header,
                 std::uint32_t* pErr) {
    void* pGivenUp = CopyHeader(hOsMapping, header, pErr);
    if (*pErr != ZTK_SUCCESS) return pGivenUp;
    *pErr = JudgeHeader(hOsMapping, header);
    return *pErr == ZTK_SUCCESS ? MapWhole(hOsMapping, nMappingLen, pErr) : nullptr;
}

}  // namespace

std::int32_t CreateMapping_Linux(const char* pName, std::uint64_t nMappingLen, std::uint32_t* pErr) {
    if (SumOfSizes({nMappingLen, kMemoryReserve}) >= GetMemAvailable_Linux()) {
        *pErr = ERR_NO_MEMORY;
        return kNoMapping;
    }
    if (nMappingLen < kHeaderSize) {
        *pErr = ERR_BAD_LENGTH;
        return kNoMapping;
    }
    *pErr = ZTK_SUCCESS;
    const std::int32_t hOsMapping = CreateObject(pName, nMappingLen, pErr);
    constexpr int kMemTypeInLine = 0;
    ZTK_LOG_WriteLog(
        kLogInfo,
        PLAIN_LINE("CreateMapping_Linux", 149,
                   "CreateMapping_Linux pName[%s],hOsMapping[%p], nMappingLen[%d],enMemType[%d] \r\n"),
        pName, HandleAsPointer(hOsMapping), static_cast<int>(nMappingLen), kMemTypeInLine);
    return hOsMapping;
}

std::int32_t OpenMapping_Linux(const char* pName, std::uint32_t* pErr) {
    const std::int32_t hOsMapping = shm_open(pName, O_RDWR, kOwnerOnly);
    *pErr = static_cast<std::uint32_t>(errno);
    return hOsMapping;
}

void* MapView_Linux(std::int32_t hOsMapping, std::uint64_t nMappingLen, std::uint32_t* pErr) {
    if (nMappingLen < kHeaderSize) {
        *pErr = ERR_BAD_LENGTH;
        ZTK_LOG_WriteLog(kLogError, PLAIN_LINE("MapView_Linux", 164, "MapView_Linux, nMappingLen[%d] < [%d]"),
                         static_cast<int>(nMappingLen), static_cast<int>(kHeaderSize));
        return nullptr;
    }
    *pErr = ZTK_SUCCESS;
    MappingHeader header{};
    void* pView = MapChecked(hOsMapping, nMappingLen, header, pErr);
    ZTK_LOG_WriteLog(
        kLogInfo,
        PLAIN_LINE("MapView_Linux", 268,
                   "MapView_Linux hMapping[%p], pView[%p],nMappingLen[%d], byMMZ[%d], nErrCode[%d] \r\n"),
        HandleAsPointer(hOsMapping), pView, static_cast<int>(nMappingLen), header.byMMZ,
        static_cast<int>(*pErr));
    return pView;
}

std::uint32_t UnmapView_Linux(void* pView, std::uint64_t nMappingLen, std::uint32_t* pErr) {
    *pErr = munmap(pView, nMappingLen) == 0 ? 0 : static_cast<std::uint32_t>(errno);
    return *pErr;
}

std::uint32_t CloseMapping_Linux(std::int32_t hOsMapping, const char* pName, std::uint32_t* pErr) {
    *pErr = shm_unlink(pName) == 0 ? 0 : static_cast<std::uint32_t>(errno);
    if (*pErr == 0) close(hOsMapping);
    return *pErr;
}

}  // namespace ztk
