/* libZTKSDKLogC for tests: counts the lines and writes none. */
#include <stddef.h>

#include "external/ztk_log.h"
#include "tests/library/test_board.h"

static int g_nLines;

ZTK_TEST_BOARD void ZTK_LOG_WriteLog(int level, const char* format, ...) {
    (void)level;
    (void)format;
    __atomic_fetch_add(&g_nLines, 1, __ATOMIC_RELAXED);
}

ZTK_TEST_BOARD int ZTK_LOG_GetLogLevel(void) {
    return 2;
}

int TestLogLines(void) {
    return __atomic_load_n(&g_nLines, __ATOMIC_RELAXED);
}

void TestLogForget(void) {}
