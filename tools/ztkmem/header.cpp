#include "header.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstring>

#include "text.h"

namespace ztkmem {
namespace {

constexpr std::size_t kAtReserved8 = 8;
constexpr std::size_t kAtMmzFlag = 9;
constexpr std::size_t kAtReserved = 10;
constexpr std::size_t kAtHeaderLen = 14;
constexpr std::size_t kAtName = 16;
constexpr std::size_t kAtMmz = 96;
constexpr std::size_t kNameSize = kAtMmz - kAtName;
constexpr std::size_t kMmzSize = kHeaderSize - kAtMmz;

std::string Field(const HeaderBytes& bytes, std::size_t nAt, std::size_t nSize) {
    std::string text(nSize, '\0');
    std::memcpy(text.data(), bytes.data() + nAt, nSize);
    return text;
}

/// Could an owner have stamped this name? Letters, digits and such, without a zero in between.
bool IsPlausibleName(std::string_view name) {
    return !name.empty() &&
           std::all_of(name.begin(), name.end(), [](char ch) { return ch > ' ' && ch < 0x7F; });
}

std::vector<std::string> Faults(const Header& header, std::string_view objectName, std::uint64_t nObjectLen) {
    std::vector<std::string> faults;
    if (header.nHeaderLen != kHeaderSize)
        faults.push_back(fmt::format("header length is {}, not {}", header.nHeaderLen, kHeaderSize));
    if (header.nDataLen != nObjectLen - kHeaderSize) {
        faults.push_back(
            fmt::format("data length is {}, the object holds {}", header.nDataLen, nObjectLen - kHeaderSize));
    }
    if (header.name != objectName) faults.push_back(fmt::format("name is \"{}\"", Escape(header.name)));
    return faults;
}

HeaderVerdict JudgeMmz(const Header& header) {
    const auto place = ParseMmz(header.mmz);
    if (!place) return {HeaderState::kMmz, {fmt::format("unusable MMZ text \"{}\"", Escape(header.mmz))}};
    return {HeaderState::kMmz,
            {fmt::format("physical {:#x}, virtual {:#x}", place->nPhysical, place->nVirtual)}};
}

}  // namespace

Header DecodeHeader(const HeaderBytes& bytes) {
    Header header;
    std::memcpy(&header.nDataLen, bytes.data(), sizeof(header.nDataLen));
    header.byReserved8 = bytes[kAtReserved8];
    header.byMmz = bytes[kAtMmzFlag];
    std::memcpy(header.reserved.data(), bytes.data() + kAtReserved, header.reserved.size());
    std::memcpy(&header.nHeaderLen, bytes.data() + kAtHeaderLen, sizeof(header.nHeaderLen));
    header.name = Field(bytes, kAtName, kNameSize);
    header.name.resize(header.name.find_last_not_of('\0') + 1);
    header.mmz = Field(bytes, kAtMmz, kMmzSize);
    header.mmz.resize(std::min(header.mmz.find('\0'), kMmzSize));
    header.bAllZero = std::all_of(bytes.begin(), bytes.end(), [](auto by) { return by == 0; });
    return header;
}

const char* HeaderStateText(HeaderState enState) {
    switch (enState) {
        case HeaderState::kGood:
            return "good";
        case HeaderState::kOverwritten:
            return "overwritten";
        case HeaderState::kForeign:
            return "foreign";
        case HeaderState::kTooShort:
            return "too short";
        case HeaderState::kMmz:
            return "MMZ";
        case HeaderState::kBlank:
            return "blank";
        case HeaderState::kUnreadable:
            return "unreadable";
        case HeaderState::kNoObject:
            return "no object";
    }
    return "?";
}

HeaderVerdict JudgeHeader(const Header& header, std::string_view objectName, NameKind enKind,
                          std::uint64_t nObjectLen) {
    const bool bStamped = header.nHeaderLen == kHeaderSize;
    if (header.bAllZero) {
        return {enKind == NameKind::kForeign ? HeaderState::kForeign : HeaderState::kBlank,
                {"all zero: not stamped yet, or cleared by its owner"}};
    }
    std::vector<std::string> faults = Faults(header, objectName, nObjectLen);
    if (bStamped && header.byMmz != 0 && (header.name == objectName || ParseMmz(header.mmz)))
        return JudgeMmz(header);
    if (header.byMmz != 0) faults.emplace_back("the MMZ mark is set, without a description");
    if (faults.empty()) return {HeaderState::kGood, {}};
    const bool bAnothers = bStamped && header.name != objectName && IsPlausibleName(header.name);
    const bool bForeign = bAnothers || (enKind == NameKind::kForeign && !bStamped);
    return {bForeign ? HeaderState::kForeign : HeaderState::kOverwritten, std::move(faults)};
}

HeaderVerdict JudgeTooShort(std::uint64_t nObjectLen) {
    return {HeaderState::kTooShort,
            {fmt::format("{} bytes, the header alone takes {}", nObjectLen, kHeaderSize)}};
}

std::optional<MmzPlace> ParseMmz(std::string_view text) {
    constexpr std::string_view kStart = "MMZ_";
    constexpr int kHex = 16;
    if (text.substr(0, kStart.size()) != kStart) return std::nullopt;
    MmzPlace place;
    const char* pEnd = text.data() + text.size();
    auto [pStop, enError] = std::from_chars(text.data() + kStart.size(), pEnd, place.nPhysical);
    if (enError != std::errc() || pStop == pEnd || *pStop != '_') return std::nullopt;
    ++pStop;
    if (pEnd - pStop > 2 && pStop[0] == '0' && (pStop[1] == 'x' || pStop[1] == 'X')) pStop += 2;
    const auto [pLast, enBad] = std::from_chars(pStop, pEnd, place.nVirtual, kHex);
    if (enBad != std::errc() || pLast != pEnd) return std::nullopt;
    return place;
}

}  // namespace ztkmem
