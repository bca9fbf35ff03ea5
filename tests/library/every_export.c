#include "tests/library/every_export.h"

#include <string.h>

#include "common/ztk_common.h"
#include "tests/library/check.h"

enum { kBlockSize = 4096, kAlign = 256 };

/* Writes a block from end to end and gives it back. */
static void FillAndFree(const LoadedLibrary* pLibrary, void* pBlock, int* pFailures) {
    CHECK(pFailures, pBlock != NULL);
    if (pBlock == NULL) return;
    memset(pBlock, 0x5a, kBlockSize);
    CHECK_EQUAL(pFailures, pLibrary->FreePoolMemory(pBlock), ZTK_SUCCESS);
}

static void UseMemory(const LoadedLibrary* pLibrary, int32_t enMemType, int* pFailures) {
    void* pBlock = NULL;
    uint64_t nHandle = 1;
    CHECK_EQUAL(pFailures, pLibrary->AllocatePoolMemory(kBlockSize, enMemType, &pBlock, &nHandle),
                ZTK_SUCCESS);
    CHECK_EQUAL(pFailures, nHandle != 0, enMemType == ZTK_MEM_MMZ);
    FillAndFree(pLibrary, pBlock, pFailures);

    pBlock = NULL;
    CHECK_EQUAL(pFailures, pLibrary->AllocateAlignedPoolMemory(kBlockSize, kAlign, enMemType, &pBlock, NULL),
                ZTK_SUCCESS);
    CHECK_EQUAL(pFailures, (uintptr_t)pBlock % kAlign, 0);
    FillAndFree(pLibrary, pBlock, pFailures);
}

static void UseSharedMemory(const LoadedLibrary* pLibrary, int* pFailures) {
    char szName[ZTK_SHARED_NAME_SIZE] = "";
    void* pBlock = NULL;
    CHECK_EQUAL(pFailures, pLibrary->AllocatePoolSharedMemory(kBlockSize, &pBlock, szName), ZTK_SUCCESS);
    CHECK_EQUAL(pFailures, strncmp(szName, "ZTKTool-", 8), 0);
    if (pBlock == NULL) return;
    memset((char*)pBlock + ZTK_SHARED_HEADER_SIZE, 0x5a, kBlockSize - ZTK_SHARED_HEADER_SIZE);
    CHECK_EQUAL(pFailures, pLibrary->FreePoolSharedMemory(pBlock), ZTK_SUCCESS);
}

static void UseTheRest(const LoadedLibrary* pLibrary, int* pFailures) {
    CHECK(pFailures, pLibrary->GetAvailableOSSize() > 0);
    CHECK_EQUAL(pFailures, pLibrary->GetAvailableShareOSSize(), 0);
    pLibrary->SetImageBufferNodeNum(12);
    CHECK_EQUAL(pFailures, pLibrary->GetImageBufferNodeNum(), 12);
    CHECK_EQUAL(pFailures, pLibrary->NotifyIncToolCount(), 0);
    CHECK_EQUAL(pFailures, pLibrary->NotifyDecToolCount(), 0);
    CHECK(pFailures, pLibrary->ZTKMemMap() == NULL);
    CHECK_EQUAL(pFailures, pLibrary->ZTKMemUnmap(), -1);
}

int UseEveryExport(const LoadedLibrary* pLibrary) {
    int nFailures = 0;
    UseMemory(pLibrary, ZTK_MEM_OS, &nFailures);
    UseMemory(pLibrary, ZTK_MEM_MMZ, &nFailures);
    UseSharedMemory(pLibrary, &nFailures);
    UseTheRest(pLibrary, &nFailures);
    return nFailures;
}

static void FillLocalPool(const LoadedLibrary* pLibrary, int32_t nAlign, int32_t enMemType, int* pFailures) {
    void* pBusy = NULL;
    void* pIdle = NULL;
    CHECK_EQUAL(pFailures, pLibrary->AllocateAlignedPoolMemory(kBlockSize, nAlign, enMemType, &pBusy, NULL),
                ZTK_SUCCESS);
    CHECK_EQUAL(pFailures, pLibrary->AllocateAlignedPoolMemory(kBlockSize, nAlign, enMemType, &pIdle, NULL),
                ZTK_SUCCESS);
    CHECK_EQUAL(pFailures, pLibrary->FreePoolMemory(pIdle), ZTK_SUCCESS);
}

int FillPools(const LoadedLibrary* pLibrary) {
    char szName[ZTK_SHARED_NAME_SIZE] = "";
    void* pBusy = NULL;
    void* pIdle = NULL;
    int nFailures = 0;
    FillLocalPool(pLibrary, 0, ZTK_MEM_OS, &nFailures);
    FillLocalPool(pLibrary, kAlign, ZTK_MEM_OS, &nFailures);
    FillLocalPool(pLibrary, 0, ZTK_MEM_MMZ, &nFailures);
    FillLocalPool(pLibrary, kAlign, ZTK_MEM_MMZ, &nFailures);
    CHECK_EQUAL(&nFailures, pLibrary->AllocatePoolSharedMemory(kBlockSize, &pBusy, szName), ZTK_SUCCESS);
    CHECK_EQUAL(&nFailures, pLibrary->AllocatePoolSharedMemory(kBlockSize, &pIdle, szName), ZTK_SUCCESS);
    CHECK_EQUAL(&nFailures, pLibrary->FreePoolSharedMemory(pIdle), ZTK_SUCCESS);
    return nFailures;
}
