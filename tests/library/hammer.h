// A thread that uses both pools without end, for tests that do something else meanwhile.
#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

#include "tests/library/library.h"

namespace ztk::test {

/// Outside the library the thread allocates nothing: the memory allocators of the sanitizers, unlike the C
/// library's, may be forked in the middle of an allocation.
class Hammer {
  public:
    /// @p cMark fills what the thread writes to.
    Hammer(const LoadedLibrary& library, char cMark);
    ~Hammer() { Stop(); }
    Hammer(const Hammer&) = delete;
    Hammer& operator=(const Hammer&) = delete;

    void Stop();

    /// Statuses and contents that were not as they must be. The content of the block that it keeps is looked
    /// at in the end.
    int Failures() const { return nFailures_; }
    int Laps() const { return nLaps_; }
    /// The shared block that it holds all the time.
    const char* KeptName() const { return szKept_; }

  private:
    void Expect(bool bTrue);
    void Run();
    void UseMemory(uint64_t nSize, int32_t nAlign, int32_t enMemType);
    void UseShared(uint64_t nSize);
    void Flush();

    const LoadedLibrary& lib_;
    const char cMark_;
    char szKept_[ZTK_SHARED_NAME_SIZE] = "";
    std::atomic<bool> bStop_{false};
    std::atomic<int> nLaps_{0};
    std::atomic<int> nFailures_{0};
    std::thread thread_;
};

}  // namespace ztk::test
