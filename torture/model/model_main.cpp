// Random operations on both pools against a model of them, in lock-step.
//
//   ztk_torture_model [--count OPERATIONS] [--seconds N] [--seed S]
#include "torture/model/lock_step_main.h"
#include "torture/model/random_operations.h"

int main(int nCount, char** ppArguments) {
    using ztk::torture::LockStep;
    return ztk::torture::RunInLockStep(
        "model", nCount, ppArguments, [](LockStep& pools, std::uint64_t nSeed) {
            return
                [operations = ztk::torture::RandomOperations(pools, nSeed)]() mutable { operations.Step(); };
        });
}
