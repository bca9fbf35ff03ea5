// The commands on recordings of ztk-record: report, plot, trace, replay.
#pragma once

#include <CLI/CLI.hpp>

namespace ztkmem {

/// Each adds itself to the program; when it is chosen, its exit status goes to @p nExitStatus. Errors are
/// exceptions with one line.
void AddReportCommand(CLI::App& program, int& nExitStatus);
void AddPlotCommand(CLI::App& program, int& nExitStatus);
void AddTraceCommand(CLI::App& program, int& nExitStatus);
void AddReplayCommand(CLI::App& program, int& nExitStatus);

}  // namespace ztkmem
