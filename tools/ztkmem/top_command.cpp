#include <memory>

#include "command.h"
#include "top.h"

namespace ztkmem {
namespace {

constexpr char kTopFooter[] =
    R"(Each process with what it owns (OWNS), what it maps of others (MAPS), how its resident bytes
have grown since the view saw it first (GROWTH), and below it its segments. Stale ones are red.

It looks again every second. Keys, as in top(1):
  q                  quit
  < >                sort by the key before, the next: resident, length, segments, growth, pid
  M N                sort by resident, by pid
  R                  reverse
  d s                ask for another delay in seconds
  Space              look now
  h ?                help
  arrows, Page Up, Page Down, Home, End    move

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
