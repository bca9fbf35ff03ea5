// What the programs that run in lock-step with the model have in common.
#pragma once

#include <chrono>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "torture/model/lock_step.h"
#include "torture/model/time.h"
#include "torture/report.h"

namespace ztk::torture {

/// Takes steps for the seconds, from the seed, and at most as many as the arguments say. @p makeStep gives
/// the step, for the pools and the seed; steps throw Difference, which ends the run.
template <class MakeStep>
int RunInLockStep(const char* szPart, int nCount, char** ppArguments, const MakeStep& makeStep) {
    constexpr std::uint64_t kBetweenLooks = 64;  // at the clock
    constexpr std::uint64_t kPlenty = std::uint64_t{1} << 40U;
    const std::vector<std::string> words(ppArguments + 1, ppArguments + nCount);
    if (words.size() < 2) return 2;
    if (!HasPrivateShm()) return ReportSkipped(szPart, "no private /dev/shm");
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(std::stoi(words[0]));
    const std::uint64_t nSeed = std::stoull(words[1]);
    const std::uint64_t nMost = words.size() > 2 ? std::stoull(words[2]) : UINT64_MAX;
    std::uint64_t nDone = 0;
    try {
        LockStep pools;
        pools.SetAvailable(kPlenty);
        auto step = makeStep(pools, nSeed);
        while (nDone < nMost && (nDone % kBetweenLooks != 0 || std::chrono::steady_clock::now() < end)) {
            step();
            ++nDone;
        }
        pools.CompareBelongings();
    } catch (const Difference& difference) {
        std::printf("DIFFERENCE in step %" PRIu64 " of seed %" PRIu64 ": %s\n", nDone, nSeed,
                    difference.what());
        return Report(szPart, nDone, 1, nSeed);
    }
    return Report(szPart, nDone, 0, nSeed);
}

}  // namespace ztk::torture
