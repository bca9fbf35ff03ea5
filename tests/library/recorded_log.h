// libZTKSDKLogC for tests: keeps every line instead of writing it.
#pragma once

#include <string>
#include <vector>

namespace ztk::test {

/// Lines as "<level> <text>". Any thread.
class RecordedLog {
  public:
    static void Clear();

    /// What the library is told of the level; lines are kept whatever it is. 0 at first.
    static void SetLevel(int nLevel);

    static std::vector<std::string> Lines();

    /// The lines that contain @p part.
    static std::vector<std::string> LinesWith(const std::string& part);

    /// Waits until @p nCount lines contain @p part.
    static void Await(const std::string& part, int nCount);

    /// Waits until both reclaimer threads of a loaded library have said that they run, then clears: all
    /// lines from then on are the test's own doing.
    static void ClearAfterLoad();
};

}  // namespace ztk::test
