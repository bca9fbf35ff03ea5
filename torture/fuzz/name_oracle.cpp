#include "torture/fuzz/name_oracle.h"

#include <algorithm>
#include <vector>

namespace ztk::torture {
namespace {

constexpr std::string_view kMark = "ZTKTool";

bool IsBlank(char c) {
    return std::string_view(" \t\n\v\f\r").find(c) != std::string_view::npos;
}

std::vector<std::size_t> DashesIn(std::string_view name) {
    std::vector<std::size_t> places;
    for (std::size_t nPlace = 0; nPlace < name.size(); ++nPlace) {
        if (name[nPlace] == '-') places.push_back(nPlace);
    }
    return places;
}

bool HasMark(std::string_view name) {
    return std::search(name.begin(), name.end(), kMark.begin(), kMark.end()) != name.end();
}

/// The digits' number, or the limit if it is larger. Any 19 digits are a number of 64 bits.
std::uint64_t ValueUpTo(std::string_view digits, std::uint64_t nLimit) {
    constexpr std::size_t kSafeDigits = 19;
    digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
    if (digits.size() > kSafeDigits) return nLimit;
    std::uint64_t nValue = 0;
    for (const char c : digits)
        nValue = nValue * 10 + static_cast<unsigned>(c - '0');
    return std::min(nValue, nLimit);
}

}  // namespace

bool operator==(const Verdict& a, const Verdict& b) {
    return a.nLine == b.nLine && a.bOwn == b.bOwn && a.bAsked == b.bAsked && a.nAsked == b.nAsked;
}

std::int32_t LeadingId(std::string_view text) {
    while (!text.empty() && IsBlank(text.front()))
        text.remove_prefix(1);
    const bool bNegative = !text.empty() && text.front() == '-';
    if (!text.empty() && (text.front() == '-' || text.front() == '+')) text.remove_prefix(1);
    const std::string_view digits = text.substr(0, text.find_first_not_of("0123456789"));
    const std::uint64_t nMagnitude = ValueUpTo(digits, (std::uint64_t{1} << 63U) - (bNegative ? 0 : 1));
    const auto nLow = static_cast<std::uint32_t>(bNegative ? 0 - nMagnitude : nMagnitude);
    return static_cast<std::int32_t>(nLow);
}

Verdict Judge(std::string_view name, EntryType enType, std::string_view own) {
    Verdict verdict;
    if (name == "." || name == "..") return verdict;
    if (enType != EntryType::kRegular) {
        verdict.nLine = kLineNoRegularFile;
        return verdict;
    }
    if (!HasMark(name)) return verdict;
    const std::vector<std::size_t> dashes = DashesIn(name);
    if (dashes.size() < 2) {
        verdict.nLine = kLineMalformed;
        return verdict;
    }
    const std::string_view owner = name.substr(dashes.front() + 1, dashes.back() - dashes.front() - 1);
    verdict.bOwn = owner == own;
    verdict.bAsked = !verdict.bOwn;
    if (verdict.bAsked) verdict.nAsked = LeadingId(owner);
    return verdict;
}

}  // namespace ztk::torture
