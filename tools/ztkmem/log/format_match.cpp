#include "log/format_match.h"

#include <charconv>

namespace ztkmem::log {
namespace {

constexpr std::string_view kNil = "(nil)";

/// Takes a number off the text.
std::optional<std::uint64_t> TakeNumber(std::string_view& text, int nBase) {
    std::uint64_t nNumber = 0;
    const auto [pStop, enError] = std::from_chars(text.data(), text.data() + text.size(), nNumber, nBase);
    if (enError != std::errc()) return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(pStop - text.data()));
    return nNumber;
}

std::optional<std::uint64_t> TakeSigned(std::string_view& text) {
    constexpr int kDecimal = 10;
    const bool bNegative = !text.empty() && text.front() == '-';
    if (bNegative) text.remove_prefix(1);
    const auto nNumber = TakeNumber(text, kDecimal);
    if (!nNumber || !bNegative) return nNumber;
    return 0 - *nNumber;
}

/// "0x1f", or "0" as %#x prints it, or "(nil)" as %p does.
std::optional<std::uint64_t> TakeHex(std::string_view& text) {
    constexpr int kHex = 16;
    if (text.substr(0, kNil.size()) == kNil) {
        text.remove_prefix(kNil.size());
        return 0;
    }
    if (text.substr(0, 2) == "0x") {
        text.remove_prefix(2);
        return TakeNumber(text, kHex);
    }
    if (text.empty() || text.front() != '0') return std::nullopt;
    text.remove_prefix(1);
    return 0;
}

/// Takes a conversion such as "%llu" off the format and returns its letter.
char TakeConversion(std::string_view& format) {
    const std::size_t nLetter = format.find_first_of("duxps", 1);
    if (nLetter == std::string_view::npos) return '\0';
    const char chLetter = format[nLetter];
    format.remove_prefix(nLetter + 1);
    return chLetter;
}

std::optional<std::uint64_t> TakeBy(char chLetter, std::string_view& text) {
    constexpr int kDecimal = 10;
    switch (chLetter) {
        case 'd':
            return TakeSigned(text);
        case 'u':
            return TakeNumber(text, kDecimal);
        case 'x':
        case 'p':
            return TakeHex(text);
        default:
            return std::nullopt;
    }
}

/// Takes what a %s stands for: up to the literal that follows it in the format.
std::optional<std::string_view> TakeText(std::string_view format, std::string_view& text) {
    const std::string_view literal = format.substr(0, format.find('%'));
    const std::size_t nEnd = literal.empty() ? text.size() : text.find(literal);
    if (nEnd == std::string_view::npos) return std::nullopt;
    const std::string_view taken = text.substr(0, nEnd);
    text.remove_prefix(nEnd);
    return taken;
}

bool TakeValue(char chLetter, std::string_view format, std::string_view& text, Values& values) {
    if (chLetter == 's') {
        const auto taken = TakeText(format, text);
        if (!taken) return false;
        if (values.text.empty()) values.text = *taken;
        return true;
    }
    const auto nNumber = TakeBy(chLetter, text);
    if (!nNumber || values.nNumbers == Values::kMost) return false;
    values.numbers[values.nNumbers++] = *nNumber;
    return true;
}

}  // namespace

std::optional<Values> MatchFormat(std::string_view format, std::string_view text) {
    Values values;
    const std::size_t nSize = text.size();
    while (!format.empty()) {
        if (format.front() == '%') {
            const char chLetter = TakeConversion(format);
            if (!TakeValue(chLetter, format, text, values)) return std::nullopt;
        } else {
            if (text.empty() || text.front() != format.front()) return std::nullopt;
            format.remove_prefix(1);
            text.remove_prefix(1);
        }
    }
    values.nEnd = nSize - text.size();
    return values;
}

}  // namespace ztkmem::log
