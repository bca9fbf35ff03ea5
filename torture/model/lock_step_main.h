// What the programs that run in lock-step with the model have in common.
#pragma once

#include <cinttypes>
#include <cstdint>

#include "torture/model/lock_step.h"
#include "torture/model/time.h"
#include "torture/report.h"
#include "torture/run.h"

namespace ztk::torture {

/// Takes steps for as long, and as many, as the arguments say. @p makeStep gives the step, for the pools and
/// the seed; steps throw Difference, which ends the run.
template <class MakeStep>
int RunInLockStep(const char* szPart, int nCount, char** ppArguments, const MakeStep& makeStep) {
    constexpr std::uint64_t kFew = 1000;
    constexpr std::uint64_t kBetweenLooks = 64;  // at the clock
    constexpr std::uint64_t kPlenty = std::uint64_t{1} << 40U;
    Run run(szPart, nCount, ppArguments, kFew);
    if (!HasPrivateShm()) return ReportSkipped(szPart, "no private /dev/shm");
    try {
        LockStep pools;
        pools.SetAvailable(kPlenty);
        auto step = makeStep(pools, run.Seed());
        while (run.Runs() % kBetweenLooks != 0 || run.GoesOn()) {
            step();
            run.CountRun();
        }
        pools.CompareBelongings();
    } catch (const Difference& difference) {
        run.Differs("in step %" PRIu64 " of seed %" PRIu64 ": %s", run.Runs(), run.Seed(), difference.what());
    }
    return run.Finish();
}

}  // namespace ztk::torture
