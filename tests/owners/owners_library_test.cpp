// The owners over the built library and the stand-ins.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <memory_resource>
#include <new>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "common/ztk_common.hpp"
#include "standins/rockit/ztk_rockit_standin.h"
#include "support/thread_sanitizer.h"

namespace {

using ztk::Block;
using ztk::MemoryType;
using ztk::SharedBlock;
using ztk::SharedView;

std::uint64_t MmzAllocations() {
    ZtkRockitCounters counters;
    ZtkRockitGetCounters(&counters);
    return counters.nAllocs;
}

TEST(OwnersOverTheLibrary, ABlockThatEndedServesTheNext) {
    const std::byte* pFirst = Block(50'000, MemoryType::kMmz, 64).Data();
    const std::uint64_t nBefore = MmzAllocations();
    for (int nRound = 0; nRound < 100; ++nRound)
        EXPECT_EQ(Block(50'000, MemoryType::kMmz, 64).Data(), pFirst);
    EXPECT_EQ(MmzAllocations(), nBefore);
}

TEST(OwnersOverTheLibrary, RefusalsAreErrors) {
    std::error_code error;
    EXPECT_FALSE(Block::TryAllocate(0, error));
    EXPECT_EQ(error, std::errc::not_enough_memory);
    EXPECT_FALSE(Block::TryAllocate(std::size_t{1} << 50U, error));
    EXPECT_EQ(error, std::errc::not_enough_memory);
    EXPECT_FALSE(SharedBlock::TryAllocate(std::size_t{1} << 50U, error));
    EXPECT_EQ(error, std::errc::not_enough_memory);
}

TEST(OwnersOverTheLibrary, AViewSeesWhatTheOwnerWroteBehindTheHeader) {
    const SharedBlock block(5);
    const std::string text = "frame";
    std::transform(text.begin(), text.end(), block.Payload().begin(),
                   [](char ch) { return static_cast<std::byte>(ch); });
    const SharedView view(block.Name());
    ASSERT_EQ(view.Payload().size(), 5U);
    EXPECT_TRUE(std::equal(view.Payload().begin(), view.Payload().end(), block.Payload().begin()));
    EXPECT_TRUE(view.WritablePayload().empty());
}

TEST(OwnersOverTheLibrary, AWritableViewWritesToTheOwnersBlock) {
    const SharedBlock block(5);
    SharedView view(block.Name(), SharedView::Access::kReadWrite);
    view.WritablePayload()[2] = std::byte{9};
    EXPECT_EQ(block.Payload()[2], std::byte{9});
    view.Close();
    EXPECT_FALSE(view);
    EXPECT_TRUE(view.Payload().empty());
    EXPECT_TRUE(view.WritablePayload().empty());
}

TEST(OwnersOverTheLibrary, AViewMovesAndOutlivesTheBlock) {
    SharedBlock block(5);
    block.Payload()[0] = std::byte{3};
    SharedView first(block.Name());
    SharedView second(std::move(first));
    EXPECT_FALSE(first.IsOpen());  // NOLINT(bugprone-use-after-move): what is left is defined
    block.Reset();
    EXPECT_EQ(second.Payload()[0], std::byte{3});
    second = SharedView();
    EXPECT_FALSE(second);
}

TEST(OwnersOverTheLibrary, AViewOfNothingIsAnError) {
    std::error_code error;
    EXPECT_FALSE(SharedView::TryOpen("no/name", error));
    EXPECT_EQ(error, std::errc::invalid_argument);
    EXPECT_FALSE(SharedView::TryOpen("ZTKTool-of-nobody", error));
    EXPECT_EQ(error, std::errc::no_such_file_or_directory);
    try {
        const SharedView view("ZTKTool-of-nobody");
        FAIL() << "opened";
    } catch (const std::system_error& refusal) {
        EXPECT_NE(std::string(refusal.what()).find("ZTKTool-of-nobody"), std::string::npos);
    }
    const SharedBlock block(100);
    std::fill_n(block.Payload().data() - ZTK_SHARED_HEADER_SIZE, ZTK_SHARED_HEADER_SIZE, std::byte{1});
    EXPECT_FALSE(SharedView::TryOpen(block.Name(), error)) << "its header is gone";
    EXPECT_EQ(error, std::errc::bad_message);
}

TEST(OwnersOverTheLibrary, AForkedChildEndsItsOwnersWithoutHarm) {
    ZTK_NEEDS_THREADS_IN_A_CHILD();
    Block heap(1000);
    Block mmz(1000, MemoryType::kMmz);
    SharedBlock shared(1000);
    shared.Payload()[0] = std::byte{5};
    const pid_t nChild = fork();
    ASSERT_GE(nChild, 0);
    if (nChild == 0) {
        heap.Reset();
        mmz.Reset();
        shared.Reset();
        _exit(0);
    }
    int nStatus = -1;
    ASSERT_EQ(waitpid(nChild, &nStatus, 0), nChild);
    EXPECT_EQ(nStatus, 0);
    EXPECT_EQ(SharedView(shared.Name()).Payload()[0], std::byte{5});
}

TEST(OwnersOverTheLibrary, ContainersLiveInThePools) {
    const std::uint64_t nBefore = MmzAllocations();
    for (int nRound = 0; nRound < 10; ++nRound) {
        const std::pmr::vector<std::uint8_t> frame(300'000, 1, ztk::MmzResource());
        EXPECT_EQ(frame[299'999], 1);
    }
    EXPECT_EQ(MmzAllocations(), nBefore + 1);
    EXPECT_THROW(std::pmr::vector<std::uint8_t>(std::size_t{1} << 40U, ztk::MmzResource()), std::bad_alloc);
    void* pPage = ztk::HeapResource()->allocate(100, 4096);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(pPage) % 4096, 0U);
    ztk::HeapResource()->deallocate(pPage, 100, 4096);
}

}  // namespace
