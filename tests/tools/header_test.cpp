#include "header.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>

#include "text.h"
#include "tools/made_up_objects.h"

namespace ztkmem {
namespace {

const std::string kName = test::PoolName(1234);
constexpr std::uint64_t kLength = 4096;

struct Stamped {
    HeaderBytes bytes{};

    Stamped() {
        const test::Bytes good = test::HeaderOf(kName, kLength - kHeaderSize);
        std::copy(good.begin(), good.end(), bytes.begin());
    }
    Stamped& Put(std::size_t nAt, const std::string& text) {
        std::memcpy(bytes.data() + nAt, text.data(), text.size());
        return *this;
    }
    Stamped& Fill(std::uint8_t byValue) {
        bytes.fill(byValue);
        return *this;
    }
    HeaderVerdict Judge(NameKind enKind = NameKind::kPool, std::uint64_t nLength = kLength) const {
        return JudgeHeader(DecodeHeader(bytes), kName, enKind, nLength);
    }
};

const std::string kOne("\1", 1);

TEST(Header, IsTakenApart) {
    const Header header =
        DecodeHeader(Stamped().Put(8, "\x01\x02").Put(10, "abcd").Put(96, "MMZ_7_0x8").bytes);
    EXPECT_EQ(header.nDataLen, kLength - 128);
    EXPECT_EQ(header.byReserved8, 1);
    EXPECT_EQ(header.byMmz, 2);
    EXPECT_EQ(header.reserved[3], 'd');
    EXPECT_EQ(header.nHeaderLen, 128);
    EXPECT_EQ(header.name, kName);
    EXPECT_EQ(header.mmz, "MMZ_7_0x8");
}

TEST(Header, NameAndMmzTextMayFillTheirFields) {
    const Header header =
        DecodeHeader(Stamped().Put(16, std::string(80, 'n')).Put(96, std::string(32, 'm')).bytes);
    EXPECT_EQ(header.name, std::string(80, 'n'));
    EXPECT_EQ(header.mmz, std::string(32, 'm'));
}

TEST(HeaderVerdict, GoodWhenEverythingFits) {
    EXPECT_EQ(Stamped().Judge().enState, HeaderState::kGood);
    EXPECT_TRUE(Stamped().Judge().reasons.empty());
}

TEST(HeaderVerdict, OverwrittenWithTheReasons) {
    const HeaderVerdict wrongLength = Stamped().Judge(NameKind::kPool, kLength + 1);
    EXPECT_EQ(wrongLength.enState, HeaderState::kOverwritten);
    EXPECT_EQ(wrongLength.reasons, std::vector<std::string>{"data length is 3968, the object holds 3969"});
    EXPECT_EQ(Stamped().Put(14, "\x81").Judge().enState, HeaderState::kOverwritten);
    EXPECT_EQ(Stamped().Put(16, "a b").Judge().enState, HeaderState::kOverwritten);
    EXPECT_EQ(Stamped().Put(9, kOne).Put(16, "a b").Judge().enState, HeaderState::kOverwritten);
    EXPECT_EQ(Stamped().Fill(0x55).Judge().enState, HeaderState::kOverwritten);
    EXPECT_EQ(Stamped().Fill(0x55).Judge().reasons.size(), 4U);
    EXPECT_EQ(Stamped().Fill(0xFF).Judge().enState, HeaderState::kOverwritten);
}

TEST(HeaderVerdict, ForeignWhenAnothersOrNeverThere) {
    EXPECT_EQ(Stamped().Put(16, "another").Judge().enState, HeaderState::kForeign);
    EXPECT_EQ(Stamped().Fill(0x55).Judge(NameKind::kForeign).enState, HeaderState::kForeign);
    EXPECT_EQ(Stamped().Fill(0).Judge(NameKind::kForeign).enState, HeaderState::kForeign);
}

TEST(HeaderVerdict, BlankBeforeItIsStamped) {
    EXPECT_EQ(Stamped().Fill(0).Judge().enState, HeaderState::kBlank);
    EXPECT_EQ(Stamped().Fill(0).Put(10, kOne).Judge().enState, HeaderState::kOverwritten);
    EXPECT_EQ(Stamped().Fill(0).Put(127, kOne).Judge().enState, HeaderState::kOverwritten)
        << "text behind a first zero is text, too";
}

TEST(HeaderVerdict, MmzIsDescribed) {
    const HeaderVerdict good = Stamped().Put(9, kOne).Put(96, "MMZ_4096_0xffff0000").Judge();
    EXPECT_EQ(good.enState, HeaderState::kMmz);
    EXPECT_EQ(good.reasons, std::vector<std::string>{"physical 0x1000, virtual 0xffff0000"});
    const HeaderVerdict unusable = Stamped().Put(9, kOne).Put(96, "MMZ_\x1b").Judge();
    EXPECT_EQ(unusable.enState, HeaderState::kMmz);
    EXPECT_EQ(unusable.reasons, std::vector<std::string>{"unusable MMZ text \"MMZ_\\x1b\""});
}

TEST(HeaderVerdict, TooShort) {
    EXPECT_EQ(JudgeTooShort(127).enState, HeaderState::kTooShort);
    EXPECT_EQ(JudgeTooShort(127).reasons.front(), "127 bytes, the header alone takes 128");
}

TEST(Mmz, IsReadInTheFormItIsWritten) {
    EXPECT_EQ(ParseMmz("MMZ_-5_0x10")->nPhysical, -5);
    EXPECT_EQ(ParseMmz("MMZ_5_ff")->nVirtual, 0xFFU);
    for (const char* szText : {"", "MMZ_", "MMZ_5", "MMZ_5_", "MMZ_5_0x", "MMZ_x_0x1", "MMZ_5_0x1 ",
                               "mmz_5_0x1", "MMZ_99999999999999999999_0x1", "MMZ_5_0x11112222333344445"}) {
        EXPECT_FALSE(ParseMmz(szText)) << szText;
    }
}

std::string AllText(const HeaderVerdict& verdict) {
    std::string text = HeaderStateText(verdict.enState);
    for (const std::string& reason : verdict.reasons)
        text += reason;
    return text;
}

TEST(HeaderVerdict, WhateverIsInTheBytesTheWordsAreSafe) {
    std::mt19937 random(4711);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same headers every time
    std::array<int, 8> seen{};
    for (int i = 0; i < 20000; ++i) {
        Stamped header;
        if (i % 3 == 0) header.Fill(static_cast<std::uint8_t>(random() % 4 == 0 ? 0 : random()));
        const auto nChanges = random() % 5;
        for (unsigned n = 0; n < nChanges; ++n)
            header.bytes.at(random() % kHeaderSize) = static_cast<std::uint8_t>(random());
        const auto enKind = random() % 2 == 0 ? NameKind::kPool : NameKind::kForeign;
        const HeaderVerdict verdict = header.Judge(enKind, random() % 2 == 0 ? kLength : kHeaderSize);
        ++seen.at(static_cast<std::size_t>(verdict.enState));
        for (const char ch : AllText(verdict))
            ASSERT_TRUE(static_cast<unsigned char>(ch) >= 0x20 && ch != 0x7F);
        EXPECT_EQ(verdict.reasons.empty(), verdict.enState == HeaderState::kGood);
    }
    for (const HeaderState enState : {HeaderState::kGood, HeaderState::kOverwritten, HeaderState::kForeign,
                                      HeaderState::kMmz, HeaderState::kBlank}) {
        EXPECT_GT(seen.at(static_cast<std::size_t>(enState)), 10) << HeaderStateText(enState);
    }
}

}  // namespace
}  // namespace ztkmem
