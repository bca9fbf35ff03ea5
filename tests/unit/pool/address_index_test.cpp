#include "pool/address_index.h"

#include <gtest/gtest.h>

namespace ztk {
namespace {

struct Place {
    int nFirst = 0;
    int nSecond = 0;
};

bool operator==(const Place& a, const Place& b) {
    return a.nFirst == b.nFirst && a.nSecond == b.nSecond;
}

using Index = AddressIndex<Place>;

TEST(AddressIndexTest, AnUnknownAddressIsAtTheZeroPlaceAndStaysUnknown) {
    const Index index;
    EXPECT_EQ(index.Find(0x1000), Place{});
    EXPECT_EQ(index.Size(), 0U);
}

TEST(AddressIndexTest, KeepsTheFindEachAddress) {
    Index index;
    index.Set(index.NewEntry(), 0x1000, {1, 2});
    index.Set(index.NewEntry(), 0x2000, {3, 4});
    EXPECT_EQ(index.Find(0x1000), (Place{1, 2}));
    EXPECT_EQ(index.Find(0x2000), (Place{3, 4}));
    EXPECT_EQ(index.Size(), 2U);
}

TEST(AddressIndexTest, SettingAnAddressAgainOverwritesItsStalePlace) {
    Index index;
    index.Set(index.NewEntry(), 0x1000, {1, 2});
    index.Set(index.NewEntry(), 0x1000, {5, 6});
    EXPECT_EQ(index.Find(0x1000), (Place{5, 6}));
    EXPECT_EQ(index.Size(), 1U);
}

TEST(AddressIndexTest, EnteringAnUnknownAddressLeavesItAtTheZeroPlaceForGood) {
    Index index;
    EXPECT_EQ(index.Enter(0x1000), Place{});
    EXPECT_EQ(index.Size(), 1U);
    EXPECT_EQ(index.Enter(0x1000), Place{});
    EXPECT_EQ(index.Size(), 1U);
}

TEST(AddressIndexTest, EnteringAKnownAddressGivesItsPlaceAndAddsNothing) {
    Index index;
    index.Set(index.NewEntry(), 0x1000, {1, 2});
    EXPECT_EQ(index.Enter(0x1000), (Place{1, 2}));
    EXPECT_EQ(index.Size(), 1U);
}

TEST(AddressIndexTest, AnAddressEnteredByMistakeGetsItsRealPlaceLater) {
    Index index;
    index.Enter(0x1000);
    index.Set(index.NewEntry(), 0x1000, {7, 8});
    EXPECT_EQ(index.Find(0x1000), (Place{7, 8}));
}

TEST(AddressIndexTest, ErasingForgetsOneAddressAndIgnoresUnknownOnes) {
    Index index;
    index.Set(index.NewEntry(), 0x1000, {1, 2});
    index.Set(index.NewEntry(), UINT64_MAX, {3, 4});
    index.Erase(0x1000);
    index.Erase(0x3000);
    EXPECT_EQ(index.Find(0x1000), Place{});
    EXPECT_EQ(index.Find(UINT64_MAX), (Place{3, 4}));
    EXPECT_EQ(index.Size(), 1U);
}

TEST(AddressIndexTest, ClearingForgetsAll) {
    Index index;
    index.Set(index.NewEntry(), 0x1000, {1, 2});
    index.Enter(0x2000);
    index.Clear();
    EXPECT_EQ(index.Size(), 0U);
    EXPECT_EQ(index.Find(0x1000), Place{});
}

TEST(AddressIndexTest, AnEntryThatIsNotUsedLeavesNoTrace) {
    Index index;
    { const auto entry = index.NewEntry(); }
    EXPECT_EQ(index.Size(), 0U);
}

}  // namespace
}  // namespace ztk
