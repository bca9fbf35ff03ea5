// A fixed number of operations, for counting their instructions under callgrind: everything of a row that is
// not to be counted happens before and after ztk_bench_measured().
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "ztk_common.h"

namespace {

constexpr std::size_t kSize = 1024;
constexpr std::size_t kFresh = 10;  ///< blocks that the row "new" makes

enum class Operation { kPair, kRelease, kNew, kSharedPair };

void* Take() {
    void* pBlock = nullptr;
    if (AllocatePoolMemory(kSize, ZTK_MEM_OS, &pBlock, nullptr) != ZTK_SUCCESS) std::exit(1);
    return pBlock;
}

void* TakeShared() {
    void* pBlock = nullptr;
    char szName[ZTK_SHARED_NAME_SIZE];
    if (AllocatePoolSharedMemory(kSize, &pBlock, szName) != ZTK_SUCCESS) std::exit(1);
    return pBlock;
}

}  // namespace

/// What is counted, from its entry to its return. The blocks of a release are given.
extern "C" __attribute__((noinline)) void ztk_bench_measured(Operation enOperation, void** ppBlocks,
                                                             std::size_t nCount) {
    void* pBlock = nullptr;
    char szName[ZTK_SHARED_NAME_SIZE];
    switch (enOperation) {
        case Operation::kPair:
            for (std::size_t i = 0; i < nCount; ++i) {
                AllocatePoolMemory(kSize, ZTK_MEM_OS, &pBlock, nullptr);
                FreePoolMemory(pBlock);
            }
            break;
        case Operation::kRelease:
            for (std::size_t i = 0; i < nCount; ++i)
                FreePoolMemory(ppBlocks[i]);
            break;
        case Operation::kNew:
            for (std::size_t i = 0; i < nCount; ++i)
                AllocatePoolMemory(kSize, ZTK_MEM_OS, &ppBlocks[i], nullptr);
            break;
        case Operation::kSharedPair:
            for (std::size_t i = 0; i < nCount; ++i) {
                AllocatePoolSharedMemory(kSize, &pBlock, szName);
                FreePoolSharedMemory(pBlock);
            }
            break;
    }
}

namespace {

constexpr std::size_t kPairs = 1000;

std::vector<void*> TakeMany(std::size_t nCount) {
    std::vector<void*> blocks(nCount);
    std::generate(blocks.begin(), blocks.end(), Take);
    return blocks;
}

/// One idle block among nLive: the last that is handed out, so that whoever searches has the most to search.
std::size_t Pair(std::size_t nLive) {
    for (void* pBlock : TakeMany(nLive))
        FreePoolMemory(pBlock);
    const std::vector<void*> blocks = TakeMany(nLive);
    FreePoolMemory(blocks.back());
    ztk_bench_measured(Operation::kPair, nullptr, kPairs);
    return kPairs;
}

/// Every live block, in an order that has nothing to do with that of the addresses, but is always the same.
std::size_t Release(std::size_t nLive) {
    const std::vector<void*> blocks = TakeMany(nLive);
    constexpr std::size_t kStep = 1237;  // a prime: every block has its turn
    std::vector<void*> mixed;
    for (std::size_t i = 0; i < nLive; ++i)
        mixed.push_back(blocks[i * kStep % nLive]);
    ztk_bench_measured(Operation::kRelease, mixed.data(), nLive);
    return nLive;
}

std::size_t New(std::size_t nLive) {
    TakeMany(nLive);
    std::vector<void*> fresh(kFresh);
    ztk_bench_measured(Operation::kNew, fresh.data(), kFresh);
    return kFresh;
}

std::size_t SharedPair() {
    FreePoolSharedMemory(TakeShared());
    ztk_bench_measured(Operation::kSharedPair, nullptr, kPairs);
    return kPairs;
}

}  // namespace

/// Prints how many operations were measured.
int main(int argc, char** argv) {
    const char* szRow = argc == 3 ? argv[1] : "";
    const std::size_t nLive = argc == 3 ? std::strtoul(argv[2], nullptr, 10) : 0;
    std::size_t nOperations = 0;
    if (nLive > 0 && std::strcmp(szRow, "pair") == 0) nOperations = Pair(nLive);
    if (nLive > 0 && std::strcmp(szRow, "release") == 0) nOperations = Release(nLive);
    if (nLive > 0 && std::strcmp(szRow, "new") == 0) nOperations = New(nLive);
    if (nLive == 1 && std::strcmp(szRow, "shared-pair") == 0) nOperations = SharedPair();
    if (nOperations == 0) {
        std::fputs("usage: ztk_bench_instructions pair|release|new LIVE | shared-pair 1\n", stderr);
        return 2;
    }
    std::printf("%zu\n", nOperations);
    return 0;
}
