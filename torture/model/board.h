// The board's two libraries for the model: MMZ blocks of a board with little memory, and a log whose lines
// are kept by the thread that writes them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ztk::torture {

// ---- MMZ ---------------------------------------------------------------------------------------------

struct BoardBlock {
    std::uint64_t nHandle;
    std::uint64_t nAddress;
    std::uint32_t nLength;
};

void SetMmzCapacity(std::uint64_t nBytes);
std::uint64_t FreeMmzBytes();
std::size_t CountMmzBlocks();
const BoardBlock& NewestMmzBlock();

// ---- the log -----------------------------------------------------------------------------------------

enum class Writer { kCallers, kLocalReclaimer, kSharedReclaimer };

/// Lines since the last look, level first; while none of the others runs.
std::vector<std::string> TakeLines(Writer writer);

void SetLogLevel(int nLevel);
int LogLevel();

}  // namespace ztk::torture
