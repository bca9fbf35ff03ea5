#include "owner.h"

namespace ztkmem {
namespace {

/// A zombie whose other threads still run is a process at work: only its first thread has ended.
bool HasEnded(const OwnerProcess& process) {
    return (process.chState == 'Z' || process.chState == 'X') && process.nThreads <= 1;
}

/// Start times and file times come from different clocks, and both are coarse.
bool StartedAfter(const OwnerProcess& process, std::int64_t nMadeAt) {
    constexpr std::int64_t kSlackSeconds = 2;
    return process.nStartedAt > nMadeAt + kSlackSeconds;
}

OwnerState WhenGone(const OwnerFacts& facts, OwnerState enIfProven) {
    return facts.bEveryProcessSeen && !facts.bIdInInnerNamespace ? enIfProven : OwnerState::kNotVisible;
}

}  // namespace

const char* OwnerStateText(OwnerState enState) {
    switch (enState) {
        case OwnerState::kNone:
            return "-";
        case OwnerState::kAlive:
            return "alive";
        case OwnerState::kReused:
            return "pid reused?";
        case OwnerState::kZombie:
            return "zombie";
        case OwnerState::kDead:
            return "dead";
        case OwnerState::kNotVisible:
            return "not visible";
    }
    return "?";
}

OwnerState JudgeOwner(const OwnerFacts& facts) {
    if (facts.enSignalled == Signalled::kNoSuchProcess) return WhenGone(facts, OwnerState::kDead);
    if (facts.enSignalled == Signalled::kUnclear) return OwnerState::kNotVisible;
    if (!facts.process) return OwnerState::kAlive;
    if (HasEnded(*facts.process)) return WhenGone(facts, OwnerState::kZombie);
    return StartedAfter(*facts.process, facts.nObjectMadeAt) ? OwnerState::kReused : OwnerState::kAlive;
}

bool SeesEveryProcess(const Visibility& visibility) {
    return visibility.bProcIsOurs && visibility.bNothingHidden &&
           (visibility.bInitialNamespace || visibility.bVouchedFor);
}

}  // namespace ztkmem
