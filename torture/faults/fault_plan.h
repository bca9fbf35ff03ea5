// Which calls of the library are made to fail, and which it made.
//
// A point is one call: the thread's role, the function, and the how manieth call of it by that role since the
// plan was armed. Roles keep points apart that run side by side: 0 is the program's thread, n the n-th thread
// that the library asked for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ztk::torture {

enum class Call : std::uint8_t {
    kNew,
    kMalloc,
    kMmap,
    kMunmap,
    kMadvise,
    kShmOpen,
    kShmUnlink,
    kFtruncate,
    kFallocate,
    kClose,
    kOpendir,
    kReaddir,
    kClosedir,
    kLstat,
    kKill,
    kFopen,
    kRead,
    kFclose,
    kRandomOpen,
    kRandomRead,
    kClockGettime,
    kGettimeofday,
    kUsleep,
    kRegisterAtfork,
    kThreadCreate,
    kThreadJoin,
    kSigmask,
    kAttrInit,
    kAttrSetDetach,
    kAttrDestroy,
    kMutexInit,
    kMutexLock,
    kMutexUnlock,
    kMutexDestroy,
    kCondInit,
    kCondTimedwait,
    kCondBroadcast,
    kCondDestroy,
    kRwInit,
    kRwTrywrlock,
    kRwWrlock,
    kRwRdlock,
    kRwUnlock,
    kRwDestroy,
    kMmzAlloc,
    kMmzAddress,
    kMmzHandle,
    kMmzFree,
    kCount,
};

/// One way in which a call fails.
struct FaultKind {
    Call call;
    const char* szName;
    int nErrno;
    bool bMarker = false;    ///< mmap: MAP_FAILED instead of null
    bool bOnceOnly = false;  ///< for ever would be no failure but another kernel
};

const std::vector<FaultKind>& AllFaultKinds();
const FaultKind& FaultKindByName(const std::string& name);
const char* NameOf(Call call);

struct Point {
    int nRole = 0;
    Call call = Call::kNew;
    int nOccurrence = 0;
};

/// A call that was made; or was to be made, and failed.
struct RecordedCall {
    Point point;
    bool bFailed = false;
};

struct Fault {
    Point point;
    const FaultKind* pKind = nullptr;
    bool bFromThenOn = false;
};

/// Calls are counted, recorded and made to fail from now on.
void Arm(const std::vector<Fault>& faults);
void Disarm();

/// Said by an interposer of a call that the library makes: the failure that is due, or null.
const FaultKind* CountCall(Call call);

}  // namespace ztk::torture
