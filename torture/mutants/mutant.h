/* Which condition is turned, by its number in the environment. Included ahead of every file of the
 * instrumented copy. */
#pragma once

#include <cstdlib>

inline int ZtkMutantNumber() {
    static const int nNumber =
        std::getenv("ZTK_MUTANT") == nullptr ? 0 : std::atoi(std::getenv("ZTK_MUTANT"));
    return nNumber;
}

constexpr bool ZtkMutant(int nNumber) {
    return !__builtin_is_constant_evaluated() && ZtkMutantNumber() == nNumber;
}
