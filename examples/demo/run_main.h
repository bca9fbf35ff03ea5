// The frame of a program's main().
#pragma once

#include <cstdio>
#include <exception>

namespace demo {

/// Runs @p body; an exception becomes one line on stderr and exit status 1.
template <class Body>
int RunMain(const char* szProgram, const Body& body) noexcept {
    try {
        return body();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", szProgram, error.what());
    }
    return 1;
}

}  // namespace demo
