// Log lines as tests compare them: "<level> [<function>@<number>][ZtkCommon] <text>".
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ztk::test {

using Lines = std::vector<std::string>;

/// A line of the exports and the pools.
std::string Tagged(int nLevel, const std::string& function, int nLine, const std::string& text);

/// A line of the layers below, without module tag.
std::string Plain(int nLevel, const std::string& function, int nLine, const std::string& text);

/// "0x1000"
std::string Hex(std::uint64_t nValue);

/// Empties the log. To be used instead of FakeLog::Clear(): no line goes unseen by the catalogue.
void ClearLog();

/// Everything logged since the last ClearLog(), with the random part of segment names taken out
/// ("ZTKTool-<pid>-*") and without the mapping layer's lines, which carry addresses that nobody knows.
Lines Log();

/// As Log(), and clears the log.
Lines TakeLog();

/// The lines of @p lines that one of @p functions wrote.
Lines Of(const std::vector<std::string>& functions, const Lines& lines);

}  // namespace ztk::test
