// ztk-board: runs a program on a desk as on a board, with a board's memory, MMZ and /dev/shm.
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <system_error>

#include "options.h"
#include "place.h"
#include "program.h"
#include "report.h"
#include "standins/board/board.h"
#include "standins/board/mem_figures.h"

namespace {

using ztk_board::Board;
using ztk_board::Options;

void Check(bool bDone, const std::string& what) {
    if (!bDone) throw std::system_error(errno, std::generic_category(), what);
}

/// The file over /proc/meminfo. Its text keeps its length, so that readers see the old or the new figures.
class MemInfoFile {
  public:
    MemInfoFile(const std::string& path, Board& board) : board_(board) {
        hFile_ = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0444);
        Check(hFile_ >= 0, path);
    }
    ~MemInfoFile() { close(hFile_); }
    MemInfoFile(const MemInfoFile&) = delete;
    MemInfoFile& operator=(const MemInfoFile&) = delete;

    void Renew() {
        const ztk_board::Taken taken = ztk_board::MeasureTaken(getpid());
        const std::string text = MemInfoText(board_.Plan(), taken);
        const bool bWhole = pwrite(hFile_, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size());
        Check(bWhole, "/proc/meminfo");
        board_.NoteAvailable(Available(board_.Plan(), taken));
        nPeakShm_ = std::max(nPeakShm_, taken.nShm);
    }

    std::uint64_t PeakShm() const { return nPeakShm_; }

  private:
    Board& board_;
    int hFile_;
    std::uint64_t nPeakShm_ = 0;
};

int Run(const Options& options) {
    const ztk_board::BoardFolder folder;
    const std::string boardFile = folder.File("board");
    errno = Board::Create(boardFile, options.plan);
    Check(errno == 0, boardFile);
    const std::unique_ptr<Board> pBoard = Board::Attach(boardFile.c_str());
    Check(pBoard != nullptr, boardFile);

    MemInfoFile memInfo(folder.File("meminfo"), *pBoard);
    ztk_board::EnterBoard(options.plan.nShm, folder.File("meminfo"));
    memInfo.Renew();
    SetEnvironment(options, boardFile);
    const int nExitStatus = RunProgram(options, [&] { memInfo.Renew(); });
    if (!options.bQuiet) fmt::print(stderr, "{}", ztk_board::ReportText(*pBoard, memInfo.PeakShm()));
    return nExitStatus;
}

}  // namespace

int main(int nCount, char** ppArguments) {
    try {
        int nExitStatus = 0;
        const auto options = ztk_board::ReadArguments(nCount, ppArguments, nExitStatus);
        return options ? Run(*options) : nExitStatus;
    } catch (const std::exception& error) {
        fmt::print(stderr, "ztk-board: {}\n", error.what());
        return ztk_board::kExitLauncher;
    }
}
