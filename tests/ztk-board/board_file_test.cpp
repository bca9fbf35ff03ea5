// The board's file, as two programs see it.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "report.h"
#include "standins/board/board.h"

namespace {

using ztk_board::Board;
using ztk_board::BoardPlan;
using ztk_board::Call;

constexpr std::uint64_t kArea = 1000;

class BoardFile : public testing::Test {
  protected:
    BoardFile() : folder_(testing::TempDir() + "board-XXXXXX") {
        EXPECT_NE(mkdtemp(folder_.data()), nullptr);
    }
    ~BoardFile() override { std::filesystem::remove_all(folder_); }

    std::string Path() const { return folder_ + "/board"; }

    std::unique_ptr<Board> Make() {
        BoardPlan plan;
        plan.nMemory = 10 * kArea;
        plan.nMmz = kArea;
        plan.rules[static_cast<std::size_t>(Call::kMmz)] = {{{2, 0}, {4, 1}}};
        EXPECT_EQ(Board::Create(Path(), plan), 0);
        return Board::Attach(Path().c_str());
    }

  private:
    std::string folder_;
};

TEST_F(BoardFile, TwoProgramsPlaceInOneArea) {
    const std::unique_ptr<Board> pFirst = Make();
    const std::unique_ptr<Board> pSecond = Board::Attach(Path().c_str());
    ASSERT_NE(pFirst, nullptr);
    ASSERT_NE(pSecond, nullptr);
    EXPECT_EQ(pFirst->PlaceMmz(400), 0U);
    EXPECT_EQ(pSecond->PlaceMmz(200), 400U);
    EXPECT_EQ(pFirst->PlaceMmz(400), 600U);
    EXPECT_EQ(pSecond->PlaceMmz(1), std::nullopt);
    pSecond->RemoveMmz(0);
    pFirst->RemoveMmz(600);
    EXPECT_EQ(pFirst->PlaceMmz(401), std::nullopt) << "800 are free, in two gaps";
    EXPECT_EQ(pFirst->PlaceMmz(400), 0U);
    const ztk_board::MmzCounters mmz = pSecond->Mmz();
    EXPECT_EQ(mmz.nBytes, 600U);
    EXPECT_EQ(mmz.nBlocks, 2U);
    EXPECT_EQ(mmz.nPeakBytes, kArea);
    EXPECT_EQ(mmz.nFull, 1U);
    EXPECT_EQ(mmz.nFragmented, 1U);
}

TEST_F(BoardFile, WhatADeadProcessHadIsGivenBackWhenRoomIsWanted) {
    const std::unique_ptr<Board> pBoard = Make();
    ASSERT_NE(pBoard, nullptr);
    const pid_t nChild = fork();
    if (nChild == 0) _exit(pBoard->PlaceMmz(kArea) == 0U ? 0 : 1);
    int nStatus = -1;
    ASSERT_EQ(waitpid(nChild, &nStatus, 0), nChild);
    ASSERT_EQ(nStatus, 0);
    EXPECT_EQ(pBoard->Mmz().nBytes, kArea);
    EXPECT_EQ(pBoard->PlaceMmz(10), 0U);
    EXPECT_EQ(pBoard->Mmz().nBytes, 10U);
}

TEST_F(BoardFile, AFullTableIsAFullArea) {
    BoardPlan plan;
    plan.nMmz = 2 * ztk_board::kMostExtents;
    ASSERT_EQ(Board::Create(Path(), plan), 0);
    const std::unique_ptr<Board> pBoard = Board::Attach(Path().c_str());
    ASSERT_NE(pBoard, nullptr);
    for (std::size_t i = 0; i < ztk_board::kMostExtents; ++i)
        ASSERT_EQ(pBoard->PlaceMmz(1), i);
    EXPECT_EQ(pBoard->PlaceMmz(1), std::nullopt);
}

TEST_F(BoardFile, CallsAreCountedTogether) {
    const std::unique_ptr<Board> pFirst = Make();
    const std::unique_ptr<Board> pSecond = Board::Attach(Path().c_str());
    std::string failed;
    for (int nCall = 0; nCall < 6; ++nCall)
        failed += (nCall % 2 == 0 ? *pFirst : *pSecond).Fails(Call::kMmz) ? 'x' : '.';
    EXPECT_EQ(failed, ".x.xxx");
    EXPECT_FALSE(pFirst->Fails(Call::kShm));
    EXPECT_EQ(pSecond->Calls(Call::kMmz).nCalls, 6U);
    EXPECT_EQ(pSecond->Calls(Call::kMmz).nFailed, 4U);
    EXPECT_EQ(pSecond->Calls(Call::kShm).nCalls, 1U);
}

TEST_F(BoardFile, KeepsTheLeastAvailable) {
    const std::unique_ptr<Board> pBoard = Make();
    EXPECT_EQ(pBoard->LeastAvailable(), 10 * kArea);
    pBoard->NoteAvailable(500);
    pBoard->NoteAvailable(700);
    EXPECT_EQ(pBoard->LeastAvailable(), 500U);
}

TEST_F(BoardFile, NoOtherFileIsABoard) {
    EXPECT_EQ(Board::Attach(Path().c_str()), nullptr);
    EXPECT_EQ(errno, ENOENT);
    std::ofstream(Path()) << "short";
    EXPECT_EQ(Board::Attach(Path().c_str()), nullptr);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(Board::Create(Path(), {}), EEXIST);
    std::filesystem::remove(Path());
    Make();
    std::fstream(Path(), std::ios::in | std::ios::out) << "another magic";
    EXPECT_EQ(Board::Attach(Path().c_str()), nullptr);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(BoardFile, TheReportTellsWhatHappened) {
    const std::unique_ptr<Board> pBoard = Make();
    for (int nCall = 0; nCall < 3; ++nCall)
        pBoard->Fails(Call::kMmz);
    EXPECT_EQ(pBoard->PlaceMmz(kArea + 1), std::nullopt);
    const std::string text = ztk_board::ReportText(*pBoard, 3 << 20);
    EXPECT_NE(text.find("3 requests, 1 refused as full, 0 for want of a gap, 1 refused by script"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("/dev/shm: at most 3.0M of 0.0M taken"), std::string::npos) << text;
}

}  // namespace
