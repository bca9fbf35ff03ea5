#include "pool/block_dump.h"

#include <gtest/gtest.h>

namespace ztk {
namespace {

TEST(BlockDumpTest, AnEmptyDumpIsItsHeadingAlone) {
    const BlockDump dump("** heading **");
    EXPECT_STREQ(dump.Text(), "** heading **\n");
    EXPECT_EQ(dump.Count(), 0);
    EXPECT_EQ(dump.TotalSize(), 0U);
}

TEST(BlockDumpTest, CountsBlocksAndAddsUpTheirSizes) {
    BlockDump dump("h");
    dump.Add("5, ", 5);
    dump.Add("7, ", 7);
    EXPECT_STREQ(dump.Text(), "h\n5, 7, ");
    EXPECT_EQ(dump.Count(), 2);
    EXPECT_EQ(dump.TotalSize(), 12U);
}

struct LineBreaks {
    int nBlocks;
    const char* szText;
};

class BlockDumpLineTest : public ::testing::TestWithParam<LineBreaks> {};

TEST_P(BlockDumpLineTest, BreaksTheLineAfterEveryTenthBlock) {
    BlockDump dump("h");
    for (int i = 0; i < GetParam().nBlocks; ++i)
        dump.Add("x,", 1);
    EXPECT_STREQ(dump.Text(), GetParam().szText);
    EXPECT_EQ(dump.Count(), GetParam().nBlocks);
}

INSTANTIATE_TEST_SUITE_P(
    Counts, BlockDumpLineTest,
    ::testing::Values(LineBreaks{9, "h\nx,x,x,x,x,x,x,x,x,"}, LineBreaks{10, "h\nx,x,x,x,x,x,x,x,x,x,\n"},
                      LineBreaks{11, "h\nx,x,x,x,x,x,x,x,x,x,\nx,"},
                      LineBreaks{20, "h\nx,x,x,x,x,x,x,x,x,x,\nx,x,x,x,x,x,x,x,x,x,\n"},
                      LineBreaks{25, "h\nx,x,x,x,x,x,x,x,x,x,\nx,x,x,x,x,x,x,x,x,x,\nx,x,x,x,x,"}),
    [](const auto& test) { return std::to_string(test.param.nBlocks) + "Blocks"; });

TEST(BlockDumpTest, TheTotalHoldsMoreThanFourGigabytes) {
    BlockDump dump("h");
    dump.Add("a", 0x100000000);
    dump.Add("b", 0x100000001);
    EXPECT_EQ(dump.TotalSize(), 0x200000001U);
}

}  // namespace
}  // namespace ztk
