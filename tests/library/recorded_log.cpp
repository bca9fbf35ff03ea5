#include "tests/library/recorded_log.h"

#include <algorithm>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <mutex>

#include "external/ztk_log.h"
#include "tests/library/test_board.h"

namespace ztk::test {
namespace {

struct Record {
    std::mutex lock;
    std::condition_variable grown;
    std::vector<std::string> lines;
    int nLevel = 0;
};

// Never destroyed: the library writes lines until the process has ended.
Record& TheRecord() {
    static auto* const pRecord = new Record;
    return *pRecord;
}

std::vector<std::string> Matching(const std::vector<std::string>& lines, const std::string& part) {
    std::vector<std::string> found;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(found),
                 [&part](const std::string& line) { return line.find(part) != std::string::npos; });
    return found;
}

[[gnu::format(printf, 1, 0)]] std::string Formatted(const char* szFormat, std::va_list args) {
    std::va_list again;
    va_copy(again, args);
    const int nLength = std::vsnprintf(nullptr, 0, szFormat, again);
    va_end(again);
    std::string text(static_cast<std::size_t>(std::max(nLength, 0)) + 1, '\0');
    static_cast<void>(std::vsnprintf(text.data(), text.size(), szFormat, args));
    text.pop_back();
    return text;
}

}  // namespace

void RecordedLog::Clear() {
    Record& record = TheRecord();
    const std::lock_guard guard(record.lock);
    record.lines.clear();
}

void RecordedLog::SetLevel(int nLevel) {
    Record& record = TheRecord();
    const std::lock_guard guard(record.lock);
    record.nLevel = nLevel;
}

std::vector<std::string> RecordedLog::Lines() {
    Record& record = TheRecord();
    const std::lock_guard guard(record.lock);
    return record.lines;
}

std::vector<std::string> RecordedLog::LinesWith(const std::string& part) {
    return Matching(Lines(), part);
}

void RecordedLog::Await(const std::string& part, int nCount) {
    Record& record = TheRecord();
    std::unique_lock guard(record.lock);
    record.grown.wait(guard, [&record, &part, nCount] {
        return Matching(record.lines, part).size() >= static_cast<std::size_t>(nCount);
    });
}

void RecordedLog::ClearAfterLoad() {
    Await(" memory thread, tid=", 2);
    Clear();
}

}  // namespace ztk::test

using ztk::test::TheRecord;

extern "C" ZTK_TEST_BOARD void ZTK_LOG_WriteLog(int level, const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    std::string line = std::to_string(level) + " " + ztk::test::Formatted(format, args);
    va_end(args);
    auto& record = TheRecord();
    const std::lock_guard guard(record.lock);
    record.lines.push_back(std::move(line));
    record.grown.notify_all();
}

extern "C" ZTK_TEST_BOARD int ZTK_LOG_GetLogLevel(void) {
    auto& record = TheRecord();
    const std::lock_guard guard(record.lock);
    return record.nLevel;
}

void TestLogForget(void) {
    auto& record = TheRecord();
    const std::lock_guard guard(record.lock);
    record.lines.clear();
    record.nLevel = 0;
}
