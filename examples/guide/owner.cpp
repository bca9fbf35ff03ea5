// Two processes, the owner: writes into a shared block, has the reader read it, and frees it then.
// Run as: owner PATH-OF-READER
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "ztk_common.h"

namespace {

// The reader's end is its answer: it is done with the block.
bool HaveRead(const char* szReader, const char* szName) {
    char* arguments[] = {const_cast<char*>(szReader), const_cast<char*>(szName), nullptr};
    pid_t nReader = 0;
    int nEnd = 0;
    if (posix_spawn(&nReader, szReader, nullptr, nullptr, arguments, environ) != 0) return false;
    return waitpid(nReader, &nEnd, 0) == nReader && nEnd == 0;
}

}  // namespace

int main(int nArguments, char** ppArguments) {
    if (nArguments != 2) return 2;
    constexpr char kText[] = "written by the owner";
    void* pBlock = nullptr;
    char szName[ZTK_SHARED_NAME_SIZE];
    // The header is part of the size, and the address is the header's.
    const uint64_t nSize = ZTK_SHARED_HEADER_SIZE + sizeof(kText);
    const uint32_t nStatus = AllocatePoolSharedMemory(nSize, &pBlock, szName);
    if (nStatus != ZTK_SUCCESS) {
        std::printf("owner: refused: %#x\n", nStatus);
        return 1;
    }
    std::memcpy(static_cast<char*>(pBlock) + ZTK_SHARED_HEADER_SIZE, kText, sizeof(kText));

    const bool bRead = HaveRead(ppArguments[1], szName);
    std::printf("owner: the reader %s\n", bRead ? "has read it" : "failed");
    FreePoolSharedMemory(pBlock);
    return bRead ? 0 : 1;
}
