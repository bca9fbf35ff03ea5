// The entry points for named shared memory.
#include "common/shared_exports.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "common/singletons.h"
#include "common/ztk_common.h"
#include "log_texts.h"
#include "support/available_memory.h"
#include "support/private_shm.h"
#include "support/system_calls.h"

namespace ztk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class SharedExportsTest : public ::testing::Test {
  protected:
    ~SharedExportsTest() override {
        SystemCalls::Reset();
        GetSharedMemoryPool()->FreeAllMemory();
    }

    static std::string Allocated(const void* pAddr, std::uint64_t nSize) {
        return Tagged(1, "AllocateMemory", 180,
                      "Allocate shared memory addr=" + Hex(reinterpret_cast<std::uintptr_t>(pAddr)) +
                          ", size=" + std::to_string(nSize));
    }

    void ExpectOutputsUntouched() const {
        EXPECT_EQ(pAddr_, &nMark_);
        EXPECT_STREQ(szName_, "untouched");
    }

    AvailableMemory memory_{std::uint64_t{1} << 40U};
    int nMark_ = 0;
    void* pAddr_ = &nMark_;
    char szName_[ZTK_SHARED_NAME_SIZE] = "untouched";
};

TEST_F(SharedExportsTest, AnAllocationGivesAnAddressAndAName) {
    EXPECT_EQ(AllocatePoolSharedMemory(4096, &pAddr_, szName_), ZTK_SUCCESS);
    EXPECT_THAT(szName_, StartsWith("ZTKTool-" + std::to_string(getpid()) + "-"));
    EXPECT_THAT(ShmEntries(), ElementsAre(szName_));
    EXPECT_THAT(TakeLog(), ElementsAre(Allocated(pAddr_, 4096))) << "the pool's line only";
}

TEST_F(SharedExportsTest, AReleasedBlockComesBackWithItsName) {
    EXPECT_EQ(AllocatePoolSharedMemory(4096, &pAddr_, szName_), ZTK_SUCCESS);
    ClearLog();
    EXPECT_EQ(FreePoolSharedMemory(pAddr_), ZTK_SUCCESS);
    void* pAgain = nullptr;
    char szAgain[ZTK_SHARED_NAME_SIZE] = "";
    EXPECT_EQ(AllocatePoolSharedMemory(4096, &pAgain, szAgain), ZTK_SUCCESS);
    EXPECT_EQ(pAgain, pAddr_);
    EXPECT_STREQ(szAgain, szName_);
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(SharedExportsTest, WithoutAPlaceForTheAddressNothingHappens) {
    EXPECT_EQ(AllocatePoolSharedMemory(4096, nullptr, szName_), ERR_INVALID_PARAM);
    EXPECT_EQ(AllocateAlignedPoolSharedMemory(4096, 64, nullptr, szName_), ERR_INVALID_PARAM);
    EXPECT_THAT(TakeLog(), IsEmpty());
    EXPECT_THAT(ShmEntries(), IsEmpty());
    ExpectOutputsUntouched();
}

TEST_F(SharedExportsTest, AFailureLeavesTheOutputsAsTheyWere) {
    EXPECT_EQ(AllocatePoolSharedMemory(127, &pAddr_, szName_), ERR_NO_MEMORY);
    ExpectOutputsUntouched();
    SystemCalls::Fail("shm_open", 0, EMFILE);
    EXPECT_EQ(AllocatePoolSharedMemory(4096, &pAddr_, szName_), ERR_NO_MEMORY);
    EXPECT_EQ(AllocateAlignedPoolSharedMemory(4096, 8, &pAddr_, szName_), ERR_NO_MEMORY);
    ExpectOutputsUntouched();
    EXPECT_EQ(TakeLog().back(), Tagged(4, "AllocateMemory", 176,
                                       "Allocate shared memory failed, nErrCode=0x80100009, size=4096, "
                                       "align=8"));
}

TEST_F(SharedExportsTest, AnAlignedBlockIsAMultipleOfItsAlignment) {
    EXPECT_EQ(AllocateAlignedPoolSharedMemory(16'384, 4096, &pAddr_, szName_), ZTK_SUCCESS);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(pAddr_) % 4096, 0U);
    EXPECT_THAT(TakeLog(), ElementsAre(Allocated(pAddr_, 16'384)));
    EXPECT_EQ(FreePoolSharedMemory(pAddr_), ZTK_SUCCESS);
}

TEST_F(SharedExportsTest, AnAlignmentOfZeroIsThatOfUnalignedRequests) {
    EXPECT_EQ(AllocatePoolSharedMemory(4096, &pAddr_, szName_), ZTK_SUCCESS);
    EXPECT_EQ(FreePoolSharedMemory(pAddr_), ZTK_SUCCESS);
    void* pAgain = nullptr;
    EXPECT_EQ(AllocateAlignedPoolSharedMemory(4096, 64, &pAgain, szName_), ZTK_SUCCESS);
    EXPECT_NE(pAgain, pAddr_);
    EXPECT_EQ(AllocateAlignedPoolSharedMemory(4096, 0, &pAgain, szName_), ZTK_SUCCESS);
    EXPECT_EQ(pAgain, pAddr_);
}

TEST_F(SharedExportsTest, ReleasingNullFailsQuietly) {
    EXPECT_EQ(FreePoolSharedMemory(nullptr), ERR_INVALID_PARAM);
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(SharedExportsTest, ReleasingAnUnknownAddressFailsWithThePoolsLine) {
    EXPECT_EQ(FreePoolSharedMemory(&nMark_), ERR_INVALID_PARAM);
    EXPECT_THAT(TakeLog(), ElementsAre(Tagged(4, "ReleaseMemory", 238,
                                              "Memory pointer is not corrected, may be corrupted!")));
}

TEST_F(SharedExportsTest, TheTwoPoolsDoNotKnowEachOthersBlocks) {
    EXPECT_EQ(AllocatePoolSharedMemory(4096, &pAddr_, szName_), ZTK_SUCCESS);
    EXPECT_EQ(FreePoolMemory(pAddr_), ERR_INVALID_PARAM);
    EXPECT_EQ(FreePoolSharedMemory(pAddr_), ZTK_SUCCESS);
}

}  // namespace
}  // namespace ztk::test
