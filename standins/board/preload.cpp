// Preloaded into the programs on a desk's board: their looks at /proc/meminfo find what is true at that
// moment, and the creation of shared-memory objects fails where it is scripted to.
//
// /proc/meminfo is a file of the board there anyway, which the launcher renews ten times a second: that is
// for programs that get around the C library's calls below.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "standins/board/board.h"
#include "standins/board/mem_figures.h"

#define ZTK_BOARD_EXPORT extern "C" __attribute__((visibility("default")))

namespace ztk_board {
namespace {

using Fopen = FILE* (*)(const char*, const char*);
using ShmOpen = int (*)(const char*, int, mode_t);

// Looked up at load, not at the first call: that may come from a thread that a dlopen() or dlclose(), which
// holds the loader's lock, waits for.
struct Real {
    Fopen pFopen = nullptr;
    Fopen pFopen64 = nullptr;
    ShmOpen pShmOpen = nullptr;
    Board* pBoard = nullptr;
};
Real g_real;

template <class Function>
void LookUp(Function& pFunction, const char* szName) {
    pFunction = reinterpret_cast<Function>(dlsym(RTLD_NEXT, szName));
}

__attribute__((constructor)) void AtLoad() {
    LookUp(g_real.pFopen, "fopen");
    LookUp(g_real.pFopen64, "fopen64");
    LookUp(g_real.pShmOpen, "shm_open");
    g_real.pBoard = Board::OfEnvironment();
    if (g_real.pBoard == nullptr)
        dprintf(STDERR_FILENO, "ztk-board: process %d is not on the board\n", static_cast<int>(getpid()));
}

int LauncherPid() {
    const char* szPid = std::getenv("ZTK_BOARD_LAUNCHER");
    return szPid == nullptr ? 0 : std::atoi(szPid);  // NOLINT(cert-err34-c): our own text
}

bool IsMemInfo(const char* szPath) {
    return g_real.pBoard != nullptr && szPath != nullptr && std::strcmp(szPath, "/proc/meminfo") == 0;
}

std::string CurrentMemInfo() {
    BoardPlan plan = g_real.pBoard->Plan();
    if (g_real.pBoard->Fails(Call::kMem)) plan.nSystem = plan.nMemory;
    const Taken taken = MeasureTaken(LauncherPid());
    g_real.pBoard->NoteAvailable(Available(g_real.pBoard->Plan(), taken));
    return MemInfoText(plan, taken);
}

/// A descriptor on the text of this moment, or -1.
int OpenMemInfo() {
    const int hFile = memfd_create("meminfo", MFD_CLOEXEC);
    if (hFile < 0) return -1;
    const std::string text = CurrentMemInfo();
    const bool bWhole = write(hFile, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    if (bWhole && lseek(hFile, 0, SEEK_SET) == 0) return hFile;
    close(hFile);
    return -1;
}

FILE* OpenMemInfoStream(const char* szMode) {
    const int hFile = OpenMemInfo();
    FILE* pStream = hFile < 0 ? nullptr : fdopen(hFile, szMode);
    if (pStream == nullptr && hFile >= 0) close(hFile);
    return pStream;
}

int RealOpenAt(int hFolder, const char* szPath, int nFlags, mode_t nMode) {
    return static_cast<int>(syscall(SYS_openat, hFolder, szPath, nFlags, nMode));
}

int OpenAt(int hFolder, const char* szPath, int nFlags, mode_t nMode) {
    if (IsMemInfo(szPath) && (nFlags & O_ACCMODE) == O_RDONLY) return OpenMemInfo();
    return RealOpenAt(hFolder, szPath, nFlags, nMode);
}

mode_t ModeOf(int nFlags, std::va_list arguments) {
    const bool bHasMode = (nFlags & O_CREAT) != 0 || (nFlags & O_TMPFILE) == O_TMPFILE;
    return bHasMode ? va_arg(arguments, mode_t) : 0;
}

}  // namespace
}  // namespace ztk_board

using ztk_board::g_real;

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the C library's names are reserved

ZTK_BOARD_EXPORT FILE* fopen(const char* szPath, const char* szMode) {
    if (ztk_board::IsMemInfo(szPath)) return ztk_board::OpenMemInfoStream(szMode);
    if (g_real.pFopen == nullptr) ztk_board::LookUp(g_real.pFopen, "fopen");  // before this library's start
    return g_real.pFopen(szPath, szMode);
}

ZTK_BOARD_EXPORT FILE* fopen64(const char* szPath, const char* szMode) {
    if (ztk_board::IsMemInfo(szPath)) return ztk_board::OpenMemInfoStream(szMode);
    if (g_real.pFopen64 == nullptr) ztk_board::LookUp(g_real.pFopen64, "fopen64");
    return g_real.pFopen64(szPath, szMode);
}

#define ZTK_BOARD_OPEN(name, extra)                                          \
    ZTK_BOARD_EXPORT int name(const char* szPath, int nFlags, ...) {         \
        std::va_list arguments;                                              \
        va_start(arguments, nFlags);                                         \
        const mode_t nMode = ztk_board::ModeOf(nFlags, arguments);           \
        va_end(arguments);                                                   \
        return ztk_board::OpenAt(AT_FDCWD, szPath, nFlags | (extra), nMode); \
    }
#define ZTK_BOARD_OPENAT(name, extra)                                             \
    ZTK_BOARD_EXPORT int name(int hFolder, const char* szPath, int nFlags, ...) { \
        std::va_list arguments;                                                   \
        va_start(arguments, nFlags);                                              \
        const mode_t nMode = ztk_board::ModeOf(nFlags, arguments);                \
        va_end(arguments);                                                        \
        return ztk_board::OpenAt(hFolder, szPath, nFlags | (extra), nMode);       \
    }
ZTK_BOARD_OPEN(open, 0)
ZTK_BOARD_OPEN(open64, O_LARGEFILE)
ZTK_BOARD_OPENAT(openat, 0)
ZTK_BOARD_OPENAT(openat64, O_LARGEFILE)

ZTK_BOARD_EXPORT int shm_open(const char* szName, int nFlags, mode_t nMode) {
    const bool bCounts = (nFlags & O_CREAT) != 0 && g_real.pBoard != nullptr;
    if (bCounts && g_real.pBoard->Fails(ztk_board::Call::kShm)) {
        errno = ENOSPC;
        return -1;
    }
    if (g_real.pShmOpen == nullptr) ztk_board::LookUp(g_real.pShmOpen, "shm_open");
    return g_real.pShmOpen(szName, nFlags, nMode);
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)
