// Which of many calls fail, counted from 1: the text after the colon in `ztk-board --fail mmz:every:10`.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "standins/rockit/capacity_text.h"

namespace ztk_board {

/// What a scripted failure hits.
enum class Call : std::uint32_t {
    kMmz,  ///< an MMZ allocation
    kShm,  ///< the creation of a shared-memory object
    kMem,  ///< a look at /proc/meminfo, which then says that nothing is available
};
constexpr std::size_t kCallKinds = 3;

/// The call nFirst fails; with a period, so does every nPeriod-th behind it.
struct FailureRule {
    std::uint64_t nFirst = 0;
    std::uint64_t nPeriod = 0;
};

inline bool Hits(const FailureRule& rule, std::uint64_t nCall) {
    if (rule.nFirst == 0 || nCall < rule.nFirst) return false;
    return nCall == rule.nFirst || (rule.nPeriod != 0 && (nCall - rule.nFirst) % rule.nPeriod == 0);
}

struct ScriptedFailure {
    Call enCall;
    FailureRule rule;
};

namespace detail {

inline std::optional<Call> ParseCall(std::string_view szText) {
    if (szText == "mmz") return Call::kMmz;
    if (szText == "shm") return Call::kShm;
    if (szText == "mem") return Call::kMem;
    return std::nullopt;
}

inline std::optional<FailureRule> ParseRule(std::string_view szText) {
    const auto nColon = szText.find(':');
    const std::string_view szWord = nColon == std::string_view::npos ? "" : szText.substr(0, nColon);
    if (nColon != std::string_view::npos) szText.remove_prefix(nColon + 1);
    const auto nNumber = ztk_standin::ParseDecimal(szText);
    if (!nNumber || *nNumber == 0) return std::nullopt;
    if (nColon == std::string_view::npos) return FailureRule{*nNumber, 0};
    if (szWord == "every") return FailureRule{*nNumber, *nNumber};
    if (szWord == "from") return FailureRule{*nNumber, 1};
    return std::nullopt;
}

}  // namespace detail

/// "mmz:3" (the third), "shm:every:10" (each tenth), "mem:from:5" (the fifth and all behind it); or nothing.
inline std::optional<ScriptedFailure> ParseFailure(std::string_view szText) {
    const auto nColon = szText.find(':');
    if (nColon == std::string_view::npos) return std::nullopt;
    const auto enCall = detail::ParseCall(szText.substr(0, nColon));
    const auto rule = detail::ParseRule(szText.substr(nColon + 1));
    if (!enCall || !rule) return std::nullopt;
    return ScriptedFailure{*enCall, *rule};
}

}  // namespace ztk_board
