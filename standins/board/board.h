// The board that ztk-board makes of a desk: a file that all processes on it map, with the board's figures,
// its area of contiguous memory, the failures that are scripted, and what has happened so far.
#pragma once

#include <pthread.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "standins/board/failure_script.h"
#include "standins/board/first_fit.h"

namespace ztk_board {

/// Names the board's file to the programs on it.
constexpr const char* kBoardVariable = "ZTK_BOARD";

constexpr std::size_t kMostExtents = 4096;
constexpr std::size_t kMostRules = 8;

/// What the board is like; bytes.
struct BoardPlan {
    std::uint64_t nMemory = 0;  ///< its RAM
    std::uint64_t nMmz = 0;     ///< of that, set aside for MMZ when it starts
    std::uint64_t nShm = 0;     ///< what /dev/shm may hold
    std::uint64_t nSystem = 0;  ///< what its kernel and other programs have taken
    std::array<std::array<FailureRule, kMostRules>, kCallKinds> rules{};
};

struct CallCounters {
    std::uint64_t nCalls = 0;
    std::uint64_t nFailed = 0;  ///< because the script said so
};

struct MmzCounters {
    std::uint64_t nBytes = 0;  ///< now
    std::uint64_t nBlocks = 0;
    std::uint64_t nPeakBytes = 0;
    std::uint64_t nFull = 0;        ///< refusals for want of bytes
    std::uint64_t nFragmented = 0;  ///< refusals with enough bytes free, but not in a row
};

/// One mapping of the board's file. Any thread, any process.
class Board {
  public:
    /// Makes the file. Returns 0 or an errno value.
    static int Create(const std::string& path, const BoardPlan& plan);

    /// Maps the file. Null, with errno set, if it cannot or is none of this build's.
    static std::unique_ptr<Board> Attach(const char* szPath);

    /// The board this process is on, by its environment, for good; null on a plain desk.
    static Board* OfEnvironment();

    ~Board();
    Board(const Board&) = delete;
    Board& operator=(const Board&) = delete;

    const BoardPlan& Plan() const;

    /// Counts one more call, and tells whether the script lets it fail.
    bool Fails(Call enCall);

    /// Where a new block of @p nBytes starts, or nothing where no gap is long enough. What dead processes
    /// left is given back first.
    std::optional<std::uint64_t> PlaceMmz(std::uint64_t nBytes);
    void RemoveMmz(std::uint64_t nStart);

    void NoteAvailable(std::uint64_t nBytes);

    CallCounters Calls(Call enCall);
    MmzCounters Mmz();
    std::uint64_t LeastAvailable();  ///< of what NoteAvailable() was told; its RAM before that

  private:
    struct State;
    class Locked;

    explicit Board(State* pState) : pState_(pState) {}

    State* pState_;
};

}  // namespace ztk_board
