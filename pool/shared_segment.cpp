#include "pool/shared_segment.h"

#include <unistd.h>

#include <cstdio>
#include <random>

#include "common/log.h"
#include "platform/aligned_place.h"
#include "platform/mapping.h"

namespace ztk {
namespace {

using LogNumber = unsigned long long;

std::int32_t DescriptorOf(std::uint32_t hOsMapping) {
    return static_cast<std::int32_t>(hOsMapping);
}

/// The mapping layer's verdict on a view: it may fail with an address as well as without.
bool IsMapped(const void* pView, std::uint32_t nErr) {
    return pView != nullptr && nErr == ZTK_SUCCESS;
}

int RandomByte() {
    std::random_device device("default");
    std::mt19937 generator(device());
    std::uniform_int_distribution<int> byte(0, 255);
    return byte(generator);
}

/// Removes a segment that was made but not mapped.
void CloseHalfMade(std::int32_t hOsMapping, const char* szName, const char* szFunction, int nLine) {
    std::uint32_t nErr = 0;
    if (CloseMapping_Linux(hOsMapping, szName, &nErr) == 0) return;
    ZTK_LOG_WriteLog(kLogError,
                     TAGGED_LINE(szFunction, nLine, "Close file mapping failed, name=%s, sys error=%d"),
                     szName, static_cast<int>(nErr));
}

/// Unmaps and removes, whatever the unmapping gave; the lines bear the caller's name and numbers.
Status DestroySegment(std::uint64_t nSize, const char* szName, std::uint32_t hOsMapping, void* pView,
                      const char* szFunction, int nUnmapLine, int nCloseLine) {
    Status nStatus = ZTK_SUCCESS;
    std::uint32_t nErr = 0;
    if (pView != nullptr && UnmapView_Linux(pView, nSize, &nErr) != 0) {
        nStatus = ERR_NO_MEMORY;
        ZTK_LOG_WriteLog(
            kLogError,
            TAGGED_LINE(szFunction, nUnmapLine, "Unmap view of file failed, name=%s, sys error=%d"), szName,
            static_cast<int>(nErr));
    }
    if (hOsMapping != kNoOsMapping && CloseMapping_Linux(DescriptorOf(hOsMapping), szName, &nErr) != 0) {
        nStatus = ERR_NO_MEMORY;
        ZTK_LOG_WriteLog(
            kLogError,
            TAGGED_LINE(szFunction, nCloseLine, "Close file mapping failed, name=%s, sys error=%d"), szName,
            static_cast<int>(nErr));
    }
    return nStatus;
}

}  // namespace

std::string GenerateSharedMemoryName() {
    constexpr int kRandomBytes = 16;
    std::string random;
    for (int i = 0; i < kRandomBytes; ++i) {
        char szDigits[8];
        std::snprintf(szDigits, sizeof(szDigits), "%02x", static_cast<unsigned>(RandomByte()));
        random += szDigits;
    }
    return "ZTKTool-" + std::to_string(getpid()) + "-" + random;
}

// The plain and the aligned creation differ in their last step and in how they print the error code.

Status CreateSharedMemory(std::uint64_t nSize, const char* szName, std::uint32_t* pOsMapping, void** ppView) {
    constexpr char kFunction[] = "CreateSharedMemory";
    std::uint32_t nErr = 0;
    const std::int32_t hOsMapping = CreateMapping_Linux(szName, nSize, &nErr);
    if (hOsMapping == kNoMapping) {
        ZTK_LOG_WriteLog(
            kLogError,
            TAGGED_LINE(kFunction, 455, "Create file mapping failed, name=%s, size=%llu, sys error=%#x"),
            szName, static_cast<LogNumber>(nSize), nErr);
        return ERR_NO_MEMORY;
    }
    void* pView = MapView_Linux(hOsMapping, nSize, &nErr);
    if (!IsMapped(pView, nErr)) {
        ZTK_LOG_WriteLog(
            kLogError,
            TAGGED_LINE(kFunction, 462, "Map view of file failed, name=%s, size=%llu, sys error=%#x"), szName,
            static_cast<LogNumber>(nSize), nErr);
        CloseHalfMade(hOsMapping, szName, kFunction, 478);
        return ERR_NO_MEMORY;
    }
    *pOsMapping = static_cast<std::uint32_t>(hOsMapping);
    *ppView = pView;
    return ZTK_SUCCESS;
}

Status DestroySharedMerory(std::uint64_t nSize, const char* szName, std::uint32_t hOsMapping, void* pView) {
    return DestroySegment(nSize, szName, hOsMapping, pView, "DestroySharedMerory", 495, 503);
}

Status CreateAlignedSharedMemory(std::uint64_t nSize, const char* szName, std::int32_t nAlign,
                                 std::uint32_t* pOsMapping, void** ppAligned) {
    constexpr char kFunction[] = "CreateAlignedSharedMemory";
    std::uint32_t nErr = 0;
    const std::int32_t hOsMapping = CreateMapping_Linux(szName, nSize, &nErr);
    if (hOsMapping == kNoMapping) {
        ZTK_LOG_WriteLog(
            kLogError,
            TAGGED_LINE(kFunction, 526, "Create file mapping failed, name=%s, size=%llu, sys error=%d"),
            szName, static_cast<LogNumber>(nSize), static_cast<int>(nErr));
        return ERR_NO_MEMORY;
    }
    void* pView = MapView_Linux(hOsMapping, nSize, &nErr);
    if (!IsMapped(pView, nErr)) {
        ZTK_LOG_WriteLog(
            kLogError,
            TAGGED_LINE(kFunction, 534, "Map view of file failed, name=%s, size=%llu, sys error=%d"), szName,
            static_cast<LogNumber>(nSize), static_cast<int>(nErr));
        CloseHalfMade(hOsMapping, szName, kFunction, 559);
        return ERR_NO_MEMORY;
    }
    *pOsMapping = static_cast<std::uint32_t>(hOsMapping);
    *ppAligned = PlaceAligned(pView, nAlign);
    return ZTK_SUCCESS;
}

Status DestroyAlignedSharedMemory(std::uint64_t nSize, const char* szName, std::int32_t /*nAlign*/,
                                  std::uint32_t hOsMapping, void* pAligned) {
    return DestroySegment(nSize, szName, hOsMapping, LoadBackPointer(pAligned), "DestroyAlignedSharedMemory",
                          583, 591);
}

void CloseShareMemory(const char* szName) {
    constexpr char kFunction[] = "CloseShareMemory";
    if (szName == nullptr) return;
    ZTK_LOG_WriteLog(kLogNotice, PLAIN_LINE(kFunction, 604, "Close Mapping Name = %s"), szName);
    std::uint32_t nErr = 0;
    const std::int32_t hOsMapping = OpenMapping_Linux(szName, &nErr);
    if (hOsMapping == kNoMapping) {
        ZTK_LOG_WriteLog(kLogWarning, PLAIN_LINE(kFunction, 622, "open Mapping Name = %s failed, err = %d"),
                         szName, static_cast<int>(nErr));
        return;
    }
    const std::uint32_t nResult = CloseMapping_Linux(hOsMapping, szName, &nErr);
    if (nResult != 0) {
        ZTK_LOG_WriteLog(kLogError, PLAIN_LINE(kFunction, 617, "close Mapping Name = %s failed, err = %d"),
                         szName, static_cast<int>(nResult));
    }
}

}  // namespace ztk
