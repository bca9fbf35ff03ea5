// The library's lines are recognised, all of them, wherever they stand and whatever surrounds them.
#include "log/log_line.h"

#include <gmock/gmock.h>

#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "log/line_splitter.h"
#include "scanned.h"

namespace ztkmem::log::test {
namespace {

struct CatalogueLine {
    int nLevel = 0;
    std::string function;
    int nNumber = 0;
    std::string format;
};

std::vector<CatalogueLine> ReadCatalogue() {
    std::ifstream stream(ZTKMEM_LOG_CATALOGUE);
    std::vector<CatalogueLine> lines;
    for (std::string text; std::getline(stream, text);) {
        if (text.empty() || text.front() == '#') continue;
        std::istringstream fields(text);
        CatalogueLine line;
        fields >> line.nLevel >> line.function >> line.nNumber;
        fields.get();
        std::getline(fields, line.format);
        lines.push_back(line);
    }
    return lines;
}

void Replace(std::string& text, const std::string& what, const std::string& by) {
    for (std::size_t nAt = text.find(what); nAt != std::string::npos; nAt = text.find(what, nAt + by.size()))
        text.replace(nAt, what.size(), by);
}

/// What the formats of dumps print first.
std::string Heading(const CatalogueLine& line) {
    if (line.nNumber == 437)
        return "##############Shared memory pool block list detail: #####################\n12, ";
    if (line.nNumber == 475)
        return "----------------MMZ Memory pool block list detail: ----------------------\n";
    return "*************OS Memory pool block list detail:*****************\n4096[0x55:0], ";
}

/// The line as the library prints it.
std::string Print(const CatalogueLine& line) {
    std::string text = line.format;
    const std::string place = '[' + line.function + '@' + std::to_string(line.nNumber) + ']';
    if (text == "[%s@%d]%s %s") return place + "[ZtkCommon] " + Heading(line);
    Replace(text, "[%s@%d]%s ", place + "[ZtkCommon] ");
    Replace(text, "[%s@%d]", place);
    if (line.function == "AllocateMemory" || line.function == "FreeUnbusyMemory")
        Replace(text, "%s", "0x7f0512fb000");
    Replace(text, "%s", "ZTKTool-812-00ff");
    Replace(text, "%llu", "18874368");
    Replace(text, "%lu", "20971520");
    Replace(text, "%#x", "0x80100009");
    Replace(text, "%p", "0x4");
    Replace(text, "%d", "-1");
    Replace(text, "\\r\\n", "\r\n");
    return text;
}

Reading Read(const std::string& text, LogLine& line) {
    const auto place = FindPlace(text, 0);
    if (!place) return Reading::kForeign;
    const std::size_t nEnd = text.find_last_not_of("\r\n ") + 1;
    return ReadLine(*place, std::string_view(text).substr(place->nEnd, nEnd - place->nEnd), line);
}

TEST(LogLines, EveryLineOfTheCatalogueIsRecognised) {
    const auto catalogue = ReadCatalogue();
    ASSERT_EQ(catalogue.size(), AllForms().nCount);
    for (const CatalogueLine& expected : catalogue) {
        for (const char* szPrefix : {"", "2024-02-29T23:59:59.042Z error   812 ", "<3>[camera] "}) {
            const std::string text = szPrefix + Print(expected);
            LogLine line;
            ASSERT_EQ(Read(text, line), Reading::kWhole) << text;
            EXPECT_EQ(line.pForm->function, expected.function) << text;
            EXPECT_EQ(line.pForm->nNumber, expected.nNumber) << text;
            EXPECT_EQ(line.pForm->nLevel, expected.nLevel) << text;
        }
    }
}

TEST(LogLines, EveryFormIsInTheCatalogueOnce) {
    std::multiset<std::string> printed;
    for (const CatalogueLine& line : ReadCatalogue())
        printed.insert(line.function + '@' + std::to_string(line.nNumber));
    for (const LineForm& form : AllForms()) {
        const auto found = printed.find(std::string(form.function) + '@' + std::to_string(form.nNumber));
        ASSERT_NE(found, printed.end()) << form.function << '@' << form.nNumber;
        printed.erase(found);
    }
    EXPECT_TRUE(printed.empty());
}

struct Expected {
    std::string text;
    Reading enReading;
};

TEST(LogLines, TornAndForeignOnesAreNotTakenForWhole) {
    const std::string allocated = "[AllocateMemory@160][ZtkCommon] Allocate system memory addr=0x7f, size=";
    const std::vector<Expected> table{
        {allocated + "4096", Reading::kWhole},
        {allocated + "4096\x1b[0m", Reading::kWhole},
        {allocated + R"(4096\n","stream":"stdout"})", Reading::kWhole},
        {allocated + R"(4096\r\n"})", Reading::kWhole},
        {allocated + R"(4096\u001b[0m"})", Reading::kWhole},
        {allocated + R"(4096\"}\n"})", Reading::kWhole},
        {allocated + R"(4096" pid=5)", Reading::kWhole},
        {allocated + "4096' pid=5", Reading::kWhole},
        {allocated + "4096,INFO", Reading::kWhole},
        {allocated + "4096}", Reading::kWhole},
        {allocated + "4096#015#012", Reading::kWhole},
        {allocated + "4096#1", Reading::kTorn},
        {allocated, Reading::kTorn},
        {allocated + "40962024-02-29T23:59:59Z", Reading::kTorn},
        {allocated + "99999999999999999999", Reading::kTorn},
        {allocated + "9999999999999999", Reading::kTorn},
        {"[AllocateMemory@160][ZtkCommon] Allocate sys", Reading::kTorn},
        {"[AllocateMemory@160]", Reading::kTorn},
        {"[AllocateMemory@161][ZtkCommon] Allocate system memory addr=0x7f, size=4096", Reading::kTorn},
        {"[AllocateMemory@99999999999] x", Reading::kForeign},
        {"[AllocateMemory@16] x", Reading::kForeign},
        {"AllocateMemory@160] x", Reading::kForeign},
        {"[@160] x", Reading::kForeign},
        {"[Init@45] hello", Reading::kForeign},
        {"[Init@45][ZtkCommon] hello", Reading::kTorn},
        {"someone@example.org", Reading::kForeign},
    };
    for (const Expected& expected : table) {
        LogLine line;
        EXPECT_EQ(Read(expected.text, line), expected.enReading) << expected.text;
    }
}

TEST(LogLines, InJsonCountAsAnyOthers) {
    const Scanned log(
        R"({"log":"[AllocateMemory@155][ZtkCommon] Allocate memory failed, size=5, align=0, plat=1\n",)"
        R"("stream":"stderr","time":"2024-02-29T10:11:12.5Z"})"
        "\n"
        R"({"log":"[AllocateMemory@160][ZtkCommon] Allocate system memory addr=0x10, size=4096\n",)"
        R"("stream":"stderr","time":"2024-02-29T10:12:12.5Z"})"
        "\n");
    EXPECT_THAT(log.Problems(), testing::ElementsAre("failed"));
    EXPECT_EQ(log.Facts().Torn(), 0U);
    EXPECT_EQ(log.Facts().Of(Pool::kLocal).Owned(), 4096);
    EXPECT_EQ(log.Times().Text(log.Facts().First()), "2024-02-29 10:11:12");
    EXPECT_EQ(log.Times().Text(log.Facts().Last()), "2024-02-29 10:12:12");
}

TEST(LogLines, ValuesAreReadAsTheyWerePrinted) {
    LogLine line;
    ASSERT_EQ(Read("[AllocateMemory@155][ZtkCommon] Allocate memory failed, size=18446744073709551615, "
                   "align=-5, plat=1",
                   line),
              Reading::kWhole);
    EXPECT_EQ(line.Size(), UINT64_MAX);
    EXPECT_EQ(static_cast<std::int64_t>(line.Number(1)), -5);
    EXPECT_EQ(line.Number(2), 1U);
    const std::string named =  // the line looks into it
        "[CreateSharedMemory@455][ZtkCommon] Create file mapping failed, name=ZTKTool-8-ff, size=77, sys "
        "error=0";
    ASSERT_EQ(Read(named, line), Reading::kWhole);
    EXPECT_EQ(line.values.text, "ZTKTool-8-ff");
    EXPECT_EQ(line.Size(), 77U);
}

// ---- lines in bytes --------------------------------------------------------------------------------

std::vector<std::string> Split(const std::string& bytes, std::size_t nStep) {
    std::vector<std::string> lines;
    LineSplitter splitter([&lines](const Piece& piece) {
        if (piece.bFirst) lines.emplace_back();
        lines.back() += piece.text;
        EXPECT_EQ(piece.nLine, lines.size());
    });
    for (std::size_t nAt = 0; nAt < bytes.size(); nAt += nStep)
        splitter.Feed(std::string_view(bytes).substr(nAt, nStep));
    splitter.Finish();
    EXPECT_EQ(splitter.Lines(), lines.size());
    return lines;
}

TEST(LineSplitter, GivesTheSameLinesHoweverTheBytesCome) {
    const std::string zeros(3, '\0');
    const std::string bytes = "one\n\ntwo " + zeros + "\xff\n" + std::string(5000, 'x') + "\nlast";
    const std::vector<std::string> expected{"one", "", "two " + zeros + "\xff", std::string(5000, 'x'),
                                            "last"};
    for (const std::size_t nStep : {1U, 2U, 7U, 4096U, 100000U})
        EXPECT_EQ(Split(bytes, nStep), expected) << nStep;
    EXPECT_EQ(Split("", 1).size(), 0U);
    EXPECT_EQ(Split("\n", 1).size(), 1U);
}

TEST(LineSplitter, HoldsNoMoreThanAPieceOfALongLine) {
    std::size_t nLongest = 0;
    std::size_t nBytes = 0;
    LineSplitter splitter([&](const Piece& piece) {
        nLongest = std::max(nLongest, piece.text.size());
        nBytes += piece.text.size();
    });
    const std::string part(100'000, 'x');
    for (int i = 0; i < 30; ++i)
        splitter.Feed(part);
    splitter.Feed("\n");
    EXPECT_EQ(nBytes, 3'000'000U);
    EXPECT_LE(nLongest, LineSplitter::kLongestPiece);
    EXPECT_EQ(splitter.Lines(), 1U);
}

TEST(LineSplitter, AMessageIsNotCutInTwo) {
    const std::string message = "[AllocateMemory@160][ZtkCommon] Allocate system memory addr=0x7f, size=4096";
    for (std::size_t nBefore = LineSplitter::kLongestPiece - message.size() - 2;
         nBefore <= LineSplitter::kLongestPiece; ++nBefore) {
        const Scanned log(std::string(nBefore, 'x') + message + " \n");
        ASSERT_EQ(log.Facts().Of(Memory::kUntold).allocated.nBytes, 4096U) << nBefore;
    }
}

}  // namespace
}  // namespace ztkmem::log::test
