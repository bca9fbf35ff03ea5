// The functions that the recorder stands in front of.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ztk_record {

enum class Real : std::size_t {
    kAllocatePoolMemory,
    kAllocateAlignedPoolMemory,
    kFreePoolMemory,
    kAllocatePoolSharedMemory,
    kFreePoolSharedMemory,
    kCount,
};

extern void* g_real[static_cast<std::size_t>(Real::kCount)];

/// Looks the function up in what comes behind the recorder, or in the library where a plug-in brought it.
/// Null: it is not there.
void* FindReal(Real enFunction);

/// The log library's function, or one that does nothing.
void* RealLog();

template <class Function>
Function RealOf(Real enFunction) {
    void* pReal = __atomic_load_n(&g_real[static_cast<std::size_t>(enFunction)], __ATOMIC_RELAXED);
    if (pReal == nullptr) pReal = FindReal(enFunction);
    return reinterpret_cast<Function>(pReal);
}

}  // namespace ztk_record
