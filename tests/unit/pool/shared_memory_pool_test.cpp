// What is particular to named segments.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cstring>
#include <random>
#include <stdexcept>

#include "pool_fixture.h"

#define ZTK_INIT_OF_RANDOM_DEVICE(prefix) \
    prefix##_ZNSt13random_device7_M_initERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE

namespace {
int g_nDevicesToFailure = 0;  ///< 0: none fails
}

// The open of a std::random_device: the processor's own numbers, a system call or a file, as the board has
// it.
extern "C" void ZTK_INIT_OF_RANDOM_DEVICE(__real_)(std::random_device* pDevice, const std::string& token);
extern "C" void ZTK_INIT_OF_RANDOM_DEVICE(__wrap_)(std::random_device* pDevice, const std::string& token) {
    if (g_nDevicesToFailure > 0 && --g_nDevicesToFailure == 0) throw std::runtime_error("no random device");
    ZTK_INIT_OF_RANDOM_DEVICE(__real_)(pDevice, token);
}

namespace ztk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

class SharedMemoryPoolTest : public PoolTest<SharedKind> {
  protected:
    static std::string NamePattern() { return "ZTKTool-" + std::to_string(getpid()) + "-[0-9a-f]+"; }
    static std::string AnyName() { return "ZTKTool-" + std::to_string(getpid()) + "-*"; }
};

// ---- names -----------------------------------------------------------------------------------------

TEST_F(SharedMemoryPoolTest, ABlockComesWithTheNameOfItsObject) {
    const Given given = Allocate(4096);
    EXPECT_THAT(given.szName, MatchesRegex(NamePattern()));
    EXPECT_LT(std::strlen(given.szName), sizeof(given.szName));
    EXPECT_THAT(ShmEntries(), ElementsAre(given.szName));
}

TEST_F(SharedMemoryPoolTest, TwoBlocksHaveTwoNames) {
    EXPECT_STRNE(Allocate(4096).szName, Allocate(4096).szName);
    EXPECT_EQ(ShmEntries().size(), 2U);
}

TEST_F(SharedMemoryPoolTest, AnIdleBlockKeepsItsObjectAndItsName) {
    const Given given = AllocateIdle(4096);
    EXPECT_THAT(ShmEntries(), ElementsAre(given.szName));
    EXPECT_STREQ(Allocate(2048).szName, given.szName);
}

TEST_F(SharedMemoryPoolTest, ABlockGivenBackTakesItsObjectWithIt) {
    const Given plain = AllocateIdle(4096);
    const Given busy = Allocate(4096, 8);
    AllocateIdle(8192, 64);
    FreeUnbusy(ThePool(), 0);
    EXPECT_THAT(ShmEntries(), ElementsAre(busy.szName));
    EXPECT_STRNE(plain.szName, busy.szName);
}

TEST_F(SharedMemoryPoolTest, TheObjectIsTheBlockHeaderIncluded) {
    const Given given = Allocate(5000);
    const int hObject = shm_open(given.szName, O_RDWR, 0600);
    ASSERT_GE(hObject, 0);
    struct stat status {};
    fstat(hObject, &status);
    EXPECT_EQ(status.st_size, 5000);
    void* pView = mmap(nullptr, 5000, PROT_READ | PROT_WRITE, MAP_SHARED, hObject, 0);
    close(hObject);
    ASSERT_NE(pView, MAP_FAILED);
    auto* pBlock = reinterpret_cast<char*>(given.nAddress);
    EXPECT_EQ(std::memcmp(pView, pBlock, 5000), 0);
    EXPECT_STREQ(pBlock + 16, given.szName) << "the header is at the block's address";
    const std::string text = "written here, read there";
    std::memcpy(pBlock + 128, text.c_str(), text.size() + 1);
    EXPECT_EQ(static_cast<char*>(pView) + 128, text);
    munmap(pView, 5000);
}

TEST_F(SharedMemoryPoolTest, AReusedBlockStillHoldsItsOldContent) {
    const Given given = AllocateIdle(4096);
    std::memset(reinterpret_cast<void*>(given.nAddress), 0x5A, 4096);
    const Given again = Allocate(4096);
    EXPECT_EQ(*reinterpret_cast<unsigned char*>(again.nAddress), 0x5A);
    EXPECT_EQ(*reinterpret_cast<unsigned char*>(again.nAddress + 4095), 0x5A);
}

// ---- what cannot be had ----------------------------------------------------------------------------

TEST_F(SharedMemoryPoolTest, LessThanAHeaderIsRefusedAfterAllIdleBlocksWereGivenBack) {
    const Given idle = AllocateIdle(4096, 64);
    ClearLog();
    Given given;
    EXPECT_EQ(SharedKind::Allocate(ThePool(), 127, 0, given), ERR_NO_MEMORY);
    EXPECT_EQ(given, Given{});
    const std::string refused =
        Tagged(4, "CreateSharedMemory", 455,
               "Create file mapping failed, name=" + AnyName() + ", size=127, sys error=0x80100005");
    EXPECT_THAT(TakeLog(), ElementsAre(refused, SharedKind::Retry(), SharedKind::Freed(idle.nAddress, 4096),
                                       refused, SharedKind::Failed(127, 0)));
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

TEST_F(SharedMemoryPoolTest, AHeaderAloneIsServed) {
    const Given given = Allocate(128);
    EXPECT_THAT(TakeLog(), ElementsAre(SharedKind::Allocated(given.nAddress, 128)));
}

TEST_F(SharedMemoryPoolTest, ASegmentMustLeaveMoreThanTheReserve) {
    constexpr std::uint64_t kReserve = 367'001'600;
    const AvailableMemory memory(kReserve + 4096);
    Given given;
    EXPECT_EQ(SharedKind::Allocate(ThePool(), 4096, 0, given), ERR_NO_MEMORY);
    EXPECT_EQ(SharedKind::Allocate(ThePool(), 4095, 0, given), ZTK_SUCCESS);
}

TEST_F(SharedMemoryPoolTest, TheRetryIsMadeUnderTheSameName) {
    SystemCalls::Record({"shm_open"});
    SharedKind::FailMaking(1);
    const Given given = Allocate(4096);
    const std::string call = std::string("shm_open ") + given.szName + " 66 600";
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre(call, call));
}

TEST_F(SharedMemoryPoolTest, ASegmentThatCannotBeMappedIsRemovedAndRetried) {
    const Given idle = AllocateIdle(4096);
    ClearLog();
    SystemCalls::Fail("mmap", 2, ENOMEM);  // the first writes the header
    const Given given = Allocate(8192);
    EXPECT_THAT(TakeLog(), ElementsAre(Tagged(4, "CreateSharedMemory", 462,
                                              "Map view of file failed, name=" + AnyName() +
                                                  ", size=8192, sys error=0x80100009"),
                                       SharedKind::Retry(), SharedKind::Freed(idle.nAddress, 4096),
                                       SharedKind::Allocated(given.nAddress, 8192)));
    EXPECT_THAT(ShmEntries(), ElementsAre(given.szName));
}

TEST_F(SharedMemoryPoolTest, WithoutRandomNumbersForItsNameABlockIsRefused) {
    constexpr int kNumbersInAName = 16;
    const Given idle = AllocateIdle(4096);
    for (int nNumber = 1; nNumber <= kNumbersInAName; ++nNumber) {
        g_nDevicesToFailure = nNumber;
        ClearLog();
        Given given;
        EXPECT_EQ(SharedKind::Allocate(ThePool(), 8192, 0, given), ERR_NO_MEMORY) << nNumber;
        EXPECT_EQ(given, Given{});
        EXPECT_THAT(TakeLog(), ElementsAre(SharedKind::Failed(8192, 0)));
        EXPECT_THAT(ShmEntries(), ElementsAre(idle.szName));
    }
    EXPECT_EQ(g_nDevicesToFailure, 0);
    Allocate(8192);
    EXPECT_EQ(Allocate(4096), idle);
}

// ---- segments that resist --------------------------------------------------------------------------

struct Resistance {
    const char* szCall;
    std::int32_t nAlign;
    const char* szFunction;
    int nLine;
    const char* szText;
};

class ResistingSegmentTest : public SharedMemoryPoolTest, public ::testing::WithParamInterface<Resistance> {};

TEST_P(ResistingSegmentTest, IsDroppedFromThePoolAllTheSame) {
    const Resistance& resistance = GetParam();
    const Given given = AllocateIdle(4096, resistance.nAlign);
    ClearLog();
    SystemCalls::Fail(resistance.szCall, 1, EACCES);
    FreeUnbusy(ThePool(), 0);
    EXPECT_THAT(TakeLog(), ElementsAre(SharedKind::Freed(given.nAddress, 4096),
                                       Tagged(4, resistance.szFunction, resistance.nLine,
                                              resistance.szText + AnyName() + ", sys error=13")));
    EXPECT_EQ(ThePool().RedundantSize(), 0U);
    EXPECT_EQ(SharedKind::Release(ThePool(), given.nAddress), ERR_INVALID_PARAM);
    shm_unlink(given.szName);
}

INSTANTIATE_TEST_SUITE_P(
    Calls, ResistingSegmentTest,
    ::testing::Values(
        Resistance{"munmap", 0, "DestroySharedMerory", 495, "Unmap view of file failed, name="},
        Resistance{"shm_unlink", 0, "DestroySharedMerory", 503, "Close file mapping failed, name="},
        Resistance{"munmap", 64, "DestroyAlignedSharedMemory", 583, "Unmap view of file failed, name="},
        Resistance{"shm_unlink", 64, "DestroyAlignedSharedMemory", 591, "Close file mapping failed, name="}));

TEST_F(SharedMemoryPoolTest, ASegmentThatResistsTheTeardownIsLogged) {
    const Given plain = Allocate(4096);
    const Given aligned = Allocate(4096, 64);
    ClearLog();
    SystemCalls::Fail("shm_unlink", 0, EACCES);
    pool_.reset();
    const std::string text = "Close file mapping failed, name=" + AnyName() + ", sys error=13";
    EXPECT_THAT(TakeLog(), ElementsAre(Tagged(4, "DestroySharedMerory", 503, text),
                                       Tagged(4, "DestroyAlignedSharedMemory", 591, text)));
    SystemCalls::Reset();
    shm_unlink(plain.szName);
    shm_unlink(aligned.szName);
}

// ---- the sweep at the start ------------------------------------------------------------------------

TEST_F(SharedMemoryPoolTest, TheStartSweepsBeforeAnythingElse) {
    pool_.reset();
    const std::string stale = "ZTKTool-" + std::to_string(getpid()) + "-0123";
    close(shm_open(stale.c_str(), O_RDWR | O_CREAT, 0600));
    std::size_t nLeft = 1;
    SystemCalls::Before("pthread_cond_init", 1, [&nLeft] { nLeft = ShmEntries().size(); });
    ClearLog();
    StartPool();
    EXPECT_EQ(nLeft, 0U) << "swept before the exit event is created";
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

TEST_F(SharedMemoryPoolTest, AStartWithoutADirectoryGoesOn) {
    pool_.reset();
    ClearLog();
    SystemCalls::Fail("opendir", 1, ENOENT);
    SystemCalls::Fail("pthread_create", 1, EAGAIN);
    pool_.emplace();
    EXPECT_THAT(TakeLog(),
                ElementsAre(Plain(4, "ReleaseMemoryRes", 689, "ReleaseMemoryRes portable_findfirst failed"),
                            Tagged(4, "Init", 64, "Create free memory thread failed, return code: 11")));
}

// ---- the dump --------------------------------------------------------------------------------------

const std::string kHeading = "##############Shared memory pool block list detail: #####################\n";

class SharedPoolDumpTest : public SharedMemoryPoolTest {
  protected:
    Lines Dump() {
        ClearLog();
        ThePool().DumpMemoryInfo();
        return TakeLog();
    }

    static Lines DumpOf(const std::string& text, int nBlocks, std::uint64_t nTotal) {
        return {Tagged(0, "DumpMemoryInfo", 437, kHeading + text),
                Tagged(1, "DumpMemoryInfo", 438,
                       "Shared memory pool contains " + std::to_string(nBlocks) +
                           " block(s), total size: " + std::to_string(nTotal) + " bytes")};
    }
};

TEST_F(SharedPoolDumpTest, OfAnEmptyPoolIsAHeadingAndAZero) {
    EXPECT_EQ(Dump(), DumpOf("", 0, 0));
}

TEST_F(SharedPoolDumpTest, GoesByAlignmentThenSizeClassThenSizeBusyOrNot) {
    AllocateIdle(4096, 64);
    Allocate(21 * kMiB);
    Allocate(5000);
    AllocateIdle(8192);
    Allocate(6000, -3);
    EXPECT_EQ(Dump(), DumpOf("6000, 5000, 8192, 22020096, 4096, ", 5, 22'020'096 + 23'288));
}

TEST_F(SharedPoolDumpTest, TwentyFiveBlocksAreBrokenAfterTheTenthAndTheTwentieth) {
    std::string expected;
    std::uint64_t nTotal = 0;
    for (std::uint64_t n = 1; n <= 25; ++n) {
        Allocate(128 + n, n <= 13 ? 0 : 64);
        expected += std::to_string(128 + n) + ", ";
        if (n == 10 || n == 20) expected += '\n';
        nTotal += 128 + n;
    }
    EXPECT_EQ(Dump(), DumpOf(expected, 25, nTotal));
}

TEST_F(SharedPoolDumpTest, YieldsTheProcessorAfterEachAlignment) {
    Allocate(4096);
    Allocate(21 * kMiB);
    Allocate(4096, 8);
    SystemCalls::Record({"usleep"});
    ThePool().DumpMemoryInfo();
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre("usleep 0", "usleep 0"));
}

}  // namespace
}  // namespace ztk::test
