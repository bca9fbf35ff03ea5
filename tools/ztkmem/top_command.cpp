#include <memory>

#include "command.h"
#include "top.h"

namespace ztkmem {
namespace {

constexpr char kTopFooter[] =
    R"(Each process with what it owns (OWNS), what it maps of others (MAPS), how its resident bytes
have grown since the view saw it first (GROWTH), and below it its segments. Stale ones are red.

Keys: q quit; s sort by resident, length, segments, growth, pid in turn; r reverse;
arrows, Page Up, Page Down, Home, End move. It looks again every second.

Exit status: 0; 2 error; ended by a signal, that of the signal.

Examples:
  ztkmem top
  ssh -t board ztkmem top)";

}  // namespace

void AddTop(CLI::App& program, int& nExitStatus) {
    auto pVouchedFor = std::make_shared<bool>(false);
    CLI::App* pCommand = program.add_subcommand("top", "Live view of processes and their segments");
    AddNamespaceOption(*pCommand, *pVouchedFor);
    pCommand->footer(kTopFooter);
    pCommand->callback([pVouchedFor, &nExitStatus] { nExitStatus = RunTop(*pVouchedFor); });
}

}  // namespace ztkmem
