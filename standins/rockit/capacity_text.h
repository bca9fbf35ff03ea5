// The text of ZTK_ROCKIT_CAPACITY.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

namespace ztk_standin {

/// Digits only: no sign, no blanks.
inline std::optional<std::uint64_t> ParseDecimal(std::string_view szDigits) {
    constexpr std::uint64_t kMax = std::numeric_limits<std::uint64_t>::max();
    if (szDigits.empty()) return std::nullopt;
    std::uint64_t nValue = 0;
    for (const char c : szDigits) {
        if (c < '0' || c > '9') return std::nullopt;
        const auto nDigit = static_cast<std::uint64_t>(c - '0');
        if (nValue > (kMax - nDigit) / 10) return std::nullopt;
        nValue = nValue * 10 + nDigit;
    }
    return nValue;
}

inline unsigned SuffixShift(char c) {
    switch (c) {
        case 'k':
        case 'K':
            return 10;
        case 'm':
        case 'M':
            return 20;
        case 'g':
        case 'G':
            return 30;
        default:
            return 0;
    }
}

/// "268435456", "256M", "1G": the number of bytes, or nothing if @p szText is not one.
inline std::optional<std::uint64_t> ParseCapacity(std::string_view szText) {
    const unsigned nShift = szText.empty() ? 0 : SuffixShift(szText.back());
    if (nShift != 0) szText.remove_suffix(1);
    const std::optional<std::uint64_t> nNumber = ParseDecimal(szText);
    if (!nNumber || *nNumber > (std::numeric_limits<std::uint64_t>::max() >> nShift)) return std::nullopt;
    return *nNumber << nShift;
}

}  // namespace ztk_standin
