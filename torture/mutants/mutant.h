/* Which condition is turned, by its number in the environment. Included ahead of every file of the
 * instrumented copy, C and C++. */
#pragma once

#ifdef __cplusplus
#include <stdlib.h>
#else
/* Without the header: what it declares hangs on what a C file defines first. */
char* getenv(const char* szName);
int atoi(const char* szText);
#endif

static inline int ZtkMutantNumber(void) {
    static int nNumber = -1;
    if (nNumber < 0) nNumber = getenv("ZTK_MUTANT") ? atoi(getenv("ZTK_MUTANT")) : 0;
    return nNumber;
}

#ifdef __cplusplus
constexpr bool ZtkMutant(int nNumber) {
    return !__builtin_is_constant_evaluated() && ZtkMutantNumber() == nNumber;
}
#else
static inline int ZtkMutant(int nNumber) {
    return ZtkMutantNumber() == nNumber;
}
#endif
