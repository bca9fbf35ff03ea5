#include "platform/mem_info.h"

#include <charconv>
#include <exception>
#include <fstream>
#include <optional>
#include <string>

namespace ztk {
namespace {

constexpr std::string_view kBlanks = " \t\r\v\f";
constexpr std::uint64_t kBytesPerKilobyte = 1024;

std::optional<std::uint64_t> SecondField(std::string_view line) {
    const auto nGap = line.find_first_of(kBlanks);
    const auto nField = line.find_first_not_of(kBlanks, nGap);
    if (nGap == std::string_view::npos || nField == std::string_view::npos) return std::nullopt;
    std::uint64_t nValue = 0;
    const char* pField = line.data() + nField;
    if (std::from_chars(pField, line.data() + line.size(), nValue).ec != std::errc{}) return std::nullopt;
    return nValue;
}

std::uint64_t BytesOf(std::uint64_t nKilobytes) {
    return nKilobytes > UINT64_MAX / kBytesPerKilobyte ? UINT64_MAX : nKilobytes * kBytesPerKilobyte;
}

std::uint64_t ReadFigure(std::string_view key) {
    try {
        std::ifstream text("/proc/meminfo");
        return ReadMemInfo(text, key);
    } catch (const std::exception&) {  // no memory for the stream's own buffer
        return 0;
    }
}

}  // namespace

std::uint64_t ReadMemInfo(std::istream& text, std::string_view key) {
    std::string line;
    while (std::getline(text, line)) {
        if (line.compare(0, key.size(), key) != 0) continue;
        if (const auto nKilobytes = SecondField(line)) return BytesOf(*nKilobytes);
    }
    return 0;
}

std::uint64_t GetMemAvailable_Linux() {
    return ReadFigure("MemAvailable:");
}

std::uint64_t GetShmemSize_Linux() {
    return ReadFigure("Shmem:");
}

}  // namespace ztk
