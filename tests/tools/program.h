// Runs a program as a user would.
#pragma once

#include <string>
#include <vector>

namespace ztkmem::test {

struct Outcome {
    int nStatus = -1;  ///< exit status; 128 and the signal if one ended it
    std::string out;
    std::string err;
};

enum class As { kSelf, kGuest };

/// @p command: a program by its path or found in PATH, and its arguments. As::kGuest: as a user without any
/// rights, where this process may become one.
Outcome RunProgram(const std::vector<std::string>& command, As enAs = As::kSelf);

/// The program under test with arguments.
Outcome ZtkMem(std::vector<std::string> arguments, As enAs = As::kSelf);

}  // namespace ztkmem::test
