// A /dev/shm without room: by pages and by inodes, one less than is needed, just enough, one more.
#include <unistd.h>

#include <fstream>
#include <string>

#include "tests/library/process_state.h"
#include "torture/resources/limit_case.h"

namespace ztk::torture {
namespace {

constexpr int kBeside[] = {-1, 0, 1};

std::uint64_t PagesOf(std::uint64_t nBytes) {
    return (nBytes + kPage - 1) / kPage;
}

/// A tmpfs of no bytes would be one without a limit, so somebody else's page is always in it.
std::string OptionsFor(std::uint64_t nFreePages) {
    return "size=" + std::to_string((nFreePages + 1) * kPage);
}

void TakeOnePage() {
    std::ofstream(std::string("/dev/shm/") + kOthersFile) << std::string(kPage, 'x');
}

int AskOnce(std::uint64_t nSize, bool bGranted) {
    Checks checks;
    const test::Library library;
    const int nDescriptors = CountDescriptors();
    void* pBlock = nullptr;
    checks.Equal(AllocateShared(library, nSize, &pBlock), bGranted ? ZTK_SUCCESS : ERR_NO_MEMORY, "status");
    checks.Equal(pBlock != nullptr, bGranted, "a block");
    checks.Equal(static_cast<std::uint64_t>(CountDescriptors() - nDescriptors), bGranted, "descriptors");
    if (bGranted) WriteAll(pBlock, nSize);
    return checks.Failures();
}

/// The first block is idle when the second is asked for, and has to make room for it.
int AskWithAnIdleOne(std::uint64_t nIdlePages, std::uint64_t nPages, bool bGranted) {
    Checks checks;
    const test::Library library;
    void* pIdle = nullptr;
    void* pBlock = nullptr;
    checks.Equal(AllocateShared(library, nIdlePages * kPage, &pIdle), ZTK_SUCCESS, "first status");
    WriteAll(pIdle, nIdlePages * kPage);
    checks.Equal(library.FreePoolSharedMemory(pIdle), ZTK_SUCCESS, "its release");
    checks.Equal(AllocateShared(library, nPages * kPage, &pBlock), bGranted ? ZTK_SUCCESS : ERR_NO_MEMORY,
                 "second status");
    if (bGranted) WriteAll(pBlock, nPages * kPage);
    checks.Equal(static_cast<std::uint64_t>(CountObjectsOf(getpid())), bGranted, "objects");
    return checks.Failures();
}

int AskTwice(bool bSecondGranted) {
    Checks checks;
    const test::Library library;
    void* pBlock = nullptr;
    checks.Equal(AllocateShared(library, kPage, &pBlock), ZTK_SUCCESS, "first status");
    checks.Equal(AllocateShared(library, kPage, &pBlock), bSecondGranted ? ZTK_SUCCESS : ERR_NO_MEMORY,
                 "second status");
    WriteAll(pBlock, kPage);
    return checks.Failures();
}

}  // namespace

std::vector<LimitCase> FullShmCases() {
    std::vector<LimitCase> cases;
    for (const std::uint64_t nSize : {128UL, 129UL, 4096UL, 4097UL, 12'288UL, 1'048'576UL, 1'048'577UL}) {
        for (const int nBeside : kBeside) {
            LimitCase one{"pages for " + std::to_string(nSize) + " bytes" + Beside(nBeside),
                          [nSize, nBeside] { return AskOnce(nSize, nBeside >= 0); }};
            one.shmOptions = OptionsFor(PagesOf(nSize) + static_cast<std::uint64_t>(nBeside));
            one.prepare = TakeOnePage;
            cases.push_back(one);
        }
    }
    for (const int nBeside : kBeside) {
        LimitCase one{"pages for 6 pages beside 4 idle ones" + Beside(nBeside),
                      [nBeside] { return AskWithAnIdleOne(4, 6, nBeside >= 0); }};
        one.shmOptions = OptionsFor(6 + static_cast<std::uint64_t>(nBeside));
        one.prepare = TakeOnePage;
        cases.push_back(one);
    }
    for (const int nBeside : kBeside) {
        constexpr int kRootAndTwo = 3;
        LimitCase one{"inodes for two objects" + Beside(nBeside),
                      [nBeside] { return AskTwice(nBeside >= 0); }};
        one.shmOptions = "nr_inodes=" + std::to_string(kRootAndTwo + nBeside);
        cases.push_back(one);
    }
    return cases;
}

}  // namespace ztk::torture
