// Workers are killed at a random point of their work; the next load leaves nothing of them, and the memory
// that they held is there again. The seed is told; BOARD_SEED repeats the steps, not the moment.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "support/private_shm.h"
#include "tests/library/child.h"
#include "tests/library/library.h"

namespace ztk::test {
namespace {

using testing::IsEmpty;
using testing::Not;

constexpr int kRounds = 40;
constexpr int kMostSteps = 400;

/// A process at work; each step it tells by a byte.
class Worker {
  public:
    explicit Worker(std::uint32_t nSeed) {
        if (pipe(ends_) != 0) std::abort();
        nId_ = StartChild([this, nSeed] {
            dup2(ends_[1], STDOUT_FILENO);
            Become({ZTK_WORKER_PATH, std::to_string(nSeed), "bytes"});
            return 127;
        });
        close(ends_[1]);
    }
    ~Worker() {
        if (!bEnded_) Kill();
        close(ends_[0]);
    }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// False if it ended before that.
    bool AwaitSteps(std::size_t nSteps) const {
        char cStep = 0;
        for (std::size_t i = 0; i < nSteps; ++i) {
            if (read(ends_[0], &cStep, 1) != 1) return false;
        }
        return true;
    }

    void Stop() const {
        kill(nId_, SIGSTOP);
        waitpid(nId_, nullptr, WUNTRACED);
    }
    void Continue() const { kill(nId_, SIGCONT); }

    /// Where it happens to be.
    void Kill() {
        kill(nId_, SIGKILL);
        EXPECT_EQ(AwaitEnd(nId_), Killed(SIGKILL));
        bEnded_ = true;
    }

    std::vector<std::string> Objects() const {
        const std::string prefix = "ZTKTool-" + std::to_string(nId_) + "-";
        std::vector<std::string> own;
        for (const std::string& name : ShmEntries()) {
            if (name.rfind(prefix, 0) == 0) own.push_back(name);
        }
        return own;
    }

  private:
    int ends_[2] = {-1, -1};
    pid_t nId_ = 0;
    bool bEnded_ = false;
};

class KilledWorker : public testing::Test {
  protected:
    KilledWorker() {
        const char* szSeed = std::getenv("BOARD_SEED");
        const auto nSeed = szSeed != nullptr ? static_cast<std::uint32_t>(std::strtoul(szSeed, nullptr, 10))
                                             : std::random_device()();
        std::printf("BOARD_SEED=%u\n", nSeed);
        random_.seed(nSeed);
    }

    void SetUp() override { ASSERT_THAT(ShmEntries(), IsEmpty()); }

    std::mt19937 random_;
};

std::size_t CountMmzBlocks() {
    const Library library;
    std::size_t nBlocks = 0;
    void* pBlock = nullptr;
    while (library.AllocatePoolMemory(kMiB, ZTK_MEM_MMZ, &pBlock, nullptr) == ZTK_SUCCESS)
        ++nBlocks;
    return nBlocks;
}

TEST_F(KilledWorker, NothingOfItOutlivesTheNextLoad) {
    const std::size_t nMmz = CountMmzBlocks();
    std::size_t nLeft = 0;
    for (int i = 0; i < kRounds; ++i) {
        Worker worker(static_cast<std::uint32_t>(random_()));
        ASSERT_TRUE(worker.AwaitSteps(random_() % kMostSteps)) << "it ended by itself";
        worker.Kill();
        nLeft += worker.Objects().size();
        const Library library;
        ASSERT_THAT(ShmEntries(), IsEmpty()) << "after round " << i;
    }
    EXPECT_GT(nLeft, 0U) << "no worker left anything, so nothing was tested";
    std::printf("%d workers killed left %zu objects\n", kRounds, nLeft);
    EXPECT_EQ(CountMmzBlocks(), nMmz);
}

TEST_F(KilledWorker, ANeighbourThatLivesKeepsAllThatItHas) {
    Worker neighbour(static_cast<std::uint32_t>(random_()));
    for (int i = 0; i < 10; ++i) {
        Worker worker(static_cast<std::uint32_t>(random_()));
        ASSERT_TRUE(worker.AwaitSteps(random_() % kMostSteps));
        ASSERT_TRUE(neighbour.AwaitSteps(kMostSteps));
        worker.Kill();
        neighbour.Stop();
        const std::vector<std::string> before = neighbour.Objects();
        ASSERT_THAT(before, Not(IsEmpty())) << "nothing that a load could take from it";
        const Library library;
        EXPECT_EQ(ShmEntries(), before) << "in round " << i;
        neighbour.Continue();
    }
    ASSERT_TRUE(neighbour.AwaitSteps(kMostSteps)) << "it goes on";
}

}  // namespace
}  // namespace ztk::test
