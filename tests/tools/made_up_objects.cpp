#include "tools/made_up_objects.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <stdexcept>

namespace ztkmem::test {
namespace {

constexpr std::size_t kHeader = 128;

std::string PathOf(const std::string& name) {
    return "/dev/shm/" + name;
}

void Require(bool bGood, const std::string& what) {
    if (!bGood) throw std::runtime_error(what + ": " + std::strerror(errno));
}

}  // namespace

std::string PoolName(int nOwner) {
    return "ZTKTool-" + std::to_string(nOwner) + "-" + kDigits;
}

Bytes HeaderOf(const std::string& name, std::uint64_t nDataLen) {
    Bytes header(kHeader);
    std::memcpy(header.data(), &nDataLen, sizeof(nDataLen));
    const std::uint16_t nHeaderLen = kHeader;
    std::memcpy(header.data() + 14, &nHeaderLen, sizeof(nHeaderLen));
    std::memcpy(header.data() + 16, name.data(), name.size());
    return header;
}

Bytes Pattern(std::size_t nSize) {
    Bytes bytes(nSize);
    for (std::size_t i = 0; i < nSize; ++i)
        bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 256 + 3);
    return bytes;
}

void WriteObject(const std::string& name, const Bytes& bytes) {
    const int hFile = open(PathOf(name).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    Require(hFile >= 0, name);
    const ssize_t nWritten = write(hFile, bytes.data(), bytes.size());
    close(hFile);
    Require(nWritten == static_cast<ssize_t>(bytes.size()), name);
}

void WriteSegment(const std::string& name, const Bytes& data) {
    Bytes bytes = HeaderOf(name, data.size());
    bytes.insert(bytes.end(), data.begin(), data.end());
    WriteObject(name, bytes);
}

void SetAge(const std::string& name, std::int64_t nSeconds) {
    const timespec then{std::time(nullptr) - nSeconds, 0};
    const timespec times[2] = {then, then};
    Require(utimensat(AT_FDCWD, PathOf(name).c_str(), times, AT_SYMLINK_NOFOLLOW) == 0, name);
}

bool Exists(const std::string& name) {
    struct stat info {};
    return lstat(PathOf(name).c_str(), &info) == 0;
}

}  // namespace ztkmem::test
