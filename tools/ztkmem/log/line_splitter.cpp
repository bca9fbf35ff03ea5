#include "log/line_splitter.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace ztkmem::log {
namespace {

constexpr std::size_t kLongestMessage = 4096;

/// Whether "[name@" stands at the bracket at @p nAt, or its begin at the end of the text.
bool MayBePlace(std::string_view text, std::size_t nAt, bool bBegun) {
    std::size_t nEnd = nAt + 1;
    while (nEnd < text.size() &&
           (std::isalnum(static_cast<unsigned char>(text[nEnd])) != 0 || text[nEnd] == '_'))
        ++nEnd;
    return nEnd == text.size() ? bBegun : nEnd > nAt + 1 && text[nEnd] == '@';
}

/// Where to cut a line that is too long: before the last message; else before what may become one.
std::size_t CutOf(std::string_view text) {
    const std::size_t nLeast = text.size() - std::min(text.size() / 2, kLongestMessage);
    for (const bool bBegun : {false, true}) {
        for (std::size_t nAt = text.size() - 1; nAt > nLeast; --nAt) {
            if (text[nAt] == '[' && MayBePlace(text, nAt, bBegun)) return nAt;
        }
    }
    return text.size();
}

}  // namespace

void LineSplitter::Emit(std::string_view text, bool bLast) {
    const bool bFirst = !bInLine_;
    if (bFirst) ++nLines_;
    bInLine_ = !bLast;
    sink_({text, nLines_, bFirst, bLast});
}

void LineSplitter::Append(std::string_view bytes) {
    while (!bytes.empty()) {
        const std::size_t nTaken = std::min(bytes.size(), kLongestPiece - held_.size());
        held_ += bytes.substr(0, nTaken);
        bytes.remove_prefix(nTaken);
        if (held_.size() < kLongestPiece) return;
        const std::size_t nCut = CutOf(held_);
        Emit(std::string_view(held_).substr(0, nCut), false);
        held_.erase(0, nCut);
    }
}

void LineSplitter::Feed(std::string_view bytes) {
    while (!bytes.empty()) {
        const void* pEnd = std::memchr(bytes.data(), '\n', bytes.size());
        if (pEnd == nullptr) return Append(bytes);
        const auto nLength = static_cast<std::size_t>(static_cast<const char*>(pEnd) - bytes.data());
        if (held_.empty() && nLength <= kLongestPiece) {
            Emit(bytes.substr(0, nLength), true);
        } else {
            Append(bytes.substr(0, nLength));
            Emit(held_, true);
            held_.clear();
        }
        bytes.remove_prefix(nLength + 1);
    }
}

void LineSplitter::Finish() {
    if (!held_.empty() || bInLine_) Emit(held_, true);
    held_.clear();
}

}  // namespace ztkmem::log
