// The library's objects: built at load, destroyed at exit, whole in a forked child.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

#include "common/singletons.h"
#include "common/ztk_common.h"
#include "library_time.h"
#include "log_texts.h"
#include "support/available_memory.h"
#include "support/private_shm.h"
#include "support/system_calls.h"
#include "support/thread_sanitizer.h"

// A child starts a thread of its own, which the thread sanitizer must be told to bear.
extern "C" [[gnu::visibility("default")]] const char* __tsan_default_options() {
    return "die_after_fork=0";
}

namespace ztk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class LibraryLifetimeTest : public ::testing::Test {
  protected:
    ~LibraryLifetimeTest() override {
        GetLocalMemoryPool()->FreeAllMemory();
        GetSharedMemoryPool()->FreeAllMemory();
    }

    /// Forks and runs @p inChild there, which then exits.
    template <class InChild>
    static void ForkToExit(const InChild& inChild) {
        const pid_t nChild = fork();
        if (nChild == 0) {
            inChild();
            ExitAsChild(::testing::Test::HasFailure() ? 1 : 0);
        }
        int nStatus = -1;
        ASSERT_EQ(waitpid(nChild, &nStatus, 0), nChild);
        EXPECT_EQ(nStatus, 0) << "the child failed, see its messages";
    }

    AvailableMemory memory_{std::uint64_t{1} << 40U};
};

TEST_F(LibraryLifetimeTest, TheLoadSweepsFirstAndStartsBothReclaimers) {
    std::vector<std::string> functions;
    for (const LogLine& line : LinesOfTheLoad()) {
        if (functions.empty() || functions.back() != line.function) functions.push_back(line.function);
    }
    ASSERT_EQ(functions.size(), 3U);
    EXPECT_EQ(functions[0], "ReleaseMemoryRes");
    EXPECT_THAT((std::vector{functions[1], functions[2]}),
                ::testing::UnorderedElementsAre("FreeUnbusySharedMemoryThread", "FreeUnbusyMemoryThread"));
}

TEST_F(LibraryLifetimeTest, EachAccessorGivesTheOneObject) {
    EXPECT_EQ(GetLocalMemoryPool(), GetLocalMemoryPool());
    EXPECT_EQ(GetSharedMemoryPool(), GetSharedMemoryPool());
    EXPECT_EQ(GetPoolSettings(), GetPoolSettings());
}

TEST_F(LibraryLifetimeTest, BothReclaimersWorkEveryMinute) {
    FakeLog::SetLevel(2);
    LibraryTime().Advance(std::chrono::minutes(1));
    const auto limit = [](int nLine, std::uint64_t nRedundantSize) {
        return Tagged(1, "DoFreeUnbusyMemoryWork", nLine,
                      "Current redundant memory size: " + std::to_string(nRedundantSize) +
                          " bytes, allow limit size: 314572800 bytes");
    };
    EXPECT_THAT(TakeLog(),
                ::testing::UnorderedElementsAre(limit(318, GetLocalMemoryPool()->RedundantSize()),
                                                limit(321, GetSharedMemoryPool()->RedundantSize())));
}

TEST_F(LibraryLifetimeTest, TheExitRemovesTheProcessesOwnSegmentsHeldOrNot) {
    ZTK_NEEDS_THREADS_IN_A_CHILD();
    ForkToExit([] {
        void* pHeld = nullptr;
        void* pIdle = nullptr;
        void* pHeap = nullptr;
        char szName[ZTK_SHARED_NAME_SIZE];
        EXPECT_EQ(AllocatePoolSharedMemory(4096, &pHeld, szName), ZTK_SUCCESS);
        EXPECT_EQ(AllocatePoolSharedMemory(8192, &pIdle, szName), ZTK_SUCCESS);
        EXPECT_EQ(FreePoolSharedMemory(pIdle), ZTK_SUCCESS);
        EXPECT_EQ(AllocatePoolMemory(4096, ZTK_MEM_OS, &pHeap, nullptr), ZTK_SUCCESS);
        EXPECT_EQ(ShmEntries().size(), 2U);
    });
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

TEST_F(LibraryLifetimeTest, TheExitOfAChildLeavesTheParentsSegments) {
    ZTK_NEEDS_THREADS_IN_A_CHILD();
    void* pHeld = nullptr;
    char szName[ZTK_SHARED_NAME_SIZE];
    ASSERT_EQ(AllocatePoolSharedMemory(4096, &pHeld, szName), ZTK_SUCCESS);
    static_cast<char*>(pHeld)[200] = 'x';
    ForkToExit([pHeld] { EXPECT_EQ(FreePoolSharedMemory(pHeld), ERR_INVALID_PARAM); });
    ForkToExit([] {});
    EXPECT_THAT(ShmEntries(), ElementsAre(szName));
    EXPECT_EQ(static_cast<char*>(pHeld)[200], 'x');
    EXPECT_EQ(FreePoolSharedMemory(pHeld), ZTK_SUCCESS);
}

TEST_F(LibraryLifetimeTest, AForkedChildKeepsTheHeapBlocksAndTheSetting) {
    ZTK_NEEDS_THREADS_IN_A_CHILD();
    void* pHeld = nullptr;
    ASSERT_EQ(AllocatePoolMemory(4096, ZTK_MEM_OS, &pHeld, nullptr), ZTK_SUCCESS);
    SetImageBufferNodeNum(9);
    ForkToExit([pHeld] {
        EXPECT_EQ(FreePoolMemory(pHeld), ZTK_SUCCESS);
        void* pAgain = nullptr;
        EXPECT_EQ(AllocatePoolMemory(4096, ZTK_MEM_OS, &pAgain, nullptr), ZTK_SUCCESS);
        EXPECT_EQ(pAgain, pHeld);
        EXPECT_EQ(GetImageBufferNodeNum(), 9);
    });
    EXPECT_EQ(FreePoolMemory(pHeld), ZTK_SUCCESS);
}

TEST_F(LibraryLifetimeTest, TheParentGoesOnAfterAFork) {
    ForkToExit([] {});
    FakeLog::SetLevel(2);
    ClearLog();
    LibraryTime().Advance(std::chrono::minutes(1));
    EXPECT_EQ(TakeLog().size(), 2U);
}

}  // namespace
}  // namespace ztk::test
