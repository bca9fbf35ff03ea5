// The public header in the oldest C++ that it supports, included first, alone and twice.
#include "common/ztk_common.h"
#include "common/ztk_common.h"  // NOLINT(readability-duplicate-include)

#include <type_traits>

// NOLINTNEXTLINE(misc-redundant-expression): a status is written as a cast
static_assert(sizeof(ZTK_SUCCESS) == sizeof(uint32_t), "statuses are 32 bits wide");
static_assert(std::is_same<decltype(AllocatePoolMemory(0, ZTK_MEM_OS, nullptr, nullptr)), uint32_t>::value &&
                  std::is_same<decltype(GetImageBufferNodeNum()), int32_t>::value &&
                  std::is_same<decltype(ZTKMemMap()), void*>::value,
              "results as documented");

uint32_t CallFromCxx(void** ppAddr, char* szName);

uint32_t CallFromCxx(void** ppAddr, char* szName) {
    return AllocatePoolSharedMemory(ZTK_SHARED_HEADER_SIZE, ppAddr, szName);
}
