// Turns a log at trace level into a table for the plot.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <fstream>
#include <stdexcept>
#include <string>

#include "report.h"
#include "run_main.h"
#include "timeline.h"

namespace {

using namespace demo;

// One column for each number of a line: the time, then owned and in use of heap, MMZ and shared memory.
std::string ToTable(const Timeline& timeline) {
    std::string text = "# seconds, then bytes owned and in use of: heap, MMZ, shared\n";
    for (const Sample& sample : timeline.Samples()) {
        text += fmt::format("{:.3f}", sample.dSeconds);
        for (const KindBytes& bytes : sample.bytes)
            text += fmt::format("\t{}\t{}", bytes.nOwned, bytes.nInUse);
        text += '\n';
    }
    return text;
}

std::string ToPhases(const Timeline& timeline) {
    std::string text;
    for (const Phase& phase : timeline.Phases())
        text += fmt::format("{:.3f}\t{}\n", phase.dSeconds, phase.name);
    return text;
}

std::string ToJson(const KindCounts& counts) {
    return fmt::format(R"({{"requests": {}, "from_system": {}, "to_system": {}}})", counts.nRequests,
                       counts.nFromSystem, counts.nToSystem);
}

int Run(const std::string& logPath, const std::string& folder) {
    std::ifstream log(logPath);
    if (!log) throw std::runtime_error(logPath + ": cannot be read");
    const Timeline timeline(log);
    if (timeline.Samples().empty()) throw std::runtime_error(logPath + ": holds no line about a block");
    WriteText(folder + "/memory.tsv", ToTable(timeline));
    WriteText(folder + "/phases.tsv", ToPhases(timeline));
    WriteText(folder + "/log.json", fmt::format("{{\"heap\": {}, \"mmz\": {}, \"shared\": {}}}\n",
                                                ToJson(timeline.CountsOf(MemoryKind::kHeap)),
                                                ToJson(timeline.CountsOf(MemoryKind::kMmz)),
                                                ToJson(timeline.CountsOf(MemoryKind::kShared))));
    return 0;
}

}  // namespace

int main(int nCount, char** ppArguments) {
    return demo::RunMain("demo_timeline", [&] {
        CLI::App app{"Reads the pools' memory over time out of a log at trace level"};
        std::string log;
        std::string folder;
        app.add_option("--log", log, "The log")->required();
        app.add_option("--folder", folder, "Folder for the results")
            ->required()
            ->check(CLI::ExistingDirectory);
        CLI11_PARSE(app, nCount, ppArguments);
        return Run(log, folder);
    });
}
