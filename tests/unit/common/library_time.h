// The clock of a program that has the library's pools in it: virtual from before they are built, so that
// their reclaimers never wake unless a test says so.
#pragma once

#include <cstdint>
#include <vector>

#include "fakes/fake_log.h"
#include "support/virtual_time.h"

namespace ztk::test {

constexpr std::size_t kLibrarysReclaimers = 2;

VirtualTime& LibraryTime();

/// Ends a forked child as exit() does, with all that it destroys, up to the pools. The leak checker comes
/// later still and is spared: it would take for lost what the parent's threads held.
[[noreturn]] void ExitAsChild(int nStatus);

/// What building the library's objects wrote, both reclaimers' first lines included.
const std::vector<LogLine>& LinesOfTheLoad();

/// The image buffer node number before any test.
std::int32_t NodeNumberAfterTheLoad();

}  // namespace ztk::test
