// The library's calls of the C library and of its log, as they pass through this program: each marks what
// begins.
#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "common/ztk_common.h"
#include "external/ztk_log.h"
#include "torture/processes/marker.h"
#include "torture/processes/real_functions.h"

namespace ztk::torture {
namespace {

int (*g_pShmOpen)(const char*, int, mode_t) = nullptr;
int (*g_pShmUnlink)(const char*) = nullptr;
int (*g_pFtruncate)(int, off_t) = nullptr;
int (*g_pFallocate)(int, int, off_t, off_t) = nullptr;
void* (*g_pMmap)(void*, std::size_t, int, int, int, off_t) = nullptr;
int (*g_pMunmap)(void*, std::size_t) = nullptr;
int (*g_pClose)(int) = nullptr;
DIR* (*g_pOpendir)(const char*) = nullptr;
int (*g_pClosedir)(DIR*) = nullptr;

[[gnu::constructor(kBeforeAllOthers)]] void FindRealFunctions() {
    FindReal("shm_open", g_pShmOpen);
    FindReal("shm_unlink", g_pShmUnlink);
    FindReal("ftruncate", g_pFtruncate);
    FindReal("fallocate", g_pFallocate);
    FindReal("mmap", g_pMmap);
    FindReal("munmap", g_pMunmap);
    FindReal("close", g_pClose);
    FindReal("opendir", g_pOpendir);
    FindReal("closedir", g_pClosedir);
}

bool InSweep() {
    return LastMark() == Phase::kScan || LastMark() == Phase::kRemove;
}

}  // namespace
}  // namespace ztk::torture

using namespace ztk::torture;  // NOLINT(google-build-using-namespace): what follows has the C library's names

ZTK_IN_PLACE_OF_LIBC int shm_open(const char* szName, int nFlags, mode_t nMode) {
    Mark((nFlags & O_CREAT) != 0 ? Phase::kCreate : Phase::kRemove);
    return g_pShmOpen(szName, nFlags, nMode);
}

ZTK_IN_PLACE_OF_LIBC int shm_unlink(const char* szName) {
    Mark(InSweep() ? Phase::kRemove : Phase::kUnlink);
    return g_pShmUnlink(szName);
}

ZTK_IN_PLACE_OF_LIBC int ftruncate(int hFile, off_t nLen) noexcept {
    Mark(Phase::kSize);
    return g_pFtruncate(hFile, nLen);
}

ZTK_IN_PLACE_OF_LIBC int fallocate(int hFile, int nMode, off_t nOffset, off_t nLen) {
    Mark(Phase::kReserve);
    return g_pFallocate(hFile, nMode, nOffset, nLen);
}

/// The header is worked on between the return of its mapping and its unmapping, the whole is cleared after
/// the return of its own.
ZTK_IN_PLACE_OF_LIBC void* mmap(void* pAddr, std::size_t nLen, int nProtection, int nFlags, int hFile,
                                off_t nOffset) noexcept {
    const bool bObject = hFile >= 0 && (nFlags & MAP_SHARED) != 0;
    const bool bHeader = nLen == ZTK_SHARED_HEADER_SIZE;
    if (bObject && !bHeader) Mark(Phase::kMap);
    void* pMapped = g_pMmap(pAddr, nLen, nProtection, nFlags, hFile, nOffset);
    if (bObject && bHeader) Mark((nProtection & PROT_WRITE) != 0 ? Phase::kHeader : Phase::kCheck);
    if (bObject && !bHeader) Mark(Phase::kClear);
    return pMapped;
}

ZTK_IN_PLACE_OF_LIBC int munmap(void* pAddr, std::size_t nLen) noexcept {
    Mark(nLen == ZTK_SHARED_HEADER_SIZE ? Phase::kInCall : Phase::kUnmap);
    return g_pMunmap(pAddr, nLen);
}

ZTK_IN_PLACE_OF_LIBC int close(int hFile) {
    if (LastMark() == Phase::kUnlink) Mark(Phase::kClose);
    const int nResult = g_pClose(hFile);
    if (LastMark() == Phase::kClose) Mark(Phase::kInCall);
    return nResult;
}

ZTK_IN_PLACE_OF_LIBC DIR* opendir(const char* szPath) {
    Mark(Phase::kScan);
    return g_pOpendir(szPath);
}

ZTK_IN_PLACE_OF_LIBC int closedir(DIR* pStream) {
    Mark(Phase::kScan);
    const int nResult = g_pClosedir(pStream);
    Mark(Phase::kInCall);
    return nResult;
}

ZTK_IN_PLACE_OF_LIBC void ZTK_LOG_WriteLog(int /*level*/, const char* /*format*/, ...) {
    Mark(InSweep() ? Phase::kScan : Phase::kInCall);
}

ZTK_IN_PLACE_OF_LIBC int ZTK_LOG_GetLogLevel() {
    return 2;
}
