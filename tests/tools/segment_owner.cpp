// A process with two shared blocks: prints their names, one a line, then waits to be ended. Of the second one
// it writes over the header, as owners do who forget about it.
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>

#include "common/ztk_common.h"

namespace {

constexpr std::size_t kData = 100'000;

unsigned char* Allocate() {
    void* pBlock = nullptr;
    std::array<char, ZTK_SHARED_NAME_SIZE> name{};
    if (AllocatePoolSharedMemory(ZTK_SHARED_HEADER_SIZE + kData, &pBlock, name.data()) != ZTK_SUCCESS)
        return nullptr;
    std::puts(name.data());
    return static_cast<unsigned char*>(pBlock);
}

}  // namespace

int main() {
    unsigned char* pGood = Allocate();
    unsigned char* pSpoilt = Allocate();
    if (pGood == nullptr || pSpoilt == nullptr) return 1;
    std::memset(pGood + ZTK_SHARED_HEADER_SIZE, 'g', kData);
    std::memset(pSpoilt, 's', kData);
    if (std::puts("ready") == EOF || std::fflush(stdout) != 0) return 1;
    char chEnd = 0;
    return read(STDIN_FILENO, &chEnd, 1) == 0 ? 0 : 1;
}
