#include "torture/model/random_operations.h"

#include <algorithm>
#include <array>

namespace ztk::torture {
namespace {

constexpr std::uint64_t kMiB = std::uint64_t{1024} * 1024;
constexpr std::uint64_t kPlenty = std::uint64_t{1} << 40U;
constexpr std::uint64_t kReserve = 350 * kMiB;
constexpr std::size_t kManyBlocks = 48;

/// Around every boundary of the classes and of the tolerance.
constexpr std::array<std::uint64_t, 16> kLargeSizes = {
    20 * kMiB - 1, 20 * kMiB,     20 * kMiB + 1,  21 * kMiB,  49 * kMiB,     50 * kMiB - 1,
    50 * kMiB,     50 * kMiB + 1, 80 * kMiB - 1,  80 * kMiB,  80 * kMiB + 1, 100 * kMiB - 1,
    100 * kMiB,    130 * kMiB,    130 * kMiB + 1, 149 * kMiB,
};
constexpr std::array<std::uint64_t, 8> kOddSizes = {
    0, 1, 7, 127, 128, std::uint64_t{1} << 41U, UINT64_MAX - kReserve, UINT64_MAX,
};
constexpr std::array<std::int32_t, 10> kAligns = {8, 16, 24, 64, 64, 64, 100, 256, 4096, -8};

}  // namespace

void RandomOperations::Step() {
    const std::uint64_t nChoice = Below(1000);
    if (nChoice < 380) {
        Allocate();
    } else if (nChoice < 480) {
        AllocateShared();
    } else if (nChoice < 880) {
        Release(false);
    } else if (nChoice < 985) {
        Release(true);
    } else {
        ChangeSurroundings();
    }
}

// Few different ones, so that blocks are found again; shared ones are small, since every new one is cleared.
std::uint64_t RandomOperations::AnySize(bool bShared) {
    if (OneIn(300)) return kOddSizes.at(Below(kOddSizes.size()));
    if (OneIn(bShared ? 200'000 : 60)) return kLargeSizes.at(Below(kLargeSizes.size()));
    if (bShared) return 128 + 512 * Below(24);
    return OneIn(8) ? 1 + Below(10 * kMiB) : 16 + 128 * Below(32);
}

std::int32_t RandomOperations::AnyAlign() {
    return OneIn(3) ? kAligns.at(Below(kAligns.size())) : 0;
}

std::int32_t RandomOperations::AnyType() {
    if (OneIn(2000)) return OneIn(2) ? 7 : -1;
    return OneIn(4) ? 1 : 0;
}

Shortage RandomOperations::AnyShortage() {
    if (!OneIn(1000)) return Shortage::kNone;
    constexpr std::array<Shortage, 3> kAll = {Shortage::kOnce, Shortage::kTwice, Shortage::kRecord};
    return kAll.at(Below(kAll.size()));
}

void RandomOperations::Allocate() {
    if (pools_.Local().Blocks().size() > kManyBlocks) ReleaseMany(false);
    const std::int32_t enMemType = AnyType();
    // A failing malloc() is for a heap block that is not found idle; of another it would be left over.
    const Shortage shortage = enMemType == 0 ? AnyShortage() : Shortage::kNone;
    pools_.Allocate(AnySize(false), AnyAlign(), enMemType, OneIn(2), shortage);
}

// The alignment takes room of the block: there must be enough of it.
void RandomOperations::AllocateShared() {
    if (pools_.Shared().Blocks().size() > kManyBlocks / 2) ReleaseMany(true);
    const std::uint64_t nSize = AnySize(true);
    std::int32_t nAlign = OneIn(5) ? AnyAlign() : 0;
    if (nAlign > 0 && static_cast<std::uint64_t>(nAlign) + 64 > nSize) nAlign = 0;
    pools_.AllocateShared(nSize, nAlign, AnyShortage());
}

std::uint64_t RandomOperations::AnyAddress(const ModelPool& pool) {
    const auto& blocks = pool.Blocks();
    if (blocks.empty() || OneIn(200)) return OneIn(4) ? 0 : 0x1000 + 16 * Below(4096);
    // mostly one that is busy
    std::uint64_t nAt = Below(blocks.size());
    for (int nTries = 0; nTries < 3 && !blocks.at(nAt).bBusy; ++nTries)
        nAt = Below(blocks.size());
    return blocks.at(nAt).nAddress;
}

void RandomOperations::Release(bool bShared) {
    if (bShared) {
        pools_.ReleaseShared(AnyAddress(pools_.Shared()));
    } else {
        pools_.Release(AnyAddress(pools_.Local()));
    }
}

/// All goes back, idle and busy, and then to the system: by a request that cannot be met.
void RandomOperations::ReleaseMany(bool bShared) {
    const std::vector<ModelBlock> blocks = bShared ? pools_.Shared().Blocks() : pools_.Local().Blocks();
    for (const ModelBlock& block : blocks) {
        if (!block.bBusy || OneIn(4)) continue;
        bShared ? pools_.ReleaseShared(block.nAddress) : pools_.Release(block.nAddress);
    }
    if (OneIn(3)) return;
    if (bShared) {
        pools_.AllocateShared(100, 8);
    } else {
        pools_.Allocate(4096, 0, 2, true);
    }
}

void RandomOperations::ChangeSurroundings() {
    switch (Below(12)) {
        case 0:
        case 1:
        case 2:
        case 3:
            pools_.Advance(static_cast<std::int64_t>(Below(40)));
            break;
        case 4:
            pools_.SetLevel(static_cast<int>(Below(5)));
            break;
        case 5:
            if (OneIn(20)) pools_.StepClock(OneIn(2) ? 3600 : -3600);
            break;
        case 6:  // around what a request of 4096 bytes, plain or aligned to 64, needs
            pools_.SetAvailable(OneIn(3) ? kReserve + 4096 - 1 + Below(76) : kPlenty);
            break;
        case 7:
            pools_.SetAvailable(kPlenty);
            break;
        case 8:
            pools_.RefuseNulls();
            break;
        case 9:
            pools_.AskForMemory();
            break;
        case 10:
            pools_.UseSettings(static_cast<std::int32_t>(Below(80)) - 8);
            break;
        default:
            if (OneIn(4)) pools_.CompareBelongings();
    }
}

}  // namespace ztk::torture
