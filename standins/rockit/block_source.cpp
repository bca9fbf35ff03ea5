#include "standins/rockit/block_source.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/dma-heap.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

namespace ztk_standin {
namespace {

class Descriptor {
  public:
    explicit Descriptor(int nFd) : fd_(nFd) {}
    Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor& operator=(Descriptor&&) = delete;
    ~Descriptor() {
        const int nError = errno;
        if (fd_ >= 0) close(fd_);
        errno = nError;
    }

    [[nodiscard]] bool IsOpen() const { return fd_ >= 0; }
    [[nodiscard]] int Get() const { return fd_; }

  private:
    int fd_;
};

enum HeapRank { kDefaultArea, kNamedArea, kUncachedArea, kNotContiguous };

// Kernels name their default area "reserved", "linux,cma" or "default_cma_region"; vendors add "cma" and
// "cma-uncached".
HeapRank RankOf(const std::string& name) {
    if (name == "reserved" || name == "linux,cma" || name == "default_cma_region") return kDefaultArea;
    if (name.find("cma") == std::string::npos) return kNotContiguous;
    return name.find("uncached") == std::string::npos ? kNamedArea : kUncachedArea;
}

std::vector<std::string> NamesIn(const std::string& szDirectory) {
    std::vector<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir(szDirectory.c_str()), closedir);
    if (directory == nullptr) return names;
    while (const dirent* pEntry = readdir(directory.get())) {
        names.emplace_back(pEntry->d_name);
    }
    return names;
}

// Said once: from here on the desk's blocks are not what the board's are.
void TellNotContiguous(const std::string& szHeap) {
    static std::atomic<bool> bTold{false};
    const int nError = errno;
    if (bTold.exchange(true)) return;
    dprintf(STDERR_FILENO, "librockit stand-in: cannot open %s (%s): blocks are not physically contiguous\n",
            szHeap.c_str(), std::strerror(nError));
}

Descriptor BufferOfHeap(const Descriptor& heap, std::size_t nBytes) {
    dma_heap_allocation_data request{};
    request.len = nBytes;
    request.fd_flags = O_RDWR | O_CLOEXEC;
    if (ioctl(heap.Get(), DMA_HEAP_IOCTL_ALLOC, &request) != 0) return Descriptor(-1);
    return Descriptor(static_cast<int>(request.fd));
}

Descriptor BufferOfMemfd(std::size_t nBytes) {
    Descriptor buffer(memfd_create("mmz-standin", MFD_CLOEXEC));
    if (buffer.IsOpen() && ftruncate(buffer.Get(), static_cast<off_t>(nBytes)) != 0) return Descriptor(-1);
    return buffer;
}

Descriptor MakeBuffer(const std::string& szHeapDirectory, std::size_t nBytes) {
    const std::string name = ChooseCmaHeap(NamesIn(szHeapDirectory));
    if (name.empty()) return BufferOfMemfd(nBytes);
    const std::string path = szHeapDirectory + "/" + name;
    const Descriptor heap(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (heap.IsOpen()) return BufferOfHeap(heap, nBytes);
    TellNotContiguous(path);
    return BufferOfMemfd(nBytes);
}

}  // namespace

std::string ChooseCmaHeap(const std::vector<std::string>& names) {
    std::pair<HeapRank, std::string> best(kNotContiguous, "");  // before any heap of that rank
    for (const std::string& name : names) {
        best = std::min(best, std::pair<HeapRank, std::string>(RankOf(name), name));
    }
    return best.second;
}

void* MapBlock(const std::string& szHeapDirectory, std::size_t nBytes) {
    const Descriptor buffer = MakeBuffer(szHeapDirectory, nBytes);
    if (!buffer.IsOpen()) return nullptr;
    void* pBlock = mmap(nullptr, nBytes, PROT_READ | PROT_WRITE, MAP_SHARED, buffer.Get(), 0);
    return pBlock == MAP_FAILED ? nullptr : pBlock;
}

void UnmapBlock(void* pBlock, std::size_t nBytes) {
    munmap(pBlock, nBytes);
}

}  // namespace ztk_standin
