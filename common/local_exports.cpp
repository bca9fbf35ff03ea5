// The exports for heap and MMZ memory, the system's memory and the setting: a check, the log lines, one call.
#include "common/log.h"
#include "common/singletons.h"
#include "common/ztk_common.h"
#include "platform/mem_info.h"

using ztk::kLogNotice;
using ztk::kLogTrace;

uint32_t AllocatePoolMemory(uint64_t nSize, int32_t enMemType, void** ppAddr, uint64_t* pHandle) {
    if (ppAddr == nullptr) return ERR_INVALID_PARAM;
    ZTK_LOG_WriteLog(kLogTrace, TAGGED_LINE("AllocatePoolMemory", 72, "AllocatePoolMemory()"));
    const uint32_t nStatus = ztk::GetLocalMemoryPool()->AllocateMemory(nSize, 0, enMemType, ppAddr, pHandle);
    ZTK_LOG_WriteLog(
        kLogTrace,
        TAGGED_LINE("AllocatePoolMemory", 74, "Allocate memory return %#x, nSize = %lu, enMemType=%d"),
        nStatus, nSize, enMemType);
    return nStatus;
}

uint32_t AllocateAlignedPoolMemory(uint64_t nSize, int32_t nAlign, int32_t enMemType, void** ppAddr,
                                   uint64_t* pHandle) {
    if (ppAddr == nullptr) return ERR_INVALID_PARAM;
    ZTK_LOG_WriteLog(kLogTrace, TAGGED_LINE("AllocateAlignedPoolMemory", 45, "AllocateAlignedPoolMemory()"));
    const uint32_t nStatus =
        ztk::GetLocalMemoryPool()->AllocateMemory(nSize, nAlign, enMemType, ppAddr, pHandle);
    ZTK_LOG_WriteLog(kLogTrace,
                     TAGGED_LINE("AllocateAlignedPoolMemory", 47,
                                 "Allocate align memory return %#x, nSize = %lu, nAlign = %d, enMemType=%d"),
                     nStatus, nSize, nAlign, enMemType);
    return nStatus;
}

uint32_t FreePoolMemory(void* pAddr) {
    return ztk::GetLocalMemoryPool()->ReleaseMemory(pAddr);
}

uint64_t GetAvailableOSSize(void) {
    ZTK_LOG_WriteLog(kLogTrace, TAGGED_LINE("GetAvailableOSSize", 12, "GetAvailableOSSize()"));
    const uint64_t nAvailable = ztk::GetMemAvailable_Linux();
    ZTK_LOG_WriteLog(kLogTrace, TAGGED_LINE("GetAvailableOSSize", 14, "Available os size: %lu"), nAvailable);
    return nAvailable;
}

uint64_t GetAvailableShareOSSize(void) {
    return 0;
}

void SetImageBufferNodeNum(int32_t nNum) {
    ZTK_LOG_WriteLog(kLogNotice, TAGGED_LINE("SetImageBufferNodeNum", 145, "SetImageBufferNodeNum(nNum=%d)"),
                     nNum);
    ztk::GetPoolSettings()->SetImageBufferNodeNum(nNum);
}

int32_t GetImageBufferNodeNum(void) {
    ZTK_LOG_WriteLog(kLogTrace, TAGGED_LINE("GetImageBufferNodeNum", 153, "GetImageBufferNodeNum()"));
    const int32_t nNum = ztk::GetPoolSettings()->GetImageBufferNodeNum();
    ZTK_LOG_WriteLog(kLogTrace, TAGGED_LINE("GetImageBufferNodeNum", 157, "image buffer node number: %d"),
                     nNum);
    return nNum;
}

uint32_t NotifyIncToolCount(void) {
    return ZTK_SUCCESS;
}

uint32_t NotifyDecToolCount(void) {
    return ZTK_SUCCESS;
}

void* ZTKMemMap(void) {
    return nullptr;
}

int32_t ZTKMemUnmap(void) {
    return -1;
}
