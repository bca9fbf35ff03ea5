#include "standins/board/mem_figures.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace ztk_board {
namespace {

constexpr std::size_t kPathSize = 64;
constexpr std::uint64_t kKilobyte = 1024;

ino_t MountNamespaceOf(const char* szProcess) {
    char szPath[kPathSize];
    std::snprintf(szPath, sizeof(szPath), "/proc/%.20s/ns/mnt", szProcess);
    struct stat info {};
    return stat(szPath, &info) == 0 ? info.st_ino : 0;
}

/// Resident pages less those that are shared or a file's; 0 for a process that ended meanwhile.
std::uint64_t PrivateBytesOf(const char* szProcess) {
    char szPath[kPathSize];
    std::snprintf(szPath, sizeof(szPath), "/proc/%.20s/statm", szProcess);
    const int hFile = openat(AT_FDCWD, szPath, O_RDONLY | O_CLOEXEC);
    if (hFile < 0) return 0;
    char szText[128] = "";
    const ssize_t nLength = read(hFile, szText, sizeof(szText) - 1);
    close(hFile);
    if (nLength <= 0) return 0;
    char* pNext = szText;
    static_cast<void>(std::strtoull(pNext, &pNext, 10));  // the size of its address space
    const std::uint64_t nResident = std::strtoull(pNext, &pNext, 10);
    const std::uint64_t nShared = std::strtoull(pNext, &pNext, 10);
    static const auto nPage = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
    return nResident > nShared ? (nResident - nShared) * nPage : 0;
}

std::uint64_t BytesInShm() {
    struct statvfs info {};
    if (statvfs("/dev/shm", &info) != 0) return 0;
    return std::uint64_t{info.f_blocks - info.f_bfree} * info.f_frsize;
}

bool IsNumber(const char* szName) {
    return szName[0] >= '1' && szName[0] <= '9';
}

std::uint64_t Less(std::uint64_t nFrom, std::uint64_t nWhat) {
    return nFrom - std::min(nFrom, nWhat);
}

}  // namespace

Taken MeasureTaken(int nLauncher) {
    Taken taken;
    taken.nShm = BytesInShm();
    const ino_t nOwn = MountNamespaceOf("self");
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir("/proc"), closedir);
    if (directory == nullptr) return taken;
    while (const dirent* pEntry = readdir(directory.get())) {
        if (!IsNumber(pEntry->d_name)) continue;
        if (std::strtol(pEntry->d_name, nullptr, 10) == nLauncher) continue;
        if (MountNamespaceOf(pEntry->d_name) == nOwn) taken.nPrivate += PrivateBytesOf(pEntry->d_name);
    }
    return taken;
}

std::uint64_t Available(const BoardPlan& plan, const Taken& taken) {
    return Less(Less(Less(Less(plan.nMemory, plan.nMmz), plan.nSystem), taken.nShm), taken.nPrivate);
}

std::string MemInfoText(const BoardPlan& plan, const Taken& taken) {
    const std::uint64_t nTotal = Less(plan.nMemory, plan.nMmz);
    const std::uint64_t nAvailable = Available(plan, taken);
    const struct {
        const char* szKey;
        std::uint64_t nBytes;
    } lines[] = {{"MemTotal:", nTotal},  {"MemFree:", nAvailable}, {"MemAvailable:", nAvailable},
                 {"Buffers:", 0},        {"Cached:", taken.nShm},  {"AnonPages:", taken.nPrivate},
                 {"Shmem:", taken.nShm}, {"SReclaimable:", 0},     {"SwapTotal:", 0},
                 {"SwapFree:", 0}};
    std::string text;
    for (const auto& line : lines) {
        char szLine[64];
        std::snprintf(szLine, sizeof(szLine), "%-14s %16" PRIu64 " kB\n", line.szKey,
                      line.nBytes / kKilobyte);
        text += szLine;
    }
    return text;
}

}  // namespace ztk_board
