// The reserve of 350 MiB that stays available to the system, to the byte, by another /proc/meminfo.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <string>

#include "tests/library/library.h"
#include "tests/library/private_place.h"
#include "tests/library/recorded_log.h"

namespace ztk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// Available memory that leaves the reserve and 1 MiB, in the kernel's unit.
constexpr unsigned long kAvailableKilobytes = (350UL + 1) * 1024;

class Reserve : public testing::Test {
  protected:
    void SetUp() override {
        SKIP_WITHOUT_PRIVATE_SHM();
        RecordedLog::ClearAfterLoad();
    }

    uint32_t Heap(uint64_t nSize, int32_t nAlign = 0) {
        void* pAddr = nullptr;
        return lib_.AllocateAlignedPoolMemory(nSize, nAlign, ZTK_MEM_OS, &pAddr, nullptr);
    }

    uint32_t Mmz(uint64_t nSize) {
        void* pAddr = nullptr;
        return lib_.AllocatePoolMemory(nSize, ZTK_MEM_MMZ, &pAddr, nullptr);
    }

    uint32_t Shared(uint64_t nSize) {
        void* pAddr = nullptr;
        char szName[ZTK_SHARED_NAME_SIZE];
        return lib_.AllocatePoolSharedMemory(nSize, &pAddr, szName);
    }

    void ExpectHeapAndSharedRefused() {
        EXPECT_EQ(lib_.GetAvailableOSSize(), 0U);
        EXPECT_EQ(Heap(1), ERR_NO_MEMORY);
        EXPECT_EQ(Heap(1, 64), ERR_NO_MEMORY);
        EXPECT_EQ(Shared(4096), ERR_NO_MEMORY);
        EXPECT_EQ(Mmz(4096), ZTK_SUCCESS) << "MMZ is not the system's memory";
        EXPECT_THAT(ShmEntries(), IsEmpty());
    }

    const Library lib_;
};

TEST_F(Reserve, AHeapBlockMayTakeAllUpToTheReserve) {
    const MemInfoCover cover = MemInfoCover::Saying(kAvailableKilobytes);
    SKIP_WITHOUT_COVER(cover);
    EXPECT_EQ(lib_.GetAvailableOSSize(), kAvailableKilobytes * 1024);
    EXPECT_EQ(Heap(kMiB), ZTK_SUCCESS);
    EXPECT_EQ(Heap(kMiB + 1), ERR_NO_MEMORY);
    EXPECT_THAT(
        RecordedLog::LinesWith("[Malloc_OS@"),
        ElementsAre("4 [Malloc_OS@123]Insufficient OS memory, size=1048577, available size = 368050176",
                    "4 [Malloc_OS@123]Insufficient OS memory, size=1048577, available size = 368050176"));
}

TEST_F(Reserve, AnAlignedHeapBlockCountsWithItsAlignmentAndHeader) {
    const MemInfoCover cover = MemInfoCover::Saying(kAvailableKilobytes);
    SKIP_WITHOUT_COVER(cover);
    EXPECT_EQ(Heap(kMiB - 64 - 8 + 1, 64), ERR_NO_MEMORY);
    EXPECT_EQ(RecordedLog::LinesWith("4 [AlignMalloc_OS@458]Insufficient OS memory, size=1048505, align=64, "
                                     "available size = 368050176")
                  .size(),
              2U);
    EXPECT_EQ(Heap(kMiB - 64 - 8, 64), ZTK_SUCCESS);
}

TEST_F(Reserve, ASharedBlockMustLeaveMoreThanTheReserve) {
    const MemInfoCover cover = MemInfoCover::Saying(kAvailableKilobytes);
    SKIP_WITHOUT_COVER(cover);
    EXPECT_EQ(Shared(kMiB), ERR_NO_MEMORY);
    EXPECT_THAT(ShmEntries(), IsEmpty());
    EXPECT_THAT(RecordedLog::LinesWith("4 [CreateSharedMemory@455][ZtkCommon] Create file mapping failed, "),
                SizeIs(2));
    EXPECT_EQ(Shared(kMiB - 1), ZTK_SUCCESS);
}

TEST_F(Reserve, AnIdleBlockIsHandedOutWithoutLookingAtTheSystem) {
    void* pAddr = nullptr;
    ASSERT_EQ(lib_.AllocatePoolMemory(kMiB, ZTK_MEM_OS, &pAddr, nullptr), ZTK_SUCCESS);
    ASSERT_EQ(lib_.FreePoolMemory(pAddr), ZTK_SUCCESS);
    const MemInfoCover cover = MemInfoCover::Saying(0);
    SKIP_WITHOUT_COVER(cover);
    EXPECT_EQ(Heap(kMiB), ZTK_SUCCESS);
    EXPECT_EQ(Heap(kMiB), ERR_NO_MEMORY);
}

TEST_F(Reserve, NothingAvailableIsReadAfresh) {
    {
        const MemInfoCover cover = MemInfoCover::Saying(0);
        SKIP_WITHOUT_COVER(cover);
        ExpectHeapAndSharedRefused();
    }
    EXPECT_EQ(Heap(1), ZTK_SUCCESS);
    EXPECT_EQ(Shared(4096), ZTK_SUCCESS);
}

TEST_F(Reserve, WithoutMemInfoHeapAndSharedBlocksAreRefused) {
    const MemInfoCover cover = MemInfoCover::Unopenable();
    SKIP_WITHOUT_COVER(cover);
    ExpectHeapAndSharedRefused();
    EXPECT_THAT(RecordedLog::LinesWith("4 [Malloc_OS@123]Insufficient OS memory, size=1, available size = 0"),
                SizeIs(2));
}

/// Lets no further descriptor be opened. (Nothing between the two may be checked for its type by a sanitizer
/// that opens a pipe for that: so no fixture, no stream.)
class NoFreeDescriptors {
  public:
    NoFreeDescriptors() {
        const int hLowestFree = dup(STDERR_FILENO);
        close(hLowestFree);
        getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit none = {static_cast<rlim_t>(hLowestFree), before_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
    }
    ~NoFreeDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }
    NoFreeDescriptors(const NoFreeDescriptors&) = delete;
    NoFreeDescriptors& operator=(const NoFreeDescriptors&) = delete;

  private:
    rlimit before_{};
};

struct Statuses {
    uint64_t nAvailable;
    uint32_t nHeap, nShared, nMmz;
};

Statuses AskForEverything(const LoadedLibrary& library) {
    void* pAddr = nullptr;
    char szName[ZTK_SHARED_NAME_SIZE];
    Statuses statuses{};
    statuses.nAvailable = library.GetAvailableOSSize();
    statuses.nHeap = library.AllocatePoolMemory(4096, ZTK_MEM_OS, &pAddr, nullptr);
    statuses.nShared = library.AllocatePoolSharedMemory(4096, &pAddr, szName);
    statuses.nMmz = library.AllocatePoolMemory(4096, ZTK_MEM_MMZ, &pAddr, nullptr);
    return statuses;
}

TEST(WithoutFreeDescriptors, HeapAndSharedBlocksAreRefused) {
    const Library library;
    EXPECT_GT(library.GetAvailableOSSize(), 0U);
    Statuses statuses{};
    {
        const NoFreeDescriptors none;
        statuses = AskForEverything(library);
    }
    EXPECT_EQ(statuses.nAvailable, 0U);
    EXPECT_EQ(statuses.nHeap, ERR_NO_MEMORY);
    EXPECT_EQ(statuses.nShared, ERR_NO_MEMORY);
    EXPECT_EQ(statuses.nMmz, ZTK_SUCCESS);
    statuses = AskForEverything(library);
    EXPECT_GT(statuses.nAvailable, 0U);
    EXPECT_EQ(statuses.nHeap, ZTK_SUCCESS);
    EXPECT_EQ(statuses.nShared, ZTK_SUCCESS);
}

}  // namespace
}  // namespace ztk::test
