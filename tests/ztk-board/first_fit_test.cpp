// Where blocks go in the area of contiguous memory.
#include "standins/board/first_fit.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using ztk_board::Extent;
using ztk_board::FirstFit;
using ztk_board::LargestGap;

constexpr std::uint64_t kCapacity = 100;

/// "index:start", or "none".
std::string FitIn(const std::vector<Extent>& extents, std::uint64_t nBytes) {
    const auto place = FirstFit(extents.data(), extents.size(), kCapacity, nBytes);
    return place ? std::to_string(place->nIndex) + ":" + std::to_string(place->nStart) : "none";
}

TEST(FirstFit, AnEmptyAreaTakesAllOfItself) {
    EXPECT_EQ(FitIn({}, 1), "0:0");
    EXPECT_EQ(FitIn({}, 100), "0:0");
    EXPECT_EQ(FitIn({}, 101), "none");
}

TEST(FirstFit, TheLowestGapThatIsLongEnoughIsTaken) {
    const std::vector<Extent> extents = {{10, 10, 1}, {25, 15, 1}, {60, 20, 1}};
    EXPECT_EQ(FitIn(extents, 5), "0:0") << "not the tighter one behind";
    EXPECT_EQ(FitIn(extents, 10), "0:0");
    EXPECT_EQ(FitIn(extents, 11), "2:40");
    EXPECT_EQ(FitIn(extents, 20), "2:40");
    EXPECT_EQ(FitIn(extents, 21), "none") << "although 55 are free";
}

TEST(FirstFit, TheRestBehindTheLastBlockIsAGap) {
    const std::vector<Extent> extents = {{0, 70, 1}};
    EXPECT_EQ(FitIn(extents, 30), "1:70");
    EXPECT_EQ(FitIn(extents, 31), "none");
    EXPECT_EQ(FitIn({{0, 100, 1}}, 1), "none");
}

TEST(LargestGap, IsTheLongestFreeRun) {
    const std::vector<Extent> extents = {{10, 10, 1}, {25, 15, 1}, {60, 20, 1}};
    EXPECT_EQ(LargestGap(extents.data(), extents.size(), kCapacity), 20U);
    EXPECT_EQ(LargestGap(nullptr, 0, kCapacity), kCapacity);
}

}  // namespace
