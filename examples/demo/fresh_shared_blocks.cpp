#include <fcntl.h>
#include <fmt/format.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>

#include "shared_blocks.h"

namespace demo {

namespace {

std::runtime_error Failure(const char* szCall, const SharedBlock& block, int nError) {
    return std::runtime_error(fmt::format("{} {}: {}", szCall, block.name.data(), std::strerror(nError)));
}

// The address of a new mapping of the object's first nSize bytes, or MAP_FAILED and errno.
void* SizeAndMap(int nFile, std::size_t nSize) {
    if (ftruncate(nFile, static_cast<off_t>(nSize)) != 0) return MAP_FAILED;
    return mmap(nullptr, nSize, PROT_READ | PROT_WRITE, MAP_SHARED, nFile, 0);
}

}  // namespace

SharedBlock FreshSharedBlocks::Obtain(std::size_t nSize) {
    SharedBlock block;
    block.nLength = nSize;
    // A name of the library's kind: if this process is killed, the next start of any program with the
    // library removes these objects together with the pool's.
    const std::string name = fmt::format("ZTKTool-{}-{:032x}", getpid(), ++nMade_);
    std::copy(name.begin(), name.end(), block.name.begin());
    const int nFile = shm_open(block.name.data(), O_RDWR | O_CREAT | O_EXCL, 0600);
    if (nFile < 0) throw Failure("shm_open", block, errno);
    block.pStart = SizeAndMap(nFile, nSize);
    const int nError = errno;
    close(nFile);
    if (block.pStart == MAP_FAILED) {
        shm_unlink(block.name.data());
        throw Failure("mapping", block, nError);
    }
    block.pData = static_cast<std::uint8_t*>(block.pStart);
    return block;
}

void FreshSharedBlocks::GiveBack(const SharedBlock& block) {
    munmap(block.pStart, block.nLength);
    shm_unlink(block.name.data());
}

}  // namespace demo
