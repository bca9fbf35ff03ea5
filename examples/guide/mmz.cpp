// Media memory: its handle, and what the media library makes of it.
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "external/rockit.h"  // on a board: the media library's own header
#include "ztk_common.h"

namespace {

constexpr uint64_t kFrame = 1920 * 1080 * 3 / 2;

MB_BLK AsHandle(uint64_t nHandle) {
    return reinterpret_cast<MB_BLK>(nHandle);
}

}  // namespace

int main() {
    void* pFrame = nullptr;
    uint64_t nHandle = 0;
    const uint32_t nStatus = AllocatePoolMemory(kFrame, ZTK_MEM_MMZ, &pFrame, &nHandle);
    if (nStatus != ZTK_SUCCESS) {
        std::printf("refused: %#x\n", nStatus);
        return 1;
    }
    std::memset(pFrame, 0x80, kFrame);
    std::printf("the handle leads to the block: %s\n",
                RK_MPI_MMZ_Handle2VirAddr(AsHandle(nHandle)) == pFrame ? "yes" : "no");

    // Of an aligned block the handle is no handle: the offset of the alignment is in it.
    void* pAligned = nullptr;
    uint64_t nSum = 0;
    if (AllocateAlignedPoolMemory(kFrame, 256, ZTK_MEM_MMZ, &pAligned, &nSum) != ZTK_SUCCESS) return 1;
    std::printf("the sum leads to the aligned block: %s\n",
                RK_MPI_MMZ_Handle2VirAddr(AsHandle(nSum)) == pAligned ? "yes" : "no");

    FreePoolMemory(pAligned);
    FreePoolMemory(pFrame);
    void* pAgain = nullptr;
    uint64_t nAgain = 0;
    if (AllocatePoolMemory(kFrame, ZTK_MEM_MMZ, &pAgain, &nAgain) != ZTK_SUCCESS) return 1;
    std::printf("the next frame: %s block, %s handle\n", pAgain == pFrame ? "the same" : "another",
                nAgain == nHandle ? "the same" : "another");
    FreePoolMemory(pAgain);
    return 0;
}
