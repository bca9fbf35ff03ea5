// Minutes of both reclaimers, in lock-step with the model: idle totals one byte around the limit, blocks idle
// for 29, 30 and 31 seconds at the very moment of the check, levels that change, a clock that is set an hour
// ahead or back.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

#include "torture/model/lock_step.h"

namespace ztk::torture {

class VirtualMinutes {
  public:
    VirtualMinutes(LockStep& pools, std::uint64_t nSeed);

    /// Until both pools' next checks have been. Throws Difference.
    void PassOne();

  private:
    struct Release {
        std::int64_t nIn;  ///< seconds from the minute's beginning
        bool bShared;
        std::uint64_t nAddress;
    };

    std::uint64_t Below(std::uint64_t nLimit) { return random_() % nLimit; }
    bool OneIn(std::uint64_t nTimes) { return Below(nTimes) == 0; }

    const ModelPool& Pool(bool bShared) const { return bShared ? pools_.Shared() : pools_.Local(); }
    std::uint64_t Allocate(std::uint64_t nSize, bool bShared);
    void GiveBack(std::uint64_t nAddress, bool bShared);
    void Flush(bool bShared);
    void RaiseIdleTotal(bool bShared);
    void Disturb();
    std::int64_t UntilCheck(bool bShared) const;
    std::int64_t AnyAge();
    void Plan(bool bShared, std::vector<Release>& releases);

    LockStep& pools_;
    std::mt19937_64 random_;
};

}  // namespace ztk::torture
