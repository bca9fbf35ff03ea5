// Which requests an idle block serves.
#include <cstdio>
#include <cstring>

#include "ztk_common.h"

namespace {

constexpr uint64_t kMiB = uint64_t{1024} * 1024;
constexpr char kText[] = "written before the free";

void* Obtain(uint64_t nSize) {
    void* pBlock = nullptr;
    if (AllocatePoolMemory(nSize, ZTK_MEM_OS, &pBlock, nullptr) != ZTK_SUCCESS) std::printf("refused\n");
    return pBlock;
}

}  // namespace

int main() {
    void* pFirst = Obtain(10 * kMiB);
    if (pFirst == nullptr) return 1;
    std::memcpy(pFirst, kText, sizeof(kText));
    FreePoolMemory(pFirst);

    void* pSecond = Obtain(1 * kMiB);
    std::printf("1 MiB after 10 MiB: %s block\n", pSecond == pFirst ? "the same" : "another");
    std::printf("it holds: %s\n", static_cast<char*>(pSecond));

    void* pThird = Obtain(1 * kMiB);
    std::printf("1 MiB more, the first is busy: %s block\n", pThird == pFirst ? "the same" : "another");
    FreePoolMemory(pSecond);

    void* pFourth = Obtain(20 * kMiB);
    std::printf("20 MiB, another size class: %s block\n", pFourth == pFirst ? "the same" : "another");
    FreePoolMemory(pThird);
    FreePoolMemory(pFourth);
    return 0;
}
