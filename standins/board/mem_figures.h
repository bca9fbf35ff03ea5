// The board's /proc/meminfo: measured afresh from what the programs on the board take of the desk's memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "standins/board/board.h"

namespace ztk_board {

/// What the board's programs have taken; bytes.
struct Taken {
    std::uint64_t nPrivate = 0;  ///< memory of their own, as far as they touched it
    std::uint64_t nShm = 0;      ///< what lies in /dev/shm
};

/// Adds up all processes in this process's mount namespace, but for @p nLauncher.
Taken MeasureTaken(int nLauncher);

/// "MemAvailable:": what is left of the RAM without MMZ, or 0.
std::uint64_t Available(const BoardPlan& plan, const Taken& taken);

/// As the kernel writes it, always of the same length.
std::string MemInfoText(const BoardPlan& plan, const Taken& taken);

}  // namespace ztk_board
