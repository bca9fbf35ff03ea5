#include "fakes/fake_log.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>

#include "external/ztk_log.h"
#include "support/interception.h"
#include "support/real_calls.h"

namespace ztk::test {
namespace {

struct Book {
    RealMutex mutex;
    std::vector<LogLine> lines;
    std::atomic<int> nLevel{0};
    std::atomic<void (*)(const LogLine&)> pCallback{nullptr};
};

Book& TheBook() {
    static auto* pBook = new Book;  // lines are written from destructors at exit, too
    return *pBook;
}

[[gnu::format(printf, 1, 0)]] std::string Formatted(const char* szFormat, va_list values) {
    va_list again;
    va_copy(again, values);
    const int nLength = std::vsnprintf(nullptr, 0, szFormat, again);
    va_end(again);
    std::string text(static_cast<std::size_t>(nLength), '\0');
    static_cast<void>(std::vsnprintf(text.data(), text.size() + 1, szFormat, values));
    return text;
}

std::string AtAGlance(const LogLine& line) {
    return std::to_string(line.nLevel) + ' ' + line.text;
}

}  // namespace

void FakeLog::Clear() {
    const std::lock_guard lock(TheBook().mutex);
    TheBook().lines.clear();
}

void FakeLog::SetLevel(int nLevel) {
    TheBook().nLevel = nLevel;
}

std::vector<LogLine> FakeLog::Lines() {
    const std::lock_guard lock(TheBook().mutex);
    return TheBook().lines;
}

std::vector<std::string> FakeLog::Texts() {
    return TextsWithout("");
}

std::vector<std::string> FakeLog::TextsWithout(const std::string& function) {
    std::vector<std::string> texts;
    for (const LogLine& line : Lines()) {
        if (line.function != function) texts.push_back(AtAGlance(line));
    }
    return texts;
}

void FakeLog::OnLine(void (*pCallback)(const LogLine&)) {
    TheBook().pCallback = pCallback;
}

}  // namespace ztk::test

extern "C" {

void ZTK_LOG_WriteLog(int level, const char* format, ...) {
    using ztk::test::TheBook;
    const ztk::test::OwnAllocations ours;
    ztk::test::LogLine line{level, "", 0, format, ""};
    va_list values;
    va_start(values, format);
    line.text = ztk::test::Formatted(format, values);
    va_end(values);
    va_start(values, format);
    line.function = va_arg(values, const char*);
    line.nLine = va_arg(values, int);
    va_end(values);
    {
        const std::lock_guard lock(TheBook().mutex);
        TheBook().lines.push_back(line);
    }
    if (auto* pCallback = TheBook().pCallback.load()) pCallback(line);
}

int ZTK_LOG_GetLogLevel(void) {
    return ztk::test::TheBook().nLevel;
}

}  // extern "C"
