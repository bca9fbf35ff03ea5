#include "options.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "standins/rockit/capacity_text.h"

namespace ztk_board {
namespace {

constexpr char kVersion[] = "ztk-board 1.0.0";

constexpr char kFooter[] =
    R"(Sizes are bytes, or K, M, G (1024-based). Failures are counted over all programs on the board:
  mmz:3           the third MMZ allocation is refused
  shm:every:10    so is every tenth creation of a shared-memory object
  mem:from:5      from the fifth look at /proc/meminfo on, it says that nothing is available

Exit status: the program's own; 128 + n if signal n ended it; 125 if ztk-board failed; 126 and 127
if the program cannot be run or found.

Example:
  ztk-board --mem 2G --mmz 512M --shm 256M --log board.log -- ./camera --frames 1000
  ztkmem log board.log)";

/// The texts of the options, as typed.
struct Texts {
    std::string memory = "2G";
    std::string mmz = "512M";
    std::string shm = "256M";
    std::string system = "0";
    std::vector<std::string> failures;
};

std::string CheckSize(const std::string& text) {
    return ztk_standin::ParseCapacity(text) ? ""
                                            : fmt::format("\"{}\" is no size; want for example 512M", text);
}

std::string CheckFailure(const std::string& text) {
    return ParseFailure(text)
               ? ""
               : fmt::format("\"{}\" is no failure; want for example mmz:3 or shm:every:10", text);
}

std::uint64_t SizeOf(const std::string& text) {
    return ztk_standin::ParseCapacity(text).value_or(0);
}

/// In the build tree as in an installed one, they are found from where this program is.
std::string FindStandins() {
    std::error_code ignored;
    const auto folder = std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path();
    for (const char* szPath : {ZTK_STANDINS_FROM_BUILD, ZTK_STANDINS_FROM_BIN}) {
        const auto candidate = folder / szPath;
        if (std::filesystem::exists(candidate / "librockit.so", ignored))
            return std::filesystem::weakly_canonical(candidate, ignored);
    }
    return {};
}

void AddRule(BoardPlan& plan, const ScriptedFailure& failure) {
    auto& rules = plan.rules[static_cast<std::size_t>(failure.enCall)];
    auto* const pFree =
        std::find_if(rules.begin(), rules.end(), [](const FailureRule& rule) { return rule.nFirst == 0; });
    if (pFree == rules.end())
        throw CLI::ValidationError(fmt::format("at most {} failures of one kind", kMostRules));
    *pFree = failure.rule;
}

void TakeSizes(const Texts& texts, BoardPlan& plan) {
    plan.nMemory = SizeOf(texts.memory);
    plan.nMmz = SizeOf(texts.mmz);
    plan.nShm = SizeOf(texts.shm);
    plan.nSystem = SizeOf(texts.system);
    // of 0 bytes the kernel makes a /dev/shm without a limit
    if (plan.nShm == 0) throw CLI::ValidationError("--shm must not be 0");
    if (plan.nMmz > plan.nMemory || plan.nSystem > plan.nMemory - plan.nMmz)
        throw CLI::ValidationError("--mmz and --system do not fit into --mem");
    for (const std::string& text : texts.failures)
        AddRule(plan, *ParseFailure(text));
}

void AddOptions(CLI::App& program, Texts& texts, Options& options) {
    const auto size = [&](const char* szName, std::string& text, const char* szWhat) {
        program.add_option(szName, text, szWhat)->check(CheckSize)->type_name("SIZE")->capture_default_str();
    };
    size("--mem", texts.memory, "The board's RAM");
    size("--mmz", texts.mmz, "Of it, what is set aside for MMZ: one area, shared by all programs");
    size("--shm", texts.shm, "What /dev/shm may hold");
    size("--system", texts.system, "Of it, what the board's kernel and other programs have taken");
    program.add_option("--fail", texts.failures, "A failure to script; may be given several times")
        ->check(CheckFailure)
        ->allow_extra_args(false)
        ->type_name("KIND:N");
    program.add_option("--log", options.log, "Append the library's log, of all levels, to this file")
        ->type_name("FILE");
    program.add_option("--standins", options.standins, "Folder with the stand-ins, if not the usual one")
        ->type_name("FOLDER")
        ->check(CLI::ExistingDirectory);
    program.add_flag("--quiet", options.bQuiet, "Do not tell at the end what happened on the board");
    program.set_version_flag("--version", kVersion);
    program.footer(kFooter);
}

int Complain(std::string what) {
    std::replace(what.begin(), what.end(), '\n', ' ');
    fmt::print(stderr, "ztk-board: {} (see ztk-board --help)\n", what);
    return kExitLauncher;
}

void Check(const Texts& texts, Options& options) {
    TakeSizes(texts, options.plan);
    if (options.command.empty()) throw CLI::ValidationError("which program? It comes behind --");
    if (options.standins.empty()) options.standins = FindStandins();
    if (options.standins.empty())
        throw CLI::ValidationError(
            "there are no stand-ins beside this program; name their folder: --standins");
    if (!options.log.empty()) options.log = std::filesystem::absolute(options.log);
}

}  // namespace

std::optional<Options> ReadArguments(int nCount, char** ppArguments, int& nExitStatus) {
    Options options;
    Texts texts;
    CLI::App program{
        "Runs a program as on a board: with the stand-ins, and with a board's memory, MMZ and\n"
        "/dev/shm, also for all programs that it starts:\n\n  ztk-board [OPTIONS] -- PROGRAM [ARGUMENTS]\n",
        "ztk-board"};
    AddOptions(program, texts, options);
    // what stands behind "--" is the program's alone
    char** ppEnd = ppArguments + nCount;
    char** ppDashes =
        std::find_if(ppArguments, ppEnd, [](const char* szWord) { return std::string_view(szWord) == "--"; });
    if (ppDashes != ppEnd) options.command.assign(ppDashes + 1, ppEnd);
    try {
        program.parse(static_cast<int>(ppDashes - ppArguments), ppArguments);
        Check(texts, options);
        return options;
    } catch (const CLI::ParseError& error) {
        const bool bAsked = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success);
        nExitStatus = bAsked ? program.exit(error) : Complain(error.what());
        return std::nullopt;
    }
}

}  // namespace ztk_board
