#include "sites.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <link.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "recorder.h"

namespace ztk_record {
namespace {

constexpr int kMostFrames = 32;
constexpr std::size_t kSlots = 32768;
constexpr std::size_t kMostSites = kSlots / 4 * 3;
constexpr std::size_t kMostModules = 512;

struct Slot {
    std::uint64_t nKey;  ///< written last: whoever finds it finds the number, too
    std::uint32_t nSite;
};

struct Module {
    std::uint64_t nBase;
    std::uint64_t nPath;  ///< its hash: another one may be loaded at the same place later
};

struct Sites {
    pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
    std::uint32_t nSites = 0;
    std::uint32_t nModules = 0;
    Module modules[kMostModules] = {};
};
Sites g_sites;
Slot g_slots[kSlots];

constexpr std::uint64_t Mix(std::uint64_t nHash, std::uint64_t nValue) {
    nHash = (nHash ^ nValue) * 0x9e3779b97f4a7c15U;
    return nHash ^ (nHash >> 29U);
}

/// The slot of a key, or the empty one where it would be.
Slot& SlotOf(std::uint64_t nKey) {
    std::size_t nAt = Mix(1, nKey) % kSlots;
    for (;;) {
        const std::uint64_t nFound = __atomic_load_n(&g_slots[nAt].nKey, __ATOMIC_ACQUIRE);
        if (nFound == nKey || nFound == 0) return g_slots[nAt];
        nAt = (nAt + 1) % kSlots;
    }
}

/// Of a site that is being written down.
class Line {
  public:
    explicit Line(std::uint32_t nSite) {
        nLength_ = Fitting(std::snprintf(szText_, kMost, "S\t%u\t", nSite));
    }

    void Add(std::uint32_t nModule, std::uint64_t nAddress, const char* szSymbol) {
        const std::size_t nRoom = kMost - nLength_;
        const int nNeeded = std::snprintf(szText_ + nLength_, nRoom, "%u:%lx:%.200s ", nModule,
                                          static_cast<unsigned long>(nAddress), szSymbol);
        if (nNeeded > 0 && static_cast<std::size_t>(nNeeded) < nRoom) {
            nLength_ += static_cast<std::size_t>(nNeeded);
        } else {
            szText_[nLength_] = '\0';  // what does not fit whole is left out
        }
    }
    const char* Finish() {
        szText_[nLength_] = '\n';
        szText_[nLength_ + 1] = '\0';
        return szText_;
    }

  private:
    static constexpr std::size_t kMost = 8000;
    static std::size_t Fitting(int nLength) { return nLength > 0 ? static_cast<std::size_t>(nLength) : 0; }

    char szText_[kMost + 2];
    std::size_t nLength_ = 0;
};

void PathOf(const Dl_info& info, const link_map* pMap, char (&szPath)[PATH_MAX]) {
    szPath[0] = '\0';
    if (pMap->l_name == nullptr || pMap->l_name[0] == '\0') {
        const ssize_t nRead = readlink("/proc/self/exe", szPath, sizeof(szPath) - 1);
        szPath[nRead > 0 ? nRead : 0] = '\0';
    } else if (realpath(info.dli_fname, szPath) == nullptr) {
        std::snprintf(szPath, sizeof(szPath), "%s", info.dli_fname);
    }
    for (char* pch = szPath; *pch != '\0'; ++pch) {
        if (static_cast<unsigned char>(*pch) < ' ') *pch = '?';
    }
}

/// Needs the lock. 0: none.
std::uint32_t ModuleOf(const Dl_info& info, const link_map* pMap) {
    char szPath[PATH_MAX];
    PathOf(info, pMap, szPath);
    std::uint64_t nHash = 1;
    for (const char* pch = szPath; *pch != '\0'; ++pch)
        nHash = Mix(nHash, static_cast<unsigned char>(*pch));
    for (std::uint32_t i = 0; i < g_sites.nModules; ++i) {
        if (g_sites.modules[i].nBase == pMap->l_addr && g_sites.modules[i].nPath == nHash) return i + 1;
    }
    if (g_sites.nModules == kMostModules) return 0;
    g_sites.modules[g_sites.nModules++] = {pMap->l_addr, nHash};
    char szLine[PATH_MAX + 32];
    std::snprintf(szLine, sizeof(szLine), "M\t%u\t%s\n", g_sites.nModules, szPath);
    WriteText(szLine);
    return g_sites.nModules;
}

void Describe(Line& line, void* pAddress) {
    const auto nAddress = reinterpret_cast<std::uintptr_t>(pAddress);
    Dl_info info{};
    link_map* pMap = nullptr;
    // the call itself is before: where it returns to may be another function
    if (dladdr1(reinterpret_cast<void*>(nAddress - 1), &info, reinterpret_cast<void**>(&pMap),
                RTLD_DL_LINKMAP) == 0 ||
        pMap == nullptr) {
        line.Add(0, nAddress, "");
        return;
    }
    line.Add(ModuleOf(info, pMap), nAddress - pMap->l_addr, info.dli_sname == nullptr ? "" : info.dli_sname);
}

std::uint32_t AddSite(std::uint64_t nKey, void* const* pFrames, int nFrames) {
    Local& local = g_local;
    local.bBusy = true;
    const int nError = errno;  // the program's
    pthread_mutex_lock(&g_sites.lock);
    Slot& slot = SlotOf(nKey);
    std::uint32_t nSite = 0;
    if (slot.nKey == nKey) {
        nSite = slot.nSite;
    } else if (g_sites.nSites < kMostSites) {
        nSite = ++g_sites.nSites;
        Line line(nSite);
        for (int i = 0; i < nFrames; ++i)
            Describe(line, pFrames[i]);
        WriteText(line.Finish());
        slot.nSite = nSite;
        __atomic_store_n(&slot.nKey, nKey, __ATOMIC_RELEASE);
    } else {
        File().Raise(kSitesMissing);
    }
    pthread_mutex_unlock(&g_sites.lock);
    errno = nError;
    local.bBusy = false;
    return nSite;
}

std::uint32_t NumberOf(std::uint64_t nKey, void* const* pFrames, int nFrames) {
    const Slot& slot = SlotOf(nKey);
    return slot.nKey == nKey ? slot.nSite : AddSite(nKey, pFrames, nFrames);
}

std::uint32_t StackOf(void* pCaller) {
    void* frames[kMostFrames];
    const int nFrames = backtrace(frames, kMostFrames);
    int nFirst = 0;
    while (nFirst < nFrames && frames[nFirst] != pCaller)
        ++nFirst;
    if (nFirst == nFrames) return NumberOf(reinterpret_cast<std::uintptr_t>(pCaller), &pCaller, 1);
    std::uint64_t nKey = 1;
    for (int i = nFirst; i < nFrames; ++i)
        nKey = Mix(nKey, reinterpret_cast<std::uintptr_t>(frames[i]));
    return NumberOf(nKey | 1U, frames + nFirst, nFrames - nFirst);
}

}  // namespace

void WarmUpStacks() {
    void* frame = nullptr;
    backtrace(&frame, 1);
}

std::uint32_t SiteOf(void* pCaller) {
    if (HasStacks()) return StackOf(pCaller);
    return NumberOf(reinterpret_cast<std::uintptr_t>(pCaller), &pCaller, 1);
}

void ForgetSites() {
    const bool bAny = g_sites.nSites != 0;
    g_sites = Sites();  // another thread of the parent may have held the lock
    if (bAny) std::memset(static_cast<void*>(g_slots), 0, sizeof(g_slots));
}

}  // namespace ztk_record
