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

/// The same, but backslashes stay as they are: for text of which parts may be escaped already.
std::string EscapeHarmful(std::string_view bytes);

/// What the terminal can show: in a locale that has not UTF-8, bytes beyond ASCII become \xNN.
void TakeTerminalForUtf8(bool bUtf8);
std::string ForTerminal(std::string_view text);

/// Columns (not bytes) that valid UTF-8 takes on a terminal, as the locale has it: wide characters take two,
/// combining ones none.
std::size_t ColumnCount(std::string_view text);

/// As many characters of valid UTF-8 as fit into @p nCount columns.
std::string_view FirstColumns(std::string_view text, std::size_t nCount);

/// "1 block", "2 blocks", "2 processes".
std::string Counted(std::uint64_t nCount, std::string_view noun);

/// "0", "812", "4.0K", "24.9M", "1.5G": powers of 1024, at most one decimal.
std::string HumanBytes(std::uint64_t nBytes);

/// HumanBytes() with its sign, "0" without.
std::string HumanDifference(std::uint64_t nBefore, std::uint64_t nNow);

/// "0s", "59s", "12m", "5h", "3d": whole units, rounded down; "future" if negative.
std::string HumanAge(std::int64_t nSeconds);

/// Seconds of "90", "90s", "15m", "2h", "3d"; no value for anything else.
std::optional<std::int64_t> ParseAge(std::string_view text);

}  // namespace ztkmem
