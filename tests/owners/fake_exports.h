// The exports of libZTKCommon for tests of the owners: every call recorded, any of them made to fail.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ztk::test {

/// What the exports were asked for, since the last call: "heap 100", "mmz 100 align 64", "shared 228",
/// "free 1", "free shared 2"; blocks are numbered from 1 as they are made.
std::vector<std::string> TakeCalls();

/// The next allocation returns @p nStatus.
void FailNext(std::uint32_t nStatus);

/// Blocks that were handed out and not freed; forgets nothing.
int LiveBlocks();

}  // namespace ztk::test
