// The exports for heap and MMZ memory, the system's memory and the setting.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "common/singletons.h"
#include "common/ztk_common.h"
#include "fakes/fake_rockit.h"
#include "library_time.h"
#include "log_texts.h"
#include "support/available_memory.h"
#include "support/system_calls.h"

namespace ztk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class LocalExportsTest : public ::testing::Test {
  protected:
    /// The pool lives as long as the program: what a test leaves idle would serve the next one.
    ~LocalExportsTest() override {
        SystemCalls::Reset();
        GetLocalMemoryPool()->FreeAllMemory();
    }

    static std::string Entry() { return Tagged(0, "AllocatePoolMemory", 72, "AllocatePoolMemory()"); }
    static std::string Result(const std::string& text) {
        return Tagged(0, "AllocatePoolMemory", 74, "Allocate memory return " + text);
    }
    static std::string AlignedEntry() {
        return Tagged(0, "AllocateAlignedPoolMemory", 45, "AllocateAlignedPoolMemory()");
    }
    static std::string AlignedResult(const std::string& text) {
        return Tagged(0, "AllocateAlignedPoolMemory", 47, "Allocate align memory return " + text);
    }
    static std::string Allocated(const void* pAddr, std::uint64_t nSize) {
        return Tagged(1, "AllocateMemory", 160,
                      "Allocate system memory addr=" + Hex(reinterpret_cast<std::uintptr_t>(pAddr)) +
                          ", size=" + std::to_string(nSize));
    }
    static std::string Retry() {
        return Tagged(4, "AllocateMemory", 142,
                      "Insufficient memory, free all unbusy block(s) and try again");
    }

    AvailableMemory memory_{std::uint64_t{1} << 40U};
    int nMark_ = 0;
    void* pAddr_ = &nMark_;
    std::uint64_t nHandle_ = 7;
};

// ---- allocation --------------------------------------------------------------------------------------

TEST_F(LocalExportsTest, AnAllocationIsLoggedBeforeAndAfter) {
    EXPECT_EQ(AllocatePoolMemory(4096, ZTK_MEM_OS, &pAddr_, &nHandle_), ZTK_SUCCESS);
    EXPECT_EQ(nHandle_, 0U);
    EXPECT_THAT(TakeLog(),
                ElementsAre(Entry(), Allocated(pAddr_, 4096), Result("0, nSize = 4096, enMemType=0")));
}

TEST_F(LocalExportsTest, AReuseIsLoggedByTheExportAlone) {
    EXPECT_EQ(AllocatePoolMemory(4096, ZTK_MEM_MMZ, &pAddr_, &nHandle_), ZTK_SUCCESS);
    EXPECT_EQ(nHandle_, FakeRockit::HandleValue(1));
    void* const pFirst = pAddr_;
    ClearLog();
    EXPECT_EQ(FreePoolMemory(pFirst), ZTK_SUCCESS);
    EXPECT_THAT(TakeLog(), IsEmpty());
    EXPECT_EQ(AllocatePoolMemory(100, ZTK_MEM_MMZ, &pAddr_, &nHandle_), ZTK_SUCCESS);
    EXPECT_EQ(pAddr_, pFirst);
    EXPECT_THAT(TakeLog(), ElementsAre(Entry(), Result("0, nSize = 100, enMemType=1")));
}

TEST_F(LocalExportsTest, TheHandleMayBeLeftOut) {
    EXPECT_EQ(AllocatePoolMemory(4096, ZTK_MEM_OS, &pAddr_, nullptr), ZTK_SUCCESS);
    EXPECT_NE(pAddr_, &nMark_);
    EXPECT_EQ(AllocateAlignedPoolMemory(4096, 64, ZTK_MEM_MMZ, &pAddr_, nullptr), ZTK_SUCCESS);
}

TEST_F(LocalExportsTest, WithoutAPlaceForTheAddressNothingHappens) {
    EXPECT_EQ(AllocatePoolMemory(4096, ZTK_MEM_OS, nullptr, &nHandle_), ERR_INVALID_PARAM);
    EXPECT_EQ(AllocateAlignedPoolMemory(4096, 64, ZTK_MEM_MMZ, nullptr, &nHandle_), ERR_INVALID_PARAM);
    EXPECT_EQ(AllocatePoolMemory(4096, 99, nullptr, nullptr), ERR_INVALID_PARAM);
    EXPECT_EQ(nHandle_, 7U);
    EXPECT_THAT(TakeLog(), IsEmpty());
    EXPECT_THAT(FakeRockit::Calls(), IsEmpty());
}

TEST_F(LocalExportsTest, AnAlignedAllocationIsLoggedWithItsAlignment) {
    EXPECT_EQ(AllocateAlignedPoolMemory(4096, 4096, ZTK_MEM_OS, &pAddr_, &nHandle_), ZTK_SUCCESS);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(pAddr_) % 4096, 0U);
    EXPECT_THAT(TakeLog(), ElementsAre(AlignedEntry(), Allocated(pAddr_, 4096),
                                       AlignedResult("0, nSize = 4096, nAlign = 4096, enMemType=0")));
}

TEST_F(LocalExportsTest, AnAlignmentOfZeroIsThatOfUnalignedRequests) {
    EXPECT_EQ(AllocatePoolMemory(4096, ZTK_MEM_OS, &pAddr_, nullptr), ZTK_SUCCESS);
    EXPECT_EQ(FreePoolMemory(pAddr_), ZTK_SUCCESS);
    void* pAgain = nullptr;
    EXPECT_EQ(AllocateAlignedPoolMemory(4096, 0, ZTK_MEM_OS, &pAgain, nullptr), ZTK_SUCCESS);
    EXPECT_EQ(pAgain, pAddr_);
}

TEST_F(LocalExportsTest, ANegativeAlignmentIsUnalignedButOfItsOwn) {
    EXPECT_EQ(AllocateAlignedPoolMemory(4096, -3, ZTK_MEM_OS, &pAddr_, nullptr), ZTK_SUCCESS);
    EXPECT_EQ(TakeLog().back(), AlignedResult("0, nSize = 4096, nAlign = -3, enMemType=0"));
    EXPECT_EQ(FreePoolMemory(pAddr_), ZTK_SUCCESS);
    void* pOther = nullptr;
    EXPECT_EQ(AllocatePoolMemory(4096, ZTK_MEM_OS, &pOther, nullptr), ZTK_SUCCESS);
    EXPECT_NE(pOther, pAddr_);
}

TEST_F(LocalExportsTest, AnUnknownMemoryTypeFailsAfterThePoolsRetry) {
    EXPECT_EQ(AllocatePoolMemory(4096, 2, &pAddr_, nullptr), ERR_NO_MEMORY);
    EXPECT_EQ(pAddr_, &nMark_);
    EXPECT_THAT(TakeLog(), ElementsAre(Entry(), Retry(),
                                       Tagged(4, "AllocateMemory", 155,
                                              "Allocate memory failed, size=4096, align=0, plat=2"),
                                       Result("0x80100009, nSize = 4096, enMemType=2")));
}

TEST_F(LocalExportsTest, AFailedAlignedAllocationIsLoggedWithItsStatus) {
    EXPECT_EQ(AllocateAlignedPoolMemory(UINT64_MAX, 64, -1, &pAddr_, &nHandle_), ERR_NO_MEMORY);
    EXPECT_EQ(pAddr_, &nMark_);
    EXPECT_EQ(nHandle_, 7U);
    EXPECT_THAT(
        TakeLog(),
        ElementsAre(AlignedEntry(), Retry(),
                    Tagged(4, "AllocateMemory", 155,
                           "Allocate memory failed, size=18446744073709551615, align=64, plat=-1"),
                    AlignedResult("0x80100009, nSize = 18446744073709551615, nAlign = 64, enMemType=-1")));
}

// ---- release -----------------------------------------------------------------------------------------

TEST_F(LocalExportsTest, ReleasingNullFailsQuietly) {
    EXPECT_EQ(FreePoolMemory(nullptr), ERR_INVALID_PARAM);
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(LocalExportsTest, ReleasingAnUnknownAddressFailsWithThePoolsLine) {
    EXPECT_EQ(FreePoolMemory(&nMark_), ERR_INVALID_PARAM);
    EXPECT_THAT(TakeLog(), ElementsAre(Tagged(4, "ReleaseMemory", 224,
                                              "Memory pointer is not corrected, may be corrupted!")));
}

// ---- the system's memory -------------------------------------------------------------------------------

TEST_F(LocalExportsTest, TheAvailableMemoryIsReadAndLogged) {
    const AvailableMemory memory(2'097'152);
    EXPECT_EQ(GetAvailableOSSize(), 2'097'152U);
    EXPECT_THAT(TakeLog(), ElementsAre(Tagged(0, "GetAvailableOSSize", 12, "GetAvailableOSSize()"),
                                       Tagged(0, "GetAvailableOSSize", 14, "Available os size: 2097152")));
}

TEST_F(LocalExportsTest, TheAvailableMemoryIsReadAfreshEachTime) {
    const AvailableMemory first(1);
    EXPECT_EQ(GetAvailableOSSize(), 1U);
    const AvailableMemory second(UINT64_MAX);
    EXPECT_EQ(GetAvailableOSSize(), UINT64_MAX);
    EXPECT_EQ(TakeLog().back(),
              Tagged(0, "GetAvailableOSSize", 14, "Available os size: 18446744073709551615"));
}

TEST_F(LocalExportsTest, TheAvailableSharedMemoryIsAlwaysZero) {
    EXPECT_EQ(GetAvailableShareOSSize(), 0U);
    EXPECT_THAT(TakeLog(), IsEmpty());
}

// ---- the setting ---------------------------------------------------------------------------------------

TEST(ImageBufferNodeNumTest, IsOneAfterTheLoad) {
    EXPECT_EQ(NodeNumberAfterTheLoad(), 1);
}

struct NodeNumber {
    std::int32_t nGiven;
    std::int32_t nStored;
};

class ImageBufferNodeNumValueTest : public ::testing::TestWithParam<NodeNumber> {};

TEST_P(ImageBufferNodeNumValueTest, IsLoggedAsGivenAndStoredWithinItsLimits) {
    const auto [nGiven, nStored] = GetParam();
    SetImageBufferNodeNum(nGiven);
    EXPECT_THAT(TakeLog(), ElementsAre(Tagged(2, "SetImageBufferNodeNum", 145,
                                              "SetImageBufferNodeNum(nNum=" + std::to_string(nGiven) + ")")));
    EXPECT_EQ(GetImageBufferNodeNum(), nStored);
    EXPECT_THAT(TakeLog(), ElementsAre(Tagged(0, "GetImageBufferNodeNum", 153, "GetImageBufferNodeNum()"),
                                       Tagged(0, "GetImageBufferNodeNum", 157,
                                              "image buffer node number: " + std::to_string(nStored))));
}

INSTANTIATE_TEST_SUITE_P(Numbers, ImageBufferNodeNumValueTest,
                         ::testing::Values(NodeNumber{0, 1}, NodeNumber{-5, 1}, NodeNumber{INT32_MIN, 1},
                                           NodeNumber{1, 1}, NodeNumber{7, 7}, NodeNumber{64, 64},
                                           NodeNumber{65, 64}, NodeNumber{INT32_MAX, 64}));

TEST(ImageBufferNodeNumTest, IsReadAndWrittenByManyThreadsAsAWhole) {
    SetImageBufferNodeNum(3);
    std::vector<std::thread> threads;
    for (const std::int32_t nNum : {3, 60}) {
        threads.emplace_back([nNum] {
            for (int i = 0; i < 200; ++i) {
                SetImageBufferNodeNum(nNum);
                EXPECT_THAT(GetImageBufferNodeNum(), ::testing::AnyOf(3, 60));
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

// ---- fixed answers -------------------------------------------------------------------------------------

TEST(FixedAnswersTest, AreFixedAndNotLogged) {
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(NotifyIncToolCount(), ZTK_SUCCESS);
        EXPECT_EQ(NotifyDecToolCount(), ZTK_SUCCESS);
        EXPECT_EQ(ZTKMemMap(), nullptr);
        EXPECT_EQ(ZTKMemUnmap(), -1);
    }
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST(StatusCodesTest, AreTheAgreedNumbers) {
    EXPECT_EQ(ZTK_SUCCESS, 0U);
    EXPECT_EQ(ERR_NOT_SUPPORTED, 0x80100001U);
    EXPECT_EQ(ERR_BAD_LENGTH, 0x80100005U);
    EXPECT_EQ(ERR_INVALID_PARAM, 0x80100006U);
    EXPECT_EQ(ERR_NO_MEMORY, 0x80100009U);
    EXPECT_EQ(ERR_BAD_HEADER, 0x80100023U);
    EXPECT_EQ(ZTK_MEM_OS, 0);
    EXPECT_EQ(ZTK_MEM_MMZ, 1);
}

}  // namespace
}  // namespace ztk::test
