#include "log/speaker.h"

#include <charconv>
#include <optional>
#include <vector>

namespace ztkmem::log {
namespace {

constexpr std::string_view kSeparators = " \t[](){}<>|,;";
constexpr std::size_t kLongestId = 10;

struct Token {
    std::string_view text;
    bool bNamed = false;  ///< in brackets directly behind a word, as in "camera[812]"
};

bool IsSeparator(char ch) {
    return kSeparators.find(ch) != std::string_view::npos;
}

std::vector<Token> Split(std::string_view text) {
    std::vector<Token> tokens;
    for (std::size_t nAt = 0; nAt < text.size();) {
        if (IsSeparator(text[nAt])) {
            ++nAt;
            continue;
        }
        std::size_t nEnd = nAt;
        while (nEnd < text.size() && !IsSeparator(text[nEnd]))
            ++nEnd;
        const bool bNamed = nAt >= 2 && text[nAt - 1] == '[' && !IsSeparator(text[nAt - 2]);
        tokens.push_back({text.substr(nAt, nEnd - nAt), bNamed});
        nAt = nEnd;
    }
    return tokens;
}

std::optional<std::uint64_t> ReadNumber(std::string_view text, int nBase) {
    std::uint64_t nNumber = 0;
    const auto [pStop, enError] = std::from_chars(text.data(), text.data() + text.size(), nNumber, nBase);
    if (enError != std::errc() || pStop != text.data() + text.size() || text.empty()) return std::nullopt;
    return nNumber;
}

std::optional<std::uint64_t> ReadId(std::string_view text) {
    constexpr int kDecimal = 10;
    constexpr int kHex = 16;
    if (text.substr(0, 2) == "0x") return ReadNumber(text.substr(2), kHex);
    return text.size() > kLongestId ? std::nullopt : ReadNumber(text, kDecimal);
}

/// "pid=812", "tid:815".
bool ReadLabelled(std::string_view token, Speaker& speaker) {
    const std::size_t nAt = token.find_first_of("=:");
    if (nAt == std::string_view::npos) return false;
    const auto nId = ReadId(token.substr(nAt + 1));
    const std::string_view label = token.substr(0, nAt);
    if (!nId) return false;
    if (label == "pid" || label == "PID") {
        speaker.nProcess = *nId;
    } else if (label == "tid" || label == "TID" || label == "thread") {
        speaker.nThread = *nId;
    } else {
        return false;
    }
    return true;
}

bool ReadPair(std::string_view token, Speaker& speaker) {
    const std::size_t nAt = token.find_first_of(":/");
    if (nAt == std::string_view::npos) return false;
    const auto nProcess = ReadId(token.substr(0, nAt));
    const auto nThread = ReadId(token.substr(nAt + 1));
    if (!nProcess || !nThread) return false;
    speaker = {*nProcess, *nThread};
    return true;
}

/// A number that stands alone: a thread, or with the one before it process and thread.
void TakeNumber(const Token& token, bool bBehindNumber, Speaker& speaker) {
    const auto nId = ReadId(token.text);
    if (token.bNamed) {
        speaker.nProcess = *nId;
    } else if (bBehindNumber && speaker.nProcess == 0) {
        speaker = {speaker.nThread, *nId};
    } else if (token.text.size() > 1 && speaker.nThread == 0) {
        speaker.nThread = *nId;
    }
}

}  // namespace

Speaker ReadSpeaker(std::string_view text) {
    Speaker speaker;
    bool bBehindNumber = false;
    for (Token token : Split(text)) {
        if (!token.text.empty() && token.text.back() == ':') token.text.remove_suffix(1);
        const bool bNumber = ReadId(token.text).has_value();
        if (bNumber) {
            TakeNumber(token, bBehindNumber, speaker);
        } else if (!ReadLabelled(token.text, speaker)) {
            ReadPair(token.text, speaker);
        }
        bBehindNumber = bNumber && !token.bNamed && speaker.nThread != 0;
    }
    return speaker;
}

}  // namespace ztkmem::log
