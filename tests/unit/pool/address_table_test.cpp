#include "pool/address_table.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <vector>

namespace ztk {
namespace {

using Table = AddressTable<int>;

/// Places for records; their contents do not matter.
int* Record(std::size_t n) {
    static std::vector<int> records(4096);
    return &records[n];
}

void Set(Table& table, std::uint64_t nAddress, std::size_t nRecord) {
    table.ReserveOne();
    table.Set(nAddress, Record(nRecord));
}

TEST(AddressTableTest, StartsEmpty) {
    Table table;
    EXPECT_EQ(table.Size(), 0U);
    EXPECT_EQ(table.Find(0x1000), nullptr);
    table.Erase(0x1000);
    EXPECT_EQ(table.Size(), 0U);
}

TEST(AddressTableTest, AnAddressSetAgainHasTheNewRecord) {
    Table table;
    Set(table, 0x1000, 1);
    Set(table, 0x1000, 2);
    EXPECT_EQ(table.Find(0x1000), Record(2));
    EXPECT_EQ(table.Size(), 1U);
}

TEST(AddressTableTest, KeepsEveryAddressWhileItGrows) {
    Table table;
    for (std::size_t n = 0; n < 3000; ++n)
        Set(table, 0x7F0000000000 + 4096 * n, n);
    EXPECT_EQ(table.Size(), 3000U);
    for (std::size_t n = 0; n < 3000; ++n)
        ASSERT_EQ(table.Find(0x7F0000000000 + 4096 * n), Record(n)) << n;
    EXPECT_EQ(table.Find(0x7F0000000000 + 4096UL * 3000), nullptr);
}

TEST(AddressTableTest, TheLargestAddressIsOneLikeOthers) {
    Table table;
    Set(table, UINT64_MAX, 1);
    EXPECT_EQ(table.Find(UINT64_MAX), Record(1));
    table.Erase(UINT64_MAX);
    EXPECT_EQ(table.Find(UINT64_MAX), nullptr);
}

TEST(AddressTableTest, ClearingForgetsAll) {
    Table table;
    Set(table, 1, 1);
    table.Clear();
    EXPECT_EQ(table.Find(1), nullptr);
    EXPECT_EQ(table.Size(), 0U);
    Set(table, 2, 2);
    EXPECT_EQ(table.Find(2), Record(2));
}

/// A small table, so that addresses crowd each other and wrap round its end.
TEST(AddressTableTest, AgreesWithAMapOverAMillionSteps) {
    Table table;
    std::map<std::uint64_t, std::size_t> model;
    // NOLINTNEXTLINE(cert-msc32-c,cert-msc51-cpp): the same run every time
    std::mt19937 generator(11);
    for (std::size_t nStep = 0; nStep < 1'000'000; ++nStep) {
        const std::uint64_t nAddress = 1 + generator() % 60;
        switch (generator() % 3) {
            case 0:
                Set(table, nAddress, nStep % 4096);
                model[nAddress] = nStep % 4096;
                break;
            case 1:
                table.Erase(nAddress);
                model.erase(nAddress);
                break;
            default: {
                const auto it = model.find(nAddress);
                ASSERT_EQ(table.Find(nAddress), it == model.end() ? nullptr : Record(it->second)) << nStep;
            }
        }
        ASSERT_EQ(table.Size(), model.size());
    }
}

}  // namespace
}  // namespace ztk
