// The commands on recordings that are made up, cut short, or meant to hurt.
#include <sys/resource.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <random>
#include <regex>
#include <set>

#include "tools/record/record_test.h"

namespace ztkmem::test {
namespace {

namespace fs = std::filesystem;
using ztk_record::ChunkKind;
using ztk_record::Operation;

/// With one blank for several.
std::string Squeezed(const std::string& text) {
    return std::regex_replace(text, std::regex(" +"), " ");
}

class Recording : public RecordTest {
  protected:
    /// One line on standard error, nothing else, whatever the command.
    void ExpectRefused(const std::string& reason) const {
        for (const std::vector<std::string>& command : {std::vector<std::string>{"report", File()},
                                                        {"trace", File()},
                                                        {"plot", File(), "-o", Folder() + "/t.svg"},
                                                        {"replay", File(), "--library", ZTK_LIBRARY}}) {
            const Outcome outcome = ZtkMem(command);
            EXPECT_EQ(outcome.nStatus, 2) << command[0];
            EXPECT_EQ(outcome.err, "ztkmem: " + File() + ": " + reason + "\n") << command[0];
            EXPECT_TRUE(command[0] == "trace" || outcome.out.empty()) << outcome.out;
        }
    }
};

TEST_F(Recording, CutShortAnywhereIsRefusedInOneLine) {
    MadeUpRecording recording;
    recording.AddChunk({Allocation(10, 0x1000, 100)});
    const std::string bytes = recording.Bytes();
    const auto cut = [&](std::size_t nLength) {
        std::ofstream(File(), std::ios::binary | std::ios::trunc) << bytes.substr(0, nLength);
    };
    cut(0);
    ExpectRefused("not a recording of ztk-record");
    cut(100);
    ExpectRefused("not a recording of ztk-record");
    cut(ztk_record::kHeaderSize);
    ExpectRefused("the recording is cut short");
    cut(bytes.size() - 1);
    ExpectRefused("the recording is cut short");
    cut(bytes.size());
    EXPECT_EQ(ZtkMem({"report", File()}).nStatus, 1);
}

TEST_F(Recording, DamagedIsRefusedInOneLine) {
    const auto damaged = [this](const std::function<void(MadeUpRecording&)>& damage,
                                const std::string& reason) {
        MadeUpRecording recording;
        damage(recording);
        recording.WriteTo(File());
        ExpectRefused(reason);
    };
    damaged([](MadeUpRecording& r) { r.Header().magic[7] = '9'; },
            "a recording of another version of ztk-record");
    damaged([](MadeUpRecording& r) { r.Header().nRecordSize = 0; },
            "a recording of another version of ztk-record");
    damaged([](MadeUpRecording& r) { r.Header().nTicksPerSecond = 0; }, "the recording is damaged: no clock");
    damaged([](MadeUpRecording& r) { r.Header().nChunks = UINT32_MAX; }, "the recording is cut short");
    damaged([](MadeUpRecording& r) { r.AddChunk({}).enKind = static_cast<ChunkKind>(77); },
            "the recording is damaged: chunk 0");
    damaged([](MadeUpRecording& r) { r.AddChunk({}).nCount = ztk_record::kRecordsPerChunk + 1; },
            "the recording is damaged: chunk 0");
    damaged([](MadeUpRecording& r) { r.AddText("S\t1\t"); }, "the recording is damaged: chunk 0");
    damaged(
        [](MadeUpRecording& r) {
            auto record = Released(1, 1);
            record.enOperation = static_cast<Operation>(99);
            r.AddChunk({record});
        },
        "the recording is damaged: a record of no known kind");
}

TEST_F(Recording, OfRandomRecordsIsTakenAsItIs) {
    std::mt19937_64 random(8);  // NOLINT(cert-msc51-cpp): the same on every run
    MadeUpRecording recording;
    for (int nChunk = 0; nChunk < 4; ++nChunk) {
        std::vector<ztk_record::Record> records(ztk_record::kRecordsPerChunk);
        for (auto& record : records) {
            auto* pWords = reinterpret_cast<std::uint64_t*>(&record);
            for (std::size_t i = 0; i < sizeof(record) / sizeof(*pWords); ++i)
                pWords[i] = random();
            record.nAddress %= 1000;
            record.enOperation = static_cast<Operation>(1 + random() % 8);
        }
        recording.AddChunk(records);
    }
    recording.AddText(
        "M\nM\tx\t/etc\nS\t1\t-1:zz: \nS\t18446744073709551616\t1:1:\n\t\nS\t3\t9:ffff:\x1b[31m \n");
    recording.WriteTo(File());
    const Outcome report = ZtkMem({"report", File()});
    EXPECT_EQ(report.nStatus, 1) << report.err;
    EXPECT_EQ(report.out.find('\x1b'), std::string::npos);
    const Outcome trace = ZtkMem({"trace", File()});
    EXPECT_EQ(trace.nStatus, 0) << trace.err;
    EXPECT_TRUE(nlohmann::json::accept(trace.out));
    EXPECT_EQ(ZtkMem({"plot", File(), "-o", Folder() + "/t.svg"}).nStatus, 0);
}

TEST_F(Recording, KilledBetweenCopyAndNewBeginningCountsOnce) {
    const std::vector<ztk_record::Record> records{Allocation(10, 0x1000, 100), Released(20, 0x1000)};
    MadeUpRecording recording;
    recording.AddChunk(records);
    auto& copy = recording.AddChunk(records);
    copy.enKind = ChunkKind::kClosed;
    copy.nPlace = 0;
    recording.WriteTo(File());
    EXPECT_NE(ZtkMem({"report", File()}).out.find("2 calls in 1 thread"), std::string::npos);
}

TEST_F(Recording, IsReadInTheOrderOfItsTimes) {
    MadeUpRecording recording;
    recording.AddChunk({Released(20, 0x1000), Allocation(30, 0x1000, 100, false)});
    recording.AddChunk({Allocation(10, 0x1000, 100), Released(40, 0x1000)});
    recording.WriteTo(File());
    const Outcome report = ZtkMem({"report", File()});
    EXPECT_EQ(report.nStatus, 0) << report.out;
    EXPECT_NE(Squeezed(report.out).find("heap below 20M 2 50.0% 1 "), std::string::npos) << report.out;
}

TEST_F(Recording, WithoutLogLinesSaysThatItInfers) {
    MadeUpRecording recording;
    recording.Header().nFlags = 0;
    recording.AddChunk({Allocation(10, 0x1000, 100, false), Released(20, 0x1000),
                        Allocation(30, 0x1000, 90, false), Released(40, 0x1000),
                        Allocation(50, 0x1000, 200, false)});
    recording.WriteTo(File());
    const std::string text = ZtkMem({"report", File()}).out;
    EXPECT_NE(text.find("is inferred from addresses"), std::string::npos) << text;
    EXPECT_NE(Squeezed(text).find("heap below 20M 3 33.3% 2 "), std::string::npos)
        << "90 bytes fit into the block of 100, 200 do not\n"
        << text;
}

TEST_F(Recording, OfAMillionRecordsIsStreamed) {
    {
        std::ofstream file(File(), std::ios::binary);
        MadeUpRecording head;
        constexpr std::uint32_t kChunks = 740;
        head.Header().nChunks = kChunks;
        file << head.Bytes();
        std::vector<ztk_record::Record> records;
        std::uint64_t nAt = 0;
        for (std::uint32_t nChunk = 0; nChunk < kChunks; ++nChunk) {
            records.clear();
            while (records.size() < ztk_record::kRecordsPerChunk) {
                records.push_back(Allocation(++nAt, 0x1000, 100, false));
                records.push_back(Released(++nAt, 0x1000));
            }
            MadeUpRecording part;
            part.AddChunk(records).nPlace = nChunk;
            file << part.Bytes().substr(ztk_record::kHeaderSize);
        }
    }
    // 48 MB of records in an address space of 40 MB more than the program takes for nothing
    const std::string small = "ulimit -v 60000; exec " ZTKMEM " ";
    const bool bCanBeSmall = RunProgram({"bash", "-c", small + "--version"}).nStatus == 0;
    const std::string command = bCanBeSmall ? small : "exec " ZTKMEM " ";  // sanitizers take terabytes
    const Outcome report = RunProgram({"bash", "-c", command + "report " + File()});
    EXPECT_EQ(report.nStatus, 0) << report.err;
    EXPECT_NE(report.out.find("1009360 calls in 1 thread"), std::string::npos) << report.out;
}

TEST_F(Recording, BecomesATraceThatFollowsTheFormat) {
    ASSERT_EQ(Record({"faults"}).nStatus, 7);
    ASSERT_EQ(ZtkMem({"trace", File(), "-o", Folder() + "/t.json"}).nStatus, 0);
    std::ifstream file(Folder() + "/t.json");
    const nlohmann::json trace = nlohmann::json::parse(file);
    std::map<std::string, int> phases;
    int nCalls = 0;
    for (const auto& event : trace.at("traceEvents")) {
        const std::string phase = event.at("ph");
        ++phases[phase];
        EXPECT_TRUE(event.at("name").is_string());
        EXPECT_TRUE(event.at("pid").is_number_unsigned());
        EXPECT_TRUE(event.at("tid").is_number_unsigned());
        if (phase == "M") {
            EXPECT_TRUE(event.at("args").at("name").is_string());
            continue;
        }
        EXPECT_TRUE(event.at("ts").is_number());
        if (phase == "X") {
            ++nCalls;
            EXPECT_GE(event.at("dur").get<double>(), 0);
            EXPECT_TRUE(event.at("args").at("site").is_string());
        } else if (phase == "C") {
            EXPECT_TRUE(event.at("args").at("busy").is_number_unsigned());
        } else {
            EXPECT_EQ(phase, "i");
            EXPECT_EQ(event.at("s"), "p");
        }
    }
    EXPECT_EQ(nCalls, 31);
    EXPECT_EQ(phases["M"], 2);
    EXPECT_EQ(phases["i"], 3) << "a refusal, a double and an unknown release";
    EXPECT_GT(phases["C"], 10);
}

TEST_F(Recording, IsDrawn) {
    ASSERT_EQ(Record({"faults"}).nStatus, 7);
    const std::string picture = Folder() + "/t.svg";
    ASSERT_EQ(ZtkMem({"plot", File(), "-o", picture}).nStatus, 0);
    std::ifstream file(picture);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    for (const char* szName : {"Pool memory in t.rec", "heap below 20M busy", "MMZ below 20M idle",
                               "shared below 20M busy", "refused (1)", "released twice (1)"})
        EXPECT_NE(text.find(szName), std::string::npos) << szName;
    const Outcome refused = ZtkMem({"plot", File(), "-o", Folder() + "/t.jpg"});
    EXPECT_EQ(refused.nStatus, 2);
    EXPECT_TRUE(std::regex_match(refused.err, std::regex("ztkmem: [^\n]+must end in .svg or .png\n")))
        << refused.err;
}

/// Where the text's baseline is, in a drawing of ztkmem itself.
double HeightOf(const std::string& svg, const std::string& text) {
    std::smatch found;
    const std::regex form("<text x=\"[0-9.]+\" y=\"([0-9.]+)\"[^>]*>" + text);
    return std::regex_search(svg, found, form) ? std::stod(found[1]) : -1;
}

TEST_F(Recording, OfManySizeClassesIsDrawnBelowItsNames) {
    MadeUpRecording recording;
    std::vector<ztk_record::Record> records;
    for (std::uint64_t i = 0; i < 9; ++i)
        records.push_back(Allocation(i * 1'000'000, 0x1000 + i, (i * 50 + 1) << 20U));
    for (std::uint64_t i = 0; i < 9; ++i)
        records.push_back(Released((i + 20) * 1'000'000, 0x1000 + i));
    records.push_back(Released(40'000'000, 0x1000));
    recording.AddChunk(records);
    recording.WriteTo(File());
    const std::string picture = Folder() + "/t.svg";
    // without gnuplot
    ASSERT_EQ(RunProgram({"env", "PATH=/nowhere", ZTKMEM, "plot", File(), "-o", picture}).nStatus, 0);
    std::ifstream file(picture);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    EXPECT_NE(text.find("only the largest size classes are drawn"), std::string::npos);
    EXPECT_NE(text.find("released twice (1)"), std::string::npos);
    EXPECT_EQ(HeightOf(text, "heap below 20M busy"), -1) << "one of the smaller";
    const double lastName = HeightOf(text, "released twice");
    const double firstName = HeightOf(text, "heap 400M to 450M busy");
    EXPECT_GT(lastName, firstName + 30) << "three rows or more";
    std::smatch axis;
    ASSERT_TRUE(std::regex_search(text, axis, std::regex("<line x1=\"84.0\" y1=\"([0-9.]+)\" x2=\"84.0\"")));
    EXPECT_GT(std::stod(axis[1]), lastName + 8);
    std::set<std::string> colours;
    const std::regex solid("stroke=\"(#[0-9a-f]{6})\" stroke-width=\"2\" stroke-linejoin=\"round\"/>");
    for (std::sregex_iterator found(text.begin(), text.end(), solid), end; found != end; ++found)
        colours.insert((*found)[1]);
    EXPECT_EQ(colours.size(), 6U) << "each size class has its own";
}

TEST_F(Recording, IsReplayedInItsOwnTimeOnRequest) {
    MadeUpRecording recording;
    constexpr std::uint64_t kMs = 1'000'000;
    recording.AddChunk({Allocation(50 * kMs, 0x1000, 100), Released(600 * kMs, 0x1000),
                        Allocation(700 * kMs, 0x1000, 100, false)});
    recording.WriteTo(File());
    const auto seconds = [this](const std::vector<std::string>& options) {
        std::vector<std::string> command{"replay", File(), "--library", ZTK_LIBRARY};
        command.insert(command.end(), options.begin(), options.end());
        const Outcome replay = ZtkMem(command);
        EXPECT_EQ(replay.nStatus, 0) << replay.out << replay.err;
        std::smatch found;
        return std::regex_search(replay.out, found, std::regex("3 calls in ([0-9.]+) s on "))
                   ? std::stod(found[1])
                   : -1;
    };
    EXPECT_GE(seconds({"--paced"}), 0.7);
    EXPECT_LT(seconds({}), 0.5);
}

TEST_F(Recording, OfNobodyIsNotReplayedWithoutALibrary) {
    MadeUpRecording().WriteTo(File());
    const Outcome replay = ZtkMem({"replay", File(), "--library", "/no/such/library.so"});
    EXPECT_EQ(replay.nStatus, 2);
    EXPECT_TRUE(std::regex_match(replay.err, std::regex("ztkmem: cannot load the library: [^\n]+\n")))
        << replay.err;
}

}  // namespace
}  // namespace ztkmem::test
