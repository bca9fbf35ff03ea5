// The verdict: what the facts mean, in words.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "log/analysis.h"
#include "log/timeline.h"

namespace ztkmem::log {

enum class Weight {
    kProblem,  ///< something to look into
    kRemark,   ///< what the log cannot tell, or is good to know
};

struct Finding {
    Weight enWeight = Weight::kRemark;
    std::string code;      ///< for programs: "failed", "growth", ...
    std::string sentence;  ///< for people, with the counts it stands on
};

/// Problems first. At least one finding: if nothing is wrong, it says what was looked at.
std::vector<Finding> Judge(const Analysis& analysis, const Timeline& times);

bool HasProblem(const std::vector<Finding>& findings);

/// No value if the log has no line that could tell.
std::optional<bool> IsHealthy(const Analysis& analysis, const std::vector<Finding>& findings);

/// "local", "shared".
std::string_view NameOf(Pool enPool);

/// "heap", "MMZ", "heap or MMZ", "shared".
std::string_view NameOf(Memory enMemory);

/// "812 bytes", "4.0K", ...: as HumanBytes(), but whole for what is small; -4.0K for less than nothing.
std::string Bytes(std::int64_t nBytes);
std::string Bytes(std::uint64_t nBytes);

/// "31 min", "45 s", "2.5 h".
std::string Duration(double seconds);

}  // namespace ztkmem::log
