// The times in front of log lines, in the forms that are common. Pure.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ztkmem::log {

/// Lengths in seconds.
constexpr double kMinute = 60;
constexpr double kHour = 60 * kMinute;
constexpr double kDay = 24 * kHour;

enum class ClockKind : std::uint8_t {
    kNone,
    kDate,       ///< "2024-02-29T23:59:59.042Z", "2024/02/29 23:59:59,042", with or without zone
    kTimeOfDay,  ///< "23:59:59.042"; whatever date stands in front of it in another form is not read
    kSeconds,    ///< "[  123.456]"
};

struct Stamp {
    ClockKind enKind = ClockKind::kNone;
    double seconds = 0;  ///< since 1970 (UTC if the zone is known), midnight, or start
    std::optional<int> nZoneMinutes;
    std::size_t nBegin = 0;  ///< where it stands in the text
    std::size_t nEnd = 0;
};

/// The last time in @p text, which is what stands in front of a message.
std::optional<Stamp> FindStamp(std::string_view text);

/// A time as FindStamp() reads it: "2024-02-29 23:59:59", "23:59:59" (days after the first as "+1d"),
/// "123.456 s".
std::string FormatTime(ClockKind enKind, double seconds);

}  // namespace ztkmem::log
