#include "shm_directory.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <system_error>

namespace ztkmem {
namespace {

std::system_error SystemError(const std::string& what) {
    return {errno, std::generic_category(), what};
}

struct CloseDirectory {
    void operator()(DIR* pStream) const { closedir(pStream); }
};
using DirectoryStream = std::unique_ptr<DIR, CloseDirectory>;

std::int64_t MadeAt(const struct statx& info) {
    const bool bBirth = (info.stx_mask & STATX_BTIME) != 0;
    return bBirth ? std::min(info.stx_btime.tv_sec, info.stx_mtime.tv_sec) : info.stx_mtime.tv_sec;
}

ObjectFacts ToFacts(const struct statx& info) {
    constexpr std::uint64_t kBlock = 512;
    ObjectFacts facts;
    facts.id = {makedev(info.stx_dev_major, info.stx_dev_minor), info.stx_ino};
    facts.bRegular = S_ISREG(info.stx_mode);
    if (facts.bRegular) facts.nLength = info.stx_size;
    if (facts.bRegular) facts.nResident = info.stx_blocks * kBlock;
    facts.nMode = info.stx_mode & 07777U;
    facts.nUser = info.stx_uid;
    facts.nMadeAt = MadeAt(info);
    return facts;
}

}  // namespace

std::uint64_t ObjectFile::Length() const {
    struct stat info {};
    if (fstat(file_.Get(), &info) != 0) throw SystemError("fstat");
    return static_cast<std::uint64_t>(info.st_size);
}

std::vector<std::uint8_t> ObjectFile::Read(std::uint64_t nOffset, std::size_t nSize) const {
    std::vector<std::uint8_t> bytes(nSize);
    std::size_t nHave = 0;
    while (nHave < nSize) {
        const ssize_t nRead =
            pread(file_.Get(), bytes.data() + nHave, nSize - nHave, static_cast<off_t>(nOffset + nHave));
        if (nRead < 0 && errno == EINTR) continue;
        if (nRead < 0) throw SystemError("read");
        if (nRead == 0) break;
        nHave += static_cast<std::size_t>(nRead);
    }
    bytes.resize(nHave);
    return bytes;
}

ShmDirectory::ShmDirectory(const std::string& path)
    : path_(path), folder_(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (!folder_.IsOpen()) throw SystemError(path);
}

std::vector<std::string> ShmDirectory::Names() const {
    const int hFolder = openat(folder_.Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const DirectoryStream stream(hFolder < 0 ? nullptr : fdopendir(hFolder));
    if (!stream) throw SystemError(path_);
    std::vector<std::string> names;
    errno = 0;
    while (const dirent* pEntry = readdir(stream.get())) {
        const std::string name = pEntry->d_name;
        if (name != "." && name != "..") names.push_back(name);
    }
    if (errno != 0) throw SystemError(path_);
    return names;
}

std::optional<ObjectFacts> ShmDirectory::Look(const std::string& name) const {
    struct statx info {};
    constexpr unsigned kWanted = STATX_BASIC_STATS | STATX_BTIME;
    if (statx(folder_.Get(), name.c_str(), AT_SYMLINK_NOFOLLOW, kWanted, &info) == 0) return ToFacts(info);
    if (errno == ENOENT || errno == ENAMETOOLONG) return std::nullopt;
    throw SystemError(path_);
}

// O_NONBLOCK: neither a pipe that took the name meanwhile nor a lease that its maker holds shall make us
// wait.
ObjectFile ShmDirectory::Open(const std::string& name) const {
    const int nFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    Descriptor file(openat(folder_.Get(), name.c_str(), nFlags));
    struct stat info {};
    if (file.IsOpen() && (fstat(file.Get(), &info) != 0 || !S_ISREG(info.st_mode))) {
        file = Descriptor();
        errno = EINVAL;
    }
    return ObjectFile(std::move(file));
}

int ShmDirectory::Remove(const std::string& name) const {
    return unlinkat(folder_.Get(), name.c_str(), 0) == 0 ? 0 : errno;
}

std::uint64_t ShmDirectory::Device() const {
    struct stat info {};
    if (fstat(folder_.Get(), &info) != 0) throw SystemError(path_);
    return info.st_dev;
}

}  // namespace ztkmem
