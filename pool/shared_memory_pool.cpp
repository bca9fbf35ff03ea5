#include "pool/shared_memory_pool.h"

#include <cstdio>
#include <string>

#include "common/log.h"
#include "platform/address_text.h"
#include "platform/portable_helpers.h"
#include "pool/segment_sweep.h"

namespace ztk {
namespace {

void* ViewOf(const SharedMemoryBlock& block) {
    return reinterpret_cast<void*>(block.pAddr);
}

}  // namespace

// ---- life ------------------------------------------------------------------------------------------

SharedMemoryPool::SharedMemoryPool() : BlockPool({57, 64, 85}) {
    Init();
}

SharedMemoryPool::~SharedMemoryPool() {
    UnInit();
}

bool SharedMemoryPool::Init() {
    ReleaseMemoryRes();
    return StartReclaimer();
}

bool SharedMemoryPool::StartReclaimer() {
    return reclaimer_.Start(FreeUnbusySharedMemoryThread, this);
}

void* SharedMemoryPool::FreeUnbusySharedMemoryThread(void* pPool) {
    if (pPool == nullptr) return nullptr;
    ZTK_LOG_WriteLog(
        kLogInfo,
        TAGGED_LINE("FreeUnbusySharedMemoryThread", 25, "Free unbusy shared memory thread, tid=%llu"),
        static_cast<unsigned long long>(GetCurrentThreadIdEx()));
    static_cast<SharedMemoryPool*>(pPool)->DoFreeUnbusyMemoryWork();
    return nullptr;
}

// ---- blocks ----------------------------------------------------------------------------------------

Status SharedMemoryPool::AllocateMemory(std::uint64_t nSize, std::int32_t nAlign, std::uint64_t* pAddr,
                                        char* pszName) {
    return Obtain(nSize, {nAlign, GetSizeClass(nSize)}, [pAddr, pszName](const SharedMemoryBlock& block) {
        *pAddr = block.pAddr;
        portable_strcpy(pszName, ZTK_SHARED_NAME_SIZE, block.szName);
    });
}

Status SharedMemoryPool::ReleaseMemory(std::uint64_t pAddr) {
    return TakeBack(pAddr);
}

SharedMemoryBlock SharedMemoryPool::NewBlock(std::uint64_t nSize) {
    SharedMemoryBlock block;
    block.nSize = nSize;
    portable_strcpy(block.szName, sizeof(block.szName), GenerateSharedMemoryName().c_str());
    return block;
}

Status SharedMemoryPool::MakeBlock(SharedMemoryBlock& block, const BlockLocation& location) {
    void* pAddr = nullptr;
    const Status nStatus =
        location.nAlign > 0
            ? CreateAlignedSharedMemory(block.nSize, block.szName, location.nAlign, &block.hOsMapping, &pAddr)
            : CreateSharedMemory(block.nSize, block.szName, &block.hOsMapping, &pAddr);
    block.pAddr = reinterpret_cast<std::uintptr_t>(pAddr);
    return nStatus;
}

void SharedMemoryPool::UnmakeBlock(const SharedMemoryBlock& block, const BlockLocation& location) {
    if (location.nAlign < 1) {
        DestroySharedMerory(block.nSize, block.szName, block.hOsMapping, ViewOf(block));
    } else {
        DestroyAlignedSharedMemory(block.nSize, block.szName, location.nAlign, block.hOsMapping,
                                   ViewOf(block));
    }
}

// Parent and child would hand out the same segment under the same name.
bool SharedMemoryPool::SurvivesFork(const BlockLocation& /*location*/) {
    return false;
}

// ---- dump ------------------------------------------------------------------------------------------

void SharedMemoryPool::Describe(const SharedMemoryBlock& block, BlockDump& dump) {
    char szEntry[32];
    std::snprintf(szEntry, sizeof(szEntry), "%lu, ", block.nSize);
    dump.Add(szEntry, block.nSize);
}

void SharedMemoryPool::DumpMemoryInfo() try {
    const ReadGuard guard(lock_);
    BlockDump dump("##############Shared memory pool block list detail: #####################");
    DescribeBlocks({INT32_MIN, INT32_MIN}, {INT32_MAX, INT32_MAX}, dump);
    ZTK_LOG_WriteLog(kLogTrace, TAGGED_LINE("DumpMemoryInfo", 437, "%s"), dump.Text());
    ZTK_LOG_WriteLog(
        kLogInfo,
        TAGGED_LINE("DumpMemoryInfo", 438, "Shared memory pool contains %d block(s), total size: %llu bytes"),
        dump.Count(), static_cast<unsigned long long>(dump.TotalSize()));
} catch (const std::exception&) {  // the next dump is a minute away
}

// ---- log lines -------------------------------------------------------------------------------------

void SharedMemoryPool::LogRetry() {
    ZTK_LOG_WriteLog(kLogError,
                     TAGGED_LINE("AllocateMemory", 161,
                                 "Insufficient shared memory, free all unbusy block(s) and try again"));
}

void SharedMemoryPool::LogFailed(Status nStatus, std::uint64_t nSize, const BlockLocation& location) {
    ZTK_LOG_WriteLog(
        kLogError,
        TAGGED_LINE("AllocateMemory", 176, "Allocate shared memory failed, nErrCode=%#x, size=%lu, align=%d"),
        nStatus, nSize, location.nAlign);
}

void SharedMemoryPool::LogAllocated(const SharedMemoryBlock& block) {
    ZTK_LOG_WriteLog(kLogInfo, TAGGED_LINE("AllocateMemory", 180, "Allocate shared memory addr=%s, size=%lu"),
                     AddressToString(block.pAddr).szText, block.nSize);
}

void SharedMemoryPool::LogUnknownAddress() {
    ZTK_LOG_WriteLog(kLogError,
                     TAGGED_LINE("ReleaseMemory", 238, "Memory pointer is not corrected, may be corrupted!"));
}

void SharedMemoryPool::LogFreed(const SharedMemoryBlock& block) {
    ZTK_LOG_WriteLog(kLogInfo, TAGGED_LINE("FreeUnbusyMemory", 372, "Free shared memory addr=%s, size=%llu"),
                     AddressToString(block.pAddr).szText, static_cast<unsigned long long>(block.nSize));
}

void SharedMemoryPool::LogLimit(std::uint64_t nRedundantSize) {
    ZTK_LOG_WriteLog(kLogInfo,
                     TAGGED_LINE("DoFreeUnbusyMemoryWork", 321,
                                 "Current redundant memory size: %lu bytes, allow limit size: %lu bytes"),
                     nRedundantSize, kAllowedLimit);
}

}  // namespace ztk
