// Shared memory through the exports: names, headers, reuse, and a second process that opens a block by name.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "tests/library/child.h"
#include "tests/library/library.h"
#include "tests/library/private_place.h"
#include "tests/library/process_state.h"
#include "tests/library/recorded_log.h"

namespace ztk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Block {
    char* pAddr = nullptr;
    char szName[ZTK_SHARED_NAME_SIZE] = "";

    char* Data() const { return pAddr + ZTK_SHARED_HEADER_SIZE; }
};

class SharedExports : public testing::Test {
  protected:
    void SetUp() override {
        SKIP_WITHOUT_PRIVATE_SHM();
        RecordedLog::ClearAfterLoad();
    }

    Block Allocate(uint64_t nSize) {
        Block block;
        void* pAddr = nullptr;
        EXPECT_EQ(lib_.AllocatePoolSharedMemory(nSize, &pAddr, block.szName), ZTK_SUCCESS);
        block.pAddr = static_cast<char*>(pAddr);
        return block;
    }

    void Free(const Block& block) { EXPECT_EQ(lib_.FreePoolSharedMemory(block.pAddr), ZTK_SUCCESS); }

    void ExpectRefused(uint64_t nSize) {
        void* pAddr = this;
        char szName[ZTK_SHARED_NAME_SIZE] = "untouched";
        EXPECT_EQ(lib_.AllocatePoolSharedMemory(nSize, &pAddr, szName), ERR_NO_MEMORY);
        EXPECT_EQ(pAddr, this);
        EXPECT_STREQ(szName, "untouched");
    }

    Library lib_;
};

TEST_F(SharedExports, NullForTheAddressIsRefusedWithoutALine) {
    char szName[ZTK_SHARED_NAME_SIZE] = "untouched";
    EXPECT_EQ(lib_.AllocatePoolSharedMemory(4096, nullptr, szName), ERR_INVALID_PARAM);
    EXPECT_STREQ(szName, "untouched");
    EXPECT_EQ(lib_.FreePoolSharedMemory(nullptr), ERR_INVALID_PARAM);
    EXPECT_THAT(RecordedLog::Lines(), IsEmpty());
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

TEST_F(SharedExports, TheNameIsMarkProcessAndThirtyTwoDigits) {
    const Block block = Allocate(4096);
    const std::string name = block.szName;
    const std::string prefix = "ZTKTool-" + std::to_string(getpid()) + "-";
    ASSERT_EQ(name.substr(0, prefix.size()), prefix);
    const std::string digits = name.substr(prefix.size());
    EXPECT_EQ(digits.size(), 32U);
    EXPECT_EQ(digits.find_first_not_of("0123456789abcdef"), std::string::npos) << name;
    EXPECT_THAT(ShmEntries(), ElementsAre(name));
    EXPECT_STRNE(Allocate(4096).szName, name.c_str()) << "every block has a name of its own";
}

TEST_F(SharedExports, ANewBlockHasItsHeaderAndZeroesBehind) {
    const Block block = Allocate(4096);
    char expected[4096] = {};
    const uint64_t nDataLen = 4096 - ZTK_SHARED_HEADER_SIZE;
    const uint16_t nHeaderLen = ZTK_SHARED_HEADER_SIZE;
    std::memcpy(expected, &nDataLen, sizeof(nDataLen));
    std::memcpy(expected + 14, &nHeaderLen, sizeof(nHeaderLen));
    std::memcpy(expected + 16, block.szName, std::strlen(block.szName));
    EXPECT_EQ(std::memcmp(block.pAddr, expected, sizeof(expected)), 0);
}

TEST_F(SharedExports, AFreedBlockComesBackWithItsNameAndContent) {
    const Block first = Allocate(4096);
    first.Data()[0] = 'x';
    Free(first);
    EXPECT_THAT(ShmEntries(), ElementsAre(first.szName)) << "an idle block keeps its name";
    RecordedLog::Clear();
    const Block second = Allocate(2048);
    EXPECT_EQ(second.pAddr, first.pAddr);
    EXPECT_STREQ(second.szName, first.szName);
    EXPECT_EQ(second.Data()[0], 'x');
    EXPECT_THAT(RecordedLog::Lines(), IsEmpty()) << "a reuse writes no line";
}

TEST_F(SharedExports, BlocksAreReusedWithinTheToleranceOfTheirClass) {
    const Block tenMiB = Allocate(10 * kMiB);
    Free(tenMiB);
    const Block other = Allocate(20 * kMiB);
    EXPECT_STRNE(other.szName, tenMiB.szName) << "another size class";
    EXPECT_STREQ(Allocate(128).szName, tenMiB.szName);
    EXPECT_STRNE(Allocate(128).szName, tenMiB.szName) << "busy again";
}

TEST_F(SharedExports, TheHeaderIsTheSmallestBlock) {
    EXPECT_NE(Allocate(ZTK_SHARED_HEADER_SIZE).pAddr, nullptr);
    ExpectRefused(ZTK_SHARED_HEADER_SIZE - 1);
    ExpectRefused(0);
}

TEST_F(SharedExports, AnIdleBlockServesEvenARequestBelowTheHeader) {
    const Block idle = Allocate(4096);
    Free(idle);
    EXPECT_EQ(Allocate(1).pAddr, idle.pAddr);
    ExpectRefused(1);
}

TEST_F(SharedExports, ARefusedRequestGivesIdleBlocksBackOnItsWay) {
    const Block idle = Allocate(20 * kMiB);
    const Block busy = Allocate(4096);
    Free(idle);
    RecordedLog::Clear();
    ExpectRefused(127);
    EXPECT_THAT(ShmEntries(), ElementsAre(busy.szName));
    EXPECT_THAT(RecordedLog::LinesWith("AllocateMemory@"),
                ElementsAre("4 [AllocateMemory@161][ZtkCommon] Insufficient shared memory, free all unbusy "
                            "block(s) and try again",
                            "4 [AllocateMemory@176][ZtkCommon] Allocate shared memory failed, "
                            "nErrCode=0x80100009, size=127, align=0"));
    EXPECT_EQ(RecordedLog::LinesWith("FreeUnbusyMemory@372").size(), 1U);
}

TEST_F(SharedExports, SizesThatDoNotFitTheMachineAreRefused) {
    ExpectRefused(UINT64_MAX);
    ExpectRefused(UINT64_MAX - 367'001'600);
    ExpectRefused(uint64_t{1} << 63);
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

TEST_F(SharedExports, ANewBlockIsLoggedWithItsAddress) {
    const Block block = Allocate(4096);
    char szLine[128];
    std::snprintf(szLine, sizeof(szLine),
                  "1 [AllocateMemory@180][ZtkCommon] Allocate shared memory addr=%p, size=4096",
                  static_cast<void*>(block.pAddr));
    EXPECT_THAT(RecordedLog::LinesWith("[ZtkCommon]"), ElementsAre(szLine));
}

TEST_F(SharedExports, OnlyAddressesOfThePoolAreTakenBack) {
    const Block block = Allocate(4096);
    RecordedLog::Clear();
    EXPECT_EQ(lib_.FreePoolSharedMemory(block.pAddr + 8), ERR_INVALID_PARAM);
    EXPECT_THAT(
        RecordedLog::Lines(),
        ElementsAre("4 [ReleaseMemory@238][ZtkCommon] Memory pointer is not corrected, may be corrupted!"));
    EXPECT_EQ(lib_.FreePoolMemory(block.pAddr), ERR_INVALID_PARAM) << "not the local pool's";
    Free(block);
    Free(block);  // taken back once more: as it is
}

TEST_F(SharedExports, UnloadRemovesBusyAndIdleBlocksAndTheirMappings) {
    Free(Allocate(4096));
    Allocate(30 * kMiB);
    Allocate(4096);
    EXPECT_EQ(ShmEntries().size(), 2U);
    ASSERT_TRUE(lib_.Unload());
    EXPECT_THAT(ShmEntries(), IsEmpty());
    EXPECT_EQ(CountMappings("ZTKTool-"), 0);
}

TEST_F(SharedExports, ASecondProcessOpensABlockByName) {
    SKIP_WITHOUT_PROGRAMS();
    const Block block = Allocate(1 * kMiB);
    const uint64_t nDataLen = 1 * kMiB - ZTK_SHARED_HEADER_SIZE;
    for (uint64_t i = 0; i < nDataLen; ++i)
        block.Data()[i] = static_cast<char>(i % 251);
    EXPECT_EQ(RunProgram({ZTK_PEER_PATH, block.szName, std::to_string(nDataLen)}), Exited(0));
    EXPECT_EQ(block.Data()[nDataLen - 1], '!') << "what the other process wrote";
}

TEST_F(SharedExports, ABlockGivenBackVanishesForAllButThoseWhoHaveItMapped) {
    const Block block = Allocate(4096);
    block.Data()[0] = 'x';
    const int hObject = shm_open(block.szName, O_RDONLY, 0);
    ASSERT_GE(hObject, 0);
    void* pView = mmap(nullptr, 4096, PROT_READ, MAP_SHARED, hObject, 0);
    close(hObject);
    ASSERT_NE(pView, MAP_FAILED);
    ASSERT_TRUE(lib_.Unload());
    EXPECT_EQ(shm_open(block.szName, O_RDONLY, 0), -1);
    EXPECT_EQ(static_cast<char*>(pView)[ZTK_SHARED_HEADER_SIZE], 'x');
    munmap(pView, 4096);
}

}  // namespace
}  // namespace ztk::test
