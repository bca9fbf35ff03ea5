/* The public header in the oldest C that it supports, included first, alone and twice. */
#include "common/ztk_common.h"
#include "common/ztk_common.h" /* NOLINT(readability-duplicate-include) */

uint32_t CallFromC(void** ppAddr, char* szName);

uint32_t CallFromC(void** ppAddr, char* szName) {
    const uint32_t nStatus = AllocatePoolMemory(ZTK_SHARED_HEADER_SIZE, ZTK_MEM_MMZ, ppAddr, 0);
    return nStatus == ERR_NO_MEMORY ? AllocatePoolSharedMemory(4096, ppAddr, szName) : nStatus;
}

/* The values that callers' compiled programs contain. */
#define FIXED(name, nValue) typedef char name##_is_fixed[(name) == (nValue) ? 1 : -1]
FIXED(ZTK_SUCCESS, 0);
FIXED(ERR_NOT_SUPPORTED, 0x80100001);
FIXED(ERR_BAD_LENGTH, 0x80100005);
FIXED(ERR_INVALID_PARAM, 0x80100006);
FIXED(ERR_NO_MEMORY, 0x80100009);
FIXED(ERR_BAD_HEADER, 0x80100023);
FIXED(ZTK_MEM_OS, 0);
FIXED(ZTK_MEM_MMZ, 1);
FIXED(ZTK_SHARED_NAME_SIZE, 64);
FIXED(ZTK_SHARED_HEADER_SIZE, 128);
