// ztkmem: sees from outside what the pools hold in /dev/shm.
#include <fmt/format.h>
#include <langinfo.h>

#include <clocale>
#include <cstdio>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "command.h"
#include "log/log_command.h"
#include "record/record_commands.h"
#include "text.h"

namespace ztkmem {
namespace {

constexpr char kVersion[] = "ztkmem 1.0.0";

int Complain(const std::string& what) {
    fmt::print(stderr, "ztkmem: {}\n", ForTerminal(EscapeHarmful(what)));
    return kExitError;
}

void AddCommands(CLI::App& program, int& nExitStatus) {
    AddLs(program, nExitStatus);
    AddShow(program, nExitStatus);
    AddReap(program, nExitStatus);
    AddTop(program, nExitStatus);
    AddLogCommand(program, nExitStatus);
    AddReportCommand(program, nExitStatus);
    AddPlotCommand(program, nExitStatus);
    AddTraceCommand(program, nExitStatus);
    AddReplayCommand(program, nExitStatus);
}

/// One line, whatever the parser had to say.
int ReportParsing(const CLI::App& program, const CLI::ParseError& error) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) return program.exit(error);
    const std::vector<std::string> strangers = program.remaining();
    if (program.get_subcommands().empty() && !strangers.empty())
        return Complain(
            fmt::format("there is no command \"{}\" (see ztkmem --help)", Escape(strangers.front())));
    std::string what = error.what();
    for (char& ch : what) {
        if (ch == '\n') ch = ' ';
    }
    const auto commands = program.get_subcommands();
    const std::string command = commands.empty() ? "" : commands.front()->get_name() + " ";
    return Complain(fmt::format("{} (see ztkmem {}--help)", what, command));
}

/// What did not reach a full disk must not pass for an answer.
int Finish(int nExitStatus) {
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) return Complain("cannot write the output");
    return nExitStatus;
}

int Run(int nCount, char** ppArguments) {
    CLI::App program{
        "Shows what the memory pools hold in /dev/shm, from outside: it touches neither the\n"
        "library nor its processes. Reads their logs and recordings, and replays these.",
        "ztkmem"};
    int nExitStatus = kExitFine;
    program.require_subcommand(1);
    program.set_version_flag("--version", kVersion);
    program.footer(
        "Every command explains itself: ztkmem ls --help\nExamples:\n"
        "  ztkmem ls                  what is there, whose it is, whether it is stale\n"
        "  ztkmem reap                what dead processes left behind\n"
        "  ztkmem top                 the same, live\n"
        "  ztkmem log camera.log      what the pools did, from their log lines\n"
        "  ztkmem report ztk.rec      who holds what, from a recording of ztk-record");
    AddCommands(program, nExitStatus);
    try {
        program.parse(nCount, ppArguments);
    } catch (const CLI::ParseError& error) {
        return Finish(ReportParsing(program, error));
    }
    return Finish(nExitStatus);
}

}  // namespace

void AddNamespaceOption(CLI::App& command, bool& bVouchedFor) {
    command.add_flag("--this-pid-namespace", bVouchedFor,
                     "I vouch that only processes of this pid namespace use this /dev/shm. For use in\n"
                     "containers; else nothing can be proven dead there");
}

}  // namespace ztkmem

int main(int nCount, char** ppArguments) {
    std::setlocale(LC_CTYPE, "");
    ztkmem::TakeTerminalForUtf8(std::string_view(nl_langinfo(CODESET)) == "UTF-8");
    try {
        return ztkmem::Run(nCount, ppArguments);
    } catch (const std::exception& error) {
        return ztkmem::Complain(error.what());
    }
}
