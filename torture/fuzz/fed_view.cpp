#include "torture/fuzz/fed_view.h"

#include <sys/mman.h>

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "external/ztk_log.h"
#include "platform/mapping.h"

namespace ztk::torture {
namespace {

constexpr std::int32_t kObject = 4711;
constexpr std::uint64_t kObjectLen = 200;

/// What the object holds while it is fed to the mapping, and what has been seen.
struct Fed {
    const HeaderBytes* pHeader = nullptr;
    int nMapped = 0;  ///< mappings that are there
    std::vector<int> lines;
};

Fed g_fed;

/// On the thread that feeds; the pools that are linked in have threads of their own.
thread_local bool g_bFeeding = false;

/// One mapping of as many bytes as were asked for, and not one more.
void* Map(std::size_t nLen) {
    auto* pMapped = static_cast<unsigned char*>(std::malloc(nLen));
    if (pMapped == nullptr) std::abort();
    std::memset(pMapped, 0xee, nLen);
    std::memcpy(pMapped, g_fed.pHeader->data(), g_fed.pHeader->size());
    ++g_fed.nMapped;
    return pMapped;
}

struct Expectation {
    std::uint32_t nErr;
    std::vector<int> lines;
};

Expectation Expected(OwnView enView) {
    constexpr int kLast = 268;
    switch (enView) {
        case OwnView::kMapped:
            return {ZTK_SUCCESS, {kLast}};
        case OwnView::kBadLength:
            return {ERR_BAD_HEADER, {201, kLast}};
        case OwnView::kMmzUnreadable:
            return {ERR_BAD_HEADER, {227, kLast}};
        case OwnView::kMmzRefused:
            return {ERR_NOT_SUPPORTED, {231, 252, kLast}};
    }
    std::abort();
}

std::string Hex(const HeaderBytes& header) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const unsigned char nByte : header)
        text += {kDigits[nByte >> 4U], kDigits[nByte & 15U]};
    return text;
}

/// The header stays as it was, what is behind it is clear.
bool IsCleared(const unsigned char* pView, const HeaderBytes& header) {
    if (std::memcmp(pView, header.data(), header.size()) != 0) return false;
    for (std::uint64_t i = header.size(); i < kObjectLen; ++i) {
        if (pView[i] != 0) return false;
    }
    return true;
}

}  // namespace

std::string CheckOwnView(const HeaderBytes& header) {
    g_fed.pHeader = &header;
    g_fed.lines.clear();
    g_bFeeding = true;
    std::uint32_t nErr = 77;
    auto* pView = static_cast<unsigned char*>(MapView_Linux(kObject, kObjectLen, &nErr));
    const Expectation expected = Expected(JudgeOwnView(header));
    const bool bMapped = expected.nErr == ZTK_SUCCESS;
    bool bGood = nErr == expected.nErr && g_fed.lines == expected.lines && (pView != nullptr) == bMapped &&
                 g_fed.nMapped == (bMapped ? 1 : 0);
    if (bGood && bMapped) {
        bGood =
            IsCleared(pView, header) && UnmapView_Linux(pView, kObjectLen, &nErr) == 0 && g_fed.nMapped == 0;
    }
    g_bFeeding = false;
    return bGood ? "" : "the owner's view of " + Hex(header) + ": status " + std::to_string(nErr);
}

std::string CheckConsumersView(const HeaderBytes& header, const std::string& name, std::uint64_t nObjectLen) {
    const std::unique_ptr<unsigned char[]> copy(new unsigned char[header.size()]);
    std::memcpy(copy.get(), header.data(), header.size());
    const ZtkViewStatus enStatus = ZtkViewCheckHeader_(copy.get(), name.c_str(), nObjectLen);
    const ZtkViewStatus enExpected = JudgeConsumersView(header, name, nObjectLen);
    if (enStatus == enExpected) return "";
    return "the consumer's view of " + Hex(header) + " as " + name + ", " + std::to_string(nObjectLen) +
           " bytes: " + ZtkViewStatusText(enStatus) + ", expected: " + ZtkViewStatusText(enExpected);
}

}  // namespace ztk::torture

using ztk::torture::g_bFeeding;
using ztk::torture::g_fed;
using ztk::torture::kObject;

extern "C" {

void* __real_mmap(void* pAddr, std::size_t nLen, int nProtection, int nFlags, int hFile, off_t nOffset);
void* __wrap_mmap(void* pAddr, std::size_t nLen, int nProtection, int nFlags, int hFile, off_t nOffset);
int __real_munmap(void* pAddr, std::size_t nLen);
int __wrap_munmap(void* pAddr, std::size_t nLen);
int __real_madvise(void* pAddr, std::size_t nLen, int nAdvice);
int __wrap_madvise(void* pAddr, std::size_t nLen, int nAdvice);

void* __wrap_mmap(void* pAddr, std::size_t nLen, int nProtection, int nFlags, int hFile, off_t nOffset) {
    return hFile == kObject ? ztk::torture::Map(nLen)
                            : __real_mmap(pAddr, nLen, nProtection, nFlags, hFile, nOffset);
}

int __wrap_munmap(void* pAddr, std::size_t nLen) {
    if (!g_bFeeding) return __real_munmap(pAddr, nLen);
    std::free(pAddr);
    --g_fed.nMapped;
    return 0;
}

int __wrap_madvise(void* pAddr, std::size_t nLen, int nAdvice) {
    return g_bFeeding ? 0 : __real_madvise(pAddr, nLen, nAdvice);
}

__attribute__((visibility("default"))) void ZTK_LOG_WriteLog(int /*level*/, const char* format, ...) {
    if (!g_bFeeding) return;
    std::va_list args;
    va_start(args, format);
    static_cast<void>(va_arg(args, const char*));
    g_fed.lines.push_back(va_arg(args, int));
    va_end(args);
}

__attribute__((visibility("default"))) int ZTK_LOG_GetLogLevel(void) {
    return 2;
}
}
