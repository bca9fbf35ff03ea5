#include "platform/time_stamp.h"

#include <time.h>

namespace ztk {

void GetTimeStamp(TimeStamp& tm) {
    timespec now{};
    if (clock_gettime(CLOCK_REALTIME, &now) != 0) return;
    tm.nSeconds = now.tv_sec;
    tm.nMilliseconds = static_cast<std::uint16_t>(now.tv_nsec / 1'000'000);
}

}  // namespace ztk
