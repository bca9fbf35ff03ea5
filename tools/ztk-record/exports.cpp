// The library's allocations and releases, recorded and passed on. The other exports are not touched.
#include "common/ztk_common.h"
#include "real.h"
#include "recorder.h"
#include "sites.h"

namespace ztk_record {
namespace {

/// From its making to End() the real function runs.
class Call {
  public:
    Call(Operation enOperation, void* pCaller)
        : enOperation_(enOperation), bRecorded_(IsReady() && !g_local.bBusy) {
        if (!bRecorded_) return;
        nSite_ = SiteOf(pCaller);
        g_local.nNoted = 0;
        nBegin_ = NowTicks();
    }

    void EndAllocation(std::uint32_t nStatus, void* const* ppAddr, std::uint64_t nSize, std::int32_t nAlign,
                       std::int32_t enMemType) const {
        if (!bRecorded_) return;
        const std::uint64_t nEnd = NowTicks();
        Record* pRecord = NextRecord();
        if (pRecord == nullptr) return;
        pRecord->nTicks = nEnd;
        pRecord->nAddress = nStatus == 0 ? reinterpret_cast<std::uintptr_t>(*ppAddr) : 0;
        pRecord->nSize = nSize;
        pRecord->nAlign = nAlign;
        pRecord->enMemType = enMemType;
        pRecord->nFlags = static_cast<std::uint8_t>(g_local.nNoted | (ppAddr == nullptr ? kNoOutput : 0));
        Finish(*pRecord, nStatus, nEnd);
    }

    void EndRelease(std::uint32_t nStatus, void* pAddr) const {
        if (!bRecorded_) return;
        const std::uint64_t nEnd = NowTicks();
        Record* pRecord = NextRecord();
        if (pRecord == nullptr) return;
        *pRecord = {};
        pRecord->nTicks = nBegin_;
        pRecord->nAddress = reinterpret_cast<std::uintptr_t>(pAddr);
        Finish(*pRecord, nStatus, nEnd);
    }

  private:
    void Finish(Record& record, std::uint32_t nStatus, std::uint64_t nEnd) const {
        const std::uint64_t nDuration = nEnd - nBegin_;
        record.nDuration = nDuration < UINT32_MAX ? static_cast<std::uint32_t>(nDuration) : UINT32_MAX;
        record.nSite = nSite_;
        record.nThread = g_local.nThread;
        record.nStatus = PackStatus(nStatus);
        record.enOperation = enOperation_;
        Publish();
    }

    const Operation enOperation_;
    const bool bRecorded_;
    std::uint32_t nSite_ = 0;
    std::uint64_t nBegin_ = 0;
};

template <class Function>
uint32_t Release(Operation enOperation, Real enReal, Function* /*pType*/, void* pAddr, void* pCaller) {
    auto* pReal = RealOf<Function*>(enReal);
    if (pReal == nullptr) return ERR_INVALID_PARAM;
    const Call call(enOperation, pCaller);
    const uint32_t nStatus = pReal(pAddr);
    call.EndRelease(nStatus, pAddr);
    return nStatus;
}

}  // namespace
}  // namespace ztk_record

using ztk_record::Call;
using ztk_record::Operation;
using ztk_record::Real;
using ztk_record::RealOf;

uint32_t AllocatePoolMemory(uint64_t nSize, int32_t enMemType, void** ppAddr, uint64_t* pHandle) {
    auto* pReal = RealOf<decltype(&AllocatePoolMemory)>(Real::kAllocatePoolMemory);
    if (pReal == nullptr) return ERR_NO_MEMORY;
    const Call call(Operation::kAllocate, __builtin_return_address(0));
    const uint32_t nStatus = pReal(nSize, enMemType, ppAddr, pHandle);
    call.EndAllocation(nStatus, ppAddr, nSize, 0, enMemType);
    return nStatus;
}

uint32_t AllocateAlignedPoolMemory(uint64_t nSize, int32_t nAlign, int32_t enMemType, void** ppAddr,
                                   uint64_t* pHandle) {
    auto* pReal = RealOf<decltype(&AllocateAlignedPoolMemory)>(Real::kAllocateAlignedPoolMemory);
    if (pReal == nullptr) return ERR_NO_MEMORY;
    const Call call(Operation::kAllocateAligned, __builtin_return_address(0));
    const uint32_t nStatus = pReal(nSize, nAlign, enMemType, ppAddr, pHandle);
    call.EndAllocation(nStatus, ppAddr, nSize, nAlign, enMemType);
    return nStatus;
}

uint32_t AllocatePoolSharedMemory(uint64_t nSize, void** ppAddr, char* szName) {
    auto* pReal = RealOf<decltype(&AllocatePoolSharedMemory)>(Real::kAllocatePoolSharedMemory);
    if (pReal == nullptr) return ERR_NO_MEMORY;
    const Call call(Operation::kAllocateShared, __builtin_return_address(0));
    const uint32_t nStatus = pReal(nSize, ppAddr, szName);
    call.EndAllocation(nStatus, ppAddr, nSize, 0, 0);
    return nStatus;
}

uint32_t FreePoolMemory(void* pAddr) {
    return ztk_record::Release(Operation::kRelease, Real::kFreePoolMemory, &FreePoolMemory, pAddr,
                               __builtin_return_address(0));
}

uint32_t FreePoolSharedMemory(void* pAddr) {
    return ztk_record::Release(Operation::kReleaseShared, Real::kFreePoolSharedMemory, &FreePoolSharedMemory,
                               pAddr, __builtin_return_address(0));
}
