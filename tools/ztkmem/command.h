// The subcommands, one a file. Each adds itself to the program; when it is chosen, its exit status goes to
// @p nExitStatus. Errors are exceptions with one line.
#pragma once

#include <CLI/CLI.hpp>

namespace ztkmem {

constexpr int kExitFine = 0;
constexpr int kExitSomethingFound = 1;  ///< stale segments, a bad header
constexpr int kExitError = 2;           ///< usage, or the system refused

void AddLs(CLI::App& program, int& nExitStatus);
void AddShow(CLI::App& program, int& nExitStatus);
void AddReap(CLI::App& program, int& nExitStatus);
void AddTop(CLI::App& program, int& nExitStatus);

/// The option by which the user vouches that no other pid namespace uses this /dev/shm.
void AddNamespaceOption(CLI::App& command, bool& bVouchedFor);

}  // namespace ztkmem
