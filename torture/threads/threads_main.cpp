// Many threads on both pools at once, with the reclaimers and their dumps in a hurry. Every thread writes
// into its blocks and looks, before it gives one back, whether what it wrote is still there.
//
//   ztk_torture_threads [--count OPERATIONS] [--seconds N] [--seed S]
//
// There are 4 to 16 threads: 4 and what remains of the seed when divided by 13.
#include <array>
#include <cstdio>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include "common/ztk_common.h"
#include "tests/support/private_shm.h"
#include "torture/report.h"
#include "torture/run.h"
#include "torture/threads/hasty_world.h"

namespace ztk::torture {
namespace {

constexpr char kPart[] = "threads";
constexpr std::uint64_t kMiB = std::uint64_t{1024} * 1024;
constexpr std::size_t kMostBlocks = 8;
constexpr std::uint64_t kMostMarked = 16;  // words at each end of a block

bool g_bPrivateShm = false;
// Before the pools are built: the shared one sweeps.
constexpr int kBeforeThePools = 101;
[[gnu::constructor(kBeforeThePools)]] void Prepare() {
    g_bPrivateShm = test::EnterPrivateShm();
}

struct Block {
    char* pData;  ///< behind the header
    void* pAddress;
    std::uint64_t nSize;  ///< of the data
    std::uint64_t nMark;
    bool bShared;
};

/// Whether the reclaimers have done all that they do beside the threads. On a busy machine it takes a while.
bool HasSeenBackground() {
    const Background background = CountBackground();
    return background.nChecks > 0 && background.nDumpLines > 0 && background.nFreed > 0;
}

/// One thread's work.
class Worker {
  public:
    Worker(std::uint64_t nSeed, std::uint64_t nNumber)
        : random_(nSeed * 64 + nNumber), nNextMark_(nNumber << 48U) {}

    /// As one of @p nThreads that share the work.
    void Work(const Run& run, std::uint64_t nThreads) {
        constexpr std::uint64_t kBetweenLooks = 256;
        while (nDone_ % kBetweenLooks != 0 || run.GoesOnAfter(nDone_ * nThreads) || !HasSeenBackground()) {
            Step();
            ++nDone_;
        }
        while (!blocks_.empty())
            GiveBack();
    }

    std::uint64_t Done() const { return nDone_; }
    std::uint64_t Wrong() const { return nWrong_; }

  private:
    std::uint64_t Below(std::uint64_t nLimit) { return random_() % nLimit; }

    void Step() {
        const std::uint64_t nChoice = Below(1000);
        if (nChoice < 20) {
            Ask();
        } else if (blocks_.size() < kMostBlocks && (blocks_.empty() || Below(2) == 0)) {
            Get();
        } else {
            GiveBack();
        }
    }

    void Get() {
        Below(8) == 0 ? GetShared() : GetLocal();
        if (!blocks_.empty() && blocks_.back().nMark == 0) Mark(blocks_.back());
    }

    void GetLocal() {
        const bool bHuge = Below(2000) == 0;  // so that the idle total passes its limit
        const std::uint64_t nSize = bHuge ? 40 * kMiB * (1 + Below(4)) : 64 * (1 + Below(64));
        const std::int32_t enMemType = !bHuge && Below(4) == 0 ? ZTK_MEM_MMZ : ZTK_MEM_OS;
        void* pAddress = nullptr;
        std::uint64_t nHandle = 0;
        const std::uint32_t nStatus =
            Below(3) == 0 ? AllocateAlignedPoolMemory(nSize, 64, enMemType, &pAddress, &nHandle)
                          : AllocatePoolMemory(nSize, enMemType, &pAddress, nullptr);
        if (!Expect(nStatus == ZTK_SUCCESS || nStatus == ERR_NO_MEMORY, "allocate") || nStatus != 0) return;
        blocks_.push_back({static_cast<char*>(pAddress), pAddress, nSize, 0, false});
    }

    void GetShared() {
        const std::uint64_t nSize = ZTK_SHARED_HEADER_SIZE + 1024 * (1 + Below(16));
        void* pAddress = nullptr;
        std::array<char, ZTK_SHARED_NAME_SIZE> szName{};
        const std::uint32_t nStatus = AllocatePoolSharedMemory(nSize, &pAddress, szName.data());
        if (!Expect(nStatus == ZTK_SUCCESS || nStatus == ERR_NO_MEMORY, "allocate shared") || nStatus != 0)
            return;
        Expect(std::strncmp(szName.data(), "ZTKTool-", 8) == 0, "name");
        blocks_.push_back({static_cast<char*>(pAddress) + ZTK_SHARED_HEADER_SIZE, pAddress,
                           nSize - ZTK_SHARED_HEADER_SIZE, 0, true});
    }

    void GiveBack() {
        const std::size_t nAt = Below(blocks_.size());
        const Block block = blocks_[nAt];
        blocks_[nAt] = blocks_.back();
        blocks_.pop_back();
        CheckMark(block);
        const std::uint32_t nStatus =
            block.bShared ? FreePoolSharedMemory(block.pAddress) : FreePoolMemory(block.pAddress);
        Expect(nStatus == ZTK_SUCCESS, "free");
    }

    /// What needs no block.
    void Ask() {
        switch (Below(8)) {
            case 0:
                Expect(GetAvailableOSSize() > 0, "available");
                break;
            case 1:
                SetImageBufferNodeNum(static_cast<std::int32_t>(Below(100)));
                break;
            case 2:
                Expect(GetImageBufferNodeNum() >= 1 && GetImageBufferNodeNum() <= 64, "node number");
                break;
            case 3:
                Expect(FreePoolMemory(nullptr) == ERR_INVALID_PARAM &&
                           FreePoolSharedMemory(nullptr) == ERR_INVALID_PARAM,
                       "free of null");
                break;
            case 4:
                Expect(FreePoolMemory(this) == ERR_INVALID_PARAM &&
                           FreePoolSharedMemory(this) == ERR_INVALID_PARAM,
                       "free of a stranger");
                break;
            case 5:
                SetLogLevel(static_cast<int>(Below(4)));
                break;
            default:
                if (Below(500) == 0) Flush();
        }
    }

    void Flush() {
        void* pAddress = nullptr;
        constexpr std::int32_t kNoSuchType = 9;
        Expect(
            AllocatePoolMemory(64, kNoSuchType, &pAddress, nullptr) == ERR_NO_MEMORY && pAddress == nullptr,
            "flush");
    }

    void Mark(Block& block) {
        block.nMark = ++nNextMark_;
        ForEachWord(block, [&block](char* pWord) { std::memcpy(pWord, &block.nMark, sizeof(block.nMark)); });
    }

    void CheckMark(const Block& block) {
        bool bMine = true;
        ForEachWord(block, [&](const char* pWord) {
            if (std::memcmp(pWord, &block.nMark, sizeof(block.nMark)) != 0) bMine = false;
        });
        Expect(bMine, "content");
    }

    template <class Visit>
    static void ForEachWord(const Block& block, const Visit& visit) {
        const std::uint64_t nWords = block.nSize / sizeof(std::uint64_t);
        for (std::uint64_t n = 0; n < nWords; ++n) {
            if (n >= kMostMarked && n + kMostMarked < nWords) n = nWords - kMostMarked;
            visit(block.pData + n * sizeof(std::uint64_t));
        }
    }

    bool Expect(bool bHolds, const char* szWhat) {
        if (bHolds) return true;
        if (++nWrong_ <= 10) std::printf("DIFFERENCE: %s\n", szWhat);
        return false;
    }

    std::mt19937_64 random_;
    std::vector<Block> blocks_;
    std::uint64_t nNextMark_;
    std::uint64_t nDone_ = 0;
    std::uint64_t nWrong_ = 0;
};

int Main(int nCount, char** ppArguments) {
    constexpr std::uint64_t kFew = 100'000;
    constexpr std::uint64_t kFewestThreads = 4;
    constexpr std::uint64_t kMostThreads = 16;
    Run run(kPart, nCount, ppArguments, kFew);
    if (!g_bPrivateShm) return ReportSkipped(kPart, "no private /dev/shm");
    const std::uint64_t nThreads = kFewestThreads + run.Seed() % (kMostThreads - kFewestThreads + 1);
    std::vector<Worker> workers;
    for (std::uint64_t n = 1; n <= nThreads; ++n)
        workers.emplace_back(run.Seed(), n);
    std::vector<std::thread> threads;
    for (Worker& worker : workers)
        threads.emplace_back([&worker, &run, nThreads] { worker.Work(run, nThreads); });
    for (std::thread& thread : threads)
        thread.join();
    for (const Worker& worker : workers) {
        run.CountRun(worker.Done());
        run.AddDifferences(worker.Wrong());
    }
    const Background background = CountBackground();
    std::printf(
        "%zu threads; %lu checks of the idle total, %lu lines of dumps, %lu blocks given back by them\n",
        threads.size(), background.nChecks, background.nDumpLines, background.nFreed);
    return run.Finish();
}

}  // namespace
}  // namespace ztk::torture

int main(int nCount, char** ppArguments) {
    return ztk::torture::Main(nCount, ppArguments);
}
