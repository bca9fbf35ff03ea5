#define _GNU_SOURCE
#include "tests/library/process_state.h"

#include <dirent.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

typedef int (*IsWanted)(const char* szName, const void* pWanted);

/* Counts the wanted entries of a directory, dot entries left out; -1 if it cannot be read. */
static int CountEntries(const char* szPath, IsWanted isWanted, const void* pWanted) {
    int nCount = 0;
    const struct dirent* pEntry = NULL;
    DIR* pDirectory = opendir(szPath);
    if (pDirectory == NULL) return -1;
    while ((pEntry = readdir(pDirectory)) != NULL) {
        if (pEntry->d_name[0] != '.' && isWanted(pEntry->d_name, pWanted)) ++nCount;
    }
    closedir(pDirectory);
    return nCount;
}

static int IsAny(const char* szName, const void* pWanted) {
    (void)szName;
    (void)pWanted;
    return 1;
}

static int BeginsWith(const char* szName, const void* pWanted) {
    const char* szPrefix = pWanted;
    return strncmp(szName, szPrefix, strlen(szPrefix)) == 0;
}

int CountDescriptors(void) {
    return CountEntries("/proc/self/fd", IsAny, NULL) - 1; /* less the one that looked */
}

int CountMappings(const char* szPart) {
    char szLine[1024];
    int nCount = 0;
    FILE* pMaps = fopen("/proc/self/maps", "re");
    if (pMaps == NULL) return -1;
    while (fgets(szLine, sizeof(szLine), pMaps) != NULL) {
        if (strstr(szLine, szPart) != NULL) ++nCount;
    }
    fclose(pMaps);
    return nCount;
}

int CountAllMappings(void) {
    return CountMappings("");
}

long Kilobytes(const char* szKey) {
    char szLine[256];
    long nKilobytes = -1;
    FILE* pStatus = fopen("/proc/self/status", "re");
    if (pStatus == NULL) return -1;
    while (fgets(szLine, sizeof(szLine), pStatus) != NULL) {
        if (strncmp(szLine, szKey, strlen(szKey)) == 0) nKilobytes = strtol(szLine + strlen(szKey), NULL, 10);
    }
    fclose(pStatus);
    return nKilobytes;
}

int CountObjectsOf(pid_t nProcess) {
    char szPrefix[32];
    snprintf(szPrefix, sizeof(szPrefix), "ZTKTool-%d-", (int)nProcess);
    return CountEntries("/dev/shm", BeginsWith, szPrefix);
}

int CountThreads(void) {
    return CountEntries("/proc/self/task", IsAny, NULL);
}

int AwaitThreads(int nThreads) {
    const time_t nGiveUp = time(NULL) + 60;
    int nNow = CountThreads();
    while (nNow != nThreads && time(NULL) < nGiveUp) {
        sched_yield();
        nNow = CountThreads();
    }
    return nNow;
}

int ListThreads(pid_t* pThreads, int nMax) {
    int nCount = 0;
    const struct dirent* pEntry = NULL;
    DIR* pDirectory = opendir("/proc/self/task");
    if (pDirectory == NULL) return -1;
    while ((pEntry = readdir(pDirectory)) != NULL && nCount < nMax) {
        if (pEntry->d_name[0] != '.') pThreads[nCount++] = (pid_t)strtol(pEntry->d_name, NULL, 10);
    }
    closedir(pDirectory);
    return nCount;
}

/* The "SigBlk:" line of a thread's status: bit n is signal n + 1. */
static uint64_t BlockedSignals(pid_t nThread) {
    char szText[256];
    uint64_t nBlocked = 0;
    FILE* pStatus = NULL;
    snprintf(szText, sizeof(szText), "/proc/self/task/%d/status", (int)nThread);
    pStatus = fopen(szText, "re");
    if (pStatus == NULL) return 0;
    while (fgets(szText, sizeof(szText), pStatus) != NULL) {
        if (strncmp(szText, "SigBlk:", 7) == 0) nBlocked = strtoull(szText + 7, NULL, 16);
    }
    fclose(pStatus);
    return nBlocked;
}

/* Not blockable: KILL and STOP by the kernel, and the two that the C library keeps to itself. */
static int IsBlockable(int nSignal) {
    return nSignal != SIGKILL && nSignal != SIGSTOP && (nSignal < 32 || nSignal >= SIGRTMIN);
}

static int IsAsleep(pid_t nThread) {
    char szPath[64];
    char szLine[512] = "";
    const char* pBehindName = NULL;
    FILE* pStat = NULL;
    snprintf(szPath, sizeof(szPath), "/proc/self/task/%d/stat", (int)nThread);
    pStat = fopen(szPath, "re");
    if (pStat == NULL) return 1; /* it has ended */
    if (fgets(szLine, sizeof(szLine), pStat) == NULL) szLine[0] = '\0';
    fclose(pStat);
    pBehindName = strrchr(szLine, ')');
    return pBehindName == NULL || strncmp(pBehindName, ") S", 3) == 0;
}

static int AreOthersAsleep(void) {
    pid_t threads[64];
    const int nCount = ListThreads(threads, 64);
    int i = 0;
    for (; i < nCount; ++i) {
        if (threads[i] != (pid_t)syscall(SYS_gettid) && !IsAsleep(threads[i])) return 0;
    }
    return 1;
}

int AwaitOthersAsleep(void) {
    const time_t nGiveUp = time(NULL) + 60;
    while (!AreOthersAsleep()) {
        if (time(NULL) >= nGiveUp) return 0;
        sched_yield();
    }
    return 1;
}

int BlocksAllSignals(pid_t nThread) {
    const uint64_t nBlocked = BlockedSignals(nThread);
    int nSignal = 1;
    for (; nSignal <= 64; ++nSignal) {
        if (IsBlockable(nSignal) && (nBlocked >> (nSignal - 1) & 1U) == 0) return 0;
    }
    return 1;
}

static void* TellId(void* pId) {
    *(long*)pId = syscall(SYS_gettid);
    return NULL;
}

int WarmUpThreads(void) {
    pthread_t thread;
    long nId = 0;
    char szTask[64];
    if (pthread_create(&thread, NULL, TellId, &nId) != 0) return -1;
    pthread_join(thread, NULL);
    snprintf(szTask, sizeof(szTask), "/proc/self/task/%ld", nId);
    while (access(szTask, F_OK) == 0)
        sched_yield();
    return 0;
}
