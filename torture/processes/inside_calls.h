// Tells whether some thread of this process is inside a pool, with the pool's lock held: making or destroying
// a segment is such a time.
#pragma once

namespace ztk::torture {

/// Returns when another thread is creating or removing an object, and so has a pool's lock: it is held there
/// until it has been seen.
void AwaitThreadInside();

}  // namespace ztk::torture
