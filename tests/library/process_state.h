/*
 * process_state.h - what the kernel says about this process.
 */
#ifndef ZTK_TESTS_PROCESS_STATE_H
#define ZTK_TESTS_PROCESS_STATE_H

#include <stdint.h>
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Open descriptors. */
int CountDescriptors(void);

/** Lines of /proc/self/maps that contain @p szPart. */
int CountMappings(const char* szPart);

/** All lines of /proc/self/maps. */
int CountAllMappings(void);

/** The figure of a line of /proc/self/status in kB, as of "RssAnon:"; -1 if there is none. */
long Kilobytes(const char* szKey);

/** Objects in /dev/shm that bear the id of @p nProcess in the library's way. */
int CountObjectsOf(pid_t nProcess);

/** Threads of this process. */
int CountThreads(void);

/**
 * Waits until this process has @p nThreads threads; returns how many it has in the end. Needed because a
 * thread that has been joined stays in the kernel's list for a moment.
 */
int AwaitThreads(int nThreads);

/**
 * Waits until every other thread of this process sleeps; returns 1, or 0 if one does not. Before a fork, so
 * that none is inside the heap or the log: not every heap (a sanitizer's) looks after a child that is forked
 * then.
 */
int AwaitOthersAsleep(void);

/** The ids of this process's threads, @p nMax at most; returns how many. */
int ListThreads(pid_t* pThreads, int nMax);

/** 1 if @p nThread blocks every signal that a program can block, else 0. */
int BlocksAllSignals(pid_t nThread);

/** Starts a thread and joins it, so that what a sanitizer adds with the first thread is there already. */
int WarmUpThreads(void);

#ifdef __cplusplus
}
#endif

#endif /* ZTK_TESTS_PROCESS_STATE_H */
