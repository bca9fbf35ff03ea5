#include "log_catalogue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <stdexcept>

namespace ztk::test {
namespace {

std::string Escaped(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '\n') {
            escaped += "\\n";
        } else if (c == '\r') {
            escaped += "\\r";
        } else {
            escaped += c;
        }
    }
    return escaped;
}

std::vector<std::string> ReadCatalogue() {
    std::ifstream file(ZTK_LOG_LINES_FILE);
    if (!file) throw std::runtime_error("no " ZTK_LOG_LINES_FILE);
    std::vector<std::string> entries;
    for (std::string line; std::getline(file, line);) {
        if (!line.empty() && line[0] != '#') entries.push_back(line);
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

class CatalogueCheck : public ::testing::EmptyTestEventListener {
    void OnTestEnd(const ::testing::TestInfo& /*test*/) override { ExpectInCatalogue(FakeLog::Lines()); }
};

[[maybe_unused]] const bool g_bListening = [] {
    ::testing::UnitTest::GetInstance()->listeners().Append(new CatalogueCheck);
    return true;
}();

}  // namespace

std::string CatalogueEntry(const LogLine& line) {
    return std::to_string(line.nLevel) + '\t' + line.function + '\t' + std::to_string(line.nLine) + '\t' +
           Escaped(line.format);
}

const std::vector<std::string>& Catalogue() {
    static const std::vector<std::string> entries = ReadCatalogue();
    return entries;
}

void ExpectInCatalogue(const std::vector<LogLine>& lines) {
    for (const LogLine& line : lines) {
        const std::string entry = CatalogueEntry(line);
        EXPECT_TRUE(std::binary_search(Catalogue().begin(), Catalogue().end(), entry)) << entry;
    }
}

}  // namespace ztk::test
