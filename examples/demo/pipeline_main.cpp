// Runs the same frames through the same work twice, with memory from the pools and with plain malloc(),
// in alternating rounds, and compares.
#include <fmt/format.h>
#include <sys/resource.h>

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "metered_memory.h"
#include "picture_source.h"
#include "pipeline.h"
#include "plain_memory.h"
#include "pool_memory.h"
#include "report.h"
#include "rounds.h"
#include "run_main.h"
#include "stopwatch.h"
#include "thumbnail.h"

namespace {

using namespace demo;

long PageFaults() {
    struct rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_minflt;
}

// One of the two ways to get memory, and what it has cost so far.
class Side {
  public:
    Side(Memory& source, const Scenes& scenes) : memory_(source), scenes_(scenes) {}

    void Run(std::size_t nFirst, std::size_t nEnd) {
        const long nFaultsBefore = PageFaults();
        const Stopwatch watch;
        for (std::size_t nFrame = nFirst; nFrame < nEnd; ++nFrame)
            ProcessFrame(memory_, scenes_.OfFrame(nFrame), nFrame);
        const auto nFrames = static_cast<double>(nEnd - nFirst);
        millisecondsPerFrame_.push_back(1e3 * Seconds(watch.Elapsed()) / nFrames);
        nFaults_ += PageFaults() - nFaultsBefore;
        nFrames_ += nEnd - nFirst;
    }

    const Usage& Used() const { return memory_.Used(); }
    std::size_t Frames() const { return nFrames_; }
    double MicrosecondsPerRequest() const {
        return Microseconds(Used().spent) / static_cast<double>(Used().nRequests);
    }
    double FaultsPerFrame() const { return static_cast<double>(nFaults_) / static_cast<double>(nFrames_); }
    Spread MillisecondsPerFrame() const { return Spread(millisecondsPerFrame_); }

  private:
    MeteredMemory memory_;
    const Scenes& scenes_;
    std::size_t nFrames_ = 0;
    long nFaults_ = 0;
    std::vector<double> millisecondsPerFrame_;  // one of each round
};

void SaveStages(const std::string& prefix, const Stages& s) {
    WriteThumbnail(prefix + "-captured.png", s.pCaptured, s.nWidth, s.nHeight, 3);
    WriteThumbnail(prefix + "-gray.png", s.pGray, s.nWidth, s.nHeight, 1);
    WriteThumbnail(prefix + "-blurred.png", s.pBlurred, s.nWidth, s.nHeight, 1);
    WriteThumbnail(prefix + "-edges.png", s.pEdges, s.nWidth, s.nHeight, 1);
    WriteThumbnail(prefix + "-half.png", s.pHalf, s.nWidth / 2, s.nHeight / 2, 3, 2);
}

// The rows of the contact sheet, and a table of them for the program that draws it.
void SaveSheetPictures(const Scenes& scenes, const std::string& folder) {
    PoolMemory memory;
    std::string table;
    std::size_t nRow = 0;
    for (const std::size_t nFrame : scenes.SheetFrames()) {
        const Picture& scene = scenes.OfFrame(nFrame);
        const std::string prefix = fmt::format("{}/row{}", folder, ++nRow);
        ProcessFrame(memory, scene, 0, [&](const Stages& stages) { SaveStages(prefix, stages); });
        table += fmt::format("{}\t{}\t{}\n", nRow, scene.nWidth, scene.nHeight);
    }
    WriteText(folder + "/sheet.tsv", table);
}

void PrintComparison(const Side& pool, const Side& plain) {
    const std::size_t nOwned = pool.Used().addresses.size();
    const auto row = [](const char* szName, const Side& side, const std::string& reused,
                        const std::string& system) {
        const Spread spread = side.MillisecondsPerFrame();
        return std::vector<std::string>{szName,
                                        fmt::format("{}", side.Frames()),
                                        fmt::format("{}", side.Used().nRequests),
                                        reused,
                                        system,
                                        fmt::format("{:.2f} us", side.MicrosecondsPerRequest()),
                                        fmt::format("{:.1f}", side.FaultsPerFrame()),
                                        fmt::format("{:.2f} ms", spread.dMedian),
                                        fmt::format("{:.2f} .. {:.2f}", spread.dLeast, spread.dMost)};
    };
    PrintTable(
        "One process: capture (MMZ), gray, blur, edges, half size (heap, 64-byte aligned)",
        {{"memory from", "frames", "requests", "by reuse", "from system", "per request", "faults/frame",
          "per frame", "all rounds"},
         row("the pools", pool, fmt::format("{}", pool.Used().nRequests - nOwned), fmt::format("{}", nOwned)),
         row("malloc", plain, "not told", "not told")});
    PrintProgress(
        "  per request: in the calls that obtain and give back. per frame: with the work on the pixels,");
    PrintProgress("  the median round; sides closer to each other than the rounds are level.");
}

std::string ToJson(const Side& side) {
    const Spread spread = side.MillisecondsPerFrame();
    return fmt::format(
        R"({{"frames": {}, "requests": {}, "us_per_request": {:.4f}, "page_faults_per_frame": {:.2f}, )"
        R"("ms_per_frame_median": {:.4f}, "ms_per_frame_least": {:.4f}, "ms_per_frame_most": {:.4f}}})",
        side.Frames(), side.Used().nRequests, side.MicrosecondsPerRequest(), side.FaultsPerFrame(),
        spread.dMedian, spread.dLeast, spread.dMost);
}

std::string ToJson(const Side& pool, const Side& plain) {
    const std::size_t nOwned = pool.Used().addresses.size();
    return fmt::format(
        "{{\"pool_system_allocations\": {}, \"pool_served_by_reuse\": {}, \"pool\": {}, \"malloc\": {}}}\n",
        nOwned, pool.Used().nRequests - nOwned, ToJson(pool), ToJson(plain));
}

int Run(const std::string& folder, std::size_t nFrames, const std::vector<std::string>& paths) {
    const Scenes scenes(paths);
    PrintProgress(
        fmt::format("pipeline: {} pictures, {} frames on each side", scenes.PictureCount(), nFrames));
    PoolMemory poolMemory;
    PlainMemory plainMemory;
    Side pool(poolMemory, scenes);
    Side plain(plainMemory, scenes);
    RunInRounds("pipeline", nFrames, pool, plain);
    SaveSheetPictures(scenes, folder);
    WriteText(folder + "/pipeline.json", ToJson(pool, plain));
    PrintComparison(pool, plain);
    return 0;
}

}  // namespace

int main(int nCount, char** ppArguments) {
    return demo::RunMain("demo_pipeline", [&] {
        CLI::App app{"Frames through one process, with the pools and with malloc"};
        std::string folder;
        std::size_t nFrames = 0;
        std::vector<std::string> paths;
        app.add_option("--folder", folder, "Folder for the results")
            ->required()
            ->check(CLI::ExistingDirectory);
        app.add_option("--frames", nFrames, "Frames on each side")->required()->check(CLI::Range(1, 1000000));
        app.add_option("pictures", paths, "PNG, JPEG or video files")->required();
        CLI11_PARSE(app, nCount, ppArguments);
        return Run(folder, nFrames, paths);
    });
}
