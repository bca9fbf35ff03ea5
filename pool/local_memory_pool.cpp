#include "pool/local_memory_pool.h"

#include <cstdio>

#include "common/log.h"
#include "platform/address_text.h"
#include "platform/raw_memory.h"

namespace ztk {

// ---- life ------------------------------------------------------------------------------------------

LocalMemoryPool::LocalMemoryPool() : BlockPool({45, 52, 72}) {
    Init();
}

LocalMemoryPool::~LocalMemoryPool() {
    UnInit();
}

bool LocalMemoryPool::Init() {
    return StartReclaimer();
}

bool LocalMemoryPool::StartReclaimer() {
    return reclaimer_.Start(FreeUnbusyMemoryThread, this);
}

void* LocalMemoryPool::FreeUnbusyMemoryThread(void* pPool) {
    if (pPool == nullptr) return nullptr;
    ZTK_LOG_WriteLog(kLogInfo,
                     TAGGED_LINE("FreeUnbusyMemoryThread", 17, "Free unbusy memory thread, tid=%llu"),
                     static_cast<unsigned long long>(GetCurrentThreadIdEx()));
    static_cast<LocalMemoryPool*>(pPool)->DoFreeUnbusyMemoryWork();
    return nullptr;
}

// ---- blocks ----------------------------------------------------------------------------------------

Status LocalMemoryPool::AllocateMemory(std::uint64_t nSize, std::int32_t nAlign, std::int32_t enMemType,
                                       void** ppAddr, std::uint64_t* pHandle) {
    return Obtain(nSize, {nAlign, GetSizeClass(nSize), enMemType}, [ppAddr, pHandle](const BlockInfo& block) {
        *ppAddr = block.pAddr;
        if (pHandle != nullptr) *pHandle = block.nHandle;
    });
}

Status LocalMemoryPool::ReleaseMemory(void* pAddr) {
    return TakeBack(reinterpret_cast<std::uintptr_t>(pAddr));
}

BlockInfo LocalMemoryPool::NewBlock(std::uint64_t nSize) {
    BlockInfo block;
    block.nSize = nSize;
    return block;
}

Status LocalMemoryPool::MakeBlock(BlockInfo& block, const BlockPlace& place) {
    block.pAddr = place.nAlign > 0
                      ? AlignMallocMem(block.nSize, place.nAlign, place.enMemType, &block.nHandle)
                      : MallocMem(block.nSize, place.enMemType, &block.nHandle);
    return block.pAddr != nullptr ? ZTK_SUCCESS : ERR_NO_MEMORY;
}

void LocalMemoryPool::UnmakeBlock(const BlockInfo& block, const BlockPlace& place) {
    if (place.nAlign < 1) {
        FreeMem(block.pAddr, place.enMemType);
    } else {
        AlignFreeMem(block.pAddr, place.enMemType);
    }
}

// A forked child has the heap copied; MMZ is the same physical memory in both.
bool LocalMemoryPool::SurvivesFork(const BlockPlace& place) {
    return place.enMemType == kMemTypeOs;
}

// ---- dump ------------------------------------------------------------------------------------------

void LocalMemoryPool::Describe(const BlockInfo& block, BlockDump& dump) {
    char szEntry[80];
    std::snprintf(szEntry, sizeof(szEntry), "%lu[%#lx:%#lx], ", block.nSize, AddressOf(block), block.nHandle);
    dump.Add(szEntry, block.nSize);
}

BlockDump LocalMemoryPool::DumpOf(const char* szHeading, std::int32_t enMemType) {
    BlockDump dump(szHeading);
    DescribeBlocks({INT32_MIN, INT32_MIN, enMemType}, {INT32_MIN, INT32_MIN, enMemType + 1}, dump);
    return dump;
}

void LocalMemoryPool::DumpMemoryInfo() try {
    const ReadGuard guard(lock_);
    {
        const BlockDump dump =
            DumpOf("*************OS Memory pool block list detail:*****************", kMemTypeOs);
        ZTK_LOG_WriteLog(kLogTrace, TAGGED_LINE("DumpMemoryInfo", 438, "%s"), dump.Text());
        ZTK_LOG_WriteLog(
            kLogInfo,
            TAGGED_LINE("DumpMemoryInfo", 439, "OS Memory pool contains %d block(s), total size: %llu bytes"),
            dump.Count(), static_cast<unsigned long long>(dump.TotalSize()));
    }
    {
        const BlockDump dump =
            DumpOf("----------------MMZ Memory pool block list detail: ----------------------", kMemTypeMmz);
        ZTK_LOG_WriteLog(kLogTrace, TAGGED_LINE("DumpMemoryInfo", 475, "%s"), dump.Text());
        ZTK_LOG_WriteLog(kLogInfo,
                         TAGGED_LINE("DumpMemoryInfo", 476,
                                     "MMZ Memory pool contains %d block(s), total size: %llu bytes"),
                         dump.Count(), static_cast<unsigned long long>(dump.TotalSize()));
    }
} catch (const std::exception&) {  // the next dump is a minute away
}

// ---- log lines -------------------------------------------------------------------------------------

void LocalMemoryPool::LogRetry() {
    ZTK_LOG_WriteLog(kLogError, TAGGED_LINE("AllocateMemory", 142,
                                            "Insufficient memory, free all unbusy block(s) and try again"));
}

void LocalMemoryPool::LogFailed(Status /*nStatus*/, std::uint64_t nSize, const BlockPlace& place) {
    ZTK_LOG_WriteLog(
        kLogError, TAGGED_LINE("AllocateMemory", 155, "Allocate memory failed, size=%lu, align=%d, plat=%d"),
        nSize, place.nAlign, place.enMemType);
}

void LocalMemoryPool::LogAllocated(const BlockInfo& block) {
    ZTK_LOG_WriteLog(kLogInfo, TAGGED_LINE("AllocateMemory", 160, "Allocate system memory addr=%s, size=%lu"),
                     AddressToString(AddressOf(block)).szText, block.nSize);
}

void LocalMemoryPool::LogUnknownAddress() {
    ZTK_LOG_WriteLog(kLogError,
                     TAGGED_LINE("ReleaseMemory", 224, "Memory pointer is not corrected, may be corrupted!"));
}

void LocalMemoryPool::LogFreed(const BlockInfo& block) {
    ZTK_LOG_WriteLog(kLogInfo, TAGGED_LINE("FreeUnbusyMemory", 373, "Free system memory addr=%s, size=%llu"),
                     AddressToString(AddressOf(block)).szText, static_cast<unsigned long long>(block.nSize));
}

void LocalMemoryPool::LogLimit(std::uint64_t nRedundantSize) {
    ZTK_LOG_WriteLog(kLogInfo,
                     TAGGED_LINE("DoFreeUnbusyMemoryWork", 318,
                                 "Current redundant memory size: %lu bytes, allow limit size: %lu bytes"),
                     nRedundantSize, kAllowedLimit);
}

}  // namespace ztk
