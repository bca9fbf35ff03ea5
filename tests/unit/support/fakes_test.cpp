#include <gmock/gmock.h>

#include "external/rockit.h"
#include "external/ztk_log.h"
#include "fakes/fake_log.h"
#include "fakes/fake_rockit.h"
#include "support/log_lines.h"

namespace ztk::test {
namespace {

using testing::ElementsAre;

TEST(FakeLog, KeepsEveryLineWhole) {
    ZTK_LOG_WriteLog(3, "[%s@%d]%s %d%%", "Function", 17, "text", 5);
    EXPECT_THAT(FakeLog::Lines(),
                ElementsAre(LineIs(3, "Function", 17, "[%s@%d]%s %d%%", "[Function@17]text 5%")));
    EXPECT_THAT(FakeLog::Texts(), ElementsAre("3 [Function@17]text 5%"));
    EXPECT_THAT(FakeLog::TextsWithout("Function"), testing::IsEmpty());
}

TEST(FakeLog, TellsTheLevelItWasGiven) {
    EXPECT_EQ(0, ZTK_LOG_GetLogLevel());
    FakeLog::SetLevel(2);
    EXPECT_EQ(2, ZTK_LOG_GetLogLevel());
}

TEST(FakeRockit, LendsBlocksAndTakesThemBack) {
    MB_BLK hFirst = nullptr;
    MB_BLK hSecond = nullptr;
    ASSERT_EQ(0, RK_MPI_MMZ_Alloc(&hFirst, 16, 0));
    ASSERT_EQ(0, RK_MPI_MMZ_Alloc(&hSecond, 32, 1));
    void* pSecond = RK_MPI_MMZ_Handle2VirAddr(hSecond);
    EXPECT_EQ(hSecond, RK_MPI_MMZ_VirAddr2Handle(pSecond));
    EXPECT_EQ(nullptr, RK_MPI_MMZ_VirAddr2Handle(static_cast<char*>(pSecond) + 1));
    EXPECT_EQ(0, RK_MPI_MMZ_Free(hFirst));
    EXPECT_GT(0, RK_MPI_MMZ_Free(hFirst));
    EXPECT_THAT(FakeRockit::Calls(), ElementsAre("Alloc 16 flags 0", "Alloc 32 flags 1", "VirAddr h2",
                                                 "Handle h2", "Handle ?", "Free h1", "Free ?"));
    EXPECT_EQ(1U, FakeRockit::LiveBlocks());
    EXPECT_EQ(pSecond, FakeRockit::Address(2));
}

TEST(FakeRockit, FailsAtTheOccurrenceNamed) {
    FakeRockit::FailAlloc(2, -5);
    MB_BLK hBlock = nullptr;
    EXPECT_EQ(0, RK_MPI_MMZ_Alloc(&hBlock, 16, 0));
    EXPECT_EQ(-5, RK_MPI_MMZ_Alloc(&hBlock, 16, 0));
    EXPECT_EQ(0, RK_MPI_MMZ_Alloc(&hBlock, 16, 0));
    EXPECT_EQ(2U, FakeRockit::LiveBlocks());
}

}  // namespace
}  // namespace ztk::test
