// A process that loads the library, works with all of it and unloads it, until it is killed somewhere.
#pragma once

#include <cstdint>

#include "torture/processes/marker.h"

namespace ztk::torture {

/// To be called in a forked child; returns when nobody has killed it. What it does depends on @p nSeed only.
/// Returns an exit code: 0, or 1 if the library refused what it must grant.
int RunVictim(Marker* pMarker, std::uint64_t nSeed);

}  // namespace ztk::torture
