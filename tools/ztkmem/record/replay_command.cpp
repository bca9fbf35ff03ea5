#include <fmt/format.h>
#include <sys/resource.h>

#include <chrono>
#include <memory>
#include <thread>

#include "command.h"
#include "record/record_commands.h"
#include "record/replay.h"
#include "text.h"

namespace ztkmem {
namespace {

struct ReplayOptions {
    std::string file;
    std::string library;
    bool bPaced = false;
    bool bNoTouch = false;
};

constexpr char kReplayFooter[] =
    R"(The calls of all threads come on one, in the recorded order, as fast as they can: the reclaimers,
who look once a minute, then see nothing of the recorded time, unless it is --paced. New blocks are
written to, a byte a page, so that they count in what the system has left.

A block that was refused when recorded and is had now is released at once.
Unlike the other commands this one loads the library, whose load sweeps /dev/shm.

Exit status: 0 every call gave the status that was recorded, 1 not every one, 2 error.

Examples:
  ztkmem replay ztk.rec
  ztk-board --mem 1G --mmz 128M -- ztkmem replay ztk.rec     on another board
  ztkmem replay ztk.rec --library ./libZTKCommon.so          with another library)";

/// Every shared block takes a descriptor, and the recorded process may have been allowed more of them.
void AllowDescriptors() {
    struct rlimit limit {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

int RunReplay(const ReplayOptions& options) {
    using Clock = std::chrono::steady_clock;
    const record::RecordingReader reader(options.file);
    AllowDescriptors();
    const record::PoolLibrary library = record::LoadPoolLibrary(options.library);
    record::Books recorded(reader.About().Has(ztk_record::kSawLog));
    record::Replay replay(library, !options.bNoTouch);
    std::uint64_t nGivenBack = 0;
    const auto start = Clock::now();
    reader.ForEach([&](const record::Event& event) {
        if (options.bPaced) std::this_thread::sleep_until(start + std::chrono::nanoseconds(event.Begin()));
        if (recorded.Take(event) == record::Verdict::kGivenBack) ++nGivenBack;
        replay.Take(event);
    });
    const std::chrono::duration<double> passed = Clock::now() - start;
    const std::string name = options.file.substr(options.file.rfind('/') + 1);
    fmt::print("{}", ForTerminal(ReplayText(name, library, recorded, nGivenBack, replay, passed.count())));
    return replay.Facts().Differences() == 0 ? kExitFine : kExitSomethingFound;
}

}  // namespace

void AddReplayCommand(CLI::App& program, int& nExitStatus) {
    auto pOptions = std::make_shared<ReplayOptions>();
    CLI::App* pCommand =
        program.add_subcommand("replay", "Do again, with the real library, what ztk-record recorded");
    pCommand->add_option("FILE", pOptions->file, "The recording")->required();
    pCommand
        ->add_option("--library", pOptions->library, "The library; if not given, the one beside this program")
        ->type_name("FILE");
    pCommand->add_flag("--paced", pOptions->bPaced, "Take the time that was recorded");
    pCommand->add_flag("--no-touch", pOptions->bNoTouch, "Do not write to the blocks");
    pCommand->footer(kReplayFooter);
    pCommand->callback([pOptions, &nExitStatus] { nExitStatus = RunReplay(*pOptions); });
}

}  // namespace ztkmem
