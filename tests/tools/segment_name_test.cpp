#include "segment_name.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "pool/segment_sweep.h"

namespace ztkmem {
namespace {

const std::string kDigits = "0123456789abcdef0123456789abcdef";

TEST(SegmentName, TellsTheOwnerOfANameAsTheLibraryMakesIt) {
    const SegmentName name = ParseSegmentName("ZTKTool-1234-" + kDigits);
    EXPECT_EQ(name.enKind, NameKind::kPool);
    EXPECT_EQ(name.nOwner, 1234);
    EXPECT_EQ(ParseSegmentName("ZTKTool-2147483647-" + kDigits).nOwner, 2147483647);
}

TEST(SegmentName, HasNoOwnerInAnyOtherForm) {
    std::string upper = kDigits;
    upper[10] = 'A';
    for (const std::string& name :
         {"ZTKTool-0-" + kDigits, "ZTKTool-01234-" + kDigits, "ZTKTool--1-" + kDigits,
          "ZTKTool-+1-" + kDigits, "ZTKTool- 1-" + kDigits, "ZTKTool-2147483648-" + kDigits,
          "ZTKTool-99999999999999999999-" + kDigits, "ZTKTool-12-ab-cd-" + kDigits, "ZTKTool-12a-" + kDigits,
          "ZTKTool--" + kDigits, "ZTKTool-12-" + upper, "ZTKTool-12-" + kDigits + "0",
          "ZTKTool-12-" + kDigits.substr(1), "xZTKTool-12-" + kDigits, "ZTKTool-12-" + kDigits + '\n',
          std::string("ZTKTool"), std::string("ZTKTool-12"), std::string("ZTKTool-12-")}) {
        EXPECT_EQ(ParseSegmentName(name).enKind, NameKind::kOdd) << name;
        EXPECT_EQ(ParseSegmentName(name).nOwner, 0) << name;
    }
}

TEST(SegmentName, LeavesOtherProgramsNamesAlone) {
    for (const char* szName : {"", "-", "ztktool-12-ab", "ZTKToo-12-ab", "sem.camera", "pulse-shm-1-2"})
        EXPECT_EQ(ParseSegmentName(szName).enKind, NameKind::kForeign) << szName;
}

TEST(SweepOwner, IsWhatStandsBetweenTheFirstAndTheLastDash) {
    EXPECT_EQ(SweepOwner("ZTKTool-12-ab-cd"), 12);
    EXPECT_EQ(SweepOwner("xZTKTool-5-y"), 5);
    EXPECT_EQ(SweepOwner("ZTKTool-abc-ff"), 0);
    EXPECT_EQ(SweepOwner("ZTKTool--5-y"), -5);
    EXPECT_EQ(SweepOwner("ZTKTool-99999999999999999999-y"), -1);
    EXPECT_EQ(SweepOwner("ZTKTool-1234"), std::nullopt);
    EXPECT_EQ(SweepOwner("other-12-ab"), std::nullopt);
}

/// Made from the pieces that matter, so that many come close to a good name.
std::string MakeUpName(std::mt19937& random) {
    const std::string pieces[] = {"ZTKTool",         "-",    "12",      "0", kDigits,
                                  kDigits.substr(5), "\xff", "\x1b[2J", " ", "-9"};
    std::string name = random() % 2 == 0 ? "ZTKTool-" : "";
    const auto nPieces = random() % 7;
    for (unsigned i = 0; i < nPieces; ++i)
        name += pieces[random() % std::size(pieces)];
    return name;
}

TEST(SegmentName, AgreesWithTheLibraryOnMadeUpNames) {
    std::mt19937 random(20240607);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same names every time
    std::size_t nMarked = 0;
    for (int i = 0; i < 20000; ++i) {
        const std::string name = MakeUpName(random);
        ztk::OwnerText owner{};
        const ztk::SegmentName enExpected = ztk::ParseSegmentName(name.c_str(), owner);
        const auto nOwner = SweepOwner(name);
        EXPECT_EQ(nOwner.has_value(), enExpected == ztk::SegmentName::kOwned) << name;
        EXPECT_EQ(ParseSegmentName(name).enKind == NameKind::kForeign,
                  enExpected == ztk::SegmentName::kForeign);
        if (nOwner) {
            ++nMarked;
            EXPECT_EQ(*nOwner, static_cast<int>(std::strtol(owner.szText, nullptr, 10))) << name;
        }
    }
    EXPECT_GT(nMarked, 1000U);
}

}  // namespace
}  // namespace ztkmem
