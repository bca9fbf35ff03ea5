#include "log/log_command.h"

#include <fmt/format.h>

#include <cstdio>
#include <memory>
#include <string>

#include "command.h"
#include "log/log_input.h"
#include "log/plot.h"
#include "log/report.h"
#include "log/scanner.h"
#include "text.h"

namespace ztkmem {
namespace {

struct LogOptions {
    std::string file;
    std::string plot;
    bool bJson = false;
};

constexpr char kFooter[] =
    R"(The library's lines may stand anywhere in the lines of the log, behind any time and prefix;
other lines are passed over. With ids of processes or threads in front of them, several
processes in one log are told apart. Sizes are powers of 1024; OWNED is what the pool has
from the system, IDLE what of it waits to be handed out again.

What a log can tell depends on its level: information (1) has allocations, minute lines and
totals; trace (0) also tells heap from MMZ and the sizes in each dump; errors are always there.

Exit status: 0 nothing is wrong, 1 something is (a failure, a retry, something that only
grows, a silent reclaimer, ...) or there is no line of the library, 2 error.

Examples:
  ztkmem log camera.log
  ztkmem log camera.log --plot memory.svg
  zcat $(ls -rv camera.log.*.gz) | ztkmem log -     rotated ones, the oldest first
  ztkmem log camera.log --json | jq '.verdict[].sentence'
  ztkmem log camera.log >/dev/null || echo "have a look")";

int RunLog(const LogOptions& options) {
    if (!options.plot.empty()) log::CheckPlotFile(options.plot);
    log::Analysis analysis;
    log::Scanner scanner(analysis);
    log::ReadLog(options.file, [&scanner](std::string_view bytes) { scanner.Feed(bytes); });
    scanner.Finish();
    const std::string name =
        options.file == "-" ? "standard input" : options.file.substr(options.file.rfind('/') + 1);
    const log::Report report{name, scanner.Lines(), analysis, scanner.Times(),
                             log::Judge(analysis, scanner.Times())};
    fmt::print("{}", options.bJson ? log::ReportJson(report) : ForTerminal(log::ReportText(report)));
    std::fflush(stdout);  // a plot that fails must not take the report with it
    if (!options.plot.empty()) log::SavePlot(log::MakePlot(report), options.plot);
    return log::IsHealthy(analysis, report.findings).value_or(false) ? kExitFine : kExitSomethingFound;
}

}  // namespace

void AddLogCommand(CLI::App& program, int& nExitStatus) {
    auto pOptions = std::make_shared<LogOptions>();
    CLI::App* pCommand = program.add_subcommand("log", "Tell from a log what the pools did, and judge it");
    pCommand->add_option("FILE", pOptions->file, "The log; - for standard input")->required();
    pCommand
        ->add_option("--plot", pOptions->plot,
                     "Draw it, too: a name that ends in .svg or .png (takes gnuplot)")
        ->type_name("OUT");
    pCommand->add_flag("--json", pOptions->bJson, "One JSON document; sizes in bytes");
    pCommand->footer(kFooter);
    pCommand->callback([pOptions, &nExitStatus] { nExitStatus = RunLog(*pOptions); });
}

}  // namespace ztkmem
