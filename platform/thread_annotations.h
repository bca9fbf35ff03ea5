// Names for clang's lock analysis (-Wthread-safety); nothing on other compilers.
#pragma once

#if defined(__clang__)
#define ZTK_ANNOTATION(x) __attribute__((x))
#else
#define ZTK_ANNOTATION(x)
#endif

#define ZTK_CAPABILITY(szName) ZTK_ANNOTATION(capability(szName))
#define ZTK_SCOPED_CAPABILITY ZTK_ANNOTATION(scoped_lockable)
#define ZTK_GUARDED_BY(lock) ZTK_ANNOTATION(guarded_by(lock))
#define ZTK_REQUIRES(lock) ZTK_ANNOTATION(requires_capability(lock))
#define ZTK_REQUIRES_SHARED(lock) ZTK_ANNOTATION(requires_shared_capability(lock))
#define ZTK_ACQUIRE(...) ZTK_ANNOTATION(acquire_capability(__VA_ARGS__))
#define ZTK_ACQUIRE_SHARED(...) ZTK_ANNOTATION(acquire_shared_capability(__VA_ARGS__))
#define ZTK_RELEASE(...) ZTK_ANNOTATION(release_capability(__VA_ARGS__))
#define ZTK_RELEASE_GENERIC(...) ZTK_ANNOTATION(release_generic_capability(__VA_ARGS__))
#define ZTK_EXCLUDES(...) ZTK_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ZTK_NO_LOCK_ANALYSIS ZTK_ANNOTATION(no_thread_safety_analysis)
