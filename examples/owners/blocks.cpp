// Heap and MMZ blocks that go back to their pool by themselves.
#include <cstdio>
#include <cstring>
#include <system_error>
#include <utility>
#include <vector>
#include <ztk_common.hpp>

namespace {

constexpr std::size_t kFrame = std::size_t{640} * 480 * 3;

ztk::Block Capture() {
    ztk::Block frame(kFrame, ztk::MemoryType::kMmz);
    std::memset(frame.Data(), 0x7f, frame.Size());
    return frame;
}

void Show() {
    std::vector<ztk::Block> queue;
    queue.reserve(3);
    for (int nFrame = 0; nFrame < 3; ++nFrame)
        queue.push_back(Capture());
    std::printf("%zu frames wait\n", queue.size());

    const std::byte* pOldest = queue.front().Data();
    queue.erase(queue.begin());  // the oldest is back in its pool
    const ztk::Block again = Capture();
    std::printf("a frame of %zu bytes%s\n", again.Size(), again.Data() == pOldest ? ", reused" : "");

    const ztk::Block table(4096, ztk::MemoryType::kHeap, 64);
    std::printf("aligned: %s\n", reinterpret_cast<std::uintptr_t>(table.Data()) % 64 == 0 ? "yes" : "no");

    // A request may be refused: an exception, or, where there shall be none, an error code.
    std::error_code error;
    const ztk::Block none = ztk::Block::TryAllocate(std::size_t{1} << 50U, error);
    std::printf("a petabyte: %s (%s)\n", none ? "yes" : "no",
                error == std::errc::not_enough_memory ? "not enough memory" : error.message().c_str());
}

}  // namespace

int main() {
    try {
        Show();
        return 0;
    } catch (const std::system_error& refusal) {
        std::fprintf(stderr, "%s\n", refusal.what());
        return 1;
    }
}
