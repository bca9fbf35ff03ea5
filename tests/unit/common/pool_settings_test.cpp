#include "common/pool_settings.h"

#include <gtest/gtest.h>

namespace ztk {
namespace {

TEST(PoolSettingsTest, BeginsWithOne) {
    EXPECT_EQ(PoolSettings().GetImageBufferNodeNum(), 1);
}

struct Clamp {
    std::int32_t nGiven;
    std::int32_t nStored;
};

class PoolSettingsClampTest : public ::testing::TestWithParam<Clamp> {};

TEST_P(PoolSettingsClampTest, KeepsTheNumberBetweenOneAndSixtyFour) {
    PoolSettings settings;
    settings.SetImageBufferNodeNum(33);
    settings.SetImageBufferNodeNum(GetParam().nGiven);
    EXPECT_EQ(settings.GetImageBufferNodeNum(), GetParam().nStored);
}

INSTANTIATE_TEST_SUITE_P(Numbers, PoolSettingsClampTest,
                         ::testing::Values(Clamp{INT32_MIN, 1}, Clamp{-5, 1}, Clamp{-1, 1}, Clamp{0, 1},
                                           Clamp{1, 1}, Clamp{2, 2}, Clamp{63, 63}, Clamp{64, 64},
                                           Clamp{65, 64}, Clamp{INT32_MAX, 64}));

}  // namespace
}  // namespace ztk
