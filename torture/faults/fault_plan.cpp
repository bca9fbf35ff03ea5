#include "torture/faults/fault_plan.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>

#include "torture/faults/inside.h"
#include "torture/faults/shared_result.h"

namespace ztk::torture {
namespace {

constexpr std::size_t kCalls = static_cast<std::size_t>(Call::kCount);

std::atomic<bool> g_bArmed{false};
std::vector<Fault> g_faults;  // written while nothing is armed
std::array<std::array<std::atomic<int>, kCalls>, kRoles> g_counts;

bool IsDue(const Fault& fault, int nRole, Call call, int nOccurrence) {
    const Point& point = fault.point;
    if (point.call != call || point.nRole != nRole) return false;
    return fault.bFromThenOn ? nOccurrence >= point.nOccurrence : nOccurrence == point.nOccurrence;
}

}  // namespace

const std::vector<FaultKind>& AllFaultKinds() {
    static const auto* pKinds = new std::vector<FaultKind>{
        {Call::kNew, "new", ENOMEM},
        {Call::kMalloc, "malloc", ENOMEM},
        {Call::kMmap, "mmap", ENOMEM},
        {Call::kMmap, "mmap(marker)", ENOMEM, true},
        {Call::kMunmap, "munmap", EINVAL},
        {Call::kMadvise, "madvise", EINVAL},
        {Call::kShmOpen, "shm_open", EMFILE},
        {Call::kShmUnlink, "shm_unlink", EACCES},
        {Call::kFtruncate, "ftruncate", EINVAL},
        {Call::kFallocate, "fallocate", ENOSPC},
        {Call::kFallocate, "fallocate(interrupted)", EINTR, false, true},
        {Call::kFallocate, "fallocate(unsupported)", EOPNOTSUPP},
        {Call::kClose, "close", EIO},
        {Call::kOpendir, "opendir", EMFILE},
        {Call::kReaddir, "readdir", EIO},
        {Call::kClosedir, "closedir", EBADF},
        {Call::kLstat, "lstat", EACCES},
        {Call::kKill, "kill", EPERM},
        {Call::kFopen, "fopen", EMFILE},
        {Call::kRead, "read", EIO},
        {Call::kFclose, "fclose", EIO},
        {Call::kRandomOpen, "random(open)", 0},
        {Call::kRandomRead, "random(read)", 0},
        {Call::kClockGettime, "clock_gettime", EINVAL},
        {Call::kGettimeofday, "gettimeofday", EINVAL},
        {Call::kUsleep, "usleep", EINTR},
        {Call::kRegisterAtfork, "pthread_atfork", ENOMEM},
        {Call::kThreadCreate, "pthread_create", EAGAIN},
        {Call::kThreadJoin, "pthread_join", EINVAL},
        {Call::kSigmask, "pthread_sigmask", EINVAL},
        {Call::kAttrInit, "pthread_attr_init", ENOMEM},
        {Call::kAttrSetDetach, "pthread_attr_setdetachstate", EINVAL},
        {Call::kAttrDestroy, "pthread_attr_destroy", EINVAL},
        {Call::kMutexInit, "pthread_mutex_init", EAGAIN},
        {Call::kMutexLock, "pthread_mutex_lock", EINVAL},
        {Call::kMutexUnlock, "pthread_mutex_unlock", EPERM},
        {Call::kMutexDestroy, "pthread_mutex_destroy", EBUSY},
        {Call::kCondInit, "pthread_cond_init", EAGAIN},
        {Call::kCondTimedwait, "pthread_cond_timedwait", EINVAL},
        {Call::kCondBroadcast, "pthread_cond_broadcast", EINVAL},
        {Call::kCondDestroy, "pthread_cond_destroy", EBUSY},
        {Call::kRwInit, "pthread_rwlock_init", EAGAIN},
        {Call::kRwTrywrlock, "pthread_rwlock_trywrlock", EBUSY},
        {Call::kRwWrlock, "pthread_rwlock_wrlock", EDEADLK},
        {Call::kRwRdlock, "pthread_rwlock_rdlock", EAGAIN},
        {Call::kRwUnlock, "pthread_rwlock_unlock", EPERM},
        {Call::kRwDestroy, "pthread_rwlock_destroy", EBUSY},
        {Call::kMmzAlloc, "RK_MPI_MMZ_Alloc", -1},
        {Call::kMmzAddress, "RK_MPI_MMZ_Handle2VirAddr", 0},
        {Call::kMmzHandle, "RK_MPI_MMZ_VirAddr2Handle", 0},
        {Call::kMmzFree, "RK_MPI_MMZ_Free", -1},
    };
    return *pKinds;
}

const FaultKind& FaultKindByName(const std::string& name) {
    const auto& kinds = AllFaultKinds();
    const auto it =
        std::find_if(kinds.begin(), kinds.end(), [&](const FaultKind& k) { return k.szName == name; });
    if (it == kinds.end()) std::abort();
    return *it;
}

const char* NameOf(Call call) {
    const auto& kinds = AllFaultKinds();
    return std::find_if(kinds.begin(), kinds.end(), [call](const FaultKind& k) { return k.call == call; })
        ->szName;
}

void Arm(const std::vector<Fault>& faults) {
    g_faults = faults;
    for (auto& ofRole : g_counts) {
        for (auto& nCount : ofRole)
            nCount = 0;
    }
    g_bArmed = true;
}

void Disarm() {
    g_bArmed = false;
}

const FaultKind* CountCall(Call call) {
    if (!g_bArmed) return nullptr;
    const int nRole = RoleOfThisThread();
    const int nOccurrence = ++g_counts.at(static_cast<std::size_t>(nRole)).at(static_cast<std::size_t>(call));
    const FaultKind* pDue = nullptr;
    for (const Fault& fault : g_faults) {
        if (IsDue(fault, nRole, call, nOccurrence)) pDue = fault.pKind;
    }
    RecordCall({nRole, call, nOccurrence}, pDue != nullptr);
    return pDue;
}

}  // namespace ztk::torture
