// The library's threads: which there are, and the time that passes for them. Their timed waits end when they
// are told so or when they are signalled, never by a clock.
#pragma once

#include <pthread.h>

#include <cstdint>

namespace ztk::torture {

/// The wall clock, which is moved by LetWakeUp() alone.
std::int64_t NowSeconds();

/// The library asks for a thread: the role it is to have.
int NextRole();

void NoteStarting(int nBy);

/// Starts a thread of the library by @p create, whose result this returns.
template <class Create>
int StartLibrarysThread(const Create& create) {
    NoteStarting(1);
    const int nResult = create();
    if (nResult != 0) NoteStarting(-1);
    return nResult;
}

/// On such a thread: from its start to its end.
class LibrarysThread {
  public:
    explicit LibrarysThread(int nRole);
    ~LibrarysThread();
    LibrarysThread(const LibrarysThread&) = delete;
    LibrarysThread& operator=(const LibrarysThread&) = delete;
};

/// In place of a timed wait of such a thread. Returns whether it was told that the time is up.
bool WaitToBeWoken(pthread_cond_t* pCond, pthread_mutex_t* pMutex);

/// Waits until every such thread waits, or has ended.
void AwaitRest();

/// 15 s pass: every waiting thread's time is up. Waits until they all wait again, or have ended.
void LetWakeUp();

int CountLibrarysThreads();

/// For a forked child, where they do not exist.
void ForgetThreads();

}  // namespace ztk::torture
