// Whose segment a name says it is.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "pool/segment_sweep.h"

namespace ztk::test {
namespace {

struct Reading {
    const char* szName;
    SegmentName enResult;
    const char* szOwner = "untouched";
};

void PrintTo(const Reading& reading, std::ostream* pStream) {
    *pStream << '"' << reading.szName << '"';
}

class ParseSegmentNameTest : public ::testing::TestWithParam<Reading> {};

TEST_P(ParseSegmentNameTest, ReadsTheOwner) {
    OwnerText owner;
    std::strcpy(owner.szText, "untouched");
    EXPECT_EQ(ParseSegmentName(GetParam().szName, owner), GetParam().enResult);
    EXPECT_STREQ(owner.szText, GetParam().szOwner);
}

constexpr auto kOwned = SegmentName::kOwned;
constexpr auto kMalformed = SegmentName::kMalformed;
constexpr auto kForeign = SegmentName::kForeign;

INSTANTIATE_TEST_SUITE_P(AsMade, ParseSegmentNameTest,
                         ::testing::Values(Reading{"ZTKTool-1-00", kOwned, "1"},
                                           Reading{"ZTKTool-1234-0123456789abcdef0123456789abcdef", kOwned,
                                                   "1234"},
                                           Reading{"ZTKTool-4194304-ff", kOwned, "4194304"}));

// The owner is all that stands strictly between the first and the last dash of the whole name.
INSTANTIATE_TEST_SUITE_P(
    MoreDashes, ParseSegmentNameTest,
    ::testing::Values(Reading{"ZTKTool-12-ab-cd", kOwned, "12-ab"}, Reading{"ZTKTool--x", kOwned, ""},
                      Reading{"ZTKTool--5", kOwned, ""}, Reading{"ZTKTool--", kOwned, ""},
                      Reading{"ZTKTool--5-x", kOwned, "-5"}, Reading{"ZTKTool---5", kOwned, "-"},
                      Reading{"ZTKTool---", kOwned, "-"}, Reading{"ZTKTool-1--", kOwned, "1-"}));

INSTANTIATE_TEST_SUITE_P(MarkerAnywhere, ParseSegmentNameTest,
                         ::testing::Values(Reading{"xZTKTool-5-y", kOwned, "5"},
                                           Reading{"a-ZTKTool-7-z", kOwned, "ZTKTool-7"},
                                           Reading{"1-2-ZTKTool", kOwned, "2"},
                                           Reading{"-ZTKTool-", kOwned, "ZTKTool"},
                                           Reading{"-8-ZTKToolZTKTool", kOwned, "8"}));

INSTANTIATE_TEST_SUITE_P(OddOwners, ParseSegmentNameTest,
                         ::testing::Values(Reading{"ZTKTool-abc-ff", kOwned, "abc"},
                                           Reading{"ZTKTool-01234-ff", kOwned, "01234"},
                                           Reading{"ZTKTool- 12 -ff", kOwned, " 12 "},
                                           Reading{"ZTKTool-+3-ff", kOwned, "+3"},
                                           Reading{"ZTKTool-\xFF-ff", kOwned, "\xFF"}));

INSTANTIATE_TEST_SUITE_P(FewerThanTwoDashes, ParseSegmentNameTest,
                         ::testing::Values(Reading{"ZTKTool", kMalformed},
                                           Reading{"ZTKTool-1234", kMalformed},
                                           Reading{"ZTKTool-", kMalformed}, Reading{"-ZTKTool", kMalformed},
                                           Reading{"xZTKToolx", kMalformed}));

INSTANTIATE_TEST_SUITE_P(NotMarked, ParseSegmentNameTest,
                         ::testing::Values(Reading{"", kForeign}, Reading{"-", kForeign},
                                           Reading{"ztktool-1-2", kForeign}, Reading{"ZTKTOOL-1-2", kForeign},
                                           Reading{"ZTKToo-1-2", kForeign}, Reading{"ZTK-Tool-1", kForeign},
                                           Reading{"sem.other-1-2", kForeign}));

TEST(ParseSegmentNameLengthTest, TheLongestOwnerFitsAndALongerOneIsRefused) {
    OwnerText owner;
    const std::string longest(sizeof(owner.szText) - 1, '7');
    EXPECT_EQ(ParseSegmentName(("ZTKTool-" + longest + "-x").c_str(), owner), kOwned);
    EXPECT_EQ(owner.szText, longest);
    EXPECT_EQ(ParseSegmentName(("ZTKTool-" + longest + "7-x").c_str(), owner), kMalformed);
    EXPECT_EQ(owner.szText, longest) << "untouched";
}

}  // namespace
}  // namespace ztk::test
