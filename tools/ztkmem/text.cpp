#include "text.h"

#include <fmt/format.h>
#include <wchar.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

namespace ztkmem {
namespace {

constexpr std::int64_t kMinute = 60;
constexpr std::int64_t kHour = 60 * kMinute;
constexpr std::int64_t kDay = 24 * kHour;

bool bTerminalHasUtf8 = true;

struct Character {
    std::size_t nBytes = 0;  ///< 0: not UTF-8
    char32_t chCode = 0;
};

struct Shape {
    std::size_t nBytes;
    unsigned nMask;    ///< of the first byte: which bits tell the length
    unsigned nMark;    ///< what these bits are
    char32_t chLeast;  ///< shorter forms exist below this one
};

constexpr std::array<Shape, 4> kShapes{
    {{1, 0x80, 0x00, 0}, {2, 0xE0, 0xC0, 0x80}, {3, 0xF0, 0xE0, 0x800}, {4, 0xF8, 0xF0, 0x10000}}};

unsigned At(std::string_view text, std::size_t nAt) {
    return static_cast<unsigned char>(text[nAt]);
}

bool IsSurrogate(char32_t chCode) {
    return chCode >= 0xD800 && chCode <= 0xDFFF;
}

Character ReadAs(const Shape& shape, std::string_view text) {
    if (text.size() < shape.nBytes) return {};
    char32_t chCode = At(text, 0) & ~shape.nMask;
    for (std::size_t i = 1; i < shape.nBytes; ++i) {
        if ((At(text, i) & 0xC0U) != 0x80U) return {};
        chCode = (chCode << 6U) | (At(text, i) & 0x3FU);
    }
    if (chCode < shape.chLeast || chCode > 0x10FFFF || IsSurrogate(chCode)) return {};
    return {shape.nBytes, chCode};
}

Character ReadCharacter(std::string_view text) {
    for (const Shape& shape : kShapes) {
        if ((At(text, 0) & shape.nMask) == shape.nMark) return ReadAs(shape, text);
    }
    return {};
}

/// Control characters, and those that are invisible or turn the direction of the text around them.
bool IsHarmful(char32_t chCode) {
    return chCode < 0x20 || (chCode >= 0x7F && chCode <= 0x9F) || chCode == 0xAD || chCode == 0x61C ||
           (chCode >= 0x200B && chCode <= 0x200F) || (chCode >= 0x2028 && chCode <= 0x202E) ||
           (chCode >= 0x2060 && chCode <= 0x206F) || chCode == 0xFEFF ||
           (chCode >= 0xFFF0 && chCode <= 0xFFFB) || chCode >= 0xE0000;
}

void AppendHex(std::string& text, std::string_view bytes) {
    for (std::size_t i = 0; i < bytes.size(); ++i)
        text += fmt::format("\\x{:02x}", At(bytes, i));
}

enum class Backslash { kDouble, kLeave };

std::string Escaped(std::string_view bytes, Backslash enBackslash) {
    std::string text;
    while (!bytes.empty()) {
        const Character character = ReadCharacter(bytes);
        const std::string_view taken = bytes.substr(0, std::max<std::size_t>(character.nBytes, 1));
        if (character.nBytes == 0 || IsHarmful(character.chCode)) {
            AppendHex(text, taken);
        } else {
            if (character.chCode == U'\\' && enBackslash == Backslash::kDouble) text += '\\';
            text += taken;
        }
        bytes.remove_prefix(taken.size());
    }
    return text;
}

/// What the next character takes.
struct Extent {
    std::size_t nBytes = 1;
    std::size_t nColumns = 1;
};

Extent NextExtent(std::string_view text) {
    const Character character = ReadCharacter(text);
    if (character.nBytes <= 1) return {};
    // a character that the locale does not know is taken for a narrow one
    const int nColumns = wcwidth(static_cast<wchar_t>(character.chCode));
    return {character.nBytes, nColumns < 0 ? 1 : static_cast<std::size_t>(nColumns)};
}

std::optional<char> ReadHex(std::string_view text) {
    unsigned nValue = 0;
    constexpr int kHex = 16;
    if (text.size() < 2) return std::nullopt;
    const auto [pStop, enError] = std::from_chars(text.data(), text.data() + 2, nValue, kHex);
    if (enError != std::errc() || pStop != text.data() + 2) return std::nullopt;
    return static_cast<char>(nValue);
}

}  // namespace

std::string Escape(std::string_view bytes) {
    return Escaped(bytes, Backslash::kDouble);
}

std::string EscapeHarmful(std::string_view bytes) {
    return Escaped(bytes, Backslash::kLeave);
}

void TakeTerminalForUtf8(bool bUtf8) {
    bTerminalHasUtf8 = bUtf8;
}

std::string ForTerminal(std::string_view text) {
    if (bTerminalHasUtf8) return std::string(text);
    std::string ascii;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (At(text, i) < 0x80) {
            ascii += text[i];
        } else {
            AppendHex(ascii, text.substr(i, 1));
        }
    }
    return ascii;
}

std::optional<std::string> Unescape(std::string_view text) {
    std::string bytes;
    while (!text.empty()) {
        std::size_t nTaken = 1;
        if (text[0] != '\\') {
            bytes += text[0];
        } else if (text.substr(0, 2) == "\\\\") {
            bytes += '\\';
            nTaken = 2;
        } else {
            const auto chByte = text.substr(0, 2) == "\\x" ? ReadHex(text.substr(2)) : std::nullopt;
            if (!chByte) return std::nullopt;
            bytes += *chByte;
            nTaken = 4;
        }
        text.remove_prefix(nTaken);
    }
    return bytes;
}

std::size_t ColumnCount(std::string_view text) {
    std::size_t nColumns = 0;
    while (!text.empty()) {
        const Extent extent = NextExtent(text);
        nColumns += extent.nColumns;
        text.remove_prefix(extent.nBytes);
    }
    return nColumns;
}

std::string_view FirstColumns(std::string_view text, std::size_t nCount) {
    std::size_t nAt = 0;
    while (nAt < text.size()) {
        const Extent extent = NextExtent(text.substr(nAt));
        if (extent.nColumns > nCount) break;
        nCount -= extent.nColumns;
        nAt += extent.nBytes;
    }
    return text.substr(0, nAt);
}

std::string Counted(std::uint64_t nCount, std::string_view noun) {
    if (nCount == 1) return fmt::format("1 {}", noun);
    return fmt::format("{} {}{}", nCount, noun, noun.back() == 's' ? "es" : "s");
}

std::string HumanBytes(std::uint64_t nBytes) {
    constexpr std::string_view kUnits = "KMGTPE";
    constexpr double kStep = 1024;
    if (nBytes < 1024) return std::to_string(nBytes);
    auto value = static_cast<double>(nBytes) / kStep;
    std::size_t nUnit = 0;
    // 1023.95 would be written as 1024.0
    while (value >= 1023.95 && nUnit + 1 < kUnits.size()) {
        value /= kStep;
        ++nUnit;
    }
    return fmt::format("{:.1f}{}", value, kUnits[nUnit]);
}

std::string HumanDifference(std::uint64_t nBefore, std::uint64_t nNow) {
    if (nNow == nBefore) return "0";
    return nNow > nBefore ? "+" + HumanBytes(nNow - nBefore) : "-" + HumanBytes(nBefore - nNow);
}

std::string HumanAge(std::int64_t nSeconds) {
    if (nSeconds < 0) return "future";
    if (nSeconds < kMinute) return fmt::format("{}s", nSeconds);
    if (nSeconds < kHour) return fmt::format("{}m", nSeconds / kMinute);
    if (nSeconds < kDay) return fmt::format("{}h", nSeconds / kHour);
    return fmt::format("{}d", nSeconds / kDay);
}

std::optional<std::int64_t> ParseAge(std::string_view text) {
    std::int64_t nNumber = 0;
    const char* pEnd = text.data() + text.size();
    const auto [pStop, enError] = std::from_chars(text.data(), pEnd, nNumber);
    if (enError != std::errc() || nNumber < 0) return std::nullopt;
    const std::string_view unit(pStop, static_cast<std::size_t>(pEnd - pStop));
    std::int64_t nUnit = 0;
    if (unit.empty() || unit == "s") nUnit = 1;
    if (unit == "m") nUnit = kMinute;
    if (unit == "h") nUnit = kHour;
    if (unit == "d") nUnit = kDay;
    if (nUnit == 0 || nNumber > std::numeric_limits<std::int64_t>::max() / nUnit) return std::nullopt;
    return nNumber * nUnit;
}

}  // namespace ztkmem
