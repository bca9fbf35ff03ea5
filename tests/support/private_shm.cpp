#include "support/private_shm.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace ztk::test {
namespace {

constexpr char kShm[] = "/dev/shm";

bool Refused(const char* szWhat) {
    static_cast<void>(std::fprintf(stderr, "no private /dev/shm: %s: %s\n", szWhat, std::strerror(errno)));
    return false;
}

bool WriteText(const char* szFile, const std::string& text) {
    const int hFile = open(szFile, O_WRONLY | O_CLOEXEC);
    if (hFile < 0) return false;
    const bool bWritten = write(hFile, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(hFile);
    return bWritten;
}

std::string MapToRoot(unsigned nId) {
    return "0 " + std::to_string(nId) + " 1";
}

bool EnterNamespaces() {
    if (unshare(CLONE_NEWNS) == 0) return true;
    const unsigned nUser = geteuid();
    const unsigned nGroup = getegid();
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return Refused("unshare");
    if (!WriteText("/proc/self/setgroups", "deny") || !WriteText("/proc/self/uid_map", MapToRoot(nUser)) ||
        !WriteText("/proc/self/gid_map", MapToRoot(nGroup))) {
        return Refused("identity map");
    }
    return true;
}

bool MountShm(std::uint64_t nBytes) {
    const std::string options = "mode=1777,size=" + std::to_string(nBytes);
    return mount("tmpfs", kShm, "tmpfs", MS_NOSUID | MS_NODEV, options.c_str()) == 0 || Refused("mount");
}

}  // namespace

bool EnterPrivateShm(std::uint64_t nBytes) {
    if (!EnterNamespaces()) return false;
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return Refused("private mounts");
    return MountShm(nBytes);
}

std::vector<std::string> ShmEntries() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(kShm))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

SmallShm::SmallShm(std::uint64_t nBytes) : bMounted_(MountShm(nBytes)) {}

SmallShm::~SmallShm() {
    if (bMounted_ && umount2(kShm, MNT_DETACH) != 0) Refused("umount");
}

}  // namespace ztk::test
