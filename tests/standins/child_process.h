// Programs and forks whose end a test looks at.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace ztk_test {

struct ProgramEnd {
    int nExit = -1;  ///< exit code, or minus the signal that ended it
    std::string szOut;
    std::string szErr;
};

/// Runs @p command to its end. Its environment is this one's without ZTK_ variables, and with @p settings
/// ("NAME=value").
ProgramEnd RunProgram(const std::vector<std::string>& command, const std::vector<std::string>& settings = {});

/// Runs @p body in a forked child and returns its result (0 .. 255), or minus the signal that ended the
/// child. A child that hangs is ended by SIGALRM, long after any working one is through.
int RunForked(const std::function<int()>& body);

}  // namespace ztk_test
