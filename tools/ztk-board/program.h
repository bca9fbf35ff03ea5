// The program on the board, from its start to its end.
#pragma once

#include <functional>

#include "options.h"

namespace ztk_board {

/// What the program finds in its environment.
void SetEnvironment(const Options& options, const std::string& boardFile);

/// Starts it, calls @p renew ten times a second and once at the end, passes on the signals that ask this
/// process to end, and returns the exit status to end with. @throws std::system_error
int RunProgram(const Options& options, const std::function<void()>& renew);

}  // namespace ztk_board
