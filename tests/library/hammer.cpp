#include "tests/library/hammer.h"

#include <cstring>

namespace ztk::test {

Hammer::Hammer(const LoadedLibrary& library, char cMark)
    : lib_(library), cMark_(cMark), thread_([this] { Run(); }) {}

void Hammer::Stop() {
    bStop_ = true;
    if (thread_.joinable()) thread_.join();
}

void Hammer::Expect(bool bTrue) {
    if (!bTrue) ++nFailures_;
}

void Hammer::Run() {
    constexpr uint64_t kKeptSize = 64UL * 1024;
    void* pKept = nullptr;
    Expect(lib_.AllocatePoolSharedMemory(kKeptSize, &pKept, szKept_) == ZTK_SUCCESS);
    char* const pData = static_cast<char*>(pKept) + ZTK_SHARED_HEADER_SIZE;
    std::memset(pData, cMark_, kKeptSize - ZTK_SHARED_HEADER_SIZE);
    while (!bStop_) {
        const uint64_t nSize = 128 + static_cast<uint64_t>(nLaps_ % 7) * 4096;
        UseMemory(nSize, 0, ZTK_MEM_OS);
        UseMemory(nSize, 64, ZTK_MEM_OS);
        UseMemory(nSize, 0, ZTK_MEM_MMZ);
        UseShared(nSize);
        if (nLaps_ % 20 == 0) Flush();
        ++nLaps_;
    }
    Expect(pData[0] == cMark_ && pData[kKeptSize - ZTK_SHARED_HEADER_SIZE - 1] == cMark_);
    Expect(lib_.FreePoolSharedMemory(pKept) == ZTK_SUCCESS);
}

void Hammer::UseMemory(uint64_t nSize, int32_t nAlign, int32_t enMemType) {
    void* pAddr = nullptr;
    Expect(lib_.AllocateAlignedPoolMemory(nSize, nAlign, enMemType, &pAddr, nullptr) == ZTK_SUCCESS);
    std::memset(pAddr, cMark_, nSize);
    Expect(lib_.FreePoolMemory(pAddr) == ZTK_SUCCESS);
}

void Hammer::UseShared(uint64_t nSize) {
    void* pAddr = nullptr;
    char szName[ZTK_SHARED_NAME_SIZE];
    Expect(lib_.AllocatePoolSharedMemory(nSize, &pAddr, szName) == ZTK_SUCCESS);
    Expect(lib_.FreePoolSharedMemory(pAddr) == ZTK_SUCCESS);
}

/// Requests that cannot be served: the pools give all idle blocks back on the way.
void Hammer::Flush() {
    void* pAddr = nullptr;
    char szName[ZTK_SHARED_NAME_SIZE];
    Expect(lib_.AllocatePoolMemory(1, 2, &pAddr, nullptr) == ERR_NO_MEMORY);
    Expect(lib_.AllocatePoolSharedMemory(UINT64_MAX, &pAddr, szName) == ERR_NO_MEMORY);
}

}  // namespace ztk::test
