#include "torture/fuzz/fed_sweep.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <utility>

#include "external/ztk_log.h"
#include "torture/fuzz/fed_calls.h"
#include "torture/fuzz/fed_events.h"

namespace ztk::torture {
namespace {

struct State {
    FedSweep sweep;
    std::string own;
    FedEntry entry;    ///< the one that was read last
    std::string name;  ///< the record: the last one that could be inspected
    EntryType enType{};
    bool bFirst = true;
    std::uint64_t nEntries = 0;
    dirent direntry{};
    Events seen, expected;
};

State g_state;
std::atomic<bool> g_bFed{false};

/// The made-up stream; only its address counts.
char g_stream;

DIR* TheStream() {
    return reinterpret_cast<DIR*>(&g_stream);
}

/// Which processes answer: any half of them, the same throughout a sweep.
bool Answers(pid_t nProcess) {
    std::uint64_t nMix =
        (static_cast<std::uint64_t>(static_cast<std::uint32_t>(nProcess)) ^ g_state.sweep.nAliveSeed) *
        0x9e3779b97f4a7c15ULL;
    nMix ^= nMix >> 32U;
    return (nMix * 0xbf58476d1ce4e5b9ULL >> 40U & 1U) != 0;
}

std::string Printable(const std::string& text) {
    std::string out;
    for (const char c : text) {
        static constexpr char kHex[] = "0123456789abcdef";
        const auto nByte = static_cast<unsigned char>(c);
        if (nByte >= 0x20 && nByte < 0x7f && c != '\\') {
            out += c;
        } else {
            out += {'\\', 'x', kHex[nByte >> 4U], kHex[nByte & 15U]};
        }
    }
    return out;
}

void Compare() {
    State& state = g_state;
    if (!(state.seen == state.expected))
        state.sweep.differs("entry \"" + Printable(state.entry.name) + "\", record \"" +
                            Printable(state.name) + "\" type " +
                            std::to_string(static_cast<int>(state.enType)) + ", own id " + state.own +
                            ": got" + state.seen.Text() + ", expected" + state.expected.Text());
    state.seen.Clear();
    state.expected.Clear();
}

void ExpectRemoval() {
    State& state = g_state;
    state.expected.Add(What::kOpen, state.entry.hObject);
    state.expected.Add(What::kUnlink, state.entry.bRemovable ? 0 : -1);
    if (state.entry.bRemovable) state.expected.Add(What::kClose, state.entry.hObject);
}

/// What follows for the entry in the record.
void ExpectHandling() {
    State& state = g_state;
    const auto nType = static_cast<int>(state.enType);
    state.expected.Add(What::kLogNamed, nType);
    const Verdict verdict = Judge(state.name, state.enType, state.own);
    if (verdict.nLine == kLineNoRegularFile) state.expected.Add(What::kLogNoRegularFile, nType);
    if (verdict.nLine == kLineMalformed) state.expected.Add(What::kLogMalformed, nType);
    if (verdict.bAsked) state.expected.Add(What::kKill, verdict.nAsked);
    if (verdict.bOwn || (verdict.bAsked && !Answers(verdict.nAsked))) ExpectRemoval();
}

void ExpectEntry() {
    State& state = g_state;
    const bool bInspected = state.entry.nLstatError == 0;
    state.expected.Add(What::kLstat, state.entry.nLstatError);
    if (bInspected) {
        state.name = state.entry.name;
        state.enType = state.entry.enType;
    } else if (state.bFirst) {
        state.expected.Add(What::kLogNoFirst, state.entry.nLstatError);
        state.expected.Add(What::kLogNoDirectory, 0);
        return;
    } else {
        state.expected.Add(What::kLogNoStatus, state.entry.nLstatError);  // and the record is handled again
    }
    ExpectHandling();
    state.bFirst = false;
}

/// The line of the sweep that has these numbers and this text; kLogOther if there is none.
What LineOf(int nLevel, int nLine, const char* szFunction, const char* szFormat) {
    struct Line {
        What enWhat;
        int nLevel, nLine;
        const char* szFunction;
        const char* szFormat;
    };
    static constexpr Line kLines[] = {
        {What::kLogNamed, 1, 696, "ReleaseMemoryRes", "[%s@%d]ReleaseMemoryRes  find SHM Name[%s],Type[%d]"},
        {What::kLogNoRegularFile, 4, 739, "ReleaseMemoryRes", "[%s@%d]SHM File Type=%d, Name = %s"},
        {What::kLogMalformed, 3, 730, "ReleaseMemoryRes",
         "[%s@%d]ReleaseMemoryRes FileName[%s],Type[%d] is not normal file"},
        {What::kLogNoDirectory, 4, 689, "ReleaseMemoryRes",
         "[%s@%d]ReleaseMemoryRes portable_findfirst failed"},
        {What::kLogNoFirst, 4, 104, "portable_findfirst", "[%s@%d]lstat %s fail, error = %d"},
        {What::kLogNoStatus, 4, 149, "portalbe_findnext", "[%s@%d]lstat %s fail, error = %d"}};
    for (const Line& line : kLines) {
        if (line.nLine == nLine && line.nLevel == nLevel && std::strcmp(line.szFunction, szFunction) == 0 &&
            std::strcmp(line.szFormat, szFormat) == 0) {
            return line.enWhat;
        }
    }
    return What::kLogOther;
}

bool IsPathOf(const char* szPath, const std::string& name) {
    static constexpr char kFolder[] = "/dev/shm/";
    constexpr std::size_t kFolderLen = sizeof(kFolder) - 1;
    return std::strncmp(szPath, kFolder, kFolderLen) == 0 && name == szPath + kFolderLen;
}

/// The text that a line bears must be the record's name, or the path of what could not be inspected.
void SeeText(What enWhat, bool bRight, std::int64_t nNumber) {
    g_state.seen.Add(bRight ? enWhat : What::kBadText, nNumber);
}

void SeeLine(What enWhat, int nLine, std::va_list args) {
    switch (enWhat) {
        case What::kLogNamed:
        case What::kLogMalformed: {
            const bool bRight = g_state.name == va_arg(args, const char*);
            return SeeText(enWhat, bRight, va_arg(args, int));
        }
        case What::kLogNoRegularFile: {
            const int nType = va_arg(args, int);
            return SeeText(enWhat, g_state.name == va_arg(args, const char*), nType);
        }
        case What::kLogNoFirst:
        case What::kLogNoStatus: {
            const bool bRight = IsPathOf(va_arg(args, const char*), g_state.entry.name);
            return SeeText(enWhat, bRight, va_arg(args, int));
        }
        case What::kLogNoDirectory:
            g_bFed = false;  // the sweep ends with it; what follows is other threads'
            return g_state.seen.Add(enWhat, 0);
        default:
            g_state.seen.Add(enWhat, nLine);
    }
}

void LogLine(int nLevel, const char* szFormat, std::va_list args) {
    const char* szFunction = va_arg(args, const char*);
    const int nLine = va_arg(args, int);
    SeeLine(LineOf(nLevel, nLine, szFunction, szFormat), nLine, args);
}

DIR* Open() {
    if (g_state.sweep.enDirectory != FedDirectory::kUnopenable) return TheStream();
    errno = EACCES;
    return nullptr;
}

dirent* Read() {
    State& state = g_state;
    Compare();
    if (state.sweep.enDirectory == FedDirectory::kEmpty || !state.sweep.next(state.entry)) {
        state.expected.Add(What::kCloseDirectory, 0);
        if (state.bFirst) state.expected.Add(What::kLogNoDirectory, 0);
        return nullptr;
    }
    ++state.nEntries;
    std::memcpy(state.direntry.d_name, state.entry.name.c_str(), state.entry.name.size() + 1);
    ExpectEntry();
    return &state.direntry;
}

int Inspect(const char* szPath, struct stat* pStatus) {
    const FedEntry& entry = g_state.entry;
    SeeText(What::kLstat, IsPathOf(szPath, entry.name), entry.nLstatError);
    if (entry.nLstatError != 0) {
        errno = entry.nLstatError;
        return -1;
    }
    static constexpr std::array<mode_t, 5> kOtherTypes = {S_IFLNK, S_IFIFO, S_IFSOCK, S_IFCHR, S_IFBLK};
    *pStatus = {};
    pStatus->st_mode = entry.enType == EntryType::kRegular     ? S_IFREG
                       : entry.enType == EntryType::kDirectory ? S_IFDIR
                                                               : kOtherTypes[entry.name.size() % 5];
    return 0;
}

int Ask(pid_t nProcess, int nSignal) {
    g_state.seen.Add(nSignal == 0 ? What::kKill : What::kBadText, nProcess);
    if (Answers(nProcess)) return 0;
    errno = nProcess % 2 == 0 ? ESRCH : EPERM;
    return -1;
}

}  // namespace

void BeginFedSweep(FedSweep sweep) {
    State& state = g_state;
    state.sweep = std::move(sweep);
    state.own = std::to_string(state.sweep.nOwn);
    state.bFirst = true;
    state.nEntries = 0;
    state.seen.Clear();
    state.expected.Clear();
    if (state.sweep.enDirectory == FedDirectory::kUnopenable) state.expected.Add(What::kLogNoDirectory, 0);
    g_bFed = true;
}

std::uint64_t EndFedSweep() {
    Compare();
    g_bFed = false;
    return g_state.nEntries;
}

}  // namespace ztk::torture

using namespace ztk::torture;  // NOLINT(google-build-using-namespace): what follows has the C library's names

ZTK_FED(DIR*) ZTK_FED_NAME(opendir)(const char* szPath) {
    return g_bFed && std::strcmp(szPath, "/dev/shm") == 0 ? Open() : ZTK_UNFED(opendir)(szPath);
}

ZTK_FED(dirent*) ZTK_FED_NAME(readdir)(DIR* pStream) {
    return pStream == TheStream() ? Read() : ZTK_UNFED(readdir)(pStream);
}

ZTK_FED(int) ZTK_FED_NAME(closedir)(DIR* pStream) {
    if (pStream != TheStream()) return ZTK_UNFED(closedir)(pStream);
    g_state.seen.Add(What::kCloseDirectory, 0);
    if (!g_state.bFirst) g_bFed = false;  // the sweep ends with it, unless there was no entry
    return 0;
}

ZTK_FED(int) ZTK_FED_NAME(lstat)(const char* szPath, struct stat* pStatus) noexcept {
    return g_bFed ? Inspect(szPath, pStatus) : ZTK_UNFED(lstat)(szPath, pStatus);
}

ZTK_FED(int) ZTK_FED_NAME(kill)(pid_t nProcess, int nSignal) noexcept {
    return g_bFed ? Ask(nProcess, nSignal) : ZTK_UNFED(kill)(nProcess, nSignal);
}

ZTK_FED(int) ZTK_FED_NAME(shm_open)(const char* szName, int nFlags, mode_t nMode) {
    if (!g_bFed) return ZTK_UNFED(shm_open)(szName, nFlags, nMode);
    SeeText(What::kOpen, g_state.name == szName && nMode == 0600, g_state.entry.hObject);
    if (g_state.entry.hObject < 0) errno = EACCES;
    return g_state.entry.hObject;
}

ZTK_FED(int) ZTK_FED_NAME(shm_unlink)(const char* szName) {
    if (!g_bFed) return ZTK_UNFED(shm_unlink)(szName);
    const int nResult = g_state.entry.bRemovable ? 0 : -1;
    SeeText(What::kUnlink, g_state.name == szName, nResult);
    if (nResult != 0) errno = ENOENT;
    return nResult;
}

ZTK_FED(int) ZTK_FED_NAME(close)(int hFile) {
    if (!g_bFed) return ZTK_UNFED(close)(hFile);
    g_state.seen.Add(What::kClose, hFile);
    return hFile < 0 ? -1 : 0;
}

ZTK_FED(pid_t) ZTK_FED_NAME(getpid)() noexcept {
    return g_state.sweep.nOwn != 0 ? g_state.sweep.nOwn : ZTK_UNFED(getpid)();
}

extern "C" __attribute__((visibility("default"))) void ZTK_LOG_WriteLog(int level, const char* format, ...) {
    if (!g_bFed) return;
    std::va_list args;
    va_start(args, format);
    LogLine(level, format, args);
    va_end(args);
}

extern "C" __attribute__((visibility("default"))) int ZTK_LOG_GetLogLevel(void) {
    return 2;
}
