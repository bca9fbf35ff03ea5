// Random operations on both pools against a model of them, in lock-step.
//
//   ztk_torture_model SECONDS SEED [OPERATIONS]   ends after the seconds, or after so many operations
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "torture/model/random_operations.h"
#include "torture/model/time.h"
#include "torture/report.h"

namespace {

constexpr char kPart[] = "model";
constexpr std::uint64_t kBetweenLooks = 1024;  // at the clock
constexpr std::uint64_t kPlenty = std::uint64_t{1} << 40U;

}  // namespace

int main(int nCount, char** ppArguments) {
    const std::vector<std::string> words(ppArguments + 1, ppArguments + nCount);
    if (words.size() < 2) return 2;
    if (!ztk::torture::HasPrivateShm()) return ztk::torture::ReportSkipped(kPart, "no private /dev/shm");
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(std::stoi(words[0]));
    const std::uint64_t nSeed = std::stoull(words[1]);
    const std::uint64_t nMost = words.size() > 2 ? std::stoull(words[2]) : UINT64_MAX;
    ztk::torture::LockStep pools;
    pools.SetAvailable(kPlenty);
    ztk::torture::RandomOperations operations(pools, nSeed);
    std::uint64_t nDone = 0;
    try {
        while (nDone < nMost && (nDone % kBetweenLooks != 0 || std::chrono::steady_clock::now() < end)) {
            operations.Step();
            ++nDone;
        }
        pools.CompareBelongings();
    } catch (const ztk::torture::Difference& difference) {
        std::printf("DIFFERENCE in operation %lu of seed %lu: %s\n", nDone, nSeed, difference.what());
        return ztk::torture::Report(kPart, nDone, 1, nSeed);
    }
    return ztk::torture::Report(kPart, nDone, 0, nSeed);
}
