#include "processes.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <ctime>
#include <filesystem>
#include <optional>
#include <system_error>

#include "descriptor.h"
#include "proc_text.h"

namespace ztkmem {
namespace {

namespace fs = std::filesystem;

struct FileText {
    std::string text;
    int nError = 0;
};

FileText ReadWhole(const std::string& path) {
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.IsOpen()) return {{}, errno};
    FileText result;
    std::array<char, 16384> part{};
    for (;;) {
        const ssize_t nRead = read(file.Get(), part.data(), part.size());
        if (nRead < 0 && errno == EINTR) continue;
        if (nRead < 0) return {{}, errno};
        if (nRead == 0) return result;
        result.text.append(part.data(), static_cast<std::size_t>(nRead));
    }
}

bool IsRefusal(int nError) {
    return nError == EACCES || nError == EPERM;
}

std::int64_t SecondsOf(clockid_t enClock) {
    timespec now{};
    clock_gettime(enClock, &now);
    return now.tv_sec;
}

/// The kernel counts a start from the machine's; its own clock is that of the names' files.
std::int64_t StartedAt(const ProcessStat& stat) {
    const auto nTicks = static_cast<std::uint64_t>(std::max(sysconf(_SC_CLK_TCK), 1L));
    const std::int64_t nBooted = SecondsOf(CLOCK_REALTIME) - SecondsOf(CLOCK_BOOTTIME);
    return nBooted + static_cast<std::int64_t>(stat.nStartTicks / nTicks);
}

class ProcessReader {
  public:
    ProcessReader(Mappings enMappings, std::uint64_t nShmDevice, std::string root)
        : enMappings_(enMappings), nShmDevice_(nShmDevice), root_(std::move(root)) {}

    void ReadAll(ProcessTable& table) {
        table.visibility.bNothingHidden = ReadWhole(root_ + "/1/status").nError == 0;
        std::error_code error;
        for (auto entry = fs::directory_iterator(root_, error); !error && entry != fs::directory_iterator();
             entry.increment(error)) {
            const int nId = IdOf(entry->path().filename().string());
            if (nId > 0) ReadOne(nId, table);
        }
        if (error) table.visibility.bNothingHidden = false;
        std::sort(table.processes.begin(), table.processes.end(),
                  [](const Process& one, const Process& other) { return one.nId < other.nId; });
    }

  private:
    static int IdOf(const std::string& name) {
        int nId = 0;
        const auto [pStop, enError] = std::from_chars(name.data(), name.data() + name.size(), nId);
        return enError == std::errc() && pStop == name.data() + name.size() ? nId : 0;
    }

    void ReadOne(int nId, ProcessTable& table) const {
        const std::string folder = root_ + "/" + std::to_string(nId);
        const FileText stat = ReadWhole(folder + "/stat");
        const FileText status = ReadWhole(folder + "/status");
        if (IsRefusal(stat.nError) || IsRefusal(status.nError)) table.visibility.bNothingHidden = false;
        const auto read = ParseStat(stat.text);
        if (!read) return;
        Process process;
        process.nId = nId;
        process.command = read->command;
        process.vitals = {read->chState, read->nThreads, StartedAt(*read)};
        process.nResident = read->nResidentPages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
        process.innerIds = ParseInnerIds(status.text);
        if (enMappings_ == Mappings::kRead && !ReadMappings(folder, process)) ++table.nUnread;
        table.processes.push_back(std::move(process));
    }

    bool ReadMappings(const std::string& folder, Process& process) const {
        const FileText maps = ReadWhole(folder + "/maps");
        process.mappedInodes = ParseMappedInodes(maps.text, nShmDevice_);
        return !IsRefusal(maps.nError);
    }

    Mappings enMappings_;
    std::uint64_t nShmDevice_;
    std::string root_;
};

bool IsInitialNamespace(const std::string& root) {
    // The number that every kernel since 3.8 gives its first pid namespace.
    constexpr std::uint64_t kFirst = 0xEFFFFFFC;
    std::error_code error;
    const fs::path link = fs::read_symlink(root + "/self/ns/pid", error);
    return !error && ParseNamespaceLink(link.native()) == std::optional<std::uint64_t>(kFirst);
}

bool IsOurProc(const std::string& root) {
    std::error_code error;
    const fs::path link = fs::read_symlink(root + "/self", error);
    return !error && link.native() == std::to_string(getpid());
}

}  // namespace

const Process* ProcessTable::Find(int nId) const {
    const auto at =
        std::lower_bound(processes.begin(), processes.end(), nId,
                         [](const Process& process, int nWanted) { return process.nId < nWanted; });
    return at != processes.end() && at->nId == nId ? &*at : nullptr;
}

bool ProcessTable::HasInnerId(int nId) const {
    return std::any_of(processes.begin(), processes.end(), [nId](const Process& process) {
        return std::find(process.innerIds.begin(), process.innerIds.end(), nId) != process.innerIds.end();
    });
}

ProcessTable ReadProcesses(Mappings enMappings, std::uint64_t nShmDevice, const std::string& root) {
    ProcessTable table;
    table.visibility.bInitialNamespace = IsInitialNamespace(root);
    table.visibility.bProcIsOurs = IsOurProc(root);
    ProcessReader(enMappings, nShmDevice, root).ReadAll(table);
    return table;
}

Signalled AskFor(int nId) {
    if (nId <= 0) return Signalled::kUnclear;
    if (kill(nId, 0) == 0) return Signalled::kReached;
    if (errno == EPERM) return Signalled::kNotPermitted;
    return errno == ESRCH ? Signalled::kNoSuchProcess : Signalled::kUnclear;
}

}  // namespace ztkmem
