#include "place.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace ztk_board {
namespace {

[[noreturn]] void Refused(const std::string& what) {
    throw std::runtime_error(fmt::format(
        "the kernel refuses {}: {}. Without it there is no board here; it takes root, or a kernel that "
        "gives user namespaces to users (sysctl kernel.unprivileged_userns_clone=1; where there is "
        "AppArmor, kernel.apparmor_restrict_unprivileged_userns=0)",
        what, std::strerror(errno)));
}

bool WriteText(const char* szFile, const std::string& text) {
    const int hFile = open(szFile, O_WRONLY | O_CLOEXEC);
    if (hFile < 0) return false;
    const bool bWritten = write(hFile, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(hFile);
    return bWritten;
}

/// The programs keep their user and group.
std::string MapToItself(unsigned nId) {
    return fmt::format("{0} {0} 1", nId);
}

void EnterNamespaces() {
    if (unshare(CLONE_NEWNS) == 0) return;
    const unsigned nUser = geteuid();
    const unsigned nGroup = getegid();
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) Refused("a user and a mount namespace");
    if (!WriteText("/proc/self/setgroups", "deny") || !WriteText("/proc/self/uid_map", MapToItself(nUser)) ||
        !WriteText("/proc/self/gid_map", MapToItself(nGroup))) {
        Refused("to keep your user and group there");
    }
}

}  // namespace

BoardFolder::BoardFolder() : path_(std::filesystem::temp_directory_path() / "ztk-board-XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr) throw std::system_error(errno, std::generic_category(), path_);
}

BoardFolder::~BoardFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void EnterBoard(std::uint64_t nShm, const std::string& memInfo) {
    EnterNamespaces();
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) Refused("private mounts");
    const std::string options = fmt::format("mode=1777,size={}", nShm);
    if (mount("tmpfs", "/dev/shm", "tmpfs", MS_NOSUID | MS_NODEV, options.c_str()) != 0)
        Refused("a /dev/shm of the board's own");
    if (mount(memInfo.c_str(), "/proc/meminfo", nullptr, MS_BIND, nullptr) != 0)
        Refused("a /proc/meminfo of the board's own");
}

}  // namespace ztk_board
