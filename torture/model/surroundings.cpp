// The world around the pools, in lock-step: memory, the log's level, time.
#include <algorithm>
#include <optional>

#include "support/available_memory.h"
#include "support/descriptors.h"
#include "support/private_shm.h"
#include "torture/model/board.h"
#include "torture/model/comparison.h"
#include "torture/model/lock_step.h"
#include "torture/model/time.h"

namespace ztk::torture {

void LockStep::SetAvailable(std::uint64_t nBytes) {
    static std::optional<test::AvailableMemory> memory;
    memory.emplace(nBytes);
    nAvailable_ = nBytes;
}

void LockStep::SetLevel(int nLevel) {
    SetLogLevel(nLevel);
}

void LockStep::Advance(std::int64_t nSeconds) {
    AdvanceClock(nSeconds);
    const LogText wroteLocal = TakeLines(Writer::kLocalReclaimer);
    const LogText wroteShared = TakeLines(Writer::kSharedReclaimer);
    const std::int64_t nEnd = nNow_ + nSeconds;
    LogText local;
    LogText shared;
    for (std::int64_t nNext = std::min(nLocalWakesAt_, nSharedWakesAt_); nNext <= nEnd;
         nNext = std::min(nLocalWakesAt_, nSharedWakesAt_)) {
        nNow_ = std::max(nNow_, nNext);
        WakeDue(wroteLocal, wroteShared, local, shared);
    }
    nNow_ = nEnd;
    CompareLines("the local reclaimer", local, wroteLocal);
    CompareLines("the shared reclaimer", shared, wroteShared);
    CompareLines("while time passes", {}, TakeLines(Writer::kCallers));
    CompareNumbers("clock", nNow_, NowSeconds());
}

void LockStep::WakeDue(const LogText& wroteLocal, const LogText& wroteShared, LogText& local,
                       LogText& shared) {
    if (nLocalWakesAt_ <= nNow_) {
        local_.WakeUp(nNow_, LogLevel(), wroteLocal, local);
        nLocalWakesAt_ = nNow_ + kWakeUpSeconds;
    }
    if (nSharedWakesAt_ <= nNow_) {
        shared_.WakeUp(nNow_, LogLevel(), wroteShared, shared);
        nSharedWakesAt_ = nNow_ + kWakeUpSeconds;
    }
}

void LockStep::StepClock(std::int64_t nSeconds) {
    SetClockBy(nSeconds);
    nNow_ += nSeconds;
}

std::int64_t LockStep::UntilWakeUp(bool bShared) const {
    return (bShared ? nSharedWakesAt_ : nLocalWakesAt_) - nNow_;
}

void LockStep::CompareBelongings() {
    std::vector<std::string> names;
    for (const ModelBlock& block : shared_.Blocks())
        names.push_back(block.name);
    std::sort(names.begin(), names.end());
    Check(names == test::ShmEntries(), "the objects in /dev/shm are not those of the blocks");
    CompareNumbers("descriptors", nDescriptors_ + names.size(), test::OpenDescriptors().size());
    const auto& local = local_.Blocks();
    const auto nMmz =
        std::count_if(local.begin(), local.end(), [](const ModelBlock& b) { return b.enMemType == 1; });
    CompareNumbers("MMZ blocks", static_cast<std::size_t>(nMmz), CountMmzBlocks());
}

}  // namespace ztk::torture
