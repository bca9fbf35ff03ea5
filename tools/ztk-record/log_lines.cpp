// The library's log lines on their way through.
#include "pass_on.h"
#include "pool_lines.h"
#include "real.h"
#include "recorder.h"

namespace ztk_record {
namespace {

void LookAt(PoolLine enLine, const char* szAddress) {
    switch (enLine) {
        case PoolLine::kMade:
            g_local.nNoted |= kNewBlock;
            break;
        case PoolLine::kRetry:
            g_local.nNoted |= kRetried;
            break;
        case PoolLine::kFreedLocal:
            WriteDeed(Operation::kGiveBack, AddressIn(szAddress));
            break;
        case PoolLine::kFreedShared:
            WriteDeed(Operation::kGiveBackShared, AddressIn(szAddress));
            break;
        case PoolLine::kOther:
            return;
    }
    if (IsReady()) File().Raise(kSawLog);
}

}  // namespace
}  // namespace ztk_record

extern "C" void* ZtkRecordLogLine(int nLevel, const char* szFormat, const char* /*szFunction*/, int /*nLine*/,
                                  const char* /*szTag*/, const char* szAddress) {
    ztk_record::LookAt(ztk_record::PoolLineOf(nLevel, szFormat), szAddress);
    return ztk_record::RealLog();
}
