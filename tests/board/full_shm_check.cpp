// The board's own /dev/shm, of 16 MiB, full of blocks or of somebody else's files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/statvfs.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "support/private_shm.h"
#include "tests/board/blocks.h"
#include "tests/library/child.h"
#include "tests/library/recorded_log.h"

namespace ztk::test {
namespace {

using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char kForeign[] = "/dev/shm/foreign";

std::uint64_t FreeBytes() {
    struct statvfs status {};
    statvfs("/dev/shm", &status);
    return status.f_bfree * status.f_bsize;
}

void* Take(std::uint64_t nSize) {
    void* pBlock = nullptr;
    return TakeShared(nSize, &pBlock) == ZTK_SUCCESS ? pBlock : nullptr;
}

std::vector<void*> TakeAll(std::uint64_t nSize) {
    std::vector<void*> blocks;
    while (void* pBlock = Take(nSize))
        blocks.push_back(pBlock);
    return blocks;
}

class FullBoard : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(FreeBytes(), 16 * kMiB) << "the board is to be started with a /dev/shm of 16 MiB";
        RecordedLog::ClearAfterLoad();
    }
    void TearDown() override { std::remove(kForeign); }
};

TEST_F(FullBoard, TheLastByteIsHandedOutAndCanBeWritten) {
    const std::vector<void*> blocks = TakeAll(4 * kMiB);
    ASSERT_THAT(blocks, SizeIs(4));
    for (void* pBlock : blocks)
        std::memset(pBlock, 0x5a, 4 * kMiB);
    EXPECT_EQ(FreeBytes(), 0U);
}

TEST_F(FullBoard, ARefusalLeavesNothingBehind) {
    ASSERT_THAT(TakeAll(5 * kMiB), SizeIs(3));
    EXPECT_EQ(FreeBytes(), kMiB);
    EXPECT_THAT(ShmEntries(), SizeIs(3));
    EXPECT_THAT(RecordedLog::LinesWith("[CreateMapping_Linux@87]"), Each(HasSubstr("nErrCode[28]")));
    EXPECT_THAT(RecordedLog::LinesWith("[CreateMapping_Linux@87]"), SizeIs(2)) << "the request and its retry";
}

TEST_F(FullBoard, IdleBlocksMakeRoomForALargerOne) {
    for (void* pBlock : TakeAll(4 * kMiB))
        ASSERT_EQ(FreePoolSharedMemory(pBlock), ZTK_SUCCESS);
    RecordedLog::Clear();
    void* pLarge = Take(16 * kMiB);
    ASSERT_NE(pLarge, nullptr);
    std::memset(pLarge, 0x5a, 16 * kMiB);
    EXPECT_THAT(ShmEntries(), SizeIs(1));
    EXPECT_THAT(RecordedLog::LinesWith("[AllocateMemory@161]"), SizeIs(1)) << "refused at first";
    EXPECT_THAT(RecordedLog::LinesWith("[AllocateMemory@176]"), IsEmpty());
}

TEST_F(FullBoard, WhatAnotherProgramFilledIsNotHandedOut) {
    EXPECT_EQ(RunProgram({"/bin/sh", "-c", std::string("exec cat /dev/zero 2>/dev/null >") + kForeign}),
              Exited(1))
        << "the other program ends for want of room";
    ASSERT_EQ(FreeBytes(), 0U);
    EXPECT_EQ(Take(128), nullptr);
    EXPECT_THAT(ShmEntries(), SizeIs(1));
    ASSERT_EQ(std::remove(kForeign), 0);
    EXPECT_NE(Take(16 * kMiB), nullptr);
}

}  // namespace
}  // namespace ztk::test
