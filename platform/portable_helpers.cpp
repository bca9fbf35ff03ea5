#include "platform/portable_helpers.h"

#include <dlfcn.h>
#include <strings.h>
#include <sys/time.h>

#include <cstdint>
#include <cstring>

namespace ztk {

char* portable_strcpy(char* pDest, std::size_t /*nSize*/, const char* pSource) {
    // NOLINTNEXTLINE(clang-analyzer-security.insecureAPI.strcpy): unbounded as callers know it
    return std::strcpy(pDest, pSource);
}

char* portable_lstrcpy(char* pDest, std::size_t nSize, const char* pSource) {
    return portable_strcpy(pDest, nSize, pSource);
}

int portable_stricmp(const char* szFirst, const char* szSecond) {
    return strcasecmp(szFirst, szSecond);
}

int portable_memcpy(void* pDest, std::size_t nSize, const void* pSource, std::size_t nCount) {
    if (nCount > 0) std::memcpy(pDest, pSource, nCount);
    return pSource != nullptr && nSize >= nCount ? 0 : -1;
}

void* portable_pagebase(void* pAddr) {
    constexpr std::uintptr_t kInPage = 0xFFF;
    return static_cast<char*>(pAddr) - (reinterpret_cast<std::uintptr_t>(pAddr) & kInPage);
}

double portable_milliseconds() {
    timeval now{};
    gettimeofday(&now, nullptr);
    return static_cast<double>(now.tv_sec) * 1000.0 + static_cast<double>(now.tv_usec) / 1000.0;
}

void* portable_loadlibrary(const char* szFile) {
    return dlopen(szFile, RTLD_NOW);
}

void* portable_findsymbol(void* hLibrary, const char* szName) {
    return dlsym(hLibrary, szName);
}

}  // namespace ztk
