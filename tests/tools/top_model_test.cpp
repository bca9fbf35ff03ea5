#include "top_model.h"

#include <gtest/gtest.h>

#include "tools/made_up_objects.h"

namespace ztkmem {
namespace {

constexpr std::uint64_t kMegabyte = 1024UL * 1024;

Segment Owned(int nOwner, std::uint64_t nResident, OwnerState enOwner = OwnerState::kAlive) {
    Segment segment;
    segment.name = test::PoolName(nOwner);
    segment.enKind = NameKind::kPool;
    segment.nOwner = nOwner;
    segment.enOwner = enOwner;
    segment.facts.bRegular = true;
    segment.facts.nLength = 2 * nResident;
    segment.facts.nResident = nResident;
    segment.verdict.enState = HeaderState::kGood;
    return segment;
}

Survey SurveyOf(std::vector<Segment> segments) {
    Survey survey;
    survey.segments = std::move(segments);
    Process camera;
    camera.nId = 10;
    camera.command = "cam\x1b";
    camera.nResident = 7 * kMegabyte;
    Process viewer;
    viewer.nId = 30;
    viewer.command = "viewer";
    survey.processes.processes = {camera, viewer};
    return survey;
}

std::string Shown(TopModel& model, std::size_t nHeight = 40) {
    std::string text;
    for (const TopLine& line : model.Lines(nHeight, "12:00:00"))
        text += (line.bSelected ? ">" : "") + line.text + "\n";
    return text;
}

std::string PidsInOrder(TopModel& model) {
    std::string pids;
    for (const TopLine& line : model.Lines(40, ""))
        if (line.enStyle == TopStyle::kProcess) pids += line.text.substr(0, 8);
    return pids;
}

TEST(TopModel, ShowsProcessesWithTheirSegments) {
    Segment shared = Owned(10, kMegabyte);
    shared.users = {{30, "viewer"}};
    TopModel model;
    model.Update(SurveyOf({shared, Owned(test::kNobody, 4 * kMegabyte, OwnerState::kDead)}));
    EXPECT_EQ(Shown(model),
              "ztkmem top 12:00:00  3 processes, 2 segments, 10.0M long, 5.0M resident\n"
              "1 stale with 4.0M   sorted by resident   q quit  h help  < > sort  R reverse\n"
              "     PID  STATE         OWNS  MAPS GROWTH   LENGTH  RESIDENT  COMMAND, SEGMENT\n"
              "> 5000001  dead             1     0      0     8.0M      4.0M  -\n"
              "                                              8.0M      4.0M  " +
                  test::PoolName(test::kNobody) +
                  "  good  0s\n"
                  "      10  alive            1     0      0     2.0M      1.0M  cam\\x1b  (process: 7.0M)\n"
                  "                                              2.0M      1.0M  " +
                  test::PoolName(10) +
                  "  good  0s  mapped by 30(viewer)\n"
                  "      30  alive            0     1      0        0         0  viewer\n");
}

TEST(TopModel, StaleOnesAreMarked) {
    TopModel model;
    model.Update(SurveyOf({Owned(test::kNobody, 1, OwnerState::kZombie)}));
    const auto lines = model.Lines(40, "");
    EXPECT_EQ(lines.at(3).enStyle, TopStyle::kStale);
    EXPECT_EQ(lines.at(4).enStyle, TopStyle::kStale);
}

TEST(TopModel, SortsByEachKeyInTurn) {
    Segment longer = Owned(30, kMegabyte);
    longer.facts.nLength = 100 * kMegabyte;
    TopModel model;
    model.Update(SurveyOf({longer, Owned(10, 3 * kMegabyte), Owned(20, kMegabyte), Owned(20, kMegabyte)}));
    EXPECT_EQ(PidsInOrder(model), "      10      20      30") << "resident";
    model.Press(TopKey::kNextSort);
    EXPECT_EQ(PidsInOrder(model), "      30      10      20") << "length";
    model.Press(TopKey::kNextSort);
    EXPECT_EQ(PidsInOrder(model), "      20      10      30") << "segments";
    model.Press(TopKey::kNextSort);
    model.Update(SurveyOf({longer, Owned(10, 2 * kMegabyte), Owned(20, 4 * kMegabyte)}));
    EXPECT_EQ(PidsInOrder(model), "      20      30      10") << "growth";
    EXPECT_NE(Shown(model).find("+2.0M"), std::string::npos);
    EXPECT_NE(Shown(model).find("-1.0M"), std::string::npos);
    model.Press(TopKey::kNextSort);
    EXPECT_EQ(PidsInOrder(model), "      10      20      30") << "pid";
    model.Press(TopKey::kReverse);
    EXPECT_EQ(PidsInOrder(model), "      30      20      10") << "pid, reversed";
}

TEST(TopModel, GoesThroughItsSortsBothWays) {
    TopModel model;
    model.Update(SurveyOf({}));
    const auto pressed = [&model](TopKey enKey) {
        model.Press(enKey);
        const std::string text = Shown(model);
        const std::size_t nAt = text.find("sorted by ") + 10;
        return text.substr(nAt, text.find(' ', nAt) - nAt);
    };
    for (const char* szSort : {"pid", "growth", "segments", "length", "resident"})
        EXPECT_EQ(pressed(TopKey::kPreviousSort), szSort);
    for (const char* szSort : {"length", "segments", "growth", "pid", "resident"})
        EXPECT_EQ(pressed(TopKey::kNextSort), szSort);
    EXPECT_EQ(pressed(TopKey::kSortByPid), "pid");
    EXPECT_EQ(pressed(TopKey::kSortByResident), "resident");
}

TEST(TopModel, MovesTheSelectionAndTheWindow) {
    std::vector<Segment> segments;
    for (int nOwner = 100; nOwner < 110; ++nOwner)
        segments.push_back(Owned(nOwner, kMegabyte));
    TopModel model;
    model.Update(SurveyOf(segments));
    EXPECT_EQ(model.Lines(7, "").size(), 7U);
    EXPECT_TRUE(model.Lines(7, "").at(3).bSelected);
    for (int i = 0; i < 5; ++i)
        model.Press(TopKey::kDown);
    EXPECT_TRUE(model.Lines(7, "").at(6).bSelected) << "at the window's end";
    model.Press(TopKey::kEnd);
    EXPECT_NE(model.Lines(7, "").at(6).text.find("ZTKTool-109"), std::string::npos);
    model.Press(TopKey::kDown);
    EXPECT_TRUE(model.Lines(7, "").at(6).bSelected);
    model.Press(TopKey::kPageUp);
    EXPECT_TRUE(model.Lines(7, "").at(3).bSelected);
    model.Press(TopKey::kHome);
    model.Press(TopKey::kUp);
    EXPECT_NE(model.Lines(7, "").at(3).text.find("100"), std::string::npos);
    model.Press(TopKey::kPageDown);
    EXPECT_TRUE(model.Lines(7, "").at(6).bSelected);
}

TEST(TopModel, KeepsItsSelectionInsideWhenRowsVanish) {
    TopModel model;
    model.Update(SurveyOf({Owned(10, 1), Owned(11, 1), Owned(12, 1)}));
    model.Press(TopKey::kEnd);
    model.Update(SurveyOf({Owned(10, 1)}));
    EXPECT_TRUE(model.Lines(40, "").at(4).bSelected);
    model.Update(SurveyOf({}));
    EXPECT_EQ(model.Lines(40, "").size(), 3U);
    model.Press(TopKey::kDown);
    EXPECT_EQ(model.Lines(40, "").size(), 3U);
}

TEST(TopModel, FitsAnyWindow) {
    TopModel model;
    model.Update(SurveyOf({Owned(10, 1), Owned(11, 1)}));
    for (std::size_t nHeight = 0; nHeight < 10; ++nHeight)
        EXPECT_LE(model.Lines(nHeight, "").size(), nHeight);
}

}  // namespace
}  // namespace ztkmem
