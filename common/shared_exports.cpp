// The entry points for shared memory: a check and one call. The pool writes the log lines.
#include "common/shared_exports.h"

#include "common/singletons.h"
#include "common/ztk_common.h"

namespace {

uint32_t AllocateShared(uint64_t nSize, int32_t nAlign, void** ppAddr, char* szName) {
    if (ppAddr == nullptr) return ERR_INVALID_PARAM;
    uint64_t nAddress = 0;
    const uint32_t nStatus = ztk::GetSharedMemoryPool()->AllocateMemory(nSize, nAlign, &nAddress, szName);
    if (nStatus == ZTK_SUCCESS) *ppAddr = reinterpret_cast<void*>(nAddress);
    return nStatus;
}

}  // namespace

uint32_t AllocatePoolSharedMemory(uint64_t nSize, void** ppAddr, char* szName) {
    return AllocateShared(nSize, 0, ppAddr, szName);
}

uint32_t AllocateAlignedPoolSharedMemory(uint64_t nSize, int32_t nAlign, void** ppAddr, char* szName) {
    return AllocateShared(nSize, nAlign, ppAddr, szName);
}

uint32_t FreePoolSharedMemory(void* pAddr) {
    return ztk::GetSharedMemoryPool()->ReleaseMemory(reinterpret_cast<std::uintptr_t>(pAddr));
}
