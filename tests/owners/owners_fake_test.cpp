// The owners, one call after the other: what they ask the exports for, and that nothing is freed twice or
// never.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory_resource>
#include <new>
#include <string>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

#include "common/ztk_common.hpp"
#include "tests/owners/fake_exports.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using ztk::Block;
using ztk::MemoryType;
using ztk::SharedBlock;
using ztk::test::FailNext;
using ztk::test::LiveBlocks;
using ztk::test::TakeCalls;

/// The number of the block made last, from the calls that freed it.
int NumberIn(const std::string& freed) {
    return std::stoi(freed.substr(freed.rfind(' ') + 1));
}

class Owners : public testing::Test {
  protected:
    void SetUp() override { TakeCalls(); }
    void TearDown() override { EXPECT_EQ(LiveBlocks(), 0); }
};

static_assert(!std::is_copy_constructible_v<Block> && !std::is_copy_assignable_v<Block>);
static_assert(!std::is_copy_constructible_v<SharedBlock> && !std::is_copy_assignable_v<SharedBlock>);
static_assert(std::is_nothrow_move_constructible_v<Block> && std::is_nothrow_move_assignable_v<Block>);
static_assert(std::is_nothrow_move_constructible_v<SharedBlock>);
static_assert(std::is_nothrow_move_assignable_v<SharedBlock>);

TEST_F(Owners, ABlockAsksForWhatItIsAndGoesBackAtItsEnd) {
    { const Block block(100); }
    { const Block block(200, MemoryType::kMmz); }
    { const Block block(300, MemoryType::kHeap, 64); }
    const std::vector<std::string> calls = TakeCalls();
    ASSERT_EQ(calls.size(), 6U);
    EXPECT_EQ(calls[0], "heap 100");
    EXPECT_EQ(calls[2], "mmz 200");
    EXPECT_EQ(calls[4], "heap 300 align 64");
    EXPECT_EQ(NumberIn(calls[3]), NumberIn(calls[1]) + 1);
}

TEST_F(Owners, ABlockKnowsItsSizeAndHandle) {
    const Block heap(100);
    const Block mmz(200, MemoryType::kMmz);
    const Block aligned(300, MemoryType::kMmz, 4096);
    EXPECT_EQ(heap.Handle(), 0U);
    EXPECT_EQ(mmz.Handle(), 77U);
    EXPECT_EQ(aligned.Handle(), 78U);
    EXPECT_EQ(mmz.Size(), 200U);
    EXPECT_EQ(mmz.Bytes().size(), 200U);
    EXPECT_EQ(mmz.Bytes().data(), mmz.Data());
    EXPECT_TRUE(heap);
}

TEST_F(Owners, NoBlockIsNothing) {
    {
        Block none;
        EXPECT_FALSE(none);
        EXPECT_EQ(none.Data(), nullptr);
        EXPECT_TRUE(none.Bytes().empty());
        none.Reset();
        EXPECT_EQ(none.Release(), nullptr);
    }
    EXPECT_THAT(TakeCalls(), IsEmpty());
}

TEST_F(Owners, ARefusalIsAnExceptionOrAnErrorCode) {
    FailNext(ERR_NO_MEMORY);
    try {
        const Block block(123);
        FAIL() << "no exception";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), ztk::Errc::kNoMemory);
        EXPECT_THAT(error.what(), testing::HasSubstr("123 bytes"));
    }
    FailNext(ERR_INVALID_PARAM);
    std::error_code error;
    EXPECT_FALSE(Block::TryAllocate(1, error));
    EXPECT_EQ(error, ztk::Errc::kInvalidParam);
    EXPECT_TRUE(Block::TryAllocate(1, error));
    EXPECT_FALSE(error);
}

TEST_F(Owners, MovingHandsTheBlockOverAndFreesWhatWasThere) {
    Block first(100);
    Block second(200);
    TakeCalls();
    const std::byte* pFirst = first.Data();
    second = std::move(first);
    const std::vector<std::string> calls = TakeCalls();
    EXPECT_EQ(calls.size(), 1U) << "the second block was freed, and no more";
    EXPECT_EQ(second.Data(), pFirst);
    EXPECT_EQ(second.Size(), 100U);
    EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move): what is left is defined
    const Block third(std::move(second));
    EXPECT_EQ(third.Data(), pFirst);
    EXPECT_THAT(TakeCalls(), IsEmpty());
}

TEST_F(Owners, ResetFreesOnceAndReleaseNever) {
    Block block(100);
    block.Reset();
    block.Reset();
    EXPECT_EQ(TakeCalls().size(), 2U);
    Block released(100);
    void* pBlock = released.Release();
    released.Reset();
    EXPECT_THAT(TakeCalls(), ElementsAre("heap 100"));
    EXPECT_EQ(FreePoolMemory(pBlock), ZTK_SUCCESS);
}

TEST_F(Owners, AnAlignedMmzLengthThatWouldWrapIsRefusedUnasked) {
    constexpr std::uint64_t kMost = std::numeric_limits<std::uint32_t>::max();
    std::error_code error;
    EXPECT_FALSE(Block::TryAllocate(kMost - 71, error, MemoryType::kMmz, 64));
    EXPECT_EQ(error, std::errc::not_enough_memory);
    EXPECT_THAT(TakeCalls(), IsEmpty());
    EXPECT_TRUE(Block::TryAllocate(kMost - 72, error, MemoryType::kMmz, 64));
    EXPECT_TRUE(Block::TryAllocate(kMost, error, MemoryType::kMmz)) << "unaligned, nothing is added";
    EXPECT_TRUE(Block::TryAllocate(kMost, error, MemoryType::kHeap, 64)) << "heap lengths have 64 bits";
}

TEST_F(Owners, ASharedBlockAsksForItsHeaderAndKeepsOutOfIt) {
    {
        const SharedBlock block(100);
        EXPECT_EQ(block.Payload().size(), 100U);
        EXPECT_EQ(std::string(block.Name()).substr(0, 5), "name-");
        block.Payload()[99] = std::byte{1};
        EXPECT_THAT(TakeCalls(), ElementsAre("shared 228"));
    }
    EXPECT_EQ(TakeCalls().size(), 1U);
}

TEST_F(Owners, ASharedBlockMovesWithItsName) {
    SharedBlock first(100);
    const std::string name = first.Name();
    SharedBlock second(std::move(first));
    EXPECT_EQ(second.Name(), name);
    EXPECT_STREQ(first.Name(), "");  // NOLINT(bugprone-use-after-move): what is left is defined
    EXPECT_TRUE(first.Payload().empty());
    second = SharedBlock(50);
    EXPECT_NE(second.Name(), name);
    EXPECT_EQ(LiveBlocks(), 1);
}

TEST_F(Owners, ASharedBlockIsRefused) {
    FailNext(ERR_NO_MEMORY);
    EXPECT_THROW(const SharedBlock block(100), std::system_error);
    std::error_code error;
    EXPECT_FALSE(SharedBlock::TryAllocate(std::numeric_limits<std::size_t>::max() - 127, error));
    EXPECT_EQ(error, ztk::Errc::kNoMemory);
    EXPECT_THAT(TakeCalls(), ElementsAre("shared 228")) << "what no header fits before is not asked for";
}

TEST_F(Owners, ContainersGetBlocksOfTheAlignmentTheyNeed) {
    std::pmr::memory_resource* pHeap = ztk::HeapResource();
    std::pmr::memory_resource* pMmz = ztk::MmzResource();
    for (const std::size_t nAlign : {std::size_t{1}, std::size_t{8}, std::size_t{16}})
        pHeap->deallocate(pHeap->allocate(100, nAlign), 100, nAlign);
    pHeap->deallocate(pHeap->allocate(100, 32), 100, 32);
    pMmz->deallocate(pMmz->allocate(0, 4096), 0, 4096);
    std::vector<std::string> asked;
    for (const std::string& call : TakeCalls()) {
        if (call.compare(0, 4, "free") != 0) asked.push_back(call);
    }
    EXPECT_THAT(asked,
                ElementsAre("heap 100", "heap 100", "heap 100", "heap 100 align 32", "mmz 1 align 4096"));
}

TEST_F(Owners, WhatThePoolRefusesIsBadAlloc) {
    FailNext(ERR_NO_MEMORY);
    EXPECT_THROW(static_cast<void>(ztk::HeapResource()->allocate(100)), std::bad_alloc);
    EXPECT_THROW(static_cast<void>(ztk::HeapResource()->allocate(100, std::size_t{1} << 31U)),
                 std::bad_alloc);
    EXPECT_THAT(TakeCalls(), ElementsAre("heap 100")) << "an alignment beyond 31 bits is not asked for";
}

TEST_F(Owners, ResourcesOfOneKindFreeForEachOther) {
    const ztk::PoolResource heap(MemoryType::kHeap);
    EXPECT_TRUE(heap.is_equal(*ztk::HeapResource()));
    EXPECT_FALSE(heap.is_equal(*ztk::MmzResource()));
    EXPECT_FALSE(heap.is_equal(*std::pmr::new_delete_resource()));
    EXPECT_EQ(ztk::HeapResource(), ztk::HeapResource());
}

struct Meaning {
    std::uint32_t nStatus;
    std::errc enCondition;
};

TEST_F(Owners, EveryStatusIsAnErrorWithAMeaningAndAText) {
    EXPECT_FALSE(ztk::MakeError(ZTK_SUCCESS));
    for (const Meaning& meaning : {Meaning{ERR_NOT_SUPPORTED, std::errc::not_supported},
                                   Meaning{ERR_BAD_LENGTH, std::errc::invalid_argument},
                                   Meaning{ERR_INVALID_PARAM, std::errc::invalid_argument},
                                   Meaning{ERR_NO_MEMORY, std::errc::not_enough_memory},
                                   Meaning{ERR_BAD_HEADER, std::errc::bad_message}}) {
        const std::error_code error = ztk::MakeError(meaning.nStatus);
        EXPECT_EQ(error, meaning.enCondition) << std::hex << meaning.nStatus;
        EXPECT_EQ(static_cast<std::uint32_t>(error.value()), meaning.nStatus);
        EXPECT_STREQ(error.category().name(), "ztk");
        EXPECT_NE(error.message(), "unknown status");
    }
    EXPECT_EQ(ztk::MakeError(5).message(), "unknown status");
}

TEST_F(Owners, EveryStatusOfAViewIsAnErrorWithAMeaning) {
    EXPECT_EQ(ztk::MakeViewError(ZTK_VIEW_SYSTEM_ERROR, EMFILE), std::errc::too_many_files_open);
    EXPECT_EQ(ztk::MakeViewError(ZTK_VIEW_VANISHED, ENOENT), std::errc::no_such_file_or_directory);
    EXPECT_EQ(ztk::MakeViewError(ZTK_VIEW_NOT_PERMITTED, EACCES), std::errc::permission_denied);
    EXPECT_EQ(ztk::MakeViewError(ZTK_VIEW_BAD_NAME, 0), std::errc::invalid_argument);
    EXPECT_EQ(ztk::MakeViewError(ZTK_VIEW_BAD_HEADER, 0), std::errc::bad_message);
    EXPECT_EQ(ztk::MakeViewError(ZTK_VIEW_MMZ_DESCRIBED, 0), std::errc::not_supported);
    EXPECT_EQ(ztk::MakeViewError(ZTK_VIEW_BAD_HEADER, 0).message(), ZtkViewStatusText(ZTK_VIEW_BAD_HEADER));
}

}  // namespace
