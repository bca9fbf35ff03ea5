// The command line: a board, and a program to run on it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "standins/board/board.h"

namespace ztk_board {

struct Options {
    BoardPlan plan;
    std::string standins;  ///< folder with the stand-ins and the library to preload
    std::string log;       ///< file for the library's log; empty: where it goes anyway
    bool bQuiet = false;
    std::vector<std::string> command;
};

/// What the arguments say. Help, version and complaints are written here; then there is no value, and
/// @p nExitStatus is what to end with.
std::optional<Options> ReadArguments(int nCount, char** ppArguments, int& nExitStatus);

constexpr int kExitLauncher = 125;     ///< ztk-board itself failed
constexpr int kExitNotRunnable = 126;  ///< the program is no program
constexpr int kExitNotFound = 127;     ///< there is no such program

}  // namespace ztk_board
