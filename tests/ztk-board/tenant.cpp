// A program for a board: does what its arguments say, one after the other, and tells how it went.
//   available           prints what the library says is available, in bytes
//   heap|mmz|shm SIZE   asks for a block of SIZE MiB, touches all of it and keeps it
//   free N              gives the N-th block (from 1) back to its pool
//   run ARGUMENTS...    runs this program again with the rest of the arguments, and waits for it
//   die                 ends at once, without giving anything back
//   status N            ends with this exit status
//   wait                says "ready" and waits for a signal
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include "common/ztk_common.h"

namespace {

struct Block {
    std::string kind;
    void* pAddr;
};

std::vector<Block> g_blocks;

std::uint32_t Allocate(const std::string& kind, std::uint64_t nBytes, void** ppAddr) {
    char szName[ZTK_SHARED_NAME_SIZE];
    if (kind == "shm") return AllocatePoolSharedMemory(nBytes, ppAddr, szName);
    return AllocatePoolMemory(nBytes, kind == "mmz" ? ZTK_MEM_MMZ : ZTK_MEM_OS, ppAddr, nullptr);
}

void Ask(const std::string& kind, const char* szSize) {
    const std::uint64_t nBytes = std::strtoull(szSize, nullptr, 10) << 20U;
    void* pAddr = nullptr;
    const std::uint32_t nStatus = Allocate(kind, nBytes, &pAddr);
    std::printf("%s %s: %s\n", kind.c_str(), szSize, nStatus == ZTK_SUCCESS ? "given" : "refused");
    g_blocks.push_back({kind, pAddr});
    if (pAddr == nullptr) return;
    constexpr std::size_t kHeader = ZTK_SHARED_HEADER_SIZE;
    std::memset(static_cast<char*>(pAddr) + kHeader, 1, nBytes - kHeader);
}

void GiveBack(const char* szNumber) {
    const Block& block = g_blocks.at(std::strtoull(szNumber, nullptr, 10) - 1);
    if (block.kind == "shm") {
        FreePoolSharedMemory(block.pAddr);
    } else {
        FreePoolMemory(block.pAddr);
    }
}

void RunAgain(char** ppArguments) {
    std::fflush(stdout);
    const pid_t nChild = fork();
    if (nChild == 0) {
        execv("/proc/self/exe", ppArguments);
        _exit(99);
    }
    int nStatus = 0;
    waitpid(nChild, &nStatus, 0);
}

[[noreturn]] void WaitForSignal() {
    std::puts("ready");
    std::fflush(stdout);
    for (;;)
        pause();
}

}  // namespace

int main(int /*nCount*/, char** ppArguments) {
    for (char** ppNext = ppArguments + 1; *ppNext != nullptr; ++ppNext) {
        const std::string word = *ppNext;
        if (word == "available") {
            std::printf("available %llu\n", static_cast<unsigned long long>(GetAvailableOSSize()));
        } else if (word == "heap" || word == "mmz" || word == "shm") {
            Ask(word, *++ppNext);
        } else if (word == "free") {
            GiveBack(*++ppNext);
        } else if (word == "run") {
            RunAgain(ppNext);
            break;
        } else if (word == "die") {
            std::fflush(stdout);
            raise(SIGKILL);
        } else if (word == "status") {
            std::fflush(stdout);
            return std::atoi(*++ppNext);  // NOLINT(cert-err34-c): the test's own text
        } else if (word == "wait") {
            WaitForSignal();
        }
    }
    return 0;
}
