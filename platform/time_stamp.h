#pragma once

#include <cstdint>

namespace ztk {

/// A point of the real-time clock.
struct TimeStamp {
    std::int64_t nSeconds = 0;        ///< whole seconds since the epoch
    std::uint16_t nMilliseconds = 0;  ///< 0 .. 999 within that second
};

/// Reads the real-time clock; leaves @p tm as it is if the clock cannot be read.
void GetTimeStamp(TimeStamp& tm);

}  // namespace ztk
