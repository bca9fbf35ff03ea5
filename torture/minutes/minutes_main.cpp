// Virtual minutes of both pools' reclaimers against a model, in lock-step.
//
//   ztk_torture_minutes [--count MINUTES] [--seconds N] [--seed S]     so many minutes of each pool
#include "torture/minutes/virtual_minutes.h"
#include "torture/model/lock_step_main.h"

int main(int nCount, char** ppArguments) {
    using ztk::torture::LockStep;
    return ztk::torture::RunInLockStep(
        "minutes", nCount, ppArguments, [](LockStep& pools, std::uint64_t nSeed) {
            return [minutes = ztk::torture::VirtualMinutes(pools, nSeed)]() mutable { minutes.PassOne(); };
        });
}
