// One line of the log, made ready to be written at once.
#pragma once

#include <sys/types.h>

#include <array>
#include <cstdarg>
#include <cstddef>
#include <ctime>

namespace ztk_standin {

constexpr std::size_t kShortLine = 1024;

/// Writes "<time> <level> <thread> " to @p pText and returns its length. The time is UTC and computed here:
/// glibc's localtime_r() and gmtime_r() take a lock that a child forked at the wrong moment inherits locked.
std::size_t FormatLinePrefix(char* pText, std::size_t nSize, const timespec& now, int nLevel, pid_t nThread);

/// Short lines need no heap. When there is none for a long one, it is cut and says so.
class LogLine {
  public:
    /// errno must be the caller's: a message may contain %m.
    LogLine(int nLevel, const char* szFormat, std::va_list args) __attribute__((format(printf, 3, 0)));
    ~LogLine();
    LogLine(const LogLine&) = delete;
    LogLine& operator=(const LogLine&) = delete;

    [[nodiscard]] const char* Text() const { return text_; }
    [[nodiscard]] std::size_t Length() const { return length_; }

  private:
    void FormatLong(std::size_t nMessage, const char* szFormat, std::va_list args)
        __attribute__((format(printf, 3, 0)));
    void Cut();
    void ReplaceBy(const char* szNote, const char* szFormat);
    void EndLine();

    std::array<char, kShortLine> short_;
    char* text_ = short_.data();
    std::size_t prefix_ = 0;
    std::size_t length_ = 0;
};

}  // namespace ztk_standin
