#include "pool/block_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

namespace ztk {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint64_t kTolerance = 30;

struct Record {
    std::uint64_t nAddress;
    std::uint64_t nSize;
    bool bBusy;
};

std::uint64_t AddressOf(const Record& record) {
    return record.nAddress;
}

BlockList<Record> ListOf(const std::vector<Record>& records) {
    BlockList<Record> list;
    for (const Record& record : records) {
        list.ReserveOne();
        list.Insert(record);
    }
    return list;
}

std::vector<std::uint64_t> SizesIn(const BlockList<Record>& list) {
    std::vector<std::uint64_t> sizes;
    for (const Record& record : list)
        sizes.push_back(record.nSize);
    return sizes;
}

std::vector<std::uint64_t> AddressesIn(const BlockList<Record>& list) {
    std::vector<std::uint64_t> addresses;
    for (const Record& record : list)
        addresses.push_back(record.nAddress);
    return addresses;
}

TEST(BlockListTest, StartsEmpty) {
    BlockList<Record> list;
    EXPECT_EQ(list.Size(), 0U);
    EXPECT_THAT(SizesIn(list), IsEmpty());
    EXPECT_EQ(list.FindIdle(0, UINT64_MAX), nullptr);
    EXPECT_EQ(list.Find(1), nullptr);
}

TEST(BlockListTest, KeepsRecordsSortedBySizeWhateverTheOrderOfInsertion) {
    const auto list = ListOf({{1, 50, false}, {2, 10, true}, {3, 90, false}, {4, 10, false}, {5, 60, true}});
    EXPECT_THAT(SizesIn(list), ElementsAre(10, 10, 50, 60, 90));
}

TEST(BlockListTest, ReservingTwiceBeforeAnInsertDoesNoHarm) {
    BlockList<Record> list;
    for (std::uint64_t n = 0; n < 100; ++n) {
        list.ReserveOne();
        list.ReserveOne();
        list.Insert({n, 100 - n, false});
    }
    EXPECT_EQ(list.Size(), 100U);
    EXPECT_EQ(list[0].nSize, 1U);
    EXPECT_EQ(list[99].nSize, 100U);
}

struct Search {
    const char* szName;
    std::uint64_t nWanted;
    std::uint64_t nExpected;  // address, 0: none
};

class BlockListSearchTest : public ::testing::TestWithParam<Search> {};

TEST_P(BlockListSearchTest, FindsTheSmallestIdleRecordThatFits) {
    auto list = ListOf({{1, 100, false}, {2, 110, true}, {3, 120, false}, {4, 200, false}, {5, 230, true}});
    const Record* pFound = list.FindIdle(GetParam().nWanted, kTolerance);
    EXPECT_EQ(pFound == nullptr ? 0 : pFound->nAddress, GetParam().nExpected);
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

TEST(BlockListTest, AmongIdleRecordsOfOneSizeTheFirstInListOrderIsTaken) {
    auto list = ListOf({{1, 10, true}, {2, 10, false}, {3, 10, false}});
    const Record* pExpected = nullptr;
    for (std::size_t i = 0; i < list.Size() && pExpected == nullptr; ++i) {
        if (!list[i].bBusy) pExpected = &list[i];
    }
    EXPECT_EQ(list.FindIdle(10, kTolerance), pExpected);
}

TEST(BlockListTest, SurplusOfARecordNearTheLargestNumberDoesNotWrap) {
    auto list = ListOf({{1, UINT64_MAX, false}});
    EXPECT_EQ(list.FindIdle(5, kTolerance), nullptr);
    EXPECT_NE(list.FindIdle(UINT64_MAX - kTolerance, kTolerance), nullptr);
}

TEST(BlockListTest, FindsARecordByItsAddressBusyOrNot) {
    auto list = ListOf({{7, 10, true}, {8, 20, false}, {9, 30, true}});
    ASSERT_NE(list.Find(8), nullptr);
    EXPECT_EQ(list.Find(8)->nSize, 20U);
    ASSERT_NE(list.Find(9), nullptr);
    EXPECT_EQ(list.Find(9)->nSize, 30U);
    EXPECT_EQ(list.Find(10), nullptr);
}

TEST(BlockListTest, ARecordFoundCanBeChangedInPlace) {
    auto list = ListOf({{7, 10, false}});
    list.Find(7)->bBusy = true;
    EXPECT_EQ(list.FindIdle(10, kTolerance), nullptr);
}

TEST(BlockListTest, TruncatingKeepsTheFirstRecordsInOrder) {
    auto list = ListOf({{1, 10, false}, {2, 20, false}, {3, 30, false}});
    list.Truncate(2);
    EXPECT_THAT(AddressesIn(list), ElementsAre(1, 2));
    list.Truncate(0);
    EXPECT_EQ(list.Size(), 0U);
}

// ---- against a model that cannot be wrong ----------------------------------------------------------

using Model = std::vector<Record>;

std::uint64_t SmallestIdle(const Model& model, std::uint64_t nSize) {
    std::uint64_t nBest = 0;
    for (const Record& record : model) {
        const bool bFits = !record.bBusy && record.nSize >= nSize && record.nSize - nSize <= kTolerance;
        if (bFits && (nBest == 0 || record.nSize < nBest)) nBest = record.nSize;
    }
    return nBest;
}

std::vector<std::uint64_t> SortedSizes(const Model& model) {
    std::vector<std::uint64_t> sizes;
    for (const Record& record : model)
        sizes.push_back(record.nSize);
    std::sort(sizes.begin(), sizes.end());
    return sizes;
}

/// Makes the list and the model hold the same records, then asks both the same questions, many times.
class BlockListModelTest : public ::testing::TestWithParam<unsigned> {
  protected:
    std::uint64_t Draw(std::uint64_t nBelow) { return generator_() % nBelow; }

    void InsertOne() {
        const Record record{++nLastAddress_, 1 + Draw(300), Draw(2) == 0};
        list_.ReserveOne();
        list_.Insert(record);
        model_.push_back(record);
    }

    void FlipOne() {
        if (model_.empty()) return;
        Record& record = model_[Draw(model_.size())];
        Record* pListed = list_.Find(record.nAddress);
        ASSERT_NE(pListed, nullptr);
        EXPECT_EQ(pListed->nSize, record.nSize);
        EXPECT_EQ(pListed->bBusy, record.bBusy);
        record.bBusy = !record.bBusy;
        pListed->bBusy = record.bBusy;
    }

    /// As a pool gives idle blocks back: the kept records move down, the rest is cut off.
    void RemoveIdle() {
        std::size_t nKept = 0;
        for (std::size_t i = 0; i < list_.Size(); ++i) {
            if (list_[i].bBusy) list_[nKept++] = list_[i];
        }
        list_.Truncate(nKept);
        model_.erase(std::remove_if(model_.begin(), model_.end(), [](const Record& r) { return !r.bBusy; }),
                     model_.end());
    }

    void Compare() {
        ASSERT_EQ(SizesIn(list_), SortedSizes(model_));
        const std::uint64_t nWanted = Draw(340);
        const Record* pFound = list_.FindIdle(nWanted, kTolerance);
        ASSERT_EQ(pFound == nullptr ? 0 : pFound->nSize, SmallestIdle(model_, nWanted)) << nWanted;
        ASSERT_TRUE(pFound == nullptr || !pFound->bBusy);
    }

    // NOLINTNEXTLINE(cert-msc32-c,cert-msc51-cpp): the same run every time
    std::mt19937 generator_{GetParam()};
    BlockList<Record> list_;
    Model model_;
    std::uint64_t nLastAddress_ = 0;
};

TEST_P(BlockListModelTest, AgreesWithAnUnsortedListSearchedFromEndToEnd) {
    for (int nStep = 0; nStep < 3000; ++nStep) {
        const std::uint64_t nChoice = Draw(100);
        if (nChoice < 45) {
            InsertOne();
        } else if (nChoice < 98) {
            FlipOne();
        } else {
            RemoveIdle();
        }
        ASSERT_NO_FATAL_FAILURE(Compare()) << "step " << nStep;
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, BlockListModelTest, ::testing::Values(1U, 2U, 3U, 20U, 77U, 4711U));

}  // namespace
}  // namespace ztk
