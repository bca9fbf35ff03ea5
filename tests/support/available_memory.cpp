#include "support/available_memory.h"

#include <atomic>

namespace {

std::atomic<bool> g_bFixed{false};
std::atomic<std::uint64_t> g_nBytes{0};

}  // namespace

extern "C" {

// ztk::GetMemAvailable_Linux(), by the name the linker knows.
std::uint64_t __real__ZN3ztk21GetMemAvailable_LinuxEv();
std::uint64_t __wrap__ZN3ztk21GetMemAvailable_LinuxEv() {
    return g_bFixed ? g_nBytes.load() : __real__ZN3ztk21GetMemAvailable_LinuxEv();
}
}

namespace ztk::test {

AvailableMemory::AvailableMemory(std::uint64_t nBytes) {
    g_nBytes = nBytes;
    g_bFixed = true;
}

AvailableMemory::~AvailableMemory() {
    g_bFixed = false;
}

}  // namespace ztk::test
