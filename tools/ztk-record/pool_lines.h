// What the library's exports do not show, its log lines do, at whatever level the log is: whether a block was
// made, and when idle ones go back to the system. Their formats are data that never changes.
#pragma once

#include <cstdint>
#include <cstring>

namespace ztk_record {

enum class PoolLine : std::uint8_t { kOther, kMade, kRetry, kFreedLocal, kFreedShared };

/// Of the pools' lines the address, if they have one, is the fourth value behind the format.
inline PoolLine PoolLineOf(int nLevel, const char* szFormat) {
    constexpr int kTrace = 0;
    constexpr char kHead[] = "[%s@%d]%s ";
    constexpr std::size_t kHeadLength = sizeof(kHead) - 1;
    struct Form {
        const char* szText;
        PoolLine enLine;
    };
    constexpr Form kForms[] = {
        {"Allocate system memory addr=%s, size=%lu", PoolLine::kMade},
        {"Allocate shared memory addr=%s, size=%lu", PoolLine::kMade},
        {"Insufficient memory, free all unbusy block(s) and try again", PoolLine::kRetry},
        {"Insufficient shared memory, free all unbusy block(s) and try again", PoolLine::kRetry},
        {"Free system memory addr=%s, size=%llu", PoolLine::kFreedLocal},
        {"Free shared memory addr=%s, size=%llu", PoolLine::kFreedShared},
    };
    if (nLevel == kTrace || std::strncmp(szFormat, kHead, kHeadLength) != 0) return PoolLine::kOther;
    for (const Form& form : kForms) {
        if (std::strcmp(szFormat + kHeadLength, form.szText) == 0) return form.enLine;
    }
    return PoolLine::kOther;
}

/// Of "0x1a2b".
inline std::uint64_t AddressIn(const char* szText) {
    std::uint64_t nAddress = 0;
    for (const char* pch = szText + 2; *pch != '\0'; ++pch)
        nAddress = nAddress * 16 + static_cast<std::uint64_t>(*pch <= '9' ? *pch - '0' : *pch - 'a' + 10);
    return nAddress;
}

}  // namespace ztk_record
