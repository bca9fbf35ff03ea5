/*
 * check.h - checks for the C programs among the tests: a failed one is reported and counted.
 */
#ifndef ZTK_TESTS_CHECK_H
#define ZTK_TESTS_CHECK_H

#include <stdio.h>

#define CHECK(nFailures, bTrue) \
    ((bTrue) ? 0 : (fprintf(stderr, "%s:%d: not so: %s\n", __FILE__, __LINE__, #bTrue), ++*(nFailures)))

#define CHECK_EQUAL(nFailures, nGot, nWanted)                                                              \
    ((long long)(nGot) == (long long)(nWanted)                                                             \
         ? 0                                                                                               \
         : (fprintf(stderr, "%s:%d: %s is %lld, not %lld\n", __FILE__, __LINE__, #nGot, (long long)(nGot), \
                    (long long)(nWanted)),                                                                 \
            ++*(nFailures)))

#endif /* ZTK_TESTS_CHECK_H */
