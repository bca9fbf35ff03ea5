// How the functions of fed_sweep.cpp come in place of the C library's, and how these are reached
// nevertheless.
#pragma once

#if defined(ZTK_WRAPPED)

#define ZTK_FED(Result) extern "C" Result
#define ZTK_FED_NAME(name) __wrap_##name
#define ZTK_UNFED(name) __real_##name

#include <dirent.h>
#include <sys/stat.h>
#include <sys/types.h>

extern "C" {
DIR* __real_opendir(const char* szPath);
dirent* __real_readdir(DIR* pStream);
int __real_closedir(DIR* pStream);
int __real_lstat(const char* szPath, struct stat* pStatus) noexcept;
int __real_kill(pid_t nProcess, int nSignal) noexcept;
int __real_shm_open(const char* szName, int nFlags, mode_t nMode);
int __real_shm_unlink(const char* szName);
int __real_close(int hFile);
pid_t __real_getpid() noexcept;

DIR* __wrap_opendir(const char* szPath);
dirent* __wrap_readdir(DIR* pStream);
int __wrap_closedir(DIR* pStream);
int __wrap_lstat(const char* szPath, struct stat* pStatus) noexcept;
int __wrap_kill(pid_t nProcess, int nSignal) noexcept;
int __wrap_shm_open(const char* szName, int nFlags, mode_t nMode);
int __wrap_shm_unlink(const char* szName);
int __wrap_close(int hFile);
pid_t __wrap_getpid() noexcept;
}

#else

#include "torture/fuzz/unfed_calls.h"
#include "torture/processes/real_functions.h"

#define ZTK_FED(Result) extern "C" __attribute__((visibility("default"))) Result
#define ZTK_FED_NAME(name) name
#define ZTK_UNFED(name) ::ztk::torture::Unfed().name

#endif
