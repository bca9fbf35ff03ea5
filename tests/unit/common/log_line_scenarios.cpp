#include "log_line_scenarios.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>

#include "common/singletons.h"
#include "common/ztk_common.h"
#include "library_time.h"
#include "platform/mapping.h"
#include "platform/raw_memory.h"
#include "pool/segment_sweep.h"
#include "pool/shared_segment.h"
#include "pool_kinds.h"
#include "support/available_memory.h"

/// The join itself, neither counted nor made to fail.
extern "C" int __real_pthread_join(pthread_t thread, void** pResult);

namespace ztk::test {
namespace {

constexpr char kName[] = "ZTKTool-1-scenario";
constexpr std::uint64_t kPlenty = std::uint64_t{1} << 40U;

// ---- pools -----------------------------------------------------------------------------------------

template <class Kind>
void FailToStart() {
    Bookkeeping::FailNew(Kind::kNewsBeforeEvent + 1);
    { const typename Kind::Pool withoutEvent; }
    Bookkeeping::FailNew(-1);
    SystemCalls::Fail("pthread_create", 1, EAGAIN);
    const typename Kind::Pool withoutThread;
}

template <class Kind>
void AskAndGiveBack(typename Kind::Pool& pool) {
    Given given;
    Kind::Allocate(pool, 4096, 0, given);
    Kind::Release(pool, given.nAddress);
    Kind::Release(pool, 0x123456);
    Kind::FailMaking(0);
    Kind::Allocate(pool, 8192, 0, given);
    SystemCalls::Reset();
}

template <class Kind>
void LiveThroughPools() {
    FailToStart<Kind>();
    ClearLog();
    typename Kind::Pool pool;
    LibraryTime().AwaitSleepers(kLibrarysReclaimers + 1);
    const std::string tid = Of({Kind::kThreadFunction}, Log()).at(0);
    const pthread_t reclaimer = std::stoull(tid.substr(tid.rfind('=') + 1));
    AskAndGiveBack<Kind>(pool);
    LibraryTime().Advance(std::chrono::minutes(1));
    // The thread must be gone before its event is; only the report is made to fail.
    SystemCalls::Before("pthread_join", 1, [reclaimer] { __real_pthread_join(reclaimer, nullptr); });
    SystemCalls::Fail("pthread_join", 1, EINVAL);
}

// ---- segments --------------------------------------------------------------------------------------

template <class Create, class Destroy>
void FailSegmentSteps(const Create& create, const Destroy& destroy) {
    std::uint32_t hOsMapping = kNoOsMapping;
    void* pAddr = nullptr;
    SystemCalls::Fail("shm_open", 1, EMFILE);
    create(&hOsMapping, &pAddr);
    SystemCalls::Fail("mmap", 2, ENOMEM);
    SystemCalls::Fail("shm_unlink", 1, EACCES);
    create(&hOsMapping, &pAddr);
    SystemCalls::Reset();
    create(&hOsMapping, &pAddr);
    SystemCalls::Fail("munmap", 1, EINVAL);
    SystemCalls::Fail("shm_unlink", 1, EACCES);
    destroy(hOsMapping, pAddr);
    SystemCalls::Reset();
    shm_unlink(kName);
}

// ---- mappings --------------------------------------------------------------------------------------

/// A mapping whose creation meets the failures planned.
void CreateAgainst(std::initializer_list<std::pair<const char*, int>> failures) {
    for (const auto& [szCall, nOccurrence] : failures)
        SystemCalls::Fail(szCall, nOccurrence, EIO);
    std::uint32_t nErr = 0;
    CreateMapping_Linux(kName, 4096, &nErr);
    SystemCalls::Reset();
    shm_unlink(kName);
}

/// A view of a mapping in which @p spoil has changed the header.
template <class Spoil>
void MapSpoilt(const Spoil& spoil) {
    std::uint32_t nErr = 0;
    const std::int32_t hOsMapping = CreateMapping_Linux(kName, 4096, &nErr);
    void* pHead = mmap(nullptr, kHeaderSize, PROT_READ | PROT_WRITE, MAP_SHARED, hOsMapping, 0);
    spoil(*static_cast<MappingHeader*>(pHead));
    munmap(pHead, kHeaderSize);
    MapView_Linux(hOsMapping, 4096, &nErr);
    CloseMapping_Linux(hOsMapping, kName, &nErr);
    SystemCalls::Reset();
}

}  // namespace

void CallEveryExport() {
    const AvailableMemory memory(kPlenty);
    void* pAddr = nullptr;
    AllocatePoolMemory(4096, ZTK_MEM_OS, &pAddr, nullptr);
    FreePoolMemory(pAddr);
    AllocateAlignedPoolMemory(4096, 64, ZTK_MEM_MMZ, &pAddr, nullptr);
    FreePoolMemory(pAddr);
    GetAvailableOSSize();
    SetImageBufferNodeNum(GetImageBufferNodeNum());
    GetLocalMemoryPool()->FreeAllMemory();  // the board's blocks do not outlive a test
}

void LiveThroughLocalPools() {
    const AvailableMemory memory(kPlenty);
    LiveThroughPools<HeapKind>();
    SystemCalls::Reset();
}

void LiveThroughSharedPools() {
    const AvailableMemory memory(kPlenty);
    LiveThroughPools<SharedKind>();
    SystemCalls::Reset();
}

void FailEverySegmentStep() {
    const AvailableMemory memory(kPlenty);
    FailSegmentSteps(
        [](auto* pOsMapping, auto** ppAddr) { CreateSharedMemory(4096, kName, pOsMapping, ppAddr); },
        [](auto hOsMapping, auto* pAddr) { DestroySharedMerory(4096, kName, hOsMapping, pAddr); });
    FailSegmentSteps(
        [](auto* pOsMapping, auto** ppAddr) {
            CreateAlignedSharedMemory(4096, kName, 64, pOsMapping, ppAddr);
        },
        [](auto hOsMapping, auto* pAddr) { DestroyAlignedSharedMemory(4096, kName, 64, hOsMapping, pAddr); });
    CloseShareMemory(kName);
    close(shm_open(kName, O_RDWR | O_CREAT, 0600));
    SystemCalls::Fail("shm_unlink", 1, EACCES);
    CloseShareMemory(kName);
    CloseShareMemory(kName);
}

void SweepEveryKindOfEntry() {
    close(shm_open("ZTKTool", O_RDWR | O_CREAT, 0600));
    static_cast<void>(!symlink("nowhere", "/dev/shm/link"));
    ReleaseMemoryRes();
    SystemCalls::Fail("lstat", 2, EACCES);
    ReleaseMemoryRes();
    SystemCalls::Fail("lstat", 1, EACCES);
    ReleaseMemoryRes();
    SystemCalls::CloseLeftStreams();
    shm_unlink("ZTKTool");
    unlink("/dev/shm/link");
}

void RefuseEveryRawAllocation() {
    const AvailableMemory memory(kPlenty);
    for (const std::int32_t enMemType : {kMemTypeOs, kMemTypeMmz}) {
        MallocMem(0, enMemType, nullptr);
        AlignMallocMem(0, 64, enMemType, nullptr);
    }
    MallocMem(UINT64_MAX, kMemTypeOs, nullptr);
    AlignMallocMem(UINT64_MAX, 64, kMemTypeOs, nullptr);
    SystemCalls::Fail("malloc", 0, ENOMEM);
    MallocMem(4096, kMemTypeOs, nullptr);
    AlignMallocMem(4096, 64, kMemTypeOs, nullptr);
    SystemCalls::Reset();
    FakeRockit::FailAlloc(0, -1);
    MallocMem(4096, kMemTypeMmz, nullptr);
    AlignMallocMem(4096, 64, kMemTypeMmz, nullptr);
    FakeRockit::FailAlloc(-1, 0);
    FakeRockit::FailVirAddr(1);
    MallocMem(4096, kMemTypeMmz, nullptr);
}

void FailEveryMappingStep() {
    const AvailableMemory memory(kPlenty);
    CreateAgainst({{"shm_open", 1}});
    CreateAgainst({{"mmap", 1}});
    CreateAgainst({{"munmap", 1}, {"munmap", 2}, {"shm_unlink", 1}});
    std::uint32_t nErr = 0;
    MapView_Linux(0, 127, &nErr);
    MapSpoilt([](MappingHeader&) { SystemCalls::Fail("mmap", 1, EIO); });
    MapSpoilt([](MappingHeader&) { SystemCalls::Fail("munmap", 2, EIO); });
    MapSpoilt([](MappingHeader& header) { header.nHeaderLen = 129; });
    MapSpoilt([](MappingHeader&) { SystemCalls::Fail("mmap", 2, EIO); });
    MapSpoilt([](MappingHeader& header) { header.byMMZ = 1; });
    MapSpoilt([](MappingHeader& header) {
        header.byMMZ = 1;
        std::strcpy(header.szMmz, "MMZ_4096_0x1000");
    });
}

}  // namespace ztk::test
