// Asks a pool for a block, uses it and gives it back.
#include <cstdio>
#include <cstring>

#include "ztk_common.h"

int main() {
    constexpr uint64_t kSize = uint64_t{1024} * 1024;
    void* pBlock = nullptr;
    const uint32_t nStatus = AllocatePoolMemory(kSize, ZTK_MEM_OS, &pBlock, nullptr);
    if (nStatus != ZTK_SUCCESS) {
        std::printf("refused: %#x\n", nStatus);
        return 1;
    }
    std::memset(pBlock, 0x2a, kSize);  // what was in it before is anybody's
    std::printf("one MiB, the last byte is %#x\n", static_cast<unsigned char*>(pBlock)[kSize - 1]);

    std::printf("freed: %#x\n", FreePoolMemory(pBlock));
    std::printf("null freed: %#x\n", FreePoolMemory(nullptr));
    return 0;
}
