#include "torture/minutes/virtual_minutes.h"

#include <algorithm>
#include <array>

#include "torture/model/time.h"

namespace ztk::torture {
namespace {

constexpr std::uint64_t kMiB = std::uint64_t{1024} * 1024;
constexpr std::uint64_t kLimit = 300 * kMiB;
constexpr std::uint64_t kRoom = kMiB;  // below the limit, for blocks that are really there
constexpr std::uint64_t kShortest = 1024;
constexpr std::int64_t kHour = 3600;

}  // namespace

VirtualMinutes::VirtualMinutes(LockStep& pools, std::uint64_t nSeed) : pools_(pools), random_(nSeed) {
    RaiseIdleTotal(false);
    RaiseIdleTotal(true);
}

/// To one MiB below the limit at the price of one: every release counts, and going back to the system only
/// once.
void VirtualMinutes::RaiseIdleTotal(bool bShared) {
    const std::uint64_t nAddress = Allocate(kMiB, bShared);
    for (std::uint64_t n = 0; n < (kLimit - kRoom) / kMiB + 1; ++n)
        GiveBack(nAddress, bShared);
    Flush(bShared);
}

std::uint64_t VirtualMinutes::Allocate(std::uint64_t nSize, bool bShared) {
    if (bShared) return pools_.AllocateShared(nSize, OneIn(8) ? 64 : 0);
    return pools_.Allocate(nSize, OneIn(3) ? 64 : 0, OneIn(3) ? 1 : 0, false);
}

void VirtualMinutes::GiveBack(std::uint64_t nAddress, bool bShared) {
    bShared ? pools_.ReleaseShared(nAddress) : pools_.Release(nAddress);
}

/// All idle blocks, by a request that cannot be met.
void VirtualMinutes::Flush(bool bShared) {
    bShared ? pools_.AllocateShared(100, 8) : pools_.Allocate(kShortest, 0, 2, true);
}

void VirtualMinutes::Disturb() {
    if (OneIn(3)) pools_.SetLevel(static_cast<int>(Below(4)));
    if (OneIn(40)) pools_.StepClock(OneIn(2) ? kHour : -kHour);
    if (OneIn(5)) pools_.Advance(static_cast<std::int64_t>(Below(60)));
    if (OneIn(500)) pools_.CompareBelongings();
}

std::int64_t VirtualMinutes::UntilCheck(bool bShared) const {
    const std::int64_t nWakeUps = Pool(bShared).WakeUpsUntilCheck();
    return std::max<std::int64_t>(pools_.UntilWakeUp(bShared), 0) + (nWakeUps - 1) * kWakeUpSeconds;
}

std::int64_t VirtualMinutes::AnyAge() {
    constexpr std::array<std::int64_t, 3> kAround = {29, 30, 31};
    return OneIn(4) ? static_cast<std::int64_t>(Below(60)) : kAround.at(Below(kAround.size()));
}

/// Blocks that together bring the idle total to the limit, a byte more or less; and when each is to be given
/// back.
void VirtualMinutes::Plan(bool bShared, std::vector<Release>& releases) {
    if (!OneIn(4)) Flush(bShared);
    const auto add = [&](std::uint64_t nSize) {
        const std::uint64_t nAddress = Allocate(nSize, bShared);
        const std::int64_t nIn = UntilCheck(bShared) - AnyAge();
        if (nAddress != 0) releases.push_back({std::max<std::int64_t>(nIn, 0), bShared, nAddress});
    };
    if (!bShared && OneIn(20)) add(100 * kMiB + Below(3) - 1);
    std::uint64_t nMissing = kLimit - 1 + Below(3) - Pool(bShared).RedundantSize();
    for (std::uint64_t n = Below(3); n > 0 && nMissing <= kRoom + 1 && nMissing > 4 * kShortest; --n) {
        const std::uint64_t nSize = kShortest + Below(nMissing / 2);
        add(nSize);
        nMissing -= nSize;
    }
    if (nMissing <= kRoom + 1 && nMissing >= kShortest) add(nMissing);
}

void VirtualMinutes::PassOne() {
    Disturb();
    std::vector<Release> releases;
    Plan(false, releases);
    Plan(true, releases);
    std::sort(releases.begin(), releases.end(),
              [](const Release& a, const Release& b) { return a.nIn < b.nIn; });
    const std::int64_t nEnd = std::max(UntilCheck(false), UntilCheck(true));
    std::int64_t nPassed = 0;
    for (const Release& release : releases) {
        pools_.Advance(release.nIn - nPassed);
        nPassed = release.nIn;
        GiveBack(release.nAddress, release.bShared);
    }
    pools_.Advance(nEnd - nPassed);
}

}  // namespace ztk::torture
