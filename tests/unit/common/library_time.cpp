#include "library_time.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>

#include "common/singletons.h"

namespace ztk::test {
namespace {

int g_nChildStatus = -1;

/// Runs when the pools are gone.
void EndChild() {
    if (g_nChildStatus >= 0) _exit(g_nChildStatus);
}

// After the private /dev/shm, before the pools.
constexpr int kBeforeThePools = 102;
[[gnu::constructor(kBeforeThePools)]] void StopTheClock() {
    LibraryTime();
    std::atexit(EndChild);
}

std::vector<LogLine> g_linesOfTheLoad;
std::int32_t g_nNodeNumber = 0;

class AfterTheLoad : public ::testing::Environment {
    void SetUp() override {
        LibraryTime().AwaitSleepers(kLibrarysReclaimers);
        g_linesOfTheLoad = FakeLog::Lines();
        g_nNodeNumber = GetPoolSettings()->GetImageBufferNodeNum();
    }
};

[[maybe_unused]] const auto* g_pAfterTheLoad = ::testing::AddGlobalTestEnvironment(new AfterTheLoad);

}  // namespace

VirtualTime& LibraryTime() {
    static auto* pTime = new VirtualTime;  // the pools end after everything else
    return *pTime;
}

void ExitAsChild(int nStatus) {
    g_nChildStatus = nStatus;
    std::exit(nStatus);
}

const std::vector<LogLine>& LinesOfTheLoad() {
    return g_linesOfTheLoad;
}

std::int32_t NodeNumberAfterTheLoad() {
    return g_nNodeNumber;
}

}  // namespace ztk::test
