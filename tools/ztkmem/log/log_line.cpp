#include "log/log_line.h"

#include <cctype>
#include <charconv>
#include <cstring>

namespace ztkmem::log {
namespace {

constexpr std::string_view kTag = "[ZtkCommon]";
constexpr std::size_t kLongestName = 64;

/// No block is larger than the address space of the board; such a number is two glued together.
constexpr std::uint64_t kLargestBlock = std::uint64_t{1} << 48U;

bool IsNameCharacter(char ch) {
    return std::isalnum(static_cast<unsigned char>(ch)) != 0 || ch == '_';
}

/// Where the name that ends at @p nEnd begins; nEnd if there is none.
std::size_t NameBegin(std::string_view text, std::size_t nEnd) {
    std::size_t nBegin = nEnd;
    while (nBegin > 0 && nEnd - nBegin < kLongestName && IsNameCharacter(text[nBegin - 1]))
        --nBegin;
    return nBegin;
}

/// The place around the '@' at @p nAt.
std::optional<Place> PlaceAround(std::string_view text, std::size_t nAt) {
    const std::size_t nName = NameBegin(text, nAt);
    if (nName == nAt || nName == 0 || text[nName - 1] != '[') return std::nullopt;
    Place place;
    place.function = text.substr(nName, nAt - nName);
    place.nBegin = nName - 1;
    const char* pNumber = text.data() + nAt + 1;
    const char* pEnd = text.data() + text.size();
    const auto [pStop, enError] = std::from_chars(pNumber, pEnd, place.nNumber);
    if (enError != std::errc() || pStop == pEnd || *pStop != ']') return std::nullopt;
    place.nEnd = static_cast<std::size_t>(pStop - text.data()) + 1;
    return place;
}

std::string_view WithoutTag(std::string_view message) {
    if (message.substr(0, kTag.size()) == kTag) message.remove_prefix(kTag.size());
    while (!message.empty() && message.front() == ' ')
        message.remove_prefix(1);
    return message;
}

/// A line is whole if a blank, a control character or nothing follows: a logging library may add a colour's
/// end. So it is if what follows closes a field of JSON, of quotes or of a list, or is how loggers write a
/// control character: "\n", "#012".
bool EndsWell(std::string_view rest) {
    constexpr std::string_view kClosing = R"("',}\)";
    if (rest.empty() || static_cast<unsigned char>(rest.front()) <= ' ') return true;
    return kClosing.find(rest.front()) != std::string_view::npos || rest.substr(0, 2) == "#0";
}

/// In a dump the blocks follow, on the same line if something has taken the line ends out.
bool IsPlausible(const LogLine& line) {
    switch (line.What()) {
        case Meaning::kDumpDetail:
            return true;
        case Meaning::kAllocated:
        case Meaning::kFreed:
        case Meaning::kLimit:
        case Meaning::kDumpTotal:
            return EndsWell(line.rest) && line.Size() <= kLargestBlock;
        default:
            return EndsWell(line.rest);
    }
}

/// Other programs have functions of these names, too.
bool IsCommonName(std::string_view function) {
    return function == "Init" || function == "UnInit";
}

}  // namespace

std::optional<Place> FindPlace(std::string_view text, std::size_t nFrom) {
    while (nFrom < text.size()) {
        const void* pAt = std::memchr(text.data() + nFrom, '@', text.size() - nFrom);
        if (pAt == nullptr) return std::nullopt;
        const auto nAt = static_cast<std::size_t>(static_cast<const char*>(pAt) - text.data());
        const auto place = PlaceAround(text, nAt);
        if (place && place->nBegin >= nFrom) return place;
        nFrom = nAt + 1;
    }
    return std::nullopt;
}

Reading ReadLine(const Place& place, std::string_view message, LogLine& line) {
    const std::string_view text = WithoutTag(message);
    const bool bForeign = IsCommonName(place.function) && message.substr(0, kTag.size()) != kTag;
    Reading enReading = Reading::kForeign;
    for (const LineForm& form : AllForms()) {
        if (form.nNumber != place.nNumber || form.function != place.function) continue;
        if (!bForeign) enReading = Reading::kTorn;
        const auto values = MatchFormat(form.format, text);
        if (!values) continue;
        line = {&form, *values, text.substr(values->nEnd)};
        if (IsPlausible(line)) return Reading::kWhole;
    }
    return enReading;
}

}  // namespace ztkmem::log
