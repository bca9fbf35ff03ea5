// What cannot be tested under the thread sanitizer.
#pragma once

#include <gtest/gtest.h>

namespace ztk::test {

#if defined(__SANITIZE_THREAD__)
constexpr bool kUnderThreadSanitizer = true;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
constexpr bool kUnderThreadSanitizer = true;
#else
constexpr bool kUnderThreadSanitizer = false;
#endif
#else
constexpr bool kUnderThreadSanitizer = false;
#endif

}  // namespace ztk::test

/// For tests in which a forked child starts a thread. The thread sanitizer keeps the parent's threads on its
/// list in the child and ends it ("dup thread with used id") when the C library reuses the stack of one of
/// them.
#define ZTK_NEEDS_THREADS_IN_A_CHILD()                                                                     \
    if (::ztk::test::kUnderThreadSanitizer) {                                                              \
        GTEST_SKIP() << "SKIPPED: the thread sanitizer does not bear a forked child that starts a thread"; \
    }                                                                                                      \
    static_assert(true)
