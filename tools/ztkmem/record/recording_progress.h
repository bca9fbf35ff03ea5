// What is told on standard error while a long recording is read: nothing in the first second.
#pragma once

#include <chrono>
#include <cstdint>

namespace ztkmem::record {

class RecordingProgress {
  public:
    explicit RecordingProgress(std::uint64_t nTotal);
    ~RecordingProgress();
    RecordingProgress(const RecordingProgress&) = delete;
    RecordingProgress& operator=(const RecordingProgress&) = delete;

    void Count() {
        constexpr std::uint64_t kBetweenLooks = 16384;
        if (++nCount_ % kBetweenLooks == 0) Tell();
    }

  private:
    void Tell();

    using Clock = std::chrono::steady_clock;
    const std::uint64_t nTotal_;
    const bool bTerminal_;
    std::uint64_t nCount_ = 0;
    Clock::time_point next_;
    bool bShown_ = false;
};

}  // namespace ztkmem::record
