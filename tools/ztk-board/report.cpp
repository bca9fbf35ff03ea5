#include "report.h"

#include <fmt/format.h>

namespace ztk_board {
namespace {

std::string Mebibytes(std::uint64_t nBytes) {
    return fmt::format("{:.1f}M", static_cast<double>(nBytes) / (1024.0 * 1024.0));
}

/// ", 2 of them by script", or nothing.
std::string Scripted(const CallCounters& calls) {
    return calls.nFailed == 0 ? "" : fmt::format(", {} refused by script", calls.nFailed);
}

}  // namespace

std::string ReportText(Board& board, std::uint64_t nPeakShm) {
    const BoardPlan& plan = board.Plan();
    const MmzCounters mmz = board.Mmz();
    const CallCounters mmzCalls = board.Calls(Call::kMmz);
    const CallCounters shmCalls = board.Calls(Call::kShm);
    const CallCounters memCalls = board.Calls(Call::kMem);
    return fmt::format(
        "ztk-board: memory: at least {} of {} available; {} looks at /proc/meminfo{}\n"
        "ztk-board: MMZ: at most {} of {} taken; {} requests, {} refused as full, {} for want of a gap{}\n"
        "ztk-board: /dev/shm: at most {} of {} taken, ten times a second looked; {} creations{}\n",
        Mebibytes(board.LeastAvailable()), Mebibytes(plan.nMemory - plan.nMmz), memCalls.nCalls,
        Scripted(memCalls), Mebibytes(mmz.nPeakBytes), Mebibytes(plan.nMmz), mmzCalls.nCalls, mmz.nFull,
        mmz.nFragmented, Scripted(mmzCalls), Mebibytes(nPeakShm), Mebibytes(plan.nShm), shmCalls.nCalls,
        Scripted(shmCalls));
}

}  // namespace ztk_board
