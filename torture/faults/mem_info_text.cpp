#include "torture/faults/mem_info_text.h"

#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>

namespace ztk::torture {
namespace {

std::string g_plentyPath;
std::string g_scarcePath;
std::atomic<int> g_nScarceReadings{0};

std::string FileSaying(std::uint64_t nBytes) {
    const std::string content = "MemTotal:       16384000 kB\nMemFree:         1024000 kB\nMemAvailable:   " +
                                std::to_string(nBytes / 1024) + " kB\nShmem:             12345 kB\n";
    const int hFile = memfd_create("meminfo", 0);
    if (write(hFile, content.data(), content.size()) != static_cast<ssize_t>(content.size())) std::abort();
    return "/proc/self/fd/" + std::to_string(hFile);
}

}  // namespace

void MakeMemInfoTexts() {
    g_plentyPath = FileSaying(kPlenty);
    g_scarcePath = FileSaying(kScarce);
}

void LetMemoryBePlenty() {
    g_nScarceReadings = 0;
}

void LetMemoryBeScarce(int nReadings) {
    g_nScarceReadings = nReadings;
}

const char* InPlaceOf(const char* szPath) {
    if (std::strcmp(szPath, "/proc/meminfo") != 0) return szPath;
    if (g_nScarceReadings == 0) return g_plentyPath.c_str();
    if (g_nScarceReadings > 0) --g_nScarceReadings;
    return g_scarcePath.c_str();
}

}  // namespace ztk::torture
