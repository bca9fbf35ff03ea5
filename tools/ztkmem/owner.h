// Whether the process that a segment's name bears is still there, as far as can be told.
#pragma once

#include <cstdint>
#include <optional>

namespace ztkmem {

enum class OwnerState {
    kNone,        ///< the name bears no owner
    kAlive,       ///< also a process that may not be signalled
    kReused,      ///< a process of that id lives, but seems to have started after the object was made
    kZombie,      ///< has ended, its parent has not noticed; as dead as kDead
    kDead,        ///< proven
    kNotVisible,  ///< nobody of that id in sight, which proves nothing here
};

const char* OwnerStateText(OwnerState enState);

/// The one rule for what may be removed.
constexpr bool IsProvenDead(OwnerState enState) {
    return enState == OwnerState::kDead || enState == OwnerState::kZombie;
}

/// What kill(pid, 0) said.
enum class Signalled { kReached, kNotPermitted, kNoSuchProcess, kUnclear };

struct OwnerProcess {
    char chState = '?';
    std::int64_t nThreads = 0;
    std::int64_t nStartedAt = 0;  ///< seconds since 1970
};

struct OwnerFacts {
    Signalled enSignalled = Signalled::kUnclear;
    /// A process that exists cannot have escaped notice: see SeesEveryProcess().
    bool bEveryProcessSeen = false;
    /// A process in sight has the id inside a pid namespace of its own; it may be the owner.
    bool bIdInInnerNamespace = false;
    std::optional<OwnerProcess> process;  ///< of that id, as far as /proc tells
    std::int64_t nObjectMadeAt = 0;       ///< seconds since 1970
};

OwnerState JudgeOwner(const OwnerFacts& facts);

struct Visibility {
    bool bInitialNamespace = false;  ///< this process is in the machine's first pid namespace
    bool bProcIsOurs = false;        ///< /proc counts processes as this process does
    bool bNothingHidden = false;     ///< no process hides from /proc (mount option hidepid)
    bool bVouchedFor = false;        ///< the user says that no other pid namespace uses this /dev/shm
};

/// A process id in a name counts in the pid namespace of its owner. Only the first namespace sees the
/// processes of all others; in an inner one the user must vouch for it.
bool SeesEveryProcess(const Visibility& visibility);

}  // namespace ztkmem
