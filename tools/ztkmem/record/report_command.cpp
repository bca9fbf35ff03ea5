#include <fmt/format.h>

#include <memory>

#include "command.h"
#include "record/record_commands.h"
#include "record/record_report.h"
#include "text.h"

namespace ztkmem {
namespace {

constexpr char kReportFooter[] =
    R"(REUSED is the part of the requests that idle blocks served; RETRIED got theirs only after all
idle blocks had been given back, or not at all. PEAK and NOW are bytes; now is the end of the
recording. Functions and lines are those that addr2line finds in the programs as they are now.

Which blocks are new, and what went back to the system, the recorder knows from the library's
log lines, whatever their level. Where these do not pass it, the report says that it infers.

Exit status: 0 nothing is wrong, 1 something is (blocks held at the end, a double or unknown
release, a refusal), 2 error.

Examples:
  ztk-record -- ./camera; ztkmem report ztk.rec
  ztkmem report ztk.rec --json | jq '.held[] | [.bytes, .stack[0]]'
  ztkmem report ztk.rec >/dev/null || echo "have a look")";

int RunReport(const std::string& file, bool bJson) {
    const record::RecordingReader reader(file);
    record::Books books(reader.About().Has(ztk_record::kSawLog));
    reader.ForEach([&books](const record::Event& event) { books.Take(event); });
    record::CallSites sites(reader.Lines());
    const std::string name = file.substr(file.rfind('/') + 1);
    const record::RecordReport report{name, reader.About(), books, sites};
    fmt::print("{}", bJson ? ReportJson(report) : ForTerminal(ReportText(report)));
    return record::HasFindings(books) ? kExitSomethingFound : kExitFine;
}

}  // namespace

void AddReportCommand(CLI::App& program, int& nExitStatus) {
    auto pFile = std::make_shared<std::string>();
    auto pJson = std::make_shared<bool>(false);
    CLI::App* pCommand = program.add_subcommand(
        "report", "Tell from a recording of ztk-record who holds what, and what went wrong");
    pCommand->add_option("FILE", *pFile, "The recording")->required();
    pCommand->add_flag("--json", *pJson, "One JSON document; sizes in bytes, times in seconds");
    pCommand->footer(kReportFooter);
    pCommand->callback([pFile, pJson, &nExitStatus] { nExitStatus = RunReport(*pFile, *pJson); });
}

}  // namespace ztkmem
