// A /dev/shm of 4 MiB: requests that it cannot hold fail, and nobody dies of a page that is not there.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/statvfs.h>

#include <cstring>
#include <fstream>
#include <string>

#include "tests/library/library.h"
#include "tests/library/private_place.h"
#include "tests/library/process_state.h"
#include "tests/library/recorded_log.h"

namespace ztk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

uint64_t FreeBytes() {
    struct statvfs status {};
    statvfs("/dev/shm", &status);
    return status.f_bfree * status.f_bsize;
}

class FullShm : public testing::Test {
  protected:
    void SetUp() override {
        SKIP_WITHOUT_PRIVATE_SHM();
        ASSERT_EQ(FreeBytes(), ZTK_SHM_BYTES);
        RecordedLog::ClearAfterLoad();
    }

    uint32_t Allocate(uint64_t nSize, void** ppAddr) {
        char szName[ZTK_SHARED_NAME_SIZE];
        return lib_.AllocatePoolSharedMemory(nSize, ppAddr, szName);
    }

    void* MustAllocate(uint64_t nSize) {
        void* pAddr = nullptr;
        EXPECT_EQ(Allocate(nSize, &pAddr), ZTK_SUCCESS);
        return pAddr;
    }

    void ExpectRefused(uint64_t nSize) {
        void* pAddr = nullptr;
        EXPECT_EQ(Allocate(nSize, &pAddr), ERR_NO_MEMORY) << nSize;
        EXPECT_EQ(pAddr, nullptr);
    }

    const Library lib_;
};

TEST_F(FullShm, ARequestThatCannotBeHeldFailsAndLeavesNothing) {
    const int nDescriptors = CountDescriptors();
    ExpectRefused(4 * kMiB + 1);
    ExpectRefused(100 * kMiB);
    EXPECT_THAT(ShmEntries(), IsEmpty());
    EXPECT_EQ(FreeBytes(), 4 * kMiB);
    EXPECT_EQ(CountDescriptors(), nDescriptors);
    EXPECT_EQ(CountMappings("ZTKTool-"), 0);
}

TEST_F(FullShm, TheRefusalIsLoggedAsAFailedHeaderForBothTries) {
    ExpectRefused(5 * kMiB);
    EXPECT_THAT(
        RecordedLog::LinesWith("[CreateMapping_Linux@87]"),
        testing::Each(
            "4 [CreateMapping_Linux@87]CreateMapping_Linux mmap pOSMemoryHead[(nil)] nErrCode[28]\r\n"));
    EXPECT_THAT(RecordedLog::LinesWith("[CreateMapping_Linux@87]"), SizeIs(2));
    EXPECT_THAT(RecordedLog::LinesWith("[AllocateMemory@"),
                ElementsAre("4 [AllocateMemory@161][ZtkCommon] Insufficient shared memory, free all unbusy "
                            "block(s) and try again",
                            "4 [AllocateMemory@176][ZtkCommon] Allocate shared memory failed, "
                            "nErrCode=0x80100009, size=5242880, align=0"));
}

TEST_F(FullShm, EveryByteOfAGrantedBlockIsThere) {
    std::memset(MustAllocate(4 * kMiB), 0x5a, 4 * kMiB);
    EXPECT_EQ(FreeBytes(), 0U);
    ExpectRefused(128);
}

TEST_F(FullShm, IdleBlocksAreGivenUpSoThatTheRetrySucceeds) {
    void* pIdle = MustAllocate(2 * kMiB);
    ASSERT_EQ(lib_.FreePoolSharedMemory(pIdle), ZTK_SUCCESS);
    void* pAddr = MustAllocate(3 * kMiB);
    std::memset(pAddr, 0x5a, 3 * kMiB);
    EXPECT_THAT(ShmEntries(), SizeIs(1));
    EXPECT_THAT(RecordedLog::LinesWith("[AllocateMemory@161]"), SizeIs(1));
    EXPECT_THAT(RecordedLog::LinesWith("[AllocateMemory@176]"), IsEmpty());
}

TEST_F(FullShm, BusyBlocksKeepTheirMemory) {
    void* pBusy = MustAllocate(3 * kMiB);
    std::memset(static_cast<char*>(pBusy) + ZTK_SHARED_HEADER_SIZE, 'b', 3 * kMiB - ZTK_SHARED_HEADER_SIZE);
    ExpectRefused(2 * kMiB);
    EXPECT_EQ(static_cast<char*>(pBusy)[3 * kMiB - 1], 'b');
    EXPECT_THAT(ShmEntries(), SizeIs(1));
    EXPECT_NE(MustAllocate(1 * kMiB), nullptr) << "as much as is left";
}

TEST_F(FullShm, WhatOthersHoldIsNotHandedOut) {
    std::ofstream("/dev/shm/other") << std::string(4 * kMiB, 'x');
    ASSERT_EQ(FreeBytes(), 0U);
    ExpectRefused(128);
    EXPECT_THAT(ShmEntries(), ElementsAre("other"));
    ASSERT_EQ(std::remove("/dev/shm/other"), 0);
    EXPECT_NE(MustAllocate(128), nullptr);
}

}  // namespace
}  // namespace ztk::test
