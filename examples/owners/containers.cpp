// Containers whose memory comes from the pools.
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory_resource>
#include <new>
#include <vector>
#include <ztk_common.hpp>

namespace {

constexpr std::size_t kPixels = std::size_t{640} * 480;

struct alignas(64) CacheLine {
    std::uint8_t bytes[64];
};

}  // namespace

int main() {
    // Large and few: each is a block of the pool.
    std::pmr::vector<std::uint8_t> picture(kPixels, 0, ztk::MmzResource());
    const std::pmr::vector<CacheLine> lines(100, ztk::HeapResource());
    std::printf("%zu bytes of MMZ; lines aligned: %s\n", picture.size(),
                reinterpret_cast<std::uintptr_t>(lines.data()) % alignof(CacheLine) == 0 ? "yes" : "no");

    const std::uint8_t* pBefore = picture.data();
    picture = std::pmr::vector<std::uint8_t>(ztk::MmzResource());
    const std::pmr::vector<std::uint8_t> next(kPixels, 0, ztk::MmzResource());
    std::printf("the next picture has %s memory\n", next.data() == pBefore ? "the same" : "other");

    // Small and many: one block of the pool serves many nodes.
    std::pmr::unsynchronized_pool_resource nodes(ztk::HeapResource());
    std::pmr::map<int, int> histogram(&nodes);
    for (int nValue = 0; nValue < 1000; ++nValue)
        ++histogram[nValue % 16];
    std::printf("%zu bins\n", histogram.size());

    try {
        const std::pmr::vector<std::uint8_t> huge(std::size_t{1} << 40U, ztk::MmzResource());
        std::puts("a terabyte of MMZ");
    } catch (const std::bad_alloc&) {
        std::puts("refused: std::bad_alloc");
    }
    return 0;
}
