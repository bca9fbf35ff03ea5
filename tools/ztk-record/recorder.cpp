#include "recorder.h"

#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "sites.h"

namespace ztk_record {
namespace {

constexpr std::uint32_t kStarting = 0xffffffff;
constexpr std::size_t kMostSpare = 256;

/// Of one process. A forked child begins a new one.
struct State {
    pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
    RecordingFile file;
    Chunk* pText = nullptr;
    Chunk* spare[kMostSpare] = {};  ///< begun by threads that have ended
    std::size_t nSpare = 0;
};
State g_state;

// Zero pages until the constructor below; then one that fork() wipes.
std::uint32_t g_nNoGeneration = 0;
std::uint32_t* g_pMyGeneration = &g_nNoGeneration;
std::uint32_t g_nGenerations = 0;
std::uint32_t g_nStarter = 0;  ///< the process that the last generation belongs to
pthread_key_t g_hThreadEnd;
const char* g_szPath = nullptr;
bool g_bStacks = false;

class Guard {
  public:
    Guard() { pthread_mutex_lock(&g_state.lock); }
    ~Guard() { pthread_mutex_unlock(&g_state.lock); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;
};

void AtThreadEnd(void* /*pChunk*/) {
    Local& local = g_local;
    if (local.pChunk == nullptr || local.nGeneration != *g_pMyGeneration) return;
    const Guard guard;
    if (g_state.nSpare < kMostSpare) {
        g_state.spare[g_state.nSpare++] = local.pChunk;
    } else {
        RecordingFile::Unmap(local.pChunk);
    }
    local.pChunk = nullptr;
}

void ForgetParent() {
    if (g_nStarter != static_cast<std::uint32_t>(getpid())) *g_pMyGeneration = 0;
}

/// A page of its own that a forked child finds zeroed, without anybody having to run there. Old kernels
/// refuse that, and emulators of processors may take the advice and not follow it: the handler is for those.
std::uint32_t* MakeForkTeller() {
    constexpr std::size_t kPage = 4096;
    void* pPage = mmap(nullptr, kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pPage == MAP_FAILED) return nullptr;
    const bool bWiped = madvise(pPage, kPage, MADV_WIPEONFORK) == 0;
    const bool bTold = pthread_atfork(nullptr, nullptr, ForgetParent) == 0;
    return bWiped || bTold ? static_cast<std::uint32_t*>(pPage) : nullptr;
}

__attribute__((constructor)) void AtLoad() {
    const char* szPath = std::getenv("ZTK_RECORD_FILE");
    std::uint32_t* pGeneration = szPath == nullptr ? nullptr : MakeForkTeller();
    if (pGeneration == nullptr || pthread_key_create(&g_hThreadEnd, AtThreadEnd) != 0) return;
    g_szPath = strdup(szPath);  // the program may change its environment
    g_bStacks = std::getenv("ZTK_RECORD_STACKS") != nullptr;
    if (g_bStacks) WarmUpStacks();
    g_pMyGeneration = pGeneration;
    g_pGeneration = pGeneration;
}

__attribute__((destructor)) void AtExit() {
    const std::uint32_t nGeneration = *g_pMyGeneration;
    if (nGeneration != 0 && nGeneration != kStarting) g_state.file.End();
}

void Begin() {
    const std::uint32_t nParent = g_nStarter;
    g_state = State();
    ForgetSites();
    std::uint32_t nFlags = g_bStacks ? kHasStacks : 0;
    if (nParent != 0) nFlags |= kForked;
    g_nStarter = static_cast<std::uint32_t>(getpid());
    if (!g_state.file.Create(g_szPath, nFlags, nParent))
        dprintf(STDERR_FILENO, "ztk-record: process %u is not recorded: %s: %s\n", g_nStarter, g_szPath,
                std::strerror(errno));
}

/// The first thread that comes begins; the others wait for it. There is no lock for that: one that some other
/// thread held at the fork would stay locked in the child.
void BeginOnce() {
    std::uint32_t nNone = 0;
    if (__atomic_compare_exchange_n(g_pMyGeneration, &nNone, kStarting, false, __ATOMIC_ACQUIRE,
                                    __ATOMIC_ACQUIRE)) {
        Begin();
        __atomic_store_n(g_pMyGeneration, ++g_nGenerations, __ATOMIC_RELEASE);
    }
    while (__atomic_load_n(g_pMyGeneration, __ATOMIC_ACQUIRE) == kStarting)
        sched_yield();
}

}  // namespace

__thread Local g_local __attribute__((tls_model("initial-exec"))) = {};
const volatile std::uint32_t* g_pGeneration = &g_nNoGeneration;

bool Start() {
    Local& local = g_local;
    if (g_szPath == nullptr || local.bBusy) return false;
    local.bBusy = true;
    const int nError = errno;  // the program's
    BeginOnce();
    errno = nError;
    local.pChunk = nullptr;  // in a forked child: that of the parent
    local.nThread = static_cast<std::uint32_t>(syscall(SYS_gettid));
    local.nGeneration = *g_pMyGeneration;
    local.bBusy = false;
    return true;
}

bool HasStacks() {
    return g_bStacks;
}

RecordingFile& File() {
    return g_state.file;
}

namespace {

/// Needs the lock.
Chunk* ChunkToFill(Chunk* pFull) {
    if (pFull != nullptr) return g_state.file.Close(*pFull) ? pFull : nullptr;
    while (g_state.nSpare > 0) {
        Chunk* pSpare = g_state.spare[--g_state.nSpare];
        if (pSpare->header.nCount < kRecordsPerChunk || g_state.file.Close(*pSpare)) return pSpare;
    }
    return g_state.file.Add(ChunkKind::kOpen);
}

}  // namespace

Record* NextRecordSlow() {
    Local& local = g_local;
    if (local.bBusy || g_state.file.IsRaised(kStopped)) return nullptr;
    local.bBusy = true;
    {
        const Guard guard;
        local.pChunk = ChunkToFill(local.pChunk);
    }
    Record* pRecord = nullptr;
    if (local.pChunk != nullptr) {
        local.nCount = local.pChunk->header.nCount;
        pRecord = &local.pChunk->records[local.nCount];
        pthread_setspecific(g_hThreadEnd, local.pChunk);
    }
    local.bBusy = false;
    return pRecord;
}

void WriteText(const char* szLine) {
    const Guard guard;
    const std::size_t nLength = std::strlen(szLine);
    Chunk*& pText = g_state.pText;
    if (pText == nullptr || pText->header.nCount + nLength > kTextPerChunk) {
        if (pText != nullptr) RecordingFile::Unmap(pText);
        pText = g_state.file.Add(ChunkKind::kText);
    }
    if (pText == nullptr || nLength > kTextPerChunk) return;
    std::memcpy(pText->text + pText->header.nCount, szLine, nLength);
    __atomic_fetch_add(&pText->header.nCount, static_cast<std::uint32_t>(nLength), __ATOMIC_RELEASE);
}

void WriteDeed(Operation enOperation, std::uint64_t nAddress) {
    if (!IsReady()) return;
    Record* pRecord = NextRecord();
    if (pRecord == nullptr) return;
    *pRecord = {};
    pRecord->nTicks = NowTicks();
    pRecord->nAddress = nAddress;
    pRecord->nThread = g_local.nThread;
    pRecord->enOperation = enOperation;
    Publish();
}

}  // namespace ztk_record
