#include "proc_text.h"

#include <gtest/gtest.h>
#include <sys/sysmacros.h>

#include <random>

namespace ztkmem {
namespace {

const std::string kBehindCommand =
    " S 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 9 18 123456 20 77 22 23 24 25 26 27 28 29\n";

TEST(ParseStat, ReadsWhatFollowsTheCommand) {
    const auto stat = ParseStat("812 (camera)" + kBehindCommand);
    ASSERT_TRUE(stat);
    EXPECT_EQ(stat->command, "camera");
    EXPECT_EQ(stat->chState, 'S');
    EXPECT_EQ(stat->nThreads, 9);
    EXPECT_EQ(stat->nStartTicks, 123456U);
    EXPECT_EQ(stat->nResidentPages, 77U);
}

TEST(ParseStat, TheCommandMayHoldAnything) {
    EXPECT_EQ(ParseStat("812 (a) Z 1 (b)" + kBehindCommand)->command, "a) Z 1 (b");
    EXPECT_EQ(ParseStat("812 (a) Z 1 (b)" + kBehindCommand)->chState, 'S');
    EXPECT_EQ(ParseStat("812 ()" + kBehindCommand)->command, "");
    EXPECT_EQ(ParseStat("812 (a\nb)" + kBehindCommand)->command, "a\nb");
}

TEST(ParseStat, RefusesWhatIsIncomplete) {
    for (const char* szText : {"", "812", "812 (a", "812 )a(", "812 (a)", "812 (a) S 1 2", "812 (a) SS 1 2"})
        EXPECT_FALSE(ParseStat(szText)) << szText;
}

TEST(ParseInnerIds, AreThoseBehindTheFirst) {
    EXPECT_EQ(ParseInnerIds("Name:\tx\nNStgid:\t1\nNSpid:\t812\t17\t1\nNSpgid:\t5\t6\n"),
              (std::vector<int>{17, 1}));
    EXPECT_TRUE(ParseInnerIds("NSpid:\t812\n").empty());
    EXPECT_TRUE(ParseInnerIds("NSpid:").empty());
    EXPECT_TRUE(ParseInnerIds("").empty());
    EXPECT_TRUE(ParseInnerIds("Name:\tNSpid:\t1\t2\n").empty()) << "a process may call itself so";
}

TEST(ParseMappedInodes, FindsTheDevicesFilesOnce) {
    const std::string maps =
        "7f00-7f01 rw-s 00000000 00:1a 42                         /dev/shm/ZTKTool-1-a\n"
        "7f01-7f02 rw-s 00001000 00:1a 42                         /dev/shm/ZTKTool-1-a\n"
        "7f02-7f03 r--p 00000000 00:1a 7 /dev/shm/x y (deleted)\n"
        "7f03-7f04 r--p 00000000 fe:00 42 /usr/lib/libc.so\n"
        "7f04-7f05 rw-p 00000000 00:00 0 \n"
        "nonsense\n\n"
        "7f05-7f06 r--p 0 1a 42 x\n";
    EXPECT_EQ(ParseMappedInodes(maps, makedev(0, 0x1A)), (std::vector<std::uint64_t>{7, 42}));
    EXPECT_TRUE(ParseMappedInodes("", 1).empty());
}

TEST(ParseNamespaceLink, IsTheNumberInBrackets) {
    EXPECT_EQ(ParseNamespaceLink("pid:[4026531836]"), 4026531836U);
    for (const char* szText : {"", "pid:[]", "pid:[1", "mnt:[1]", "pid:[x]", "pid:["})
        EXPECT_FALSE(ParseNamespaceLink(szText)) << szText;
}

TEST(ProcText, SurvivesAnyBytes) {
    std::mt19937 random(5);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same texts every time
    const std::string alphabet = "() \t\n:-0129afS/NSpid";
    for (int i = 0; i < 20000; ++i) {
        std::string text = random() % 2 == 0 ? "1 (a)" : "NSpid:";
        const auto nLength = random() % 80;
        for (unsigned n = 0; n < nLength; ++n)
            text += alphabet[random() % alphabet.size()];
        const auto stat = ParseStat(text);
        EXPECT_TRUE(!stat || stat->chState != '\0');
        EXPECT_LE(ParseInnerIds(text).size(), text.size());
        EXPECT_LE(ParseMappedInodes(text, 0).size(), text.size());
    }
}

}  // namespace
}  // namespace ztkmem
