#define _GNU_SOURCE
#include "tests/library/host_checks.h"

#include <dlfcn.h>
#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include "standins/rockit/ztk_rockit_standin.h"
#include "tests/library/check.h"
#include "tests/library/every_export.h"
#include "tests/library/process_state.h"
#include "tests/support/emulator.h"

enum { kMaxThreads = 32, kReclaimers = 2, kFirstRounds = 8, kMostGrowthKilobytes = 256 };

/* What a load must add to, and an unload must take away again. */
typedef struct State {
    int nDescriptors;
    int nThreads;
    int nObjects;
    int nMappings;
} State;

static State Now(int nThreads) {
    State state;
    state.nThreads = AwaitThreads(nThreads);
    state.nDescriptors = CountDescriptors();
    state.nObjects = CountObjectsOf(getpid());
    state.nMappings = CountMappings("libZTKCommon") + CountMappings("ZTKTool-");
    return state;
}

static void CheckSame(const State* pBefore, int* pFailures) {
    const State now = Now(pBefore->nThreads);
    CHECK_EQUAL(pFailures, now.nThreads, pBefore->nThreads);
    CHECK_EQUAL(pFailures, now.nDescriptors, pBefore->nDescriptors);
    CHECK_EQUAL(pFailures, now.nObjects, 0);
    CHECK_EQUAL(pFailures, now.nMappings, 0);
}

static int IsAmong(pid_t nThread, const pid_t* pThreads, int nThreads) {
    int i = 0;
    for (; i < nThreads; ++i) {
        if (pThreads[i] == nThread) return 1;
    }
    return 0;
}

/* A program that waits for signals of its own must not lose them to a thread it does not know of. */
static void CheckReclaimers(const pid_t* pBefore, int nBefore, int* pFailures) {
    pid_t threads[kMaxThreads];
    const int nThreads = ListThreads(threads, kMaxThreads);
    int i = 0;
    CHECK_EQUAL(pFailures, nThreads, nBefore + kReclaimers);
    if (IsEmulated()) {
        fputs("NOT TESTED HERE: which signals the reclaimers block; the emulator does not tell the kernel\n",
              stderr);
        return;
    }
    for (; i < nThreads; ++i) {
        if (!IsAmong(threads[i], pBefore, nBefore)) CHECK(pFailures, BlocksAllSignals(threads[i]));
    }
}

static void CheckOwnSignals(const sigset_t* pBefore, int* pFailures) {
    sigset_t now;
    int nSignal = 1;
    pthread_sigmask(SIG_SETMASK, NULL, &now);
    for (; nSignal <= SIGRTMAX; ++nSignal) {
        CHECK_EQUAL(pFailures, sigismember(&now, nSignal), sigismember(pBefore, nSignal));
    }
}

/* A function of the board as the host or the library knows it, whichever has it. */
static void* BoardFunction(void* hLibrary, const char* szName) {
    void* pFunction = dlsym(RTLD_DEFAULT, szName);
    return pFunction != NULL ? pFunction : dlsym(hLibrary, szName);
}

static int CallsToOwnBoard(void* hLibrary) {
    int (*pAllocs)(void) = NULL;
    void* pFound = BoardFunction(hLibrary, "TestRockitAllocs");
    memcpy(&pAllocs, &pFound, sizeof(pFound));
    return pAllocs == NULL ? 0 : pAllocs();
}

static int CallsToStandin(void* hLibrary) {
    void (*pCounters)(ZtkRockitCounters*) = NULL;
    ZtkRockitCounters counters = {0, 0, 0, 0, 0, 0, 0};
    void* pFound = BoardFunction(hLibrary, "ZtkRockitGetCounters");
    memcpy(&pCounters, &pFound, sizeof(pFound));
    if (pCounters != NULL) pCounters(&counters);
    return (int)counters.nAllocs;
}

static void CheckLoaded(const char* szLibrary, const LoadedLibrary* pLibrary, int bOwnBoard, int* pFailures) {
    CHECK_EQUAL(pFailures, IsLibraryLoaded(szLibrary), 1);
    CHECK(pFailures, CountMappings("libZTKCommon") > 0);
    *pFailures += UseEveryExport(pLibrary);
    *pFailures += FillPools(pLibrary);
    CHECK_EQUAL(pFailures, CountObjectsOf(getpid()), 2);
    CHECK_EQUAL(pFailures, CallsToOwnBoard(pLibrary->hLibrary) > 0, bOwnBoard);
    CHECK_EQUAL(pFailures, CallsToStandin(pLibrary->hLibrary) > 0, !bOwnBoard);
}

static int LoadOnce(const char* szLibrary, int bOwnBoard) {
    LoadedLibrary library;
    State before;
    sigset_t signals;
    pid_t threads[kMaxThreads];
    int nThreads = 0;
    int nFailures = 0;
    WarmUpThreads();
    pthread_sigmask(SIG_SETMASK, NULL, &signals);
    before = Now(CountThreads());
    nThreads = ListThreads(threads, kMaxThreads);

    CHECK_EQUAL(&nFailures, LoadTheLibrary(szLibrary, &library), 0);
    if (nFailures != 0) return nFailures;
    CheckReclaimers(threads, nThreads, &nFailures);
    CheckOwnSignals(&signals, &nFailures);
    CheckLoaded(szLibrary, &library, bOwnBoard, &nFailures);
    CHECK_EQUAL(&nFailures, UnloadTheLibrary(&library), 0);
    CHECK_EQUAL(&nFailures, IsLibraryLoaded(szLibrary), 0);
    CheckSame(&before, &nFailures);
    return nFailures;
}

static int LoadAndUnload(const char* szLibrary) {
    LoadedLibrary library;
    int nFailures = 0;
    CHECK_EQUAL(&nFailures, LoadTheLibrary(szLibrary, &library), 0);
    if (nFailures != 0) return nFailures;
    nFailures += FillPools(&library);
    CHECK_EQUAL(&nFailures, CountObjectsOf(getpid()), 2);
    CHECK_EQUAL(&nFailures, UnloadTheLibrary(&library), 0);
    CHECK_EQUAL(&nFailures, IsLibraryLoaded(szLibrary), 0);
    return nFailures;
}

/* An unloaded library has left nothing that a fork or an exit would still call. */
static void CheckFork(int* pFailures) {
    int nStatus = -1;
    const pid_t nChild = fork();
    if (nChild == 0) {
        alarm(60);
        exit(0);
    }
    CHECK_EQUAL(pFailures, waitpid(nChild, &nStatus, 0), nChild);
    CHECK_EQUAL(pFailures, nStatus, 0);
}

typedef struct Memory {
    long nResident;
    long nVirtual;
    int nMappings;
} Memory;

static Memory MemoryNow(void) {
    Memory memory;
    memory.nResident = Kilobytes("RssAnon:");
    memory.nVirtual = Kilobytes("VmSize:");
    memory.nMappings = CountAllMappings();
    return memory;
}

/* Printed for whoever runs this often enough to see a growth; here no more is asked than that there is none
 * to speak of. A sanitizer keeps what was freed. */
static void CheckGrowth(const Memory* pBefore, int nRounds, int* pFailures) {
    const Memory now = MemoryNow();
    const long nResident = now.nResident - pBefore->nResident;
    const long nVirtual = now.nVirtual - pBefore->nVirtual;
    printf("%d rounds: %+ld kB resident, %+ld kB virtual, %+d mappings\n", nRounds, nResident, nVirtual,
           now.nMappings - pBefore->nMappings);
    fflush(stdout); /* a fork follows */
#if !ZTK_SANITIZED
    if (IsEmulated()) { /* it keeps what it translated, of every copy of the library anew */
        fputs("NOT TESTED HERE: growth\n", stderr);
        return;
    }
    CHECK(pFailures, nResident < kMostGrowthKilobytes);
    CHECK(pFailures, nVirtual < kMostGrowthKilobytes);
    CHECK_EQUAL(pFailures, now.nMappings, pBefore->nMappings);
#else
    (void)pFailures;
#endif
}

static int LoadManyTimes(const char* szLibrary, int nRounds) {
    State before;
    Memory memory;
    int nThreads = 0;
    int nFailures = 0;
    int nRound = 0;
    WarmUpThreads();
    nThreads = CountThreads(); /* now: for a moment the kernel still lists those an unload has joined */
    for (; nRound < kFirstRounds; ++nRound)
        nFailures +=
            LoadAndUnload(szLibrary); /* what comes with it for good (C++ runtime, board) comes now */
    before = Now(nThreads);
    memory = MemoryNow();
    for (nRound = 0; nRound < nRounds && nFailures == 0; ++nRound) {
        nFailures += LoadAndUnload(szLibrary);
        CheckSame(&before, &nFailures);
    }
    CheckGrowth(&memory, nRound, &nFailures);
    CheckFork(&nFailures);
    return nFailures;
}

static int Usage(const char* szProgram) {
    fprintf(stderr, "usage: %s <library> once <own|standin> | <library> rounds <number>\n", szProgram);
    return 2;
}

int RunHost(int argc, char** argv) {
    int nFailures = 0;
    if (argc != 4) return Usage(argv[0]);
    if (strcmp(argv[2], "once") == 0) {
        nFailures = LoadOnce(argv[1], strcmp(argv[3], "own") == 0);
    } else if (strcmp(argv[2], "rounds") == 0) {
        nFailures = LoadManyTimes(argv[1], (int)strtol(argv[3], NULL, 10));
    } else {
        return Usage(argv[0]);
    }
    return nFailures == 0 ? 0 : 1;
}
