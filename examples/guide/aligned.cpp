// Blocks whose addresses are multiples of a number.
#include <cstdint>
#include <cstdio>

#include "ztk_common.h"

namespace {

constexpr uint64_t kFrame = uint64_t{640} * 480 * 3;

void* Obtain(int32_t nAlign) {
    void* pBlock = nullptr;
    const uint32_t nStatus = AllocateAlignedPoolMemory(kFrame, nAlign, ZTK_MEM_OS, &pBlock, nullptr);
    if (nStatus != ZTK_SUCCESS) {
        std::printf("refused: %#x\n", nStatus);
        return nullptr;
    }
    const auto nBeyond = reinterpret_cast<std::uintptr_t>(pBlock) % static_cast<std::uintptr_t>(nAlign);
    std::printf("aligned to %d: %s\n", nAlign, nBeyond == 0 ? "yes" : "no");
    return pBlock;
}

}  // namespace

int main() {
    void* pVector = Obtain(64);
    void* pPage = Obtain(4096);
    void* pOdd = Obtain(24);  // no power of two is needed
    if (pVector == nullptr || pPage == nullptr || pOdd == nullptr) return 1;
    FreePoolMemory(pVector);
    FreePoolMemory(pOdd);

    // Idle blocks serve their own alignment only: the page is a multiple of 64, too, and is not taken.
    FreePoolMemory(pPage);
    void* pAgain = Obtain(64);
    std::printf("64 again: %s\n", pAgain == pVector ? "the block made for 64" : "another one");
    FreePoolMemory(pAgain);
    return 0;
}
