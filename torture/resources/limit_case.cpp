#include "torture/resources/limit_case.h"

#include <cstdio>
#include <cstring>

namespace ztk::torture {

void Checks::Equal(std::uint64_t nGot, std::uint64_t nWanted, const char* szWhat) {
    if (nGot == nWanted) return;
    std::printf("  %s: %#llx, not %#llx\n", szWhat, static_cast<unsigned long long>(nGot),
                static_cast<unsigned long long>(nWanted));
    static_cast<void>(std::fflush(stdout));
    ++nFailures_;
}

std::uint32_t AllocateShared(const LoadedLibrary& library, std::uint64_t nSize, void** ppAddr) {
    char szName[ZTK_SHARED_NAME_SIZE];
    return library.AllocatePoolSharedMemory(nSize, ppAddr, szName);
}

std::uint32_t AllocateHeap(const LoadedLibrary& library, std::uint64_t nSize, std::int32_t nAlign,
                           void** ppAddr) {
    return library.AllocateAlignedPoolMemory(nSize, nAlign, ZTK_MEM_OS, ppAddr, nullptr);
}

void WriteAll(void* pBlock, std::uint64_t nSize) {
    std::memset(pBlock, 0x5a, nSize);
}

std::string Beside(int nOffset) {
    return nOffset == 0  ? " +0"
           : nOffset < 0 ? " -" + std::to_string(-nOffset)
                         : " +" + std::to_string(nOffset);
}

}  // namespace ztk::torture
