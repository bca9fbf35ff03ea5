// Forks while other threads are inside both pools: the child finds the pools whole and gets through.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "tests/library/child.h"
#include "tests/library/every_export.h"
#include "tests/library/library.h"
#include "tests/library/private_place.h"
#include "tests/library/rounds.h"

namespace ztk::test {
namespace {

using testing::Contains;
using testing::IsEmpty;

constexpr int kThreads = 3;
constexpr int kForks = Rounds(200);

/// A thread's endless use of both pools. Outside the library it allocates nothing: the memory allocators of
/// the sanitizers, unlike the C library's, may be forked in the middle of an allocation.
class Hammer {
  public:
    Hammer(const Library& library, char cMark) : lib_(library), cMark_(cMark), thread_([this] { Run(); }) {}
    ~Hammer() { Stop(); }
    Hammer(const Hammer&) = delete;
    Hammer& operator=(const Hammer&) = delete;

    void Stop() {
        bStop_ = true;
        if (thread_.joinable()) thread_.join();
    }

    int Failures() const { return nFailures_; }
    int Laps() const { return nLaps_; }
    const char* KeptName() const { return szKept_; }

  private:
    static constexpr uint64_t kKeptSize = 64UL * 1024;

    void Expect(bool bTrue) {
        if (!bTrue) ++nFailures_;
    }

    void Run() {
        void* pKept = nullptr;
        Expect(lib_.AllocatePoolSharedMemory(kKeptSize, &pKept, szKept_) == ZTK_SUCCESS);
        char* const pData = static_cast<char*>(pKept) + ZTK_SHARED_HEADER_SIZE;
        std::memset(pData, cMark_, kKeptSize - ZTK_SHARED_HEADER_SIZE);
        while (!bStop_) {
            const uint64_t nSize = 128 + static_cast<uint64_t>(nLaps_ % 7) * 4096;
            UseMemory(nSize, 0, ZTK_MEM_OS);
            UseMemory(nSize, 64, ZTK_MEM_OS);
            UseMemory(nSize, 0, ZTK_MEM_MMZ);
            UseShared(nSize);
            if (nLaps_ % 20 == 0) Flush();
            ++nLaps_;
        }
        Expect(pData[0] == cMark_ && pData[kKeptSize - ZTK_SHARED_HEADER_SIZE - 1] == cMark_);
        Expect(lib_.FreePoolSharedMemory(pKept) == ZTK_SUCCESS);
    }

    void UseMemory(uint64_t nSize, int32_t nAlign, int32_t enMemType) {
        void* pAddr = nullptr;
        Expect(lib_.AllocateAlignedPoolMemory(nSize, nAlign, enMemType, &pAddr, nullptr) == ZTK_SUCCESS);
        std::memset(pAddr, cMark_, nSize);
        Expect(lib_.FreePoolMemory(pAddr) == ZTK_SUCCESS);
    }

    void UseShared(uint64_t nSize) {
        void* pAddr = nullptr;
        char szName[ZTK_SHARED_NAME_SIZE];
        Expect(lib_.AllocatePoolSharedMemory(nSize, &pAddr, szName) == ZTK_SUCCESS);
        Expect(lib_.FreePoolSharedMemory(pAddr) == ZTK_SUCCESS);
    }

    /// Requests that cannot be served: the pools give all idle blocks back on the way.
    void Flush() {
        void* pAddr = nullptr;
        char szName[ZTK_SHARED_NAME_SIZE];
        Expect(lib_.AllocatePoolMemory(1, 2, &pAddr, nullptr) == ERR_NO_MEMORY);
        Expect(lib_.AllocatePoolSharedMemory(UINT64_MAX, &pAddr, szName) == ERR_NO_MEMORY);
    }

    const Library& lib_;
    const char cMark_;
    char szKept_[ZTK_SHARED_NAME_SIZE] = "";
    std::atomic<bool> bStop_{false};
    std::atomic<int> nLaps_{0};
    std::atomic<int> nFailures_{0};
    std::thread thread_;
};

int UseAndEnd(const Library& library, bool bExit) {
    int nFailures = 0;
    if (kChildrenMayDoAnything) nFailures = UseEveryExport(&library) + FillPools(&library);
    if (bExit) std::exit(nFailures);
    return nFailures;
}

TEST(ForkHammer, ChildrenGetThroughAndNothingOfTheParentsIsLost) {
    SKIP_WITHOUT_PRIVATE_SHM();
    Library library;
    {
        std::array<Hammer, kThreads> hammers{Hammer(library, 'a'), Hammer(library, 'b'),
                                             Hammer(library, 'c')};
        for (const Hammer& hammer : hammers) {
            while (hammer.Laps() == 0)
                std::this_thread::yield();
        }
        for (int i = 0; i < kForks; ++i) {
            const bool bExit = i % 4 != 3;  // by _exit() now and then: its objects stay for the sweep
            const pid_t nChild = StartChild([&library, bExit] { return UseAndEnd(library, bExit); });
            ASSERT_EQ(AwaitEnd(nChild), Exited(0)) << "in fork " << i;
            const std::size_t nLeft = bExit || !kChildrenMayDoAnything ? 0 : 2;
            EXPECT_EQ(ObjectsOf(nChild).size(), nLeft) << "in fork " << i;
        }
        for (const Hammer& hammer : hammers)
            EXPECT_THAT(ShmEntries(), Contains(hammer.KeptName()));
        for (Hammer& hammer : hammers) {
            hammer.Stop();
            EXPECT_EQ(hammer.Failures(), 0);
        }
    }
    ASSERT_TRUE(library.Unload());
    EXPECT_THAT(ObjectsOf(getpid()), IsEmpty());
}

}  // namespace
}  // namespace ztk::test
