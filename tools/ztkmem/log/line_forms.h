// Every line the library writes: its place, its text, and what it means here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace ztkmem::log {

enum class Pool : std::uint8_t { kLocal, kShared };
constexpr std::size_t kPools = 2;

/// What memory a line speaks of. An allocation of the local pool does not say which of the two it has.
enum class Memory : std::uint8_t { kHeap, kMmz, kUntold, kShared };
constexpr std::size_t kMemories = 4;

enum class Meaning : std::uint8_t {
    kCallBegins,
    kCallEnds,
    kPoolStarts,
    kPoolBroken,  ///< the reclaimer could not be started or joined
    kRetry,
    kFailed,
    kAllocated,
    kUnknownRelease,
    kLimit,
    kFreed,
    kDumpDetail,
    kDumpTotal,
    kCause,  ///< an error below the pools: why a block could not be had or given back
    kSegmentMade,
    kRemark,
};

constexpr int kInfo = 1;  ///< the level of lines that tell of allocations and minutes
constexpr int kNoSize = -1;

struct LineForm {
    std::string_view function;
    int nNumber;
    int nLevel;
    Meaning enMeaning;
    Memory enMemory;
    int nSizeAt;  ///< which of the line's numbers is the size of a request or a block
    std::string_view format;
};

constexpr Pool PoolOf(Memory enMemory) {
    return enMemory == Memory::kShared ? Pool::kShared : Pool::kLocal;
}

struct LineForms {
    const LineForm* pFirst;
    std::size_t nCount;
    const LineForm* begin() const { return pFirst; }
    const LineForm* end() const { return pFirst + nCount; }
};

/// All of them; of forms with the same place the more particular ones come first.
LineForms AllForms();

}  // namespace ztkmem::log
