#include "pool/block_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "listed_record.h"

namespace ztk {
namespace {

using test::ListedRecord;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint64_t kTolerance = 30;

using List = BlockList<ListedRecord>;

void Insert(List& list, const ListedRecord& record) {
    List::Node& node = list.InsertBusy(List::NewEntry(), record);
    if (!record.bBusy) list.MakeIdle(node);
}

void Fill(List& list, const std::vector<ListedRecord>& records) {
    for (const ListedRecord& record : records)
        Insert(list, record);
}

std::vector<std::uint64_t> AddressesIn(const List& list) {
    std::vector<std::uint64_t> addresses;
    list.ForEach([&addresses](const ListedRecord& record) { addresses.push_back(record.nAddress); });
    return addresses;
}

std::uint64_t TakeIdle(List& list, std::uint64_t nSize) {
    const ListedRecord* pFound = list.TakeIdle(nSize, kTolerance);
    return pFound == nullptr ? 0 : pFound->nAddress;
}

TEST(BlockListTest, StartsEmpty) {
    List list;
    EXPECT_EQ(list.Size(), 0U);
    EXPECT_THAT(AddressesIn(list), IsEmpty());
    EXPECT_EQ(list.TakeIdle(0, UINT64_MAX), nullptr);
    EXPECT_EQ(list.Find(1), nullptr);
}

TEST(BlockListTest, KeepsBlocksSortedBySizeThenAddressWhateverTheOrderOfInsertion) {
    List list;
    Fill(list, {{1, 50, false}, {4, 10, true}, {3, 90, false}, {2, 10, false}, {5, 60, true}});
    EXPECT_THAT(AddressesIn(list), ElementsAre(2, 4, 1, 5, 3));
    EXPECT_EQ(list.Size(), 5U);
}

TEST(BlockListTest, ABlockIsBusyWhenInsertedAndStaysWhereItIs) {
    List list;
    List::Node& node = list.InsertBusy(List::NewEntry(), {7, 10, false});
    EXPECT_TRUE(node.block.bBusy);
    for (std::uint64_t n = 100; n < 200; ++n)
        Insert(list, {n, n % 20, true});
    EXPECT_EQ(list.Find(7), &node);
    EXPECT_EQ(node.block.nSize, 10U);
}

TEST(BlockListTest, AnEntryThatIsNotUsedLeavesNoTrace) {
    const List list;
    { const auto entry = List::NewEntry(); }
    EXPECT_EQ(list.Size(), 0U);
}

struct Search {
    const char* szName;
    std::uint64_t nWanted;
    std::uint64_t nExpected;  // address, 0: none
};

class BlockListSearchTest : public ::testing::TestWithParam<Search> {};

TEST_P(BlockListSearchTest, TakesTheSmallestIdleBlockThatFits) {
    List list;
    Fill(list, {{1, 100, false}, {2, 110, true}, {3, 120, false}, {4, 200, false}, {5, 230, true}});
    EXPECT_EQ(TakeIdle(list, GetParam().nWanted), GetParam().nExpected);
}

TEST_P(BlockListSearchTest, TakesItAlsoIfItAloneIsIdle) {
    if (GetParam().nExpected == 0) return;
    List list;
    for (const ListedRecord& record : std::vector<ListedRecord>{
             {1, 100, false}, {2, 110, true}, {3, 120, false}, {4, 200, false}, {5, 230, true}}) {
        Insert(list, {record.nAddress, record.nSize, record.nAddress != GetParam().nExpected});
    }
    EXPECT_EQ(TakeIdle(list, GetParam().nWanted), GetParam().nExpected);
    EXPECT_EQ(TakeIdle(list, GetParam().nWanted), 0U);
}

INSTANTIATE_TEST_SUITE_P(Sizes, BlockListSearchTest,
                         ::testing::Values(Search{"ExactSize", 100, 1}, Search{"NextLargerIdle", 101, 3},
                                           Search{"BusyOneIsPassedOver", 110, 3},
                                           Search{"SurplusEqualToTheTolerance", 170, 4},
                                           Search{"SurplusOneAboveTheTolerance", 169, 0},
                                           Search{"OnlyABusyOneIsLargeEnough", 201, 0},
                                           Search{"LargerThanAll", 231, 0}, Search{"FarTooSmall", 0, 0},
                                           Search{"TheLargestNumber", UINT64_MAX, 0}),
                         [](const auto& test) { return test.param.szName; });

TEST(BlockListTest, WhatIsTakenIsBusyAndNotTakenTwice) {
    List list;
    Fill(list, {{1, 10, false}});
    const ListedRecord* pTaken = list.TakeIdle(10, kTolerance);
    ASSERT_NE(pTaken, nullptr);
    EXPECT_TRUE(pTaken->bBusy);
    EXPECT_EQ(list.TakeIdle(10, kTolerance), nullptr);
}

TEST(BlockListTest, MakingAnIdleBlockIdleAgainChangesNothing) {
    List list;
    Fill(list, {{1, 10, false}, {2, 10, false}});
    list.MakeIdle(*list.Find(1));
    list.MakeIdle(*list.Find(2));
    EXPECT_EQ(TakeIdle(list, 10), 1U);
    list.MakeIdle(*list.Find(2));
    EXPECT_EQ(TakeIdle(list, 10), 2U);
    EXPECT_EQ(TakeIdle(list, 10), 0U);
}

TEST(BlockListTest, AmongIdleBlocksOfOneSizeTheFirstInListOrderIsTaken) {
    List list;
    Fill(list, {{3, 10, false}, {1, 10, true}, {2, 10, false}});
    EXPECT_EQ(TakeIdle(list, 10), 2U);
    EXPECT_EQ(TakeIdle(list, 10), 3U);
}

TEST(BlockListTest, TheBlockReleasedLastHasNoPrecedence) {
    List list;
    Fill(list, {{1, 10, false}, {2, 20, false}, {3, 30, false}});
    EXPECT_EQ(TakeIdle(list, 10), 1U);
    list.MakeIdle(*list.Find(1));
    EXPECT_EQ(TakeIdle(list, 15), 2U);
    EXPECT_EQ(TakeIdle(list, 5), 1U);
    list.MakeIdle(*list.Find(2));
    EXPECT_EQ(TakeIdle(list, 25), 3U);
}

TEST(BlockListTest, SurplusOfABlockNearTheLargestNumberDoesNotWrap) {
    List list;
    Fill(list, {{1, UINT64_MAX, false}});
    EXPECT_EQ(list.TakeIdle(5, kTolerance), nullptr);
    EXPECT_NE(list.TakeIdle(UINT64_MAX - kTolerance, kTolerance), nullptr);
}

TEST(BlockListTest, FindsABlockByItsAddressBusyOrNot) {
    List list;
    Fill(list, {{7, 10, true}, {8, 20, false}, {9, 30, true}});
    ASSERT_NE(list.Find(8), nullptr);
    EXPECT_EQ(list.Find(8)->block.nSize, 20U);
    ASSERT_NE(list.Find(9), nullptr);
    EXPECT_EQ(list.Find(9)->block.nSize, 30U);
    EXPECT_EQ(list.Find(10), nullptr);
}

TEST(BlockListTest, OfTwinsTheFirstInListOrderIsFound) {
    List list;
    Fill(list, {{7, 30, true}, {7, 10, true}, {7, 20, true}});
    EXPECT_EQ(list.Find(7)->block.nSize, 10U);
}

TEST(BlockListTest, RemovesTheIdleBlocksNamedInListOrderAndKeepsTheOthers) {
    List list;
    Fill(list, {{1, 30, false}, {2, 20, true}, {3, 10, false}, {4, 40, false}});
    std::vector<std::uint64_t> asked;
    list.RemoveIdleIf([&asked](const ListedRecord& record) {
        asked.push_back(record.nAddress);
        return record.nSize != 30;
    });
    EXPECT_THAT(asked, ElementsAre(3, 1, 4));
    EXPECT_THAT(AddressesIn(list), ElementsAre(2, 1));
    EXPECT_EQ(TakeIdle(list, 25), 1U);
}

TEST(BlockListTest, RemovesOneOfTwinsEvenOfOneSize) {
    List list;
    Fill(list, {{7, 10, true}, {7, 10, false}, {7, 10, true}});
    list.RemoveIdleIf([](const ListedRecord&) { return true; });
    EXPECT_EQ(list.Size(), 2U);
    EXPECT_TRUE(list.Find(7)->block.bBusy);
    EXPECT_EQ(TakeIdle(list, 10), 0U);
}

TEST(BlockListTest, ClearingForgetsIdleBlocksToo) {
    List list;
    Fill(list, {{1, 10, false}, {2, 20, true}, {3, 30, false}});
    list.Clear();
    EXPECT_EQ(list.Size(), 0U);
    EXPECT_EQ(TakeIdle(list, 10), 0U);
    Insert(list, {4, 10, false});
    EXPECT_EQ(TakeIdle(list, 10), 4U);
}

}  // namespace
}  // namespace ztk
