#include "pool/pool_limits.h"

#include <gtest/gtest.h>

#include <string>

namespace ztk {
namespace {

constexpr std::uint64_t kMiB = std::uint64_t{1024} * 1024;
constexpr std::uint64_t kStep = 50 * kMiB;

TEST(PoolLimitsTest, AreTheFixedOnes) {
    EXPECT_EQ(kReuseTolerance, 30 * kMiB);
    EXPECT_EQ(kAllowedLimit, 300 * kMiB);
    EXPECT_EQ(kIdleSeconds, 30U);
}

struct SizeClass {
    std::uint64_t nSize;
    std::int32_t nClass;
};

void PrintTo(const SizeClass& value, std::ostream* pStream) {
    *pStream << value.nSize << " -> " << value.nClass;
}

class SizeClassTest : public ::testing::TestWithParam<SizeClass> {};

TEST_P(SizeClassTest, IsThatOfTheSize) {
    EXPECT_EQ(GetSizeClass(GetParam().nSize), GetParam().nClass);
}

INSTANTIATE_TEST_SUITE_P(Boundaries, SizeClassTest,
                         ::testing::Values(SizeClass{0, 0}, SizeClass{1, 0}, SizeClass{20971519, 0},
                                           SizeClass{20971520, 1}, SizeClass{52428799, 1},
                                           SizeClass{52428800, 2}, SizeClass{104857599, 2},
                                           SizeClass{104857600, 3}, SizeClass{157286399, 3},
                                           SizeClass{157286400, 4}, SizeClass{100 * kStep - 1, 100},
                                           SizeClass{100 * kStep, 101}));

// Of the quotient only the low 32 bits count, and the class is a signed number.
INSTANTIATE_TEST_SUITE_P(LowHalfOfTheQuotient, SizeClassTest,
                         ::testing::Values(SizeClass{0x7FFFFFFEU * kStep, INT32_MAX},  //
                                           SizeClass{0x7FFFFFFFU * kStep, INT32_MIN},  //
                                           SizeClass{0xFFFFFFFEU * kStep, -1},         //
                                           SizeClass{0xFFFFFFFFU * kStep, 0},          //
                                           SizeClass{0x100000000U * kStep - 1, 0},     //
                                           SizeClass{0x100000000U * kStep,
                                                     1},  // quotient 0, but not a small size
                                           SizeClass{0x100000001U * kStep - 1, 1},      //
                                           SizeClass{0x100000001U * kStep, 2},          //
                                           SizeClass{0x1200000000U * kStep + kMiB, 1},  //
                                           SizeClass{UINT64_MAX, -343597383}));

}  // namespace
}  // namespace ztk
