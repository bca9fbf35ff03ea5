// One exhausted resource: what is short, what a process with the library does then, and how that must end.
//
// The body runs in a process of its own, so that it may be killed and may lower its limits for good. What is
// mounted for it (a small /dev/shm, another /proc/meminfo) is mounted by the parent, which outlives it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/library/child.h"
#include "tests/library/library.h"

namespace ztk::torture {

constexpr std::uint64_t kPage = 4096;
constexpr std::uint64_t kReserve = 350UL << 20;

/// Somebody else's file that a case may put into /dev/shm.
constexpr char kOthersFile[] = "other";

/// As many as @p nFailures, and 0 for none, is what a body returns.
using Body = std::function<int()>;

struct LimitCase {
    std::string name;
    Body body;
    test::Ending expected = test::Exited(0);
    std::string shmOptions{};               ///< for the tmpfs that is mounted on /dev/shm; empty: none is
    bool bMemInfo = false;                  ///< memInfo lies over /proc/meminfo
    std::string memInfo{};                  ///< its text
    std::function<void()> prepare = [] {};  ///< by the parent, when all is mounted
};

/// What a body expects of the library: says on stdout what is not so, and counts it.
class Checks {
  public:
    void Equal(std::uint64_t nGot, std::uint64_t nWanted, const char* szWhat);
    int Failures() const { return nFailures_; }

  private:
    int nFailures_ = 0;
};

std::uint32_t AllocateShared(const LoadedLibrary& library, std::uint64_t nSize, void** ppAddr);
std::uint32_t AllocateHeap(const LoadedLibrary& library, std::uint64_t nSize, std::int32_t nAlign,
                           void** ppAddr);

/// Writes to every byte of what was granted, which must be there.
void WriteAll(void* pBlock, std::uint64_t nSize);

/// " -1", " +0", " +1": where a case stands beside its limit.
std::string Beside(int nOffset);

std::vector<LimitCase> FullShmCases();
std::vector<LimitCase> DescriptorCases();
std::vector<LimitCase> FileLimitCases();
std::vector<LimitCase> AddressSpaceCases();
std::vector<LimitCase> MemInfoCases();

}  // namespace ztk::torture
