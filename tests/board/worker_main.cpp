// A process at work until somebody ends it: takes, writes and frees blocks of all kinds, in an order that a
// seed chooses; one shared block it never gives back, so that it always has something to leave. For every
// step it writes one byte, or with "lines" a line for every hundred steps. Usage: worker SEED bytes|lines
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>

#include "common/ztk_common.h"

namespace {

constexpr std::uint32_t kLargest = 512 * 1024;
constexpr int kShared = 2;  // beside ZTK_MEM_OS and ZTK_MEM_MMZ

struct Held {
    void* pBlock = nullptr;
    int nKind = 0;
};

void GiveBack(Held& held) {
    const std::uint32_t nStatus =
        held.nKind == kShared ? FreePoolSharedMemory(held.pBlock) : FreePoolMemory(held.pBlock);
    if (nStatus != ZTK_SUCCESS) std::exit(1);
    held.pBlock = nullptr;
}

void Take(Held& held, int nKind, std::uint64_t nSize) {
    char szName[ZTK_SHARED_NAME_SIZE];
    held.nKind = nKind;
    const std::uint32_t nStatus = nKind == kShared ? AllocatePoolSharedMemory(nSize, &held.pBlock, szName)
                                                   : AllocatePoolMemory(nSize, nKind, &held.pBlock, nullptr);
    if (nStatus != ZTK_SUCCESS) std::exit(1);
    std::memset(static_cast<char*>(held.pBlock) + ZTK_SHARED_HEADER_SIZE, 'w',
                nSize - ZTK_SHARED_HEADER_SIZE);
}

/// Now and then everything idle goes, so that blocks are made and unmade, too.
void GiveIdleBlocksBack() {
    void* pNone = nullptr;
    char szName[ZTK_SHARED_NAME_SIZE];
    AllocatePoolMemory(1, -1, &pNone, nullptr);
    AllocatePoolSharedMemory(0, &pNone, szName);
}

void Tell(bool bLines, int nStep) {
    if (!bLines && write(STDOUT_FILENO, "", 1) != 1) std::exit(1);
    if (bLines && nStep % 100 == 0) {
        std::printf("@work %d\n", nStep);
        std::fflush(stdout);
    }
}

}  // namespace

int main(int nCount, char** ppArguments) {
    if (nCount != 3) return 2;
    std::mt19937 random(static_cast<std::uint32_t>(std::strtoul(ppArguments[1], nullptr, 10)));
    const bool bLines = std::strcmp(ppArguments[2], "lines") == 0;
    Held kept;
    Take(kept, kShared, 4096);
    std::array<Held, 24> all;
    for (int nStep = 1;; ++nStep) {
        Held& held = all[random() % all.size()];
        if (held.pBlock != nullptr) {
            GiveBack(held);
        } else {
            Take(held, static_cast<int>(random() % 3), 4096 + random() % kLargest);
        }
        if (random() % 64 == 0) GiveIdleBlocksBack();
        Tell(bLines, nStep);
    }
}
