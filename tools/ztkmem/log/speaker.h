// Who wrote a line, as far as what stands in front of it tells. Pure.
#pragma once

#include <cstdint>
#include <string_view>

namespace ztkmem::log {

struct Speaker {
    std::uint64_t nProcess = 0;  ///< 0: not told
    std::uint64_t nThread = 0;
};

/// Reads "name[812]:" and "pid=812" as a process, "tid=815" and "0x7f0012" as a thread, "812 815", "812:815"
/// and "812/815" as both; of a single number it takes that it is a thread, unless it has one digit, as levels
/// do.
/// @p text is what stands between a line's time, or its begin, and its message.
Speaker ReadSpeaker(std::string_view text);

}  // namespace ztkmem::log
