// The wrappers of memory, file, process and loader calls.
#include <dirent.h>
#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <algorithm>
#include <cstdlib>
#include <iomanip>
#include <vector>

#include "support/interception.h"
#include "support/real_calls.h"
#include "support/system_calls.h"

using ztk::test::FailWith;
using ztk::test::IndexOf;
using ztk::test::NullWith;
using ztk::test::PlannedFailure;

namespace {

ztk::test::RealMutex g_streamsMutex;

std::vector<DIR*>& OpenStreams() {
    static auto* pStreams = new std::vector<DIR*>;
    return *pStreams;
}

void NoteOpened(DIR* pStream) {
    const ztk::test::OwnAllocations ours;
    const std::lock_guard lock(g_streamsMutex);
    OpenStreams().push_back(pStream);
}

void NoteClosed(DIR* pStream) {
    const std::lock_guard lock(g_streamsMutex);
    auto& streams = OpenStreams();
    streams.erase(std::remove(streams.begin(), streams.end(), pStream), streams.end());
}

}  // namespace

extern "C" {

void* __real_malloc(std::size_t nSize);
void* __wrap_malloc(std::size_t nSize) {
    if (const auto nError = PlannedFailure<IndexOf("malloc")>(nSize)) return NullWith(*nError);
    return __real_malloc(nSize);
}

void __real_free(void* pAddr);
void __wrap_free(void* pAddr) {
    static_cast<void>(PlannedFailure<IndexOf("free")>());
    __real_free(pAddr);
}

void* __real_mmap(void* pHint, std::size_t nLen, int nProtection, int nFlags, int hFile, off_t nOffset);
void* __wrap_mmap(void* pHint, std::size_t nLen, int nProtection, int nFlags, int hFile, off_t nOffset) {
    if (const auto nError = PlannedFailure<IndexOf("mmap")>(nLen, ' ', nProtection, ' ', nFlags)) {
        void* pFailed = ztk::test::MmapFailsWithMarker() ? MAP_FAILED : nullptr;
        errno = *nError;
        return pFailed;
    }
    return __real_mmap(pHint, nLen, nProtection, nFlags, hFile, nOffset);
}

int __real_munmap(void* pAddr, std::size_t nLen);
int __wrap_munmap(void* pAddr, std::size_t nLen) {
    if (const auto nError = PlannedFailure<IndexOf("munmap")>(nLen)) return FailWith(*nError);
    return __real_munmap(pAddr, nLen);
}

int __real_shm_open(const char* szName, int nFlags, mode_t nMode);
int __wrap_shm_open(const char* szName, int nFlags, mode_t nMode) {
    if (const auto nError = PlannedFailure<IndexOf("shm_open")>(szName, ' ', nFlags, ' ', std::oct, nMode)) {
        return FailWith(*nError);
    }
    return __real_shm_open(szName, nFlags, nMode);
}

int __real_shm_unlink(const char* szName);
int __wrap_shm_unlink(const char* szName) {
    if (const auto nError = PlannedFailure<IndexOf("shm_unlink")>(szName)) return FailWith(*nError);
    return __real_shm_unlink(szName);
}

int __real_ftruncate(int hFile, off_t nLen);
int __wrap_ftruncate(int hFile, off_t nLen) {
    if (const auto nError = PlannedFailure<IndexOf("ftruncate")>(nLen)) return FailWith(*nError);
    return __real_ftruncate(hFile, nLen);
}

int __real_fallocate(int hFile, int nMode, off_t nOffset, off_t nLen);
int __wrap_fallocate(int hFile, int nMode, off_t nOffset, off_t nLen) {
    if (const auto nError = PlannedFailure<IndexOf("fallocate")>(nMode, ' ', nOffset, ' ', nLen)) {
        return FailWith(*nError);
    }
    return __real_fallocate(hFile, nMode, nOffset, nLen);
}

int __real_close(int hFile);
int __wrap_close(int hFile) {
    if (const auto nError = PlannedFailure<IndexOf("close")>()) return FailWith(*nError);
    return __real_close(hFile);
}

DIR* __real_opendir(const char* szPath);
DIR* __wrap_opendir(const char* szPath) {
    if (const auto nError = PlannedFailure<IndexOf("opendir")>(szPath)) return NullWith(*nError);
    DIR* pStream = __real_opendir(szPath);
    if (pStream != nullptr) NoteOpened(pStream);
    return pStream;
}

dirent* __real_readdir(DIR* pStream);
dirent* __wrap_readdir(DIR* pStream) {
    if (const auto nError = PlannedFailure<IndexOf("readdir")>()) return NullWith(*nError);
    return __real_readdir(pStream);
}

int __real_closedir(DIR* pStream);
int __wrap_closedir(DIR* pStream) {
    const auto nError = PlannedFailure<IndexOf("closedir")>();
    NoteClosed(pStream);
    const int nResult = __real_closedir(pStream);
    return nError ? FailWith(*nError) : nResult;
}

int __real_lstat(const char* szPath, struct stat* pStatus);
int __wrap_lstat(const char* szPath, struct stat* pStatus) {
    if (const auto nError = PlannedFailure<IndexOf("lstat")>(szPath)) return FailWith(*nError);
    return __real_lstat(szPath, pStatus);
}

int __real_kill(pid_t nProcess, int nSignal);
int __wrap_kill(pid_t nProcess, int nSignal) {
    if (const auto nError = PlannedFailure<IndexOf("kill")>(nProcess, ' ', nSignal)) {
        return FailWith(*nError);
    }
    return __real_kill(nProcess, nSignal);
}

pid_t __real_getpid();
pid_t __wrap_getpid() {
    if (const auto nError = PlannedFailure<IndexOf("getpid")>()) return FailWith(*nError);
    return __real_getpid();
}

int __real_usleep(unsigned nMicroseconds);
int __wrap_usleep(unsigned nMicroseconds) {
    if (const auto nError = PlannedFailure<IndexOf("usleep")>(nMicroseconds)) return FailWith(*nError);
    return __real_usleep(nMicroseconds);
}

int __real_pause();
int __wrap_pause() {
    if (const auto nError = PlannedFailure<IndexOf("pause")>()) return FailWith(*nError);
    return __real_pause();
}

long __real_strtol(const char* szText, char** pEnd, int nBase);
long __wrap_strtol(const char* szText, char** pEnd, int nBase) {
    if (const auto nError = PlannedFailure<IndexOf("strtol")>(szText, ' ', nBase)) return FailWith(*nError);
    return __real_strtol(szText, pEnd, nBase);
}

void* __real_dlopen(const char* szFile, int nMode);
void* __wrap_dlopen(const char* szFile, int nMode) {
    if (const auto nError = PlannedFailure<IndexOf("dlopen")>(szFile, ' ', nMode)) return NullWith(*nError);
    return __real_dlopen(szFile, nMode);
}

void* __real_dlsym(void* hLibrary, const char* szName);
void* __wrap_dlsym(void* hLibrary, const char* szName) {
    if (const auto nError = PlannedFailure<IndexOf("dlsym")>(szName)) return NullWith(*nError);
    return __real_dlsym(hLibrary, szName);
}

}  // extern "C"

std::size_t ztk::test::SystemCalls::CloseLeftStreams() {
    std::vector<DIR*> left;
    {
        const std::lock_guard lock(g_streamsMutex);
        left.swap(OpenStreams());
    }
    for (DIR* pStream : left)
        __real_closedir(pStream);
    return left.size();
}
