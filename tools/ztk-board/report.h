// What happened on the board, for its end.
#pragma once

#include <cstdint>
#include <string>

#include "standins/board/board.h"

namespace ztk_board {

std::string ReportText(Board& board, std::uint64_t nPeakShm);

}  // namespace ztk_board
