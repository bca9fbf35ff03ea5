// A program to be recorded. Its argument says what it does.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "common/ztk_common.h"

namespace {

constexpr std::uint64_t kKibi = 1024;
constexpr std::uint64_t kMebi = 1024 * kKibi;

// Each its own call site, also when optimised.
[[gnu::noinline]] void* TakeFrame() {
    void* pBlock = nullptr;
    if (AllocateAlignedPoolMemory(100 * kKibi, 64, ZTK_MEM_OS, &pBlock, nullptr) != ZTK_SUCCESS) std::abort();
    return pBlock;
}

[[gnu::noinline]] void* TakeTable() {
    void* pBlock = nullptr;
    if (AllocatePoolMemory(3 * kKibi, ZTK_MEM_OS, &pBlock, nullptr) != ZTK_SUCCESS) std::abort();
    return pBlock;
}

[[gnu::noinline]] void* TakeMedia() {
    void* pBlock = nullptr;
    if (AllocatePoolMemory(2 * kMebi, ZTK_MEM_MMZ, &pBlock, nullptr) != ZTK_SUCCESS) std::abort();
    return pBlock;
}

[[gnu::noinline]] void* TakeShared() {
    void* pBlock = nullptr;
    std::array<char, ZTK_SHARED_NAME_SIZE> name{};
    if (AllocatePoolSharedMemory(50 * kKibi, &pBlock, name.data()) != ZTK_SUCCESS) std::abort();
    return pBlock;
}

[[gnu::noinline]] void GiveBack(void* pBlock) {
    if (FreePoolMemory(pBlock) == ZTK_SUCCESS) return;
    std::puts("unknown");
}

/// One leak of each sort, a double and an unknown release, a refusal, and reuse.
int Faults() {
    for (int i = 0; i < 10; ++i)
        GiveBack(TakeFrame());
    TakeFrame();
    TakeTable();
    TakeTable();
    TakeMedia();
    TakeShared();
    void* pTwice = TakeTable();
    GiveBack(pTwice);
    GiveBack(pTwice);
    GiveBack(&pTwice);
    void* pBlock = nullptr;
    const bool bRefused =
        AllocatePoolMemory(UINT64_C(1) << 50U, ZTK_MEM_OS, &pBlock, nullptr) == ERR_NO_MEMORY;
    const bool bNoOutput = AllocatePoolMemory(10, ZTK_MEM_OS, nullptr, nullptr) == ERR_INVALID_PARAM;
    return bRefused && bNoOutput ? 7 : 1;
}

int Clean() {
    GiveBack(TakeFrame());
    void* pShared = TakeShared();
    return static_cast<int>(FreePoolSharedMemory(pShared));
}

int Many(int nCalls) {
    for (int i = 0; i < nCalls / 2; ++i)
        GiveBack(TakeTable());
    return 0;
}

int Threads() {
    std::vector<std::thread> threads;
    for (int nThread = 0; nThread < 4; ++nThread)
        threads.emplace_back([] { Many(20000); });
    for (std::thread& thread : threads)
        thread.join();
    return 0;
}

/// One thread after the other.
int ShortThreads(int nThreads) {
    for (int i = 0; i < nThreads; ++i)
        std::thread([] { Many(100); }).join();
    return 0;
}

int Killed() {
    TakeFrame();
    Many(1000);
    return raise(SIGKILL);
}

/// The child has a copy of the frame, and gives it back.
int Fork() {
    void* pFrame = TakeFrame();
    const pid_t nChild = fork();
    if (nChild == 0) {
        GiveBack(pFrame);
        TakeTable();
        std::_Exit(0);
    }
    waitpid(nChild, nullptr, 0);
    GiveBack(pFrame);
    return 0;
}

}  // namespace

int main(int nCount, char** ppArguments) {
    const char* szWhat = nCount > 1 ? ppArguments[1] : "";
    if (std::strcmp(szWhat, "faults") == 0) return Faults();
    if (std::strcmp(szWhat, "clean") == 0) return Clean();
    if (std::strcmp(szWhat, "many") == 0) return Many(std::atoi(ppArguments[2]));
    if (std::strcmp(szWhat, "threads") == 0) return Threads();
    if (std::strcmp(szWhat, "short-threads") == 0) return ShortThreads(std::atoi(ppArguments[2]));
    if (std::strcmp(szWhat, "killed") == 0) return Killed();
    if (std::strcmp(szWhat, "fork") == 0) return Fork();
    return 3;
}
