// A load beside up to 100,000 entries in /dev/shm: what it costs grows with their number and no faster.
// Decided by the calls that the sweep makes, counted as they pass through this program, never by time.
#include <dirent.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "tests/library/child.h"
#include "tests/library/library.h"
#include "torture/processes/place.h"
#include "torture/processes/real_functions.h"
#include "torture/report.h"
#include "torture/run.h"

namespace ztk::torture {
namespace {

constexpr char kPart[] = "scale";

struct Calls {
    std::uint64_t nReaddir, nLstat, nKill, nShmOpen, nShmUnlink, nClose;
};

Calls g_calls{};

dirent* (*g_pReaddir)(DIR*) = nullptr;
int (*g_pLstat)(const char*, struct stat*) = nullptr;
int (*g_pKill)(pid_t, int) = nullptr;
int (*g_pShmOpen)(const char*, int, mode_t) = nullptr;
int (*g_pShmUnlink)(const char*) = nullptr;
int (*g_pClose)(int) = nullptr;

[[gnu::constructor(kBeforeAllOthers)]] void FindRealFunctions() {
    FindReal("readdir", g_pReaddir);
    FindReal("lstat", g_pLstat);
    FindReal("kill", g_pKill);
    FindReal("shm_open", g_pShmOpen);
    FindReal("shm_unlink", g_pShmUnlink);
    FindReal("close", g_pClose);
}

/// What the sweep does for one entry of a kind, and how many there are at most.
struct Kind {
    const char* szName;
    std::string (*pNameOf)(int nEntry);
    Calls each;
    int nMost;
};

std::string Foreign(int nEntry) {
    return "sem.foreign-" + std::to_string(nEntry);
}
std::string Alive(int nEntry) {
    return "ZTKTool-" + std::to_string(getppid()) + "-" + std::to_string(nEntry);
}
std::string Stale(int nEntry) {
    return "ZTKTool-" + std::string(kNobody) + "-" + std::to_string(nEntry);
}
std::string Malformed(int nEntry) {
    return "ZTKTool-" + std::to_string(nEntry);
}

constexpr std::array<Kind, 4> kKinds = {{{"foreign", Foreign, {1, 1, 0, 0, 0, 0}, 100'000},
                                         {"malformed", Malformed, {1, 1, 0, 0, 0, 0}, 10'000},
                                         {"of a live process", Alive, {1, 1, 1, 0, 0, 0}, 10'000},
                                         {"stale", Stale, {1, 1, 1, 1, 1, 1}, 100'000}}};

Calls CallsOfALoad() {
    g_calls = {};
    test::Library library;
    const Calls calls = g_calls;
    library.Unload();
    return calls;
}

int Compare(const char* szCall, const Kind& kind, int nEntries, std::uint64_t nGot, std::uint64_t nEmpty,
            std::uint64_t nEach) {
    const std::uint64_t nWanted = nEmpty + nEach * static_cast<std::uint64_t>(nEntries);
    if (nGot == nWanted) return 0;
    std::printf("DIFFERENCE %d entries, %s: %llu calls of %s, not %llu\n", nEntries, kind.szName,
                static_cast<unsigned long long>(nGot), szCall, static_cast<unsigned long long>(nWanted));
    return 1;
}

/// In a process of its own: the number of calls with entries is that without, plus what each takes.
int LoadBeside(const Kind& kind, int nEntries) {
    EmptyShm();
    CallsOfALoad();  // the first one also loads what comes with the library
    const Calls empty = CallsOfALoad();
    for (int nEntry = 0; nEntry < nEntries; ++nEntry)
        std::ofstream("/dev/shm/" + kind.pNameOf(nEntry)).flush();
    const Calls calls = CallsOfALoad();
    std::printf(
        "%8d %-20s %9llu %9llu %9llu %9llu %9llu %9llu\n", nEntries, kind.szName,
        static_cast<unsigned long long>(calls.nReaddir), static_cast<unsigned long long>(calls.nLstat),
        static_cast<unsigned long long>(calls.nKill), static_cast<unsigned long long>(calls.nShmOpen),
        static_cast<unsigned long long>(calls.nShmUnlink), static_cast<unsigned long long>(calls.nClose));
    static_cast<void>(std::fflush(stdout));
    return Compare("readdir", kind, nEntries, calls.nReaddir, empty.nReaddir, kind.each.nReaddir) +
           Compare("lstat", kind, nEntries, calls.nLstat, empty.nLstat, kind.each.nLstat) +
           Compare("kill", kind, nEntries, calls.nKill, empty.nKill, kind.each.nKill) +
           Compare("shm_open", kind, nEntries, calls.nShmOpen, empty.nShmOpen, kind.each.nShmOpen) +
           Compare("shm_unlink", kind, nEntries, calls.nShmUnlink, empty.nShmUnlink, kind.each.nShmUnlink) +
           Compare("close", kind, nEntries, calls.nClose, empty.nClose, kind.each.nClose);
}

int Main(int nCount, char** ppArguments) {
    Run run(kPart, nCount, ppArguments, 1);
    if (!EnterPrivateShm()) return ReportSkipped(kPart, "this kernel refuses a /dev/shm of its own");
    setenv("ZTK_LOG_LEVEL", "5", 1);
    std::printf("%8s %-20s %9s %9s %9s %9s %9s %9s   calls during the load\n", "entries", "all", "readdir",
                "lstat", "kill", "shm_open", "unlink", "close");
    static_cast<void>(std::fflush(stdout));
    do {
        for (const Kind& kind : kKinds) {
            for (const int nEntries : {0, 1, 10, 1000, kind.nMost}) {
                const auto ending = test::RunChild([&kind, nEntries] { return LoadBeside(kind, nEntries); });
                run.Expect(ending == test::Exited(0), "%d entries, %s: exit code %d, signal %d", nEntries,
                           kind.szName, ending.nExitCode, ending.nSignal);
                run.CountRun();
            }
        }
    } while (run.GoesOn());
    EmptyShm();
    return run.Finish();
}

}  // namespace
}  // namespace ztk::torture

int main(int nCount, char** ppArguments) {
    return ztk::torture::Main(nCount, ppArguments);
}

ZTK_IN_PLACE_OF_LIBC dirent* readdir(DIR* pStream) {
    ++ztk::torture::g_calls.nReaddir;
    return ztk::torture::g_pReaddir(pStream);
}
ZTK_IN_PLACE_OF_LIBC int lstat(const char* szPath, struct stat* pStatus) noexcept {
    ++ztk::torture::g_calls.nLstat;
    return ztk::torture::g_pLstat(szPath, pStatus);
}
ZTK_IN_PLACE_OF_LIBC int kill(pid_t nProcess, int nSignal) noexcept {
    ++ztk::torture::g_calls.nKill;
    return ztk::torture::g_pKill(nProcess, nSignal);
}
ZTK_IN_PLACE_OF_LIBC int shm_open(const char* szName, int nFlags, mode_t nMode) {
    ++ztk::torture::g_calls.nShmOpen;
    return ztk::torture::g_pShmOpen(szName, nFlags, nMode);
}
ZTK_IN_PLACE_OF_LIBC int shm_unlink(const char* szName) {
    ++ztk::torture::g_calls.nShmUnlink;
    return ztk::torture::g_pShmUnlink(szName);
}
ZTK_IN_PLACE_OF_LIBC int close(int hFile) {
    ++ztk::torture::g_calls.nClose;
    return ztk::torture::g_pClose(hFile);
}
