#include "hex_dump.h"

#include <fmt/format.h>

#include <algorithm>

namespace ztkmem {
namespace {

constexpr std::size_t kPerLine = 16;

char Shown(std::uint8_t byValue) {
    return byValue >= 0x20 && byValue < 0x7F ? static_cast<char>(byValue) : '.';
}

std::string Line(const std::uint8_t* pBytes, std::size_t nCount, std::uint64_t nPlace) {
    std::string digits;
    std::string characters;
    for (std::size_t i = 0; i < nCount; ++i) {
        digits += fmt::format("{}{:02x}", i == kPerLine / 2 ? "  " : " ", pBytes[i]);
        characters += Shown(pBytes[i]);
    }
    return fmt::format("{:08x} {:<49}  |{}|\n", nPlace, digits, characters);
}

bool RepeatsTheLineBefore(const std::vector<std::uint8_t>& bytes, std::size_t nAt) {
    if (nAt < kPerLine || bytes.size() - nAt < kPerLine) return false;
    return std::equal(&bytes[nAt - kPerLine], &bytes[nAt], &bytes[nAt]);
}

}  // namespace

std::string HexDump(const std::vector<std::uint8_t>& bytes, std::uint64_t nFirst) {
    std::string text;
    bool bLeftOut = false;
    for (std::size_t nAt = 0; nAt < bytes.size(); nAt += kPerLine) {
        const bool bLast = bytes.size() - nAt <= kPerLine;
        if (!bLast && RepeatsTheLineBefore(bytes, nAt)) {
            if (!bLeftOut) text += "*\n";
            bLeftOut = true;
            continue;
        }
        bLeftOut = false;
        text += Line(&bytes[nAt], std::min(kPerLine, bytes.size() - nAt), nFirst + nAt);
    }
    return text;
}

}  // namespace ztkmem
