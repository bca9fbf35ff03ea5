// A program that loads the library itself, as plug-ins and scripts do; and after that one is gone, once more.
#include <dlfcn.h>

#include <cstdint>

#include "common/ztk_common.h"

namespace {

bool TakeTwoReleaseOne(void* hLibrary, std::uint64_t nSize) {
    auto* pAllocate = reinterpret_cast<decltype(&AllocatePoolMemory)>(dlsym(hLibrary, "AllocatePoolMemory"));
    auto* pFree = reinterpret_cast<decltype(&FreePoolMemory)>(dlsym(hLibrary, "FreePoolMemory"));
    void* pFirst = nullptr;
    void* pSecond = nullptr;
    return pAllocate(nSize, ZTK_MEM_OS, &pFirst, nullptr) == ZTK_SUCCESS &&
           pAllocate(nSize, ZTK_MEM_OS, &pSecond, nullptr) == ZTK_SUCCESS && pFree(pFirst) == ZTK_SUCCESS;
}

}  // namespace

int main(int /*nCount*/, char** ppArguments) {
    void* hFirst = dlopen(ppArguments[1], RTLD_NOW | RTLD_LOCAL);
    if (hFirst == nullptr || !TakeTwoReleaseOne(hFirst, 3072) || dlclose(hFirst) != 0) return 1;
    void* hSecond = dlopen(ppArguments[1], RTLD_NOW | RTLD_LOCAL);
    return hSecond != nullptr && TakeTwoReleaseOne(hSecond, 5120) ? 0 : 1;
}
