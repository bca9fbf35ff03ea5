// Reads a text by the format that printed it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace ztkmem::log {

/// What stood for the conversions of a format, in order; numbers and texts are counted apart.
struct Values {
    static constexpr std::size_t kMost = 5;
    std::array<std::uint64_t, kMost> numbers{};  ///< negative ones as their two's complement
    std::string_view text;                       ///< of the first %s
    std::size_t nNumbers = 0;
    std::size_t nEnd = 0;  ///< characters of the text that the format covers
};

/// Matches the start of @p text against a printf format of literals, %d %lu %llu %#x %p and %s. A %s takes as
/// little as it can, a number all its digits. No value if a literal differs, a number does not fit or is
/// missing.
std::optional<Values> MatchFormat(std::string_view format, std::string_view text);

}  // namespace ztkmem::log
