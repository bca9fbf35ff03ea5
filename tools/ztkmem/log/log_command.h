// `ztkmem log`: what the library's lines in a log tell about its pools.
#pragma once

#include <CLI/CLI.hpp>

namespace ztkmem {

/// Adds the command. When it is chosen, its exit status goes to @p nExitStatus; errors are exceptions with
/// one line.
void AddLogCommand(CLI::App& program, int& nExitStatus);

}  // namespace ztkmem
