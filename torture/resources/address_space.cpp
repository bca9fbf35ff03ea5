// Address space and mappings.
//
// A segment's mapping that fails is not noticed: only a null address counts as failed, and the system's
// marker for failure is another one. The process then dies of SIGSEGV at its first touch. That is how the
// library behaves by contract; the cases hold it to exactly that, and that the next load clears up behind it.
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "torture/resources/limit_case.h"

namespace ztk::torture {
namespace {

std::uint64_t PagesMapped() {
    std::uint64_t nPages = 0;
    std::ifstream("/proc/self/statm") >> nPages;
    return nPages;
}

void LeaveAddressSpace(std::uint64_t nPages) {
    const rlim_t nLimit = (PagesMapped() + nPages) * kPage;
    const rlimit limits = {nLimit, nLimit};
    setrlimit(RLIMIT_AS, &limits);
}

/// Makes and gives back what is about to be asked for, so that the heap has all that the pool's records need.
void WarmUp(const LoadedLibrary& library, std::uint64_t nSharedSize) {
    void* pBlock = nullptr;
    for (int i = 0; i < 4; ++i)
        AllocateShared(library, nSharedSize, &pBlock);
    for (int i = 0; i < 8; ++i)
        AllocateHeap(library, 100, 0, &pBlock);
    AllocateShared(library, UINT64_MAX, &pBlock);
}

int ShareWithin(std::uint64_t nPages, std::uint64_t nFreePages) {
    Checks checks;
    const test::Library library;
    WarmUp(library, nPages * kPage);
    LeaveAddressSpace(nFreePages);
    void* pBlock = nullptr;
    checks.Equal(AllocateShared(library, nPages * kPage, &pBlock), ZTK_SUCCESS, "status");
    WriteAll(pBlock, nPages * kPage);
    return checks.Failures();
}

/// So large that the C library always maps it by itself, with a page's part for its own head.
constexpr std::uint64_t kHeapSize = 64UL << 20;

/// A page less than that the C library may find in the free end of its heap.
int AllocateWithin(std::uint64_t nFreePages, bool bMayFail, bool bMayWork) {
    Checks checks;
    const test::Library library;
    WarmUp(library, kPage);
    LeaveAddressSpace(nFreePages);
    void* pBlock = nullptr;
    const std::uint32_t nStatus = AllocateHeap(library, kHeapSize, 0, &pBlock);
    checks.Equal((nStatus == ZTK_SUCCESS && bMayWork) || (nStatus == ERR_NO_MEMORY && bMayFail), 1,
                 "the status");
    if (nStatus == ZTK_SUCCESS) WriteAll(pBlock, kHeapSize);
    checks.Equal(AllocateHeap(library, 100, 0, &pBlock), ZTK_SUCCESS, "a small one afterwards");
    return checks.Failures();
}

/// Uses up all mappings that a process may have and gives @p nFree back.
void LeaveMappings(int nFree) {
    constexpr int kPages = 1 << 17;
    constexpr int kLast = 16;
    auto* pRange = static_cast<char*>(
        mmap(nullptr, kPages * kPage, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
    if (pRange == MAP_FAILED) std::abort();
    // Quickly, two at a time: every other page is protected in another way. Then back by some,
    int nPage = 1;
    const auto protect = [pRange](int nOf, int nProtection) {
        return mprotect(pRange + static_cast<std::uint64_t>(nOf) * kPage, kPage, nProtection) == 0;
    };
    while (nPage < kPages && protect(nPage, PROT_READ))
        nPage += 2;
    for (int i = 1; i <= kLast; ++i)
        protect(nPage - 2 * i, PROT_NONE);
    // and exactly: such mappings are never merged.
    std::vector<void*> last;
    for (;;) {
        void* pMapped = mmap(nullptr, kPage, PROT_READ, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (pMapped == MAP_FAILED) break;
        last.push_back(pMapped);
    }
    for (int i = 0; i < nFree; ++i) {
        munmap(last.back(), kPage);
        last.pop_back();
    }
}

int ShareWithMappings(int nFree) {
    Checks checks;
    const test::Library library;
    WarmUp(library, kPage);
    void* pBlock = nullptr;
    LeaveMappings(nFree);
    checks.Equal(AllocateShared(library, kPage, &pBlock), ZTK_SUCCESS, "status");
    WriteAll(pBlock, kPage);
    return checks.Failures();
}

/// The C library may find the memory elsewhere; what counts is that there is a status, and a block that
/// works.
int AllocateWithMappings(int nFree) {
    Checks checks;
    const test::Library library;
    WarmUp(library, kPage);
    void* pBlock = nullptr;
    LeaveMappings(nFree);
    const std::uint32_t nStatus = AllocateHeap(library, kHeapSize, 0, &pBlock);
    checks.Equal(nStatus == ZTK_SUCCESS || nStatus == ERR_NO_MEMORY, 1, "a status");
    if (nStatus == ZTK_SUCCESS) WriteAll(pBlock, kHeapSize);
    return checks.Failures();
}

}  // namespace

std::vector<LimitCase> AddressSpaceCases() {
    constexpr std::uint64_t kPages = 64;
    std::vector<LimitCase> cases;
    for (const std::uint64_t nFree : {std::uint64_t{0}, std::uint64_t{1}, kPages - 1, kPages, kPages + 1}) {
        LimitCase one{std::to_string(nFree) + " pages of address space for a segment of 64",
                      [nFree] { return ShareWithin(kPages, nFree); }};
        if (nFree < kPages) one.expected = test::Killed(SIGSEGV);
        cases.push_back(one);
    }
    constexpr std::uint64_t kHeapPages = kHeapSize / kPage + 1;
    constexpr std::uint64_t kSurelyTooFew = kHeapPages - 256;
    for (const std::uint64_t nFree :
         {std::uint64_t{0}, kSurelyTooFew, kHeapPages - 1, kHeapPages, kHeapPages + 1}) {
        cases.push_back({std::to_string(nFree) + " pages of address space for a heap block of 16385",
                         [nFree] { return AllocateWithin(nFree, nFree<kHeapPages, nFree> kSurelyTooFew); }});
    }
    for (const int nFree : {0, 1, 2}) {
        LimitCase one{std::to_string(nFree) + " mappings left for a segment",
                      [nFree] { return ShareWithMappings(nFree); }};
        if (nFree == 0) one.expected = test::Killed(SIGSEGV);
        cases.push_back(one);
        cases.push_back({std::to_string(nFree) + " mappings left for a heap block",
                         [nFree] { return AllocateWithMappings(nFree); }});
    }
    return cases;
}

}  // namespace ztk::torture
