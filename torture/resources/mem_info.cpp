// /proc/meminfo at the reserve's exact edge, missing, and in every wrong form.
#include <string>

#include "torture/resources/limit_case.h"

namespace ztk::torture {
namespace {

/// What is available beyond the reserve in the cases at its edge, in bytes.
constexpr std::uint64_t kBeyond = 1UL << 20;

std::string Saying(std::uint64_t nBytes) {
    return "MemTotal:       99999999 kB\nMemAvailable:   " + std::to_string(nBytes / 1024) +
           " kB\nShmem:  1 kB\n";
}

enum class Kind { kHeap, kAligned, kShared };

int AskAtTheEdge(Kind enKind, std::uint64_t nSize, bool bGranted) {
    Checks checks;
    const test::Library library;
    void* pBlock = nullptr;
    const std::uint32_t nStatus =
        enKind == Kind::kShared ? AllocateShared(library, nSize, &pBlock)
                                : AllocateHeap(library, nSize, enKind == Kind::kAligned ? 64 : 0, &pBlock);
    checks.Equal(nStatus, bGranted ? ZTK_SUCCESS : ERR_NO_MEMORY, "status");
    if (bGranted) WriteAll(pBlock, nSize);
    return checks.Failures();
}

/// A block may take all up to the reserve; a segment must leave a byte more.
LimitCase AtTheEdge(const char* szKind, Kind enKind, std::uint64_t nMost, int nBeside) {
    const std::uint64_t nSize = nMost + static_cast<std::uint64_t>(nBeside);
    LimitCase one{"the reserve, " + std::string(szKind) + Beside(nBeside),
                  [enKind, nSize, nBeside] { return AskAtTheEdge(enKind, nSize, nBeside <= 0); }};
    one.bMemInfo = true;
    one.memInfo = Saying(kReserve + kBeyond);
    return one;
}

int AskWithText(std::uint64_t nAvailable) {
    Checks checks;
    const test::Library library;
    checks.Equal(library.GetAvailableOSSize(), nAvailable, "available");
    void* pBlock = nullptr;
    const std::uint32_t nWanted = nAvailable > kReserve + 2 * kPage ? ZTK_SUCCESS : ERR_NO_MEMORY;
    checks.Equal(AllocateHeap(library, kPage, 0, &pBlock), nWanted, "heap status");
    checks.Equal(AllocateHeap(library, kPage, 64, &pBlock), nWanted, "aligned heap status");
    checks.Equal(AllocateShared(library, kPage, &pBlock), nWanted, "shared status");
    checks.Equal(library.AllocatePoolMemory(kPage, ZTK_MEM_MMZ, &pBlock, nullptr), ZTK_SUCCESS, "MMZ status");
    return checks.Failures();
}

LimitCase WithText(const char* szName, const std::string& text, std::uint64_t nAvailable) {
    LimitCase one{"/proc/meminfo " + std::string(szName), [nAvailable] { return AskWithText(nAvailable); }};
    one.bMemInfo = true;
    one.memInfo = text;
    return one;
}

}  // namespace

std::vector<LimitCase> MemInfoCases() {
    constexpr std::uint64_t kAlignAndBackPointer = 64 + 8;
    constexpr std::uint64_t kGigabyte = 1UL << 30;
    const std::string good = "MemAvailable: 1048576 kB\n";
    std::vector<LimitCase> cases;
    for (const int nBeside : {-1, 0, 1}) {
        cases.push_back(AtTheEdge("heap block", Kind::kHeap, kBeyond, nBeside));
        cases.push_back(
            AtTheEdge("aligned heap block", Kind::kAligned, kBeyond - kAlignAndBackPointer, nBeside));
        cases.push_back(AtTheEdge("segment", Kind::kShared, kBeyond - 1, nBeside));
    }
    cases.push_back(WithText("good", good, kGigabyte));
    cases.push_back(WithText("empty", "", 0));
    cases.push_back(WithText("without the line", "MemTotal: 1048576 kB\nMemFree: 1048576 kB\n", 0));
    cases.push_back(WithText("with a blank before the key", " " + good, 0));
    cases.push_back(WithText("with the key inside a line", "x " + good, 0));
    cases.push_back(WithText("with letters for the number", "MemAvailable: lots kB\n", 0));
    cases.push_back(WithText("with letters, then a good line", "MemAvailable: lots kB\n" + good, kGigabyte));
    cases.push_back(WithText("with two good lines", good + "MemAvailable: 1 kB\n", kGigabyte));
    cases.push_back(WithText("without a line end", "MemAvailable: 1048576", kGigabyte));
    cases.push_back(WithText("cut in the number", "MemAvailable: 1048", 1048UL * 1024));
    cases.push_back(WithText("cut behind the key", "MemAvailable:", 0));
    cases.push_back(WithText("with blanks for the number", "MemAvailable:         \n", 0));
    cases.push_back(WithText("with the number at the key", "MemAvailable:1048576 kB\n", 0));
    cases.push_back(WithText("with tabs", "MemAvailable:\t\t1048576\tkB\n", kGigabyte));
    cases.push_back(WithText("in another unit", "MemAvailable: 1048576 GB\n", kGigabyte));
    cases.push_back(
        WithText("with DOS line ends", "MemTotal: 1 kB\r\nMemAvailable: 1048576 kB\r\n", kGigabyte));
    cases.push_back(WithText("with zero", "MemAvailable: 0 kB\n", 0));
    cases.push_back(
        WithText("with the largest number", "MemAvailable: 18446744073709551615 kB\n", UINT64_MAX));
    cases.push_back(WithText("with a number too large", "MemAvailable: 18446744073709551616 kB\n", 0));
    cases.push_back(
        WithText("with a line of a megabyte", std::string(1UL << 20, 'x') + "\n" + good, kGigabyte));
    cases.push_back(
        WithText("with a number of a megabyte", "MemAvailable: " + std::string(1UL << 20, '9'), 0));
    cases.push_back(WithText("with NULs", std::string(5000, '\0') + "\n" + good, kGigabyte));
    cases.push_back(WithText("with bytes that are no text", "\xff\xfe\x80%n%s\n" + good, kGigabyte));
    return cases;
}

}  // namespace ztk::torture
