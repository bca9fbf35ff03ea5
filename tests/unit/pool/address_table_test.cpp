#include "pool/address_table.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

#include "support/emulator.h"

namespace ztk {
namespace {

using Table = AddressTable<int>;

void Set(Table& table, std::uint64_t nAddress, int nValue) {
    table.ReserveOne();
    table.Set(nAddress, nValue);
}

constexpr int kUnknown = -1;

int ValueOf(const Table& table, std::uint64_t nAddress) {
    const int* pValue = table.Find(nAddress);
    return pValue == nullptr ? kUnknown : *pValue;
}

TEST(AddressTableTest, StartsEmpty) {
    Table table;
    EXPECT_EQ(table.Size(), 0U);
    EXPECT_EQ(ValueOf(table, 0x1000), kUnknown);
    table.Erase(0x1000);
    EXPECT_EQ(table.Size(), 0U);
}

TEST(AddressTableTest, AnAddressSetAgainHasTheNewValue) {
    Table table;
    Set(table, 0x1000, 1);
    Set(table, 0x1000, 2);
    EXPECT_EQ(ValueOf(table, 0x1000), 2);
    EXPECT_EQ(table.Size(), 1U);
}

TEST(AddressTableTest, KeepsEveryAddressWhileItGrows) {
    Table table;
    const auto addressOf = [](int n) {
        return 0x7F0000000000 + std::uint64_t{4096} * static_cast<unsigned>(n);
    };
    for (int n = 0; n < 3000; ++n)
        Set(table, addressOf(n), n);
    EXPECT_EQ(table.Size(), 3000U);
    for (int n = 0; n < 3000; ++n)
        ASSERT_EQ(ValueOf(table, addressOf(n)), n) << n;
    EXPECT_EQ(ValueOf(table, addressOf(3000)), kUnknown);
}

TEST(AddressTableTest, TheLargestAddressIsOneLikeOthers) {
    Table table;
    Set(table, UINT64_MAX, 1);
    EXPECT_EQ(ValueOf(table, UINT64_MAX), 1);
    table.Erase(UINT64_MAX);
    EXPECT_EQ(ValueOf(table, UINT64_MAX), kUnknown);
}

TEST(AddressTableTest, ClearingForgetsAll) {
    Table table;
    Set(table, 1, 1);
    table.Clear();
    EXPECT_EQ(ValueOf(table, 1), kUnknown);
    EXPECT_EQ(table.Size(), 0U);
    Set(table, 2, 2);
    EXPECT_EQ(ValueOf(table, 2), 2);
}

/// A small table, so that addresses crowd each other and wrap round its end.
TEST(AddressTableTest, AgreesWithAMapOverManySteps) {
    Table table;
    std::map<std::uint64_t, int> model;
    // NOLINTNEXTLINE(cert-msc32-c,cert-msc51-cpp): the same run every time
    std::mt19937 generator(11);
    const int nSteps = IsEmulated() ? 100'000 : 1'000'000;
    for (int nStep = 0; nStep < nSteps; ++nStep) {
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
                ASSERT_EQ(ValueOf(table, nAddress), it == model.end() ? kUnknown : it->second) << nStep;
            }
        }
        ASSERT_EQ(table.Size(), model.size());
    }
}

}  // namespace
}  // namespace ztk
