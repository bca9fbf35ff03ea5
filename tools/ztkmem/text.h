// Numbers, times and hostile text for people's eyes, and back.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ztkmem {

/// Valid UTF-8 that is safe on a terminal and in JSON, and from which the bytes can be told: a backslash is
/// doubled; control characters, marks that reorder text, and bytes that are not UTF-8 become \xNN.
std::string Escape(std::string_view bytes);

/// The inverse; no value if the text cannot be a result of Escape().
std::optional<std::string> Unescape(std::string_view text);

/// Characters (not bytes) of valid UTF-8.
std::size_t CharacterCount(std::string_view text);

/// The first @p nCount characters of valid UTF-8.
std::string_view FirstCharacters(std::string_view text, std::size_t nCount);

/// "0", "812", "4.0K", "24.9M", "1.5G": powers of 1024, at most one decimal.
std::string HumanBytes(std::uint64_t nBytes);

/// HumanBytes() with its sign, "0" without.
std::string HumanDifference(std::uint64_t nBefore, std::uint64_t nNow);

/// "0s", "59s", "12m", "5h", "3d": whole units, rounded down; "future" if negative.
std::string HumanAge(std::int64_t nSeconds);

/// Seconds of "90", "90s", "15m", "2h", "3d"; no value for anything else.
std::optional<std::int64_t> ParseAge(std::string_view text);

}  // namespace ztkmem
