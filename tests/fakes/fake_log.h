// libZTKSDKLogC for tests: keeps every line instead of writing it.
#pragma once

#include <string>
#include <vector>

namespace ztk::test {

struct LogLine {
    int nLevel;
    std::string function;  ///< first value
    int nLine;             ///< second value
    std::string format;    ///< as passed, prefix included
    std::string text;      ///< the whole formatted line, prefix included
};

/// Thread-safe. Level 0 at first, so that everything is kept; lines are kept whatever the level.
class FakeLog {
  public:
    static void Clear();
    static void SetLevel(int nLevel);  ///< what ZTK_LOG_GetLogLevel() returns
    static std::vector<LogLine> Lines();

    /// "<level> <text>" of every line, for comparing whole logs at a glance.
    static std::vector<std::string> Texts();

    /// As Texts(), without the lines of one function ("CreateMapping_Linux", ...).
    static std::vector<std::string> TextsWithout(const std::string& function);

    /// Called with every line, on the thread and at the moment it is written; null: nothing.
    static void OnLine(void (*pCallback)(const LogLine&));
};

}  // namespace ztk::test
