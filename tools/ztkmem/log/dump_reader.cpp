#include "log/dump_reader.h"

#include <optional>

#include "log/format_match.h"

namespace ztkmem::log {
namespace {

constexpr std::size_t kLongestEntry = 80;

/// What loggers write for a line end that they take out.
std::string_view WithoutLineEnd(std::string_view entry) {
    for (const std::string_view mark : {"\\r\\n", "\\n", "#012"}) {
        while (entry.substr(0, mark.size()) == mark)
            entry.remove_prefix(mark.size());
    }
    return entry;
}

std::optional<DumpedBlock> ReadBlock(Memory enMemory, std::string_view entry) {
    const bool bShared = enMemory == Memory::kShared;
    const auto values = MatchFormat(bShared ? "%lu" : "%lu[%#x:%#x]", entry);
    if (!values || values->nEnd != entry.size()) return std::nullopt;
    return DumpedBlock{values->numbers[0], values->numbers[1], values->numbers[2]};
}

}  // namespace

std::uint64_t& CountOf(SizeCounts& counts, std::uint64_t nSize) {
    const auto found = counts.find(nSize);
    if (found != counts.end()) return found->second;
    return counts[counts.size() < kMostSizes ? nSize : 0];
}

void DumpReader::Begin(Memory enMemory) {
    enMemory_ = enMemory;
    bOpen_ = true;
    bPassOver_ = false;
    entry_.clear();
    sizes_.clear();
    nBlocks_ = 0;
    nBytes_ = 0;
}

void DumpReader::TakeBlock() {
    const auto block = ReadBlock(enMemory_, WithoutLineEnd(entry_));
    entry_.clear();
    bPassOver_ = !block.has_value();
    if (!block) return;
    ++nBlocks_;
    nBytes_ += block->nSize;
    ++CountOf(sizes_, block->nSize);
    onBlock_(enMemory_, *block);
}

void DumpReader::Feed(std::string_view text, bool bLineBegins, bool bLineEnds) {
    if (bLineBegins) {
        entry_.clear();
        bPassOver_ = false;
    }
    for (const char ch : text) {
        if (bPassOver_) break;
        if (ch == ',') {
            TakeBlock();
        } else if (ch != ' ' && ch != '\r') {
            entry_ += ch;
            bPassOver_ = entry_.size() > kLongestEntry;
        }
    }
    if (bLineEnds) entry_.clear();
}

bool DumpReader::End(Memory enMemory, std::uint64_t nBlocks, std::uint64_t nBytes) {
    const bool bWhole = bOpen_ && enMemory == enMemory_ && nBlocks == nBlocks_ && nBytes == nBytes_;
    bOpen_ = false;
    return bWhole;
}

}  // namespace ztkmem::log
