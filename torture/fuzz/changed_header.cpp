#include "torture/fuzz/changed_header.h"

#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdlib>

#include "external/ztk_log.h"
#include "torture/processes/real_functions.h"

namespace ztk::torture {
namespace {

const HeaderBytes* g_pHeader = nullptr;
std::array<std::atomic<int>, 512> g_lines;

void* (*g_pMmap)(void*, std::size_t, int, int, int, off_t) = nullptr;

[[gnu::constructor(kBeforeAllOthers)]] void FindRealFunctions() {
    FindReal("mmap", g_pMmap);
}

/// All but the name, which the owner has just written.
void Overwrite(int hObject) {
    const auto* pBytes = g_pHeader->data();
    if (pwrite(hObject, pBytes, kAtName, 0) != static_cast<ssize_t>(kAtName) ||
        pwrite(hObject, pBytes + kAtText, kTextField, kAtText) != static_cast<ssize_t>(kTextField)) {
        std::abort();
    }
}

int Take(std::size_t nLine) {
    return g_lines.at(nLine).exchange(0);
}

}  // namespace

void ChangeHeadersTo(const HeaderBytes* pHeader) {
    g_pHeader = pHeader;
}

HeaderLines TakeHeaderLines() {
    return {Take(201), Take(227), Take(231), Take(252)};
}

}  // namespace ztk::torture

ZTK_IN_PLACE_OF_LIBC void* mmap(void* pAddr, std::size_t nLen, int nProtection, int nFlags, int hFile,
                                off_t nOffset) noexcept {
    const bool bReadsHeader = nLen == ztk::torture::HeaderBytes().size() && nProtection == PROT_READ &&
                              (nFlags & MAP_SHARED) != 0 && hFile >= 0;
    if (bReadsHeader && ztk::torture::g_pHeader != nullptr) ztk::torture::Overwrite(hFile);
    return ztk::torture::g_pMmap(pAddr, nLen, nProtection, nFlags, hFile, nOffset);
}

ZTK_IN_PLACE_OF_LIBC void ZTK_LOG_WriteLog(int /*level*/, const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    static_cast<void>(va_arg(args, const char*));
    const auto nLine = static_cast<std::size_t>(va_arg(args, int));
    va_end(args);
    if (nLine < ztk::torture::g_lines.size()) ++ztk::torture::g_lines.at(nLine);
}

ZTK_IN_PLACE_OF_LIBC int ZTK_LOG_GetLogLevel() {
    return 2;
}
