// The first of two processes: hands frames over to the viewer in shared blocks of the pool and, in
// alternating rounds, in a fresh shared object for every frame, and compares. With --logged it takes a few
// frames in changing sizes instead, for the plot that is drawn from the library's log.
#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "camera.h"
#include "log_marks.h"
#include "metered_memory.h"
#include "picture_source.h"
#include "pool_memory.h"
#include "report.h"
#include "rounds.h"
#include "run_main.h"
#include "stopwatch.h"
#include "ztk_common.h"

namespace {

using namespace demo;

struct Options {
    std::string viewer;
    std::string folder;
    std::size_t nFrames = 0;
    bool bLogged = false;
    std::vector<std::string> paths;
};

// Every second frame is of a halved scene, and sent in gray: sizes and formats change all the time.
void TakeMixed(Camera& camera, const Scenes& scenes, std::size_t nFrame) {
    camera.Take(scenes.OfFrame(nFrame), nFrame % 2 == 0 ? Format::kRgb : Format::kGray, nFrame);
}

// One of the two ways to hand frames over, and how long it took so far.
class Way {
  public:
    Way(ViewerProcess& viewer, Memory& memory, SharedBlocks& blocks, const Scenes& scenes)
        : camera_(viewer, memory, blocks), scenes_(scenes) {}

    void Run(std::size_t nFirst, std::size_t nEnd) {
        const Stopwatch watch;
        for (std::size_t nFrame = nFirst; nFrame < nEnd; ++nFrame)
            TakeMixed(camera_, scenes_, nFrame);
        camera_.Drain();
        framesPerSecond_.push_back(static_cast<double>(nEnd - nFirst) / Seconds(watch.Elapsed()));
    }

    std::size_t Frames() const { return camera_.Used().nFrames; }
    std::size_t Segments() const { return camera_.Used().names.size(); }
    double ReusedPercent() const {
        return 100.0 * static_cast<double>(Frames() - Segments()) / static_cast<double>(Frames());
    }
    double MicrosecondsPerFrame() const {
        return Microseconds(camera_.Used().spent) / static_cast<double>(Frames());
    }
    Spread FramesPerSecond() const { return Spread(framesPerSecond_); }

  private:
    Camera camera_;
    const Scenes& scenes_;
    std::vector<double> framesPerSecond_;  // one of each round
};

void PrintComparison(const Way& pool, const Way& fresh) {
    const auto row = [](const char* szName, const Way& way) {
        const Spread spread = way.FramesPerSecond();
        return std::vector<std::string>{szName,
                                        fmt::format("{}", way.Frames()),
                                        fmt::format("{:.1f} %", way.ReusedPercent()),
                                        fmt::format("{}", way.Segments()),
                                        fmt::format("{:.1f} us", way.MicrosecondsPerFrame()),
                                        fmt::format("{:.0f}", spread.dMedian),
                                        fmt::format("{:.0f} .. {:.0f}", spread.dLeast, spread.dMost)};
    };
    PrintTable(
        "Two processes: camera to viewer, one copy into shared memory",
        {{"shared memory", "requests", "by reuse", "segments created", "per frame", "frames/s", "all rounds"},
         row("from the pool", pool),
         row("fresh every frame", fresh)});
    PrintProgress(
        "  per frame: to obtain, fill and give back the shared memory. Every frame arrived as it was sent.");
}

std::string ToJson(const Way& way) {
    const Spread spread = way.FramesPerSecond();
    return fmt::format(
        R"({{"requests": {}, "served_by_reuse": {}, "segments_created": {}, "us_per_frame": {:.3f}, )"
        R"("frames_per_second_median": {:.2f}, "frames_per_second_least": {:.2f}, )"
        R"("frames_per_second_most": {:.2f}}})",
        way.Frames(), way.Frames() - way.Segments(), way.Segments(), way.MicrosecondsPerFrame(),
        spread.dMedian, spread.dLeast, spread.dMost);
}

void SendSheetPictures(const Scenes& scenes, Camera& camera) {
    std::uint32_t nRow = 0;
    for (const std::size_t nFrame : scenes.SheetFrames())
        camera.Take(scenes.OfFrame(nFrame), Format::kRgb, nFrame, ++nRow);
    camera.Drain();
}

void Measure(const Options& options, const Scenes& scenes, ViewerProcess& viewer) {
    PoolMemory memory;
    PoolSharedBlocks poolBlocks;
    FreshSharedBlocks freshBlocks;
    Way pool(viewer, memory, poolBlocks, scenes);
    Way fresh(viewer, memory, freshBlocks, scenes);
    RunInRounds("camera", options.nFrames, pool, fresh);
    WriteText(options.folder + "/handover.json",
              fmt::format("{{\"pool\": {}, \"fresh\": {}}}\n", ToJson(pool), ToJson(fresh)));
    PrintComparison(pool, fresh);
    Camera sheetCamera(viewer, memory, poolBlocks);
    SendSheetPictures(scenes, sheetCamera);
}

// A request that no pool can serve. Before a pool refuses it, it gives all its idle blocks back to the
// system and tries again.
void AskForTooMuch(Memory& memory, SharedBlocks& blocks) {
    const std::uint64_t nTooMuch = 2 * GetAvailableOSSize();
    try {
        const Block block = WorkBlock(memory, nTooMuch);
    } catch (const std::runtime_error& error) {
        PrintProgress(fmt::format("camera: asked for too much on purpose: {}", error.what()));
    }
    try {
        blocks.GiveBack(blocks.Obtain(nTooMuch));
    } catch (const std::runtime_error& error) {
        PrintProgress(fmt::format("camera: asked for too much on purpose: {}", error.what()));
    }
}

void RunLogged(const Options& options, const Scenes& scenes, ViewerProcess& viewer) {
    PoolMemory poolMemory;
    MeteredMemory memory(poolMemory);
    PoolSharedBlocks blocks;
    Camera camera(viewer, memory, blocks);
    const auto third = [&](std::size_t i) { return options.nFrames * i / 3; };
    MarkPhase("small frames");
    for (std::size_t i = 0; i < third(1); ++i)
        camera.Take(scenes.HalvedOfFrame(i), Format::kRgb, i);
    MarkPhase("sizes mixed");
    for (std::size_t i = third(1); i < third(2); ++i)
        TakeMixed(camera, scenes, i);
    MarkPhase("a request too large: all idle blocks go");
    AskForTooMuch(memory, blocks);
    for (std::size_t i = third(2); i < third(3); ++i)
        TakeMixed(camera, scenes, i);
    camera.Drain();
    MarkPhase("the end");
    WriteText(options.folder + "/logged.json",
              fmt::format("{{\"local_requests\": {}, \"shared_requests\": {}, \"segments_created\": {}}}\n",
                          memory.Used().nRequests, camera.Used().nFrames, camera.Used().names.size()));
}

int Run(const Options& options) {
    const Scenes scenes(options.paths);
    ViewerProcess viewer(options.viewer, options.folder);
    PrintProgress(fmt::format("camera: process {}, viewer: process {}", getpid(), viewer.Id()));
    if (options.bLogged) {
        RunLogged(options, scenes, viewer);
    } else {
        Measure(options, scenes, viewer);
    }
    viewer.End();
    return 0;
}

}  // namespace

int main(int nCount, char** ppArguments) {
    return demo::RunMain("demo_camera", [&] {
        CLI::App app{"Hands frames over to a viewer process, with the pool and without"};
        Options options;
        app.add_option("--viewer", options.viewer, "The viewer program")
            ->required()
            ->check(CLI::ExistingFile);
        app.add_option("--folder", options.folder, "Folder for the results")
            ->required()
            ->check(CLI::ExistingDirectory);
        app.add_option("--frames", options.nFrames, "Frames each way")
            ->required()
            ->check(CLI::Range(1, 1000000));
        app.add_flag("--logged", options.bLogged, "Take frames for the plot instead of measuring");
        app.add_option("pictures", options.paths, "PNG, JPEG or video files")->required();
        CLI11_PARSE(app, nCount, ppArguments);
        return Run(options);
    });
}
