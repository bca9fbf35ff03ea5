/*
 * board_check.c - the first program to run on a new board: loads libZTKCommon.so as a program of the kit
 * would, and says in a few lines what it found there. Needs nothing but the C library:
 *
 *   aarch64-linux-gnu-gcc -std=c99 -O2 -Icommon -o board_check examples/board_check.c -ldl
 *   ./board_check [LIBRARY]          exit code 0 if the library can do its work on this board
 *   ./board_check LIBRARY hold       takes a shared block instead, and keeps it until it is killed
 */
#define _POSIX_C_SOURCE 200809L
#include <dlfcn.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "ztk_common.h"

enum { kMiB = 1 << 20, kReserveMiB = 350, kMostMmzBlocks = 4096 };

typedef struct Exports {
    uint32_t (*AllocatePoolMemory)(uint64_t nSize, int32_t enMemType, void** ppAddr, uint64_t* pHandle);
    uint32_t (*AllocateAlignedPoolMemory)(uint64_t nSize, int32_t nAlign, int32_t enMemType, void** ppAddr,
                                          uint64_t* pHandle);
    uint32_t (*FreePoolMemory)(void* pAddr);
    uint32_t (*AllocatePoolSharedMemory)(uint64_t nSize, void** ppAddr, char* szName);
    uint32_t (*FreePoolSharedMemory)(void* pAddr);
    uint64_t (*GetAvailableOSSize)(void);
} Exports;

static int g_nFailures = 0;

static void Say(const char* szWhat, int bGood, const char* szResult) {
    printf("%-8s %-16s %s\n", bGood ? "good" : "FAILED", szWhat, szResult);
    if (!bGood) ++g_nFailures;
}

static int Find(void* hLibrary, const char* szName, void* pFunction) {
    void* pAddr = dlsym(hLibrary, szName);
    if (pAddr == NULL) printf("         not exported: %s\n", szName);
    if (pFunction != NULL)
        memcpy(pFunction, &pAddr, sizeof(pAddr)); /* C has no cast from an object to a function */
    return pAddr != NULL;
}

static int FindAll(void* hLibrary, Exports* pExports) {
    char szResult[64];
    int nFound = 0;
    nFound += Find(hLibrary, "AllocatePoolMemory", &pExports->AllocatePoolMemory);
    nFound += Find(hLibrary, "AllocateAlignedPoolMemory", &pExports->AllocateAlignedPoolMemory);
    nFound += Find(hLibrary, "FreePoolMemory", &pExports->FreePoolMemory);
    nFound += Find(hLibrary, "AllocatePoolSharedMemory", &pExports->AllocatePoolSharedMemory);
    nFound += Find(hLibrary, "FreePoolSharedMemory", &pExports->FreePoolSharedMemory);
    nFound += Find(hLibrary, "GetAvailableOSSize", &pExports->GetAvailableOSSize);
    nFound += Find(hLibrary, "GetAvailableShareOSSize", NULL);
    nFound += Find(hLibrary, "SetImageBufferNodeNum", NULL);
    nFound += Find(hLibrary, "GetImageBufferNodeNum", NULL);
    nFound += Find(hLibrary, "NotifyIncToolCount", NULL);
    nFound += Find(hLibrary, "NotifyDecToolCount", NULL);
    nFound += Find(hLibrary, "ZTKMemMap", NULL);
    nFound += Find(hLibrary, "ZTKMemUnmap", NULL);
    snprintf(szResult, sizeof(szResult), "%d of 13", nFound);
    Say("exports", nFound == 13, szResult);
    return nFound == 13;
}

static void CheckMemory(const Exports* pExports) {
    const uint64_t nAvailable = pExports->GetAvailableOSSize() / kMiB;
    char szResult[128];
    void* pBlock = NULL;
    snprintf(szResult, sizeof(szResult), "%lu MiB available, so %lu MiB for heap and shared blocks together",
             (unsigned long)nAvailable,
             nAvailable > kReserveMiB ? (unsigned long)nAvailable - kReserveMiB : 0UL);
    Say("memory", nAvailable > kReserveMiB, szResult);
    Say("heap block",
        pExports->AllocateAlignedPoolMemory(kMiB, 64, ZTK_MEM_OS, &pBlock, NULL) == ZTK_SUCCESS &&
            ((uintptr_t)pBlock & 63) == 0 && pExports->FreePoolMemory(pBlock) == ZTK_SUCCESS,
        "1 MiB, aligned to 64");
}

static void CheckSharedDirectory(void) {
    struct statvfs status;
    char szResult[128];
    if (statvfs("/dev/shm", &status) != 0) {
        Say("/dev/shm", 0, "is not there");
        return;
    }
    snprintf(szResult, sizeof(szResult), "%lu MiB, %lu MiB of them free",
             (unsigned long)((uint64_t)status.f_blocks * status.f_frsize / kMiB),
             (unsigned long)((uint64_t)status.f_bavail * status.f_frsize / kMiB));
    Say("/dev/shm", status.f_bavail > 0, szResult);
}

/* Opened a second time by its name, as another process would. */
static int IsReadByName(const char* szName, const char* pData) {
    const int hObject = shm_open(szName, O_RDONLY, 0);
    void* pView = mmap(NULL, kMiB, PROT_READ, MAP_SHARED, hObject, 0);
    const int bSame =
        pView != MAP_FAILED && memcmp((char*)pView + ZTK_SHARED_HEADER_SIZE, pData, strlen(pData) + 1) == 0;
    if (pView != MAP_FAILED) munmap(pView, kMiB);
    close(hObject);
    return bSame;
}

static void CheckShared(const Exports* pExports) {
    static const char kData[] = "written by the owner";
    char szName[ZTK_SHARED_NAME_SIZE] = "none could be made";
    void* pBlock = NULL;
    int bGood = pExports->AllocatePoolSharedMemory(kMiB, &pBlock, szName) == ZTK_SUCCESS;
    if (bGood) memcpy((char*)pBlock + ZTK_SHARED_HEADER_SIZE, kData, sizeof(kData));
    bGood = bGood && IsReadByName(szName, kData) && pExports->FreePoolSharedMemory(pBlock) == ZTK_SUCCESS;
    Say("shared block", bGood, szName);
}

/* The pool's way to give its idle blocks back to the system: a request that nobody can serve. */
static void GiveIdleBlocksBack(const Exports* pExports) {
    void* pNone = NULL;
    pExports->AllocatePoolMemory(1, -1, &pNone, NULL);
}

/* Blocks of 1 MiB until there are no more; all are given back. */
static unsigned long CountMmz(const Exports* pExports) {
    static void* apBlocks[kMostMmzBlocks];
    unsigned long nBlocks = 0;
    unsigned long i = 0;
    while (nBlocks < kMostMmzBlocks &&
           pExports->AllocatePoolMemory(kMiB, ZTK_MEM_MMZ, &apBlocks[nBlocks], NULL) == ZTK_SUCCESS)
        ++nBlocks;
    for (i = 0; i < nBlocks; ++i)
        pExports->FreePoolMemory(apBlocks[i]);
    GiveIdleBlocksBack(pExports);
    return nBlocks;
}

/* Of the blocks of 1, 2, 4, ... MiB. */
static unsigned long FindLargestMmz(const Exports* pExports, unsigned long nMost) {
    unsigned long nLargest = 0;
    unsigned long nSize = 1;
    void* pBlock = NULL;
    for (; nSize <= nMost && nSize < 4096; nSize *= 2) {
        if (pExports->AllocatePoolMemory((uint64_t)nSize * kMiB, ZTK_MEM_MMZ, &pBlock, NULL) != ZTK_SUCCESS)
            break;
        pExports->FreePoolMemory(pBlock);
        GiveIdleBlocksBack(pExports);
        nLargest = nSize;
    }
    return nLargest;
}

static void CheckMmz(const Exports* pExports) {
    const unsigned long nTotal = CountMmz(pExports);
    char szResult[128];
    snprintf(szResult, sizeof(szResult),
             "%s%lu MiB in blocks of 1 MiB; the largest of 1, 2, 4, ... MiB is %lu MiB",
             nTotal == kMostMmzBlocks ? "at least " : "", nTotal, FindLargestMmz(pExports, nTotal));
    Say("MMZ", nTotal > 0, szResult);
}

static int Hold(const Exports* pExports) {
    char szName[ZTK_SHARED_NAME_SIZE];
    void* pBlock = NULL;
    if (pExports->AllocatePoolSharedMemory(kMiB, &pBlock, szName) != ZTK_SUCCESS) return 1;
    printf("holding %s\n", szName);
    fflush(stdout);
    for (;;)
        pause();
}

int main(int argc, char** argv) {
    const char* szLibrary = argc > 1 ? argv[1] : "libZTKCommon.so";
    Exports exports;
    void* hLibrary = dlopen(szLibrary, RTLD_NOW);
    if (hLibrary == NULL) {
        Say("load", 0, dlerror());
        return 1;
    }
    Say("load", 1, szLibrary);
    if (!FindAll(hLibrary, &exports)) return 1;
    if (argc > 2 && strcmp(argv[2], "hold") == 0) return Hold(&exports);
    CheckMemory(&exports);
    CheckSharedDirectory();
    CheckShared(&exports);
    CheckMmz(&exports);
    Say("unload", dlclose(hLibrary) == 0, szLibrary);
    return g_nFailures == 0 ? 0 : 1;
}
