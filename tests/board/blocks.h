// What the checks that are linked against the library ask of it.
#pragma once

#include <cstdint>

#include "common/ztk_common.h"

namespace ztk::test {

constexpr std::uint64_t kMiB = std::uint64_t{1} << 20U;

/// A shared block whose name nobody else is told.
inline std::uint32_t TakeShared(std::uint64_t nSize, void** ppBlock) {
    char szName[ZTK_SHARED_NAME_SIZE];
    return AllocatePoolSharedMemory(nSize, ppBlock, szName);
}

/// The pools' way to give everything idle back: a request that nobody can serve.
inline void GiveIdleBlocksBack() {
    void* pNone = nullptr;
    AllocatePoolMemory(1, -1, &pNone, nullptr);
}

}  // namespace ztk::test
