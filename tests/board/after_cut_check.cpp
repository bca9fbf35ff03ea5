// The first load after the power was cut in the middle of a worker's work. Where /dev/shm is memory nothing
// can be left of it; where a board keeps /dev/shm on a disk (ZTK_SHM_OUTLIVES), what is left goes with this
// load.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "support/private_shm.h"
#include "tests/library/library.h"
#include "tests/library/recorded_log.h"

namespace ztk::test {
namespace {

using testing::IsEmpty;
using testing::Not;

/// Without what every ext2 has.
std::vector<std::string> Objects() {
    std::vector<std::string> names = ShmEntries();
    names.erase(std::remove(names.begin(), names.end(), "lost+found"), names.end());
    return names;
}

TEST(AfterThePowerWasCut, NothingIsLeftOnceTheLibraryIsLoaded) {
    const bool bOutlives = std::getenv("ZTK_SHM_OUTLIVES") != nullptr;
    const std::vector<std::string> before = Objects();
    std::printf("before the load: %zu objects\n", before.size());
    if (bOutlives) {
        EXPECT_THAT(before, Not(IsEmpty())) << "the disk kept nothing, so nothing is tested";
    } else {
        EXPECT_THAT(before, IsEmpty());
    }
    const Library library;
    EXPECT_THAT(Objects(), IsEmpty());
}

TEST(AfterThePowerWasCut, AllContiguousMemoryIsThere) {
    const Library library;
    std::uint64_t nTaken = 0;
    void* pBlock = nullptr;
    while (library.AllocatePoolMemory(kMiB, ZTK_MEM_MMZ, &pBlock, nullptr) == ZTK_SUCCESS)
        nTaken += kMiB;
    EXPECT_GE(nTaken, 56 * kMiB) << "of 64 MiB, some of which the kernel uses itself";
}

}  // namespace
}  // namespace ztk::test
