#include "torture/faults/reclaimers.h"

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <new>

#include "torture/faults/inside.h"

namespace ztk::torture {
namespace {

constexpr int kWakeUpPeriodSeconds = 15;

struct Sleeper {
    pthread_cond_t* pCond = nullptr;
    pthread_mutex_t* pMutex = nullptr;
    bool bTimeIsUp = false;
};

struct Threads {
    std::mutex mutex;
    std::condition_variable changed;
    int nStarting = 0;  ///< asked for, and neither running nor refused
    int nRunning = 0;
    int nAsleep = 0;
    std::array<Sleeper, kRoles> sleepers{};
};

alignas(Threads) std::array<char, sizeof(Threads)> g_memory;
Threads* g_pThreads = new (g_memory.data()) Threads;
std::atomic<std::int64_t> g_nNowSeconds{1'700'000'000};
std::atomic<int> g_nRoles{0};

Sleeper& SleeperOfThisThread() {
    return g_pThreads->sleepers.at(static_cast<std::size_t>(RoleOfThisThread()));
}

void Change(int Threads::*pCount, int nBy) {
    const std::lock_guard lock(g_pThreads->mutex);
    g_pThreads->*pCount += nBy;
    g_pThreads->changed.notify_all();
}

}  // namespace

std::int64_t NowSeconds() {
    return g_nNowSeconds;
}

int NextRole() {
    const int nRole = ++g_nRoles;
    if (nRole == kRoles) std::abort();
    return nRole;
}

void NoteStarting(int nBy) {
    const OwnCode ours;
    Change(&Threads::nStarting, nBy);
}

LibrarysThread::LibrarysThread(int nRole) {
    SetRoleOfThisThread(nRole);
    Change(&Threads::nRunning, 1);
    NoteStarting(-1);
}
LibrarysThread::~LibrarysThread() {
    Change(&Threads::nRunning, -1);
}

bool WaitToBeWoken(pthread_cond_t* pCond, pthread_mutex_t* pMutex) {
    Sleeper& sleeper = SleeperOfThisThread();
    {
        const std::lock_guard lock(g_pThreads->mutex);
        sleeper = {pCond, pMutex, false};
        ++g_pThreads->nAsleep;
        g_pThreads->changed.notify_all();
    }
    pthread_cond_wait(pCond, pMutex);
    const std::lock_guard lock(g_pThreads->mutex);
    if (!sleeper.bTimeIsUp) --g_pThreads->nAsleep;
    sleeper.pCond = nullptr;
    return sleeper.bTimeIsUp;
}

void AwaitRest() {
    std::unique_lock lock(g_pThreads->mutex);
    g_pThreads->changed.wait(
        lock, [] { return g_pThreads->nStarting == 0 && g_pThreads->nAsleep == g_pThreads->nRunning; });
}

void LetWakeUp() {
    AwaitRest();
    g_nNowSeconds += kWakeUpPeriodSeconds;
    for (Sleeper& sleeper : g_pThreads->sleepers) {
        if (sleeper.pCond == nullptr) continue;
        pthread_mutex_t* pMutex = sleeper.pMutex;
        pthread_mutex_lock(pMutex);
        {
            const std::lock_guard lock(g_pThreads->mutex);
            sleeper.bTimeIsUp = true;
            --g_pThreads->nAsleep;
        }
        pthread_cond_broadcast(sleeper.pCond);
        pthread_mutex_unlock(pMutex);
    }
    AwaitRest();
}

int CountLibrarysThreads() {
    const std::lock_guard lock(g_pThreads->mutex);
    return g_pThreads->nRunning;
}

void ForgetThreads() {
    g_pThreads = new (g_memory.data()) Threads;
}

}  // namespace ztk::torture
