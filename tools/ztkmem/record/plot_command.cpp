#include <memory>

#include "command.h"
#include "record/record_commands.h"
#include "record/record_plot.h"

namespace ztkmem {
namespace {

struct PlotOptions {
    std::string file;
    std::string output;
};

constexpr char kPlotFooter[] =
    R"(Draws what callers hold (busy) and what waits to be handed out again (idle), for each kind and
size class, with refusals, retries and double releases. A name that ends in .svg takes gnuplot if
it is there, one that ends in .png needs it.

Exit status: 0, 2 error.

Examples:
  ztkmem plot ztk.rec -o busy.svg)";

int RunPlot(const PlotOptions& options) {
    log::CheckPlotFile(options.output);
    const record::RecordingReader reader(options.file);
    record::Books books(reader.About().Has(ztk_record::kSawLog));
    record::PlotMaker maker;
    reader.ForEach([&](const record::Event& event) { maker.Look(event, books.Take(event), books); });
    log::SavePlot(maker.Make(options.file.substr(options.file.rfind('/') + 1), books), options.output);
    return kExitFine;
}

}  // namespace

void AddPlotCommand(CLI::App& program, int& nExitStatus) {
    auto pOptions = std::make_shared<PlotOptions>();
    CLI::App* pCommand =
        program.add_subcommand("plot", "Draw busy and idle bytes of a recording of ztk-record");
    pCommand->add_option("FILE", pOptions->file, "The recording")->required();
    pCommand->add_option("-o,--output", pOptions->output, "The picture: a name that ends in .svg or .png")
        ->type_name("OUT")
        ->required();
    pCommand->footer(kPlotFooter);
    pCommand->callback([pOptions, &nExitStatus] { nExitStatus = RunPlot(*pOptions); });
}

}  // namespace ztkmem
