#include "platform/aligned_place.h"

#include <gmock/gmock.h>

#include <array>
#include <cstdint>

namespace ztk {
namespace {

struct PlaceCase {
    std::uint64_t nBase;
    std::int32_t nAlign;
    std::uint64_t nPlace;
};

class AlignedPlaceOf : public testing::TestWithParam<PlaceCase> {};

TEST_P(AlignedPlaceOf, IsTheFirstMultipleAtOrAboveTheWordBehindTheBase) {
    const PlaceCase& param = GetParam();
    EXPECT_EQ(param.nPlace, AlignedPlace(param.nBase, param.nAlign));
}

INSTANTIATE_TEST_SUITE_P(Alignments, AlignedPlaceOf,
                         testing::Values(PlaceCase{0x1000, 1, 0x1008},            //
                                         PlaceCase{0x1001, 1, 0x1009},            //
                                         PlaceCase{0x1000, 8, 0x1008},            // nothing in between
                                         PlaceCase{0x1001, 8, 0x1010},            //
                                         PlaceCase{0x1000, 3, 0x1008},            // 4104 = 3 * 1368
                                         PlaceCase{0x1000, 24, 0x1008},           // 4104 = 24 * 171
                                         PlaceCase{0x1001, 24, 0x1020},           //
                                         PlaceCase{0x1000, 4096, 0x2000},         //
                                         PlaceCase{0x1FF8, 4096, 0x2000},         // exactly a word before it
                                         PlaceCase{0x1FF9, 4096, 0x3000},         //
                                         PlaceCase{0x1000, 1 << 30, 1ULL << 30},  // 1 GiB
                                         PlaceCase{8, INT32_MAX, INT32_MAX}));

TEST(AlignedPlace, AgreesWithASearchByteByByte) {
    for (std::int32_t nAlign = 1; nAlign <= 70; ++nAlign) {
        for (std::uint64_t nBase = 1000; nBase < 1150; ++nBase) {
            std::uint64_t nSearched = nBase + 8;
            while (nSearched % static_cast<std::uint64_t>(nAlign) != 0)
                ++nSearched;
            ASSERT_EQ(nSearched, AlignedPlace(nBase, nAlign)) << "base " << nBase << ", align " << nAlign;
        }
    }
}

TEST(PlaceAligned, KeepsTheBaseInTheWordBelow) {
    for (const std::int32_t nAlign : {1, 3, 8, 24, 64}) {
        alignas(8) std::array<char, 160> block{};
        void* pAligned = PlaceAligned(block.data() + 1, nAlign);  // the word below is then rarely aligned
        EXPECT_EQ(0U, reinterpret_cast<std::uintptr_t>(pAligned) % static_cast<std::uintptr_t>(nAlign));
        EXPECT_EQ(block.data() + 1, LoadBackPointer(pAligned)) << "align " << nAlign;
    }
}

}  // namespace
}  // namespace ztk
