#include "record/pool_library.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "common/ztk_common.h"
#include "external/ztk_log.h"
#include "text.h"
#include "ztk-record/pool_lines.h"

namespace ztkmem::record {
namespace {

// The reclaimers' threads write lines, too, up to the end of the process: never destroyed.
struct Listener {
    std::mutex lock;
    Told told;
    int (*pLevel)() = nullptr;
    void (*pWrite)(int, const char*, ...) = nullptr;
};
Listener& TheListener() {
    static auto* const pListener = new Listener;
    return *pListener;
}

void Hear(ztk_record::PoolLine enLine, std::va_list values) {
    using ztk_record::PoolLine;
    if (enLine == PoolLine::kOther) return;
    Listener& listener = TheListener();
    const std::lock_guard<std::mutex> guard(listener.lock);
    if (enLine == PoolLine::kMade) listener.told.bMade = true;
    if (enLine == PoolLine::kRetry) listener.told.bRetried = true;
    if (enLine != PoolLine::kFreedLocal && enLine != PoolLine::kFreedShared) return;
    static_cast<void>(va_arg(values, const char*));  // function, line, tag
    static_cast<void>(va_arg(values, int));
    static_cast<void>(va_arg(values, const char*));
    auto& freed = enLine == PoolLine::kFreedLocal ? listener.told.freedLocal : listener.told.freedShared;
    freed.push_back(ztk_record::AddressIn(va_arg(values, const char*)));
}

/// The log is where it would be for any program: the line goes on, made up, if it is to be written at all.
__attribute__((format(printf, 2, 0))) void PassOn(int nLevel, const char* szFormat, std::va_list values) {
    const Listener& listener = TheListener();
    if (listener.pWrite == nullptr || (listener.pLevel != nullptr && nLevel < listener.pLevel())) return;
    std::array<char, 8192> text{};
    std::vsnprintf(text.data(), text.size(), szFormat, values);
    listener.pWrite(nLevel, "%s", text.data());
}

void* Open(const std::string& path) {
    return dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
}

std::string FolderOfProgram() {
    std::error_code ignored;
    return std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path();
}

void* OpenSomewhere(const std::string& path) {
    if (!path.empty()) return Open(path.find('/') == std::string::npos ? "./" + path : path);
    const std::string folder = FolderOfProgram();
    std::error_code ignored;
    for (const std::string& candidate :
         {folder + "/" ZTKMEM_LIBRARY_FROM_BUILD, std::string("libZTKCommon.so"),
          folder + "/" ZTKMEM_LIBRARY_FROM_BIN}) {
        if (candidate[0] == '/' && !std::filesystem::exists(candidate, ignored)) continue;
        if (void* hLibrary = Open(candidate)) return hLibrary;
    }
    return nullptr;
}

template <class Function>
void LookUp(void* hLibrary, const char* szName, Function& pFunction) {
    pFunction = reinterpret_cast<Function>(dlsym(hLibrary, szName));
    if (pFunction == nullptr) throw std::runtime_error(fmt::format("the library has no {}", szName));
}

std::string LastError() {
    const char* szError = dlerror();
    return szError == nullptr ? "not found" : Escape(szError);
}

}  // namespace

Told TakeTold() {
    Listener& listener = TheListener();
    const std::lock_guard<std::mutex> guard(listener.lock);
    return std::exchange(listener.told, {});
}

PoolLibrary LoadPoolLibrary(const std::string& path) {
    void* hLibrary = OpenSomewhere(path);
    if (hLibrary == nullptr)
        throw std::runtime_error(fmt::format("cannot load the library: {} (see --library)", LastError()));
    PoolLibrary library;
    LookUp(hLibrary, "AllocatePoolMemory", library.pAllocate);
    LookUp(hLibrary, "AllocateAlignedPoolMemory", library.pAllocateAligned);
    LookUp(hLibrary, "AllocatePoolSharedMemory", library.pAllocateShared);
    LookUp(hLibrary, "FreePoolMemory", library.pRelease);
    LookUp(hLibrary, "FreePoolSharedMemory", library.pReleaseShared);
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(library.pAllocate), &info) != 0) {
        std::error_code ignored;
        library.path = std::filesystem::weakly_canonical(info.dli_fname, ignored);
    }
    // not this program's own, which the library calls
    Listener& listener = TheListener();
    listener.pLevel = reinterpret_cast<int (*)()>(dlsym(hLibrary, "ZTK_LOG_GetLogLevel"));
    listener.pWrite = reinterpret_cast<void (*)(int, const char*, ...)>(dlsym(hLibrary, "ZTK_LOG_WriteLog"));
    return library;
}

}  // namespace ztkmem::record

/// Stands before the log library's function of this name, since a program's own come first.
extern "C" __attribute__((visibility("default"))) void ZTK_LOG_WriteLog(int nLevel, const char* szFormat,
                                                                        ...) {
    std::va_list values;
    va_start(values, szFormat);
    ztkmem::record::Hear(ztk_record::PoolLineOf(nLevel, szFormat), values);
    va_end(values);
    va_start(values, szFormat);
    ztkmem::record::PassOn(nLevel, szFormat, values);
    va_end(values);
}
