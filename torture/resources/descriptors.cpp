// Descriptors: none, one, two left.
#include <dlfcn.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "tests/library/process_state.h"
#include "torture/processes/place.h"
#include "torture/resources/limit_case.h"

namespace ztk::torture {
namespace {

/// From now on this process can open @p nFree more.
void LeaveDescriptors(rlim_t nFree) {
    const int hLowestFree = dup(STDERR_FILENO);
    close(hLowestFree);
    rlimit limits{};
    getrlimit(RLIMIT_NOFILE, &limits);
    limits.rlim_cur = static_cast<rlim_t>(hLowestFree) + nFree;
    setrlimit(RLIMIT_NOFILE, &limits);
}

/// Every segment keeps one, and reading the available memory takes one for a moment: when the last is with a
/// segment, heap requests are refused as well.
int AskForMoreThanThereAre(rlim_t nFree) {
    Checks checks;
    const test::Library library;
    LeaveDescriptors(nFree);
    void* pBlock = nullptr;
    for (rlim_t nObject = 0; nObject <= nFree; ++nObject) {
        const bool bGranted = nObject < nFree;
        const std::uint32_t nWanted = bGranted ? ZTK_SUCCESS : ERR_NO_MEMORY;
        checks.Equal(library.GetAvailableOSSize() > 0, bGranted, "available memory can be read");
        checks.Equal(AllocateHeap(library, 100 + nObject, 0, &pBlock), nWanted, "heap status");
        checks.Equal(AllocateHeap(library, 100 + nObject, 64, &pBlock), nWanted, "aligned heap status");
        checks.Equal(library.AllocatePoolMemory(4096, ZTK_MEM_MMZ, &pBlock, nullptr), ZTK_SUCCESS,
                     "MMZ status");
        checks.Equal(AllocateShared(library, kPage, &pBlock), nWanted, "shared status");
        if (bGranted) WriteAll(pBlock, kPage);
    }
    return checks.Failures();
}

int LoadWith(rlim_t nFree, bool bLoads) {
    Checks checks;
    LeaveDescriptors(nFree);
    void* hLibrary = dlopen(ZTK_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    checks.Equal(hLibrary != nullptr, bLoads, "loaded");
    if (hLibrary != nullptr) checks.Equal(static_cast<std::uint64_t>(dlclose(hLibrary)), 0, "unloaded");
    return checks.Failures();
}

}  // namespace

std::vector<LimitCase> DescriptorCases() {
    std::vector<LimitCase> cases;
    for (const rlim_t nFree : {0UL, 1UL, 2UL, 3UL}) {
        cases.push_back({std::to_string(nFree) + " descriptors left for one more object",
                         [nFree] { return AskForMoreThanThereAre(nFree); }});
    }
    // The loader needs one itself. The sweep needs one for the directory; a stale object that it cannot open
    // for want of another is removed all the same, which is looked at after every case.
    for (const rlim_t nFree : {0UL, 1UL, 2UL}) {
        LimitCase one{std::to_string(nFree) + " descriptors left for a load with something to sweep",
                      [nFree] { return LoadWith(nFree, nFree > 0); }};
        if (nFree > 0) one.prepare = [] { PlantObject(std::string("ZTKTool-") + kNobody + "-ff"); };
        cases.push_back(one);
    }
    return cases;
}

}  // namespace ztk::torture
