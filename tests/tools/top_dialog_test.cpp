#include "top_dialog.h"

#include <gtest/gtest.h>

namespace ztkmem {
namespace {

TEST(TopDelay, IsReadInSeconds) {
    EXPECT_EQ(ParseDelay("2"), 2.0);
    EXPECT_EQ(ParseDelay("0.5"), 0.5);
    EXPECT_EQ(ParseDelay(".5"), 0.5);
    EXPECT_EQ(ParseDelay("3600"), 3600.0);
    for (const char* szText : {"", ".", "0", "0.09", "3601", "-1", "1s", "1e2", "inf", "nan", " 1", "1.2.3"})
        EXPECT_FALSE(ParseDelay(szText)) << szText;
}

std::optional<double> Typed(DelayQuestion& question, const std::string& keys) {
    std::optional<double> delay;
    for (const char ch : keys)
        delay = question.Press(ch);
    return delay;
}

TEST(TopDelay, IsAskedFor) {
    DelayQuestion question;
    EXPECT_FALSE(question.IsOpen());
    question.Open();
    EXPECT_FALSE(Typed(question, "3x7\b.5"));
    EXPECT_EQ(question.Line(1), "Change delay from 1.0 to 3.5_");
    EXPECT_EQ(Typed(question, "\r"), 3.5);
    EXPECT_FALSE(question.IsOpen());
}

TEST(TopDelay, IsAskedForAgainUntilItIsOne) {
    DelayQuestion question;
    question.Open();
    EXPECT_FALSE(Typed(question, "9999999999\r"));
    EXPECT_TRUE(question.IsOpen());
    EXPECT_EQ(question.Line(1), "that is no delay: 0.1 to 3600 seconds");
    EXPECT_FALSE(Typed(question, "2"));
    EXPECT_EQ(question.Line(1), "Change delay from 1.0 to 2_");
    EXPECT_EQ(Typed(question, "\r"), 2.0);
}

TEST(TopDelay, MayStayAsItIs) {
    DelayQuestion question;
    for (const char* szKeys : {"\r", "7\b\b\r", "7\033"}) {
        question.Open();
        EXPECT_FALSE(Typed(question, szKeys));
        EXPECT_FALSE(question.IsOpen());
    }
}

TEST(TopHelpScreen, FitsASmallTerminal) {
    EXPECT_LE(TopHelp(1).size(), 12U);
    for (const std::string& line : TopHelp(1))
        EXPECT_LE(line.size(), 80U) << line;
}

}  // namespace
}  // namespace ztkmem
