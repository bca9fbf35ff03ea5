// Segments: named shared-memory objects, mapped. Naming, creation and destruction, plain and aligned.
//
// The operations of the shared pool that touch none of its state. The create and destroy operations return
// 0 or ERR_NO_MEMORY, after logging what failed; outputs are written on success only.
#pragma once

#include <cstdint>
#include <string>

#include "common/status.h"

namespace ztk {

constexpr std::uint32_t kNoOsMapping = 0xFFFFFFFF;

/// "ZTKTool-<process id>-<32 random hexadecimal digits>". Throws if memory or the random device cannot be
/// had. Every byte opens the random device anew: nothing is kept between calls.
std::string GenerateSharedMemoryName();

Status CreateSharedMemory(std::uint64_t nSize, const char* szName, std::uint32_t* pOsMapping, void** ppView);

/// As it is named: log tooling and crash reports know it so.
Status DestroySharedMerory(std::uint64_t nSize, const char* szName, std::uint32_t hOsMapping, void* pView);

/// Hands out a multiple of @p nAlign (> 0) inside the segment. Neither the header nor the size makes room for
/// it: the word below the address, which holds the view, may lie in the header.
Status CreateAlignedSharedMemory(std::uint64_t nSize, const char* szName, std::int32_t nAlign,
                                 std::uint32_t* pOsMapping, void** ppAligned);

Status DestroyAlignedSharedMemory(std::uint64_t nSize, const char* szName, std::int32_t nAlign,
                                  std::uint32_t hOsMapping, void* pAligned);

/// Removes a segment by its name alone.
void CloseShareMemory(const char* szName);

}  // namespace ztk
