#pragma once

#include <cstdint>
#include <string>

namespace ztk {

/// The text of a dump, ten blocks to a line, with their count and total size.
class BlockDump {
  public:
    explicit BlockDump(const char* szHeading) : text_(szHeading) { text_ += '\n'; }

    /// Adds a block of @p nSize bytes as @p szEntry. Throws std::bad_alloc.
    void Add(const char* szEntry, std::uint64_t nSize) {
        text_ += szEntry;
        nTotalSize_ += nSize;
        if (++nCount_ % kBlocksPerLine == 0) text_ += '\n';
    }

    const char* Text() const { return text_.c_str(); }
    std::int32_t Count() const { return nCount_; }
    std::uint64_t TotalSize() const { return nTotalSize_; }

  private:
    static constexpr std::int32_t kBlocksPerLine = 10;

    std::string text_;
    std::int32_t nCount_ = 0;
    std::uint64_t nTotalSize_ = 0;
};

}  // namespace ztk
