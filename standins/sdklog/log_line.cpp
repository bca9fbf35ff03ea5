#include "standins/sdklog/log_line.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace ztk_standin {
namespace {

constexpr char kCutMark[] = "...[cut: out of memory]";

struct Date {
    std::int64_t nYear;
    int nMonth;
    int nDay;
};

// Days since 1970-01-01 to a date of the Gregorian calendar. Years are counted from March, so that the leap
// day is a year's last.
Date DateOf(std::int64_t nDays) {
    constexpr std::int64_t kDaysPerEra = 146097;  // 400 years
    const std::int64_t nSinceMarch0 = nDays + 719468;
    const std::int64_t nEra =
        (nSinceMarch0 >= 0 ? nSinceMarch0 : nSinceMarch0 - kDaysPerEra + 1) / kDaysPerEra;
    const std::int64_t nDayOfEra = nSinceMarch0 - nEra * kDaysPerEra;
    const std::int64_t nYearOfEra =
        (nDayOfEra - nDayOfEra / 1460 + nDayOfEra / 36524 - nDayOfEra / (kDaysPerEra - 1)) / 365;
    const std::int64_t nDayOfYear = nDayOfEra - (365 * nYearOfEra + nYearOfEra / 4 - nYearOfEra / 100);
    const auto nMarchMonth = static_cast<int>((5 * nDayOfYear + 2) / 153);
    const int nDay = static_cast<int>(nDayOfYear) - (153 * nMarchMonth + 2) / 5 + 1;
    const int nMonth = nMarchMonth < 10 ? nMarchMonth + 3 : nMarchMonth - 9;
    return {nYearOfEra + nEra * 400 + (nMonth <= 2 ? 1 : 0), nMonth, nDay};
}

const char* LevelWord(int nLevel) {
    static constexpr const char* kWords[] = {"trace", "info", "notice", "warning", "error"};
    return nLevel >= 0 && nLevel <= 4 ? kWords[nLevel] : "unknown";
}

}  // namespace

std::size_t FormatLinePrefix(char* pText, std::size_t nSize, const timespec& now, int nLevel, pid_t nThread) {
    constexpr std::int64_t kSecondsPerDay = 86400;
    const std::int64_t nSeconds = now.tv_sec;
    const std::int64_t nOfDay = ((nSeconds % kSecondsPerDay) + kSecondsPerDay) % kSecondsPerDay;
    const Date date = DateOf((nSeconds - nOfDay) / kSecondsPerDay);
    const int nLength =
        std::snprintf(pText, nSize, "%04" PRId64 "-%02d-%02dT%02d:%02d:%02d.%03dZ %-7s %d ", date.nYear,
                      date.nMonth, date.nDay, static_cast<int>(nOfDay / 3600),
                      static_cast<int>(nOfDay / 60 % 60), static_cast<int>(nOfDay % 60),
                      static_cast<int>(now.tv_nsec / 1000000), LevelWord(nLevel), static_cast<int>(nThread));
    return std::min(static_cast<std::size_t>(std::max(nLength, 0)), nSize - 1);
}

LogLine::LogLine(int nLevel, const char* szFormat, std::va_list args) {
    const int nError = errno;
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    prefix_ = FormatLinePrefix(text_, kShortLine, now, nLevel, gettid());
    errno = nError;
    std::va_list again;
    va_copy(again, args);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): a va_copy() of a parameter escapes the analyzer
    const int nMessage = std::vsnprintf(text_ + prefix_, kShortLine - prefix_, szFormat, again);
    va_end(again);
    length_ = prefix_ + static_cast<std::size_t>(std::max(nMessage, 0));
    errno = nError;
    if (nMessage < 0) {
        ReplaceBy("[not formatted] ", szFormat);
    } else if (length_ >= kShortLine) {
        FormatLong(static_cast<std::size_t>(nMessage), szFormat, args);
    }
    EndLine();
}

LogLine::~LogLine() {
    if (text_ != short_.data()) std::free(text_);
}

void LogLine::FormatLong(std::size_t nMessage, const char* szFormat, std::va_list args) {
    const int nError = errno;
    const std::size_t nSize = prefix_ + nMessage + 2;  // a line end and the terminator
    auto* pText = static_cast<char*>(std::malloc(nSize));
    if (pText == nullptr) return Cut();
    std::memcpy(pText, text_, prefix_);
    errno = nError;
    // Bounded, and cut to what there is now: another thread may be changing an argument's text.
    const int nAgain = std::vsnprintf(pText + prefix_, nSize - prefix_, szFormat, args);
    text_ = pText;
    length_ = prefix_ + std::min(static_cast<std::size_t>(std::max(nAgain, 0)), nMessage);
}

// The mark's terminator takes the place that the line end needs.
void LogLine::Cut() {
    length_ = kShortLine - 1;
    std::memcpy(text_ + kShortLine - sizeof(kCutMark), kCutMark, sizeof(kCutMark));
}

void LogLine::ReplaceBy(const char* szNote, const char* szFormat) {
    const int nMessage = std::snprintf(text_ + prefix_, kShortLine - prefix_, "%s%s", szNote, szFormat);
    length_ = std::min(prefix_ + static_cast<std::size_t>(std::max(nMessage, 0)), kShortLine - 2);
}

void LogLine::EndLine() {
    while (length_ > prefix_ && (text_[length_ - 1] == '\n' || text_[length_ - 1] == '\r'))
        --length_;
    text_[length_++] = '\n';
}

}  // namespace ztk_standin
