#include "text.h"

#include <gtest/gtest.h>

#include <clocale>
#include <nlohmann/json.hpp>
#include <random>
#include <string>

#include "hex_dump.h"
#include "table.h"

namespace ztkmem {
namespace {

TEST(Escape, LeavesOrdinaryTextAndUtf8Alone) {
    for (const char* szText :
         {"", "ZTKTool-12-ab", "caf\xc3\xa9", "\xe7\x9b\xb8\xe6\x9c\xba", "\xf0\x9f\x93\xb7"})
        EXPECT_EQ(Escape(szText), szText);
}

TEST(Escape, ShowsWhatWouldHarm) {
    EXPECT_EQ(Escape("a\\b"), "a\\\\b");
    EXPECT_EQ(Escape("\x1b[2J\n\t\x7f"), "\\x1b[2J\\x0a\\x09\\x7f");
    EXPECT_EQ(Escape(std::string("a\0b", 3)), "a\\x00b");
    EXPECT_EQ(Escape("\xc2\x9b"), "\\xc2\\x9b") << "a control character of two bytes";
    EXPECT_EQ(Escape("\xe2\x80\xae"), "\\xe2\\x80\\xae") << "turns the direction of what follows";
}

TEST(Escape, ShowsWhatIsNotUtf8) {
    EXPECT_EQ(Escape("\xff\xfe"), "\\xff\\xfe");
    EXPECT_EQ(Escape("a\xc3"), "a\\xc3");
    EXPECT_EQ(Escape("\xc0\xaf"), "\\xc0\\xaf") << "longer than need be";
    EXPECT_EQ(Escape("\xed\xa0\x80"), "\\xed\\xa0\\x80") << "half a pair";
    EXPECT_EQ(Escape("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80") << "beyond the last character";
}

TEST(Escape, CanBeUndone) {
    EXPECT_EQ(Unescape("a\\\\b\\x1b"), "a\\b\x1b");
    for (const char* szText : {"\\", "\\x", "\\x1", "\\xg0", "\\x+1", "\\n", "a\\"})
        EXPECT_FALSE(Unescape(szText)) << szText;
}

TEST(Escape, WhateverTheBytesItIsSafeValidAndReversible) {
    std::mt19937 random(99);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same bytes every time
    for (int i = 0; i < 20000; ++i) {
        std::string bytes(random() % 12, '\0');
        for (char& ch : bytes)
            ch = static_cast<char>(random() % 3 == 0 ? 0xC0 + random() % 64 : random() % 256);
        const std::string text = Escape(bytes);
        EXPECT_EQ(Unescape(text), bytes);
        EXPECT_NO_THROW(static_cast<void>(nlohmann::json(text).dump())) << "not UTF-8: " << text;
        for (const char ch : text)
            ASSERT_TRUE(static_cast<unsigned char>(ch) >= 0x20 && ch != 0x7F);
    }
}

TEST(Escape, OfHarmLeavesBackslashesAlone) {
    EXPECT_EQ(EscapeHarmful("\\x0a \x1b[2J\xff caf\xc3\xa9"), "\\x0a \\x1b[2J\\xff caf\xc3\xa9");
}

/// Another locale as long as it lives.
class Locale {
  public:
    explicit Locale(const char* szName) : bSet_(std::setlocale(LC_CTYPE, szName) != nullptr) {}
    ~Locale() { std::setlocale(LC_CTYPE, "C"); }
    Locale(const Locale&) = delete;
    Locale& operator=(const Locale&) = delete;

    bool IsSet() const { return bSet_; }

  private:
    const bool bSet_;
};

constexpr char kCamera[] = "\xe7\x9b\xb8\xe6\x9c\xba";  // two wide characters

TEST(Columns, AreCountedNotBytes) {
    EXPECT_EQ(ColumnCount("caf\xc3\xa9"), 4U);
    EXPECT_EQ(FirstColumns("caf\xc3\xa9s", 4), "caf\xc3\xa9");
    EXPECT_EQ(FirstColumns("caf\xc3\xa9", 9), "caf\xc3\xa9");
    EXPECT_EQ(FirstColumns("\xc3\xa9", 0), "");
}

TEST(Columns, WideCharactersTakeTwoAndCombiningOnesNone) {
    const Locale utf8("C.UTF-8");
    if (!utf8.IsSet()) GTEST_SKIP() << "no C.UTF-8";
    EXPECT_EQ(ColumnCount(kCamera), 4U);
    EXPECT_EQ(FirstColumns(kCamera, 4), kCamera);
    EXPECT_EQ(FirstColumns(kCamera, 3), "\xe7\x9b\xb8");
    EXPECT_EQ(FirstColumns(kCamera, 1), "");
    EXPECT_EQ(ColumnCount("e\xcc\x81s"), 2U);
    EXPECT_EQ(FirstColumns("e\xcc\x81s", 1), "e\xcc\x81");
    Table table({{"NAME", Align::kLeft}, {"X", Align::kLeft}});
    table.AddRow({kCamera, "a"});
    table.AddRow({"abc", "b"});
    EXPECT_EQ(table.Text(), "NAME  X\n" + std::string(kCamera) + "  a\nabc   b\n");
}

TEST(ForTerminal, ShowsNothingThatItsLocaleHasNot) {
    EXPECT_EQ(ForTerminal(kCamera), kCamera);
    TakeTerminalForUtf8(false);
    Table table({{"NAME", Align::kLeft}, {"X", Align::kLeft}});
    table.AddRow({"\xc3\xa9", "a"});
    EXPECT_EQ(table.Text(), "NAME      X\n\\xc3\\xa9  a\n");
    EXPECT_EQ(ForTerminal("a\\b\n"), "a\\b\n");
    TakeTerminalForUtf8(true);
}

TEST(Counted, HasTheRightPlural) {
    EXPECT_EQ(Counted(0, "block"), "0 blocks");
    EXPECT_EQ(Counted(1, "block"), "1 block");
    EXPECT_EQ(Counted(2, "process"), "2 processes");
    EXPECT_EQ(Counted(12, "address"), "12 addresses");
}

TEST(HumanBytes, HasOneDecimal) {
    EXPECT_EQ(HumanBytes(0), "0");
    EXPECT_EQ(HumanBytes(1023), "1023");
    EXPECT_EQ(HumanBytes(1024), "1.0K");
    EXPECT_EQ(HumanBytes(1024 * 1024 - 1), "1.0M") << "not 1024.0K";
    EXPECT_EQ(HumanBytes(26110000), "24.9M");
    EXPECT_EQ(HumanBytes(UINT64_MAX), "16.0E");
    EXPECT_EQ(HumanDifference(10, 10), "0");
    EXPECT_EQ(HumanDifference(1024, 4096), "+3.0K");
    EXPECT_EQ(HumanDifference(4096, 1024), "-3.0K");
}

TEST(HumanAge, RoundsDown) {
    EXPECT_EQ(HumanAge(-1), "future");
    EXPECT_EQ(HumanAge(59), "59s");
    EXPECT_EQ(HumanAge(60), "1m");
    EXPECT_EQ(HumanAge(3599), "59m");
    EXPECT_EQ(HumanAge(86399), "23h");
    EXPECT_EQ(HumanAge(86400L * 400), "400d");
}

TEST(ParseAge, TakesOneNumberAndOneUnit) {
    EXPECT_EQ(ParseAge("90"), 90);
    EXPECT_EQ(ParseAge("90s"), 90);
    EXPECT_EQ(ParseAge("15m"), 900);
    EXPECT_EQ(ParseAge("2h"), 7200);
    EXPECT_EQ(ParseAge("3d"), 259200);
    for (const char* szText :
         {"", "-1s", "s", "1w", "1 m", "1mm", "1.5h", "9223372036854775807d", "99999999999999999999"})
        EXPECT_FALSE(ParseAge(szText)) << szText;
}

TEST(Table, AlignsCharacters) {
    Table table({{"ID", Align::kRight}, {"NAME", Align::kLeft}, {"X", Align::kLeft}});
    table.AddRow({"1", "caf\xc3\xa9s", "a"});
    table.AddRow({"12345", "b", ""});
    EXPECT_EQ(table.Text(), "   ID  NAME   X\n    1  caf\xc3\xa9s  a\n12345  b\n");
}

TEST(HexDump, LeavesOutRepeatedLines) {
    std::vector<std::uint8_t> bytes(70);
    bytes[64] = 'A';
    bytes[69] = 0x7F;
    EXPECT_EQ(HexDump(bytes, 0x80),
              "00000080  00 00 00 00 00 00 00 00  00 00 00 00 00 00 00 00  |................|\n"
              "*\n"
              "000000c0  41 00 00 00 00 7f                                 |A.....|\n");
    EXPECT_EQ(HexDump({}, 0), "");
}

}  // namespace
}  // namespace ztkmem
