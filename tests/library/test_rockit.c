/* librockit for tests: page-aligned blocks of the heap; a block's handle is its address. */
#define _POSIX_C_SOURCE 200809L
#include <errno.h>
#include <stdlib.h>

#include "external/rockit.h"
#include "tests/library/test_board.h"

static int g_nAllocs;
static int g_nFrees;
static int g_nFailure;
static void (*g_pOnFree)(void);

static int Load(const int* pNumber) {
    return __atomic_load_n(pNumber, __ATOMIC_RELAXED);
}

ZTK_TEST_BOARD int32_t RK_MPI_MMZ_Alloc(MB_BLK* pBlk, uint32_t u32Length, uint32_t u32Flags) {
    (void)u32Flags;
    if (Load(&g_nFailure) != 0) return Load(&g_nFailure);
    if (posix_memalign(pBlk, 4096, u32Length) != 0) return -ENOMEM;
    __atomic_fetch_add(&g_nAllocs, 1, __ATOMIC_RELAXED);
    return 0;
}

ZTK_TEST_BOARD void* RK_MPI_MMZ_Handle2VirAddr(MB_BLK blk) {
    return blk;
}

ZTK_TEST_BOARD MB_BLK RK_MPI_MMZ_VirAddr2Handle(void* pVirAddr) {
    return pVirAddr;
}

ZTK_TEST_BOARD int32_t RK_MPI_MMZ_Free(MB_BLK blk) {
    if (g_pOnFree != NULL) g_pOnFree();
    free(blk);
    __atomic_fetch_add(&g_nFrees, 1, __ATOMIC_RELAXED);
    return 0;
}

int TestRockitAllocs(void) {
    return Load(&g_nAllocs);
}

int TestRockitFrees(void) {
    return Load(&g_nFrees);
}

void TestRockitFailAllocs(int nCode) {
    __atomic_store_n(&g_nFailure, nCode, __ATOMIC_RELAXED);
}

void TestRockitOnFree(void (*pCallback)(void)) {
    g_pOnFree = pCallback;
}
