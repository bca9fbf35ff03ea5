// A program that ends in the ways the stand-in librockit.so has something to say about, or nothing.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "external/rockit.h"
#include "tests/standins/block_holder.h"

namespace {

constexpr std::uint32_t kBlock = 4096;
constexpr char kText[] = "the parent's";

MB_BLK Alloc(std::uint32_t nLength) {
    MB_BLK hBlock = nullptr;
    return RK_MPI_MMZ_Alloc(&hBlock, nLength, 0) == 0 ? hBlock : nullptr;
}

int Leak(int nBlocks) {
    for (int i = 0; i < nBlocks; ++i)
        std::printf("%p\n", RK_MPI_MMZ_Handle2VirAddr(Alloc(kBlock)));
    return 0;
}

int FillMegabytes(int /*nArgument*/) {
    int nBlocks = 0;
    while (Alloc(1U << 20U) != nullptr)
        ++nBlocks;
    std::printf("%d\n", nBlocks);
    return 0;
}

int WaitFor(pid_t nChild) {
    int nStatus = 0;
    return waitpid(nChild, &nStatus, 0) == nChild && WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 100;
}

// The child goes through the whole of exit(), with nBlocks blocks of its own left.
int ForkedChildExits(int nBlocks) {
    MB_BLK hBlock = Alloc(kBlock);
    auto* pText = static_cast<char*>(RK_MPI_MMZ_Handle2VirAddr(hBlock));
    std::memcpy(pText, kText, sizeof(kText));
    const pid_t nChild = fork();
    if (nChild == 0) std::exit(Leak(nBlocks));
    if (WaitFor(nChild) != 0) return 1;
    if (RK_MPI_MMZ_VirAddr2Handle(pText) != hBlock || std::strcmp(pText, kText) != 0) return 2;
    return RK_MPI_MMZ_Free(hBlock) == 0 ? 0 : 3;
}

int HoldToTheEnd(int /*nArgument*/) {
    HoldBlock(Alloc(kBlock));
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    static const std::map<std::string, int (*)(int)> kCommands = {
        {"leak", Leak}, {"fill", FillMegabytes}, {"fork", ForkedChildExits}, {"hold", HoldToTheEnd}};
    const auto command = argc == 3 ? kCommands.find(argv[1]) : kCommands.end();
    return command == kCommands.end() ? 64 : command->second(std::stoi(argv[2]));
}
