// What the exports do not show, the library's log lines do, at whatever level the log is: whether a block was
// made, and when idle ones go back to the system. Their formats are data that never changes.
#include <cstring>

#include "pass_on.h"
#include "real.h"
#include "recorder.h"

namespace ztk_record {
namespace {

constexpr int kTrace = 0;
constexpr char kHead[] = "[%s@%d]%s ";
constexpr std::size_t kHeadLength = sizeof(kHead) - 1;

constexpr char kMadeLocal[] = "Allocate system memory addr=%s, size=%lu";
constexpr char kMadeShared[] = "Allocate shared memory addr=%s, size=%lu";
constexpr char kRetryLocal[] = "Insufficient memory, free all unbusy block(s) and try again";
constexpr char kRetryShared[] = "Insufficient shared memory, free all unbusy block(s) and try again";
constexpr char kFreedLocal[] = "Free system memory addr=%s, size=%llu";
constexpr char kFreedShared[] = "Free shared memory addr=%s, size=%llu";

bool Is(const char* szText, const char* szOther) {
    return std::strcmp(szText, szOther) == 0;
}

std::uint64_t AddressIn(const char* szText) {
    std::uint64_t nAddress = 0;
    for (const char* pch = szText + 2; *pch != '\0'; ++pch)
        nAddress = nAddress * 16 + static_cast<std::uint64_t>(*pch <= '9' ? *pch - '0' : *pch - 'a' + 10);
    return nAddress;
}

void LookAt(const char* szText, const char* szAddress) {
    if (Is(szText, kMadeLocal) || Is(szText, kMadeShared)) {
        g_local.nNoted |= kNewBlock;
    } else if (Is(szText, kRetryLocal) || Is(szText, kRetryShared)) {
        g_local.nNoted |= kRetried;
    } else if (Is(szText, kFreedLocal)) {
        WriteDeed(Operation::kGiveBack, AddressIn(szAddress));
    } else if (Is(szText, kFreedShared)) {
        WriteDeed(Operation::kGiveBackShared, AddressIn(szAddress));
    } else {
        return;
    }
    if (IsReady()) File().Raise(kSawLog);
}

}  // namespace
}  // namespace ztk_record

extern "C" void* ZtkRecordLogLine(int nLevel, const char* szFormat, const char* /*szFunction*/, int /*nLine*/,
                                  const char* /*szTag*/, const char* szAddress) {
    using ztk_record::kHead;
    using ztk_record::kHeadLength;
    if (nLevel != ztk_record::kTrace && std::strncmp(szFormat, kHead, kHeadLength) == 0)
        ztk_record::LookAt(szFormat + kHeadLength, szAddress);
    return ztk_record::RealOf<void*>(ztk_record::Real::kWriteLog);
}
