#include "pool_memory.h"

#include <fmt/format.h>

#include <cstdio>
#include <cstdlib>

#include "pool_errors.h"
#include "ztk_common.h"

namespace demo {

std::uint8_t* PoolMemory::ObtainForCapture(std::size_t nSize) {
    void* pBlock = nullptr;
    const std::uint32_t nStatus = AllocatePoolMemory(nSize, ZTK_MEM_MMZ, &pBlock, nullptr);
    if (nStatus != ZTK_SUCCESS) throw MmzRefusal(nSize, nStatus);
    return static_cast<std::uint8_t*>(pBlock);
}

std::uint8_t* PoolMemory::ObtainForWork(std::size_t nSize) {
    void* pBlock = nullptr;
    const std::uint32_t nStatus =
        AllocateAlignedPoolMemory(nSize, static_cast<int>(kCacheLine), ZTK_MEM_OS, &pBlock, nullptr);
    if (nStatus != ZTK_SUCCESS) throw PoolRefusal("heap", nSize, nStatus);
    return static_cast<std::uint8_t*>(pBlock);
}

void PoolMemory::GiveBack(std::uint8_t* pBlock) noexcept {
    if (FreePoolMemory(pBlock) == ZTK_SUCCESS) return;
    std::fputs("demo: the pool does not know a block that it handed out\n", stderr);
    std::abort();
}

}  // namespace demo
