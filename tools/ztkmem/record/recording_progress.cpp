#include "record/recording_progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>

namespace ztkmem::record {

RecordingProgress::RecordingProgress(std::uint64_t nTotal)
    : nTotal_(nTotal),
      bTerminal_(isatty(STDERR_FILENO) != 0),
      next_(Clock::now() + std::chrono::seconds(1)) {}

RecordingProgress::~RecordingProgress() {
    if (bShown_ && bTerminal_) std::fputs("\r\033[K", stderr);
}

/// On a terminal one text over the other every second, else a line every ten.
void RecordingProgress::Tell() {
    const auto now = Clock::now();
    if (now < next_) return;
    next_ = now + std::chrono::seconds(bTerminal_ ? 1 : 10);
    bShown_ = true;
    const auto nPercent = nTotal_ == 0 ? 100 : nCount_ * 100 / nTotal_;
    fmt::print(stderr, "{}ztkmem: {} of {} records ({}%){}", bTerminal_ ? "\r" : "", nCount_, nTotal_,
               nPercent, bTerminal_ ? "\033[K" : "\n");
}

}  // namespace ztkmem::record
