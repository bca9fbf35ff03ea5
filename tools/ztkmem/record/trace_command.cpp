#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "command.h"
#include "record/record_commands.h"
#include "record/trace_writer.h"
#include "text.h"

namespace ztkmem {
namespace {

struct TraceOptions {
    std::string file;
    std::string output;
};

constexpr char kTraceFooter[] =
    R"(One document in the trace-event format, for ui.perfetto.dev or chrome://tracing: every call on its
thread, with size, address, status and call site; busy and idle bytes of each kind as counters;
refusals, double and unknown releases as marks. About five times the size of the recording.

Exit status: 0, 2 error.

Examples:
  ztkmem trace ztk.rec -o trace.json)";

/// Standard output, or a file of its own.
class Output {
  public:
    explicit Output(const std::string& file)
        : name_(file), pFile_(file.empty() || file == "-" ? stdout : std::fopen(file.c_str(), "we")) {
        if (pFile_ == nullptr) Fail();
    }
    ~Output() {
        if (pFile_ != nullptr && pFile_ != stdout) std::fclose(pFile_);
    }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    std::FILE* File() const { return pFile_; }

    /// Standard output is flushed, and judged, at the program's end.
    void Close() {
        if (pFile_ == stdout) return;
        const bool bWritten = std::ferror(pFile_) == 0;
        if (std::fclose(std::exchange(pFile_, nullptr)) != 0 || !bWritten) Fail();
    }

  private:
    [[noreturn]] void Fail() const {
        throw std::runtime_error(fmt::format("{}: {}", Escape(name_), std::strerror(errno)));
    }

    const std::string name_;
    std::FILE* pFile_;
};

int RunTrace(const TraceOptions& options) {
    const record::RecordingReader reader(options.file);
    record::CallSites sites(reader.Lines());
    sites.ResolveAll();
    Output output(options.output);
    record::Books books(reader.About().Has(ztk_record::kSawLog));
    record::TraceWriter writer(output.File(), reader.About(), sites);
    reader.ForEach([&](const record::Event& event) { writer.Write(event, books.Take(event), books); });
    writer.Finish();
    output.Close();
    return kExitFine;
}

}  // namespace

void AddTraceCommand(CLI::App& program, int& nExitStatus) {
    auto pOptions = std::make_shared<TraceOptions>();
    CLI::App* pCommand =
        program.add_subcommand("trace", "Write a recording of ztk-record as a trace for Perfetto");
    pCommand->add_option("FILE", pOptions->file, "The recording")->required();
    pCommand->add_option("-o,--output", pOptions->output, "The trace; standard output if not given")
        ->type_name("OUT");
    pCommand->footer(kTraceFooter);
    pCommand->callback([pOptions, &nExitStatus] { nExitStatus = RunTrace(*pOptions); });
}

}  // namespace ztkmem
