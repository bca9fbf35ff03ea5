// Where blocks come from. ioctl() is replaced at link, so that a file can play the heap device.
#include "standins/rockit/block_source.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/dma-heap.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <sstream>

#include "tests/standins/descriptor_count.h"
#include "tests/standins/scratch_directory.h"

namespace {

struct FakeHeap {
    int nError = 0;    // what the next request fails with; 0: it succeeds
    int nPeerFd = -1;  // the test's own descriptor of the buffer that was handed out
    std::size_t nCalls = 0;
    unsigned long nRequest = 0;
    std::string szDevice;
    dma_heap_allocation_data data{};
};
FakeHeap g_heap;

}  // namespace

// The names are the linker's; a call of ioctl() in the objects under test comes here.
extern "C" int __wrap_ioctl(int nFd, unsigned long nRequest, ...) {
    std::va_list args;
    va_start(args, nRequest);
    auto* pData = va_arg(args, dma_heap_allocation_data*);
    va_end(args);
    ++g_heap.nCalls;
    g_heap.nRequest = nRequest;
    g_heap.data = *pData;
    g_heap.szDevice = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(nFd)).string();
    if (g_heap.nError != 0) {
        errno = g_heap.nError;
        return -1;
    }
    const int nBuffer = memfd_create("heap-buffer", MFD_CLOEXEC);
    if (ftruncate(nBuffer, static_cast<off_t>(pData->len)) != 0) return -1;
    g_heap.nPeerFd = dup(nBuffer);
    pData->fd = static_cast<std::uint32_t>(nBuffer);
    return 0;
}

namespace {

using testing::HasSubstr;
using ztk_standin::ChooseCmaHeap;
using ztk_standin::MapBlock;
using ztk_standin::UnmapBlock;

constexpr std::size_t kBytes = std::size_t{3} * 4096;

class BlockSource : public testing::Test {
  protected:
    void SetUp() override { g_heap = FakeHeap{}; }
    void TearDown() override {
        if (g_heap.nPeerFd >= 0) close(g_heap.nPeerFd);
    }
    void AddHeap(const std::string& name) { const std::ofstream file(scratch_.File(name)); }

    ztk_test::ScratchDirectory scratch_;
};

std::string BackingOf(const void* pBlock) {
    std::ostringstream start;
    start << std::hex << std::setw(8) << std::setfill('0') << reinterpret_cast<std::uintptr_t>(pBlock) << '-';
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.rfind(start.str(), 0) == 0) return line;
    }
    return "not mapped";
}

TEST(ChooseCmaHeap, OnlyContiguousHeapsCount) {
    EXPECT_EQ(ChooseCmaHeap({}), "");
    EXPECT_EQ(ChooseCmaHeap({".", "..", "system", "system-uncached", "system-dma32", "reserved2"}), "");
    EXPECT_EQ(ChooseCmaHeap({"system", "reserved"}), "reserved");
    EXPECT_EQ(ChooseCmaHeap({"linux,cma", "system"}), "linux,cma");
    EXPECT_EQ(ChooseCmaHeap({"system", "default_cma_region"}), "default_cma_region");
    EXPECT_EQ(ChooseCmaHeap({"vendor_cma_pool"}), "vendor_cma_pool");
    EXPECT_EQ(ChooseCmaHeap({"cma-uncached"}), "cma-uncached");
}

TEST(ChooseCmaHeap, TheDefaultAreaComesFirstAndUncachedLast) {
    EXPECT_EQ(ChooseCmaHeap({"a-cma", "reserved"}), "reserved");
    EXPECT_EQ(ChooseCmaHeap({"cma-uncached", "cma"}), "cma");
    EXPECT_EQ(ChooseCmaHeap({"a-cma-uncached", "z-cma"}), "z-cma");
}

TEST(ChooseCmaHeap, TheDirectorysOrderDoesNotMatter) {
    EXPECT_EQ(ChooseCmaHeap({"b-cma", "a-cma"}), "a-cma");
    EXPECT_EQ(ChooseCmaHeap({"a-cma", "b-cma"}), "a-cma");
    EXPECT_EQ(ChooseCmaHeap({"reserved", "linux,cma"}), "linux,cma");
}

TEST_F(BlockSource, WithoutAHeapDirectoryItIsAMemfd) {
    const std::ptrdiff_t nBefore = ztk_test::OpenDescriptors();
    auto* pBlock = static_cast<unsigned char*>(MapBlock(scratch_.File("missing"), kBytes));
    ASSERT_NE(pBlock, nullptr);
    EXPECT_THAT(BackingOf(pBlock), HasSubstr("rw-s"));
    EXPECT_THAT(BackingOf(pBlock), HasSubstr("memfd:mmz-standin"));
    EXPECT_EQ(std::count(pBlock, pBlock + kBytes, 0), static_cast<std::ptrdiff_t>(kBytes));
    EXPECT_EQ(ztk_test::OpenDescriptors(), nBefore);
    UnmapBlock(pBlock, kBytes);
    EXPECT_EQ(BackingOf(pBlock), "not mapped");
    EXPECT_EQ(g_heap.nCalls, 0U);
}

TEST_F(BlockSource, AHeapThatIsNotContiguousIsNotUsed) {
    AddHeap("system");
    void* pBlock = MapBlock(scratch_.Path(), kBytes);
    EXPECT_THAT(BackingOf(pBlock), HasSubstr("memfd:mmz-standin"));
    EXPECT_EQ(g_heap.nCalls, 0U);
    UnmapBlock(pBlock, kBytes);
}

TEST_F(BlockSource, ACmaHeapIsAskedForTheBufferThatIsMapped) {
    AddHeap("system");
    AddHeap("linux,cma");
    const std::ptrdiff_t nBefore = ztk_test::OpenDescriptors();
    auto* pBlock = static_cast<unsigned char*>(MapBlock(scratch_.Path(), kBytes));
    ASSERT_NE(pBlock, nullptr);
    EXPECT_EQ(g_heap.nCalls, 1U);
    EXPECT_EQ(g_heap.szDevice, scratch_.File("linux,cma"));
    EXPECT_EQ(g_heap.nRequest, static_cast<unsigned long>(DMA_HEAP_IOCTL_ALLOC));
    EXPECT_EQ(g_heap.data.len, kBytes);
    EXPECT_EQ(g_heap.data.fd_flags, static_cast<std::uint32_t>(O_RDWR | O_CLOEXEC));
    EXPECT_EQ(g_heap.data.heap_flags, 0U);
    EXPECT_EQ(ztk_test::OpenDescriptors(), nBefore + 1) << "the test's own descriptor of the buffer";

    EXPECT_THAT(BackingOf(pBlock), HasSubstr("memfd:heap-buffer"));
    pBlock[kBytes - 1] = 0x5a;
    unsigned char nLast = 0;
    EXPECT_EQ(pread(g_heap.nPeerFd, &nLast, 1, kBytes - 1), 1);
    EXPECT_EQ(nLast, 0x5a);
    UnmapBlock(pBlock, kBytes);
}

TEST_F(BlockSource, AnExhaustedCmaHeapFailsTheAllocation) {
    AddHeap("reserved");
    g_heap.nError = ENOMEM;
    const std::ptrdiff_t nBefore = ztk_test::OpenDescriptors();
    EXPECT_EQ(MapBlock(scratch_.Path(), kBytes), nullptr);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(ztk_test::OpenDescriptors(), nBefore);
}

TEST_F(BlockSource, AHeapThatCannotBeOpenedIsReplacedAndReportedOnce) {
    std::filesystem::create_symlink(scratch_.File("nowhere"), scratch_.File("reserved"));
    testing::internal::CaptureStderr();
    void* pFirst = MapBlock(scratch_.Path(), kBytes);
    void* pSecond = MapBlock(scratch_.Path(), kBytes);
    const std::string szSaid = testing::internal::GetCapturedStderr();
    EXPECT_THAT(BackingOf(pFirst), HasSubstr("memfd:mmz-standin"));
    EXPECT_NE(pSecond, nullptr);
    EXPECT_EQ(szSaid, "librockit stand-in: cannot open " + scratch_.File("reserved") +
                          " (No such file or directory): blocks are not physically contiguous\n");
    UnmapBlock(pFirst, kBytes);
    UnmapBlock(pSecond, kBytes);
}

TEST_F(BlockSource, ALengthThatCannotBeMappedFailsAndLeavesNothing) {
    const std::ptrdiff_t nBefore = ztk_test::OpenDescriptors();
    EXPECT_EQ(MapBlock(scratch_.Path(), std::size_t{1} << 60U), nullptr);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(ztk_test::OpenDescriptors(), nBefore);
}

}  // namespace
