/*
 * host_checks.h - what must hold for any program that loads the library and unloads it again.
 */
#ifndef ZTK_TESTS_HOST_CHECKS_H
#define ZTK_TESTS_HOST_CHECKS_H

#ifdef __cplusplus
extern "C" {
#endif

/**
 * The whole of a host's main(): <library> once <own|standin> loads and unloads once and looks at everything,
 * also that the library talked to the board named; <library> rounds <number> does it again and again.
 * Returns the exit code.
 */
int RunHost(int argc, char** argv);

#ifdef __cplusplus
}
#endif

#endif /* ZTK_TESTS_HOST_CHECKS_H */
