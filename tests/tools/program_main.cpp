// main() of the tests of the built program: each process has a /dev/shm of its own.
#include <gtest/gtest.h>

#include <cstdio>

#include "support/private_shm.h"

int main(int nCount, char** ppArguments) {
    testing::InitGoogleTest(&nCount, ppArguments);
    if (GTEST_FLAG_GET(list_tests)) return RUN_ALL_TESTS();
    if (!ztk::test::EnterPrivateShm()) {
        std::puts("[  SKIPPED ] all tests of this program: they need a /dev/shm of their own (see above)");
        return 0;
    }
    return RUN_ALL_TESTS();
}
