#include "platform/mem_info.h"

#include <gmock/gmock.h>

#include <sstream>
#include <string>

#include "fakes/fake_log.h"
#include "support/mem_info_file.h"
#include "support/system_calls.h"

namespace ztk {
namespace {

using test::Bookkeeping;
using test::FakeLog;
using test::MemInfoFile;
using test::NoMoreDescriptors;

struct TextCase {
    const char* szBehaviour;
    const char* szText;
    std::uint64_t nBytes;
};

class FigureIn : public testing::TestWithParam<TextCase> {};

TEST_P(FigureIn, IsReadAsKilobytes) {
    std::istringstream text(GetParam().szText);
    EXPECT_EQ(GetParam().nBytes, ReadMemInfo(text, "MemAvailable:"));
}

INSTANTIATE_TEST_SUITE_P(
    MemInfo, FigureIn,
    testing::Values(
        TextCase{"plain", "MemAvailable: 2048 kB\n", 2'097'152},
        TextCase{"behindOtherLines", "MemTotal: 9 kB\nMemFree: 1 kB\nMemAvailable:    3 kB\n", 3072},
        TextCase{"withoutUnit", "MemAvailable: 4\n", 4096},
        TextCase{"otherUnitIsNotLookedAt", "MemAvailable: 4 GB\n", 4096},
        TextCase{"lettersRightBehindTheNumber", "MemAvailable: 4kB\n", 4096},
        TextCase{"severalBlanks", "MemAvailable: \t  5\t\tkB\n", 5120},
        TextCase{"withoutLineEnd", "MemAvailable: 6 kB", 6144},
        TextCase{"carriageReturn", "MemAvailable: 6\r\n", 6144},
        TextCase{"zero", "MemAvailable: 0 kB\nMemAvailable: 7 kB\n", 0},
        TextCase{"firstOfTwo", "MemAvailable: 1 kB\nMemAvailable: 2 kB\n", 1024},
        TextCase{"blankBeforeTheKey", " MemAvailable: 2048 kB\n", 0},
        TextCase{"blankBeforeTheKeyThenAGoodLine", " MemAvailable: 1 kB\nMemAvailable: 2 kB\n", 2048},
        TextCase{"keyFurtherIn", "Not MemAvailable: 2048 kB\n", 0},
        TextCase{"longerWordBeforeTheKey", "XMemAvailable: 2048 kB\n", 0},
        TextCase{"keyWithoutColon", "MemAvailable 2048 kB\n", 0},
        TextCase{"otherCase", "memavailable: 2048 kB\n", 0},
        TextCase{"lettersForTheNumber", "MemAvailable: many kB\n", 0},
        TextCase{"lettersThenAGoodLine", "MemAvailable: many kB\nMemAvailable: 2 kB\n", 2048},
        TextCase{"nothingBehindTheKey", "MemAvailable:\n", 0},
        TextCase{"blanksBehindTheKey", "MemAvailable:   \nMemAvailable: 2 kB\n", 2048},
        TextCase{"numberRightBehindTheKeyIsPartOfIt", "MemAvailable:2048 kB\n", 0},
        TextCase{"numberRightBehindTheKeyAndASecondOne", "MemAvailable:2048 3\n", 3072},
        TextCase{"negative", "MemAvailable: -1 kB\n", 0},
        TextCase{"beyond64Bits", "MemAvailable: 18446744073709551616 kB\n", 0},
        TextCase{"beyond64BitsThenAGoodLine", "MemAvailable: 99999999999999999999 kB\nMemAvailable: 2 kB\n",
                 2048},
        TextCase{"productBeyond64BitsIsNoSmallFigure", "MemAvailable: 18014398509481984 kB\n", UINT64_MAX},
        TextCase{"largestProduct", "MemAvailable: 18014398509481983 kB\n", 18'446'744'073'709'550'592U},
        TextCase{"keyAbsent", "MemTotal: 2048 kB\n", 0},  //
        TextCase{"empty", "", 0}),
    [](const auto& text) { return text.param.szBehaviour; });

TEST(ReadMemInfo, IsZeroForATextThatCannotBeRead) {
    std::istringstream text("MemAvailable: 2048 kB\n");
    text.setstate(std::ios::failbit);
    EXPECT_EQ(0U, ReadMemInfo(text, "MemAvailable:"));
}

TEST(ReadMemInfo, LeavesTheTextBehindTheFigureUnread) {
    std::istringstream text("MemAvailable: 1 kB\nrest");
    ReadMemInfo(text, "MemAvailable:");
    std::string rest;
    text >> rest;
    EXPECT_EQ("rest", rest);
}

TEST(MemoryFigures, ComeFromTheSystemsFile) {
    const MemInfoFile file("MemTotal: 1 kB\nMemAvailable:   2048 kB\nShmem:    12 kB\n");
    ASSERT_TRUE(file.IsMounted());
    EXPECT_EQ(2'097'152U, GetMemAvailable_Linux());
    EXPECT_EQ(12'288U, GetShmemSize_Linux());
    EXPECT_THAT(FakeLog::Lines(), testing::IsEmpty());
}

TEST(MemoryFigures, AreReadAfreshEveryTime) {
    for (const char* szText : {"MemAvailable: 1 kB\nShmem: 3 kB\n", "MemAvailable: 2 kB\nShmem: 4 kB\n"}) {
        const MemInfoFile file(szText);
        ASSERT_TRUE(file.IsMounted());
        EXPECT_EQ(static_cast<std::uint64_t>(szText[14] - '0') * 1024, GetMemAvailable_Linux());
        EXPECT_EQ(static_cast<std::uint64_t>(szText[26] - '0') * 1024, GetShmemSize_Linux());
    }
}

TEST(MemoryFigures, AreZeroWhereTheFileHasNone) {
    const MemInfoFile file("MemTotal: 1 kB\n");
    ASSERT_TRUE(file.IsMounted());
    EXPECT_EQ(0U, GetMemAvailable_Linux());
    EXPECT_EQ(0U, GetShmemSize_Linux());
}

TEST(MemoryFigures, AreZeroWhenTheFileCannotBeOpened) {
    const MemInfoFile file("MemAvailable: 2048 kB\nShmem: 12 kB\n");
    ASSERT_TRUE(file.IsMounted());
    const NoMoreDescriptors none;
    EXPECT_EQ(0U, GetMemAvailable_Linux());
    EXPECT_EQ(0U, GetShmemSize_Linux());
    EXPECT_THAT(FakeLog::Lines(), testing::IsEmpty());
}

// The stream and the line need memory of their own; whichever of it fails, no exception gets out.
TEST(MemoryFigures, AreZeroWhenThereIsNoMemoryToReadThem) {
    const MemInfoFile file(
        "MemTotal: a line that is too long for a string without memory of its own\n"
        "MemAvailable: 2048 kB\n");
    ASSERT_TRUE(file.IsMounted());
    int nFailed = 0;
    for (bool bRanOut = true; bRanOut; ++nFailed) {
        Bookkeeping::FailNew(nFailed + 1);
        const std::uint64_t nBytes = GetMemAvailable_Linux();
        bRanOut = Bookkeeping::Count() > nFailed;
        Bookkeeping::FailNew(-1);
        ASSERT_EQ(bRanOut ? 0U : 2'097'152U, nBytes) << "allocation " << nFailed + 1;
    }
    EXPECT_GT(nFailed, 2);
}

TEST(SumOfSizes, IsAllOnesWhereItDoesNotFit) {
    EXPECT_EQ(0U, SumOfSizes({}));
    EXPECT_EQ(6U, SumOfSizes({1, 2, 3}));
    EXPECT_EQ(UINT64_MAX, SumOfSizes({UINT64_MAX}));
    EXPECT_EQ(UINT64_MAX, SumOfSizes({UINT64_MAX - 1, 1}));
    EXPECT_EQ(UINT64_MAX, SumOfSizes({UINT64_MAX, 1}));
    EXPECT_EQ(UINT64_MAX, SumOfSizes({1, UINT64_MAX, 1}));
    EXPECT_EQ(UINT64_MAX, SumOfSizes({UINT64_MAX, UINT64_MAX}));
}

TEST(MemoryReserve, Is350Mebibytes) {
    EXPECT_EQ(0x15E00000U, kMemoryReserve);
}

}  // namespace
}  // namespace ztk
