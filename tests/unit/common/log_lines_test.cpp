// The catalogue of log lines is complete: the library writes every line in it, and no other.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <set>

#include "library_time.h"
#include "log_catalogue.h"
#include "log_line_scenarios.h"

namespace ztk::test {
namespace {

std::mutex g_mutex;
std::set<std::string> g_written;

void Note(const LogLine& line) {
    const std::lock_guard lock(g_mutex);
    g_written.insert(CatalogueEntry(line));
}

std::vector<std::string> Written() {
    const std::lock_guard lock(g_mutex);
    return {g_written.begin(), g_written.end()};
}

std::vector<std::string> Without(const std::vector<std::string>& all, const std::vector<std::string>& part) {
    std::vector<std::string> rest;
    std::set_difference(all.begin(), all.end(), part.begin(), part.end(), std::back_inserter(rest));
    return rest;
}

TEST(LogLinesTest, TheLibraryWritesEveryLineOfTheCatalogueAndNoOther) {
    ASSERT_EQ(Catalogue().size(), 80U);
    FakeLog::OnLine(Note);
    CallEveryExport();
    LiveThroughLocalPools();
    LiveThroughSharedPools();
    FailEverySegmentStep();
    SweepEveryKindOfEntry();
    RefuseEveryRawAllocation();
    FailEveryMappingStep();
    FakeLog::OnLine(nullptr);
    EXPECT_THAT(Without(Catalogue(), Written()), ::testing::IsEmpty()) << "never written";
    EXPECT_THAT(Without(Written(), Catalogue()), ::testing::IsEmpty()) << "not in the catalogue";
}

TEST(LogLinesTest, TheCatalogueIsOfOneForm) {
    for (const std::string& entry : Catalogue())
        EXPECT_THAT(entry, ::testing::MatchesRegex("[0-4]\t[A-Za-z_0-9]+\t[0-9]+\t\\[%s@%d\\].*")) << entry;
    EXPECT_EQ(std::adjacent_find(Catalogue().begin(), Catalogue().end()), Catalogue().end()) << "no doubles";
}

TEST(LogLinesTest, TheLinesOfTheLoadAreInTheCatalogueToo) {
    EXPECT_FALSE(LinesOfTheLoad().empty());
    ExpectInCatalogue(LinesOfTheLoad());
}

}  // namespace
}  // namespace ztk::test
