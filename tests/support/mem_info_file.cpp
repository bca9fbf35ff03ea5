#include "support/mem_info_file.h"

#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

namespace ztk::test {
namespace {

constexpr char kMemInfo[] = "/proc/meminfo";
constexpr char kText[] = "/dev/shm/meminfo-of-this-test";

unsigned long LimitDescriptors(unsigned long nLimit) {
    rlimit limits{};
    getrlimit(RLIMIT_NOFILE, &limits);
    const unsigned long nBefore = limits.rlim_cur;
    limits.rlim_cur = nLimit;
    setrlimit(RLIMIT_NOFILE, &limits);
    return nBefore;
}

}  // namespace

MemInfoFile::MemInfoFile(const std::string& text) {
    std::ofstream(kText) << text;
    bMounted_ = mount(kText, kMemInfo, nullptr, MS_BIND, nullptr) == 0;
    if (!bMounted_) std::perror("bind mount on /proc/meminfo");
    unlink(kText);
}

MemInfoFile::~MemInfoFile() {
    if (bMounted_ && umount2(kMemInfo, MNT_DETACH) != 0) std::perror("umount of /proc/meminfo");
}

NoMoreDescriptors::NoMoreDescriptors() : nBefore_(LimitDescriptors(0)) {}

NoMoreDescriptors::~NoMoreDescriptors() {
    LimitDescriptors(nBefore_);
}

}  // namespace ztk::test
