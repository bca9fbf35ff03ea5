#include "tests/board/physical_pages.h"

#include <fcntl.h>
#include <unistd.h>

namespace ztk::test {
namespace {

// An entry of pagemap: the page is in memory, and its number.
constexpr std::uint64_t kPresent = std::uint64_t{1} << 63U;
constexpr std::uint64_t kNumber = (std::uint64_t{1} << 55U) - 1;

std::size_t PageSize() {
    return static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

}  // namespace

void TouchFromTheEnd(void* pStart, std::size_t nBytes) {
    auto* pBytes = static_cast<volatile unsigned char*>(pStart);
    for (std::size_t nLeft = nBytes; nLeft > 0; nLeft -= nLeft > PageSize() ? PageSize() : nLeft)
        pBytes[nLeft - 1] = 0x5a;
    pBytes[0] = 0x5a;
}

std::vector<std::uint64_t> FramesOf(const void* pStart, std::size_t nBytes) {
    const auto nAddress = reinterpret_cast<std::uintptr_t>(pStart);
    const std::size_t nFirst = nAddress / PageSize();
    std::vector<std::uint64_t> entries((nAddress + nBytes - 1) / PageSize() - nFirst + 1);
    const std::size_t nLength = entries.size() * sizeof(entries[0]);
    const int hMap = open("/proc/self/pagemap", O_RDONLY | O_CLOEXEC);
    const ssize_t nRead =
        pread(hMap, entries.data(), nLength, static_cast<off_t>(nFirst * sizeof(entries[0])));
    close(hMap);
    if (nRead != static_cast<ssize_t>(nLength)) return {};
    for (std::uint64_t& nEntry : entries) {
        if ((nEntry & kPresent) == 0 || (nEntry & kNumber) == 0) return {};
        nEntry &= kNumber;
    }
    return entries;
}

std::size_t CountPieces(const std::vector<std::uint64_t>& frames) {
    std::size_t nPieces = frames.empty() ? 0 : 1;
    for (std::size_t i = 1; i < frames.size(); ++i)
        nPieces += frames[i] == frames[i - 1] + 1 ? 0 : 1;
    return nPieces;
}

}  // namespace ztk::test
