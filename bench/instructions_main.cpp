// A fixed number of operations, for counting their instructions: everything of a row that is not to be
// counted happens before and after ztk_bench_measured(). Callgrind counts from outside; on a board the
// processor does.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <vector>

#include "instruction_counter.h"
#include "ztk_common.h"

namespace {

constexpr std::size_t kSize = 1024;
constexpr std::size_t kFresh = 10;  ///< blocks that the row "new" makes

enum class Operation { kPair, kRelease, kNew, kSharedPair, kAvailable, kSetting };

void* Take() {
    void* pBlock = nullptr;
    if (AllocatePoolMemory(kSize, ZTK_MEM_OS, &pBlock, nullptr) != ZTK_SUCCESS) std::exit(1);
    return pBlock;
}

void* TakeShared() {
    void* pBlock = nullptr;
    char szName[ZTK_SHARED_NAME_SIZE];
    if (AllocatePoolSharedMemory(kSize, &pBlock, szName) != ZTK_SUCCESS) std::exit(1);
    return pBlock;
}

}  // namespace

/// What is counted, from its entry to its return. The blocks of a release are given.
extern "C" __attribute__((noinline)) void ztk_bench_measured(Operation enOperation, void** ppBlocks,
                                                             std::size_t nCount) {
    void* pBlock = nullptr;
    char szName[ZTK_SHARED_NAME_SIZE];
    switch (enOperation) {
        case Operation::kPair:
            for (std::size_t i = 0; i < nCount; ++i) {
                AllocatePoolMemory(kSize, ZTK_MEM_OS, &pBlock, nullptr);
                FreePoolMemory(pBlock);
            }
            break;
        case Operation::kRelease:
            for (std::size_t i = 0; i < nCount; ++i)
                FreePoolMemory(ppBlocks[i]);
            break;
        case Operation::kNew:
            for (std::size_t i = 0; i < nCount; ++i)
                AllocatePoolMemory(kSize, ZTK_MEM_OS, &ppBlocks[i], nullptr);
            break;
        case Operation::kSharedPair:
            for (std::size_t i = 0; i < nCount; ++i) {
                AllocatePoolSharedMemory(kSize, &pBlock, szName);
                FreePoolSharedMemory(pBlock);
            }
            break;
        case Operation::kAvailable:
            for (std::size_t i = 0; i < nCount; ++i)
                GetAvailableOSSize();
            break;
        case Operation::kSetting:
            for (std::size_t i = 0; i < nCount; ++i)
                GetImageBufferNodeNum();
            break;
    }
}

namespace {

constexpr std::size_t kPairs = 1000;

/// Measures, and counts if there is a counter. That of none is taken off: the way in and out.
class Measurement {
  public:
    explicit Measurement(const InstructionCounter* pCounter) : counter_(pCounter) {}

    void Run(Operation enOperation, void** ppBlocks, std::size_t nCount) {
        if (counter_ == nullptr) return ztk_bench_measured(enOperation, ppBlocks, nCount);
        const std::uint64_t nNothing = Count(enOperation, ppBlocks, 0);
        counted_ += Count(enOperation, ppBlocks, nCount) - nNothing;
    }

    /// Takes off what reading /proc/meminfo cost: what the two functions that log alike differ by.
    void TakeOffMemInfo(std::size_t nTimes) {
        if (counter_ == nullptr) return;
        counted_ -=
            Count(Operation::kAvailable, nullptr, nTimes) - Count(Operation::kSetting, nullptr, nTimes);
    }

    std::uint64_t Counted() const { return counted_; }

  private:
    std::uint64_t Count(Operation enOperation, void** ppBlocks, std::size_t nCount) const {
        counter_->On();
        ztk_bench_measured(enOperation, ppBlocks, nCount);
        return counter_->Off();
    }

    const InstructionCounter* counter_;
    std::uint64_t counted_ = 0;
};

std::vector<void*> TakeMany(std::size_t nCount) {
    std::vector<void*> blocks(nCount);
    std::generate(blocks.begin(), blocks.end(), Take);
    return blocks;
}

/// One idle block among nLive: the last that is handed out, so that whoever searches has the most to search.
std::size_t Pair(std::size_t nLive, Measurement& measurement) {
    for (void* pBlock : TakeMany(nLive))
        FreePoolMemory(pBlock);
    const std::vector<void*> blocks = TakeMany(nLive);
    FreePoolMemory(blocks.back());
    measurement.Run(Operation::kPair, nullptr, kPairs);
    return kPairs;
}

/// Every live block, in an order that has nothing to do with that of the addresses, but is always the same.
std::size_t Release(std::size_t nLive, Measurement& measurement) {
    const std::vector<void*> blocks = TakeMany(nLive);
    constexpr std::size_t kStep = 1237;  // a prime: every block has its turn
    std::vector<void*> mixed;
    for (std::size_t i = 0; i < nLive; ++i)
        mixed.push_back(blocks[i * kStep % nLive]);
    measurement.Run(Operation::kRelease, mixed.data(), nLive);
    return nLive;
}

std::size_t New(std::size_t nLive, Measurement& measurement) {
    TakeMany(nLive);
    std::vector<void*> fresh(kFresh);
    measurement.Run(Operation::kNew, fresh.data(), kFresh);
    measurement.TakeOffMemInfo(kFresh);
    return kFresh;
}

std::size_t SharedPair(Measurement& measurement) {
    FreePoolSharedMemory(TakeShared());
    measurement.Run(Operation::kSharedPair, nullptr, kPairs);
    return kPairs;
}

/// Returns how many operations were measured; 0: there is no such row.
std::size_t RunRow(const char* szRow, std::size_t nLive, Measurement& measurement) {
    if (nLive > 0 && std::strcmp(szRow, "pair") == 0) return Pair(nLive, measurement);
    if (nLive > 0 && std::strcmp(szRow, "release") == 0) return Release(nLive, measurement);
    if (nLive > 0 && std::strcmp(szRow, "new") == 0) return New(nLive, measurement);
    if (nLive == 1 && std::strcmp(szRow, "shared-pair") == 0) return SharedPair(measurement);
    return 0;
}

}  // namespace

/// Prints how many operations were measured and, if it was to count them, their instructions.
int main(int argc, char** argv) {
    const bool bCount = argc == 4 && std::strcmp(argv[3], "count") == 0;
    std::optional<InstructionCounter> counter;
    if (bCount) counter.emplace();
    Measurement measurement(bCount ? &*counter : nullptr);
    const std::size_t nOperations =
        argc == 3 || bCount ? RunRow(argv[1], std::strtoul(argv[2], nullptr, 10), measurement) : 0;
    if (nOperations == 0) {
        std::fputs("usage: ztk_bench_instructions pair|release|new LIVE [count] | shared-pair 1 [count]\n",
                   stderr);
        return 2;
    }
    std::printf("%zu", nOperations);
    if (bCount) std::printf(" %llu", static_cast<unsigned long long>(measurement.Counted()));
    std::putchar('\n');
    return 0;
}
