#include "log/line_forms.h"

namespace ztkmem::log {
namespace {

constexpr Memory kHeap = Memory::kHeap;
constexpr Memory kMmz = Memory::kMmz;
constexpr Memory kUntold = Memory::kUntold;
constexpr Memory kShared = Memory::kShared;

constexpr LineForm kForms[] = {
    // exports
    {"GetAvailableOSSize", 12, 0, Meaning::kRemark, kUntold, kNoSize, "GetAvailableOSSize()"},
    {"GetAvailableOSSize", 14, 0, Meaning::kRemark, kUntold, kNoSize, "Available os size: %lu"},
    {"AllocateAlignedPoolMemory", 45, 0, Meaning::kCallBegins, kUntold, kNoSize,
     "AllocateAlignedPoolMemory()"},
    {"AllocateAlignedPoolMemory", 47, 0, Meaning::kCallEnds, kUntold, 1,
     "Allocate align memory return %#x, nSize = %lu, nAlign = %d, enMemType=%d"},
    {"AllocatePoolMemory", 72, 0, Meaning::kCallBegins, kUntold, kNoSize, "AllocatePoolMemory()"},
    {"AllocatePoolMemory", 74, 0, Meaning::kCallEnds, kUntold, 1,
     "Allocate memory return %#x, nSize = %lu, enMemType=%d"},
    {"SetImageBufferNodeNum", 145, 2, Meaning::kRemark, kUntold, kNoSize, "SetImageBufferNodeNum(nNum=%d)"},
    {"GetImageBufferNodeNum", 153, 0, Meaning::kRemark, kUntold, kNoSize, "GetImageBufferNodeNum()"},
    {"GetImageBufferNodeNum", 157, 0, Meaning::kRemark, kUntold, kNoSize, "image buffer node number: %d"},

    // pool of heap and MMZ blocks
    {"FreeUnbusyMemoryThread", 17, 1, Meaning::kPoolStarts, kUntold, kNoSize,
     "Free unbusy memory thread, tid=%llu"},
    {"Init", 45, 4, Meaning::kPoolBroken, kUntold, kNoSize, "Create exit event failed"},
    {"Init", 52, 4, Meaning::kPoolBroken, kUntold, kNoSize,
     "Create free memory thread failed, return code: %d"},
    {"UnInit", 72, 4, Meaning::kPoolBroken, kUntold, kNoSize,
     "Wait for thread to exit failed, return code: %d"},
    {"AllocateMemory", 142, 4, Meaning::kRetry, kUntold, kNoSize,
     "Insufficient memory, free all unbusy block(s) and try again"},
    {"AllocateMemory", 155, 4, Meaning::kFailed, kUntold, 0,
     "Allocate memory failed, size=%lu, align=%d, plat=%d"},
    {"AllocateMemory", 160, 1, Meaning::kAllocated, kUntold, 1, "Allocate system memory addr=%p, size=%lu"},
    {"ReleaseMemory", 224, 4, Meaning::kUnknownRelease, kUntold, kNoSize,
     "Memory pointer is not corrected, may be corrupted!"},
    {"DoFreeUnbusyMemoryWork", 318, 1, Meaning::kLimit, kUntold, 0,
     "Current redundant memory size: %lu bytes, allow limit size: %lu bytes"},
    {"FreeUnbusyMemory", 373, 1, Meaning::kFreed, kUntold, 1, "Free system memory addr=%p, size=%llu"},
    {"DumpMemoryInfo", 438, 0, Meaning::kDumpDetail, kHeap, kNoSize,
     "*************OS Memory pool block list detail:*****************"},
    {"DumpMemoryInfo", 439, 1, Meaning::kDumpTotal, kHeap, 1,
     "OS Memory pool contains %d block(s), total size: %llu bytes"},
    {"DumpMemoryInfo", 475, 0, Meaning::kDumpDetail, kMmz, kNoSize,
     "----------------MMZ Memory pool block list detail: ----------------------"},
    {"DumpMemoryInfo", 476, 1, Meaning::kDumpTotal, kMmz, 1,
     "MMZ Memory pool contains %d block(s), total size: %llu bytes"},

    // pool of shared-memory blocks
    {"FreeUnbusySharedMemoryThread", 25, 1, Meaning::kPoolStarts, kShared, kNoSize,
     "Free unbusy shared memory thread, tid=%llu"},
    {"Init", 57, 4, Meaning::kPoolBroken, kShared, kNoSize, "Create exit event failed"},
    {"Init", 64, 4, Meaning::kPoolBroken, kShared, kNoSize,
     "Create free memory thread failed, return code: %d"},
    {"UnInit", 85, 4, Meaning::kPoolBroken, kShared, kNoSize,
     "Wait for thread to exit failed, return code: %d"},
    {"AllocateMemory", 161, 4, Meaning::kRetry, kShared, kNoSize,
     "Insufficient shared memory, free all unbusy block(s) and try again"},
    {"AllocateMemory", 176, 4, Meaning::kFailed, kShared, 1,
     "Allocate shared memory failed, nErrCode=%#x, size=%lu, align=%d"},
    {"AllocateMemory", 180, 1, Meaning::kAllocated, kShared, 1, "Allocate shared memory addr=%p, size=%lu"},
    {"ReleaseMemory", 238, 4, Meaning::kUnknownRelease, kShared, kNoSize,
     "Memory pointer is not corrected, may be corrupted!"},
    {"DoFreeUnbusyMemoryWork", 321, 1, Meaning::kLimit, kShared, 0,
     "Current redundant memory size: %lu bytes, allow limit size: %lu bytes"},
    {"FreeUnbusyMemory", 372, 1, Meaning::kFreed, kShared, 1, "Free shared memory addr=%p, size=%llu"},
    {"DumpMemoryInfo", 437, 0, Meaning::kDumpDetail, kShared, kNoSize,
     "##############Shared memory pool block list detail: #####################"},
    {"DumpMemoryInfo", 438, 1, Meaning::kDumpTotal, kShared, 1,
     "Shared memory pool contains %d block(s), total size: %llu bytes"},

    // segments
    {"CreateSharedMemory", 455, 4, Meaning::kCause, kShared, 0,
     "Create file mapping failed, name=%s, size=%llu, sys error=%#x"},
    {"CreateSharedMemory", 462, 4, Meaning::kCause, kShared, 0,
     "Map view of file failed, name=%s, size=%llu, sys error=%#x"},
    {"CreateSharedMemory", 478, 4, Meaning::kCause, kShared, kNoSize,
     "Close file mapping failed, name=%s, sys error=%d"},
    {"DestroySharedMerory", 495, 4, Meaning::kCause, kShared, kNoSize,
     "Unmap view of file failed, name=%s, sys error=%d"},
    {"DestroySharedMerory", 503, 4, Meaning::kCause, kShared, kNoSize,
     "Close file mapping failed, name=%s, sys error=%d"},
    {"CreateAlignedSharedMemory", 526, 4, Meaning::kCause, kShared, 0,
     "Create file mapping failed, name=%s, size=%llu, sys error=%d"},
    {"CreateAlignedSharedMemory", 534, 4, Meaning::kCause, kShared, 0,
     "Map view of file failed, name=%s, size=%llu, sys error=%d"},
    {"CreateAlignedSharedMemory", 559, 4, Meaning::kCause, kShared, kNoSize,
     "Close file mapping failed, name=%s, sys error=%d"},
    {"DestroyAlignedSharedMemory", 583, 4, Meaning::kCause, kShared, kNoSize,
     "Unmap view of file failed, name=%s, sys error=%d"},
    {"DestroyAlignedSharedMemory", 591, 4, Meaning::kCause, kShared, kNoSize,
     "Close file mapping failed, name=%s, sys error=%d"},
    {"CloseShareMemory", 604, 2, Meaning::kRemark, kShared, kNoSize, "Close Mapping Name = %s"},
    {"CloseShareMemory", 617, 4, Meaning::kCause, kShared, kNoSize,
     "close Mapping Name = %s failed, err = %d"},
    {"CloseShareMemory", 622, 3, Meaning::kRemark, kShared, kNoSize,
     "open Mapping Name = %s failed, err = %d"},

    // sweep at load: what it finds in /dev/shm need not be the library's
    {"ReleaseMemoryRes", 689, 4, Meaning::kCause, kShared, kNoSize,
     "ReleaseMemoryRes portable_findfirst failed"},
    {"ReleaseMemoryRes", 696, 1, Meaning::kRemark, kShared, kNoSize,
     "ReleaseMemoryRes  find SHM Name[%s],Type[%d]"},
    {"ReleaseMemoryRes", 730, 3, Meaning::kRemark, kShared, kNoSize,
     "ReleaseMemoryRes FileName[%s],Type[%d] is not normal file"},
    {"ReleaseMemoryRes", 739, 4, Meaning::kRemark, kShared, kNoSize, "SHM File Type=%d, Name = %s"},

    // raw heap and MMZ blocks
    {"Malloc_OS", 112, 4, Meaning::kCause, kHeap, 0, "size =%lu"},
    {"Malloc_OS", 123, 4, Meaning::kCause, kHeap, 0,
     "Insufficient OS memory, size=%lu, available size = %lu"},
    {"Malloc_OS", 133, 4, Meaning::kCause, kHeap, 0, "malloc Failed, size = %lu"},
    {"Malloc_MMZ_Q527", 154, 4, Meaning::kCause, kMmz, 0, "size=%lu"},
    {"Malloc_MMZ_Q527", 162, 4, Meaning::kCause, kMmz, 1, "RK_MPI_MMZ_Alloc failed, nRet = %d, size = %lu"},
    {"Malloc_MMZ_Q527", 170, 4, Meaning::kCause, kMmz, 0, "RK_MPI_MMZ_Handle2VirAddr failed, size = %lu"},
    {"AlignMalloc_OS", 447, 4, Meaning::kCause, kHeap, 0, "size =%lu, align = %d"},
    {"AlignMalloc_OS", 458, 4, Meaning::kCause, kHeap, 0,
     "Insufficient OS memory, size=%lu, align=%d, available size = %lu"},
    {"AlignMalloc_OS", 466, 4, Meaning::kCause, kHeap, 0, "malloc Failed, size = %lu"},
    {"AlignMalloc_MMZ_Q527", 506, 4, Meaning::kCause, kMmz, 0, "size=%lu, align=%d"},
    {"AlignMalloc_MMZ_Q527", 514, 4, Meaning::kCause, kMmz, 1,
     "RK_MPI_MMZ_Alloc failed, nRet = %d, size = %lu"},

    // named mappings
    {"CreateMapping_Linux", 78, 4, Meaning::kCause, kShared, kNoSize,
     "CreateMapping_Linux ---shm_open hOsMapping[%p], nErrCode[%d]"},
    {"CreateMapping_Linux", 87, 4, Meaning::kCause, kShared, kNoSize,
     "CreateMapping_Linux mmap pOSMemoryHead[%p] nErrCode[%d]"},
    {"CreateMapping_Linux", 110, 4, Meaning::kCause, kShared, kNoSize,
     "CreateMapping_Linux munmap pOSMemoryHead[%p] nErrCode[%d]"},
    {"CreateMapping_Linux", 131, 4, Meaning::kCause, kShared, kNoSize,
     "CreateMapping_Linux munmap pOSMemoryHead[%p] nErrCode[%d]"},
    {"CreateMapping_Linux", 144, 4, Meaning::kCause, kShared, kNoSize,
     "CreateMapping_Linux shm_unlink nErrCode[%d]"},
    {"CreateMapping_Linux", 149, 1, Meaning::kSegmentMade, kShared, kNoSize,
     "CreateMapping_Linux pName[%s],hOsMapping[%p], nMappingLen[%d],enMemType[%d]"},
    {"MapView_Linux", 164, 4, Meaning::kCause, kShared, 0, "MapView_Linux, nMappingLen[%d] < [%d]"},
    {"MapView_Linux", 178, 4, Meaning::kCause, kShared, kNoSize, "MapView_Linux mmap nErrCode[%d]"},
    {"MapView_Linux", 189, 4, Meaning::kCause, kShared, kNoSize, "MapView_Linux munmap nErrCode[%d]"},
    {"MapView_Linux", 201, 4, Meaning::kCause, kShared, kNoSize,
     "MapView_Linux nHeaderLen[%d] is not correct!"},
    {"MapView_Linux", 213, 4, Meaning::kCause, kShared, kNoSize, "MapView_Linux mmap nErrCode[%d]"},
    {"MapView_Linux", 227, 4, Meaning::kCause, kShared, kNoSize,
     "MapView_Linux Failed to parse phy and vir addr"},
    {"MapView_Linux", 231, 1, Meaning::kRemark, kShared, kNoSize,
     "MapView_Linux hMapping[%p],pVirAddr[%p], lPhyAddr[%p]"},
    {"MapView_Linux", 252, 4, Meaning::kCause, kShared, kNoSize, "MapView_Linux current palt not support"},
    {"MapView_Linux", 268, 1, Meaning::kRemark, kShared, kNoSize,
     "MapView_Linux hMapping[%p], pView[%p],nMappingLen[%d], byMMZ[%d], nErrCode[%d]"},

    // directory scan
    {"portable_findfirst", 104, 4, Meaning::kRemark, kShared, kNoSize, "lstat %s fail, error = %d"},
    {"portalbe_findnext", 149, 4, Meaning::kRemark, kShared, kNoSize, "lstat %s fail, error = %d"},
};

}  // namespace

LineForms AllForms() {
    return {kForms, sizeof(kForms) / sizeof(kForms[0])};
}

}  // namespace ztkmem::log
