#include "segment_name.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <string>

namespace ztkmem {
namespace {

constexpr std::string_view kMarker = "ZTKTool";
constexpr std::string_view kPrefix = "ZTKTool-";
constexpr std::size_t kRandomDigits = 32;

bool IsLowerHexDigit(char ch) {
    return (ch >= '0' && ch <= '9') || (ch >= 'a' && ch <= 'f');
}

/// 0 for anything that the library would not have written: signs, leading zeros, too large a number.
int ReadProcessId(std::string_view digits) {
    int nId = 0;
    if (digits.empty() || digits.front() < '1' || digits.front() > '9') return 0;
    const char* pEnd = digits.data() + digits.size();
    const auto [pStop, enError] = std::from_chars(digits.data(), pEnd, nId);
    return enError == std::errc() && pStop == pEnd ? nId : 0;
}

/// 0 unless the name is exactly as the library makes them.
int PoolOwner(std::string_view name) {
    if (name.substr(0, kPrefix.size()) != kPrefix) return 0;
    name.remove_prefix(kPrefix.size());
    const std::size_t nDash = name.find('-');
    if (nDash == std::string_view::npos) return 0;
    const std::string_view random = name.substr(nDash + 1);
    if (random.size() != kRandomDigits || !std::all_of(random.begin(), random.end(), IsLowerHexDigit))
        return 0;
    return ReadProcessId(name.substr(0, nDash));
}

}  // namespace

SegmentName ParseSegmentName(std::string_view name) {
    const int nOwner = PoolOwner(name);
    if (nOwner != 0) return {NameKind::kPool, nOwner};
    const bool bMarked = name.find(kMarker) != std::string_view::npos;
    return {bMarked ? NameKind::kOdd : NameKind::kForeign, 0};
}

std::optional<int> SweepOwner(std::string_view name) {
    if (name.find(kMarker) == std::string_view::npos) return std::nullopt;
    const std::size_t nFirst = name.find('-');
    const std::size_t nLast = name.rfind('-');
    if (nFirst == nLast) return std::nullopt;
    const std::string text(name.substr(nFirst + 1, nLast - nFirst - 1));
    constexpr int kDecimal = 10;
    // cut to 32 bits, as the sweep does
    return static_cast<int>(std::strtol(text.c_str(), nullptr, kDecimal));
}

}  // namespace ztkmem
