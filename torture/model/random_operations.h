// Random operations on both pools, in lock-step with the model.
#pragma once

#include <cstdint>
#include <random>

#include "torture/model/lock_step.h"

namespace ztk::torture {

class RandomOperations {
  public:
    RandomOperations(LockStep& pools, std::uint64_t nSeed) : pools_(pools), random_(nSeed) {}

    /// One operation. Throws Difference.
    void Step();

  private:
    std::uint64_t Below(std::uint64_t nLimit) { return random_() % nLimit; }
    bool OneIn(std::uint64_t nTimes) { return Below(nTimes) == 0; }

    std::uint64_t AnySize(bool bShared);
    std::int32_t AnyAlign();
    std::int32_t AnyType();
    Shortage AnyShortage();
    std::uint64_t AnyAddress(const ModelPool& pool);

    void Allocate();
    void AllocateShared();
    void Release(bool bShared);
    void ChangeSurroundings();
    void ReleaseMany(bool bShared);

    LockStep& pools_;
    std::mt19937_64 random_;
};

}  // namespace ztk::torture
