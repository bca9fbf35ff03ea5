#include "segment.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "describe.h"
#include "ls_report.h"
#include "show_report.h"
#include "tools/made_up_objects.h"

namespace ztkmem {
namespace {

Segment Named(const std::string& name, std::uint64_t nLength, std::uint64_t nResident, int nOwner,
              std::int64_t nAge) {
    Segment segment;
    segment.name = name;
    segment.facts.nLength = nLength;
    segment.facts.nResident = nResident;
    segment.nOwner = nOwner;
    segment.nAge = nAge;
    segment.header = Header();
    segment.header->nDataLen = nResident;
    return segment;
}

std::string OrderBy(SortKey enKey, bool bReverse = false) {
    std::vector<Segment> segments{Named("b", 10, 3, 7, 50), Named("a", 10, 1, 9, 60),
                                  Named("c", 20, 2, 8, 40)};
    SortSegments(segments, enKey, bReverse);
    std::string order;
    for (const Segment& segment : segments)
        order += segment.name;
    return order;
}

TEST(SortSegments, NumbersLargestFirstTiesByName) {
    EXPECT_EQ(OrderBy(SortKey::kName), "abc");
    EXPECT_EQ(OrderBy(SortKey::kName, true), "cba");
    EXPECT_EQ(OrderBy(SortKey::kLength), "cab");
    EXPECT_EQ(OrderBy(SortKey::kLength, true), "bac");
    EXPECT_EQ(OrderBy(SortKey::kResident), "bca");
    EXPECT_EQ(OrderBy(SortKey::kAge), "abc");
    EXPECT_EQ(OrderBy(SortKey::kOwner), "bca");
    EXPECT_EQ(OrderBy(SortKey::kData), "bca");
}

TEST(SortSegments, BearsAnyDataLength) {
    std::vector<Segment> segments{Named("a", 0, 0, 0, 0), Named("b", 0, 0, 0, 0), Named("c", 0, 0, 0, 0)};
    segments[1].header->nDataLen = UINT64_MAX;
    segments[2].header.reset();
    SortSegments(segments, SortKey::kData, false);
    EXPECT_EQ(segments.front().name, "b");
    EXPECT_EQ(segments.back().name, "c");
}

TEST(AddUp, CountsEachKind) {
    Segment stale = Named("s", 100, 50, 5, 1);
    stale.enKind = NameKind::kPool;
    stale.facts.bRegular = true;
    stale.enOwner = OwnerState::kDead;
    Segment reused = stale;
    reused.enOwner = OwnerState::kReused;
    Segment unseen = stale;
    unseen.enOwner = OwnerState::kNotVisible;
    const Totals totals = AddUp({stale, reused, unseen});
    EXPECT_EQ(totals.nSegments, 3U);
    EXPECT_EQ(totals.nLength, 300U);
    EXPECT_EQ(totals.nResident, 150U);
    EXPECT_EQ(totals.nStale, 1U);
    EXPECT_EQ(totals.nStaleResident, 50U);
    EXPECT_EQ(totals.nReused, 1U);
    EXPECT_EQ(totals.nNotVisible, 1U);
}

TEST(Users, AreShownUpToThree) {
    EXPECT_EQ(UsersText({}), "-");
    EXPECT_EQ(UsersText({{1, "a"}, {2, "b"}}), "1(a) 2(b)");
    EXPECT_EQ(UsersText({{1, "a"}, {2, "b"}, {3, "c"}, {4, "d"}, {5, "e"}}), "1(a) 2(b) 3(c) +2");
}

TEST(LsJson, StaysValidWhateverTheNames) {
    Survey survey;
    survey.segments.push_back(Named("\xff\x1b\"\\\n", 1, 1, 0, 0));
    survey.segments.back().command = "x";
    const auto document = nlohmann::json::parse(LsJson(survey));
    EXPECT_EQ(document["segments"][0]["name"], "\\xff\\x1b\"\\\\\\x0a");
    EXPECT_TRUE(document["segments"][0]["owner"]["pid"].is_null());
    EXPECT_TRUE(document["segments"][0]["sweep_would_remove"].is_null());
}

TEST(LsText, SaysWhatWasNotSeen) {
    Survey survey;
    survey.segments.push_back(Named("a", 1, 1, 7, 0));
    survey.segments.back().enOwner = OwnerState::kNotVisible;
    survey.processes.nUnread = 2;
    survey.processes.visibility = {false, true, true, false};
    EXPECT_NE(
        LsText(survey, Units::kHuman)
            .find("1 owner not visible: this pid namespace does not see those of others (see "
                  "--this-pid-namespace)\n2 processes may not be looked into: what they map is not shown\n"),
        std::string::npos)
        << LsText(survey, Units::kHuman);
    survey.processes.visibility = {true, true, true, false};
    EXPECT_NE(LsText(survey, Units::kHuman).find("an inner pid namespace bears the id"), std::string::npos);
    survey.processes.visibility = {true, true, false, false};
    EXPECT_NE(LsText(survey, Units::kHuman).find("/proc hides processes"), std::string::npos);
    survey.processes.visibility = {true, false, true, false};
    EXPECT_NE(LsText(survey, Units::kHuman).find("/proc is missing"), std::string::npos);
}

TEST(NamesMeant, AreTakenAsTypedAndAsPrinted) {
    using Names = std::vector<std::string>;
    EXPECT_EQ(NamesMeant("abc"), Names{"abc"});
    EXPECT_EQ(NamesMeant("/abc"), Names{"abc"});
    EXPECT_EQ(NamesMeant("/dev/shm/abc"), Names{"abc"});
    EXPECT_EQ(NamesMeant("a\\x0a"), (Names{"a\\x0a", "a\n"}));
    EXPECT_EQ(NamesMeant("a\\x2f.."), Names{"a\\x2f.."}) << "no way to another folder";
    EXPECT_EQ(NamesMeant("a\\x00"), Names{"a\\x00"});
    for (const std::string& typed :
         {std::string(), std::string("."), std::string(".."), std::string("/dev/shm/"),
          std::string("../etc/passwd"), std::string("a/b"), std::string(256, 'a')}) {
        EXPECT_TRUE(NamesMeant(typed).empty()) << typed;
    }
}

}  // namespace
}  // namespace ztkmem
