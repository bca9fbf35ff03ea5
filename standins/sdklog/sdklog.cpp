// The stand-in's exported functions and its two settings.
//
// No locks and no destructors: a line can be written from a freshly forked child and while the process
// exits, whoever else is in here.
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "external/ztk_log.h"
#include "standins/sdklog/log_line.h"
#include "standins/sdklog/whole_write.h"
#include "standins/sdklog/ztk_sdklog_standin.h"

#define ZTK_STANDIN_EXPORT extern "C" __attribute__((visibility("default")))

namespace ztk_standin {
namespace {

std::atomic<int> g_nLevel{3};
std::atomic<int> g_nFd{STDERR_FILENO};

const char* Setting(const char* szName) {
    const char* szValue = std::getenv(szName);
    return szValue == nullptr || szValue[0] == '\0' ? nullptr : szValue;
}

void ReadLevel() {
    const char* szLevel = Setting("ZTK_LOG_LEVEL");
    if (szLevel == nullptr) return;
    if (szLevel[0] >= '0' && szLevel[0] <= '5' && szLevel[1] == '\0') {
        g_nLevel = szLevel[0] - '0';
        return;
    }
    dprintf(STDERR_FILENO,
            "libZTKSDKLogC stand-in: ZTK_LOG_LEVEL=%.100s is not a level (0 trace .. 4 error, 5 nothing); "
            "using %d\n",
            szLevel, g_nLevel.load());
}

void OpenFile() {
    const char* szFile = Setting("ZTK_LOG_FILE");
    if (szFile == nullptr) return;
    const int nFd = open(szFile, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, 0644);
    if (nFd >= 0) {
        g_nFd = nFd;
        return;
    }
    dprintf(STDERR_FILENO, "libZTKSDKLogC stand-in: cannot open ZTK_LOG_FILE=%s (%s); logging to stderr\n",
            szFile, std::strerror(errno));
}

__attribute__((constructor)) void AtLoad() {
    ReadLevel();
    OpenFile();
}

}  // namespace
}  // namespace ztk_standin

using ztk_standin::g_nFd;
using ztk_standin::g_nLevel;

ZTK_STANDIN_EXPORT void ZTK_LOG_WriteLog(int level, const char* format, ...) {
    if (level < g_nLevel.load(std::memory_order_relaxed)) return;
    const int nError = errno;
    std::va_list args;
    va_start(args, format);
    const ztk_standin::LogLine line(level, format, args);
    va_end(args);
    ztk_standin::WriteWhole(g_nFd.load(std::memory_order_relaxed), line.Text(), line.Length());
    errno = nError;
}

ZTK_STANDIN_EXPORT int ZTK_LOG_GetLogLevel(void) {
    return g_nLevel.load(std::memory_order_relaxed);
}

ZTK_STANDIN_EXPORT void ZTK_LOG_SetLogLevel(int nLevel) {
    g_nLevel.store(nLevel, std::memory_order_relaxed);
}
