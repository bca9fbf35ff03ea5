// The list of blocks and the index of addresses against models that cannot be wrong, over a million steps.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <vector>

#include "listed_record.h"
#include "pool/address_index.h"
#include "pool/block_list.h"
#include "support/emulator.h"

namespace ztk::test {
namespace {

constexpr std::uint64_t kMostSurplus = 30;

/// Sorted, searched from end to end.
class NaiveList {
  public:
    void Insert(const ListedRecord& record) {
        records_.push_back(record);
        std::sort(records_.begin(), records_.end(), [](const ListedRecord& a, const ListedRecord& b) {
            return a.nSize != b.nSize ? a.nSize < b.nSize : a.nAddress < b.nAddress;
        });
    }
    std::uint64_t TakeIdle(std::uint64_t nSize) {
        for (ListedRecord& record : records_) {
            if (record.bBusy || record.nSize < nSize || record.nSize - nSize > kMostSurplus) continue;
            record.bBusy = true;
            return record.nAddress;
        }
        return 0;
    }
    void RemoveIdle(std::uint64_t nOdd) {
        const auto isToGo = [nOdd](const ListedRecord& r) { return !r.bBusy && r.nAddress % 2 == nOdd; };
        records_.erase(std::remove_if(records_.begin(), records_.end(), isToGo), records_.end());
    }
    std::vector<ListedRecord>& Records() { return records_; }

  private:
    std::vector<ListedRecord> records_;
};

class BlockListModelTest : public ::testing::TestWithParam<unsigned> {
  protected:
    using List = BlockList<ListedRecord>;

    std::uint64_t Draw(std::uint64_t nBelow) { return generator_() % nBelow; }

    void InsertOne() {
        const ListedRecord record{++nLastAddress_, 1 + Draw(200), true};
        nodes_[record.nAddress] = &list_.InsertBusy(List::NewEntry(), record);
        model_.Insert(record);
    }

    /// Also of one that is idle already.
    void ReleaseOne() {
        if (model_.Records().empty()) return;
        ListedRecord& record = model_.Records()[Draw(model_.Records().size())];
        record.bBusy = false;
        list_.MakeIdle(*nodes_[record.nAddress]);
    }

    void TakeOne() {
        const std::uint64_t nWanted = Draw(230);
        const ListedRecord* pTaken = list_.TakeIdle(nWanted, kMostSurplus);
        ASSERT_EQ(pTaken == nullptr ? 0 : pTaken->nAddress, model_.TakeIdle(nWanted)) << nWanted;
    }

    void RemoveSome() {
        const std::uint64_t nOdd = Draw(2);
        list_.RemoveIdleIf([nOdd](const ListedRecord& record) { return record.nAddress % 2 == nOdd; });
        model_.RemoveIdle(nOdd);
    }

    void Compare() {
        std::size_t n = 0;
        list_.ForEach([this, &n](const ListedRecord& record) {
            ASSERT_LT(n, model_.Records().size());
            EXPECT_EQ(record.nAddress, model_.Records()[n].nAddress);
            EXPECT_EQ(record.bBusy, model_.Records()[n].bBusy);
            ++n;
        });
        ASSERT_EQ(n, model_.Records().size());
    }

    // NOLINTNEXTLINE(cert-msc32-c,cert-msc51-cpp): the same run every time
    std::mt19937 generator_{GetParam()};
    List list_;
    NaiveList model_;
    std::map<std::uint64_t, List::Node*> nodes_;
    std::uint64_t nLastAddress_ = 0;
};

TEST_P(BlockListModelTest, AgreesWithASortedListSearchedFromEndToEnd) {
    const int nSteps = IsEmulated() ? 5'000 : 100'000;
    for (int nStep = 0; nStep < nSteps; ++nStep) {
        const std::uint64_t nChoice = Draw(1000);
        if (nChoice < 60) {
            InsertOne();
        } else if (nChoice < 530) {
            ReleaseOne();
        } else if (nChoice < 990) {
            ASSERT_NO_FATAL_FAILURE(TakeOne()) << "step " << nStep;
        } else {
            RemoveSome();
        }
        if (nStep % 64 != 0) continue;
        ASSERT_NO_FATAL_FAILURE(Compare()) << "step " << nStep;
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, BlockListModelTest,
                         ::testing::Values(1U, 2U, 3U, 20U, 77U, 4711U, 8U, 90U, 1000U, 65537U));

// ---- addresses -------------------------------------------------------------------------------------

struct Whereabouts {
    int nPlace = 0;
};

TEST(AddressIndexModelTest, AgreesWithAMap) {
    using Index = AddressIndex<Whereabouts>;
    Index index;
    std::map<std::uint64_t, int> model;
    // NOLINTNEXTLINE(cert-msc32-c,cert-msc51-cpp): the same run every time
    std::mt19937 generator(5);
    const int nSteps = IsEmulated() ? 20'000 : 200'000;
    for (int nStep = 0; nStep < nSteps; ++nStep) {
        const std::uint64_t nAddress = 4096 * (1 + generator() % 3000);
        switch (generator() % 4) {
            case 0:
                index.Set(index.NewEntry(), nAddress, {nStep});
                model[nAddress] = nStep;
                break;
            case 1:
                index.Erase(nAddress);
                model.erase(nAddress);
                break;
            case 2:
                ASSERT_EQ(index.Enter(nAddress).nPlace, model[nAddress]);
                break;
            default: {
                const auto it = model.find(nAddress);
                ASSERT_EQ(index.Find(nAddress).nPlace, it == model.end() ? 0 : it->second);
            }
        }
        ASSERT_EQ(index.Size(), model.size());
    }
}

}  // namespace
}  // namespace ztk::test
