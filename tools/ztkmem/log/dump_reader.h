// The blocks of a dump, as they come in.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "log/line_forms.h"

namespace ztkmem::log {

struct DumpedBlock {
    std::uint64_t nSize = 0;
    std::uint64_t nAddress = 0;  ///< 0 for shared blocks, whose dump does not tell it
    std::uint64_t nHandle = 0;   ///< 0 for heap blocks
};

using SizeCounts = std::map<std::uint64_t, std::uint64_t>;

/// How many different sizes are told apart; further ones are counted as size 0.
constexpr std::size_t kMostSizes = 4096;

/// Counts a size within that bound.
std::uint64_t& CountOf(SizeCounts& counts, std::uint64_t nSize);

class DumpReader {
  public:
    using OnBlock = std::function<void(Memory, const DumpedBlock&)>;

    explicit DumpReader(OnBlock onBlock) : onBlock_(std::move(onBlock)) {}

    /// A heading was read; what follows are blocks.
    void Begin(Memory enMemory);

    bool IsOpen() const { return bOpen_; }

    /// Text behind the heading, or a line that is none of the library's messages, or pieces of these. Lines
    /// that hold anything but blocks are passed over from there on.
    void Feed(std::string_view text, bool bLineBegins, bool bLineEnds);

    /// The line with the totals. True if the dump above it was of that memory and came whole.
    bool End(Memory enMemory, std::uint64_t nBlocks, std::uint64_t nBytes);

    const SizeCounts& Sizes() const { return sizes_; }

  private:
    void TakeBlock();

    OnBlock onBlock_;
    SizeCounts sizes_;
    std::string entry_;
    Memory enMemory_ = Memory::kHeap;
    bool bOpen_ = false;
    bool bPassOver_ = false;
    std::uint64_t nBlocks_ = 0;
    std::uint64_t nBytes_ = 0;
};

}  // namespace ztkmem::log
