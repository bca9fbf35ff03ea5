#include "torture/faults/inside.h"

#include <link.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace ztk::torture {
namespace {

enum class Owner { kLibrary, kRuntime, kOther };

struct Range {
    std::uintptr_t nFirst;
    std::uintptr_t nBeyond;
    Owner owner;
};

// Everything that is loaded before main(). What is not in here was loaded later: the library under test.
std::array<Range, 64> g_ranges;
std::size_t g_nRanges = 0;

thread_local bool t_bLoading = false;
thread_local int t_nInside = 0;
thread_local int t_nOwn = 0;
thread_local int t_nRole = 0;

Owner OwnerOf(const char* szObject) {
    for (const char* szRuntime : {"/libc.so", "/libstdc++.so", "/libgcc_s.so"}) {
        if (std::strstr(szObject, szRuntime) != nullptr) return Owner::kRuntime;
    }
    return Owner::kOther;  // the program itself, the loader, the kernel's page
}

int AddRanges(dl_phdr_info* pInfo, std::size_t /*nSize*/, void* /*pData*/) {
    for (int i = 0; i < pInfo->dlpi_phnum; ++i) {
        const ElfW(Phdr)& header = pInfo->dlpi_phdr[i];
        if (header.p_type != PT_LOAD || (header.p_flags & PF_X) == 0 || g_nRanges == g_ranges.size())
            continue;
        const std::uintptr_t nFirst = pInfo->dlpi_addr + header.p_vaddr;
        g_ranges.at(g_nRanges++) = {nFirst, nFirst + header.p_memsz, OwnerOf(pInfo->dlpi_name)};
    }
    return 0;
}

constexpr int kBeforeAllOthers = 101;
[[gnu::constructor(kBeforeAllOthers)]] void FindRanges() {
    dl_iterate_phdr(AddRanges, nullptr);
}

Owner OwnerOf(const void* pCaller) {
    const auto nCaller = reinterpret_cast<std::uintptr_t>(pCaller);
    for (std::size_t i = 0; i < g_nRanges; ++i) {
        if (nCaller >= g_ranges[i].nFirst && nCaller < g_ranges[i].nBeyond) return g_ranges[i].owner;
    }
    return g_nRanges == 0 ? Owner::kOther : Owner::kLibrary;  // 0: before main()
}

}  // namespace

Inside::Inside() {
    ++t_nInside;
}
Inside::~Inside() {
    --t_nInside;
}

LoadingOrUnloading::LoadingOrUnloading() {
    t_bLoading = true;
}
LoadingOrUnloading::~LoadingOrUnloading() {
    t_bLoading = false;
    t_nInside = 0;
}

OwnCode::OwnCode() {
    ++t_nOwn;
}
OwnCode::~OwnCode() {
    --t_nOwn;
}

bool IsLibrarysOwnCode(const void* pCaller) {
    return OwnerOf(pCaller) == Owner::kLibrary;
}

bool IsLibrarysCall(const void* pCaller) {
    if (t_nOwn > 0) return false;
    switch (OwnerOf(pCaller)) {
        case Owner::kLibrary:
            if (t_bLoading && t_nInside == 0) t_nInside = 1;
            return true;
        case Owner::kRuntime:
            return t_nInside > 0;
        case Owner::kOther:
            break;
    }
    return false;
}

bool IsCallAtEndOfLoad() {
    return t_bLoading && t_nInside > 0 && t_nOwn == 0;
}

int RoleOfThisThread() {
    return t_nRole;
}
void SetRoleOfThisThread(int nRole) {
    t_nRole = nRole;
}

}  // namespace ztk::torture
