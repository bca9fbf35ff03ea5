#pragma once

#include <cstdint>

/// AllocatePoolSharedMemory() with an alignment; for use inside the library, not exported.
extern "C" std::uint32_t AllocateAlignedPoolSharedMemory(std::uint64_t nSize, std::int32_t nAlign,
                                                         void** ppAddr, char* szName);
