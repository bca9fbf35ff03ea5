// A program that still calls the library when its pools are gone: from a handler that was registered before
// the library was loaded, and from the destructor of a static object that is older than the library.
// Usage: late_calls <library>; exit code 0 if every late call was refused as documented.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "common/ztk_common.h"
#include "tests/library/check.h"
#include "tests/library/every_export.h"
#include "tests/library/loaded_library.h"
#include "tests/library/process_state.h"

namespace {

LoadedLibrary g_library;
void* g_pHeap = nullptr;
void* g_pMmz = nullptr;
void* g_pShared = nullptr;
int g_nFailures = 0;
int g_nLateCallers = 0;

void ExpectMemoryRefused(int32_t nAlign, int32_t enMemType) {
    int nUntouched = 0;
    void* pAddr = &nUntouched;
    uint64_t nHandle = 77;
    CHECK_EQUAL(&g_nFailures, g_library.AllocateAlignedPoolMemory(4096, nAlign, enMemType, &pAddr, &nHandle),
                ERR_NO_MEMORY);
    CHECK(&g_nFailures, pAddr == &nUntouched && nHandle == 77);
}

void ExpectSharedRefused() {
    int nUntouched = 0;
    void* pAddr = &nUntouched;
    char szName[ZTK_SHARED_NAME_SIZE] = "";
    CHECK_EQUAL(&g_nFailures, g_library.AllocatePoolSharedMemory(4096, &pAddr, szName), ERR_NO_MEMORY);
    CHECK(&g_nFailures, pAddr == &nUntouched && szName[0] == '\0');
}

void CallLate() {
    ++g_nLateCallers;
    ExpectMemoryRefused(0, ZTK_MEM_OS);
    ExpectMemoryRefused(64, ZTK_MEM_OS);
    ExpectMemoryRefused(0, ZTK_MEM_MMZ);
    ExpectSharedRefused();
    CHECK_EQUAL(&g_nFailures, g_library.FreePoolMemory(g_pHeap), ERR_INVALID_PARAM);
    CHECK_EQUAL(&g_nFailures, g_library.FreePoolMemory(g_pMmz), ERR_INVALID_PARAM);
    CHECK_EQUAL(&g_nFailures, g_library.FreePoolSharedMemory(g_pShared), ERR_INVALID_PARAM);
    CHECK(&g_nFailures, g_library.GetAvailableOSSize() > 0);
    CHECK_EQUAL(&g_nFailures, CountObjectsOf(getpid()), 0);
}

/// Destroyed last, with what all late callers found.
struct Verdict {
    Verdict() = default;
    Verdict(const Verdict&) = delete;
    Verdict& operator=(const Verdict&) = delete;
    ~Verdict() {
        CHECK_EQUAL(&g_nFailures, g_nLateCallers, 2);
        if (g_nFailures != 0) _exit(1);
    }
};

struct LateCaller {
    LateCaller() = default;
    LateCaller(const LateCaller&) = delete;
    LateCaller& operator=(const LateCaller&) = delete;
    ~LateCaller() { CallLate(); }
};

// Destroyed in reverse: both after the library's own objects, which come with dlopen().
const Verdict g_verdict;
const LateCaller g_lateCaller;

}  // namespace

int main(int nCount, char** ppArguments) {
    if (nCount != 2 || std::atexit(CallLate) != 0) return 2;
    if (LoadTheLibrary(ppArguments[1], &g_library) != 0) return 2;
    char szName[ZTK_SHARED_NAME_SIZE];
    g_nFailures += FillPools(&g_library);
    CHECK_EQUAL(&g_nFailures, g_library.AllocatePoolMemory(4096, ZTK_MEM_OS, &g_pHeap, nullptr), 0);
    CHECK_EQUAL(&g_nFailures, g_library.AllocatePoolMemory(4096, ZTK_MEM_MMZ, &g_pMmz, nullptr), 0);
    CHECK_EQUAL(&g_nFailures, g_library.AllocatePoolSharedMemory(4096, &g_pShared, szName), 0);
    CHECK_EQUAL(&g_nFailures, CountObjectsOf(getpid()), 2);
    return 0;
}
