// A program that forks while the library is loaded.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "tests/library/child.h"
#include "tests/library/every_export.h"
#include "tests/library/library.h"
#include "tests/library/private_place.h"
#include "tests/library/process_state.h"
#include "tests/library/test_board.h"

namespace ztk::test {
namespace {

using testing::Contains;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

constexpr uint64_t kSize = 4096;
constexpr int kWrongFrees = 98;

/// What a child returns: its own checks are those of the test.
int Failures() {
    return testing::Test::HasFailure() ? 1 : 0;
}

int g_nExpectedFrees = -1;

/// Runs after the library's own teardown, since it is registered before any load.
void CompareFrees() {
    if (g_nExpectedFrees >= 0 && TestRockitFrees() != g_nExpectedFrees) _exit(kWrongFrees);
}
[[maybe_unused]] const int g_nRegistered = std::atexit(CompareFrees);

struct Block {
    char* pAddr = nullptr;
    char szName[ZTK_SHARED_NAME_SIZE] = "";

    char& Byte() const { return pAddr[kSize - 1]; }
};

class Fork : public testing::Test {
  protected:
    void SetUp() override {
        SKIP_WITHOUT_PRIVATE_SHM();
        heap_ = Memory(ZTK_MEM_OS);
        mmz_ = Memory(ZTK_MEM_MMZ);
        shared_ = Shared();
        idleHeap_ = Memory(ZTK_MEM_OS);
        idleMmz_ = Memory(ZTK_MEM_MMZ);
        idleShared_ = Shared();
        heap_.Byte() = 'h';
        mmz_.Byte() = 'm';
        shared_.Byte() = 's';
        FreeIdleOnes();
        nFrees_ = TestRockitFrees();
        ASSERT_EQ(AwaitOthersAsleep(), 1);
    }

    void TearDown() override {
        if (HasPrivateShm()) ExpectUntouched();
    }

    Block Memory(int32_t enMemType) const {
        Block block;
        void* pAddr = nullptr;
        EXPECT_EQ(lib_.AllocatePoolMemory(kSize, enMemType, &pAddr, nullptr), ZTK_SUCCESS);
        block.pAddr = static_cast<char*>(pAddr);
        return block;
    }

    Block Shared() const {
        Block block;
        void* pAddr = nullptr;
        EXPECT_EQ(lib_.AllocatePoolSharedMemory(kSize, &pAddr, block.szName), ZTK_SUCCESS);
        block.pAddr = static_cast<char*>(pAddr);
        return block;
    }

    void FreeIdleOnes() const {
        EXPECT_EQ(lib_.FreePoolMemory(idleHeap_.pAddr), ZTK_SUCCESS);
        EXPECT_EQ(lib_.FreePoolMemory(idleMmz_.pAddr), ZTK_SUCCESS);
        EXPECT_EQ(lib_.FreePoolSharedMemory(idleShared_.pAddr), ZTK_SUCCESS);
    }

    /// All that this process had before the fork is there and works.
    void ExpectUntouched() const {
        EXPECT_THAT(ShmEntries(), Contains(shared_.szName));
        EXPECT_THAT(ShmEntries(), Contains(idleShared_.szName));
        EXPECT_EQ(TestRockitFrees(), nFrees_);
        EXPECT_EQ(heap_.Byte(), 'h');
        EXPECT_EQ(mmz_.Byte(), 'm');
        EXPECT_EQ(shared_.Byte(), 's');
        EXPECT_EQ(Memory(ZTK_MEM_OS).pAddr, idleHeap_.pAddr);
        EXPECT_EQ(Memory(ZTK_MEM_MMZ).pAddr, idleMmz_.pAddr);
        EXPECT_EQ(Shared().pAddr, idleShared_.pAddr);
        FreeIdleOnes();
    }

    /// In a child: everything works, and what it makes is its own.
    void UseThePools() const {
        EXPECT_EQ(UseEveryExport(&lib_), 0);
        EXPECT_EQ(FillPools(&lib_), 0);
        EXPECT_THAT(ObjectsOf(getpid()), SizeIs(2));
    }

    Library lib_;
    Block heap_, mmz_, shared_, idleHeap_, idleMmz_, idleShared_;
    int nFrees_ = 0;
};

TEST_F(Fork, AChildThatEndsAtOnce) {
    EXPECT_EQ(RunChild([] { return 3; }), Exited(3)) << "by _exit()";
    EXPECT_EQ(RunChild([]() -> int { std::exit(3); }), Exited(3)) << "by exit()";
    EXPECT_EQ(RunChild([]() -> int { std::quick_exit(3); }), Exited(3)) << "by quick_exit()";
}

TEST_F(Fork, AChildThatBecomesAnotherProgram) {
    SKIP_WITHOUT_PROGRAMS();
    EXPECT_EQ(RunProgram({"/bin/true"}), Exited(0));
    EXPECT_EQ(RunProgram({ZTK_HOST_PATH, kLibraryPath, "once", "standin"}), Exited(0)) << "one that sweeps";
}

TEST_F(Fork, AChildsExitGivesBackNoneOfItsParentsBlocks) {
    g_nExpectedFrees = nFrees_;
    EXPECT_EQ(RunChild([]() -> int { std::exit(0); }), Exited(0));
    g_nExpectedFrees = -1;
}

TEST_F(Fork, AChildsExitGivesBackAllOfItsOwnBlocks) {
    SKIP_IF_CHILDREN_ARE_LIMITED();
    const Latch filled;
    const Latch end;
    const pid_t nChild = StartChild([&]() -> int {
        const int nAllocs = TestRockitAllocs();
        UseThePools();
        // A plain and an aligned one for UseEveryExport(), and as many again, for FillPools() reuses those.
        g_nExpectedFrees = nFrees_ + TestRockitAllocs() - nAllocs;
        EXPECT_EQ(TestRockitAllocs() - nAllocs, 4);
        filled.Open();
        end.Await();
        std::exit(Failures());
    });
    filled.Await();
    EXPECT_THAT(ObjectsOf(nChild), SizeIs(2));
    end.Open();
    EXPECT_EQ(AwaitEnd(nChild), Exited(0));
    EXPECT_THAT(ObjectsOf(nChild), IsEmpty());
}

TEST_F(Fork, HeapBlocksAreTheChildsOwnCopies) {
    SKIP_IF_CHILDREN_ARE_LIMITED();
    const auto body = [this] {
        EXPECT_EQ(heap_.Byte(), 'h');
        heap_.Byte() = 'c';
        EXPECT_EQ(lib_.FreePoolMemory(heap_.pAddr), ZTK_SUCCESS);
        const char* const handedOut[] = {Memory(ZTK_MEM_OS).pAddr, Memory(ZTK_MEM_OS).pAddr};
        EXPECT_THAT(handedOut, UnorderedElementsAre(heap_.pAddr, idleHeap_.pAddr));
        return Failures();
    };
    EXPECT_EQ(RunChild(body), Exited(0));
}

TEST_F(Fork, MmzAndSharedBlocksStayReadableButAreTheParents) {
    SKIP_IF_CHILDREN_ARE_LIMITED();
    const auto body = [this]() -> int {
        EXPECT_EQ(mmz_.Byte(), 'm');
        EXPECT_EQ(shared_.Byte(), 's');
        for (const Block& block : {mmz_, idleMmz_})
            EXPECT_EQ(lib_.FreePoolMemory(block.pAddr), ERR_INVALID_PARAM);
        for (const Block& block : {shared_, idleShared_})
            EXPECT_EQ(lib_.FreePoolSharedMemory(block.pAddr), ERR_INVALID_PARAM);
        std::exit(Failures());
    };
    EXPECT_EQ(RunChild(body), Exited(0));
}

TEST_F(Fork, AChildIsHandedNoneOfItsParentsIdleMmzAndSharedBlocks) {
    SKIP_IF_CHILDREN_ARE_LIMITED();
    const auto body = [this]() -> int {
        for (int i = 0; i < 3; ++i) {
            EXPECT_NE(Memory(ZTK_MEM_MMZ).pAddr, idleMmz_.pAddr);
            EXPECT_STRNE(Shared().szName, idleShared_.szName);
        }
        EXPECT_THAT(ObjectsOf(getpid()), SizeIs(3));
        std::exit(Failures());
    };
    EXPECT_EQ(RunChild(body), Exited(0));
}

TEST_F(Fork, AChildsFirstAllocationFromAPoolStartsItsReclaimer) {
    SKIP_IF_CHILDREN_ARE_LIMITED();
    const auto body = [this] {
        const int nThreads = CountThreads();
        EXPECT_EQ(lib_.FreePoolMemory(nullptr), ERR_INVALID_PARAM);
        EXPECT_EQ(CountThreads(), nThreads);
        Memory(ZTK_MEM_OS);
        EXPECT_EQ(CountThreads(), nThreads + 1);
        Shared();
        EXPECT_EQ(CountThreads(), nThreads + 2);
        EXPECT_EQ(UseEveryExport(&lib_), 0);
        EXPECT_EQ(CountThreads(), nThreads + 2);
        return Failures();
    };
    EXPECT_EQ(RunChild(body), Exited(0));
}

TEST_F(Fork, AChildMayUnload) {
    const auto body = [this]() -> int {
        EXPECT_TRUE(lib_.Unload());
        EXPECT_THAT(ShmEntries(), Contains(shared_.szName));
        std::exit(Failures());
    };
    EXPECT_EQ(RunChild(body), Exited(0));
}

TEST_F(Fork, AChildMayUnloadAfterUse) {
    SKIP_IF_CHILDREN_ARE_LIMITED();
    const auto usingFirst = [this]() -> int {
        UseThePools();
        EXPECT_TRUE(lib_.Unload());
        EXPECT_THAT(ObjectsOf(getpid()), IsEmpty());
        EXPECT_THAT(ShmEntries(), Contains(shared_.szName));
        std::exit(Failures());
    };
    EXPECT_EQ(RunChild(usingFirst), Exited(0));
}

TEST_F(Fork, AChildOfAChild) {
    SKIP_IF_CHILDREN_ARE_LIMITED();
    const auto grandchild = [this]() -> int {
        EXPECT_EQ(heap_.Byte(), 'h');
        EXPECT_EQ(lib_.FreePoolMemory(heap_.pAddr), ZTK_SUCCESS);
        EXPECT_EQ(lib_.FreePoolMemory(mmz_.pAddr), ERR_INVALID_PARAM);
        EXPECT_EQ(lib_.FreePoolSharedMemory(shared_.pAddr), ERR_INVALID_PARAM);
        UseThePools();
        std::exit(Failures());
    };
    const auto child = [&]() -> int {
        const Block own = Shared();
        own.Byte() = 'c';
        EXPECT_EQ(AwaitOthersAsleep(), 1);
        EXPECT_EQ(RunChild(grandchild), Exited(0));
        EXPECT_THAT(ShmEntries(), Contains(own.szName));
        EXPECT_EQ(own.Byte(), 'c');
        EXPECT_EQ(lib_.FreePoolSharedMemory(own.pAddr), ZTK_SUCCESS);
        UseThePools();
        std::exit(Failures());
    };
    EXPECT_EQ(RunChild(child), Exited(0));
    const auto silentChild = [&]() -> int {  // one that has not called the library before it forks
        EXPECT_EQ(RunChild(grandchild), Exited(0));
        std::exit(Failures());
    };
    EXPECT_EQ(RunChild(silentChild), Exited(0));
}

TEST_F(Fork, AForkPastTheHandlersOfTheCLibrary) {
    SKIP_IF_CHILDREN_ARE_LIMITED();
    const pid_t nChild = _Fork();
    if (nChild == 0) {
        alarm(100);
        std::exit(0);
    }
    EXPECT_EQ(AwaitEnd(nChild), Exited(0));
}

/// As a crash handler does it: on the thread, and in the middle of the call, that has been interrupted.
TEST_F(Fork, AForkInTheMiddleOfACall) {
    static Ending ending;
    TestRockitOnFree([] { ending = RunChild([]() -> int { std::exit(5); }); });
    void* pAddr = nullptr;
    EXPECT_EQ(lib_.AllocatePoolMemory(1, 2, &pAddr, nullptr), ERR_NO_MEMORY)
        << "gives the idle MMZ block back";
    TestRockitOnFree(nullptr);
    EXPECT_EQ(ending, Exited(5));
    ++nFrees_;
    idleHeap_ = Memory(ZTK_MEM_OS);
    idleMmz_ = Memory(ZTK_MEM_MMZ);
    EXPECT_EQ(lib_.FreePoolMemory(idleHeap_.pAddr), ZTK_SUCCESS);
    EXPECT_EQ(lib_.FreePoolMemory(idleMmz_.pAddr), ZTK_SUCCESS);
}

TEST(ForkAndUnload, AChildGoesOnWhenItsParentUnloads) {
    SKIP_WITHOUT_PRIVATE_SHM();
    SKIP_IF_CHILDREN_ARE_LIMITED();
    Library library;
    ASSERT_EQ(FillPools(&library), 0);
    ASSERT_EQ(AwaitOthersAsleep(), 1);
    const Latch unloaded;
    const pid_t nChild = StartChild([&]() -> int {
        unloaded.Await();
        EXPECT_EQ(UseEveryExport(&library), 0);
        EXPECT_EQ(ObjectsOf(getpid()).size(), 1U);
        std::exit(Failures());
    });
    EXPECT_TRUE(library.Unload());
    EXPECT_THAT(ShmEntries(), IsEmpty());
    unloaded.Open();
    EXPECT_EQ(AwaitEnd(nChild), Exited(0));
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

TEST(ForkAndUnload, AForkAfterTheUnload) {
    WarmUpThreads();
    {
        Library library;
        ASSERT_EQ(FillPools(&library), 0);
    }
    EXPECT_EQ(RunChild([]() -> int { std::exit(0); }), Exited(0));
}

}  // namespace
}  // namespace ztk::test
