#include "real.h"

#include <dlfcn.h>

#include <cstring>
#include <initializer_list>

#include "common/ztk_common.h"
#include "pass_on.h"
#include "recorder.h"

namespace ztk_record {

void* g_real[static_cast<std::size_t>(Real::kCount)] = {};

namespace {

using Dlsym = void* (*)(void*, const char*);
using Dlclose = int (*)(void*);

constexpr auto kCount = static_cast<std::size_t>(Real::kCount);
constexpr const char* kNames[kCount] = {"AllocatePoolMemory", "AllocateAlignedPoolMemory", "FreePoolMemory",
                                        "AllocatePoolSharedMemory", "FreePoolSharedMemory"};

void* OursOf(std::size_t nFunction) {
    static void* const ours[kCount] = {
        reinterpret_cast<void*>(&AllocatePoolMemory), reinterpret_cast<void*>(&AllocateAlignedPoolMemory),
        reinterpret_cast<void*>(&FreePoolMemory), reinterpret_cast<void*>(&AllocatePoolSharedMemory),
        reinterpret_cast<void*>(&FreePoolSharedMemory)};
    return ours[nFunction];
}

/// The C library's dlsym(), which cannot be asked for by itself here.
Dlsym RealDlsym() {
    static void* pFound = nullptr;
    if (pFound != nullptr) return reinterpret_cast<Dlsym>(pFound);
    for (const char* szVersion : {"GLIBC_2.34", "GLIBC_2.17", "GLIBC_2.2.5"}) {
        if (pFound == nullptr) pFound = dlvsym(RTLD_NEXT, "dlsym", szVersion);
    }
    return reinterpret_cast<Dlsym>(pFound);
}

bool IsLoaded(void* pAddress) {
    Dl_info info{};
    return dladdr(pAddress, &info) != 0;
}

/// Loaded, but not where all can see it.
void* FindInHiding(const char* szLibrary, const char* szName) {
    void* hLibrary = dlopen(szLibrary, RTLD_LAZY | RTLD_NOLOAD);
    if (hLibrary == nullptr) return nullptr;
    void* pFound = RealDlsym()(hLibrary, szName);
    dlclose(hLibrary);
    return pFound;
}

void NoLog() {}

__attribute__((constructor)) void AtLoad() {
    RealDlsym();
}

/// For a program that looks the library's functions up itself: the recorder's, with the real one behind it.
/// One library is recorded: were there a second one, its functions are left alone.
void* StandInFor(std::size_t nFunction, void* pFound) {
    void*& pReal = g_real[nFunction];
    if (pReal == nullptr || !IsLoaded(pReal)) __atomic_store_n(&pReal, pFound, __ATOMIC_RELAXED);
    return pReal == pFound ? OursOf(nFunction) : pFound;
}

void* Lookup(void* hLibrary, const char* szName) {
    void* pFound = RealDlsym()(hLibrary, szName);
    for (std::size_t i = 0; pFound != nullptr && i < kCount; ++i) {
        if (std::strcmp(szName, kNames[i]) != 0) continue;
        return pFound == OursOf(i) ? pFound : StandInFor(i, pFound);
    }
    return pFound;
}

void* Find(const char* szName, const char* szLibrary) {
    void* pFound = RealDlsym()(RTLD_NEXT, szName);
    return pFound != nullptr ? pFound : FindInHiding(szLibrary, szName);
}

bool ForgetIfUnloaded(void*& pReal) {
    if (pReal == nullptr || IsLoaded(pReal)) return false;
    __atomic_store_n(&pReal, nullptr, __ATOMIC_RELAXED);
    return true;
}

/// Where a library was, another may be tomorrow.
void ForgetUnloaded() {
    bool bGone = false;
    for (void*& pReal : g_real)
        bGone = ForgetIfUnloaded(pReal) || bGone;
    ForgetIfUnloaded(g_pZtkRecordRealLog);
    if (bGone) WriteDeed(Operation::kUnload, 0);
}

}  // namespace

void* FindReal(Real enFunction) {
    const auto nFunction = static_cast<std::size_t>(enFunction);
    void* pFound = Find(kNames[nFunction], "libZTKCommon.so");
    if (pFound != nullptr) __atomic_store_n(&g_real[nFunction], pFound, __ATOMIC_RELAXED);
    return pFound;
}

void* RealLog() {
    void* pReal = __atomic_load_n(&g_pZtkRecordRealLog, __ATOMIC_RELAXED);
    if (pReal != nullptr) return pReal;
    pReal = Find("ZTK_LOG_WriteLog", "libZTKSDKLogC.so");
    if (pReal == nullptr) return reinterpret_cast<void*>(&NoLog);
    __atomic_store_n(&g_pZtkRecordRealLog, pReal, __ATOMIC_RELAXED);
    return pReal;
}

}  // namespace ztk_record

void* g_pZtkRecordRealLog = nullptr;

/// Tells where dlsym() goes on to. With its pseudo handles the real one looks at who called it, so that
/// nothing may stand between.
extern "C" void* ZtkRecordDlsym(void* hLibrary, const char* /*szName*/) {
    if (hLibrary == RTLD_NEXT || hLibrary == RTLD_DEFAULT)
        return reinterpret_cast<void*>(ztk_record::RealDlsym());
    return reinterpret_cast<void*>(&ztk_record::Lookup);
}

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the C library's name is reserved
extern "C" __attribute__((visibility("default"))) int dlclose(void* hLibrary) {
    static void* pReal = nullptr;
    if (pReal == nullptr) pReal = ztk_record::RealDlsym()(RTLD_NEXT, "dlclose");
    const int nResult = reinterpret_cast<ztk_record::Dlclose>(pReal)(hLibrary);
    ztk_record::ForgetUnloaded();
    return nResult;
}
