// Shared memory, mappings, files, directories, processes and clocks.
#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>

#include "torture/faults/interposer.h"
#include "torture/faults/mem_info_text.h"
#include "torture/faults/reclaimers.h"
#include "torture/faults/shared_result.h"

using ztk::torture::Call;
using ztk::torture::FailWith;
using ztk::torture::NullWith;

namespace {

ztk::torture::Real<void*(void*, std::size_t, int, int, int, off_t)> g_mmap("mmap");
ztk::torture::Real<int(void*, std::size_t)> g_munmap("munmap");
ztk::torture::Real<int(void*, std::size_t, int)> g_madvise("madvise");
ztk::torture::Real<int(const char*, int, mode_t)> g_shmOpen("shm_open");
ztk::torture::Real<int(const char*)> g_shmUnlink("shm_unlink");
ztk::torture::Real<int(int, off_t)> g_ftruncate("ftruncate");
ztk::torture::Real<int(int, int, off_t, off_t)> g_fallocate("fallocate");
ztk::torture::Real<int(int)> g_close("close");
ztk::torture::Real<DIR*(const char*)> g_opendir("opendir");
ztk::torture::Real<dirent*(DIR*)> g_readdir("readdir");
ztk::torture::Real<int(DIR*)> g_closedir("closedir");
ztk::torture::Real<int(const char*, struct stat*)> g_lstat("lstat");
ztk::torture::Real<int(pid_t, int)> g_kill("kill");
ztk::torture::Real<FILE*(const char*, const char*)> g_fopen64("fopen64");
ztk::torture::Real<ssize_t(int, void*, std::size_t)> g_read("read");
ztk::torture::Real<int(FILE*)> g_fclose("fclose");
ztk::torture::Real<int(clockid_t, timespec*)> g_clockGettime("clock_gettime");
ztk::torture::Real<int(timeval*, void*)> g_gettimeofday("gettimeofday");

[[gnu::constructor(ztk::torture::kFindEarly)]] void FindRealFileCalls() {
    g_mmap.Find();
    g_munmap.Find();
    g_madvise.Find();
    g_shmOpen.Find();
    g_shmUnlink.Find();
    g_ftruncate.Find();
    g_fallocate.Find();
    g_close.Find();
    g_opendir.Find();
    g_readdir.Find();
    g_closedir.Find();
    g_lstat.Find();
    g_kill.Find();
    g_fopen64.Find();
    g_read.Find();
    g_fclose.Find();
    g_clockGettime.Find();
    g_gettimeofday.Find();
}

}  // namespace

ZTK_IN_PLACE_OF_LIBC void* mmap(void* pHint, std::size_t nLen, int nProtection, int nFlags, int hFile,
                                off_t nOffset) noexcept {
    if (const auto* pKind = ZTK_DUE(Call::kMmap)) {
        errno = pKind->nErrno;
        return pKind->bMarker ? MAP_FAILED : nullptr;
    }
    return g_mmap(pHint, nLen, nProtection, nFlags, hFile, nOffset);
}

ZTK_IN_PLACE_OF_LIBC int munmap(void* pAddr, std::size_t nLen) noexcept {
    if (const auto* pKind = ZTK_DUE(Call::kMunmap)) return FailWith(*pKind);
    return g_munmap(pAddr, nLen);
}

ZTK_IN_PLACE_OF_LIBC int madvise(void* pAddr, std::size_t nLen, int nAdvice) noexcept {
    if (const auto* pKind = ZTK_DUE(Call::kMadvise)) return FailWith(*pKind);
    return g_madvise(pAddr, nLen, nAdvice);
}

ZTK_IN_PLACE_OF_LIBC int shm_open(const char* szName, int nFlags, mode_t nMode) {
    if (const auto* pKind = ZTK_DUE(Call::kShmOpen)) return FailWith(*pKind);
    return g_shmOpen(szName, nFlags, nMode);
}

ZTK_IN_PLACE_OF_LIBC int shm_unlink(const char* szName) {
    if (const auto* pKind = ZTK_DUE(Call::kShmUnlink)) return FailWith(*pKind);
    return g_shmUnlink(szName);
}

ZTK_IN_PLACE_OF_LIBC int ftruncate(int hFile, off_t nLen) noexcept {
    if (const auto* pKind = ZTK_DUE(Call::kFtruncate)) return FailWith(*pKind);
    return g_ftruncate(hFile, nLen);
}

ZTK_IN_PLACE_OF_LIBC int fallocate(int hFile, int nMode, off_t nOffset, off_t nLen) {
    if (const auto* pKind = ZTK_DUE(Call::kFallocate)) return FailWith(*pKind);
    return g_fallocate(hFile, nMode, nOffset, nLen);
}

// A failing close() has closed, as Linux does it; and nobody else could close a stream.
ZTK_IN_PLACE_OF_LIBC int close(int hFile) {
    const auto* pKind = ZTK_DUE(Call::kClose);
    const int nResult = g_close(hFile);
    return pKind != nullptr ? FailWith(*pKind) : nResult;
}

ZTK_IN_PLACE_OF_LIBC DIR* opendir(const char* szPath) {
    if (const auto* pKind = ZTK_DUE(Call::kOpendir)) return NullWith(*pKind);
    return g_opendir(szPath);
}

ZTK_IN_PLACE_OF_LIBC dirent* readdir(DIR* pStream) {
    if (const auto* pKind = ZTK_DUE(Call::kReaddir)) return NullWith(*pKind);
    return g_readdir(pStream);
}

ZTK_IN_PLACE_OF_LIBC int closedir(DIR* pStream) {
    const auto* pKind = ZTK_DUE(Call::kClosedir);
    const int nResult = g_closedir(pStream);
    return pKind != nullptr ? FailWith(*pKind) : nResult;
}

ZTK_IN_PLACE_OF_LIBC int lstat(const char* szPath, struct stat* pStatus) noexcept {
    if (const auto* pKind = ZTK_DUE(Call::kLstat)) return FailWith(*pKind);
    return g_lstat(szPath, pStatus);
}

ZTK_IN_PLACE_OF_LIBC int kill(pid_t nProcess, int nSignal) noexcept {
    if (const auto* pKind = ZTK_DUE(Call::kKill)) return FailWith(*pKind);
    return g_kill(nProcess, nSignal);
}

namespace {
FILE* Open(const char* szPath, const char* szMode, const void* pCaller) {
    if (!ztk::torture::IsLibrarysCall(pCaller)) return g_fopen64(szPath, szMode);
    if (const auto* pKind = ztk::torture::CountCall(Call::kFopen)) return NullWith(*pKind);
    return g_fopen64(ztk::torture::InPlaceOf(szPath), szMode);
}
}  // namespace

// Which of the two the C++ library calls is its builder's choice.
ZTK_IN_PLACE_OF_LIBC FILE* fopen(const char* szPath, const char* szMode) {
    return Open(szPath, szMode, __builtin_return_address(0));
}
ZTK_IN_PLACE_OF_LIBC FILE* fopen64(const char* szPath, const char* szMode) {
    return Open(szPath, szMode, __builtin_return_address(0));
}

ZTK_IN_PLACE_OF_LIBC ssize_t read(int hFile, void* pBuffer, std::size_t nSize) {
    if (const auto* pKind = ZTK_DUE(Call::kRead)) return FailWith(*pKind);
    return g_read(hFile, pBuffer, nSize);
}

ZTK_IN_PLACE_OF_LIBC int fclose(FILE* pFile) {
    const auto* pKind = ZTK_DUE(Call::kFclose);
    const int nResult = g_fclose(pFile);
    return pKind != nullptr ? FailWith(*pKind) : nResult;
}

ZTK_IN_PLACE_OF_LIBC int clock_gettime(clockid_t nClock, timespec* pNow) noexcept {
    if (const auto* pKind = ZTK_DUE(Call::kClockGettime)) return FailWith(*pKind);
    if (nClock != CLOCK_REALTIME) return g_clockGettime(nClock, pNow);
    *pNow = {ztk::torture::NowSeconds(), 0};  // a machine's own clock may be set back in the middle of a run
    return 0;
}

ZTK_IN_PLACE_OF_LIBC int gettimeofday(timeval* pNow, void* pZone) noexcept {
    if (const auto* pKind = ZTK_DUE(Call::kGettimeofday)) return FailWith(*pKind);
    return g_gettimeofday(pNow, pZone);
}

ZTK_IN_PLACE_OF_LIBC int usleep(useconds_t nMicroseconds) {
    if (const auto* pKind = ZTK_DUE(Call::kUsleep)) return FailWith(*pKind);
    static_cast<void>(nMicroseconds);  // the library only yields
    return 0;
}
