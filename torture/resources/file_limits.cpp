// The largest file that a process may make, and a /dev/shm that cannot be written to.
//
// An object is a file: beyond RLIMIT_FSIZE the kernel sends SIGXFSZ, which ends a process that has not made
// other arrangements. One that ignores the signal gets a status.
#include <signal.h>
#include <sys/resource.h>

#include "torture/resources/limit_case.h"

namespace ztk::torture {
namespace {

constexpr std::uint64_t kSize = 10'000;

int AskWithin(std::uint64_t nMost, bool bIgnoresSignal) {
    Checks checks;
    const test::Library library;
    const rlimit limits = {nMost, nMost};
    setrlimit(RLIMIT_FSIZE, &limits);
    if (bIgnoresSignal) static_cast<void>(signal(SIGXFSZ, SIG_IGN));
    void* pBlock = nullptr;
    const bool bGranted = nMost >= kSize;
    checks.Equal(AllocateShared(library, kSize, &pBlock), bGranted ? ZTK_SUCCESS : ERR_NO_MEMORY, "status");
    if (bGranted) WriteAll(pBlock, kSize);
    return checks.Failures();
}

int AskReadOnly() {
    Checks checks;
    const test::Library library;
    void* pBlock = nullptr;
    checks.Equal(AllocateShared(library, kPage, &pBlock), ERR_NO_MEMORY, "shared status");
    checks.Equal(AllocateHeap(library, kPage, 0, &pBlock), ZTK_SUCCESS, "heap status");
    return checks.Failures();
}

}  // namespace

std::vector<LimitCase> FileLimitCases() {
    std::vector<LimitCase> cases;
    for (const int nBeside : {-1, 0, 1}) {
        const std::uint64_t nMost = kSize + static_cast<std::uint64_t>(nBeside);
        LimitCase one{"size of a file" + Beside(nBeside), [nMost] { return AskWithin(nMost, false); }};
        if (nBeside < 0) one.expected = test::Killed(SIGXFSZ);
        cases.push_back(one);
        cases.push_back(
            {"size of a file, signal ignored" + Beside(nBeside), [nMost] { return AskWithin(nMost, true); }});
    }
    LimitCase readOnly{"a /dev/shm that is read-only", AskReadOnly};
    readOnly.shmOptions = "ro";
    cases.push_back(readOnly);
    return cases;
}

}  // namespace ztk::torture
