#include "tests/shared_view/shared_object.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace ztk_test {
namespace {

void Require(bool bGood, const char* szWhat) {
    if (!bGood) throw std::runtime_error(std::string(szWhat) + ": " + std::strerror(errno));
}

}  // namespace

std::vector<unsigned char> Header(const std::string& szName, std::uint64_t nDataLen) {
    std::vector<unsigned char> header(kHeader);
    std::memcpy(header.data(), &nDataLen, 8);
    const std::uint16_t nHeaderLen = 128;
    std::memcpy(header.data() + 14, &nHeaderLen, 2);
    std::memcpy(header.data() + 16, szName.data(), szName.size());
    return header;
}

std::string UniqueName() {
    static std::atomic<unsigned> nNext{0};
    return "ztk-view-test-" + std::to_string(getpid()) + "-" + std::to_string(nNext++);
}

SharedObject::SharedObject() : name_(UniqueName()) {}

SharedObject::SharedObject(std::size_t nDataLen) : SharedObject() {
    std::vector<unsigned char> bytes = Header(name_, nDataLen);
    for (std::size_t i = 0; i < nDataLen; ++i)
        bytes.push_back(PatternAt(i));
    Write(0, bytes);
}

SharedObject::~SharedObject() {
    std::error_code ignored;
    std::filesystem::remove(Path(), ignored);
}

int SharedObject::Open() const {
    const int nFd = shm_open(name_.c_str(), O_RDWR | O_CREAT, 0600);
    Require(nFd >= 0, "shm_open");
    return nFd;
}

void SharedObject::Write(std::size_t nOffset, const std::vector<unsigned char>& bytes) const {
    const int nFd = Open();
    const ssize_t nWritten = pwrite(nFd, bytes.data(), bytes.size(), static_cast<off_t>(nOffset));
    close(nFd);
    Require(nWritten == static_cast<ssize_t>(bytes.size()), "pwrite");
}

void SharedObject::Resize(std::uint64_t nBytes) const {
    const int nFd = Open();
    const int nResult = ftruncate(nFd, static_cast<off_t>(nBytes));
    close(nFd);
    Require(nResult == 0, "ftruncate");
}

void SharedObject::Unlink() const {
    Require(shm_unlink(name_.c_str()) == 0, "shm_unlink");
}

std::vector<unsigned char> SharedObject::Content() const {
    std::vector<unsigned char> bytes(std::filesystem::file_size(Path()));
    const int nFd = Open();
    const ssize_t nRead = pread(nFd, bytes.data(), bytes.size(), 0);
    close(nFd);
    Require(nRead == static_cast<ssize_t>(bytes.size()), "pread");
    return bytes;
}

}  // namespace ztk_test
