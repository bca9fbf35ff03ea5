/*
 * test_board.h - what the tests' own librockit and libZTKSDKLogC have beyond the board's functions.
 *
 * They take no lock, so that forked children and late threads get through. Built into an executable, into a
 * library to be preloaded, and as two libraries of the board's names.
 */
#ifndef ZTK_TESTS_TEST_BOARD_H
#define ZTK_TESTS_TEST_BOARD_H

#ifdef __cplusplus
extern "C" {
#endif

#define ZTK_TEST_BOARD __attribute__((visibility("default")))

/** Successful allocations of MMZ blocks so far. */
ZTK_TEST_BOARD int TestRockitAllocs(void);

/** MMZ blocks given back so far. */
ZTK_TEST_BOARD int TestRockitFrees(void);

/** From now on every allocation fails with @p nCode; 0: none does. */
ZTK_TEST_BOARD void TestRockitFailAllocs(int nCode);

/** Calls @p pCallback with every block that is given back, before it goes; null: nothing. */
ZTK_TEST_BOARD void TestRockitOnFree(void (*pCallback)(void));

/** Log lines so far, whatever their level. */
ZTK_TEST_BOARD int TestLogLines(void);

/** Forgets what a test left: lines, where they are kept, and the level it set. */
ZTK_TEST_BOARD void TestLogForget(void);

#ifdef __cplusplus
}
#endif

#endif /* ZTK_TESTS_TEST_BOARD_H */
