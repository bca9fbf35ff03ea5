// The real library, loaded for a replay. Loading it sweeps /dev/shm and starts its threads, so that only a
// replay does.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ztkmem::record {

/// What the library told in its log lines since it was last asked.
struct Told {
    bool bMade = false;
    bool bRetried = false;
    std::vector<std::uint64_t> freedLocal;
    std::vector<std::uint64_t> freedShared;
};
Told TakeTold();

struct PoolLibrary {
    std::string path;
    std::uint32_t (*pAllocate)(std::uint64_t, std::int32_t, void**, std::uint64_t*) = nullptr;
    std::uint32_t (*pAllocateAligned)(std::uint64_t, std::int32_t, std::int32_t, void**,
                                      std::uint64_t*) = nullptr;
    std::uint32_t (*pAllocateShared)(std::uint64_t, void**, char*) = nullptr;
    std::uint32_t (*pRelease)(void*) = nullptr;
    std::uint32_t (*pReleaseShared)(void*) = nullptr;
};

/// @p path, or if it is empty the library of this build, or else the one that the loader finds. Throws
/// std::runtime_error. It is never unloaded: its teardown belongs to the end of the process.
PoolLibrary LoadPoolLibrary(const std::string& path);

}  // namespace ztkmem::record
