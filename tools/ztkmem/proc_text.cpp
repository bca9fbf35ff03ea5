#include "proc_text.h"

#include <sys/sysmacros.h>

#include <algorithm>
#include <charconv>

namespace ztkmem {
namespace {

template <class Number>
bool ReadNumber(std::string_view text, Number& nNumber, int nBase = 10) {
    const char* pEnd = text.data() + text.size();
    const auto [pStop, enError] = std::from_chars(text.data(), pEnd, nNumber, nBase);
    return enError == std::errc() && pStop == pEnd && !text.empty();
}

std::string_view NextWord(std::string_view& text) {
    constexpr std::string_view kBlanks = " \t";
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    const std::string_view word = text.substr(0, text.find_first_of(kBlanks));
    text.remove_prefix(word.size());
    return word;
}

std::string_view NextLine(std::string_view& text) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    return line;
}

/// Fields of stat behind the command, the state being 0.
bool ReadFields(std::string_view text, ProcessStat& stat) {
    constexpr int kThreads = 17;
    constexpr int kStart = 19;
    constexpr int kResident = 21;
    bool bGood = true;
    for (int i = 0; i <= kResident; ++i) {
        const std::string_view word = NextWord(text);
        if (i == 0) {
            bGood = word.size() == 1;
            if (bGood) stat.chState = word.front();
        }
        if (i == kThreads) bGood = bGood && ReadNumber(word, stat.nThreads);
        if (i == kStart) bGood = bGood && ReadNumber(word, stat.nStartTicks);
        if (i == kResident) bGood = bGood && ReadNumber(word, stat.nResidentPages);
    }
    return bGood;
}

/// "address permissions offset major:minor inode path"
bool ReadMapsLine(std::string_view line, ObjectId& id) {
    constexpr int kHex = 16;
    NextWord(line);
    NextWord(line);
    NextWord(line);
    const std::string_view device = NextWord(line);
    const std::size_t nColon = device.find(':');
    unsigned nMajor = 0;
    unsigned nMinor = 0;
    if (nColon == std::string_view::npos || !ReadNumber(device.substr(0, nColon), nMajor, kHex) ||
        !ReadNumber(device.substr(nColon + 1), nMinor, kHex)) {
        return false;
    }
    id.nDevice = makedev(nMajor, nMinor);
    return ReadNumber(NextWord(line), id.nInode);
}

}  // namespace

std::optional<ProcessStat> ParseStat(std::string_view text) {
    // The command stands in parentheses and may itself hold parentheses, blanks and line ends.
    const std::size_t nOpen = text.find('(');
    const std::size_t nClose = text.rfind(')');
    if (nOpen == std::string_view::npos || nClose == std::string_view::npos || nClose < nOpen)
        return std::nullopt;
    ProcessStat stat;
    stat.command = text.substr(nOpen + 1, nClose - nOpen - 1);
    text = text.substr(nClose + 1);
    text = text.substr(0, text.find('\n'));
    if (!ReadFields(text, stat)) return std::nullopt;
    return stat;
}

std::vector<int> ParseInnerIds(std::string_view status) {
    constexpr std::string_view kKey = "NSpid:";
    while (!status.empty()) {
        std::string_view line = NextLine(status);
        if (line.substr(0, kKey.size()) != kKey) continue;
        line.remove_prefix(kKey.size());
        NextWord(line);  // the id in the namespace of /proc
        std::vector<int> ids;
        int nId = 0;
        while (ReadNumber(NextWord(line), nId))
            ids.push_back(nId);
        return ids;
    }
    return {};
}

std::vector<std::uint64_t> ParseMappedInodes(std::string_view maps, std::uint64_t nDevice) {
    std::vector<std::uint64_t> inodes;
    while (!maps.empty()) {
        ObjectId id;
        if (ReadMapsLine(NextLine(maps), id) && id.nDevice == nDevice && id.nInode != 0)
            inodes.push_back(id.nInode);
    }
    std::sort(inodes.begin(), inodes.end());
    inodes.erase(std::unique(inodes.begin(), inodes.end()), inodes.end());
    return inodes;
}

std::optional<std::uint64_t> ParseNamespaceLink(std::string_view text) {
    constexpr std::string_view kStart = "pid:[";
    std::uint64_t nInode = 0;
    if (text.size() <= kStart.size() || text.substr(0, kStart.size()) != kStart || text.back() != ']')
        return std::nullopt;
    if (!ReadNumber(text.substr(kStart.size(), text.size() - kStart.size() - 1), nInode)) return std::nullopt;
    return nInode;
}

}  // namespace ztkmem
